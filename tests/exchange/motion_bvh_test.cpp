#include "exchange/motion_bvh.h"

#include <set>

#include "exchange/bvh_skeleton.h"
#include "exchange/turn_angles.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/core/figure_fixture.h"
#include "tests/exchange/bvh_reader.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

test::BvhRead Written(const MotionCore& core, const MotionBvhOptions& options = {}) {
  const test::ScratchFolder scratch;
  std::string cause;
  EXPECT_TRUE(WriteMotionBvh(core, {}, options, scratch.File("m.bvh"), cause)) << cause;
  return test::ReadBvh(test::ReadFile(scratch.File("m.bvh")));
}

double Apart(const Turn& a, const Turn& b) {
  double worst = 0;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) worst = std::fmax(worst, std::fabs(a.m[r][c] - b.m[r][c]));
  }
  return worst;
}

TEST(TurnAngles, GiveTheTurnBackWhereverItsMiddleAngleStands) {
  test::Random random(3);
  for (int i = 0; i < 3000; ++i) {
    ZxyAngles angles = {random.Between(-3, 3), random.Between(-1.5f, 1.5f), random.Between(-3, 3)};
    // Most of them at a quarter turn or as near as makes reading the others hard.
    static constexpr double kOff[] = {0, 1e-15, 1e-12, 1e-9, 1e-8, 1e-7, 1e-5, 1e-3};
    if (i % 4 != 0) {
      const double off = kOff[random.Int(0, 7)];
      angles.x = (i % 2 == 0 ? 1 : -1) * (kPiD / 2 - off);
    }
    const ZxyAngles previous = {random.Between(-20, 20), random.Between(-20, 20),
                                random.Between(-20, 20)};
    const Turn turn = TurnOf(angles);
    const ZxyAngles read = AnglesNear(turn, previous);
    EXPECT_LT(Apart(TurnOf(read), turn), 2e-8) << angles.z << " " << angles.x << " " << angles.y;
    EXPECT_LE(std::fabs(read.y - previous.y), kPiD + 1e-9);
    EXPECT_LE(std::fabs(read.z - previous.z), kPiD + 1e-9);
  }
  // Of a quaternion the same turn as of its three turns in a row.
  const Quat q = AboutZ(0.3f) * AboutX(-0.8f) * AboutY(2.0f);
  EXPECT_LT(Apart(TurnOf(q), TurnOf(ZxyAngles{0.3f, -0.8f, 2.0f})), 3e-7);
}

TEST(TurnAngles, RunOnThroughAQuarterTurnOfTheMiddleAngle) {
  ZxyAngles previous;
  for (int i = 0; i <= 400; ++i) {
    const ZxyAngles angles = {0.2, i * 0.02, -0.4};
    const ZxyAngles read = AnglesNear(TurnOf(angles), previous);
    EXPECT_NEAR(read.z, 0.2, 1e-6) << i;
    EXPECT_NEAR(read.x, angles.x, 1e-6) << i;
    EXPECT_NEAR(read.y, -0.4, 1e-6) << i;
    previous = i == 0 ? angles : read;
  }
}

/// Every joint of the file stands at every time where its link stands, and turns as it turns.
void ExpectSamePlaces(const MotionCore& core, const MotionBvhOptions& options) {
  const test::BvhRead bvh = Written(core, options);
  const std::vector<BvhJoint> joints = BvhSkeletonOf(core, options.onlyKnown);
  const float tolerance = 2e-5f * core.structure.height;
  MotionCore posed = core;
  ASSERT_EQ(bvh.frames.size(), options.times.size());
  for (std::size_t f = 0; f < options.times.size(); ++f) {
    CorePose(posed, options.times[f], {});
    const auto world = bvh.Place(f);
    for (const BvhJoint& joint : joints) {
      const int place = bvh.Find(joint.name);
      ASSERT_GE(place, 0) << joint.name;
      const auto& [at, turn] = world[static_cast<std::size_t>(place)];
      const Frame expected = FrameOf(posed, joint.id, joint.link);
      EXPECT_LT(test::Distance(at, expected.origin), tolerance) << joint.name << " " << f;
      EXPECT_LT(test::AngleBetween(turn * joint.rest.rotation, expected.rotation), 1e-4f)
          << joint.name << " " << f;
    }
    for (const NodeInfo& nub : BuildNodeTree(core)) {
      if (FindBodyPart(nub.id)->kind != PartKind::kNub) continue;
      for (const BvhJoint& joint : joints) {
        const int end = bvh.Find(joint.name + "/End");
        if (joint.id != nub.parentId || joint.link != nub.parentLink || end < 0) continue;
        EXPECT_LT(test::Distance(world[static_cast<std::size_t>(end)].first,
                                 LinkFrame(posed, nub.id, nub.link).Origin()),
                  tolerance)
            << nub.name;
      }
    }
  }
}

TEST(MotionBvh, JointsStandWhereLinksStandInAnyStructure) {
  test::Random random(17);
  MotionBvhOptions options;
  for (TimeValue t = 0; t <= 4800; t += 480) options.times.push_back(t);
  for (int round = 0; round < 25; ++round) {
    SCOPED_TRACE(round);
    MotionCore core =
        test::MakeFigure(round == 0 ? test::FullStructure() : test::RandomStructure(random));
    test::KeyAllTracks(core, random, {0, 1500, 3300, 4800});
    options.onlyKnown = round % 2 == 1;
    ExpectSamePlaces(core, options);
  }
}

