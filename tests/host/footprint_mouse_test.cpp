// Clicks in a view put footsteps of a figure on the ground.
#include "strider/host/footprint_mouse.h"

#include <cmath>
#include <utility>

#include "strider/footsteps/footstep_edit.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::MakeStrider;

struct FootprintMouse : testing::Test {
  Session session;
  StriderMaster& master = MakeStrider(session);
  FootprintControl& control = *master.GetFootprintControl();
  FprintAddCMode mode{master};
  float ground = master.UnmirroredTransform(kFootprints, 0, 0).Origin().z;

  /// From 100 over the ground, slanted: one ahead for two down. Meets it 50 ahead of `from`.
  ViewRay Slanted(float x, float y) const { return {{x - 50, y, ground + 100}, {1, 0, -2}}; }
  int Press(const ViewRay& ray) { return mode.Mouse(MouseMessage::kPress, ray); }
  int PressFirst(const ViewRay& ray) {
    session.gaits.fsCreateState = true;
    const int code = Press(ray);
    session.gaits.fsCreateState = false;
    return code;
  }
};

TEST_F(FootprintMouse, AClickPutsAFootstepWhereItsRayMeetsTheGround) {
  ASSERT_TRUE(mode.EnterMode());
  const int first = master.GetFSAddSide();
  ASSERT_EQ(PressFirst(Slanted(20, 5)), kFootstepAdded);
  ASSERT_EQ(Press(Slanted(20, 45)), kFootstepAdded);   // straight to the left of it
  ASSERT_EQ(Press(Slanted(-10, 45)), kFootstepAdded);  // from there straight back
  const struct { float x, y, heading; } wanted[] = {{20, 5, 0}, {20, 45, kHalfPi}, {-10, 45, kPi}};
  ASSERT_EQ(control.NumKeys(), 3);
  for (int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    const Matrix3 step = control.Transform(i);
    EXPECT_LT(test::Distance(step.Origin(), {wanted[i].x, wanted[i].y, ground}), 1e-3f);
    EXPECT_NEAR(std::fabs(HeadingOf(step)), wanted[i].heading, 1e-5f);
    EXPECT_EQ(control.Side(i), i % 2 == 0 ? first : 1 - first);
  }
  EXPECT_GT(HeadingOf(control.Transform(1)), 0);

  // Each click is a step of its own.
  for (int left = 2; left >= 0; --left) {
    EXPECT_EQ(session.hold.UndoName(), "Add Footstep");
    ASSERT_TRUE(session.hold.Undo());
    EXPECT_EQ(control.NumKeys(), left);
  }
  ASSERT_TRUE(session.hold.Redo());
  EXPECT_LT(test::Distance(control.Transform(0).Origin(), {20, 5, ground}), 1e-3f);
}

TEST_F(FootprintMouse, LandsOnAConstructionPlane) {
  ASSERT_TRUE(mode.EnterMode());
  // A ramp through (0, 0, ground) that rises by one for each ahead; the ray falls by two.
  mode.MouseProc().SetConstructionPlane(FrameOf(AboutY(-kPi / 4), {0, 0, ground}));
  Point3 hit;
  ASSERT_TRUE(mode.MouseProc().HitOf({{0, 7, ground + 30}, {1, 0, -2}}, hit));
  EXPECT_LT(test::Distance(hit, {10, 7, ground + 10}), 1e-3f);
  EXPECT_FALSE(mode.MouseProc().HitOf({{0, 7, ground + 30}, {1, 0, 1}}, hit)) << "along it";
  mode.MouseProc().SetConstructionPlane({});
  ASSERT_TRUE(mode.MouseProc().HitOf({{0, 7, ground + 30}, {1, 0, -2}}, hit));
  EXPECT_LT(test::Distance(hit, {15, 7, ground}), 1e-3f);
}

TEST_F(FootprintMouse, AnswersNothingWhereNoFootstepIsMeant) {
  session.gaits.fsCreateState = true;
  const ViewRay good = Slanted(0, 0);
  const auto expectNothing = [&](const char* what, int code) {
    EXPECT_EQ(code, 0) << what;
    EXPECT_EQ(control.NumKeys(), 0) << what;
    EXPECT_EQ(session.hold.UndoName(), "") << what;
  };
  expectNothing("mode off", Press(good));
  ASSERT_TRUE(mode.EnterMode());
  const float nan = std::nanf("");
  const Point3 eye{0, 0, ground + 100};
  const std::pair<const char*, ViewRay> rays[] = {{"looks up", {eye, {1, 0, 2}}},
                                                  {"looks along the ground", {eye, {1, 1, 0}}},
                                                  {"from below", {{0, 0, ground - 9}, {1, 0, -1}}},
                                                  {"no direction", {eye, {}}},
                                                  {"not finite", {eye, {nan, 0, -1}}},
                                                  {"from nowhere", {{nan, 0, 9}, {0, 0, -1}}}};
  for (const auto& [what, ray] : rays) expectNothing(what, Press(ray));
  expectNothing("moves", mode.Mouse(MouseMessage::kMove, good));
  expectNothing("is let go", mode.Mouse(MouseMessage::kRelease, good));
  expectNothing("is called off", mode.Mouse(MouseMessage::kAbort, good));
  EXPECT_FALSE(mode.Active());
  expectNothing("mode off again", Press(good));

  ASSERT_TRUE(mode.EnterMode());
  master.BeginModes(kFigureMode, false);
  expectNothing("figure mode", Press(good));
  mode.ExitMode();
  EXPECT_FALSE(mode.EnterMode());
  master.EndModes(kFigureMode, false);
  ASSERT_TRUE(mode.EnterMode());
  EXPECT_EQ(Press(good), kFootstepAdded);
}

}  // namespace
}  // namespace strider
