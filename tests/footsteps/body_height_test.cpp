#include "strider/footsteps/body_height.h"

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

constexpr int T = kTouch, P = kPlant, U = kLift, M = kMove;

/// A figure of legs 90 long on feet 10 high: its reach is 100, so that feet 60 and 28 away leave
/// the hips 80 and 96 high.
MotionCore HundredHigh() {
  MotionCore core = test::MakeFigure();
  for (LimbRecord& leg : core.leg) {
    leg.totalLength = 90;
    leg.extremityHeight = 10;
  }
  return core;
}

/// Hips over the origin at any height, the right foot's target ahead and the left one's behind.
BodyStance StanceOf(int right, int left, const Point3& rightFoot, const Point3& leftFoot) {
  BodyStance stance;
  for (int side = 0; side < 2; ++side) stance.hip[side] = {0, 777, 0};
  stance.foot[0].state = right;
  stance.foot[1].state = left;
  stance.foot[0].position = rightFoot;
  stance.foot[1].position = leftFoot;
  return stance;
}

TEST(BodyHeightOf, FollowsTheLegsStatesAsWorkedOutByHand) {
  const MotionCore core = HundredHigh();
  const Point3 ahead{36, 0, 48}, behind{-28, 0, 0};  // 60 and 28 from the hips
  const struct {
    int right, left;
    double height;
    int namedLeg;
    float weight;
    double stepped;  // right foot on a step of 40: its limit 120, ground 0, and low is 96
  } rows[] = {
      {T, T, 79.2, -1, 1, 95.04},
      {T, P, 79.68 + 1.5, kLeft, 0.99f, 95.616 + 1.5},
      {T, U, 82.5, kLeft, 0.93f, 98.5},
      {T, M, 79.2, -1, 1, 118.8},
      {P, T, 79.68 + 0.7, kRight, 0.99f, 95.616 + 0.7},
      {P, P, 80, -1, 1, 96},
      {P, U, 79.36 + 2.8, kLeft, 0.93f, 95.232 + 2.8},
      {P, M, 79.2, -1, 1, 118.8},
      {U, T, 82.5, kRight, 0.93f, 98.5},
      {U, P, 79.36 + 6, kRight, 0.93f, 95.232 + 6},
      {U, U, 80, -1, 1, 96},
      {U, M, 79.2, -1, 1, 118.8},
      {M, T, 95.04, -1, 1, 95.04},
      {M, P, 95.04, -1, 1, 95.04},
      {M, U, 95.04, -1, 1, 95.04},
      {M, M, 90, -1, 1, 90},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.right << " " << row.left);
    const BodyHeight level = BodyHeightOf(core, StanceOf(row.right, row.left, ahead, behind));
    EXPECT_NEAR(level.height, row.height, 1e-4);
    EXPECT_EQ(level.base, 0);
    EXPECT_EQ(level.namedLeg, row.namedLeg);
    EXPECT_EQ(level.weight, row.weight);
    const Point3 onStep = ahead + Point3{0, 40, 0};
    EXPECT_NEAR(BodyHeightOf(core, StanceOf(row.right, row.left, onStep, behind)).height,
                row.stepped, 1e-4);
    // All of it higher: the same height over the ground.
    const Point3 up{0, 500, 0};
    const BodyHeight high =
        BodyHeightOf(core, StanceOf(row.right, row.left, ahead + up, behind + up));
    EXPECT_NEAR(high.height, row.height + 500, 1e-3);
    EXPECT_EQ(high.base, 500);
    // Feet equally far: nothing stands higher than both legs reach.
    const BodyHeight even = BodyHeightOf(core, StanceOf(row.right, row.left, ahead, -ahead));
    EXPECT_LE(even.height, row.right == M && row.left == M ? 90.0f : 80.0f);
    // Both far out of reach: half a leg is the least.
    const BodyHeight far =
        BodyHeightOf(core, StanceOf(row.right, row.left, {100, 0, 0}, {0, 0, -1e6f}));
    EXPECT_EQ(far.height, row.right == M && row.left == M ? 90.0f : 45.0f);
  }
}

