#include "strider/core/chain.h"

#include <limits>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AngleBetween;
using test::Distance;
using test::Evaluate;
using test::FullStructure;
using test::MakeFigure;
using test::Random;

constexpr TimeValue kFrame = kDynamicsFrame;

Point3 HeadFacing(const MotionCore& core) { return -core.head.frame.row[1]; }

MotionCore HeadAt(float blend, const Point3& target, const Quat& turn = {}) {
  MotionCore core = MakeFigure();
  HeadKey key = CurrentHeadKey(core);
  key.headBlend = blend;
  key.chain.rotation[1] = turn;
  EXPECT_EQ(PutKey(core, 0, key), KeyRefusal::kNone);
  core.head.hasTarget = true;
  core.head.targetPosition = target;
  Evaluate(core, 0);
  return core;
}

TEST(HeadTarget, FullBlendFacesItAndKeepsTheHeadUpright) {
  Random random(61);
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    const Point3 target = random.Inside(200);
    const MotionCore core = HeadAt(1, target, random.SmallTurn(1));
    const Matrix3& head = core.head.frame;
    const Point3 wanted = Normalized(core.head.targetPosition - head.Origin());
    ASSERT_LT(Distance(HeadFacing(core), wanted), 1e-4f);
    ASSERT_NEAR(head.row[2].y, 0, 1e-4f) << "no roll";
    ASSERT_GE(head.row[0].y, -1e-4f) << "not on its crown";
  }
}

TEST(HeadTarget, BlendTurnsItsShareOfTheWay) {
  Random random(62);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    const Quat turn = random.SmallTurn(0.5f);
    const Point3 target = random.Inside(100) + Point3{150, 60, 0};
    const Quat keyed = RotationOf(HeadAt(0, target, turn).head.frame);
    const Quat facing = RotationOf(HeadAt(1, target, turn).head.frame);
    const Quat part = RotationOf(HeadAt(0.3f, target, turn).head.frame);
    const float whole = AngleBetween(keyed, facing);
    ASSERT_NEAR(AngleBetween(keyed, part), 0.3f * whole, 2e-3f);
    ASSERT_NEAR(AngleBetween(part, facing), 0.7f * whole, 2e-3f);
    // Beyond the ends a blend counts as its end.
    ASSERT_EQ(HeadAt(7, target, turn).head.frame, HeadAt(1, target, turn).head.frame);
    ASSERT_EQ(HeadAt(-1, target, turn).head.frame, HeadAt(0, target, turn).head.frame);
  }
}

// Where no direction tells what is up, the head's frame must still be one.
TEST(HeadTarget, AnywhereLeavesASquareFrame) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Random random(63);
  const Point3 joint = MakeFigure().head.frame.Origin();
  for (int i = 0; i < 40; ++i) {
    const Quat turn = i == 0 ? Quat{} : random.Rotation();
    for (const Point3& offset :
         {Point3{0, 50, 0}, Point3{0, -50, 0}, Point3{1e-6f, 1, 0}, Point3{}, Point3{1e-30f, 0, 0},
          Point3{3e38f, 3e38f, -3e38f}, Point3{nan, 0, 0}, Point3{0, inf, 0}}) {
      for (float blend : {0.5f, 1.0f, nan, inf}) {
        SCOPED_TRACE(testing::Message() << offset.x << " " << offset.y << " blend " << blend);
        MotionCore core = HeadAt(0, joint + offset, turn);
        core.head.table.keys[0].headBlend = blend;
        Evaluate(core, 0);
        ASSERT_TRUE(IsFinite(core.head.frame));
        ASSERT_LT(test::OffSquare(core.head.frame), 1e-4f);
        ASSERT_TRUE(test::RightHanded(core.head.frame));
        if (blend != 1 || !IsFinite(offset) || Length(offset) < 1e-3f) continue;
        ASSERT_LT(Distance(HeadFacing(core), Normalized(offset)), 1e-4f)
            << "up or down, it faces it";
      }
    }
  }
}

TEST(HeadTarget, BlendFollowsTheHeadsOwnKeysAlone) {
  Structure s;
  s.neckLinks = 2;
  MotionCore core = MakeFigure(s);
  ASSERT_EQ(SetSeparateTracks(core, kHead, true), kDone);
  const auto put = [&](TimeValue t, float blend, float angle, std::uint32_t mask) {
    HeadKey key = CurrentHeadKey(core);
    key.headBlend = blend;
    for (int k = 0; k < 3; ++k) key.chain.rotation[k] = AboutZ(angle);
    ASSERT_EQ(PutKey(core, t, key, mask), KeyRefusal::kNone);
  };
  put(0, 0, 0, kAllLinks);
  put(10 * kFrame, 1, 0.8f, kAllLinks);
  // A key of the first neck link only: head and second link ride across it.
  put(5 * kFrame, 0.9f, 1, SubTrackMask(core, kNeck, 0));
  Evaluate(core, 5 * kFrame);
  EXPECT_NEAR(core.head.headBlend, 0.5f, 1e-5);
  EXPECT_LT(AngleBetween(core.neck.pose[0], AboutZ(1)), 1e-3f);
  EXPECT_LT(AngleBetween(core.neck.pose[1], AboutZ(0.4f)), 2e-3f);
  EXPECT_LT(AngleBetween(core.head.pose, AboutZ(0.4f)), 2e-3f);
  // The head's ease bends its blend's way.
  ASSERT_EQ(SetTcb(core.head.table.track, 0, 2, {0, 50, 25, 25, 25}), kDone);
  Evaluate(core, 2 * kFrame);
  EXPECT_NEAR(core.head.headBlend, EaseCurve(0.2f, 1, 0), 1e-5);
  EXPECT_LT(core.head.headBlend, 0.1f);
}

