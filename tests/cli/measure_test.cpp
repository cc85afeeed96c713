// `strider measure` as it is run.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/cli/run_program.h"

namespace strider {
namespace {

TEST(MeasureVerb, WritesATableForEveryMotionAndListsWhatIsBroken) {
  const test::ScratchFolder scratch;
  const std::string file = scratch.File("motions.md");
  const test::RunResult result = test::RunProgram({"measure", "-o", file});
  ASSERT_EQ(result.status, 0) << result.err;
  std::istringstream table(test::ReadFile(file));
  int motions = 0, bold = 0;
  for (std::string line; std::getline(table, line);) {
    if (line.rfind("## ", 0) == 0) ++motions;
    if (line.rfind("| ", 0) != 0) continue;
    int bars = 0;
    for (const char c : line) bars += c == '|';
    EXPECT_EQ(bars, 7) << line;  // measure, unit, bound and three heights
    for (std::size_t at = 0; (at = line.find("**", at)) != line.npos; at += 2) ++bold;
  }
  EXPECT_EQ(motions, 7);
  // Each broken bound is bold once and told once, and the last line counts them.
  std::istringstream told(result.out);
  std::string line, last;
  int lines = 0;
  for (; std::getline(told, line); last = line) ++lines;
  EXPECT_EQ(last, std::to_string(bold / 2) + " of the bounds broken");
  EXPECT_EQ(lines, bold / 2 + 2);
}

TEST(MeasureVerb, RefusesOtherFormats) {
  const test::RunResult result = test::RunProgram({"measure", "-o", "motions.csv"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("must end in .md"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace strider
