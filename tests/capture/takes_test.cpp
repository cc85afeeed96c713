// What an import promises of real takes: how near it comes to them, which contacts it finds, that
// feet stand and knees do not jerk, and that it can be edited, kept and read again.
#include "exchange/motion_bvh.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/convert_motion.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/motion_measures.h"
#include "strider/storage/motion_file.h"
#include "tests/capture/take_measures.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Take;
using test::TakeJoints;

class RealTake : public testing::TestWithParam<int> {
 protected:
  const Take& take_ = test::Takes()[static_cast<std::size_t>(GetParam())];
  const TakeJoints joints_ = test::JointsOf(take_);
  int NumFrames() const { return static_cast<int>(joints_.frames.size()); }
};

INSTANTIATE_TEST_SUITE_P(Shipped, RealTake,
                         testing::Range(0, static_cast<int>(test::Takes().size())),
                         [](const auto& row) {
                           const std::string file =
                               test::Takes()[static_cast<std::size_t>(row.param)].file;
                           return file.substr(0, file.find('.'));
                         });

ImportOptions Dense(bool footsteps) {
  ImportOptions options;
  options.footsteps = footsteps;
  options.reduce = false;
  return options;
}

TEST_P(RealTake, IsMetJointByJoint) {
  const test::Distances dense = DistancesOf(test::Import(take_, Dense(false)).motion, joints_);
  EXPECT_LT(dense.mean, 1);
  EXPECT_LT(dense.high, 3);
  EXPECT_LT(DistancesOf(test::Import(take_, Dense(true)).motion, joints_).mean, 3);
  const ImportResult reduced = test::Import(take_);
  EXPECT_LT(DistancesOf(reduced.motion, joints_).mean, 3);
  EXPECT_GE(test::LimbFactor(reduced.motion, NumFrames()), 5);
}

TEST_P(RealTake, FindsEveryContact) {
  if (take_.contacts.empty()) GTEST_SKIP() << "nobody measured its contacts";
  const MotionCore motion = test::Import(take_).motion;
  constexpr double kNear = 0.07, kShort = 0.1;  // seconds
  std::vector<test::ContactTime> found;
  for (int side = 0; side < 2; ++side) {
    for (const FootstepSpan& span : motion.footsteps.spans[side]) {
      found.push_back({side, span.start / 4800.0, span.Lift() / 4800.0});
    }
  }
  for (const test::ContactTime& contact : take_.contacts) {
    const auto same = std::find_if(found.begin(), found.end(), [&](const auto& f) {
      return f.side == contact.side && std::fabs(f.from - contact.from) <= kNear &&
             std::fabs(f.to - contact.to) <= kNear;
    });
    EXPECT_NE(same, found.end()) << contact.side << " from " << contact.from;
    if (same != found.end()) found.erase(same);
  }
  const double end = (NumFrames() - 1) * motion.ticksPerFrame / 4800.0;
  for (const test::ContactTime& contact : found) {
    const bool atAnEnd = contact.from <= 0 || contact.to >= end;
    EXPECT_TRUE(atAnEnd && contact.to - contact.from < kShort) << "invented at " << contact.from;
  }
}

TEST_P(RealTake, LetsFeetStandAndKneesMoveEvenly) {
  const std::vector<PoseSample> asItWas =
      test::SampleFrames(test::Import(take_, Dense(false)).motion, NumFrames());
  for (const bool reduce : {false, true}) {
    SCOPED_TRACE(reduce);
    ImportOptions options;
    options.reduce = reduce;
    const MotionCore motion = test::Import(take_, options).motion;
    const std::vector<PoseSample> poses = test::SampleFrames(motion, NumFrames());
    for (const test::Skate& skate : test::SkateOf(motion, poses, asItWas)) {
      EXPECT_LE(skate.figure, std::max(skate.take, 0.2)) << "footstep " << skate.footstep;
    }
    EXPECT_LE(test::KneeExcess(poses, joints_), 2);
    // A dancer stands on tiptoe.
    if (!take_.contacts.empty()) {
      EXPECT_LE(test::TiltOnGround(motion), 6);
    }
  }
}

