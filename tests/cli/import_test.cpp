// `strider import` as it is run: what it says of a take, what its options change, what it refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "exchange/motion_range.h"
#include "strider/core/evaluate.h"
#include "strider/storage/motion_file.h"
#include "tests/cli/program_fixture.h"

namespace strider {
namespace {

using Json = nlohmann::json;
using test::ReadFile;
using test::RunResult;

const std::string kWalk = "examples/takes/walk_cmu_02_01.bvh";
const std::string kNamed = "examples/takes/walk_cmu_12_01.bvh";
const std::string kPlain = "examples/takes/walk_cmu_06_01.bvh";
const std::string kRun = "examples/takes/run_cmu_09_01.bvh";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

struct ImportVerb : test::ProgramTest {
  std::string cause;

  Json Imported(const std::string& take, const std::string& options = "") {
    const RunResult result = Run("import " + take + " --json -o @out.sdr " + options);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.status == 0 ? Json::parse(result.out) : Json();
  }
  MotionCore Loaded(const std::string& name = "out.sdr") {
    MotionCore core;
    EXPECT_TRUE(LoadMotionFile(File(name), core, cause)) << cause;
    return core;
  }
  /// The figure as it stands at a frame.
  MotionCore Posed(std::int64_t frame) {
    MotionCore core = Loaded();
    CorePose(core, static_cast<TimeValue>(frame * core.ticksPerFrame), {});
    return core;
  }
};

TEST_F(ImportVerb, SummaryTellsPeopleWhatWasFound) {
  const RunResult result = Run("import " + kNamed + " -o @out.sdr");
  EXPECT_EQ(result.err, "");
  for (const char* part :
       {"take: 524 frames at 120 a second, 4.37 s; unit 5.6444 cm (0.056444 m), y up; its first "
        "frame stands alone",
        "joints: 23 found by the names cmu; unknown: LHipJoint, RHipJoint, ",
        "motion: frames 0 to 131 at 30 a second\n",
        "settings: a foot stands below 0.45 leg lengths a second (fsExtractionTol 0.0",
        ", within 0.1 of a floor at ", "; it slides from 15 degrees; planes of limbs: auto\n",
        "footsteps: 8\n", " left     0.00 to", "keys: ", " rleg ", "fit: joints are "}) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part << " is not in\n" << result.out;
  }
  EXPECT_EQ(result.out.substr(result.out.rfind('\n', result.out.size() - 2) + 1),
            File("out.sdr") + "\n");
}

TEST_F(ImportVerb, JsonHoldsTheTakeAndWhatInfoTellsOfTheMotion) {
  Json json = Imported(kNamed);
  EXPECT_EQ(json["take"]["frames"], 524);
  EXPECT_NEAR(json["take"]["rate"].get<double>(), 120, 0.01);
  EXPECT_NEAR(json["take"]["unit"].get<double>(), 0.056444, 1e-6);
  EXPECT_EQ(json["take"]["upAxis"], "y");
  EXPECT_EQ(json["take"]["unknownJoints"].size(), 8u);
  const Json summary = json["summary"];
  EXPECT_EQ(summary["jointsMissing"].size(), 0u);
  EXPECT_EQ(summary["slidingFootsteps"], 0);
  EXPECT_EQ(summary["sceneRate"], 30);
  EXPECT_EQ(summary["speedChange"], 0);
  EXPECT_LT(summary["fitErrorMean"].get<double>(), 0.03);
  int keys = 0;
  for (const Json& track : json["tracks"]) keys += track["numKeys"].get<int>();
  EXPECT_EQ(summary["keysAfter"], keys);
  EXPECT_GT(summary["keysBefore"].get<int>(), 4 * keys);
  ASSERT_EQ(json["footsteps"].size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {  // he starts in the middle of a left contact
    EXPECT_EQ(json["footsteps"][i]["side"], i % 2 == 0 ? "left" : "right") << i;
    EXPECT_EQ(json["footsteps"][i]["sliding"], false) << i;
    json["footsteps"][i].erase("sliding");
  }
  json.erase("take");
  json.erase("summary");
  EXPECT_EQ(json, Json::parse(Run("info --json @out.sdr").out));
}

TEST_F(ImportVerb, WritesEveryFormatAndOnePose) {
  const struct {
    const char* extension;
    std::string magic;
  } rows[] = {{"bvh", "HIERARCHY"},        {"csv", "frame,seconds,id,link"},
              {"fig", "VERSION"},          {"glb", "glTF"},
              {"html", "<!doctype html>"}, {"npz", "PK\x03\x04"},
              {"png", "\x89PNG"},          {"sdr", "\x90\x01"},
              {"stp", "VERSION"},          {"cal", "\x90\x01"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.extension);
    const std::string name = std::string("out.") + row.extension;
    const RunResult result = Run("import " + kWalk + " -o @" + name);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(ReadFile(File(name)).substr(0, row.magic.size()), row.magic);
  }
  const MotionCore pose = Loaded("out.cal");
  EXPECT_EQ(pose.leg[0].table.track.numKeys, 1);
  // A take's unit is a guess of centimetres, so that what is in metres is a person in metres.
  const Json height = Json::parse(Run("info --json @out.sdr").out)["figure"]["height"];
  EXPECT_NEAR(height.get<double>(), 161, 2);
}

TEST_F(ImportVerb, OptionsOfTheMotion) {
  const Json plain = Imported(kWalk);
  const double height = plain["figure"]["height"];
  ASSERT_EQ(plain["footsteps"].size(), 6u);
  const double last = plain["footsteps"][5]["start"];

  EXPECT_EQ(Imported(kWalk, "--free-form")["footsteps"].size(), 0u);
  EXPECT_EQ(Imported(kWalk, "--footsteps"), plain);

  const Json dense = Imported(kWalk, "--no-reduction");
  for (const Json& track : dense["tracks"]) EXPECT_EQ(track["numKeys"], 86);
  EXPECT_EQ(dense["summary"]["keysBefore"], 860);
  EXPECT_EQ(dense["summary"]["keysAfter"], 860);

  // Every second of 120 frames a second shown at 50 takes longer by a sixth.
  const Json slower = Imported(kWalk, "--fps 50");
  EXPECT_EQ(slower["ticksPerFrame"], 96);
  EXPECT_NEAR(slower["summary"]["speedChange"].get<double>(), -100.0 / 6, 0.01);
  EXPECT_NEAR(slower["footsteps"][5]["start"].get<double>(), 1.2 * last, 400);
  EXPECT_NE(Run("import " + kWalk + " --fps 50 -o @out.sdr").out.find("16.67 % slower"),
            std::string::npos);

  const Json part = Imported(kWalk, "--from 10 --to 40 --no-reduction");
  EXPECT_EQ(part["tracks"]["spine"]["times"].back(), 30 * 160);
  EXPECT_EQ(part["footsteps"].size(), 3u);

  const Json half = Imported(kWalk, "--scale 2.8222");
  EXPECT_NEAR(half["figure"]["height"].get<double>(), height / 2, height / 1000);
  EXPECT_EQ(half["footsteps"][5]["start"], last);
  EXPECT_NEAR(half["footsteps"][5]["position"][1].get<double>(),
              plain["footsteps"][5]["position"][1].get<double>() / 2, 0.2);

  const Json lying = Imported(kWalk, "--up z --save-params @z.moc");
  EXPECT_EQ(lying["take"]["upAxis"], "z");
  EXPECT_NE(lying["footsteps"], plain["footsteps"]);
  EXPECT_EQ(Imported(kWalk, "--set upVector=2"), lying);
  EXPECT_EQ(Imported(kWalk, "--params @z.moc")["take"]["upAxis"], "z");
  const RunResult fromFile = Run("import " + kWalk + " --params @z.moc -o @out.sdr");
  EXPECT_NE(fromFile.out.find("the person stands along y"), std::string::npos) << fromFile.out;
  EXPECT_EQ(Imported(kWalk, "--params @z.moc --up y")["take"]["upAxis"], "y");
}

TEST_F(ImportVerb, RunsShowTheirShortContactsWhereAsked) {
  const RunResult walking = Run("import " + kRun + " --set kneeOrient=0 -o @out.sdr");
  EXPECT_NE(walking.out.find("planes of knee, elbow, foot, hand: point, auto, auto, auto\n"),
            std::string::npos)
      << walking.out;
  EXPECT_NE(walking.out.find("footsteps: 0\n"), std::string::npos) << walking.out;
  EXPECT_NE(walking.out.find("try --running --fps 60"), std::string::npos) << walking.out;
  const Json json = Imported(kRun, "--running --fps 60");
  ASSERT_EQ(json["footsteps"].size(), 4u);
  EXPECT_EQ(json["summary"]["speedChange"], 0);
  EXPECT_EQ(json["summary"]["jointsMissing"], Json({"LeftToe", "RightToe"}));
  (void)Imported(kRun, "--fps 60 --save-params @walker.moc");
  EXPECT_EQ(Imported(kRun, "--running --fps 60 --params @walker.moc")["footsteps"].size(), 4u);
}

TEST_F(ImportVerb, FirstFrameAndLoop) {
  (void)Imported(kWalk, "--keep-first");
  const auto lift = [](const MotionCore& core) {  // of the hand over the shoulder, arm lengths
    return (core.arm[0].frame[3].Origin() - core.arm[0].frame[1].Origin()).y /
           core.arm[0].totalLength;
  };
  EXPECT_GT(lift(Posed(0)), -0.2f);  // the T pose
  (void)Imported(kWalk);
  EXPECT_LT(lift(Posed(0)), -0.5f);

  const auto bends = [this](int frame) {  // of knees and elbows
    const MotionCore core = Posed(frame);
    std::array<float, 4> reach;
    for (std::size_t s = 0; s < 2; ++s) {
      reach[s] = Length(core.leg[s].frame[2].Origin() - core.leg[s].frame[0].Origin());
      reach[2 + s] = Length(core.arm[s].frame[3].Origin() - core.arm[s].frame[1].Origin());
    }
    return reach;
  };
  const auto apart = [](const std::array<float, 4>& a, const std::array<float, 4>& b) {
    float most = 0;
    for (std::size_t i = 0; i < a.size(); ++i) most = std::max(most, std::fabs(a[i] - b[i]));
    return most;
  };
  const std::string range = "--free-form --no-reduction --from 10 --to 50";
  (void)Imported(kWalk, range);
  EXPECT_GT(apart(bends(0), bends(40)), 2);
  (void)Imported(kWalk, range + " --loop 10");
  EXPECT_LT(apart(bends(0), bends(40)), 0.5f);
  // The same of a motion.
  const auto ankle = [this](int frame) { return Posed(frame).leg[0].frame[2].Origin(); };
  const Point3 looped = ankle(35), untouched = ankle(25);
  ASSERT_EQ(Run("import " + kWalk + " " + range + " -o @motion.sdr").status, 0);
  (void)Imported("@motion.sdr", "--free-form --no-reduction --loop 10");
  EXPECT_LT(apart(bends(0), bends(40)), 0.5f);
  EXPECT_LT(Length(ankle(35) - looped), 0.1f);
  EXPECT_LT(Length(ankle(25) - untouched), 0.1f);
}

TEST_F(ImportVerb, NamesOfSetsAndFiles) {
  const Json guessed = Imported(kNamed);
  EXPECT_EQ(Imported(kNamed, "--names cmu"), guessed);

  // A part of the back has a name that nobody knows: its length stays, or goes where asked.
  Put("back.bvh", Replaced(ReadFile(kWalk), "Chest2", "Ruecken2"));
  const Json carried = Imported("@back.bvh"), strict = Imported("@back.bvh", "--strict");
  EXPECT_EQ(carried["take"]["unknownJoints"], Json({"Ruecken2"}));
  EXPECT_EQ(strict["take"]["unknownJoints"], Json({"Ruecken2"}));
  const double height = Imported(kWalk)["figure"]["height"];
  EXPECT_NEAR(carried["figure"]["height"].get<double>(), height, 0.01 * height);
  EXPECT_LT(strict["figure"]["height"].get<double>(), 0.95 * height);

  Put("german.bvh", Replaced(ReadFile(kPlain), "LeftKnee", "LinkesKnie"));
  Put("german.mnm", "LeftKnee LinkesKnie\n");
  const RunResult without = Run("import @german.bvh -o @out.sdr");
  EXPECT_EQ(without.status, 1);
  EXPECT_NE(without.err.find("LeftKnee"), std::string::npos) << without.err;
  EXPECT_EQ(Imported("@german.bvh", "--names @german.mnm")["footsteps"],
            Imported(kPlain)["footsteps"]);
}

TEST_F(ImportVerb, SettingsGoThroughAFile) {
  (void)Imported(kWalk, "--set fsExtractionTol=0.02 --set horzFilter=0 --save-params @p.moc");
  const std::string set = ReadFile(File("out.sdr"));
  (void)Imported(kWalk);
  EXPECT_FALSE(ReadFile(File("out.sdr")) == set);
  const Json again = Imported(kWalk, "--params @p.moc --save-params @q.moc");
  EXPECT_TRUE(ReadFile(File("out.sdr")) == set);
  EXPECT_EQ(ReadFile(File("q.moc")), ReadFile(File("p.moc")));
  EXPECT_EQ(again["tracks"]["horizontal"]["numKeys"], 86);
  // The command line goes before the file; settings are completed in place.
  (void)Imported(kWalk, "--params @p.moc --set horzFilter=1 --save-params @p.moc");
  EXPECT_NE(ReadFile(File("q.moc")), ReadFile(File("p.moc")));
}

TEST_F(ImportVerb, SavedSettingsBringTheSameMotion) {
  const struct {
    const char* options;
    std::size_t footsteps;
    double floor, within;  // of the footsteps' heights
  } rows[] = {{"", 8, 0, 5},
              {"--set fsUseFlatten=1", 8, 0, 2},
              {"--set fsZLevel=0", 8, 0, 5},  // feet stand on it though ankles are above it
              {"--set fsZLevel=1.5 --set fsUseFlatten=1", 8, 1.5, 1e-3},
              {"--set fsZLevel=60", 0, 0, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    const Json json = Imported(kNamed, std::string(row.options) + " --save-params @p.moc");
    EXPECT_EQ(json["footsteps"].size(), row.footsteps);
    for (const Json& footstep : json["footsteps"]) {
      EXPECT_NEAR(footstep["position"][2].get<double>(), row.floor, row.within);
    }
    const std::string made = ReadFile(File("out.sdr"));
    (void)Imported(kNamed, "--params @p.moc --save-params @q.moc");
    EXPECT_TRUE(ReadFile(File("out.sdr")) == made);
    EXPECT_EQ(ReadFile(File("q.moc")), ReadFile(File("p.moc")));
  }
}

TEST_F(ImportVerb, AnotherFigureAndAPose) {
  const Json own = Imported(kWalk);
  ASSERT_EQ(Run("make walk --height 110 --tail-links 3 -o @child.fig").status, 0);
  const Json child = Imported(kWalk, "--figure @child.fig");
  EXPECT_EQ(child["figure"]["structure"]["tailLinks"], 3);
  EXPECT_EQ(child["figure"]["structure"]["height"], 110);
  ASSERT_EQ(child["footsteps"].size(), own["footsteps"].size());
  for (std::size_t i = 0; i < own["footsteps"].size(); ++i) {
    EXPECT_EQ(child["footsteps"][i]["start"], own["footsteps"][i]["start"]) << i;
  }
  // The take's own reference as the pose that it stands for changes nothing.
  ASSERT_EQ(Run("import " + kWalk + " -o @pose.cal").status, 0);
  const Json posed = Imported(kWalk, "--pose @pose.cal");
  EXPECT_EQ(posed["footsteps"].size(), own["footsteps"].size());
  EXPECT_NEAR(posed["summary"]["fitErrorMean"].get<double>(),
              own["summary"]["fitErrorMean"].get<double>(), 1e-3);
}

TEST_F(ImportVerb, MarkersOfTheSameWalkShowTheSameSteps) {
  const std::string markers = "examples/takes/walk_cmu_06_01.mkr";
  const Json json = Imported(markers, "--names examples/takes/heel.mnm");
  EXPECT_EQ(json["take"]["frames"], 494);
  EXPECT_NEAR(json["take"]["unit"].get<double>(), 0.001, 1e-9);
  EXPECT_EQ(json["take"]["upAxis"], "z");
  EXPECT_EQ(json["footsteps"].size(), 8u);
  EXPECT_LT(json["summary"]["fitErrorMean"].get<double>(), 0.03);
  EXPECT_EQ(Imported(markers, "--names examples/takes/heel.mnm --up z"), json);
  const RunResult options = Run("import " + markers + " --strict --keep-first -o @out.sdr");
  for (const char* note :
       {"note: --strict changes nothing", "note: --keep-first changes nothing"}) {
    EXPECT_NE(options.out.find(note), std::string::npos) << options.out;
  }
  // The other spelling of the heels is known, but where the table has a heel by our own name too.
  EXPECT_EQ(Imported(markers), json);
  const auto isUnknown = [](const Json& take, const char* name) {
    const std::vector<std::string> unknown = take["take"]["unknownJoints"];
    return std::count(unknown.begin(), unknown.end(), name) == 1;
  };
  EXPECT_FALSE(isUnknown(json, "LHEE") || isUnknown(json, "C7"));  // the neck begins at that one
  Put("heelless.mkr", Replaced(ReadFile(markers), "HEE", "HXX"));
  // Nor do feet toe in without heels, though the ankles' markers stand outside.
  const Json heelless = Imported("@heelless.mkr");
  ASSERT_EQ(heelless["footsteps"].size(), json["footsteps"].size());
  for (std::size_t i = 0; i < heelless["footsteps"].size(); ++i) {
    const auto heading = [i](const Json& take) {
      return take["footsteps"][i]["heading"].get<double>();
    };
    EXPECT_NEAR(heading(heelless), heading(json), 8) << i;
  }
  Put("both.mkr", Replaced(ReadFile(markers), "LTHI", "LHEL"));
  EXPECT_TRUE(isUnknown(Imported("@both.mkr"), "LHEE"));
}

TEST_F(ImportVerb, MotionsGetFootstepsAnew) {
  const Json made = Imported(kWalk, "--free-form --no-reduction");
  ASSERT_EQ(made["footsteps"].size(), 0u);
  std::filesystem::rename(File("out.sdr"), File("free.sdr"));
  EXPECT_EQ(Imported("@free.sdr")["footsteps"].size(), 6u);

  const Json part = Imported("@free.sdr", "--from 10 --to 40 --no-reduction");
  EXPECT_EQ(part["tracks"]["spine"]["numKeys"], 31);
  EXPECT_EQ(Imported("@free.sdr", "--set startFrame=10 --set endFrame=40 --no-reduction"), part);

  // Settings of a motion serve takes as they stand, and a take's serve motions as far as they go.
  (void)Imported("@free.sdr", "--save-params @motion.moc");
  EXPECT_EQ(Imported(kWalk, "--params @motion.moc")["take"]["upAxis"], "y");
  const Json told = Imported("@free.sdr", "--params @motion.moc")["summary"]["notes"];
  EXPECT_NE(told[0].get<std::string>().find("motion.moc: names, scale"), std::string::npos);

  // One pose, of the first frame that is taken.
  const auto knee = [](const MotionCore& core) { return core.leg[kLeft].frame[1].Origin(); };
  (void)Imported("@free.sdr", "--from 10 --no-reduction --free-form");
  const Point3 atStart = knee(Posed(0));
  ASSERT_EQ(Run("import @free.sdr --from 10 -o @pose.cal").status, 0);
  MotionCore pose = Loaded("pose.cal");
  EXPECT_EQ(pose.leg[kLeft].table.track.numKeys, 1);
  EXPECT_EQ(pose.spine.table.track.numKeys, 1);
  CorePose(pose, 0, {});
  EXPECT_LT(Length(knee(pose) - atStart), 0.1f);
}

TEST_F(ImportVerb, MotionsKeepTheirLengthHoweverOftenTheyAreTaken) {
  const struct {
    std::string make;
    int last;                             // frame
  } rows[] = {{"import " + kNamed, 131},  // a foot stands to its end
              {"import examples/takes/jump_cmu_13_39.bvh", 88},
              {"import " + kWalk, 85},
              {"make walk", 64}};  // ends with a lift, which then stands a frame behind it
  for (const auto& row : rows) {
    SCOPED_TRACE(row.make);
    ASSERT_EQ(Run(row.make + " -o @again.sdr").status, 0);
    const Json first = Json::parse(Run("info --json @again.sdr").out);
    for (int round = 0; round < 3; ++round) {
      const Json json = Imported("@again.sdr");
      EXPECT_EQ(FrameRangeOf(Loaded()).last, row.last);
      ASSERT_EQ(json["footsteps"].size(), first["footsteps"].size());
      for (std::size_t i = 0; i < json["footsteps"].size(); ++i) {
        EXPECT_NEAR(json["footsteps"][i]["start"].get<double>(),
                    first["footsteps"][i]["start"].get<double>(), 2 * 160)
            << i;
      }
      std::filesystem::rename(File("out.sdr"), File("again.sdr"));
    }
  }
}

TEST_F(ImportVerb, DamagedTakesAreReadUpToTheDamage) {
  const std::string take = ReadFile(kWalk);
  Put("cut.bvh", take.substr(0, take.size() / 2));
  Put("many.bvh", Replaced(take, "Frames: 344", "Frames: 2000000000"));
  const std::string markers = ReadFile("examples/takes/walk_cmu_06_01.mkr");
  Put("cut.mkr", markers.substr(0, markers.size() / 2));
  const struct {
    const char *file, *note;
  } rows[] = {{"cut.bvh", "of 344 frames were read"},
              {"many.bvh", "344 of 2000000000 frames"},
              {"cut.mkr", "frames were read"}};
  for (const auto& row : rows) {
    const RunResult result = Run("import @" + std::string(row.file) + " -o @out.sdr");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find(std::string(row.file) + ":"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find(row.note), std::string::npos) << result.out;
  }
}

TEST_F(ImportVerb, RefusesInOneLineAndWritesNothing) {
  const std::string take = ReadFile(kPlain);
  const std::size_t motion = take.find('\n', take.find("Frame Time"));
  Put("walk.bvh", take);
  Put("head.bvh", take.substr(0, 800));
  Put("knee.bvh", Replaced(take, "LeftKnee", "LeftNee"));
  Put("channel.bvh", Replaced(take, "Zrotation", "Zrotatoin"));
  Put("nan.bvh", take.substr(0, motion + 1) + "nan" + take.substr(motion + 1));
  Put("still.bvh", Replaced(take, "Frame Time: ", "Frame Time: -"));
  Put("rubbish.bvh", std::string("\x00\xff\x7f\x01 junk", 9));
  Put("rubbish.mkr", std::string("\x00\xff\x7f\x01 junk", 9));
  Put("empty.bvh", "");
  Put("empty.mkr", "");
  Put("empty.sdr", "");
  Put("take.c3d", take);
  Put("bad.mnm", "LeftKnee LKnee\nNose Nose\n");
  Put("bad.moc", "VERSION\r\n54\r\n701\r\nupVector\r\n7\r\n");
  Put("free.fig", "junk");
  std::filesystem::create_directory(File("folder.bvh"));
  std::filesystem::create_directory(File("folder.sdr"));
  ASSERT_EQ(Run("import @walk.bvh --free-form -o @free.sdr").status, 0);
  Put("out.sdr", "old");
  const std::ptrdiff_t files = scratch.CountFiles();
  const struct {
    const char *line, *named, *cause;
  } rows[] = {
      {"@none.bvh -o @out.sdr", "none.bvh: ", "No such file"},
      {"@folder.bvh -o @out.sdr", "folder.bvh: ", "directory"},
      {"@take.c3d -o @out.sdr", "take.c3d: ", ".bvh, .mkr or .sdr"},
      {"@head.bvh -o @out.sdr", "head.bvh:3", "ends before"},
      {"@knee.bvh -o @out.sdr", "knee.bvh:117: ", "missing: LeftKnee"},
      {"@channel.bvh -o @out.sdr", "channel.bvh:5: ", "Zrotatoin"},
      {"@nan.bvh -o @out.sdr", "nan.bvh:120: ", "\"nan"},
      {"@still.bvh -o @out.sdr", "still.bvh:119: ", "from 1e-6"},
      {"@rubbish.bvh -o @out.sdr", "rubbish.bvh:", "no .bvh"},
      {"@rubbish.mkr -o @out.sdr", "rubbish.mkr:", ""},
      {"@empty.bvh -o @out.sdr", "empty.bvh: ", "empty"},
      {"@empty.mkr -o @out.sdr", "empty.mkr: ", "empty"},
      {"@empty.sdr -o @out.sdr", "empty.sdr: ", "empty"},
      {"@walk.bvh -o @none/out.sdr", "out.sdr: ", "No such file"},
      {"@walk.bvh -o @folder.sdr", "folder.sdr: ", ""},
      {"@walk.bvh -o @out.xyz", "out.xyz: ", ".csv"},
      {"@walk.bvh -o @out.sdr --names @bad.mnm", "bad.mnm:2: ", "\"Nose\""},
      {"@walk.bvh -o @out.sdr --names mixamoo", "mixamoo: ", "mixamo, "},
      {"examples/takes/walk_cmu_06_01.mkr -o @out.sdr --names cmu",
       "walk_cmu_06_01.mkr: ", "are of joints"},
      {"examples/takes/walk_cmu_12_01.bvh -o @out.sdr --names xsens",
       "walk_cmu_12_01.bvh:", "missing: "},
      {"@walk.bvh -o @out.sdr --params @bad.moc", "bad.moc:5, ", "upVector"},
      {"@walk.bvh -o @out.sdr --params @none.moc", "none.moc: ", "No such file"},
      {"@walk.bvh -o @out.sdr --figure @free.fig", "free.fig: ", "tag"},
      {"@walk.bvh -o @out.sdr --pose @none.cal", "none.cal: ", "No such file"},
      {"@walk.bvh -o @out.sdr --set fsTolerance=1", "fsTolerance", "no parameter"},
      {"@walk.bvh -o @out.sdr --set fsExtractionTol=nan", "fsExtractionTol", "\"nan\""},
      {"@walk.bvh -o @out.sdr --set fsExtractionTol", "--set", "NAME=VALUE"},
      {"@walk.bvh -o @out.sdr --set fsExtractionTol=0.1 --running", "--running", "one of them"},
      {"@walk.bvh -o @out.sdr --scale 0", "--scale", "\"0\""},
      {"@walk.bvh -o @out.sdr --up w", "--up", "\"w\""},
      {"@walk.bvh -o @out.sdr --fps 0", "--fps", "\"0\""},
      {"@walk.bvh -o @out.sdr --from -1", "--from", "\"-1\""},
      {"@walk.bvh -o @out.sdr --from 20 --to 10", "walk.bvh: ", "no frames from 20 to 10"},
      {"@walk.bvh -o @out.sdr --from 9999", "walk.bvh: ", "from 9999 to its end"},
      {"@walk.bvh -o @out.sdr --at-keys", "--at-keys", ".sdr"},
      {"@walk.bvh -o @out.cal --in-place", "--in-place", ".cal"},
      {"@walk.bvh -o @out.stp --free-form", "walk.bvh: ", "no footsteps"},
      {"@free.sdr -o @out.sdr --scale 2", "free.sdr: ", "a scale"},
      {"@free.sdr -o @out.sdr --set upVector=2", "free.sdr: ", "upVector goes with a take"},
      {"@free.sdr -o @out.sdr --loop 500", "free.sdr: ", "a loop of 500 frames"},
      {"@free.sdr -o @out.sdr --pose @free.sdr", "free.sdr: ", "a pose of the talent"},
      {"@free.sdr -o @out.sdr --from 9999", "free.sdr: ", "from 9999 to its end"},
      {"@walk.bvh -o @walk.bvh", "walk.bvh: ", "the take itself"},
      {"@walk.bvh -o @free.sdr --figure @free.sdr", "free.sdr: ", "the figure itself"},
      {"@walk.bvh -o @out.sdr --save-params @walk.bvh", "walk.bvh: ", "the take itself"},
      {"@walk.bvh -o @out.sdr --save-params @out.sdr", "out.sdr: ", "the output itself"},
      {"@walk.bvh -o @out.sdr --save-params @none/p.moc", "p.moc: ", "No such file"},
      {"@walk.bvh -o @none/out.sdr --save-params @p.moc", "out.sdr: ", "No such file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const RunResult result = Run(std::string("import ") + row.line);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("strider import: ", 0), 0u);
    EXPECT_NE(result.err.find(row.named), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(row.cause), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(scratch.CountFiles(), files);
  }
  EXPECT_TRUE(ReadFile(File("out.sdr")) == "old");
  EXPECT_TRUE(ReadFile(File("walk.bvh")) == take);
  EXPECT_EQ(Run("import @walk.bvh -o @out.sdr --free-form --footsteps").status, 2);
}

}  // namespace
}  // namespace strider
