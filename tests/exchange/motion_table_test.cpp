#include "exchange/motion_table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "exchange/footstep_plan.h"
#include "exchange/motion_range.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/exchange/motion_fixture.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

std::vector<std::string> Split(const std::string& line, char at) {
  std::vector<std::string> parts;
  std::istringstream in(line);
  for (std::string part; std::getline(in, part, at);) parts.push_back(part);
  return parts;
}

TEST(FrameRange, GoesFromTheFirstToTheLastFootstepOrKey) {
  MotionCore core = test::MakeFigure();
  const auto expectRange = [&core](std::int64_t first, std::int64_t last) {
    const FrameRange range = FrameRangeOf(core);
    EXPECT_EQ(range.first, first);
    EXPECT_EQ(range.last, last);
  };
  expectRange(0, 0);
  ASSERT_EQ(PutKey(core, 161, CurrentPelvisKey(core)), KeyRefusal::kNone);
  expectRange(1, 2);
  ASSERT_EQ(PutKey(core, -161, CurrentPelvisKey(core)), KeyRefusal::kNone);
  expectRange(-2, 2);
  test::AddFootsteps(core, 320, 1000);
  expectRange(-2, 7);
}

TEST(MotionTable, HoldsEveryLinkAtEveryFrameAsItIsEvaluated) {
  MotionCore core = test::SteppingMotion(4, {25, 0, 0});
  core.name = "a \"b\", c";  // a name that has to be quoted
  const test::ScratchFolder scratch;
  const std::string path = scratch.File("motion.csv");
  std::string cause;
  std::int64_t told = 0;
  ASSERT_TRUE(
      WriteMotionTable(core, {}, {}, path, cause, [&told](std::int64_t n, std::int64_t all) {
        EXPECT_EQ(n, ++told);
        EXPECT_EQ(all, 64);
      }));
  EXPECT_EQ(told, 64);  // the last footstep lifts at 7200 + 2880 ticks, frame 63

  const std::vector<std::string> lines = Split(test::ReadFile(path), '\n');
  const std::vector<NodeInfo> nodes = BuildNodeTree(core);
  ASSERT_EQ(lines.size(), 1 + 64 * nodes.size());
  EXPECT_EQ(lines[0], "frame,seconds,id,link,name,px,py,pz,qx,qy,qz,qw");
  MotionCore posed = core;
  for (const std::size_t frame : {0u, 20u, 63u}) {
    test::Evaluate(posed, static_cast<TimeValue>(160 * frame));
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      const std::string& line = lines[1 + frame * nodes.size() + n];
      SCOPED_TRACE(line);
      // The name holds the only quotes, and comes after four fields.
      const std::size_t open = line.find('"'), close = line.rfind('"');
      ASSERT_NE(open, std::string::npos);
      const auto head = Split(line.substr(0, open), ','), tail = Split(line.substr(close + 2), ',');
      ASSERT_EQ(head.size(), 4u);
      ASSERT_EQ(tail.size(), 7u);
      EXPECT_EQ(line.substr(open, 12), "\"a \"\"b\"\", c" + std::string(n == 0 ? "\"" : "_"));
      EXPECT_EQ(std::stoul(head[0]), frame);
      EXPECT_EQ(std::stod(head[1]), static_cast<double>(frame) / 30);
      EXPECT_EQ(std::stoi(head[2]), nodes[n].id);
      EXPECT_EQ(std::stoi(head[3]), nodes[n].link);
      const Matrix3 world = UnmirroredLinkTransform(posed, nodes[n].id, nodes[n].link);
      float numbers[7];
      for (std::size_t i = 0; i < 7; ++i) numbers[i] = std::stof(tail[i]);
      EXPECT_EQ((Point3{numbers[0], numbers[1], numbers[2]}), world.Origin());
      const Quat q{numbers[3], numbers[4], numbers[5], numbers[6]};
      EXPECT_GE(q.w, 0);
      EXPECT_LT(test::Distance(Rotate(q, {1, 0, 0}), world.row[0]), 1e-5f);
      EXPECT_LT(test::Distance(Rotate(q, {0, 1, 0}), world.row[1]), 1e-5f);
    }
  }
}