TEST(BodyHeightOf, AFourLinkLegReachesAShareLess) {
  MotionCore core = HundredHigh();
  for (LimbRecord& leg : core.leg) leg.hasFourLinks = true;
  // The legs reach 95: 57 away they leave 76.
  const BodyStance stance = StanceOf(P, P, {57, 0, 0}, {0, 0, -57});
  EXPECT_NEAR(BodyHeightOf(core, stance).height, 76, 1e-4);
}

/// A figure that has walked: some twenty vertical keys.
MotionCore Walked() {
  MotionCore core = test::WithContacts(test::Gait(6, 30, 18, 25, 4));
  EXPECT_EQ(GenerateMotion(core, {}), kDone);
  return core;
}

std::vector<float> HeightsOf(const MotionCore& core) {
  std::vector<float> heights;
  for (const VerticalKey& key : core.body.vertical.keys) heights.push_back(key.height);
  return heights;
}
void Refresh(MotionCore& core, HeightMode mode) {
  const int last = core.body.vertical.track.numKeys - 1;
  RefreshHeights(core, 0, last, mode, GroundLevel::kTrue);
}

TEST(RefreshHeights, HeightsComeBackFromEitherFraction) {
  MotionCore core = Walked();
  test::Random random(72);
  for (VerticalKey& key : core.body.vertical.keys) key.height *= random.Between(0.6f, 1.3f);
  Refresh(core, HeightMode::kReadFractions);
  const std::vector<float> heights = HeightsOf(core);
  const auto& keys = core.body.vertical.keys;
  ASSERT_GT(keys.size(), 10u);
  const float reach = core.leg[0].totalLength + core.leg[0].extremityHeight;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_NEAR(keys[i].legFraction * reach, heights[i], 1e-4 * heights[i]);  // over ground 0
    test::Evaluate(core, core.body.vertical.TimeOf(static_cast<int>(i)));
    EXPECT_NEAR(keys[i].ballisticHeight, heights[i] + core.body.balanceOffset.y, 1e-5);
    for (int side = 0; side < 2; ++side) EXPECT_LT(keys[i].footReach[side], 30);
  }
  for (const HeightMode mode : {HeightMode::kKeepRange, HeightMode::kKeepLegs}) {
    MotionCore changed = core;
    for (VerticalKey& key : changed.body.vertical.keys) key.height = -1;
    Refresh(changed, mode);
    for (std::size_t i = 0; i < heights.size(); ++i) {
      EXPECT_NEAR(changed.body.vertical.keys[i].height, heights[i], 2e-5 * heights[i]);
      EXPECT_NEAR(changed.body.vertical.keys[i].rangeFraction, keys[i].rangeFraction, 1e-5);
    }
  }
}

TEST(RefreshHeights, CarryAMotionOntoHigherGroundAndOntoLongerLegs) {
  for (const HeightMode mode : {HeightMode::kKeepRange, HeightMode::kKeepLegs}) {
    MotionCore core = Walked();
    const std::vector<float> heights = HeightsOf(core);
    for (Point3& place : core.footsteps.position) place.y += 50;
    Refresh(core, mode);
    for (std::size_t i = 0; i < heights.size(); ++i) {
      EXPECT_NEAR(HeightsOf(core)[i], heights[i] + 50, 1e-3) << i;
    }
  }
  // Longer legs: by its share of the legs a height grows as they do, whatever the stride; by its
  // share of the range more so, as legs of the same stride stand steeper.
  const MotionCore before = Walked();
  MotionCore byLegs = before, byRange = before;
  for (MotionCore* core : {&byLegs, &byRange}) {
    for (LimbRecord& leg : core->leg) {
      leg.totalLength *= 1.1f;
      leg.extremityHeight *= 1.1f;
    }
  }
  Refresh(byLegs, HeightMode::kKeepLegs);
  Refresh(byRange, HeightMode::kKeepRange);
  for (std::size_t i = 0; i < HeightsOf(before).size(); ++i) {
    const VerticalKey& key = before.body.vertical.keys[i];
    EXPECT_NEAR(HeightsOf(byLegs)[i], 1.1f * key.height, 1e-3) << i;
    if (key.legState[0] < kMove && key.legState[1] < kMove && i > 2) {
      EXPECT_GT(HeightsOf(byRange)[i], 1.1f * key.height) << i;
    }
  }
}

}  // namespace
}  // namespace strider
