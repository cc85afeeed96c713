// Real takes: what is read stands where the file's own kinematics has it.
#include "strider/capture/capture_pose.h"
#include "strider/capture/joint_names.h"
#include "strider/capture/name_sets.h"
#include "tests/capture/take_fixture.h"
#include "tests/exchange/bvh_reader.h"

namespace strider {
namespace {

struct TakeRow {
  const char* file;
  int frames;
  const char* nameSet;
  int knownJoints, unknownJoints;
};
constexpr TakeRow kTakes[] = {
    {"walk_cmu_06_01.bvh", 495, "own", 19, 0}, {"walk_cmu_02_01.bvh", 344, "own", 23, 0},
    {"walk_cmu_12_01.bvh", 524, "cmu", 23, 8}, {"run_cmu_09_01.bvh", 149, "figure", 39, 4},
    {"jump_cmu_13_39.bvh", 352, "own", 19, 0}, {"dance_cmu_05_03.bvh", 435, "own", 39, 0},
};

TEST(Takes, StandWhereTheirFilesHaveThem) {
  for (const TakeRow& row : kTakes) {
    SCOPED_TRACE(row.file);
    const std::string text = test::ReadFile(test::TakePath(row.file));
    const std::vector<std::string> namesInFile = JointNamesOfBvh(text);
    const NameGuess guess = GuessNameSet(namesInFile);
    EXPECT_EQ(guess.set->name, row.nameSet);
    EXPECT_TRUE(guess.missing.empty());

    BvhSettings settings;
    settings.names = &guess.table;
    settings.ticksPerFrame = 0;
    CaptureScene scene;
    CaptureReport report;
    ASSERT_EQ(test::ReadText(scene, text, report, settings), 1) << report.message;
    EXPECT_EQ(scene.numFrames, row.frames);
    EXPECT_EQ(static_cast<int>(scene.jointOrder.size()), row.knownJoints);
    EXPECT_EQ(static_cast<int>(report.unknownNames.size()), row.unknownJoints);

    const test::BvhRead file = test::ReadBvh(text);
    double worst = 0, worstTurn = 0;
    for (int frame = 0; frame < scene.numFrames; frame += 7) {
      const CapturePose pose = PoseOfCapture(scene, frame);
      const auto world = file.Place(static_cast<std::size_t>(frame));
      for (const int joint : scene.jointOrder) {
        const int node = [&] {
          for (const std::string& name : namesInFile) {
            if (FindNamed(NameKind::kJoints, &guess.table, name) == joint) return file.Find(name);
          }
          return -1;
        }();
        ASSERT_GE(node, 0) << FirstNameOf(joint);
        const auto& [at, turn] = world[static_cast<std::size_t>(node)];
        const Point3 off = ToPoint(pose.place[static_cast<std::size_t>(joint)]) - at;
        worst = std::max(worst, static_cast<double>(Length(off)));
        const Point3 ahead = ToPoint(pose.turn[static_cast<std::size_t>(joint)] * Place3{1, 2, 3});
        worstTurn =
            std::max(worstTurn, static_cast<double>(Length(ahead - Rotate(turn, Point3{1, 2, 3}))));
      }
    }
    // Floats of a hundred units, on the other side summed as floats.
    EXPECT_LT(worst, 1e-3);
    EXPECT_LT(worstTurn, 1e-4);
  }
}

}  // namespace
}  // namespace strider
