#include "strider/core/restructure.h"

#include "strider/core/limb_places.h"
#include "strider/core/link_counts.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Distance;
using test::Random;

const std::vector<TimeValue> kKeyTimes{0, 800, 1600, 2400, 4800};

MotionCore Figure(int legLinks, int toes = 2) {
  Structure s;
  s.legLinks = legLinks;
  s.toes = toes;
  return test::MakeFigure(s);
}

bool TablesAreWhole(const MotionCore& core) {
  bool whole = true;
  const auto check = [&](const auto& table) {
    whole = whole && CheckTrack(table.track) &&
            table.keys.size() == static_cast<std::size_t>(table.track.numKeys);
  };
  for (int side = 0; side < 2; ++side) {
    check(core.leg[side].table);
    check(core.arm[side].table);
    check(core.pony[side].table);
  }
  check(core.spine.table);
  check(core.tail.table);
  check(core.head.table);
  for (const PropRecord& prop : core.props) check(prop.table);
  for (const XtraChain& xtra : core.xtras) check(xtra.chain.table);
  return whole;
}

// Each key of a leg is a key of one sub-track alone and has a tension that tells which.
TEST(AdoptFigure, ShiftsTheSubTracksOfALegAroundTheHorseLink) {
  const struct {
    const char* what;
    int from, to;
    bool toesSeparate;
    std::vector<int> subTracks;  // of the new leg: which old one each continues
  } rows[] = {
      {"a horse link comes, toes alone", 3, 4, true, {0, 1, 1, 2, 3, 4}},
      {"it goes, toes alone", 4, 3, true, {0, 1, 3, 4, 5}},
      {"it comes, toes together", 3, 4, false, {0, 1, 1, 2, 3}},
      {"it goes, toes together", 4, 3, false, {0, 1, 3, 4}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = Figure(row.from);
    ASSERT_EQ(SetSeparateTracks(core, row.toesSeparate ? kLeftToes : kLeftLeg, true), kDone);
    const int before = core.leg[kLeft].table.track.numSubTracks;
    ASSERT_EQ(before, row.from + (row.toesSeparate ? 2 : 1));
    for (int sub = 0; sub < before; ++sub) {
      ASSERT_EQ(PutKey(core, kLeftLeg, 160 * sub, core.leg[kLeft].rest, 1u << sub),
                KeyRefusal::kNone);
      KeyTcb tcb;
      tcb.tension = static_cast<float>(sub);
      ASSERT_EQ(SetTcb(core.leg[kLeft].table.track, sub, sub, tcb), kDone);
    }
    ASSERT_EQ(AdoptFigure(core, Figure(row.to)), kDone);
    EXPECT_TRUE(TablesAreWhole(core));
    const KeyTrack& track = core.leg[kLeft].table.track;
    ASSERT_EQ(track.numSubTracks, static_cast<int>(row.subTracks.size()));
    for (int sub = 0; sub < track.numSubTracks; ++sub) {
      const int old = row.subTracks[static_cast<std::size_t>(sub)];
      // Just the key of the sub-track that it continues is its own.
      for (int i = 0; i < track.numKeys; ++i) {
        const bool own = track.times[static_cast<std::size_t>(i)].linkMask >> sub & 1;
        EXPECT_EQ(own, track.times[static_cast<std::size_t>(i)].time == 160 * old) << sub;
        if (own) {
          EXPECT_EQ(GetTcb(track, i, sub).tension, static_cast<float>(old));
        }
      }
    }
    // The horse link's own key held nothing else.
    EXPECT_EQ(track.numKeys, row.to == 3 ? before - 1 : before);
  }
}

TEST(AdoptFigure, DropsAndAddsColumnsOfChains) {
  Random random(201);
  MotionCore core = test::MakeFigure();  // 4 spine links, 1 of the neck
  test::KeyAllTracks(core, random, kKeyTimes);
  const MotionCore before = core;
  Structure s;
  s.spineLinks = 2;
  s.neckLinks = 3;
  s.tailLinks = 2;
  MotionCore figure = test::MakeFigure(s);
  figure.head.rest.chain.rotation[1] = AboutX(0.3f);
  ASSERT_EQ(AdoptFigure(core, figure), kDone);
  ASSERT_TRUE(TablesAreWhole(core));
  ASSERT_EQ(core.spine.table.track.numKeys, 5);
  EXPECT_EQ(core.tail.table.track.numKeys, 0);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(core.spine.table[i].rotation[1], before.spine.table[i].rotation[1]);
    EXPECT_EQ(core.spine.table[i].rotation[2], Quat{});
    const ChainKey& head = core.head.table[i].chain;
    EXPECT_EQ(head.rotation[0], before.head.table[i].chain.rotation[0]);
    EXPECT_EQ(head.rotation[1], AboutX(0.3f));  // as in the stance
    EXPECT_EQ(head.rotation[3], before.head.table[i].chain.rotation[1]);
  }
  // The head looks where it looked, but for the neck's new turn.
  for (TimeValue t = 0; t < 5000; t += 700) {
    CoreEvaluate(core, t, {});
    MotionCore old = before;
    CoreEvaluate(old, t, {});
    EXPECT_LT(test::AngleBetween(core.head.pose, old.head.pose), 1e-5f);
  }
  // A key that only a lost link had goes with it.
  core = test::MakeFigure();
  ASSERT_EQ(SetSeparateTracks(core, kSpine, true), kDone);
  ASSERT_EQ(PutKey(core, kSpine, 0, ChainKey{}), KeyRefusal::kNone);
  ASSERT_EQ(PutKey(core, kSpine, 160, ChainKey{}, 1u << 3), KeyRefusal::kNone);
  ASSERT_EQ(PutKey(core, kSpine, 320, ChainKey{}, 1u << 1), KeyRefusal::kNone);
  ASSERT_EQ(AdoptFigure(core, figure), kDone);
  ASSERT_EQ(core.spine.table.track.numKeys, 2);
  EXPECT_EQ(core.spine.table.TimeOf(1), 320);
}

