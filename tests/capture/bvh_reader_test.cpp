#include "strider/capture/bvh_reader.h"

#include <cmath>

#include "strider/capture/bvh_file.h"
#include "strider/capture/capture_pose.h"
#include "strider/capture/joint_names.h"
#include "strider/capture/thin.h"
#include "tests/capture/take_fixture.h"

namespace strider {
namespace {

using test::Hierarchy;
using test::kHierarchyColumns;
using test::Motion;
using test::ReadText;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

CaptureScene Read(const std::string& text, const BvhSettings& settings = {}) {
  CaptureScene scene;
  CaptureReport report;
  EXPECT_EQ(ReadText(scene, text, report, settings), 1) << report.message;
  return scene;
}

bool SameSamples(const CaptureScene& a, const CaptureScene& b) {
  bool same = a.numFrames == b.numFrames && a.jointOrder == b.jointOrder;
  for (int i = 0; i < kNumCaptureJoints; ++i) {
    same &= a.joints[i].rotations.samples == b.joints[i].rotations.samples &&
            a.joints[i].positions.samples == b.joints[i].positions.samples &&
            a.joints[i].offset == b.joints[i].offset &&
            a.joints[i].channels == b.joints[i].channels;
  }
  return same;
}

TEST(ReadBvh, PutsEachNumberInTheSlotOfItsChannel) {
  const CaptureScene scene = Read(Hierarchy() + Motion(3, kHierarchyColumns));
  EXPECT_EQ(scene.numFrames, 3);
  const JointRecord& hips = scene.joints[kHipsJoint];
  EXPECT_EQ(hips.positions.samples[2], (Point3{200, 201, 202}));
  EXPECT_EQ(hips.rotations.samples[2], (Point3{204, 205, 203}));  // written Z X Y
  EXPECT_EQ(scene.joints[kLeftHipJoint].rotations.samples[1], (Point3{107, 108, 106}));
  ASSERT_EQ(hips.channels.size(), 6u);
  EXPECT_EQ(hips.channels[3], (CaptureChannel{CaptureChannel::kRotation, 2}));
  EXPECT_EQ(scene.joints[kLeftKneeJoint].parent, kLeftHipJoint);
  EXPECT_EQ(scene.joints[kNeckJoint].parent, kChestJoint);
  // An ankle's end site is where the toes are, whose joint the file hasn't.
  EXPECT_TRUE(scene.joints[kLeftAnkleJoint].hasEnd);
  EXPECT_EQ(scene.joints[kLeftToeJoint].offset, (Point3{0, 0, 1}));
  EXPECT_FALSE(scene.joints[kLeftToeJoint].present);
  EXPECT_EQ(scene.joints[kLeftAnkleJoint].offset, (Point3{0, -1, 0}));
  // Room grows by 16 past an index that it lacks.
  EXPECT_EQ(hips.rotations.capacity, 16);
}

TEST(ReadBvh, ReadsTheSameTakeHoweverItIsWritten) {
  const std::string text = Hierarchy() + Motion(3, kHierarchyColumns);
  const CaptureScene scene = Read(text);
  std::string secondNames = text;
  for (const char* side : {"Left", "Right"}) {
    const char* pairs[][2] = {{"Hip\n", "UpLeg\n"},    {"Knee\n", "LowLeg\n"},
                              {"Ankle\n", "Foot\n"},   {"Shoulder\n", "UpArm\n"},
                              {"Elbow\n", "LowArm\n"}, {"Wrist\n", "Hand\n"}};
    for (const auto& pair : pairs) {
      const std::string name = std::string("JOINT ") + side;
      secondNames = Replaced(secondNames, name + pair[0], name + pair[1]);
    }
  }
  const std::string spellings[] = {
      secondNames,
      Replaced(text, "\n", "\r\n"),
      Replaced(text, " ", "\t"),
      Replaced(text, "\n", " "),
      "\xEF\xBB\xBF" + text,
      Replaced(text, "ROOT Hips", "ROOT Somebody"),
      Replaced(text, "Frame Time:", "FrameTime:"),
      Replaced(text, "Frame Time:", "frame time :"),
      Replaced(text, "Frame Time:", "Frame  Time"),
      Replaced(text, "Frame Time: ", "Frame Time:"),
      Replaced(text, "Frames:", "FRAMES :"),
      Replaced(text, "0.0333333", ".0333333"),
      Replaced(text, "0.0333333", "3.33333E-2"),
      text + "\n\n  ",
  };
  for (const std::string& spelling : spellings) {
    SCOPED_TRACE(spelling.substr(spelling.find("MOTION")).substr(0, 60));
    EXPECT_TRUE(SameSamples(Read(spelling), scene));
  }
}

TEST(ReadBvh, ThinsToTheRateOfTheScene) {
  const struct {
    const char* frameTime;
    TimeValue ticksPerFrame;
    int frames, thinning;
  } rows[] = {
      {"0.0333", 160, 9, 1}, {"0.0083", 160, 2, 4},  {".0083333", 160, 2, 4}, {"0.010", 160, 3, 3},
      {"0.1", 160, 9, 1},    {"0.0083333", 0, 9, 1}, {"0.00833", 80, 4, 2},   {"0.001", 160, 1, 33},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.frameTime);
    BvhSettings settings;
    settings.ticksPerFrame = row.ticksPerFrame;
    const CaptureScene scene =
        Read(Hierarchy() + Motion(9, kHierarchyColumns, row.frameTime), settings);
    EXPECT_EQ(scene.numFrames, row.frames);
    EXPECT_EQ(scene.thinning, row.thinning);
    const CaptureSamples& places = scene.joints[kHipsJoint].positions;
    ASSERT_EQ(places.Count(), row.frames);
    EXPECT_EQ(places.samples.back().x, static_cast<float>(100 * row.thinning * (row.frames - 1)));
  }
}

TEST(ThinCapture, BeginsWhereItIsTold) {
  BvhSettings settings;
  settings.ticksPerFrame = 0;
  CaptureScene scene = Read(Hierarchy() + Motion(9, kHierarchyColumns, "0.00833"), settings);
  ThinCapture(scene, 4, 1);
  EXPECT_EQ(scene.numFrames, 2);
  EXPECT_EQ(scene.joints[kHipsJoint].positions.samples[1].x, 500);
  ThinCapture(scene, 1, 7);
  EXPECT_EQ(scene.numFrames, 1);
}

TEST(ReadBvh, KeepsFramesAlignedBehindAnUnknownJoint) {
  const std::string hat = "JOINT Hat\n{\n OFFSET 0 1 0\n CHANNELS 2 Yrotation Zposition\n}\n";
  const std::string text = Replaced(Hierarchy(), "JOINT LeftHip", hat + "JOINT LeftHip");
  for (const bool carry : {false, true}) {
    BvhSettings settings;
    settings.carry = carry;
    const CaptureScene scene = Read(text + Motion(2, kHierarchyColumns + 2), settings);
    EXPECT_EQ(scene.joints[kLeftHipJoint].rotations.samples[1], (Point3{109, 110, 108}));
    EXPECT_EQ(scene.unknownNames, std::vector<std::string>{"Hat"});
  }
}

/// Hands off the hips: a joint of no known name between them and the left hip.
std::string WithButtock(const std::string& channels) {
  std::string text = Hierarchy();
  const std::size_t at = text.find("JOINT LeftHip"), end = text.find("JOINT RightHip");
  return text.substr(0, at) + "JOINT Buttock { OFFSET 3 0 0 CHANNELS " + channels + "\n" +
         text.substr(at, end - at) + "}\n" + text.substr(end);
}

/// One frame, still but for the numbers of what follows the hips.
std::string OneFrame(const std::string& behindHips, int more) {
  std::string text = "MOTION Frames: 1 Frame Time: 0.0333333\n10 20 30 0 0 0 " + behindHips;
  for (int i = 0; i < kHierarchyColumns - 6 - more; ++i) text += " 0";
  return text;
}

TEST(CarriedJoints, KeepTheFigureWhereItIs) {
  // The left hip lies at 3 + 1 beside the hips; turned by 90 degrees about Z, X becomes Y.
  const struct {
    const char* when;
    std::string channels, numbers;
    int own;               // of the left hip's numbers that are given
    Point3 leftHip, knee;  // where they stand
    bool hasPositions;
  } rows[] = {
      {"without channels", "0", "", 0, {14, 20, 30}, {14, 19, 30}, false},
      {"that never turns", "1 Zrotation", "0", 0, {14, 20, 30}, {14, 19, 30}, false},
      {"turned", "1 Zrotation", "90", 0, {13, 21, 30}, {14, 21, 30}, true},
      {"turned, and the hip turned back",
       "1 Zrotation",
       "90 -90 0 0",
       3,
       {13, 21, 30},
       {13, 20, 30},
       true},
      {"moved on top of its offset",
       "3 Xposition Yposition Zposition",
       "0 0 1",
       0,
       {14, 20, 31},
       {14, 19, 31},
       true},
      {"moved, the offset in the numbers",
       "3 Xposition Yposition Zposition",
       "3 0.5 0",
       0,
       {14, 20.5f, 30},
       {14, 19.5f, 30},
       true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.when);
    const CaptureScene scene = Read(WithButtock(row.channels) + OneFrame(row.numbers, row.own));
    EXPECT_EQ(scene.joints[kLeftHipJoint].offset, (Point3{4, 0, 0}));
    EXPECT_EQ(scene.joints[kLeftHipJoint].parent, kHipsJoint);
    EXPECT_EQ(scene.joints[kLeftHipJoint].positions.Count() > 0, row.hasPositions);
    const CapturePose pose = PoseOfCapture(scene, 0);
    EXPECT_LT(Length(ToPoint(pose.place[kLeftHipJoint]) - row.leftHip), 1e-4f);
    EXPECT_LT(Length(ToPoint(pose.place[kLeftKneeJoint]) - row.knee), 1e-4f);
  }
  BvhSettings strict;
  strict.carry = false;
  EXPECT_EQ(Read(WithButtock("0") + OneFrame("", 0), strict).joints[kLeftHipJoint].offset,
            (Point3{1, 0, 0}));
}

TEST(CarriedJoints, GiveTheRootsMotionToHipsBelowIt) {
  std::string text = Replaced(Hierarchy(), "ROOT Hips\n{",
                              "ROOT World { OFFSET 0 0 0 CHANNELS 4 "
                              "Xposition Yposition Zposition Yrotation\nJOINT Hips {");
  text += "}\n";
  // The hips at (10, 20, 30) in a world turned by 90 degrees about Y, which takes Z to X.
  const CaptureScene scene = Read(Replaced(text + OneFrame("", 0), "\n10 20", "\n1 2 3 90 10 20"));
  EXPECT_LT(Length(ToPoint(PoseOfCapture(scene, 0).place[kHipsJoint]) - Point3{31, 22, -7}), 1e-4f);
  EXPECT_EQ(scene.joints[kHipsJoint].parent, kNoJoint);
  EXPECT_EQ(scene.unknownNames, std::vector<std::string>{"World"});
}

TEST(JointPositions, HoldTheOffsetOrStandOnTopOfIt) {
  const std::string six =
      "JOINT LeftHip\n{\n OFFSET 1 0 0\n CHANNELS 6 Xposition Yposition "
      "Zposition Zrotation Xrotation Yrotation\n";
  const std::string text =
      Replaced(Hierarchy(),
               "JOINT LeftHip\n{\n OFFSET 1 0 0\n CHANNELS 3 Zrotation Xrotation Yrotation\n", six);
  const struct {
    const char *rootOffset, *numbers;
    bool rootHolds, hipHolds;
  } rows[] = {
      {"0 0 0", "1 0.1 0", false, true},
      {"0 0 0", "0.1 0 0", false, false},
      {"10 20 31", "0 0 0", true, false},
      {"0 20 0", "0 0 0", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rootOffset);
    const CaptureScene scene = Read(Replaced(text, "Hips\n{\n OFFSET 0 0 0",
                                             "Hips\n{\n OFFSET " + std::string(row.rootOffset)) +
                                    OneFrame(row.numbers, 0));
    EXPECT_EQ(scene.joints[kHipsJoint].positionsHoldOffset, row.rootHolds);
    EXPECT_EQ(scene.joints[kLeftHipJoint].positionsHoldOffset, row.hipHolds);
  }
}

TEST(ReadBvh, ScalesLengthsAndNotAngles) {
  BvhSettings settings;
  settings.scaleFactor = 2;
  const CaptureScene scene = Read(WithButtock("1 Zrotation") + OneFrame("90", 0), settings);
  EXPECT_EQ(scene.joints[kHipsJoint].positions.samples[0], (Point3{20, 40, 60}));
  EXPECT_LT(Length(ToPoint(PoseOfCapture(scene, 0).place[kLeftHipJoint]) - Point3{26, 42, 60}),
            1e-4f);
}

TEST(ReadBvh, RefusesWithFileLineAndCause) {
  const std::string good = Hierarchy() + Motion(2, kHierarchyColumns);
  const struct {
    const char* what;
    std::string text, message;
  } rows[] = {
      {"nothing", "", "take.bvh: the file is empty"},
      {"blanks", " \n\n ", "take.bvh:3: this is no .bvh file"},
      {"rubbish",
       std::string("\x7f"
                   "ELF\0\1\2\3",
                   8),
       "take.bvh:1: this is no .bvh file"},
      {"cut in the head", good.substr(0, good.find("Yposition")),
       "take.bvh:5: the file ends where"},
      {"no motion", Hierarchy(), "the file ends before the word MOTION"},
      {"a channel misspelt", Replaced(good, "6 Xposition", "6 Xpositon"),
       "take.bvh:5: \"Xpositon\" stands where the name of a channel should"},
      {"two billion channels", Replaced(good, "CHANNELS 6", "CHANNELS 2000000000"),
       "take.bvh:6: \"JOINT\" stands where the name of a channel should"},
      {"a negative count", Replaced(good, "CHANNELS 6", "CHANNELS -6"), "take.bvh:5: \"-6\""},
      {"End alone", Replaced(good, "End Site", "End Sight"),
       "\"Sight\" stands where the word Site"},
      {"an offset of no numbers", Replaced(good, "OFFSET 0 0 0", "OFFSET 0 nan 0"),
       "take.bvh:4: \"nan\" stands where a number of an OFFSET should"},
      {"a missing joint", Replaced(good, "JOINT LeftKnee", "JOINT LeftNee"),
       "these joints are missing: LeftKnee"},
      {"no frames", Replaced(good, "Frames:", "Cadres:"), "\"Cadres:\" stands where \"Frames:\""},
      {"a count in words", Replaced(good, "Frames: 2", "Frames: two"), "the number of frames"},
      {"no time", Replaced(good, "0.0333333", "0"), "the time of a frame"},
      {"two figures", Replaced(good, "JOINT Neck", "ROOT Neck"), "no second ROOT"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    CaptureScene scene;
    scene.numFrames = 7;
    CaptureReport report;
    EXPECT_EQ(ReadText(scene, row.text, report), 0);
    EXPECT_NE(report.message.find(row.message), std::string::npos) << report.message;
    EXPECT_EQ(report.message.find('\n'), std::string::npos);
    EXPECT_EQ(scene.numFrames, 0);
    EXPECT_TRUE(scene.jointOrder.empty());
  }
  CaptureReport report;
  CaptureScene scene;
  EXPECT_EQ(ReadBvh(scene, "/nowhere/take.bvh", {}, report), 0);
  EXPECT_EQ(report.message, "/nowhere/take.bvh: No such file or directory");
}

TEST(ReadBvh, KeepsTheWholeFramesBeforeDamage) {
  const std::string good = Hierarchy() + Motion(4, kHierarchyColumns);
  const struct {
    const char* what;
    std::string text;
    int frames;
    const char* note;
  } rows[] = {
      {"cut in a frame", good.substr(0, good.find(" 310 ") + 4), 3, "the file ends; 3 of 4"},
      {"two billion frames", Replaced(good, "Frames: 4", "Frames: 2000000000"), 4,
       "4 of 2000000000"},
      {"a number that is none", Replaced(good, " 120 ", " 12x "), 1, ":81: \"12x\" is no number"},
      {"NaN", Replaced(good, " 320 ", " nan "), 3, "\"nan\" is no number"},
      {"past any length", Replaced(good, " 220 ", " 1e30 "), 2, "\"1e30\""},
      {"more than it says", Replaced(good, "Frames: 4", "Frames: 3"), 3, "more follows the last"},
      {"none", Replaced(good, "Frames: 4", "Frames: 0"), 0, "more follows"},
  };
  const int motionLine = LineAt(good, good.find("MOTION"));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    CaptureScene scene;
    CaptureReport report;
    EXPECT_EQ(ReadText(scene, row.text, report), 1) << report.message;
    EXPECT_EQ(scene.numFrames, row.frames);
    EXPECT_EQ(scene.joints[kHeadJoint].rotations.Count(), row.frames);
    ASSERT_EQ(report.notes.size(), 1u);
    std::string note = row.note;
    if (note[0] == ':') note.replace(1, 2, std::to_string(motionLine + 4));
    EXPECT_NE(report.notes[0].find(note), std::string::npos) << report.notes[0];
  }
}

TEST(ReadBvh, ReadsOnPastWrongCountsAndTellsOfThem) {
  const std::string good = Hierarchy() + Motion(6, kHierarchyColumns);
  std::string inOneLine = good, broken = good;
  const std::size_t rows = good.find("\n0 1 ") + 1;
  std::replace(inOneLine.begin() + static_cast<std::ptrdiff_t>(rows), inOneLine.end(), '\n', ' ');
  for (int f = 0; f < 6; ++f) {
    const std::string number = " " + std::to_string(100 * f + 20) + " ";
    broken = Replaced(broken, number, "\n" + number);
  }
  const int line = LineAt(good, rows);
  const struct {
    const char* what;
    std::string text;
    int noteLine;  // 0 for none
  } cases[] = {
      {"good", good, 0},
      {"rows in one line", inOneLine, 0},
      {"rows broken alike", broken, 0},
      {"too few in the third row", Replaced(good, " 220 ", " "), line + 3},
      {"too many in the third row", Replaced(good, " 220 ", " 220 0 "), line + 2},
      {"too many in the first row", Replaced(good, " 20 ", " 20 0 "), line},
      {"a channel too many", Replaced(good, "CHANNELS 6", "CHANNELS 5"), 5},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.what);
    CaptureScene scene;
    CaptureReport report;
    EXPECT_EQ(ReadText(scene, row.text, report), 1) << report.message;
    ASSERT_EQ(report.notes.empty(), row.noteLine == 0);
    if (row.noteLine == 0) continue;
    const std::string place = ":" + std::to_string(row.noteLine) + ":";
    EXPECT_NE(report.notes[0].find(place), std::string::npos) << report.notes[0];
  }
}

