// `strider figure` as it is run: what it writes, what it refuses, what it says and answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/run_program.h"

namespace strider {
namespace {

using Json = nlohmann::json;
using Words = std::vector<std::string>;

std::ptrdiff_t Lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }
bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Program, AnswersHelpAndVersion) {
  const RunResult version = RunProgram({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("strider ", 0), 0u);
  EXPECT_EQ(Lines(version.out), 1);
  for (const char* verb : {"figure", "sheet"}) {
    EXPECT_TRUE(Contains(RunProgram({"--help"}).out, verb));
    EXPECT_EQ(RunProgram({verb, "--help"}).status, 0);
  }
  const std::string help = RunProgram({"figure", "--help"}).out;
  for (const char* option : {"--height", "--ankle-attach", "--ponytail1-links", "--twists",
                             "--upperarm-twist-links", "--fore-feet", "--dynamics-type", "-o"}) {
    EXPECT_TRUE(Contains(help, option)) << option;
  }
}

TEST(Program, TellsTheUsageWhereTheCommandLineIsWrong) {
  const ScratchFolder scratch;
  const struct {
    const char* what;
    Words arguments;
  } rows[] = {
      {"no verb", {}},
      {"unknown verb", {"walk"}},
      {"unknown option", {"figure", "--wings", "2"}},
      {"script name for an option", {"figure", "--spineLinks", "2"}},
      {"option without its value", {"figure", "--spine-links"}},
      {"output without its file", {"figure", "-o"}},
      {"a word too many", {"figure", "figure.png"}},
      {"the same parameter twice", {"figure", "--toes", "2", "--toes", "3"}},
      {"sheet without an output", {"sheet"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const RunResult result = RunProgram(row.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(Contains(result.err, "Usage: strider")) << result.err;
  }
}

TEST(FigureVerb, SetsEveryKindOfParameter) {
  const RunResult result = RunProgram({"figure",
                                       "--spine-links",
                                       "3",
                                       "--triangle-neck",
                                       "YES",
                                       "--ankle-attach",
                                       "0.3",
                                       "--twists=on",
                                       "--forearm-twist-links",
                                       "4",
                                       "--dynamics-type",
                                       "1",
                                       "--ponytail1-links",
                                       "+2",
                                       "--prop1-exists",
                                       "1",
                                       "--upperarm-twist-links",
                                       "2e0",
                                       "--arms",
                                       "true",
                                       "--height",
                                       "1.725e2",
                                       "--triangle-pelvis",
                                       "off"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const Json structure = Json::parse(result.out)["structure"];
  const Json expected = {{"spineLinks", 3},     {"triangleNeck", true},   {"ankleAttach", 0.3},
                         {"Twists", true},      {"forearmTwistLinks", 4}, {"dynamicsType", 1},
                         {"ponytail1Links", 2}, {"prop1Exists", true},    {"upperarmTwistLinks", 2},
                         {"height", 172.5},     {"arms", true},           {"trianglePelvis", false},
                         {"ponytail2Links", 0}};
  for (const auto& [name, value] : expected.items()) EXPECT_EQ(structure[name], value) << name;
}

TEST(FigureVerb, RefusesValuesThatCannotBeAndNamesTheirBounds) {
  const struct {
    const char *option, *value, *says;
  } rows[] = {
      {"--spine-links", "0", "spineLinks (--spine-links) must be a whole number from 1 to 5"},
      {"--spine-links", "6", "from 1 to 5, given \"6\""},
      {"--spine-links", "-1", "given \"-1\""},
      {"--spine-links", "2.5", "whole number"},
      {"--spine-links", "2x", "given \"2x\""},
      {"--spine-links", "2-3", "given \"2-3\""},
      {"--spine-links", "2e", "given \"2e\""},
      {"--spine-links", " 2", "given \" 2\""},
      {"--spine-links", "", "given \"\""},
      {"--spine-links", "0x2", "given \"0x2\""},
      {"--spine-links", "2,0", "given \"2,0\""},
      {"--spine-links", "99999999999999999999", "from 1 to 5"},
      {"--leg-links", "2", "from 3 to 4"},
      {"--forearm-twist-links", "11", "from 0 to 10"},
      {"--ankle-attach", "1.0001", "ankleAttach (--ankle-attach) must be a number from 0 to 1"},
      {"--ankle-attach", "nan", "given \"nan\""},
      {"--ankle-attach", "-inf", "given \"-inf\""},
      {"--height", "infinity", "given \"infinity\""},
      {"--ankle-attach", ".", "given \".\""},
      {"--ankle-attach", "+-0.5", "given \"+-0.5\""},
      {"--height", "0", "height (--height) must be a number above 0 and up to 1000000000"},
      {"--height", "-80", "above 0"},
      {"--height", "1e-60", "above 0"},
      {"--height", "1e999", "given \"1e999\""},
      {"--height", "1000000001", "up to 1000000000"},
      {"--twists", "2", "Twists (--twists) must be true or false, given \"2\""},
      {"--twists", "maybe", "true or false"},
      {"--fingers", "a\nb", "given \"a?b\""},
  };
  const ScratchFolder scratch;
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.option) + " " + row.value);
    const RunResult result =
        RunProgram({"figure", row.option, row.value, "-o", scratch.File("figure.json")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err), 1) << result.err;
    EXPECT_TRUE(Contains(result.err, row.says)) << result.err;
    EXPECT_EQ(scratch.CountFiles(), 0);
  }
}

TEST(FigureVerb, WritesTheSameJsonToAFileAsToStandardOutput) {
  const ScratchFolder scratch;
  const std::string file = scratch.File("figure.JSON");
  const RunResult written = RunProgram({"figure", "--tail-links", "2", "-o", file});
  EXPECT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.out, file + "\n");
  EXPECT_EQ(written.err, "");
  const std::string text = ReadFile(file);
  EXPECT_EQ(Json::parse(text)["structure"]["tailLinks"], 2);
  EXPECT_EQ(RunProgram({"figure", "--tail-links", "2"}).out, text);
  EXPECT_EQ(RunProgram({"figure", "--tail-links", "2", "-o", "-"}).out, text);
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST(FigureVerb, WritesPicturesThatRepeatToTheByte) {
  const ScratchFolder scratch;
  const Words parameters = {"figure", "--leg-links", "4", "-o"};
  std::string pictures[2];
  for (int i = 0; i < 2; ++i) {
    Words words = parameters;
    words.push_back(scratch.File(std::to_string(i) + ".png"));
    const RunResult result = RunProgram(words);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, words.back() + "\n");
    pictures[i] = ReadFile(words.back());
  }
  EXPECT_EQ(pictures[0].substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(pictures[0], pictures[1]);
}

TEST(FigureVerb, LeavesWhatStoodThereWhenItRefuses) {
  const ScratchFolder scratch;
  const std::string file = scratch.File("figure.png");
  std::ofstream(file) << "mine";
  EXPECT_EQ(RunProgram({"figure", "--toes", "0", "-o", file}).status, 1);
  EXPECT_EQ(RunProgram({"figure", "--feathers", "-o", file}).status, 2);
  EXPECT_EQ(ReadFile(file), "mine");
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST(FigureVerb, RefusesOutputsThatItCannotWrite) {
  const ScratchFolder scratch;
  std::filesystem::create_directory(scratch.File("folder.png"));
  std::ofstream(scratch.File("plain")) << "mine";
  const struct {
    std::string file;
    const char* says;
  } rows[] = {
      {scratch.File("figure.jpg"), "must end in .png or .json"},
      {scratch.File("figure"), "must end in .png or .json"},
      {scratch.File(".png"), "must end in .png or .json"},
      {scratch.File("a.png/figure"), "must end in .png or .json"},
      {"", "must end in .png or .json"},
      {scratch.File("missing/figure.png"), "No such file"},
      {scratch.File("plain/figure.json"), "Not a directory"},
      {scratch.File("folder.png"), "is a folder"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const RunResult result = RunProgram({"figure", "-o", row.file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err), 1) << result.err;
    EXPECT_TRUE(Contains(result.err, row.file + ": ")) << result.err;
    EXPECT_TRUE(Contains(result.err, row.says)) << result.err;
  }
  EXPECT_EQ(scratch.CountFiles(), 2);
}

TEST(FigureVerb, SaysSoWhenStandardOutputIsFull) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  const RunResult result = RunProgram({"figure"}, "/dev/full");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "strider figure: standard output: No space left on device\n");
}

TEST(SheetVerb, DrawsTheDocumentationsFigures) {
  const ScratchFolder scratch;
  const RunResult result = RunProgram({"sheet", "-o", scratch.File("figures.png")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_GT(ReadFile(scratch.File("figures.png")).size(), 20000u);
  EXPECT_EQ(RunProgram({"sheet", "-o", scratch.File("figures.json")}).status, 1);
}

}  // namespace
}  // namespace strider