TEST(MotionTable, FootstepsBesideItAreAPlanThatMakesThemAgain) {
  const MotionCore core = MakeSample(SampleMotion::kCircle, 80);
  const test::ScratchFolder scratch;
  const std::string path = scratch.File("walk.csv");
  std::string cause;
  ASSERT_TRUE(WriteMotionTable(core, {}, {{}, true}, path, cause)) << cause;
  EXPECT_EQ(scratch.CountFiles(), 3);
  std::vector<PlannedFootstep> plan;
  ASSERT_TRUE(ReadFootstepPlan(scratch.File("walk.footsteps.csv"), {}, plan, cause)) << cause;
  const FootstepTrack& track = core.footsteps;
  ASSERT_EQ(plan.size(), static_cast<std::size_t>(track.numFootsteps));
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const auto own = static_cast<std::size_t>(track.sideIndex[i]);
    EXPECT_EQ(plan[i].side, track.side[i]);
    EXPECT_EQ(plan[i].place, HostFromCore(track.position[i]));
    EXPECT_LT(test::AngleBetween(AboutZ(plan[i].heading), AboutZ(track.angle[i])), 1e-5f);
    EXPECT_EQ(plan[i].start, track.spans[plan[i].side][own].start);
    EXPECT_EQ(plan[i].duration, track.spans[plan[i].side][own].duration);
  }

  const std::vector<std::string> lines =
      Split(test::ReadFile(scratch.File("walk.contacts.csv")), '\n');
  const FrameRange range = FrameRangeOf(core);
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(1 + range.Count()));
  EXPECT_EQ(lines[0], "frame,seconds,right,left,right_state,left_state");
  for (std::int64_t frame = range.first; frame <= range.last; ++frame) {
    const auto fields = Split(lines[static_cast<std::size_t>(1 + frame - range.first)], ',');
    ASSERT_EQ(fields.size(), 6u);
    EXPECT_EQ(std::stoll(fields[0]), frame);
    for (int side = 0; side < 2; ++side) {
      const auto at = static_cast<std::size_t>(2 + side);
      const LegState state = FootstepLegState(track, side, TimeOfFrame(core, frame));
      EXPECT_EQ(fields[at], state == kMove ? "0" : "1") << frame;
      EXPECT_EQ(std::stoi(fields[at + 2]), state) << frame;
    }
  }
}

TEST(MotionTable, WritesAllTablesOrNone) {
  const MotionCore core = test::MakeFigure();
  for (const char* what : kTablesBeside) {
    const test::ScratchFolder scratch;
    const std::string path = scratch.File("walk.csv");
    std::filesystem::create_directory(TableBeside(path, what));
    std::string cause;
    EXPECT_FALSE(WriteMotionTable(core, {}, {{}, true}, path, cause));
    EXPECT_EQ(scratch.CountFiles(), 1) << what;
  }
  EXPECT_EQ(TableBeside("a.b/walk", "contacts"), "a.b/walk.contacts.csv");
  EXPECT_EQ(TableBeside("a.b/walk.CSV", "contacts"), "a.b/walk.contacts.CSV");
}

TEST(MotionTable, TellsTimesBetweenFrames) {
  const MotionCore core = test::SteppingMotion(2, {25, 0, 0});
  const test::ScratchFolder scratch;
  std::string cause;
  ASSERT_TRUE(WriteMotionTable(core, {}, {{0, 200, 320}, false}, scratch.File("m.csv"), cause));
  std::vector<std::string> frames;
  for (const std::string& line : Split(test::ReadFile(scratch.File("m.csv")), '\n')) {
    const std::string frame = line.substr(0, line.find(','));
    if (frames.empty() || frames.back() != frame) frames.push_back(frame);
  }
  EXPECT_EQ(frames, (std::vector<std::string>{"frame", "0", "1.25", "2"}));
}

TEST(MotionTable, LeavesWhatStoodThereWhereItCannotWrite) {
  const test::ScratchFolder scratch;
  std::string cause;
  EXPECT_FALSE(WriteMotionTable(test::MakeFigure(), {}, {}, scratch.File("no/motion.csv"), cause));
  EXPECT_NE(cause.find("No such file"), std::string::npos);
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
