#include "strider/storage/motion_stream.h"

#include <cstring>

#include "tests/storage/storage_fixture.h"

namespace strider {
namespace {

using test::Back;
using test::Played;
using test::Random;

class Forms : public ::testing::TestWithParam<StreamForm> {};
INSTANTIATE_TEST_SUITE_P(Carriers, Forms,
                         ::testing::Values(StreamForm::kBinary, StreamForm::kText,
                                           StreamForm::kChunk));

/// Biases are the one part of a structure that text rounds.
Structure WithBiasesOf(Structure structure, const Structure& other) {
  for (int i = 0; i < kNumTwistParts; ++i) {
    EXPECT_NEAR(structure.twistBias[i], other.twistBias[i], 1e-6f);
    structure.twistBias[i] = other.twistBias[i];
  }
  return structure;
}

TEST_P(Forms, AMotionComesBackAsItWas) {
  const StreamForm form = GetParam();
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const MotionCore motion = test::RandomMotion(seed);
    const std::string first = WriteMotionStream({&motion}, form);
    StreamContents contents = Back(first, form);
    ASSERT_EQ(contents.motions.size(), 1u);
    const MotionCore& once = contents.Base();
    for (const KeyTrack* track : {&once.leg[0].table.track, &once.tail.table.track,
                                  &once.head.table.track, &once.body.vertical.track}) {
      EXPECT_TRUE(CheckTrack(*track));
    }
    EXPECT_EQ(WithBiasesOf(once.structure, motion.structure), motion.structure);
    ASSERT_EQ(once.footsteps.numFootsteps, motion.footsteps.numFootsteps);
    for (std::size_t i = 0; i < once.footsteps.position.size(); ++i) {
      const float apart = test::Distance(once.footsteps.position[i], motion.footsteps.position[i]);
      EXPECT_LE(apart, form == StreamForm::kText ? 2e-6f : 0) << i;
    }

    // What has been through the stream goes through it unchanged.
    const std::string second = WriteMotionStream({&once}, form);
    StreamContents again = Back(second, form);
    EXPECT_TRUE(second == WriteMotionStream({&again.Base()}, form));
    EXPECT_TRUE(form == StreamForm::kText || first == second);
    EXPECT_TRUE(Played(once) == Played(again.Base()));

    const std::vector<Matrix3> before = Played(motion), after = Played(once);
    ASSERT_EQ(before.size(), after.size());
    if (form == StreamForm::kText) continue;
    float furthest = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
      furthest = std::max(furthest, test::Distance(before[i].Origin(), after[i].Origin()));
    }
    EXPECT_LT(furthest, 1e-5f * motion.structure.height);
  }
}

TEST(MotionStream, TextKeepsSixDecimals) {
  // A stated slerp mixes ends linearly that are close and goes by the arc from there on; a sixth
  // decimal can take a span over that edge, which is worth 3e-5 of a turn.
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const MotionCore motion = test::RandomMotion(seed);
    if (motion.freeForm) continue;  // random poses stand where a limb may flip over
    StreamContents contents =
        Back(WriteMotionStream({&motion}, StreamForm::kText), StreamForm::kText);
    const std::vector<Matrix3> before = Played(motion), after = Played(contents.Base());
    ASSERT_EQ(before.size(), after.size());
    float furthest = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
      furthest = std::max(furthest, test::Distance(before[i].Origin(), after[i].Origin()));
    }
    EXPECT_LT(furthest, 1e-4f * motion.structure.height + 1e-5f);
  }
}

TEST(MotionStream, BeginsWithItsVersion) {
  const MotionCore motion = test::RandomMotion(1);
  const std::string binary = WriteMotionStream({&motion}, StreamForm::kBinary);
  EXPECT_EQ(binary.substr(0, 8), std::string("\x90\x01\x36\0\0\0\xcd\0", 8));
  EXPECT_EQ(Stream::FormOf(binary), StreamForm::kBinary);
  const std::string text = WriteMotionStream({&motion}, StreamForm::kText);
  EXPECT_EQ(text.substr(0, 25), "VERSION\r\n54\r\n205\r\n1\r\nSTEP");
  EXPECT_EQ(Stream::FormOf(text), StreamForm::kText);
}

