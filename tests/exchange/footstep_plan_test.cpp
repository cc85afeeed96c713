#include "exchange/footstep_plan.h"

#include <gtest/gtest.h>

#include <cmath>

#include "strider/base/trig.h"
#include "strider/core/footstep_track.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

const std::string kHeader = "side,x,y,z,heading,start,duration\n";

TEST(FootstepPlan, ReadsFootstepsHoweverTheirTextIsWritten) {
  const std::string body = "left,1,2.5,-3e0,90,0,0.6\nright,+4,0,0.5,-450,0,1.13\n";
  std::string crlf = kHeader + body;
  for (std::size_t i = 0; (i = crlf.find('\n', i)) != std::string::npos; i += 2) {
    crlf.replace(i, 1, "\r\n");
  }
  const struct {
    const char* what;
    std::string text;
  } rows[] = {
      {"plain", kHeader + body},
      {"without its last line's end", kHeader + body.substr(0, body.size() - 1)},
      {"with carriage returns", crlf},
      {"with a byte order mark", "\xEF\xBB\xBF" + kHeader + body},
      {"with blanks and empty lines",
       "\n side , x,y ,z,heading,start,duration\t\n left, 1,2.5 ,-3,90,0 ,0.6\n\n"
       "right,4,0,.5,-450,0,1.13 \n \n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<PlannedFootstep> plan;
    std::string cause;
    ASSERT_TRUE(ParseFootstepPlan(row.text, {}, plan, cause)) << cause;
    ASSERT_EQ(plan.size(), 2u);
    EXPECT_EQ(plan[0].side, 1);
    EXPECT_EQ(plan[0].place, (Point3{1, 2.5f, -3}));
    EXPECT_NEAR(plan[0].heading, kHalfPi, 1e-6);
    EXPECT_EQ(plan[0].start, 0);
    EXPECT_EQ(plan[0].duration, 2880);
    EXPECT_EQ(plan[1].side, 0);
    EXPECT_NEAR(plan[1].heading, -kHalfPi, 1e-6) << "whole turns come off";
    EXPECT_EQ(plan[1].duration, 5440) << "33.9 frames round to 34";
  }
}

TEST(FootstepPlan, TakesMetresAndOtherFrames) {
  std::vector<PlannedFootstep> plan;
  std::string cause;
  // A scene unit of 2.54 cm; frames of 200 ticks, 24 a second.
  ASSERT_TRUE(
      ParseFootstepPlan(kHeader + "left,0.254,0,0,0,1.02,0.5", {1 / 0.0254, 200}, plan, cause));
  EXPECT_NEAR(plan[0].place.x, 10, 1e-5);
  EXPECT_EQ(plan[0].start, 4800);  // 24.48 frames
  EXPECT_EQ(plan[0].duration, 2400);
}

TEST(FootstepPlan, RefusesAndNamesRowAndCause) {
  const struct {
    std::string rows, says;
  } rows[] = {
      {"left,0,0,0,0,0,0.5\nleft,0,0,0,0,1", "row 3: must have 7 fields, has 6"},
      {"left,0,0,0,0,0,0.5,", "row 2: must have 7 fields, has 8"},
      {"Left,0,0,0,0,0,0.5", "row 2: side must be left or right, given \"Left\""},
      {",,,,,,", "row 2: side must be left or right, given \"\""},
      {"left,nan,0,0,0,0,0.5", "row 2: x must be a number, given \"nan\""},
      {"left,0,inf,0,0,0,0.5", "y must be a number, given \"inf\""},
      {"left,0,0,1e999,0,0,0.5", "z must be a number, given \"1e999\""},
      {"left,0,0,0,0x1,0,0.5", "heading must be a number, given \"0x1\""},
      {"left,0,0,0,0,,0.5", "start must be a number, given \"\""},
      {"left,0,0,0,0,0,-nan", "duration must be a number, given \"-nan\""},
      {"left,2e9,0,0,0,0,0.5", "x is too far away, given \"2e9\""},
      {"left,0,0,0,0,-0.1,0.5", "start must not be negative, given \"-0.1\""},
      {"left,0,0,0,0,0,-1", "duration must be above 0, given \"-1\""},
      {"left,0,0,0,0,0,0", "duration must be above 0, given \"0\""},
      {"left,0,0,0,0,0,0.016", "duration is less than half a frame, given \"0.016\""},
      {"left,0,0,0,0,0,1e300", "ends too late"},
      {"left,0,0,0,0,1e300,1", "ends too late"},
      {"left,0,0,0,0,29166,0.7", "ends too late: a footstep must end before 29166.7 s"},
      {"left,0,0,0,0,1,0.5\nright,0,0,0,0,0.9,0.5",
       "row 3: rows must be in order of start: starts at 0.9 s, before the row above it at 1 s"},
      {"left,0,0,0,0,0,1\nright,0,0,0,0,0,1\nleft,0,0,0,0,0.5,1",
       "row 4: overlaps row 2: starts at 0.5 s, but the left foot is down until 1 s"},
      {"right,0,0,0,0,0,1\nright,0,0,0,0,0,1", "row 3: overlaps row 2"},
      {"right,0,0,0,0,0,1\nright,0,0,0,0,1,1", "row 3: overlaps row 2"},
      {"", "has no footsteps after its header"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rows);
    std::vector<PlannedFootstep> plan(3);
    std::string cause;
    EXPECT_FALSE(ParseFootstepPlan(kHeader + row.rows, {}, plan, cause));
    EXPECT_NE(cause.find(row.says), std::string::npos) << cause;
    EXPECT_EQ(plan.size(), 3u) << "unchanged";
  }
}

TEST(FootstepPlan, RefusesTextsAndFilesThatAreNoPlan) {
  std::vector<PlannedFootstep> plan;
  std::string cause;
  for (const char* text : {"", "\n\n", "\xEF\xBB\xBF"}) {
    EXPECT_FALSE(ParseFootstepPlan(text, {}, plan, cause));
    EXPECT_EQ(cause, "is empty: the first row must be side,x,y,z,heading,start,duration");
  }
  for (const char* text : {"side,x,y,z,heading,start\n", "side,y,x,z,heading,start,duration\n",
                           "left,0,0,0,0,0,1\n"}) {
    EXPECT_FALSE(ParseFootstepPlan(text, {}, plan, cause));
    EXPECT_EQ(cause.rfind("row 1: the header must be side,x,y,z,heading,start,duration", 0), 0u)
        << cause;
  }
  const std::string bytes(100000, '\0');
  EXPECT_FALSE(ParseFootstepPlan(bytes, {}, plan, cause));
  EXPECT_LT(cause.size(), 200u);

  const test::ScratchFolder scratch;
  EXPECT_FALSE(ReadFootstepPlan(scratch.File("none.csv"), {}, plan, cause));
  EXPECT_NE(cause.find("No such file"), std::string::npos);
  EXPECT_FALSE(ReadFootstepPlan(scratch.File(""), {}, plan, cause)) << "a folder";
}

TEST(FootstepPlan, ReadsAsManyFootstepsAsThereIsTimeFor) {
  std::string text = kHeader;
  constexpr int kRows = 50000;
  for (int i = 0; i < kRows; ++i) {
    text += (i % 2 == 0 ? "left," : "right,") + std::to_string(25 * i) + ",0,0,0," +
            std::to_string(i / 2) + (i % 2 == 0 ? "" : ".5") + ",0.6\n";
  }
  std::vector<PlannedFootstep> plan;
  std::string cause;
  ASSERT_TRUE(ParseFootstepPlan(text, {}, plan, cause)) << cause;
  ASSERT_EQ(plan.size(), static_cast<std::size_t>(kRows));
  EXPECT_EQ(plan.back().start, 2400 * (kRows - 1));
  EXPECT_LT(plan.back().start + plan.back().duration, kFootstepTimeLimit);
}

}  // namespace
}  // namespace strider
