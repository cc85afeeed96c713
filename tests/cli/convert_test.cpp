// `strider convert` and `strider info` as they are run: every road from a file to another, what the
// options change, what is refused.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "strider/core/motion_range.h"
#include "strider/storage/motion_file.h"
#include "tests/cli/program_fixture.h"
#include "tests/exchange/motion_fixture.h"

namespace strider {
namespace {

using Json = nlohmann::json;
using test::ReadFile;
using test::RunResult;

constexpr const char* kInputs[] = {"walk.sdr", "walk.stp", "walk.fig"};

/// A folder with a motion of six footsteps that climb, each 5 units up, in all three kinds of file.
struct ConvertVerb : test::ProgramTest {
  MotionCore core = test::SteppingMotion(6, {30, 0, 5});
  std::string cause;

  ConvertVerb() {
    EXPECT_TRUE(SaveMotion(File("walk.sdr"), {&core}, {}, cause)) << cause;
    EXPECT_TRUE(SaveFootsteps(File("walk.stp"), core, cause)) << cause;
    EXPECT_TRUE(SaveFigure(File("walk.fig"), core, cause)) << cause;
  }
  MotionCore Converted(const std::string& options) {
    const RunResult result = Run("convert @walk.sdr -o @out.sdr " + options);
    EXPECT_EQ(result.status, 0) << result.err;
    MotionCore loaded;
    EXPECT_TRUE(LoadMotionFile(File("out.sdr"), loaded, cause)) << cause;
    return loaded;
  }
};

TEST_F(ConvertVerb, WritesEveryFormatFromEveryKind) {
  const struct {
    const char* extension;
    std::string magic;
  } rows[] = {{"bvh", "HIERARCHY"},
              {"csv", "frame,seconds,id,link"},
              {"fig", "VERSION\r\n54\r\n"},
              {"glb", "glTF"},
              {"html", "<!doctype html>"},
              {"npz", "PK\x03\x04"},
              {"png", "\x89PNG"},
              {"sdr", "\x90\x01"},
              {"stp", "VERSION\r\n54\r\nSTEPS"}};
  for (const char* input : kInputs) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(input) + " to ." + row.extension);
      const std::string output = File(std::string("out.") + row.extension);
      const RunResult result = Run("convert @" + std::string(input) + " -o " + output);
      if (std::string(input) == "walk.fig" && std::string(row.extension) == "stp") {
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("out.stp: the motion has no footsteps"), std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(output));
        continue;
      }
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(result.out, output + "\n");
      EXPECT_EQ(ReadFile(output).substr(0, row.magic.size()), row.magic);
      std::filesystem::remove(output);
    }
  }
}

TEST_F(ConvertVerb, KeepsTheBytesOfItsOwnFormats) {
  for (const char* input : kInputs) {
    SCOPED_TRACE(input);
    const std::string before = ReadFile(File(input));
    const std::string name = "@" + std::string(input);
    ASSERT_EQ(Run("convert " + name + " -o " + name).status, 0);  // onto itself
    const std::string once = ReadFile(File(input));
    EXPECT_EQ(once.size(), before.size());
    ASSERT_EQ(Run("convert " + name + " -o " + name).status, 0);
    EXPECT_EQ(ReadFile(File(input)), once);
  }
  EXPECT_EQ(scratch.CountFiles(), 3);  // no temporary file is left
}

TEST_F(ConvertVerb, OptionsChangeTheMotion) {
  const MotionCore part = Converted("--from 10 --to 25");
  const Interval range = MotionRange(part);
  EXPECT_EQ(range.start, 10 * kDynamicsFrame);
  EXPECT_EQ(range.end, 25 * kDynamicsFrame);

  const MotionCore keyed = Converted("--from 10 --to 25 --key-per-frame");
  EXPECT_EQ(keyed.leg[0].table.track.numKeys, 16);
  EXPECT_EQ(keyed.spine.table.track.numKeys, 16);

  EXPECT_EQ(Converted("").footsteps.position[4].y, 20);
  for (const Point3& place : Converted("--flatten").footsteps.position) EXPECT_EQ(place.y, 0);
  const MotionCore later = Converted("--from 40");  // starts on a higher step
  ASSERT_GT(later.footsteps.position[0].y, 1);
  std::filesystem::rename(File("out.sdr"), File("walk.sdr"));
  const MotionCore lowered = Converted("--zero-height");
  EXPECT_NEAR(lowered.footsteps.position[0].y, 0, 1e-4);
  EXPECT_NEAR(lowered.footsteps.position[1].y, 5, 1e-3);
}

