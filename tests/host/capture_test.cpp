// A take through a figure's master: the motion, undo, refusals and what is told of them, and two
// sessions at the same time.
#include <thread>

#include "strider/core/evaluate.h"
#include "strider/storage/motion_file.h"
#include "tests/capture/take_fixture.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

struct MasterCapture : testing::Test {
  test::ScratchFolder scratch;
  Session session;
  StriderMaster& master = test::MakeMoving(session);
  std::vector<MessageId> told;
  std::string words;

  MasterCapture() {
    session.messages = [this](MessageId id, const std::string& text) {
      told.push_back(id);
      words = text;
    };
  }
  static std::string TextOf(const std::string& take) {
    std::string text, cause;
    EXPECT_TRUE(ReadWholeFile(test::TakePath(take), text, cause)) << cause;
    return text;
  }
  /// A shipped take, with `from` replaced wherever it stands.
  std::string Changed(const std::string& name, const std::string& take, const std::string& from,
                      const std::string& to) {
    std::string text = TextOf(take);
    for (std::size_t at = text.find(from); !from.empty() && at != std::string::npos;
         at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
    }
    std::ofstream(scratch.File(name), std::ios::binary) << text;
    return scratch.File(name);
  }
  std::string Chunk() {
    std::string chunk;
    EXPECT_TRUE(master.SaveToChunk(chunk));
    return chunk;
  }
};

constexpr const char* kWalk = "walk_cmu_02_01.bvh";

TEST_F(MasterCapture, BecomesTheMotionAsOneUndoStep) {
  const std::string before = Chunk();
  const std::string name = master.Core().name;
  ASSERT_EQ(master.LoadCapture(Changed("WALK.BVH", kWalk, "", ""), false), 1);
  EXPECT_TRUE(told.empty()) << words;
  const MotionCore& core = master.Core();
  EXPECT_EQ(core.name, name);
  EXPECT_FALSE(core.freeForm);
  EXPECT_GE(core.footsteps.numFootsteps, 4);
  // 344 frames at 120 a second are 86 of the scene, which has 30.
  EXPECT_EQ(core.body.vertical.TimeOf(core.body.vertical.track.numKeys - 1), 85 * 160);
  // The take's own unit: the thigh of its rest pose, at no scale.
  EXPECT_NEAR(core.leg[kRight].dimensions[0].x, 7.59f, 0.2f);
  const std::string loaded = Chunk();
  EXPECT_EQ(session.hold.UndoName(), "Load Capture");
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_EQ(Chunk(), before);
  ASSERT_TRUE(session.hold.Redo());
  EXPECT_EQ(Chunk(), loaded);
}

TEST_F(MasterCapture, TellsWhichFootstepsSlide) {
  session.mocap.SetFSConversionMode(kFsConvert);
  session.mocap.SetFSSlidingAngle(8);
  ASSERT_EQ(master.LoadCapture(test::TakePath(kWalk), true), 1);
  const auto marks = [&] {
    std::string text;
    for (int i = 0; i < master.Core().footsteps.numFootsteps; ++i) {
      text += master.IsFootstepSliding(i) ? 's' : '.';
    }
    return text;
  };
  EXPECT_TRUE(master.LastConversion().done);
  EXPECT_TRUE(master.LastConversion().messages.empty());
  std::string found;
  for (const ExtractedFootstep& footstep : master.LastConversion().extraction.footsteps) {
    found += footstep.sliding ? 's' : '.';
  }
  EXPECT_EQ(marks(), found);
  EXPECT_NE(found.find('s'), std::string::npos);
  EXPECT_NE(found.find('.'), std::string::npos);
  EXPECT_FALSE(master.IsFootstepSliding(-1) || master.IsFootstepSliding(100));
  // The marks stay with their footsteps where others go.
  ASSERT_TRUE(master.DeleteFootstep(0));
  EXPECT_EQ(marks(), found.substr(1));
  // A refused conversion leaves them.
  EXPECT_EQ(master.LoadCapture("no.bvh", true), 0);
  EXPECT_FALSE(master.LastConversion().done);
  ASSERT_EQ(master.LastConversion().messages.size(), 1u);
  EXPECT_NE(master.LastConversion().messages[0].find("no.bvh"), std::string::npos);
  EXPECT_TRUE(told.empty());
  EXPECT_EQ(marks(), found.substr(1));
}

