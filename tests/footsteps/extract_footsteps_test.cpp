// Feet that stand become footsteps: which frames count, how contacts are told apart, and where the
// footstep of a foot lies.
#include "strider/footsteps/extract_footsteps.h"

#include "strider/core/evaluate.h"
#include "strider/footsteps/footstep_edit.h"
#include "tests/footsteps/captured_fixture.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::NominalFigure;

/// '#' a planted frame, anything else one in the air.
std::vector<FootSample> FootOf(const std::string& frames) {
  std::vector<FootSample> foot(frames.size());
  for (std::size_t f = 0; f < frames.size(); ++f) foot[f].planted = frames[f] == '#';
  return foot;
}

std::string Described(const std::vector<PlantedRun>& runs) {
  std::string text;
  for (const PlantedRun& run : runs) {
    text += (text.empty() ? "" : " ") + std::string(run.side == kLeft ? "L" : "R") +
            std::to_string(run.first) + "-" + std::to_string(run.last);
  }
  return text;
}

TEST(FindPlantedRuns, ClosesShortGapsAndDropsShortContacts) {
  const struct {
    const char *right, *left, *runs, *dropped;
  } rows[] = {
      {"....###....", "...........", "", "R4-6"},
      {"....####....", "............", "R4-7", ""},
      {"..###.###...", "............", "R2-8", ""},
      {"..###..###..", "............", "R2-9", ""},
      {"..####...####..", "...............", "R2-5 R9-12", ""},
      {".#####......", "............", "R0-5", ""},
      {"...####", ".####..", "L0-4 R3-6", ""},
      {"...####....", "...####....", "L3-6 R3-6", ""},
      // Short ones at the ends may be longer in truth.
      {"##.....", ".....##", "R0-1 L5-6", ""},
      {"..##.....##....#..", "..................", "", "R2-3 R9-10 R15-15"},
      {"", "", "", ""},
      {"#", "#", "L0-0 R0-0", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.right) + " " + row.left);
    FootSamples feet{{FootOf(row.right), FootOf(row.left)}};
    std::vector<PlantedRun> dropped;
    EXPECT_EQ(Described(FindPlantedRuns(feet, 0, dropped)), row.runs);
    EXPECT_EQ(Described(dropped), row.dropped);
  }
}

TEST(FindPlantedRuns, TellsContactsApartBetweenWhichTheFootLeaps) {
  FootSamples feet{{FootOf("##########"), {}}};
  for (std::size_t f = 6; f < 10; ++f) feet.side[0][f].print.x = 30;
  std::vector<PlantedRun> dropped;
  EXPECT_EQ(Described(FindPlantedRuns(feet, 5, dropped)), "R0-5 R6-9");
  EXPECT_EQ(Described(FindPlantedRuns(feet, 40, dropped)), "R0-9");
}

TEST(UnmarkRanges, CountsFramesOfTheMotion) {
  const auto left = [](std::vector<FreeFormRange> ranges, int firstFrame) {
    std::vector<FootSample> foot = FootOf("##########");
    UnmarkRanges(foot, ranges, firstFrame);
    std::string text;
    for (const FootSample& sample : foot) text += sample.planted ? '#' : '.';
    return text;
  };
  EXPECT_EQ(left({{2, 4}, {9, 2000000000}}, 0), "##...####.");
  EXPECT_EQ(left({{0, 101}, {103, 103}}, 100), "..#.######");
  EXPECT_EQ(left({{0, 5}}, 6), "##########");
}

