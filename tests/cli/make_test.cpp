// `strider make` as it is run: what it places and writes, what it prints, what it refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// Runs `make` with the words of a line, its output in `file`.
RunResult Make(const std::string& line, const std::string& file) {
  std::istringstream in("make " + line);
  std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
  words.insert(words.end(), {"-o", file});
  return RunProgram(words);
}

/// The footsteps as --json prints them.
struct Footsteps {
  ScratchFolder scratch;
  RunResult result;
  Json json, steps;

  explicit Footsteps(const std::string& line)
      : result(Make(line + " --json", scratch.File("motion.csv"))) {
    EXPECT_EQ(result.status, 0) << result.err;
    if (result.status != 0) return;
    json = Json::parse(result.out);
    steps = json["footsteps"];
  }
  double Place(std::size_t i, std::size_t axis) const { return steps[i]["position"][axis]; }
  /// Plan distance of two footsteps.
  double Distance(std::size_t i, std::size_t j) const {
    return std::hypot(Place(j, 0) - Place(i, 0), Place(j, 1) - Place(i, 1));
  }
};

TEST(MakeVerb, WritesTableAndPictureAndPrintsTheReadouts) {
  const ScratchFolder scratch;
  const std::string table = scratch.File("walk.CSV"), picture = scratch.File("walk.png");
  const RunResult result = Make("walk --footsteps 6 --stride-length 0.5 --cycle 20", table);
  ASSERT_EQ(result.status, 0) << result.err;
  // Four strides of half a leg of 38.554 units, which a height of 80 gives.
  EXPECT_EQ(result.out, "strides: 4\ndistance: 77.11\ncycle: 20\nspeed: 0.96\nframes: 0 to " +
                            result.out.substr(result.out.find(" to ") + 4));
  EXPECT_TRUE(Contains(result.out, "\n" + table + "\n"));
  EXPECT_EQ(ReadFile(table).rfind("frame,seconds,id,link,name,px,py,pz,qx,qy,qz,qw\n0,0,13,0,", 0),
            0u);
  EXPECT_EQ(Make("jump --tail-links 3", picture).status, 0);
  EXPECT_EQ(ReadFile(picture).substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(scratch.CountFiles(), 2);
}

TEST(MakeVerb, PlacesTheStridesThatAreAskedFor) {
  const Footsteps walk("walk --footsteps 6 --start-side right --height 160");
  ASSERT_EQ(walk.steps.size(), 6u);
  EXPECT_EQ(walk.steps[0]["side"], "right");
  EXPECT_EQ(walk.steps[3]["side"], "left");
  EXPECT_NEAR(walk.Place(3, 0) - walk.Place(2, 0), 0.75 * 77.108, 0.01);
  for (const Json& step : walk.steps) {
    EXPECT_TRUE(step["active"]);
    EXPECT_EQ(step["position"][2], 0) << "to the digit";
  }
  EXPECT_EQ(walk.json["figure"]["structure"]["height"], 160);
  EXPECT_FALSE(walk.json["transitions"].empty());
  EXPECT_GT(walk.json["tracks"]["lleg"]["numKeys"], 5);

  const Footsteps stairs("walk --footsteps 4 --stride-height 5 --stride-width 2");
  EXPECT_NEAR(stairs.Place(3, 2) - stairs.Place(0, 2), 10, 1e-3);
  EXPECT_NEAR(stairs.Place(0, 1) - stairs.Place(1, 1), 2 * 2 * 3.8554, 0.01);

  const Footsteps timed("walk --footsteps 5 --no-auto-timing --ground 20 --air 4");
  EXPECT_EQ(timed.steps[4]["duration"], 20 * 160);
  EXPECT_EQ(timed.steps[4]["start"].get<int>() - timed.steps[3]["start"].get<int>(), 16 * 160);

  const Footsteps faster("run --footsteps 10 --interpolate-to 2.5,12");
  EXPECT_LT(faster.Distance(2, 3) * 1.2, faster.Distance(8, 9));
  const Footsteps hop("jump --footsteps 6 --no-alternate");
  for (std::size_t i = 2; i < 6; ++i) EXPECT_EQ(hop.steps[i]["side"], hop.steps[2]["side"]);
}

TEST(MakeVerb, BendsScalesAndSetsGravity) {
  const Footsteps plain("walk --footsteps 8"), bent("walk --footsteps 8 --bend 15");
  // The pair stands as it did; every stride then turns by the angle, its heading by half at first.
  EXPECT_EQ(bent.steps[1]["heading"], 0);
  EXPECT_NEAR(bent.steps[2]["heading"].get<double>(), 7.5, 1e-3);
  EXPECT_NEAR(bent.steps[7]["heading"].get<double>(), 5 * 15 + 7.5, 1e-3);
  EXPECT_GT(bent.Place(7, 1), plain.Place(7, 1) + 20) << "to the left";

  const Footsteps scaled("walk --footsteps 8 --scale-length 1.5 --scale-width 2");
  EXPECT_NEAR(scaled.Place(7, 0), 1.5 * plain.Place(7, 0), 0.01);
  EXPECT_NEAR(scaled.Place(6, 1) - scaled.Place(7, 1), 2 * (plain.Place(6, 1) - plain.Place(7, 1)),
              0.01);

  // What a flight gains in speed downward is gravity by its time: 450 units/s2 over 4800^2 ticks.
  const Footsteps run("run --gravity 450");
  ASSERT_FALSE(run.json["flights"].empty());
  for (const Json& flight : run.json["flights"]) {
    const double time = flight["landTime"].get<double>() - flight["takeoffTime"].get<double>();
    const double gained = flight["takeoffSpeed"].get<double>() + flight["landSpeed"].get<double>();
    EXPECT_NEAR(gained / time, 450.0 / (4800.0 * 4800.0), 1e-8);
  }
}

TEST(MakeVerb, MakesAPlan) {
  const ScratchFolder scratch;
  const std::string plan = scratch.File("steps.csv");
  std::ofstream(plan) << "side,x,y,z,heading,start,duration\n"
                         "left,0,0.1,0,0,0,1\nright,0,-0.1,0,0,0,1.5\n"
                         "left,0.5,0.1,0.2,45,1.5,0.6\nright,1,-0.1,0.2,90,2,0.6\n";
  const Footsteps made("plan --plan " + plan + " --metres-per-unit 0.02 --height 90");
  ASSERT_EQ(made.steps.size(), 4u);
  EXPECT_EQ(made.steps[2]["side"], "left");
  EXPECT_NEAR(made.Place(2, 0), 25, 1e-3);
  EXPECT_NEAR(made.Place(2, 1), 5, 1e-3);
  EXPECT_NEAR(made.Place(2, 2), 10, 1e-3);
  EXPECT_NEAR(made.steps[3]["heading"].get<double>(), 90, 1e-3);
  EXPECT_EQ(made.steps[3]["start"], 9600);
  EXPECT_EQ(made.steps[3]["duration"], 2880);
  EXPECT_EQ(Make("plan --plan " + plan, scratch.File("plan.csv")).out,
            "footsteps: 4\nframes: 0 to 78\n" + scratch.File("plan.csv") + "\n");
}

TEST(MakeVerb, RefusesAndWritesNothing) {
  const ScratchFolder scratch;
  const std::string plan = scratch.File("steps.csv");
  std::ofstream(plan) << "side,x,y,z,heading,start,duration\nleft,0,0,0,0,0,1\nup,0,0,0,0,1,1\n";
  const struct {
    std::string line, says;
  } rows[] = {
      {"walk --footsteps 0", "--footsteps must be a whole number from 1 to 100000, given \"0\""},
      {"walk --cycle 0", "--cycle must be a whole number of frames from 1"},
      {"walk --cycle 0.5", "--cycle must be a whole number"},
      {"walk --stride-length nan", "--stride-length must be a number from -100 to 100, given"},
      {"run --gravity 0", "--gravity must be a number above 0"},
      {"run --gravity -9", "given \"-9\""},
      {"run --gravity 1e-45", "--gravity is too small"},
      {"run --interpolate-to 1", "--interpolate-to must be a stride length"},
      {"run --interpolate-to 1,0", "given \"1,0\""},
      {"run --interpolate-to 1,2,3,4", "--interpolate-to"},
      {"walk --start-side up", "--start-side must be left or right, given \"up\""},
      {"walk --bend inf", "--bend must be a number of degrees from -360 to 360, given \"inf\""},
      {"walk --footsteps 3 --bend 5", "--bend needs two footsteps after the standing pair"},
      {"walk --scale-length 0", "--scale-length must be a number above 0"},
      {"walk --no-auto-timing --ground 8 --air 4", "(--air) must be less than half"},
      {"run --no-auto-timing --air 0", "a run must be in the air"},
      {"run --cycle 2", "give it a longer --cycle"},
      {"walk --footsteps 90000 --cycle 1000", "ends too late"},
      {"walk --spine-links 9", "spineLinks (--spine-links)"},
      {"plan --plan " + plan, plan + ": row 3: side must be left or right, given \"up\""},
      {"plan --plan " + scratch.File("none"), ": No such file"},
      {"walk --metres-per-unit 1", "--metres-per-unit has no meaning for a gait in .csv"},
      {"walk --root-motion", "--root-motion has no meaning for .csv"},
      {"plan --plan x --metres-per-unit 0", "--metres-per-unit must be a number above 0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const RunResult result = Make(row.line, scratch.File("motion.csv"));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_TRUE(Contains(result.err, row.says)) << result.err;
  }
  EXPECT_TRUE(Contains(Make("walk", scratch.File("walk.bmp")).err, "must end in ."));
  for (const auto& [line, says] :
       {std::pair{"walk --fps 0", "--fps must be a number above 0 and up to 4800"},
        {"walk --fps 24 --at-keys", "--fps has no meaning with --at-keys"}}) {
    EXPECT_TRUE(Contains(Make(line, scratch.File("walk.glb")).err, says)) << line;
  }
  EXPECT_TRUE(Contains(Make("walk", scratch.File("no/walk.glb")).err, "No such file"));
  EXPECT_TRUE(Contains(Make("walk", scratch.File("no/walk.png")).err, "No such file"));
  EXPECT_TRUE(
      Contains(RunProgram({"make", "walk", "-o", ""}).err, "make: \"\": the output's name"));

  const std::string mine = ReadFile(plan), other = scratch.File("./steps.csv");
  EXPECT_TRUE(Contains(Make("plan --plan " + plan, other).err, other + ": is the plan itself"));
  EXPECT_EQ(ReadFile(plan), mine);
  EXPECT_TRUE(Contains(Make("walk --with-footsteps", scratch.File("walk.npz")).err,
                       "--with-footsteps has no meaning for .npz"));
  EXPECT_TRUE(Contains(Make("walk --only-known", scratch.File("walk.csv")).err, "--only-known"));
  EXPECT_EQ(scratch.CountFiles(), 1) << "the plan alone";
}

TEST(MakeVerb, WritesFootstepsThatMakeTheSameMotion) {
  const ScratchFolder scratch;
  const std::string walk = scratch.File("walk.csv"), again = scratch.File("again.csv");
  const std::string steps = scratch.File("walk.footsteps.csv");
  const RunResult made = Make("walk --footsteps 8 --bend 20 --with-footsteps", walk);
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_TRUE(Contains(made.out, steps + "\n" + scratch.File("walk.contacts.csv") + "\n" + walk));
  EXPECT_EQ(scratch.CountFiles(), 3);
  ASSERT_EQ(Make("plan --with-footsteps --plan " + steps, again).status, 0);
  EXPECT_EQ(ReadFile(scratch.File("again.footsteps.csv")), ReadFile(steps));
  EXPECT_EQ(ReadFile(scratch.File("again.contacts.csv")),
            ReadFile(scratch.File("walk.contacts.csv")));
  const RunResult over = Make("plan --with-footsteps --plan " + steps, walk);
  EXPECT_EQ(over.status, 1);
  EXPECT_TRUE(Contains(over.err, "is the plan itself")) << over.err;
}

TEST(MakeVerb, WritesEveryFormat) {
  const ScratchFolder scratch;
  const std::pair<const char*, std::string> rows[] = {
      {"walk.bvh", "HIERARCHY\nROOT Hips\n"}, {"walk.npz", "PK\3\4"}, {"walk.png", "\x89PNG"}};
  for (const auto& [name, head] : rows) {
    EXPECT_EQ(Make("walk", scratch.File(name)).status, 0) << name;
    EXPECT_EQ(ReadFile(scratch.File(name)).substr(0, head.size()), head) << name;
  }
  EXPECT_EQ(Make("walk --fps 24", scratch.File("slow.bvh")).status, 0);
  EXPECT_TRUE(Contains(ReadFile(scratch.File("slow.bvh")), "\nFrame Time: 0.04166667\n"));
  EXPECT_EQ(Make("walk --at-keys", scratch.File("keys.csv")).status, 0);
  EXPECT_EQ(Make("walk --at-keys", scratch.File("keys.bvh")).status, 1);
  ASSERT_EQ(Make("walk --only-known", scratch.File("known.bvh")).status, 0);
  EXPECT_TRUE(Contains(ReadFile(scratch.File("walk.bvh")), "Strider01_Footprints"));
  EXPECT_FALSE(Contains(ReadFile(scratch.File("known.bvh")), "Strider01"));
}

TEST(MakeVerb, TellsTheUsageOfOptionsOutOfPlace) {
  const ScratchFolder scratch;
  for (const char* line :
       {"", "stroll", "plan", "walk --plan steps.csv", "plan --plan steps.csv --cycle 15",
        "plan --plan steps.csv --no-alternate", "plan --plan steps.csv --start-side left",
        "walk --ground 5", "run --air 5"}) {
    SCOPED_TRACE(line);
    const RunResult result = Make(line, scratch.File("motion.csv"));
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(Contains(result.err, "Usage: strider make")) << result.err;
  }
  EXPECT_EQ(RunProgram({"make", "walk"}).status, 2) << "no output";
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
