#include "strider/base/point3.h"

#include <cstdio>

// What anybody's first program does: make a value of the library and compute with it.
int main() {
  const strider::Point3 sum = strider::Point3{1, 2, 3} + strider::Point3{3, 2, 1};
  if (sum.x != 4 || sum.y != 4 || sum.z != 4) {
    std::fprintf(stderr, "the installed library adds (%g, %g, %g)\n", sum.x, sum.y, sum.z);
    return 1;
  }
  return 0;
}