TEST(Chains, WithoutKeysTakeTheirStanceWithKeysTheirTurns) {
  MotionCore core = MakeFigure(FullStructure());
  for (int id : {kSpine, kTail, kPony1, kPony2}) {
    SCOPED_TRACE(id);
    ChainRecord& chain = *FindChain(core, id);
    ChainKey key = CurrentChainKey(chain);
    for (float angle : {0.0f, 0.6f}) {
      for (int k = 0; k < chain.numLinks; ++k) key.rotation[k] = AboutY(angle);
      ASSERT_EQ(PutKey(core, id, angle == 0 ? 0 : 10 * kFrame, key), KeyRefusal::kNone);
    }
    Evaluate(core, 5 * kFrame);
    // By hand: link k has turned by (k + 1) x 0.3 about its own Y, which every link shares.
    for (int k = 1; k < chain.numLinks; ++k) {
      EXPECT_NEAR(Acos(Dot(chain.frame[k].row[0], chain.frame[0].row[0])),
                  0.3f * static_cast<float>(k), 2e-3f);
      EXPECT_LT(Distance(chain.frame[k].row[1], chain.frame[0].row[1]), 1e-3f);
    }
    while (!chain.table.Empty()) ASSERT_EQ(DeleteKeyRecord(chain.table, 0), kDone);
    Evaluate(core, 5 * kFrame);
    for (int k = 0; k < chain.numLinks; ++k) EXPECT_EQ(chain.pose[k], chain.rest.rotation[k]);
  }
}

TEST(SpineCentre, IsTheMeanOfTheLinksMiddlesWeighedByTheirLengths) {
  Structure s;
  s.height = 415;
  s.spineLinks = 2;
  MotionCore core = MakeFigure(s);
  // 23 up, 52 up, then 52 ahead.
  core.spine.pose[1] = AboutZ(-kHalfPi);
  EXPECT_LT(Distance(SpineCentre(core, {}), {13, 23 + 39, 0}), 0.01f);
  // The second link three times as long: (26 + 3 x 52) / 4 up, 3 x 78 / 4 ahead.
  core.spine.dimensions[1].x = 156;
  EXPECT_LT(Distance(SpineCentre(core, {}), {58.5f, 23 + 45.5f, 0}), 0.01f);
  EXPECT_LT(Distance(SpineCentre(core, AboutY(kHalfPi)), {0, 23 + 45.5f, -58.5f}), 0.01f);
  for (Point3& size : core.spine.dimensions) size = {};
  EXPECT_LT(Distance(SpineCentre(core, {}), {0, 23, 0}), 0.01f) << "links without length";
}

TEST(ExtraChains, HangFromTheirParentsLink) {
  MotionCore core = MakeFigure();
  XtraChain xtra;
  xtra.parentId = kRightArm;
  xtra.parentLink = 2;
  xtra.chain.numLinks = 3;
  core.xtras.push_back(xtra);
  LayOutFigure(core, core.structure);
  Evaluate(core, 0);
  const Matrix3 rest = LinkFrame(core, kXtraFirst, 1) * Inverse(LinkFrame(core, kRightArm, 2));
  LimbKey key = core.arm[kRight].rest;
  key.limbRotation = AboutY(0.7f);
  ASSERT_EQ(PutKey(core, kRightArm, 0, key), KeyRefusal::kNone);
  Evaluate(core, 0);
  const Matrix3 moved = LinkFrame(core, kXtraFirst, 1) * Inverse(LinkFrame(core, kRightArm, 2));
  for (int i = 0; i < 4; ++i) EXPECT_LT(Distance(moved.row[i], rest.row[i]), 1e-4f);
  EXPECT_EQ(LinkFrame(core, kXtraFirst, 3), Matrix3{});
  EXPECT_EQ(LinkFrame(core, kXtraFirst + 1, 0), Matrix3{});
  const Point3 nub = LinkFrame(core, kXtraNubFirst, 0).Origin();
  EXPECT_NEAR(Distance(nub, LinkFrame(core, kXtraFirst, 2).Origin()), 26 * core.figureScale, 1e-3);
}

}  // namespace
}  // namespace strider