/// What a motion may be at the most: a bound, or what it was before an edit where that is more.
void ExpectWithin(const MotionMeasures& now, const MotionMeasures& before, bool placesToo) {
  struct Row {
    const char* name;
    MeasuredRange MotionMeasures::*measure;
    float bound;
  };
  constexpr float kRounding = 1.1f;
  for (const Row& row :
       {Row{"footprint distance", &MotionMeasures::footprintDistance, 1},
        Row{"footprint heading", &MotionMeasures::footprintHeading, 1},
        Row{"skate", &MotionMeasures::skate, 0.2f}, Row{"reach", &MotionMeasures::reachExcess, 1},
        Row{"knee change", &MotionMeasures::kneeChange, 30},
        Row{"body", &MotionMeasures::bodyAcceleration, 8},
        Row{"ankle", &MotionMeasures::ankleAcceleration, 25},
        Row{"joint", &MotionMeasures::jointAcceleration, 30}}) {
    const bool place = row.bound <= 1;
    if (place && !placesToo) continue;
    EXPECT_LE((now.*row.measure).high, std::max(row.bound, kRounding * (before.*row.measure).high))
        << row.name << " at " << (now.*row.measure).highAt.time;
  }
}

TEST_P(RealTake, FollowsItsFootstepsWhenTheyAreMoved) {
  const MotionCore imported = test::Import(take_).motion;
  const MotionMeasures before = MeasureMotion(imported, {});
  const float tenth = 0.1f * imported.leg[kRight].totalLength;
  for (int i = 0; i < imported.footsteps.numFootsteps; ++i) {
    const float heading = imported.footsteps.angle[static_cast<std::size_t>(i)];
    for (const Point3& way : {ForwardOf(heading), -ForwardOf(heading), LeftOf(heading)}) {
      SCOPED_TRACE(i);
      MotionCore moved = imported;
      FootstepTrack& track = moved.footsteps;
      track.position[static_cast<std::size_t>(i)] += tenth * way;
      TransformsFromPositions(track);
      ASSERT_EQ(AdaptMotion(moved, imported.footsteps, i, i, {}, {}), AdaptResult::kDone);
      ExpectWithin(MeasureMotion(moved, {}), before, true);
    }
  }
}

TEST_P(RealTake, ShowsTheSameOnceItWasSaved) {
  const test::ScratchFolder folder;
  MotionCore imported = test::Import(take_).motion;
  std::string cause;
  ASSERT_TRUE(SaveMotion(folder.File("take.sdr"), {&imported}, {}, cause)) << cause;
  StreamContents contents;
  ASSERT_TRUE(LoadMotion(folder.File("take.sdr"), {}, {}, contents, cause)) << cause;
  MotionCore& loaded = contents.Base();
  double most = 0;
  for (int f = 0; f < NumFrames(); ++f) {  // those before the first and after the last footstep too
    CorePose(imported, f * imported.ticksPerFrame, {});
    CorePose(loaded, f * imported.ticksPerFrame, {});
    const JointPlaces a = PlacesOfFigure(imported), b = PlacesOfFigure(loaded);
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      most = std::max(most, static_cast<double>(Length(a.place[i] - b.place[i])));
    }
  }
  EXPECT_LT(most, 1e-3 * joints_.leg);
}

/// Frames of the contacts, each side's in their order.
std::vector<std::array<int, 3>> ContactFrames(const MotionCore& motion) {
  std::vector<std::array<int, 3>> frames;
  for (int side = 0; side < 2; ++side) {
    for (const FootstepSpan& span : motion.footsteps.spans[side]) {
      frames.push_back(
          {side, span.start / motion.ticksPerFrame, span.Lift() / motion.ticksPerFrame});
    }
  }
  return frames;
}

