// Makes a figure, keys its right arm so that it waves, and prints where the hand goes.

#include <cstdio>

#include "strider/strider.h"

int main() {
  using namespace strider;

  Session session;
  Structure structure;
  structure.height = 1.8f;  // metres here; any unit will do
  IStriderMaster12* figure = CreateNewStrider(session, structure);
  if (!figure) return 1;

  // The arm as it hangs, as a key to start from. The upper arm turns about the axis that points
  // ahead (Y) to lift it aside, the elbow bends to a right angle.
  const LimbKey hanging = CurrentLimbKey(figure->Core(), figure->Core().arm[kRight], kFreeKey);
  LimbKey raised = hanging;
  raised.limbRotation = AboutY(-1.4f) * hanging.limbRotation * AboutX(kHalfPi);
  raised.jointAngles[kHinge] = kHalfPi;

  // Raise, then wave twice: the forearm swings by 0.4 radians to either side.
  const TimeValue second = kTicksPerSecond;
  (void)figure->PutLimbKey(kRightArm, 0, hanging);
  for (int i = 0; i < 5; ++i) {
    LimbKey wave = raised;
    wave.jointAngles[kHinge] += i % 2 == 0 ? 0.4f : -0.4f;
    if (figure->PutLimbKey(kRightArm, second / 2 + i * second / 4, wave) != KeyRefusal::kNone) {
      return 1;
    }
  }

  for (TimeValue t = 0; t <= 2 * second; t += second / 8) {
    const Point3 hand = LinkTransform(*figure, kRightArm, 3, t).row[3];
    std::printf("%5.3f s   hand at %6.3f %6.3f %6.3f\n", static_cast<double>(t) / second,
                static_cast<double>(hand.x), static_cast<double>(hand.y),
                static_cast<double>(hand.z));
  }
  return 0;
}