TEST(MotionStream, FootstepsInTextReadAsTheyAreMeant) {
  MotionCore core = test::MakeFigure();
  ASSERT_TRUE(
      PlaceFootsteps(core, std::vector<NewFootstep>{{kLeft, 0, 800, {1, 2, -3}, 0}}).Done());
  const std::string text = WriteFootstepStream(core);
  const std::string wanted =
      "VERSION\r\n54\r\nSTEPS\r\n1\r\n"
      "1.000000\r\n0.000000\r\n0.000000\r\n-0.000000\r\n1.000000\r\n0.000000\r\n"
      "0.000000\r\n0.000000\r\n1.000000\r\n1.000000\r\n3.000000\r\n2.000000\r\n"
      "SCOREW\r\nRLEG\r\n0\r\nLLEG\r\n1\r\nstep0\r\n0\r\n800\r\n0\r\nSCALE\r\n";
  EXPECT_EQ(text.substr(0, wanted.size()), wanted);
  StreamContents contents = Back(text, StreamForm::kText);
  EXPECT_EQ(contents.kind, FileKind::kFootsteps);
  EXPECT_EQ(contents.Base().footsteps.position[0], (Point3{1, 2, -3}));
  EXPECT_EQ(contents.Base().footsteps.side[0], kLeft);
}

TEST(MotionStream, LayersAndNotesComeBack) {
  const MotionCore base = test::RandomMotion(7);
  MotionCore layer = base;
  layer.layerName = "Wave";
  layer.layerActive = false;
  layer.limbRetarget[2] = true;
  HeaderInfo info;
  info.names = {"walk", "\xe6\xad\xa9"};
  info.maps = {{{1, 2, 3}, "skin"}};
  info.images = {std::string("\0\1\2\n\xff", 5)};
  const LimbAttachment attachments[4] = {{-1, -1}, {1, 3}, {-1, -1}, {-1, -1}};
  WriteOptions options;
  options.headerInfo = &info;
  options.attachments = attachments;
  for (const StreamForm form : {StreamForm::kBinary, StreamForm::kText}) {
    StreamContents contents = Back(WriteMotionStream({&base, &layer}, form, options), form);
    ASSERT_EQ(contents.motions.size(), 2u);
    const MotionCore& top = contents.Top();
    EXPECT_EQ(top.layerName, "Wave");
    EXPECT_FALSE(top.layerActive);
    EXPECT_TRUE(top.limbRetarget[2]);
    EXPECT_EQ(top.layerNumber, 1);
    EXPECT_EQ(top.footsteps.numFootsteps, 0) << "only the base has footsteps";
    EXPECT_TRUE(top.freeForm);
    EXPECT_EQ(contents.headerInfo, info);
    EXPECT_EQ(contents.attachments[1], attachments[1]);
  }
}

TEST(MotionStream, ASnapshotKeepsThePose) {
  MotionCore motion = test::MakeFigure(test::FullStructure());
  Random random(3);
  test::BendFigure(motion, random);
  CoreForwardKinematics(motion);
  WriteOptions options;
  options.snapshot = true;
  StreamContents contents =
      Back(WriteMotionStream({&motion}, StreamForm::kChunk, options), StreamForm::kChunk);
  ASSERT_TRUE(contents.hasPose);
  EXPECT_EQ(contents.Top().spine.pose[2], motion.spine.pose[2]);
  EXPECT_EQ(contents.Top().leg[0].pose.limbRotation, motion.leg[0].pose.limbRotation);
  EXPECT_TRUE(test::AllTransforms(contents.Top()) == test::AllTransforms(motion));
}

TEST(MotionStream, FiguresComeBackWithTheirStanceAndTwistPoses) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    MotionCore figure = test::RandomMotion(seed);
    figure.armTwistPoses[0].name = "Sch\xc3\xb6n";
    figure.legTwistPoses[1].twist = 33;
    for (const StreamForm form : {StreamForm::kText, StreamForm::kBinary}) {
      StreamContents contents = Back(WriteFigureStream(figure, form), form);
      ASSERT_EQ(contents.kind, FileKind::kFigure);
      MotionCore& back = contents.Base();
      EXPECT_EQ(WithBiasesOf(back.structure, figure.structure), figure.structure);
      EXPECT_EQ(back.armTwistPoses[0].name, figure.armTwistPoses[0].name);
      EXPECT_EQ(back.legTwistPoses[1].twist, 33);
      const std::string again = WriteFigureStream(back, form);
      EXPECT_TRUE(again == WriteFigureStream(Back(again, form).Base(), form));
      ReadOptions noTwists;
      noTwists.twists = false;
      EXPECT_EQ(Back(WriteFigureStream(figure, form), form, noTwists).Base().armTwistPoses,
                DefaultArmTwistPoses());
    }
  }
}