TEST(MarkStanding, GoesByTheStepAndByTheHeight) {
  // Steps of 0, 6, 7 and 8 at a leg of 100, tolerance 7; heights on the way.
  std::vector<FootSample> foot(6);
  const float x[] = {0, 0, 8, 16, 23, 29}, y[] = {0, 0, 0, 0, 0, 0};
  for (std::size_t f = 0; f < 6; ++f) foot[f].ankle = {x[f], y[f], 0};
  ExtractionSettings settings;
  const auto marks = [&] {
    MarkStanding(foot, settings, 100);
    UnmarkRaised(foot, settings, 100);
    std::string text;
    for (const FootSample& sample : foot) text += sample.planted ? '#' : '.';
    return text;
  };
  EXPECT_EQ(marks(), "##.###");
  settings.fsUseVerticalTol = 1;
  for (FootSample& sample : foot) sample.ankle.y = 75;  // on a table, the first frame too
  EXPECT_EQ(marks(), "......");
  settings.fsZLevel = 100;
  EXPECT_EQ(marks(), "##.###");
  foot[4].ankle.y = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(marks(), "##....");
}

// A nominal figure's thigh is 100 long and its foot 37.
TEST(AppendFootstepsOfRuns, LaysTheFootstepUnderTheMiddleAndMarksSliding) {
  const float limit = 37 * 25.0f / 50;
  const struct {
    const char* what;
    float moved, turned, slidingAngle;
    int flag;
    bool sliding;
  } rows[] = {{"still", 0, 0, 0, 1, false},
              {"any turn at all", 0, 0.001f, 0, 1, true},
              {"a turn within the angle", 0, 0.2f, 15, 1, false},
              {"a turn over it", 0, 0.3f, 15, 1, true},
              {"just within the way", limit - 0.1f, 0, 15, 1, false},
              {"just over it", limit + 0.1f, 0, 15, 1, true},
              {"whatever it does", 0, 0, 15, 0, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = NominalFigure();
    FootSamples feet{{FootOf("...#####..."), FootOf("...........")}};
    for (std::size_t f = 3; f < 8; ++f) {
      feet.side[0][f].print = {100, f == 4 ? 2.0f : 1.0f, 20};
      feet.side[0][f].heading = 3.1f;
    }
    feet.side[0][7].print.x += row.moved;
    feet.side[0][7].heading = UnwrapTo(0, 3.1f + row.turned);  // past half a turn
    ExtractionSettings settings;
    settings.fsSlidingAngle = row.slidingAngle;
    settings.conversionFlag = row.flag;
    ExtractionReport report;
    ASSERT_EQ(AppendFootstepsOfRuns(core, feet, {{0, 3, 7}}, settings, 10, false, report), kDone);
    ASSERT_EQ(core.footsteps.numFootsteps, 1);
    EXPECT_EQ(core.footsteps.spans[0][0].start, 13 * kDynamicsFrame);
    EXPECT_EQ(core.footsteps.spans[0][0].duration, 5 * kDynamicsFrame);
    EXPECT_EQ(core.footsteps.position[0], (Point3{100, 2, 20}));  // the highest
    EXPECT_EQ(core.footsteps.angle[0], 3.1f);
    EXPECT_TRUE(core.footsteps.active.Get(0));
    EXPECT_EQ(report.NumSliding(), row.sliding ? 1 : 0);
  }
}

TEST(AppendFootstepsOfRuns, TakesTheFirstFrameOfKeysAndKeepsToTheTimesThatFootstepsHave) {
  MotionCore core = NominalFigure();
  FootSamples feet{{FootOf("############"), FootOf("############")}};
  feet.side[0][2].print = {5, 6, 7};
  feet.side[0][4].print = {0, 3, 0};
  ExtractionReport report;
  // The right foot goes on at once on another place.
  const std::vector<PlantedRun> runs = {{1, 0, 3}, {0, 2, 6}, {0, 7, 11}};
  ASSERT_EQ(AppendFootstepsOfRuns(core, feet, runs, {}, -2, true, report), kDone);
  const FootstepTrack& track = core.footsteps;
  ASSERT_EQ(track.numFootsteps, 3);
  EXPECT_TRUE(CheckFootsteps(track));
  EXPECT_EQ(track.spans[1][0].start, 0);  // from before time 0
  EXPECT_EQ(track.spans[1][0].Lift(), kDynamicsFrame);
  EXPECT_EQ(track.spans[0][0].start, 0);
  EXPECT_EQ(track.spans[0][0].Lift(), 5 * kDynamicsFrame);
  EXPECT_EQ(track.spans[0][1].Lift(), 9 * kDynamicsFrame);
  EXPECT_EQ(track.position[1], (Point3{5, 3, 7}));
  EXPECT_EQ(AppendFootstepsOfRuns(core, feet, {{0, 0, 11}}, {}, 900'000, false, report), kRefused);
}

// Wherever a foot stands, rolling from the heel over the toes, its print is the footstep that it
// was placed by.
TEST(SampleFoot, FindsTheFootstepUnderARollingFoot) {
  for (const SampleMotion sample :
       {SampleMotion::kWalk, SampleMotion::kTurn, SampleMotion::kStairs, SampleMotion::kJump}) {
    MotionCore core = MakeSample(sample, 180);
    const FootstepTrack& track = core.footsteps;
    const float leg = core.leg[0].totalLength;
    for (int i = 0; i < track.numFootsteps; ++i) {
      const FootstepSpan& span = *SpanOf(track, i);
      const auto at = static_cast<std::size_t>(i);
      for (const TimeValue t : {span.start, span.start + span.duration / 2, span.Lift()}) {
        SCOPED_TRACE(std::to_string(i) + " at " + std::to_string(t));
        CorePose(core, t, {});
        const FootSample foot = SampleFoot(core.leg[track.side[at]]);
        EXPECT_LT(test::Distance(foot.print, track.position[at]), 0.01f * leg);
        EXPECT_NEAR(UnwrapTo(0, foot.heading - track.angle[at]), 0, 0.02);
      }
    }
  }
}

TEST(ExtractFootsteps, FindsTheContactsOfACapturedWalk) {
  const MotionCore made = MakeSample(SampleMotion::kTurn, 180);
  const MotionCore core = test::CapturedLike(SampleMotion::kTurn);
  const int numFrames = made.endTime / kDynamicsFrame + 1;
  MotionCore found = core;
  ExtractionReport report;
  ExtractionSettings settings = test::SettingsFor(core, numFrames);
  ASSERT_EQ(ExtractFootsteps(found, core, settings, 0, numFrames, false, report, {}), 1);
  ASSERT_TRUE(CheckFootsteps(found.footsteps));
  ASSERT_EQ(found.footsteps.numFootsteps, made.footsteps.numFootsteps);
  for (int i = 0; i < made.footsteps.numFootsteps; ++i) {
    SCOPED_TRACE(i);
    const auto at = static_cast<std::size_t>(i);
    const FootstepSpan &was = *SpanOf(made.footsteps, i), &is = *SpanOf(found.footsteps, i);
    EXPECT_EQ(found.footsteps.side[at], made.footsteps.side[at]);
    EXPECT_NEAR(was.start, is.start, 3 * kDynamicsFrame);
    // The heel is up for a while before the foot lifts, and the ankle with it.
    EXPECT_NEAR(was.Lift(), is.Lift(), 5 * kDynamicsFrame);
    EXPECT_LT(test::Distance(found.footsteps.position[at], made.footsteps.position[at]), 4);
  }
  EXPECT_EQ(report.NumSliding(), 0);
  EXPECT_TRUE(found.freeForm);
  settings.fsUseFlatten = 1;
  ASSERT_EQ(ExtractFootsteps(found, core, settings, 0, numFrames, false, report, {}), 1);
  EXPECT_EQ(found.footsteps.position[3].y, settings.fsZLevel);

  // Nothing to find: one frame, no held foot, a motion high over the floor.
  settings.fsZLevel = -500;
  for (const auto& [frames, fromKeys] :
       {std::pair(1, false), {0, false}, {numFrames, true}, {numFrames, false}}) {
    EXPECT_EQ(ExtractFootsteps(found, core, settings, 0, frames, fromKeys, report, {}), 0);
    EXPECT_EQ(found.footsteps.numFootsteps, 0);
    EXPECT_TRUE(report.footsteps.empty());
  }
}

}  // namespace
}  // namespace strider
