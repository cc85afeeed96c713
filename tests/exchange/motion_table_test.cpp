#include "exchange/motion_table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "exchange/motion_range.h"
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
  ASSERT_TRUE(WriteMotionTable(core, {}, path, cause, [&told](std::int64_t n, std::int64_t all) {
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

TEST(MotionTable, LeavesWhatStoodThereWhereItCannotWrite) {
  const test::ScratchFolder scratch;
  std::string cause;
  EXPECT_FALSE(WriteMotionTable(test::MakeFigure(), {}, scratch.File("no/motion.csv"), cause));
  EXPECT_NE(cause.find("No such file"), std::string::npos);
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