// --- Older files -------------------------------------------------------------------------------

TEST(MotionStream, OlderVersionsLoadByTheirGates) {
  for (const int version :
       {3, 7, 8, 12, 13, 14, 17, 20, 22, 24, 28, 31, 32, 33, 39, 41, 44, 45, 47, 48, 52, 53}) {
    SCOPED_TRACE(version);
    MotionCore motion = test::MakeFigure();
    std::vector<NewFootstep> plan;
    for (int i = 0; i < 6; ++i) {
      plan.push_back({i % 2, 2400 * i, 2880, {30.0f * static_cast<float>(i), 0, 4}, 0});
    }
    ASSERT_TRUE(PlaceFootsteps(motion, plan).Done());
    ASSERT_EQ(NewFootprintKeys(motion, {}), ActivationResult::kDone);
    MotionCore before = motion;
    CorePose(before, 6000, {});
    WriteOptions options;
    options.version = version;
    if (version < 8) {
      // Such files count frames.
      for (auto& spans : motion.footsteps.spans) {
        for (FootstepSpan& span : spans) {
          span.start /= kDynamicsFrame;
          span.duration /= kDynamicsFrame;
        }
      }
      ForEachTable(motion, [](int, auto& table) {
        for (KeyTimeRecord& record : table.track.times) record.time /= kDynamicsFrame;
      });
    }
    for (const StreamForm form : {StreamForm::kBinary, StreamForm::kText, StreamForm::kChunk}) {
      StreamContents contents = Back(WriteMotionStream({&motion}, form, options), form);
      ASSERT_EQ(contents.motions.size(), 1u);
      EXPECT_EQ(contents.version, version);
      EXPECT_EQ(contents.hasFigure, version >= 21);
      const MotionCore& back = contents.Base();
      ASSERT_EQ(back.footsteps.numFootsteps, 6);
      EXPECT_EQ(SpanOf(back.footsteps, 3)->start, 7200);
      EXPECT_EQ(back.leg[0].table.track.numKeys, motion.leg[0].table.track.numKeys);
      EXPECT_NEAR(back.body.gravAccel, motion.body.gravAccel, 1e-4f);
      const VerticalKey &was = motion.body.vertical[2], &is = back.body.vertical[2];
      EXPECT_NEAR(is.height, was.height, 0.05f);
      EXPECT_EQ(is.dynamicsBlend, 1);
      // A walk through the gates of its time is still that walk.
      MotionCore posed = back;
      CorePose(posed, 6000, {});
      EXPECT_TRUE(test::AllFinite(test::AllTransforms(posed)));
      EXPECT_LT(test::Distance(posed.body.bodyPosition, before.body.bodyPosition), 0.1f);
    }
  }
}

TEST(MotionStream, OldRecordsHaveFewerFields) {
  // Bytes from one end of a tag's record to the other, by hand.
  const MotionCore motion = test::RandomMotion(1);
  const auto sizeOf = [&motion](int version) {
    WriteOptions options;
    options.version = version;
    return static_cast<int>(WriteMotionStream({&motion}, StreamForm::kBinary, options).size());
  };
  const int vertical = motion.body.vertical.track.numKeys;
  EXPECT_EQ(sizeOf(22) - sizeOf(21), 2 * 4 * vertical) << "the height in leg lengths";
  EXPECT_EQ(sizeOf(11) - sizeOf(10), 2 * 4 * vertical) << "the blend";
  EXPECT_EQ(sizeOf(34) - sizeOf(33), (4 + 3 - 1) * 4 * (motion.pelvis.table.track.numKeys + 1))
      << "a pelvis that only rocked";
  EXPECT_EQ(sizeOf(20) - sizeOf(19), 4) << "the ankle's measure";
  EXPECT_EQ(sizeOf(15) - sizeOf(14), 6) << "the count of motions";
  EXPECT_EQ(sizeOf(42) - sizeOf(41), 3 * 4) << "the limbs' flags for an idle one";
}

// --- What is refused ---------------------------------------------------------------------------

std::string CauseOf(const std::string& bytes) {
  StreamContents contents;
  std::string cause;
  EXPECT_FALSE(ReadStream(bytes, Stream::FormOf(bytes), {}, contents, cause));
  return cause;
}