TEST(ReadBvh, TakesNestsOfAMillionJoints) {
  std::string nest;
  for (int i = 0; i < 1000000; ++i) nest += "JOINT a { OFFSET 0 1 0 ";
  for (int i = 0; i < 1000000; ++i) nest += "} ";
  CaptureScene scene;
  CaptureReport report;
  EXPECT_EQ(ReadText(scene, Hierarchy(nest) + Motion(1, kHierarchyColumns), report), 1)
      << report.message;
  EXPECT_EQ(report.unknownNames.size(), kMostUnknownNames);
  EXPECT_EQ(report.notes.size(), 1u);
}

TEST(AnglesOfChannels, MakeTheTurnInEveryOrderWithoutJumps) {
  const int orders[][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (const auto& order : orders) {
    std::vector<CaptureChannel> channels;
    for (const int axis : order) {
      channels.push_back({CaptureChannel::kRotation, static_cast<unsigned char>(axis)});
    }
    Point3 before;
    for (int i = 0; i < 400; ++i) {
      // Through a full turn of every angle, and a middle one of 90 degrees where i is 90.
      const Point3 degrees = {static_cast<float>(i), static_cast<float>(i), static_cast<float>(i)};
      const Turn3 turn = TurnOfChannels(channels, degrees);
      const Point3 angles = AnglesOfChannels(channels, turn, before);
      const Turn3 back = TurnOfChannels(channels, angles);
      for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(back.m[r][c], turn.m[r][c], 1e-6) << i;
      }
      ASSERT_LT(Length(angles - before), 3.5f) << i;  // where it locks, one angle goes for two
      before = angles;
    }
  }
}

}  // namespace
}  // namespace strider
