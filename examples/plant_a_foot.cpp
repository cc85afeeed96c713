// Keeps both feet on the ground by inverse kinematics while the body sinks and sways, and prints
// how far the right foot moves: not at all.

#include <cstdio>

#include "strider/strider.h"

int main() {
  using namespace strider;

  Session session;
  IStriderMaster12* figure = CreateNewStrider(session, Structure{});
  if (!figure) return 1;
  const MotionCore& core = figure->Core();

  // A planted key holds the foot where it stands now: about the middle of its toe row, in the
  // world.
  for (int id : {kRightLeg, kLeftLeg}) {
    const LimbRecord& leg = *FindLimb(core, id);
    LimbKey planted = CurrentLimbKey(core, leg, kPlantedKey);
    SetKeyPivot(leg, planted, {kNamedPivot, 5, 0, 0});
    planted.ikAnkleTension = 1;  // the foot stays flat; the knee takes what the body does
    if (figure->PutLimbKey(id, 0, planted) != KeyRefusal::kNone) return 1;
    if (figure->PutLimbKey(id, kTicksPerSecond, planted) != KeyRefusal::kNone) return 1;
  }

  // The body goes down by a tenth of its height and to the side, within a second.
  VerticalKey height = CurrentVerticalKey(core);
  (void)figure->PutVerticalKey(0, height);
  height.height *= 0.9f;
  (void)figure->PutVerticalKey(kTicksPerSecond, height);
  HorizontalKey ground;
  (void)figure->PutHorizontalKey(0, ground);
  ground.position = {3, 0, 5};  // ahead, and to the right
  (void)figure->PutHorizontalKey(kTicksPerSecond, ground);

  for (TimeValue t = 0; t <= kTicksPerSecond; t += kTicksPerSecond / 8) {
    const Point3 foot = LinkTransform(*figure, kRightLeg, 2, t).row[3];
    const Point3 body = LinkTransform(*figure, kPelvis, 0, t).row[3];
    std::printf("%5.3f s   pelvis %6.2f %6.2f %6.2f   foot %6.3f %6.3f %6.3f\n",
                static_cast<double>(t) / kTicksPerSecond, static_cast<double>(body.x),
                static_cast<double>(body.y), static_cast<double>(body.z),
                static_cast<double>(foot.x), static_cast<double>(foot.y),
                static_cast<double>(foot.z));
  }
  return 0;
}