TEST_F(MasterCapture, LeavesRangesFreeOfFootsteps) {
  session.mocap.SetStartFrame(1);
  // Every second frame keeps its key, so that the motion is the take's.
  for (int row = 0; row < kNumKeyReductionRows; ++row) session.mocap.SetKeyReductionFilter(row, 0);
  ASSERT_EQ(master.LoadCapture(test::TakePath(kWalk), false), 1);
  const MotionCore whole = master.Core();
  // Frames of the take from 30 to 50; time 0 is its frame 1.
  ASSERT_TRUE(session.mocap.SetFreeFormRanges({{31, 51}}));
  ASSERT_EQ(master.LoadCapture(test::TakePath(kWalk), false), 1);
  const MotionCore& core = master.Core();
  EXPECT_FALSE(core.freeForm);
  const FootstepTrack& track = core.footsteps;
  EXPECT_GT(track.numFootsteps, 0);
  int before = 0, after = 0;
  for (const auto& spans : track.spans) {
    for (const FootstepSpan& span : spans) {
      EXPECT_TRUE(span.Lift() <= 30 * 160 || span.start > 50 * 160) << span.start;
      (span.start < 30 * 160 ? before : after) += 1;
    }
  }
  EXPECT_GT(before, 0);
  EXPECT_GT(after, 0);
  MotionCore posed = core, take = whole;
  for (int frame = 31; frame < 50; ++frame) {
    EXPECT_TRUE(InFreeForm(track, frame * 160)) << frame;
    CorePose(posed, frame * 160, {});
    CorePose(take, frame * 160, {});
    EXPECT_LT(Length(posed.body.bodyPosition - take.body.bodyPosition), 0.02f) << frame;
    EXPECT_LT(Length(posed.head.frame.Origin() - take.head.frame.Origin()), 0.02f) << frame;
    for (int side = 0; side < 2; ++side) {
      const LimbRecord &a = posed.leg[side], &b = take.leg[side];
      // The footsteps of the whole motion hold its feet; here they go as the take's do.
      EXPECT_LT(Length(a.frame[2].Origin() - b.frame[2].Origin()), 0.03f * a.totalLength) << frame;
    }
  }
}

TEST_F(MasterCapture, GoesByTheSettingsAsTheyStand) {
  session.mocap.SetFSExtractionMode(kFsLeaveFree);
  session.mocap.SetScaleFactor(10);
  session.mocap.SetStartFrame(10);
  session.mocap.SetEndFrame(19);
  for (int row = 0; row < kNumKeyReductionRows; ++row) session.mocap.SetKeyReductionFilter(row, 0);
  session.scene.SetTicksPerFrame(80);
  ASSERT_EQ(master.LoadCapture(test::TakePath(kWalk), false), 1);
  const MotionCore& core = master.Core();
  EXPECT_TRUE(core.freeForm);
  EXPECT_EQ(core.ticksPerFrame, 80);
  EXPECT_EQ(core.body.turn.track.numKeys, 10);
  EXPECT_EQ(core.body.turn.TimeOf(9), 9 * 80);
  EXPECT_NEAR(core.leg[kRight].dimensions[0].x, 75.9f, 2);

  // What was made is taken anew from a file of its own, a part of it.
  const std::string saved = scratch.File("made.sdr");
  ASSERT_TRUE(master.SaveMotion(saved));
  const Point3 third = [&] {
    MotionCore posed = core;
    CorePose(posed, 3 * 80, {});
    return posed.leg[kLeft].frame[2].Origin();
  }();
  session.mocap.SetStartFrame(3);
  session.mocap.SetEndFrame(6);
  ASSERT_EQ(master.LoadCapture(saved, false), 1);
  EXPECT_EQ(core.body.turn.track.numKeys, 4);
  MotionCore posed = master.Core();
  CorePose(posed, 0, {});
  EXPECT_LT(Length(posed.leg[kLeft].frame[2].Origin() - third), 0.1f);
}