TEST_F(ConvertVerb, FigureTakesTheMotionOver) {
  ASSERT_EQ(Run("make walk --height 160 --tail-links 3 -o @tall.fig").status, 0);
  const MotionCore tall = Converted("--figure " + File("tall.fig"));
  EXPECT_EQ(tall.structure.height, 160);
  EXPECT_EQ(tall.structure.tailLinks, 3);
  EXPECT_NEAR(tall.footsteps.position[5].x, 2 * core.footsteps.position[5].x, 1);
}

TEST_F(ConvertVerb, RefusesInOneLineAndWritesNothing) {
  const std::string walk = ReadFile(File("walk.sdr"));
  Put("cut.sdr", walk.substr(0, walk.size() / 2));
  std::string newer = walk;
  newer[2] = 55;  // after the tag's two bytes
  Put("newer.sdr", newer);
  Put("newer.fig", "VERSION\r\n55\r\n");
  Put("empty.sdr", "");
  Put("other.sdr", "no motion at all\n");
  ASSERT_EQ(Run("convert @walk.fig -o @still.sdr").status, 0);
  const std::ptrdiff_t files = scratch.CountFiles();
  const struct {
    const char *line, *named, *cause;
  } rows[] = {
      {"convert @none.sdr -o @out.csv", "none.sdr: ", "No such file"},
      {"convert @cut.sdr -o @out.csv", "cut.sdr: byte ", "the file"},
      {"convert @newer.sdr -o @out.csv", "newer.sdr: byte ", "55"},
      {"convert @newer.fig -o @out.fig", "newer.fig: line ", "55"},
      {"convert @empty.sdr -o @out.csv", "empty.sdr: ", "empty"},
      {"convert @other.sdr -o @out.csv", "other.sdr: line 1", "no tag"},
      {"convert @still.sdr -o @out.stp", "out.stp: ", "no footsteps"},
      {"convert @walk.sdr -o @none/out.csv", "out.csv: ", "No such file"},
      {"convert @walk.sdr -o @out.xyz", "out.xyz: ", ".csv"},
      {"convert @walk.sdr -o @out.csv --figure @walk.stp", "walk.stp: ", "no figure"},
      {"convert @walk.sdr -o @out.csv --figure @none.fig", "none.fig: ", "No such file"},
      {"convert @walk.sdr -o @out.csv --retarget-height", "--retarget-height", "--figure"},
      {"convert @walk.sdr -o @out.csv --from 1.5", "--from", "\"1.5\""},
      {"convert @walk.sdr -o @out.csv --to x", "--to", "\"x\""},
      {"convert @walk.sdr -o @out.csv --from 9999", "walk.sdr: ", "no frames"},
      {"convert @walk.sdr -o @out.csv --from 20 --to 10", "walk.sdr: ", "no frames"},
      {"convert @walk.sdr -o @out.html --body-type 4", "--body-type", "\"4\""},
      {"convert @walk.sdr -o @out.glb --metres-per-unit 0", "--metres-per-unit", "\"0\""},
      {"convert @walk.sdr -o @out.csv --metres-per-unit 1", "--metres-per-unit", ".csv"},
      {"convert @walk.sdr -o @out.sdr --metres-per-unit 1", "--metres-per-unit", ".sdr"},
      {"convert @walk.sdr -o @out.bvh --body-type 1", "--body-type", ".bvh"},
      {"convert @walk.sdr -o @out.fig --from 3", "--from", ".fig"},
      {"convert @walk.sdr -o @out.stp --key-per-frame", "--key-per-frame", ".stp"},
      {"convert @walk.sdr -o @out.sdr --fps 60", "--fps", ".sdr"},
      {"convert @walk.sdr -o @out.bvh --at-keys", "--at-keys", ".bvh"},
      {"info @none.sdr", "none.sdr: ", "No such file"},
      {"info @cut.sdr --json", "cut.sdr: byte ", "the file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const RunResult result = Run(row.line);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("strider ", 0), 0u);
    EXPECT_NE(result.err.find(row.named), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(row.cause), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(scratch.CountFiles(), files);
  }
  EXPECT_EQ(ReadFile(File("walk.sdr")), walk);
}

TEST_F(ConvertVerb, InfoTellsWhatTheFileHolds) {
  const MotionCore layer = core;
  ASSERT_TRUE(SaveMotion(File("two.sdr"), {&core, &layer}, {}, cause)) << cause;
  const struct {
    const char *file, *kind, *form;
    int motions;  // -1: left out
    bool figure, footsteps, tracks;
  } rows[] = {{"two.sdr", "motion", "binary", 2, true, true, true},
              {"walk.stp", "footsteps", "text", -1, false, true, false},
              {"walk.fig", "figure", "text", -1, true, false, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const RunResult result = Run("info --json @" + std::string(row.file));
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["file"]["kind"], row.kind);
    EXPECT_EQ(json["file"]["form"], row.form);
    EXPECT_EQ(json["file"]["version"], 54);
    EXPECT_EQ(json["file"].value("motions", -1), row.motions);
    EXPECT_EQ(json.contains("footsteps"), row.footsteps) << result.out.substr(0, 400);
    if (row.footsteps) {
      EXPECT_EQ(json["footsteps"].size(), 6u);
    }
    EXPECT_EQ(Run("info @" + std::string(row.file)).status, 0);
  }
}

TEST_F(ConvertVerb, InfoPrintsWhatMakePrints) {
  const RunResult made = Run("make run --json -o @run.sdr"), told = Run("info --json @run.sdr");
  ASSERT_EQ(made.status + told.status, 0) << made.err << told.err;
  const Json before = Json::parse(made.out);
  Json after = Json::parse(told.out);
  after.erase("file");
  ASSERT_EQ(after.size(), before.size());
  for (const auto& [key, value] : before.items()) {
    EXPECT_TRUE(after.contains(key)) << key;
    EXPECT_EQ(after[key].size(), value.size()) << key;
  }
  EXPECT_EQ(after["footsteps"], before["footsteps"]);
}

TEST_F(ConvertVerb, TakesFootstepsOffAndFindsThemAgain) {
  for (const char* bake : {"", " --bake"}) {
    RunResult result = Run(std::string("convert @walk.sdr --free-form -o @free.sdr") + bake);
    EXPECT_EQ(result.status, 0) << result.err;
    MotionCore freed, back;
    ASSERT_TRUE(LoadMotionFile(File("free.sdr"), freed, cause)) << cause;
    EXPECT_EQ(freed.footsteps.numFootsteps, 0);
    EXPECT_EQ(freed.leg[0].table.track.numKeys > 50, *bake != '\0');
    result = Run(std::string("convert @free.sdr --footsteps --flat -o @back.sdr") + bake);
    EXPECT_EQ(result.status, 0) << result.err;
    ASSERT_TRUE(LoadMotionFile(File("back.sdr"), back, cause)) << cause;
    ASSERT_EQ(back.footsteps.numFootsteps, 6);
    EXPECT_EQ(back.footsteps.spans[0][1].start, core.footsteps.spans[0][1].start);
    EXPECT_NEAR(back.footsteps.position[5].x, core.footsteps.position[5].x, 0.2);
    EXPECT_EQ(back.footsteps.position[5].y, 0);
  }
  const struct {
    const char *line, *cause;
  } rows[] = {{"@walk.sdr --footsteps", "has footsteps already"},
              {"@free.sdr --free-form", "is free-form already"},
              {"@walk.fig --footsteps", "no leg key holds a foot"},
              {"@walk.sdr --free-form --footsteps", "exclude each other"},
              {"@walk.sdr --bake", "--bake goes with"},
              {"@walk.sdr --free-form --flat", "--flat goes with"}};
  for (const auto& row : rows) {
    const RunResult result = Run(std::string("convert -o @none.sdr ") + row.line);
    EXPECT_EQ(result.status, 1) << row.line;
    EXPECT_NE(result.err.find(row.cause), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(File("none.sdr")));
  }
}

}  // namespace
}  // namespace strider