// Any figure's motion on any other figure: whole, finite, with its keys; and what both figures have
// is as it was once the first figure is back.
TEST(AdoptFigure, KeepsKeysThereAndBackBetweenRandomStructures) {
  Random random(202);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    MotionCore core = test::MakeFigure(test::RandomStructure(random));
    test::KeyAllTracks(core, random, kKeyTimes);
    for (int id : {kLeftArm, kRightFingers, kLeftLeg, kRightToes, kNeck, kSpine, kPony1}) {
      const bool on = random.Int(0, 2) == 0;
      if (on && FindTrack(core, id)) {
        ASSERT_EQ(SetSeparateTracks(core, id, true), kDone);
      }
    }
    for (int id : {kLeftArm, kRightLeg, kHead, kSpine}) {
      KeyTrack* track = FindTrack(core, id);
      if (track && random.Int(0, 1)) {
        ASSERT_EQ(SetCurveMode(*track, 1), kDone);
      }
      if (track && random.Int(0, 2) == 0) {
        ASSERT_TRUE(SetEulerActive(core, id, random.Int(0, 5)));
      }
    }
    const MotionCore before = core;
    const MotionCore own = FigureOf(core);
    const MotionCore other = test::MakeFigure(test::RandomStructure(random));
    ASSERT_EQ(AdoptFigure(core, other), kDone);
    ASSERT_TRUE(TablesAreWhole(core));
    EXPECT_EQ(core.structure, other.structure);
    EXPECT_FLOAT_EQ(core.footsteps.scaleLegLength, other.leg[0].totalLength);
    // Gravity over height stays, whatever heights the two are.
    EXPECT_FLOAT_EQ(core.body.gravAccel / CoreFigureHeight(core),
                    before.body.gravAccel / CoreFigureHeight(before));
    for (int id : {kLeftLeg, kRightLeg, kSpine, kHead, kPelvis, kTurn, kVertical}) {
      EXPECT_EQ(FindTrack(core, id)->numKeys, 5) << id;
      EXPECT_EQ(NumSubTracks(core, id), FindTrack(core, id)->numSubTracks) << id;
    }
    for (TimeValue t = -100; t < 5000; t += 450) {
      test::Evaluate(core, t);
      ASSERT_TRUE(test::AllFinite(test::AllTransforms(core)));
    }
    ASSERT_EQ(AdoptFigure(core, own), kDone);
    ASSERT_TRUE(TablesAreWhole(core));
    EXPECT_EQ(core.structure, before.structure);
    EXPECT_NEAR(core.body.figurePosition.y, before.body.figurePosition.y,
                1e-5f * (before.structure.height + other.structure.height));
    const int links = std::min(before.spine.numLinks, other.spine.numLinks);
    for (int i = 0; i < 5; ++i) {
      for (int k = 0; k < links; ++k) {
        EXPECT_EQ(core.spine.table[i].rotation[k], before.spine.table[i].rotation[k]);
        EXPECT_EQ(core.spine.table[i].euler[k], before.spine.table[i].euler[k]);
      }
      EXPECT_EQ(core.head.table[i].chain.rotation[core.neck.numLinks],
                before.head.table[i].chain.rotation[core.neck.numLinks]);
      const LimbKey &now = core.leg[0].table[i], &was = before.leg[0].table[i];
      EXPECT_EQ(now.limbRotation, was.limbRotation);
      EXPECT_EQ(now.pivotPosition, was.pivotPosition);
      EXPECT_EQ(now.digits[0].bend[0], was.digits[0].bend[0]);
    }
  }
}

