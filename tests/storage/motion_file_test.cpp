#include "strider/storage/motion_file.h"

#include "strider/core/figure_layout.h"
#include "strider/storage/load_changes.h"
#include "tests/exchange/scratch_folder.h"
#include "tests/storage/storage_fixture.h"

namespace strider {
namespace {

struct MotionFile : ::testing::Test {
  test::ScratchFolder scratch;
  std::string cause;

  static MotionCore Gait(int gait, int footsteps, float height = 80) {
    Structure structure;
    structure.height = height;
    MotionCore core = test::MakeFigure(structure);
    core.name = kFirstFigureName;
    GaitSettings gaits(core.ticksPerFrame);
    gaits.fsGaitMode = gait;
    MultFprintParams params = gaits.params[gait - 1];
    params.numFootsteps = footsteps;
    params.actualStrideHeight1 = 0.05f * height;
    SetActuals(params, MeasuresOf(core));
    EXPECT_TRUE(PlaceMultiple(core, gaits, params, 0).Done());
    EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
    return core;
  }
  std::string Path(const char* name) { return scratch.File(name); }

  StreamContents Load(const std::string& path, const LoadOptions& options = {}) {
    StreamContents contents;
    EXPECT_TRUE(LoadMotion(path, options, {}, contents, cause)) << cause;
    return contents;
  }
};

void Write(const std::string& path, const char* bytes) { std::ofstream(path) << bytes; }

/// The largest distance of any link at any frame of both.
float Furthest(MotionCore a, MotionCore b, TimeValue first, TimeValue last) {
  float furthest = 0;
  for (TimeValue t = first; t <= last; t += kDynamicsFrame) {
    CorePose(a, t, {});
    CorePose(b, t, {});
    const auto left = test::AllTransforms(a), right = test::AllTransforms(b);
    EXPECT_EQ(left.size(), right.size());
    for (std::size_t i = 0; i < left.size(); ++i) {
      furthest = std::max(furthest, test::Distance(left[i].Origin(), right[i].Origin()));
    }
  }
  return furthest;
}

TEST_F(MotionFile, FootstepsAloneGetTheirMotion) {
  const MotionCore run = Gait(kRun, 8);
  ASSERT_TRUE(SaveFootsteps(Path("r.stp"), run, cause)) << cause;
  StreamContents contents = Load(Path("r.stp"));
  EXPECT_EQ(contents.kind, FileKind::kFootsteps);
  EXPECT_LT(Furthest(contents.Base(), run, 0, run.endTime), 0.01f);
}

TEST_F(MotionFile, FootstepsGrowToAnotherFigure) {
  const MotionCore tall = Gait(kWalk, 8, 160);
  ASSERT_TRUE(SaveFootsteps(Path("tall.stp"), tall, cause)) << cause;
  const MotionCore loaded = std::move(Load(Path("tall.stp")).Base());  // on a figure half as high
  const auto strideOf = [](const MotionCore& core) {
    return test::Distance(core.footsteps.position[4], core.footsteps.position[2]);
  };
  EXPECT_NEAR(strideOf(loaded), 0.5f * strideOf(tall), 1e-2f);
  EXPECT_NEAR(loaded.body.gravAccel, 0.5f * tall.body.gravAccel, 1e-4f);
}

TEST_F(MotionFile, OptionsChangeWhatIsLoaded) {
  const MotionCore walk = Gait(kWalk, 10);
  ASSERT_TRUE(SaveMotion(Path("w.sdr"), {&walk}, {}, cause)) << cause;
  const auto heightOf = [](const MotionCore& core, std::size_t i) {
    return core.footsteps.position[i].y;
  };
  ASSERT_GT(heightOf(walk, 9), heightOf(walk, 0) + 20);

  LoadOptions flat;
  flat.flattenToZ = true;
  const MotionCore flattened = std::move(Load(Path("w.sdr"), flat).Base());
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(heightOf(flattened, i), 0) << i;
  MotionCore posed = flattened;
  CorePose(posed, flattened.endTime, {});
  EXPECT_NEAR(posed.body.bodyPosition.y, StanceHeight(posed), 0.03f * 80);

  MotionCore raised = walk;
  ShiftMotion(raised, {3, 50, -7});
  ASSERT_TRUE(SaveMotion(Path("high.sdr"), {&raised}, {}, cause));
  LoadOptions zero;
  zero.zeroHgt = true;
  MotionCore lowered = std::move(Load(Path("high.sdr"), zero).Base());
  EXPECT_NEAR(heightOf(lowered, 0), 0, 1e-5f);
  ShiftMotion(lowered, {-3, heightOf(walk, 0), 7});
  EXPECT_LT(Furthest(lowered, walk, 0, walk.endTime), 0.01f);

  LoadOptions dense;
  dense.keyPerFrame = true;
  const MotionCore baked = std::move(Load(Path("w.sdr"), dense).Base());
  EXPECT_EQ(baked.leg[0].table.track.numKeys, walk.endTime / kDynamicsFrame + 1);
  EXPECT_LT(Furthest(baked, walk, 0, walk.endTime), 0.01f);
}

TEST_F(MotionFile, AMotionGoesOntoAnotherFigure) {
  const MotionCore walk = Gait(kWalk, 10);
  ASSERT_TRUE(SaveMotion(Path("w.sdr"), {&walk}, {}, cause)) << cause;
  Structure structure;
  structure.height = 160;
  structure.spineLinks = 2;
  structure.legLinks = 4;
  const MotionCore figure = test::MakeFigure(structure);
  LoadOptions onto;
  onto.matchFileStruct = false;
  onto.figure = &figure;
  for (const bool keepStrides : {false, true}) {
    onto.retargetHeight = keepStrides;
    MotionCore moved = std::move(Load(Path("w.sdr"), onto).Base());
    EXPECT_EQ(moved.structure.legLinks, 4);
    EXPECT_EQ(moved.structure.height, 160);
    EXPECT_EQ(moved.leg[0].table.track.numKeys, walk.leg[0].table.track.numKeys);
    const float stride = test::Distance(moved.footsteps.position[6], moved.footsteps.position[4]);
    const float was = test::Distance(walk.footsteps.position[6], walk.footsteps.position[4]);
    EXPECT_NEAR(stride, keepStrides ? was : 2 * was, 0.02f * was);
    EXPECT_NEAR(moved.body.gravAccel, 2 * walk.body.gravAccel, 1e-3f);
  }
}

TEST_F(MotionFile, ASegmentPlaysAsTheWholeDoes) {
  for (const int gait : {kWalk, kRun}) {
    const MotionCore whole = Gait(gait, 12);
    const TimeValue first = 30 * kDynamicsFrame, last = 80 * kDynamicsFrame;
    for (const bool dense : {false, true}) {
      ASSERT_TRUE(
          SaveMotionSegment(Path("part.sdr"), whole, first, last, dense, nullptr, {}, cause));
      const MotionCore part = std::move(Load(Path("part.sdr")).Base());
      const Interval range = MotionRange(part);
      EXPECT_EQ(range.start, first);
      EXPECT_EQ(range.end, last);
      EXPECT_LT(part.footsteps.numFootsteps, whole.footsteps.numFootsteps);
      EXPECT_TRUE(CheckFootsteps(part.footsteps));
      EXPECT_LT(Furthest(part, whole, first, last), dense ? 0.01f : 4.0f) << gait;
    }
  }
  // Wherever it ends: what was in the air there stays in the air.
  const MotionCore jump = Gait(kJump, 12);
  for (int end = 40; end < 80; ++end) {
    MotionCore part;
    const TimeValue first = 20 * kDynamicsFrame, last = end * kDynamicsFrame;
    ASSERT_EQ(CutSegment(jump, first, last, false, {}, part), kDone);
    EXPECT_EQ(MotionRange(part).end, last);
    EXPECT_LT(Furthest(part, jump, first, last), 5) << end;
  }
  MotionCore none;
  EXPECT_EQ(CutSegment(Gait(kWalk, 4), 1'000'000, 2'000'000, false, {}, none), kRefused);
}

TEST_F(MotionFile, SaysWhichFileAndLeavesWhatStoodThere) {
  StreamContents contents;
  EXPECT_FALSE(LoadMotion(Path("none.sdr"), {}, {}, contents, cause));
  EXPECT_EQ(cause, Path("none.sdr") + ": No such file or directory");
  Write(Path("empty.sdr"), "");
  EXPECT_FALSE(LoadMotion(Path("empty.sdr"), {}, {}, contents, cause));
  EXPECT_NE(cause.find("empty"), std::string::npos);
  const MotionCore standing = test::MakeFigure();
  Write(Path("kept.stp"), "kept");
  EXPECT_FALSE(SaveFootsteps(Path("kept.stp"), standing, cause));
  EXPECT_EQ(test::ReadFile(Path("kept.stp")), "kept");
  EXPECT_FALSE(SaveFigure(Path("no/such/folder.fig"), standing, cause));
  ASSERT_TRUE(SaveFigure(Path("f.fig"), standing, cause)) << cause;
  EXPECT_EQ(test::ReadFile(Path("f.fig")).substr(0, 13), "VERSION\r\n54\r\n");
}

}  // namespace
}  // namespace strider
