#include "strider/core/figure_layout.h"

#include <functional>
#include <limits>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AllTransforms;
using test::Distance;
using test::Evaluate;
using test::FullStructure;
using test::MakeFigure;
using test::Random;
using test::RandomStructure;

Point3 Origin(const MotionCore& core, int id, int link) {
  return LinkFrame(core, id, link).Origin();
}
Point3 Mirrored(const Point3& p) { return {p.x, p.y, -p.z}; }

int Foot(const MotionCore& core) { return core.structure.legLinks - 1; }

TEST(FigureLayout, StandsAsWorkedOutByHand) {
  const struct {
    float height;
    int neckLinks;
    double scale;
  } rows[] = {{80, 1, 80.0 / 415}, {415, 1, 1}, {6, 5, 6.0 / 475}, {1000, 3, 1000.0 / 445}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.height);
    Structure s;
    s.height = row.height;
    s.neckLinks = row.neckLinks;
    const MotionCore core = MakeFigure(s);
    const double k = row.scale;
    EXPECT_EQ(FigureScale(row.height, row.neckLinks), static_cast<float>(k));
    EXPECT_EQ(CoreFigureHeight(core), row.height);
    const auto near = [&](const Point3& place, double x, double y, double z) {
      // A figure is some hundred of its units high: seven digits of a float each.
      EXPECT_NEAR(place.x, k * x, k * 1e-3);
      EXPECT_NEAR(place.y, k * y, k * 1e-3);
      EXPECT_NEAR(place.z, k * z, k * 1e-3);
    };
    // Two segments of 100, each 0.1 off the plumb, over a foot of 23.
    const double cosLean = 0.99500416527802577, sinLean = 0.099833416646828152;
    const double pelvis = 200 * cosLean + 23;
    for (double side : {1.0, -1.0}) {  // to the right, to the left
      const int leg = side > 0 ? kRightLeg : kLeftLeg, arm = side > 0 ? kRightArm : kLeftArm;
      near(Origin(core, kPelvis, 0), 0, pelvis, 0);
      near(Origin(core, leg, 0), 0, pelvis, side * 20);
      near(Origin(core, leg, 1), 100 * sinLean, 100 * cosLean + 23, side * 20);
      near(Origin(core, leg, 2), 0, 23, side * 20);
      // Spine 23 over the pelvis and 104 long; the clavicle starts 7 above its end and 15 past
      // the middle, and droops by 0.2 over its 65.
      const double shoulder = pelvis + 23 + 104 + 7 - 65 * 0.19866933079506122;
      const double across = 65 * 0.98006657784124163 - 15;
      near(Origin(core, arm, 0), 0, pelvis + 134, side * -15);
      near(Origin(core, arm, 1), 0, shoulder, side * across);
      near(Origin(core, arm, 2), -60 * sinLean, shoulder - 60 * cosLean, side * across);
      near(Origin(core, arm, 3), 0, shoulder - 120 * cosLean, side * across);
    }
    near(Origin(core, kNeck, 0), 0, pelvis + 127, 0);
    near(Origin(core, kHead, 0), 0, pelvis + 127 + 15 * row.neckLinks, 0);
    near(Origin(core, kHeadNub, 0), 0, pelvis + 174 + 15 * row.neckLinks, 0);
    EXPECT_NEAR(core.body.gravAccel, 2.6 * k, 1e-6 * k);
    const LimbRecord& leg = core.leg[kRight];
    EXPECT_NEAR(leg.heelLength, 7.4 * k, 1e-5 * k);  // a fifth of 37
    EXPECT_NEAR(leg.toeLength, 29.6 * k, 1e-5 * k);
    EXPECT_NEAR(FootstepLength(core), (29.6 * 1.33 + 7.4) * k, 1e-4 * k);
    EXPECT_NEAR(core.footsteps.scaleLegLength, 200 * k, 1e-4 * k);
    EXPECT_EQ(core.footsteps.scaleFigureHeight, row.height);
    EXPECT_EQ(core.footsteps.gravity, core.body.gravAccel);
  }
}

