// Places the footsteps of a walk, makes the motion that they imply, and prints where both feet are
// while it plays.

#include <cstdio>

#include "strider/strider.h"

int main() {
  using namespace strider;

  Session session;
  IStriderMaster13* figure = CreateNewStrider(session, Structure{});
  if (!figure) return 1;

  MultFprintParams walk = *figure->GetMultFprintParams(kWalk);
  walk.numFootsteps = 8;                                     // the standing pair included
  walk.paramStrideLength1 = walk.paramStrideLength2 = 0.7f;  // of the leg
  if (!figure->AddMultipleFootprints(walk).Done() || !figure->NewFootprintKeys()) return 1;

  for (TimeValue t = 0; t <= figure->Core().endTime; t += kTicksPerSecond / 6) {
    const Point3 right = LinkTransform(*figure, kRightLeg, 2, t).row[3];
    const Point3 left = LinkTransform(*figure, kLeftLeg, 2, t).row[3];
    std::printf("%5.3f s   right ankle %6.2f ahead %5.2f up   left ankle %6.2f ahead %5.2f up\n",
                static_cast<double>(t) / kTicksPerSecond, static_cast<double>(right.x),
                static_cast<double>(right.z), static_cast<double>(left.x),
                static_cast<double>(left.z));
  }
}