TEST(MotionBvh, AStandingFigureIsTheSkeletonAtRest) {
  MotionCore core = test::MakeFigure(test::FullStructure());
  PlaceFigure(core, {5, 1, -7}, 0);
  const test::BvhRead bvh = Written(core);
  for (const test::BvhRead::Joint& joint : bvh.joints) {
    for (std::size_t c = 0; c < joint.channels.size(); ++c) {
      if (joint.channels[c].find("rotation") == std::string::npos) continue;
      EXPECT_NEAR(bvh.frames[0][joint.firstNumber + c], 0, 2e-4) << joint.name;
    }
  }
}

TEST(MotionBvh, NamesJointsAsCapturesDo) {
  MotionCore core = test::MakeFigure(test::FullStructure());
  core.name = "my figure";
  const test::BvhRead bvh = Written(core);
  // Children under parents that carry them, whatever the nodes hang from.
  const std::pair<const char*, const char*> rows[] = {
      {"Hips", ""},
      {"my_figure", "Hips"},
      {"my_figure_Footprints", "my_figure"},
      {"Chest", "Hips"},
      {"Chest5", "Chest4"},
      {"Neck", "Chest5"},
      {"my_figure_Neck2", "Neck"},
      {"Head", "my_figure_Neck5"},
      {"LeftCollar", "Chest5"},
      {"LeftShoulder", "LeftCollar"},
      {"LeftElbow", "LeftShoulder"},
      {"LeftWrist", "LeftElbow"},
      {"LeftFinger0", "LeftWrist"},
      {"LeftFinger42", "LeftFinger41"},
      {"RightHip", "Hips"},
      {"RightKnee", "RightHip"},
      {"my_figure_RightHorseLink", "RightKnee"},
      {"RightAnkle", "my_figure_RightHorseLink"},
      {"RightToe", "RightAnkle"},
      {"my_figure_RightToe1Link2", "RightToe"},
      {"my_figure_RightToe2Link1", "RightAnkle"},
      {"my_figure_Tail1", "Hips"},
  };
  for (const auto& [name, parent] : rows) {
    const int at = bvh.Find(name);
    ASSERT_GE(at, 0) << name;
    const int above = bvh.joints[static_cast<std::size_t>(at)].parent;
    EXPECT_EQ(above < 0 ? "" : bvh.joints[static_cast<std::size_t>(above)].name, parent) << name;
  }
  EXPECT_EQ(bvh.joints[0].offset, Point3{});
  EXPECT_EQ(bvh.joints[0].channels.size(), 6u);
  EXPECT_EQ(bvh.joints[static_cast<std::size_t>(bvh.Find("Chest"))].channels,
            (std::vector<std::string>{"Zrotation", "Xrotation", "Yrotation"}));
  EXPECT_GE(bvh.Find("my_figure_Tail5/End"), 0);

  MotionBvhOptions known;
  known.onlyKnown = true;
  for (const auto& joint : Written(core, known).joints) {
    EXPECT_EQ(joint.name.find("my_"), std::string::npos) << joint.name;
  }
  // A figure that is called like a joint, and one with no name at all.
  for (const char* name : {"Hips", "", "JOINT {", "a\tb\n"}) {
    core.name = name;
    EXPECT_EQ(Written(core).joints.size(), bvh.joints.size()) << name;
  }
}

TEST(MotionBvh, AnglesOfAWalkAroundACircleRunOn) {
  const MotionCore core = MakeSample(SampleMotion::kCircle, 80);
  const test::BvhRead bvh = Written(core);
  EXPECT_NEAR(bvh.frameTime, 1 / 30.0, 1e-8);
  double low = 0, high = 0;
  for (std::size_t f = 1; f < bvh.frames.size(); ++f) {
    for (const test::BvhRead::Joint& joint : bvh.joints) {
      for (std::size_t c = 0; c < joint.channels.size(); ++c) {
        if (joint.channels[c].find("rotation") == std::string::npos) continue;
        const std::size_t at = joint.firstNumber + c;
        EXPECT_LT(std::fabs(bvh.frames[f][at] - bvh.frames[f - 1][at]), 90)
            << joint.name << " " << joint.channels[c] << " " << f;
      }
    }
    low = std::min(low, bvh.frames[f][5]);
    high = std::max(high, bvh.frames[f][5]);
  }
  EXPECT_EQ(bvh.joints[0].channels[5], "Yrotation");
  EXPECT_GT(high - low, 300) << "the way around";
}

TEST(MotionBvh, TakesUnitsAndRateWhateverTheSize) {
  for (const float height : {0.01f, 80.0f, 30000.0f}) {
    Structure structure;
    structure.height = height;
    const MotionCore core = test::MakeFigure(structure);
    MotionBvhOptions options;
    options.times = {0, 200};
    options.fps = 24;
    const test::BvhRead units = Written(core, options);
    options.metresPerUnit = 1.75 / static_cast<double>(height);
    const test::BvhRead metres = Written(core, options);
    EXPECT_NEAR(units.frameTime, 1 / 24.0, 1e-8);
    const auto head = static_cast<std::size_t>(units.Find("Head"));
    EXPECT_NEAR(units.Place(0)[head].first.y / height, metres.Place(0)[head].first.y / 1.75, 1e-5);
    EXPECT_GT(metres.Place(0)[head].first.y, 1.4);
  }
}

}  // namespace
}  // namespace strider