TEST(FigureLayout, StandsOnFourLinkLegs) {
  Structure s;
  s.height = 415;
  s.legLinks = 4;
  const MotionCore core = MakeFigure(s);
  // Thigh and calf reach 160 cos 0.1 to the hock; the third segment of 40 leaves it 0.3 off the
  // plumb, so the hock stands 40 sin 0.3 beside the line from hip to ankle.
  const double hock = 160 * 0.99500416527802577, beside = 40 * 0.29552020666133955;
  const double ankle = 40 * 0.95533648912560598 + std::sqrt(hock * hock - beside * beside);
  EXPECT_NEAR(Origin(core, kPelvis, 0).y, ankle + 23, 2e-3);
  for (int id : {kRightLeg, kLeftLeg}) {
    const Point3 hip = Origin(core, id, 0), foot = Origin(core, id, 3);
    EXPECT_NEAR(foot.x, 0, 1e-3);
    EXPECT_NEAR(foot.z, hip.z, 1e-3);
    EXPECT_NEAR(foot.y, 23, 2e-3);
    EXPECT_NEAR(std::fabs(Origin(core, id, 2).x), beside, 2e-3);
    EXPECT_LT(Origin(core, id, 2).x, 0) << "a hock points back";
  }
  EXPECT_NEAR(core.leg[0].totalLength, 200, 1e-3);
}

/// What must hold of any figure that nobody has posed.
void ExpectAPersonsStance(const MotionCore& core) {
  const float k = core.figureScale;
  const float close = 5e-3f * k;
  ASSERT_EQ(CoreFigureHeight(core), core.structure.height);
  for (const NodeInfo& node : BuildNodeTree(core)) {
    SCOPED_TRACE(node.name);
    const Matrix3 frame = UnmirroredLinkTransform(core, node.id, node.link);
    ASSERT_TRUE(IsFinite(frame));
    ASSERT_LT(test::OffSquare(frame), 1e-5f);
    ASSERT_TRUE(test::RightHanded(frame));
    const BodyPart* part = FindBodyPart(node.id);
    if (part->side == kNoSide) continue;
    const Matrix3 own = LinkFrame(core, node.id, node.link);
    const Matrix3 other = LinkFrame(core, part->opposite, node.link);
    ASSERT_LT(Distance(own.Origin(), Mirrored(other.Origin())), close);
    ASSERT_LT(Distance(own.row[0], Mirrored(other.row[0])), 1e-4f) << "bones mirror";
    ASSERT_EQ(LinkDimensions(core, node.id, node.link),
              LinkDimensions(core, part->opposite, node.link));
  }
  for (Side side : {kRight, kLeft}) {
    const LimbRecord& leg = core.leg[side];
    const Matrix3& foot = leg.frame[Foot(core)];
    const float outward = side == kRight ? 1.0f : -1.0f;
    for (int i = 1; i < kNumNamedPivots; ++i) {
      ASSERT_NEAR((PivotPoint(leg, PivotChoice{kNamedPivot, i, 0, 0}) * foot).y, 0, close);
    }
    ASSERT_NEAR(foot.Origin().x, leg.frame[0].Origin().x, close) << "ankle under hip";
    ASSERT_NEAR(foot.Origin().z, leg.frame[0].Origin().z, close);
    ASSERT_GT(foot.Origin().z * outward, 0);
    ASSERT_GT(leg.frame[1].Origin().x, close) << "knees ahead";
    const int toes = side == kRight ? kRightToes : kLeftToes;
    const int nubs = side == kRight ? kRightToeNubs : kLeftToeNubs;
    for (int d = 0; d < leg.numDigits; ++d) {
      const Point3 tip = Origin(core, nubs, d);
      ASSERT_GT(tip.x, foot.Origin().x) << "toes ahead";
      ASSERT_GT(tip.y, 0);
      // The tip's lower edge lies half of the link's depth below it, down along its own slope.
      const Matrix3 last = LinkFrame(core, toes, d * leg.digitLinks + leg.digitLinks - 1);
      const float depth = leg.digits[d].dimensions[leg.digitLinks - 1].z;
      ASSERT_NEAR(tip.y - 0.5f * depth * std::fabs(last.row[1].y), 0, close);
    }
    if (!core.structure.arms) continue;
    const LimbRecord& arm = core.arm[side];
    ASSERT_LT(arm.frame[2].Origin().x, -close) << "elbows back";
    ASSERT_GT(arm.frame[3].Origin().z * outward, 0);
    ASSERT_LT(arm.frame[3].Origin().y, arm.frame[1].Origin().y) << "arms hang";
    ASSERT_GT(arm.frame[3].Origin().y, 0);
  }
  const Matrix3& head = core.head.frame;
  ASSERT_LT(Distance(head.row[0], {0, 1, 0}), 1e-4f) << "the head is upright";
  ASSERT_LT(Distance(head.row[1], {-1, 0, 0}), 1e-4f) << "and looks ahead";
}

