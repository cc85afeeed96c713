#include "strider/capture/turn_test.h"

namespace strider {
namespace {

// Cosine between the two ways below which the second leads back.
constexpr float kBack = -0.3f;

bool TurnsBack(const Point3& u, const Point3& v, float noise) {
  const float lengthU = Length(u), lengthV = Length(v);
  if (!(lengthU > noise) || !(lengthV > noise)) return false;
  return Dot(u, v) < kBack * (lengthU * lengthV);
}

template <class Sample>
bool TurnsAtEverySpan(const SampleWindow<Sample>& window, float noise) {
  bool turns = true;
  for (std::size_t span = kTurnReach; span >= 1; --span) {
    turns = turns && TurnTest(window[kTurnReach - span], window[kTurnReach],
                              window[kTurnReach + span], noise);
  }
  return turns;
}

}  // namespace

bool TurnTest(const Matrix3& a, const Matrix3& b, const Matrix3& c, float noise) {
  return TurnsBack(b.row[0] - a.row[0], c.row[0] - b.row[0], noise) ||
         TurnsBack(b.row[1] - a.row[1], c.row[1] - b.row[1], noise);
}
bool TurnTest(const Point3& a, const Point3& b, const Point3& c, float noise) {
  return TurnsBack(b - a, c - b, noise);
}

bool LimbTest(const SampleWindow<Matrix3>& window, float noise) {
  return TurnsAtEverySpan(window, noise);
}
bool LimbTest(const SampleWindow<Point3>& window, float noise) {
  return TurnsAtEverySpan(window, noise);
}

}  // namespace strider