TEST(ConvertLegKeys, KeepsTheFeetWhereTheyWereWithThreeAndFourLinks) {
  Random random(203);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    const int links = 3 + round % 2;
    MotionCore core = Figure(links, 3);
    test::KeyAllTracks(core, random, kKeyTimes);
    const LimbPlaces places = PlacesAtKeys(core, {});
    ASSERT_EQ(AdoptFigure(core, Figure(7 - links, 3)), kDone);
    ConvertLegKeys(core, places, {});
    for (int side = 0; side < 2; ++side) {
      const LimbRecord& leg = core.leg[side];
      ASSERT_EQ(leg.table.track.numKeys, 5);
      for (int i = 0; i < 5; ++i) {
        const LimbPlace& place = places.leg[side][static_cast<std::size_t>(i)];
        test::Evaluate(core, place.time);
        const Matrix3& foot = leg.frame[NumLimbLinks(leg) - 1];
        const LimbKey& key = leg.table[i];
        EXPECT_LT(test::AngleBetween(RotationOf(foot), place.rotation), 1e-3f);
        const Point3 point = place.held ? PivotPoint(leg, key) * foot
                                        : foot.Origin() - Point3{0, leg.extremityHeight, 0};
        // Poses of the fixture may stretch a leg further than the other one reaches.
        const float off = Distance(point, place.point);
        const bool atReach = Length(leg.pose.localTarget) > 0.95f * leg.totalLength;
        if (!atReach) {
          EXPECT_LT(off, 1e-3f * leg.totalLength) << i << " " << side;
          // The knee stays on its side.
          EXPECT_GT(Dot(leg.frame[0].row[2], place.swivel), 0.7f);
        }
        if (place.held) {
          EXPECT_LT(Distance(key.pivotPosition, place.point), 1e-3f);
        }
      }
    }
  }
}