TEST(FigureLayout, AnyLegalStructureStandsUprightOnItsSoles) {
  Random random(21);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    ExpectAPersonsStance(MakeFigure(RandomStructure(random)));
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(FigureLayout, FingersAreLongestInTheMiddleAndCurlTowardsTheBody) {
  const struct {
    const char* what;
    int fingers, links;
    bool knuckles, shortThumb;
    std::vector<std::vector<float>> lengths;  // by hand, nominal units
  } rows[] = {
      {"four", 4, 1, false, false, {{5}, {6}, {6}, {5}}},
      {"five", 5, 2, false, false, {{5, 5}, {6, 6}, {7, 7}, {6, 6}, {5, 5}}},
      {"a short thumb", 3, 3, false, true, {{5, 5}, {6, 6, 6}, {5, 5, 5}}},
      {"a short thumb of one link keeps it", 2, 1, false, true, {{5}, {5}}},
      {"knuckles", 3, 3, true, false, {{12.5f, 4, 4}, {15, 6, 6}, {15, 5, 5}}},
      {"knuckles without a thumb", 1, 2, true, false, {{15, 5}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Structure s;
    s.height = 415;
    s.fingers = row.fingers;
    s.fingerLinks = row.links;
    s.knuckles = row.knuckles;
    s.shortThumb = row.shortThumb;
    const MotionCore core = MakeFigure(s);
    for (const LimbRecord& arm : core.arm) {
      ASSERT_EQ(arm.numDigits, row.fingers);
      const float inward = arm.side == kRight ? -1.0f : 1.0f;
      const Matrix3& hand = arm.frame[3];
      for (int f = 0; f < row.fingers; ++f) {
        SCOPED_TRACE(f);
        const auto& lengths = row.lengths[static_cast<std::size_t>(f)];
        const DigitRecord& digit = arm.digits[f];
        ASSERT_EQ(digit.numLinks, static_cast<int>(lengths.size()));
        // The first link leaves the palm flat, fanned out by at most 0.2 with knuckles.
        EXPECT_NEAR(Dot(digit.frame[0].row[0], hand.row[2]), 0, 1e-4f);
        const float middle = 0.5f * static_cast<float>(row.fingers - 1);
        const float fan =
            row.knuckles && middle > 0 ? 0.2f * (middle - static_cast<float>(f)) / middle : 0;
        EXPECT_NEAR(Dot(digit.frame[0].row[0], hand.row[1]), Sin(fan), 1e-4f);
        for (int k = 0; k < digit.numLinks; ++k) {
          EXPECT_NEAR(digit.dimensions[k].x, lengths[static_cast<std::size_t>(k)], 1e-4f);
          if (k == 0) continue;
          // Each link but the first curls by its share of 0.7 on the one before, palm side.
          const Point3 before = digit.frame[k - 1].row[0], here = digit.frame[k].row[0];
          EXPECT_NEAR(Acos(Dot(before, here)), 0.7f / static_cast<float>(row.links), 2e-3f);
          EXPECT_GT((here.z - before.z) * inward, 0);
        }
      }
    }
  }
  Structure fore;
  fore.fingers = 4;
  fore.fingerLinks = 3;
  fore.foreFeet = true;
  const MotionCore core = MakeFigure(fore);
  for (int f = 0; f < 4; ++f) {
    const DigitRecord& digit = core.arm[kLeft].digits[f];
    EXPECT_LT(Distance(digit.frame[0].row[0], digit.frame[2].row[0]), 1e-4f) << "no curl";
  }
}

TEST(FigureLayout, TheToesShareTheirBendOverAllLinks) {
  for (int links : {1, 2, 3}) {
    Structure s;
    s.toeLinks = links;
    s.toes = 2;
    const MotionCore core = MakeFigure(s);
    const DigitRecord& toe = core.leg[kLeft].digits[1];
    EXPECT_NEAR(toe.dimensions[0].x, 3.2f * core.figureScale, 1e-5f);
    for (int k = 0; k < links; ++k) {
      const float slope = Acos(Dot(toe.frame[k].row[0], Point3{1, 0, 0}));
      EXPECT_NEAR(slope, 0.7f * static_cast<float>(k + 1) / static_cast<float>(links), 2e-3f);
      EXPECT_LT(toe.frame[k].row[0].y, 0);
    }
  }
}

TEST(PlaceFigure, TurnsAndMovesTheWholeStance) {
  Random random(23);
  for (int i = 0; i < 40; ++i) {
    const MotionCore core = MakeFigure(RandomStructure(random));
    const Point3 place = random.Inside(200);
    const float heading = random.Between(-6, 6);
    MotionCore moved = core;
    PlaceFigure(moved, place, heading);
    Evaluate(moved, 0);
    const double c = std::cos(static_cast<double>(heading)), s = std::sin(heading);
    for (const NodeInfo& node : BuildNodeTree(core)) {
      SCOPED_TRACE(node.name);
      if (FindBodyPart(node.id)->kind == PartKind::kFootprints) continue;
      // Seen by the host: counter-clockwise about the upright axis, x ahead, y left.
      const Point3 was = UnmirroredLinkTransform(core, node.id, node.link).Origin();
      const Point3 is = UnmirroredLinkTransform(moved, node.id, node.link).Origin();
      const Point3 hostPlace = HostFromCore(place);
      const Point3 wanted{static_cast<float>(was.x * c - was.y * s) + hostPlace.x,
                          static_cast<float>(was.x * s + was.y * c) + hostPlace.y,
                          was.z + hostPlace.z};
      ASSERT_LT(Distance(is, wanted), 2e-5f * (core.structure.height + 200));
    }
  }
}

/// Every number of a figure that its height may change.
std::vector<float> Sizes(const MotionCore& core) {
  std::vector<float> all;
  const auto add = [&](const Point3& p) { all.insert(all.end(), {p.x, p.y, p.z}); };
  for (const NodeInfo& node : BuildNodeTree(core)) {
    add(LinkDimensions(core, node.id, node.link));
    add(LinkFrame(core, node.id, node.link).Origin());
  }
  for (const LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    all.insert(all.end(), {limb->upperLength, limb->lowerLength, limb->endLength, limb->totalLength,
                           limb->toeLength, limb->heelLength, limb->extremityHeight,
                           limb->extremityWidth, limb->baseSize});
    add(limb->baseOffset);
    add(limb->rest.bodyTarget);
    for (const DigitRecord& digit : limb->digits) add(digit.baseOffset);
  }
  for (float size : core.head.sizes) all.push_back(size);
  all.insert(all.end(), {core.body.gravAccel, core.figureScale, core.footsteps.scaleAnkleHeight,
                         core.footsteps.scaleHipWidth, core.pelvis.width, core.pelvis.depth});
  add(core.body.figurePosition);
  return all;
}

TEST(SetHeight, ToTheHeightAnsweredChangesNothing) {
  Random random(24);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = MakeFigure(RandomStructure(random));
    const Point3 place = random.Inside(100);
    PlaceFigure(core, place, random.Between(-3, 3));
    Evaluate(core, 0);
    const std::vector<float> before = Sizes(core);
    ASSERT_EQ(SetHeight(core, CoreFigureHeight(core)), kDone);
    Evaluate(core, 0);
    ASSERT_EQ(Sizes(core), before);
  }
}

TEST(SetHeight, ScalesEveryLengthAndPlaceAndKeepsTheSolesDown) {
  Random random(25);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    const Structure structure = RandomStructure(random);
    const MotionCore core = MakeFigure(structure);
    const float factor = random.Between(0.1f, 8);
    MotionCore scaled = core;
    ASSERT_EQ(SetHeight(scaled, structure.height * factor), kDone);
    Evaluate(scaled, 0);
    const std::vector<float> before = Sizes(core), after = Sizes(scaled);
    ASSERT_EQ(before.size(), after.size());
    const float close = 1e-5f * structure.height * factor;
    for (std::size_t k = 0; k < before.size(); ++k) {
      ASSERT_NEAR(after[k], before[k] * factor, close) << k;
    }
    ASSERT_NEAR(test::LowestSolePoint(scaled.leg[0]), 0, close);
    ASSERT_EQ(CoreFigureHeight(scaled), structure.height * factor);
  }
}

TEST(SetHeight, RefusesWhatIsNoHeightAndLeavesAFigureOnItsGroundPoint) {
  MotionCore core = MakeFigure();
  PlaceFigure(core, {30, 12, -7}, 1);
  Evaluate(core, 0);
  const std::vector<float> before = Sizes(core);
  const float inf = std::numeric_limits<float>::infinity();
  for (float height : {0.0f, -80.0f, inf, -inf, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(SetHeight(core, height), kRefused) << height;
  }
  Evaluate(core, 0);
  EXPECT_EQ(Sizes(core), before);
  ASSERT_EQ(SetHeight(core, 200), kDone);
  Evaluate(core, 0);
  EXPECT_NEAR(test::LowestSolePoint(core.leg[0]), 12, 1e-3);
  EXPECT_NEAR(core.body.bodyPosition.x, 30, 1e-4);
  EXPECT_NEAR(core.body.bodyPosition.z, -7, 1e-4);
}

TEST(CoreFigureHeight, FollowsEditedDimensions) {
  const struct {
    const char* what;
    std::function<void(MotionCore&)> edit;
    float units;  // nominal units that the sum of lengths changes by
  } rows[] = {
      {"a longer spine link", [](MotionCore& c) { c.spine.dimensions[2].x *= 2; }, 26},
      {"a shorter neck", [](MotionCore& c) { c.neck.dimensions[0].x = 0; }, -15},
      {"a taller head", [](MotionCore& c) { c.head.sizes[1] += 10 * c.figureScale; }, 10},
      {"one longer leg", [](MotionCore& c) { c.leg[0].totalLength *= 1.5f; }, 0},
      {"both legs shorter",
       [](MotionCore& c) { c.leg[0].totalLength = c.leg[1].totalLength = 180 * c.figureScale; },
       -20},
  };
  // Spine 104 and 23 below it, neck 15, head 47, leg 200, foot 23.
  const float whole = 412;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = MakeFigure();
    row.edit(core);
    EXPECT_NEAR(CoreFigureHeight(core), 80 * (whole + row.units) / whole, 1e-3);
  }
}

}  // namespace
}  // namespace strider