TEST_P(RealTake, FindsItsFootstepsAgainInFreeKeys) {
  for (const bool reduce : {false, true}) {
    ImportOptions options;
    options.reduce = reduce;
    const MotionCore imported = test::Import(take_, options).motion;
    for (const bool bake : {false, true}) {
      SCOPED_TRACE(testing::Message() << reduce << " " << bake);
      MotionCore motion = imported;
      ASSERT_EQ(ConvertToFreeForm(motion, bake, {}), kDone);
      ExtractionReport report;
      ASSERT_EQ(ConvertToFootsteps(motion, {}, {}, report, {}), ToFootstepsResult::kDone);
      ASSERT_EQ(ContactFrames(motion), ContactFrames(imported));
      const FootstepTrack &is = motion.footsteps, &was = imported.footsteps;
      for (std::size_t i = 0; i < was.position.size(); ++i) {
        EXPECT_LT(Length(is.position[i] - was.position[i]), 0.01f * joints_.leg) << i;
        EXPECT_NEAR(is.angle[i], was.angle[i], 0.05f) << i;
      }
    }
  }
}

TEST_P(RealTake, ComesBackFromItsOwnBvh) {
  const test::ScratchFolder folder;
  const std::string path = folder.File("again.bvh");
  ImportOptions options;
  options.running = take_.running;
  if (take_.running) options.fps = 60;
  for (const bool reduce : {false, true}) {
    SCOPED_TRACE(reduce);
    options.reduce = reduce;
    MotionCore imported = test::Import(take_, options).motion;
    std::string cause;
    MotionBvhOptions metres;
    metres.metresPerUnit = 0.01;
    ASSERT_TRUE(WriteMotionBvh(imported, {}, metres, path, cause)) << cause;
    ImportOptions dense = options;
    dense.footsteps = dense.reduce = false;
    ImportResult joints, again;
    ASSERT_TRUE(ImportTake(path, dense, {}, joints, cause)) << cause;
    ASSERT_TRUE(ImportTake(path, options, {}, again, cause)) << cause;
    double most = 0;
    for (int f = 0; f < NumFrames(); ++f) {
      CorePose(imported, f * imported.ticksPerFrame, {});
      CorePose(joints.motion, f * imported.ticksPerFrame, {});
      const JointPlaces a = PlacesOfFigure(imported), b = PlacesOfFigure(joints.motion);
      for (int i = 0; i < JointPlaces::kCount; ++i) {
        most = std::max(most, static_cast<double>(Length(a.place[i] - b.place[i])));
      }
    }
    EXPECT_LT(most, 0.01 * joints_.leg);

    // The dance has swings as short as gaps in a contact, which fewer keys close.
    if (take_.contacts.empty() && reduce) continue;
    const auto was = ContactFrames(imported), is = ContactFrames(again.motion);
    ASSERT_EQ(is.size(), was.size());
    for (std::size_t i = 0; i < was.size(); ++i) {
      EXPECT_EQ(is[i][0], was[i][0]);
      EXPECT_NEAR(is[i][1], was[i][1], 2);
      EXPECT_NEAR(is[i][2], was[i][2], 2);
    }
  }
}

// --- Other figures ------------------------------------------------------------------------------

/// Default proportions but for its legs.
MotionCore FigureOf(float height, float legs) {
  Structure structure;
  structure.height = height;
  MotionCore figure = test::MakeFigure(structure);
  for (LimbRecord& leg : figure.leg) {
    leg.dimensions[0].x = leg.upperLength *= legs;
    leg.dimensions[1].x = leg.lowerLength *= legs;
  }
  EXPECT_EQ(SettleFigure(figure, height), kDone);
  return figure;
}