TEST(ChangeNumLinks, LaysThePartOutAnew) {
  Structure s;
  s.height = 415;  // lengths in nominal units
  s.ponytail1Links = 2;
  s.twists = true;
  const MotionCore plain = test::MakeFigure(s);
  MotionCore core = plain;
  core.spine.dimensions[0].x *= 1.5f;  // 13 longer than the default
  ASSERT_EQ(ChangeNumLinks(core, kSpine, 2), kDone);
  EXPECT_FLOAT_EQ(core.spine.dimensions[0].x, 58.5f);
  EXPECT_FLOAT_EQ(core.spine.dimensions[1].x, 58.5f);

  core = plain;
  ASSERT_EQ(ChangeNumLinks(core, kNeck, 3), kDone);
  EXPECT_NEAR(CoreFigureHeight(core), 445, 0.01f);
  EXPECT_NEAR(core.neck.dimensions[2].x, 15, 1e-3f);
  EXPECT_NEAR(core.figureScale, 1, 1e-5f);

  core = plain;
  core.leg[0].upperLength = core.leg[1].upperLength = 120;  // 220 long, thigh 6/11
  ASSERT_EQ(SettleFigure(core), kDone);
  ASSERT_EQ(ChangeNumLinks(core, kLeftLeg, 4), kDone);
  for (const LimbRecord& leg : core.leg) {
    EXPECT_NEAR(leg.totalLength, 220, 1e-3f);
    EXPECT_NEAR(leg.endLength, 44, 1e-3f);
    EXPECT_NEAR(leg.upperLength, 96, 1e-3f);
    EXPECT_NEAR(leg.rest.bodyTarget.y, 0, 1e-3f);  // the ankle under the hip
  }
  core.body.figurePosition.y = StanceHeight(core);
  TakeStance(core);
  CoreForwardKinematics(core);
  EXPECT_NEAR(test::LowestSolePoint(core.leg[0]), 0, 1e-3f);
  ASSERT_EQ(ChangeNumLinks(core, kRightLeg, 3), kDone);
  EXPECT_NEAR(core.leg[kLeft].upperLength, 120, 1e-3f);

  core = plain;
  for (const auto& [id, links] : {std::pair<int, int>{kPony1, 4},
                                  {kTail, 3},
                                  {kLeftFingers, 3},
                                  {kRightToes, 1},
                                  {kLeftCalfTwist, 5}}) {
    ASSERT_EQ(ChangeNumLinks(core, id, links), kDone) << id;
    EXPECT_EQ(NumLinks(core, id), links);
  }
  EXPECT_EQ(core.arm[kRight].digits[0].numLinks, 3);
  EXPECT_EQ(NumLinks(core, kRightCalfTwist), 5);
  // The toe still touches the ground that the sole stands on.
  const MotionCore before = core;
  for (const auto& [id, links] : {std::pair<int, int>{kSpine, 6},
                                  {kSpine, 0},
                                  {kLeftLeg, 2},
                                  {kHead, 2},
                                  {kLeftCalfTwist, 11},
                                  {kLeftArm, 3},
                                  {-1, 1}}) {
    EXPECT_EQ(ChangeNumLinks(core, id, links), kRefused) << id;
    EXPECT_EQ(core.structure, before.structure);
  }
}

TEST(SettleFigure, FindsTheHeightOfDefaultProportions) {
  Random random(204);
  for (int i = 0; i < 20; ++i) {
    const Structure s = test::RandomStructure(random);
    MotionCore core = test::MakeFigure(s);
    const float gravity = core.body.gravAccel;
    ASSERT_EQ(SettleFigure(core), kDone);
    EXPECT_NEAR(CoreFigureHeight(core) / s.height, 1, 1e-5f);
    EXPECT_NEAR(core.body.gravAccel / gravity, 1, 1e-5f);
  }
  MotionCore core = test::MakeFigure();
  EXPECT_EQ(SettleFigure(core, NAN), kRefused);
  core.leg[0].upperLength = INFINITY;
  EXPECT_EQ(SettleFigure(core), kRefused);
}

}  // namespace
}  // namespace strider
