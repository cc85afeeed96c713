// `strider figure` as it is run: what it writes, what it refuses, what it says and answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/cli/run_program.h"

namespace strider {
namespace {

using Json = nlohmann::json;
using test::ReadFile;
using test::RunProgram;
using test::RunResult;
using test::ScratchFolder;

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), {}};
}
bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// The program refused by one line that says so, and printed nothing.
void ExpectRefusal(const RunResult& result, const std::string& says) {
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_TRUE(Contains(result.err, says)) << result.err;
}

TEST(Program, AnswersHelpAndVersion) {
  const RunResult version = RunProgram({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("strider ", 0), 0u);
  EXPECT_TRUE(Contains(RunProgram({"--help"}).out, "sheet"));
  const RunResult help = RunProgram({"figure", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(Contains(help.out, "--upperarm-twist-links")) << help.out;
}

TEST(Program, TellsTheUsageWhereTheCommandLineIsWrong) {
  const struct {
    const char *what, *line;
  } rows[] = {
      {"no verb", ""},
      {"unknown verb", "walk"},
      {"script name for an option", "figure --spineLinks 2"},
      {"option without its value", "figure --spine-links"},
      {"a word too many", "figure figure.png"},
      {"the same parameter twice", "figure --toes 2 --toes 3"},
      {"sheet without an output", "sheet"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const RunResult result = RunProgram(Words(row.line));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(Contains(result.err, "Usage: strider")) << result.err;
  }
}

TEST(FigureVerb, SetsEveryKindOfParameter) {
  const RunResult result =
      RunProgram(Words("figure --triangle-neck YES --ankle-attach 0.3 --twists=on --dynamics-type 1"
                       " --forearm-twist-links 4 --ponytail1-links +2 --prop1-exists 1"
                       " --upperarm-twist-links 2e0 --height 1.725e2 --triangle-pelvis off"));
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const Json structure = Json::parse(result.out)["structure"];
  const Json expected = {{"triangleNeck", true},    {"ankleAttach", 0.3},     {"Twists", true},
                         {"forearmTwistLinks", 4},  {"dynamicsType", 1},      {"ponytail1Links", 2},
                         {"prop1Exists", true},     {"height", 172.5},        {"ponytail2Links", 0},
                         {"upperarmTwistLinks", 2}, {"trianglePelvis", false}};
  for (const auto& [name, value] : expected.items()) EXPECT_EQ(structure[name], value) << name;
}

TEST(FigureVerb, RefusesValuesThatCannotBeAndNamesTheirBounds) {
  const struct {
    const char *option, *value, *says;
  } rows[] = {
      {"--spine-links", "0", "spineLinks (--spine-links) must be a whole number from 1 to 5"},
      {"--spine-links", "6", "from 1 to 5, given \"6\""},
      {"--spine-links", "2.5", "whole number"},
      {"--spine-links", "2x", "given \"2x\""},
      {"--spine-links", "", "given \"\""},
      {"--spine-links", "0x2", "given \"0x2\""},
      {"--spine-links", "99999999999999999999", "from 1 to 5"},
      {"--ankle-attach", "1.0001", "ankleAttach (--ankle-attach) must be a number from 0 to 1"},
      {"--ankle-attach", "nan", "given \"nan\""},
      {"--ankle-attach", "+-0.5", "given \"+-0.5\""},
      {"--height", "0", "height (--height) must be a number above 0 and up to 1000000000"},
      {"--height", "infinity", "given \"infinity\""},
      {"--twists", "2", "Twists (--twists) must be true or false, given \"2\""},
      {"--fingers", "a\nb", "given \"a?b\""},
  };
  const ScratchFolder scratch;
  const std::string file = scratch.File("figure.json");
  std::ofstream(file) << "mine";
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.option) + " " + row.value);
    ExpectRefusal(RunProgram({"figure", row.option, row.value, "-o", file}), row.says);
  }
  EXPECT_EQ(ReadFile(file), "mine");
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST(FigureVerb, WritesTheSameBytesWhereverTheyGo) {
  const ScratchFolder scratch;
  const std::string json = scratch.File("figure.JSON");
  const RunResult written = RunProgram({"figure", "--tail-links", "2", "-o", json});
  EXPECT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.out, json + "\n");
  EXPECT_EQ(Json::parse(ReadFile(json))["structure"]["tailLinks"], 2);
  EXPECT_EQ(RunProgram({"figure", "--tail-links", "2"}).out, ReadFile(json));
  EXPECT_EQ(RunProgram({"figure", "--tail-links", "2", "-o", "-"}).out, ReadFile(json));

  const std::string pictures[] = {scratch.File("1.png"), scratch.File("2.png")};
  for (const std::string& file : pictures) {
    EXPECT_EQ(RunProgram({"figure", "--leg-links", "4", "-o", file}).out, file + "\n");
    EXPECT_EQ(ReadFile(file).substr(0, 8), "\x89PNG\r\n\x1a\n");
  }
  EXPECT_EQ(ReadFile(pictures[0]), ReadFile(pictures[1]));
}

TEST(FigureVerb, RefusesOutputsThatItCannotWrite) {
  const ScratchFolder scratch;
  const struct {
    std::string file;
    const char* says;
  } rows[] = {
      {scratch.File("figure.jpg"), ": the output's name must end in .png, .json or .fig"},
      {scratch.File(".png"), ": the output's name must end in .png, .json or .fig"},
      {scratch.File("a.png/figure"), ": the output's name must end in .png, .json or .fig"},
      {"", ": the output's name must end in .png, .json or .fig"},
      {scratch.File("missing/figure.png"), ": No such file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    ExpectRefusal(RunProgram({"figure", "-o", row.file}), row.file + row.says);
  }
  EXPECT_EQ(scratch.CountFiles(), 0);
}

TEST(FigureVerb, SaysSoWhenStandardOutputIsFull) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  const RunResult result = RunProgram({"figure"}, "/dev/full");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "strider figure: standard output: No space left on device\n");
}

TEST(FigureVerb, WritesAFigureFile) {
  const ScratchFolder scratch;
  const std::string file = scratch.File("child.fig");
  const RunResult made =
      RunProgram({"figure", "--height", "110", "--spine-links", "3", "-o", file});
  EXPECT_EQ(made.out, file + "\n") << made.err;
  const RunResult told = RunProgram({"info", file});
  EXPECT_TRUE(Contains(told.out, "figure: 110 high, 3 spine")) << told.out << told.err;
}

TEST(SheetVerb, DrawsTheDocumentationsFigures) {
  const ScratchFolder scratch;
  const RunResult result = RunProgram({"sheet", "-o", scratch.File("figures.png")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_GT(ReadFile(scratch.File("figures.png")).size(), 20000u);
  ExpectRefusal(RunProgram({"sheet", "-o", scratch.File("figures.json")}), "must end in .png");
}

}  // namespace
}  // namespace strider