TEST_F(MasterCapture, ReadsMarkersByTheirNames) {
  ASSERT_TRUE(session.mocap.LoadMarkerNameFile(test::TakePath("heel.mnm")));
  session.mocap.SetScaleFactor(0.1f);  // from millimetres
  ASSERT_EQ(master.LoadCapture(test::TakePath("walk_cmu_06_01.mkr"), false), 1);
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told.front(), MessageId::kUnknownNames);
  const MotionCore& core = master.Core();
  EXPECT_EQ(core.footsteps.numFootsteps, 8);
  const float leg = core.leg[kRight].totalLength;
  EXPECT_TRUE(leg > 70 && leg < 100) << leg;
  for (const Point3& place : core.footsteps.position) EXPECT_LT(std::abs(place.y), 0.1f * leg);
}

TEST_F(MasterCapture, RefusesAndChangesNothing) {
  const std::string before = Chunk();
  const struct {
    std::string path;
    int status;
    MessageId id;
    const char* words;
  } rows[] = {
      {scratch.File("none.bvh"), 0, MessageId::kFileNotRead, "No such file"},
      {scratch.File("take.c3d"), 0, MessageId::kFileNotRead, "takes end in .bvh"},
      {Changed("channel.bvh", kWalk, "Yrotation", "Yrot"), 0, MessageId::kFileNotRead, "line 5: "},
      {Changed("joint.bvh", kWalk, "JOINT Neck", "JOINT Nape"), 0, MessageId::kNamesMissing,
       "needs Neck."},
      {Changed("short.bvh", kWalk, "Frames: 344", "Frames: 0"), 0, MessageId::kFileNotTaken,
       "no frames"},
      {Changed("knee.mkr", "walk_cmu_06_01.mkr", "LKNE", "KNEE"), -1, MessageId::kNamesMissing,
       "needs LKNE."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    told.clear();
    EXPECT_EQ(master.LoadCapture(row.path, false), row.status);
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), row.id);
    EXPECT_NE(words.find(row.words), std::string::npos) << words;
    told.clear();
    EXPECT_EQ(master.LoadCapture(row.path, true), row.status);
    EXPECT_TRUE(told.empty());
  }
  const std::string made = scratch.File("made.sdr");
  ASSERT_TRUE(master.SaveMotion(made));
  session.mocap.SetTalentPoseAdjFile(made);
  session.mocap.SetUseTalentPoseAdjFile(1);
  EXPECT_EQ(master.LoadCapture(made, false), 0);
  EXPECT_NE(words.find("a pose of the talent goes with a take"), std::string::npos) << words;
  session.mocap.SetUseTalentPoseAdjFile(0);
  session.mocap.SetTalentFigStrucFile("no.fig");
  session.mocap.SetUseTalentFigStrucFile(1);
  EXPECT_EQ(master.LoadCapture(test::TakePath(kWalk), false), 0);
  EXPECT_NE(words.find("no.fig: "), std::string::npos) << words;
  EXPECT_EQ(Chunk(), before);
  EXPECT_EQ(session.hold.UndoName(), "");
}

TEST_F(MasterCapture, TellsUnknownNamesOnceAndDamageBehindTheFirstFrames) {
  const std::string path = Changed("tips.bvh", kWalk, "Toe", "Tip");
  ASSERT_EQ(master.LoadCapture(path, false), 1);
  EXPECT_EQ(told, std::vector<MessageId>{MessageId::kUnknownNames});
  EXPECT_TRUE(words.ends_with(":\nLeftTip, RightTip\n")) << words;
  told.clear();
  ASSERT_EQ(master.LoadCapture(Changed("cut.bvh", kWalk, "Frames: 344", "Frames: 400"), false), 1);
  EXPECT_EQ(told, std::vector<MessageId>{MessageId::kFilePartlyTaken});
  EXPECT_NE(words.find("344 of 400 frames"), std::string::npos) << words;
}

TEST(MasterCaptures, OfTwoSessionsAtOnceAreThoseOfOne) {
  const auto load = [](std::string& chunk) {
    Session session;
    StriderMaster& master = test::MakeStrider(session);
    if (master.LoadCapture(test::TakePath(kWalk), true) == 1) (void)master.SaveToChunk(chunk);
  };
  std::string alone, one, other;
  load(alone);
  ASSERT_FALSE(alone.empty());
  std::thread second([&] { load(other); });
  load(one);
  second.join();
  EXPECT_TRUE(one == alone && other == alone);
}

}  // namespace
}  // namespace strider