TEST_P(RealTake, IsMovedByOtherFiguresToo) {
  const test::ScratchFolder folder;
  const MotionCore own = test::Import(take_).motion;
  const MotionMeasures asItWas = MeasureMotion(own, {});
  const MotionMeasures dense = MeasureMotion(test::Import(take_, Dense(true)).motion, {});
  for (const auto& [height, legs] : {std::pair{110.0f, 1.0f}, {260.0f, 0.6f}}) {
    const MotionCore figure = FigureOf(height, legs);
    std::string cause;
    ASSERT_TRUE(SaveMotion(folder.File("other.fig"), {&figure}, {}, cause)) << cause;
    for (const bool reduce : {false, true}) {
      SCOPED_TRACE(testing::Message() << height << " " << reduce);
      ImportOptions options;
      options.figure = folder.File("other.fig");
      options.reduce = reduce;
      MotionCore motion = test::Import(take_, options).motion;
      EXPECT_NEAR(motion.leg[kRight].totalLength, figure.leg[kRight].totalLength, 0.01f);
      EXPECT_EQ(ContactFrames(motion), ContactFrames(own));
      const MotionMeasures measures = MeasureMotion(motion, {});
      EXPECT_LE(measures.skate.high, 0.2f);
      EXPECT_LE(measures.footprintDistance.high, 1);
      EXPECT_LE(measures.reachExcess.high, 1);
      ExpectWithin(measures, reduce ? asItWas : dense, false);
      // Upright as the take is.
      MotionCore posed = own;
      double most = 0, lean = 0;
      for (int f = 0; f < NumFrames(); ++f) {
        const TimeValue t = f * motion.ticksPerFrame;
        CorePose(motion, t, {});
        CorePose(posed, t, {});
        const JointPlaces is = PlacesOfFigure(motion), was = PlacesOfFigure(posed);
        for (int side = 0; side < 2; ++side) {
          const Point3 leg = is.place[6 * side + 2] - is.place[6 * side];
          most = std::max(most, static_cast<double>(Length(leg) / figure.leg[side].totalLength));
        }
        const auto up = [](const JointPlaces& places) {
          return Normalized(places.place[12] - 0.5f * (places.place[0] + places.place[6])).y;
        };
        lean = std::max(lean, static_cast<double>(std::fabs(up(is) - up(was))));
      }
      EXPECT_LE(most, 1.0001);
      EXPECT_LT(lean, 0.15);
    }
  }
}

// --- Takes of other kinds -----------------------------------------------------------------------

TEST(MarkerTake, KeepsAFifthOfItsLimbKeys) {
  ImportOptions options;
  options.names = test::TakePath("heel.mnm");
  ImportResult result;
  std::string cause;
  ASSERT_TRUE(ImportTake(test::TakePath("walk_cmu_06_01.mkr"), options, {}, result, cause));
  EXPECT_GE(test::LimbFactor(result.motion, result.conversion.numFrames), 5);
  EXPECT_LT(result.conversion.fit.mean, 0.03);
}

TEST(StandingTake, IsTwoLongFootsteps) {
  ImportResult result;
  std::string cause;
  ASSERT_TRUE(ImportTake("tests/data/takes/stand.bvh", {}, {}, result, cause)) << cause;
  const FootstepTrack& track = result.motion.footsteps;
  ASSERT_EQ(track.numFootsteps, 2);
  for (const auto& spans : track.spans) {
    ASSERT_EQ(spans.size(), 1u);
    EXPECT_EQ(spans[0].start, 0);
    EXPECT_GT(spans[0].duration, 4 * 4800);
  }
}

TEST(ImportTake, PutsFootstepsOnTheFloorWhereThatIsAsked) {
  ImportOptions options;
  options.sets = {{"fsUseFlatten", "1"}};
  ImportResult flat;
  std::string cause;
  ASSERT_TRUE(ImportTake("examples/takes/walk_cmu_12_01.bvh", options, {}, flat, cause)) << cause;
  const FootstepTrack& track = flat.motion.footsteps;
  ASSERT_GT(track.numFootsteps, 4);
  for (const Point3& place : track.position) {
    EXPECT_NEAR(place.y, track.position[0].y, 1e-3f);
    EXPECT_NEAR(place.y, 0, 2);  // the take's floor
  }
  MotionCore posed = flat.motion;
  for (const FootstepSpan& span : track.spans[kLeft]) {
    CorePose(posed, span.start + span.duration / 2, {});
    const LimbRecord& leg = posed.leg[kLeft];
    EXPECT_NEAR(leg.frame[2].Origin().y, track.position[0].y + leg.extremityHeight, 4);
  }
}

}  // namespace
}  // namespace strider