TEST(MotionStream, RefusesWhatIsNoMotionAndSaysWhere) {
  EXPECT_NE(CauseOf("").find("version"), std::string::npos);
  EXPECT_NE(CauseOf("hello\r\n").find("line 1"), std::string::npos);
  EXPECT_NE(CauseOf("VERSION\r\n55\r\n").find("newer"), std::string::npos);
  EXPECT_NE(CauseOf("VERSION\r\n54\r\n").find("ends"), std::string::npos);
  EXPECT_NE(CauseOf("VERSION\r\n54\r\nSTEPS\r\n2000000000\r\n").find("line 4, tag 200"),
            std::string::npos);
  EXPECT_NE(CauseOf("VERSION\r\n54\r\n205\r\n400\r\n").find("400 motions"), std::string::npos);
  EXPECT_NE(CauseOf("VERSION\r\n54\r\nSTEPS\r\n0\r\n999\r\n").find("no place"), std::string::npos);
  EXPECT_NE(
      CauseOf("VERSION\r\n54\r\nSTEPS\r\n1\r\nnan\r\n" + std::string(24, '\n')).find("line 5"),
      std::string::npos);
}

TEST(MotionStream, EveryShortenedFileIsRefused) {
  const MotionCore motion = test::RandomMotion(2);
  const std::string whole = WriteMotionStream({&motion}, StreamForm::kBinary);
  Random random(5);
  for (int i = 0; i < 400; ++i) {
    const auto size = static_cast<std::size_t>(random.Int(0, static_cast<int>(whole.size()) - 1));
    StreamContents contents;
    std::string cause;
    const bool read = ReadStream(whole.substr(0, size), StreamForm::kBinary, {}, contents, cause);
    // A cut after the footsteps leaves a footstep file.
    EXPECT_TRUE(!read || contents.kind == FileKind::kFootsteps) << size;
  }
}

TEST(MotionStream, FootstepsThatContradictEachOtherAreRefused) {
  MotionCore core = test::MakeFigure();
  ASSERT_TRUE(PlaceFootsteps(
                  core, std::vector<NewFootstep>{{kRight, 0, 800, {}, 0}, {kLeft, 400, 800, {}, 0}})
                  .Done());
  const struct {
    const char* cause;
    void (*break_)(FootstepTrack&);
  } rows[] = {
      {"footstep 2 has no duration", [](FootstepTrack& t) { t.spans[1][0].duration = 0; }},
      {"a span of footstep 8", [](FootstepTrack& t) { t.spans[1][0].footstep = 7; }},
      {"footstep 1 has 2 spans", [](FootstepTrack& t) { t.spans[1][0].footstep = 0; }},
      {"footstep 2 starts before", [](FootstepTrack& t) { t.spans[1][0].start = -400; }},
  };
  for (const auto& row : rows) {
    MotionCore bad = core;
    row.break_(bad.footsteps);
    EXPECT_NE(CauseOf(WriteFootstepStream(bad)).find(row.cause), std::string::npos) << row.cause;
  }
  // One that lasts past the limit of time loads without its footsteps.
  core.footsteps.spans[1][0].duration = kFootstepTimeLimit;
  EXPECT_EQ(Back(WriteFootstepStream(core), StreamForm::kText).Base().footsteps.numFootsteps, 0);
}

TEST(MotionStream, ObjectsOfASceneAreNamedAndPassedOver) {
  const MotionCore motion = test::RandomMotion(4);
  std::string bytes = WriteMotionStream({&motion}, StreamForm::kBinary);
  bytes += std::string("\x50\x01junk", 6);
  EXPECT_NE(Back(bytes, StreamForm::kBinary).warning.find("336"), std::string::npos);
}

TEST(MotionStream, DamagedFilesNeverDoHarm) {
  const MotionCore motion = test::RandomMotion(11);
  for (const StreamForm form : {StreamForm::kBinary, StreamForm::kText}) {
    const std::string whole = WriteMotionStream({&motion}, form);
    Random random(9);
    for (int i = 0; i < 300; ++i) {
      std::string bytes = whole;
      const int changes = random.Int(1, 4);
      for (int k = 0; k < changes; ++k) {
        const auto at = static_cast<std::size_t>(random.Int(0, static_cast<int>(whole.size()) - 1));
        bytes[at] = static_cast<char>(random.Int(0, 255));
      }
      StreamContents contents;
      std::string cause;
      if (!ReadStream(bytes, form, {}, contents, cause)) {
        EXPECT_FALSE(cause.empty());
        continue;
      }
      for (const auto& core : contents.motions) {
        EXPECT_TRUE(CheckFootsteps(core->footsteps));
        CorePose(*core, 1000, {});
      }
    }
  }
}

}  // namespace
}  // namespace strider
