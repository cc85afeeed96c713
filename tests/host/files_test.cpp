// A figure and its files: undo of loads, refusals, layers, what limbs follow, the host's chunk.
#include <functional>

#include "strider/core/limb_keys.h"
#include "strider/core/restructure.h"
#include "tests/exchange/scratch_folder.h"
#include "tests/host/master_fixture.h"
#include "tests/storage/storage_fixture.h"

namespace strider {
namespace {

using test::Played;

struct MasterFiles : ::testing::Test {
  test::ScratchFolder scratch;
  Session session;
  std::vector<MessageId> told;
  std::string words;

  MasterFiles() { Listen(session); }
  void Listen(Session& to) {
    to.messages = [this](MessageId id, const std::string& text) {
      told.push_back(id);
      words = text;
    };
  }
  std::string Path(const char* name) { return scratch.File(name); }
  std::string Write(const char* name, const std::string& bytes) {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }
  /// A walk saved for a figure of its own.
  static MotionCore Walk(float height = 80) {
    Structure structure;
    structure.height = height;
    MotionCore core = test::MakeFigure(structure);
    GaitSettings gaits(core.ticksPerFrame);
    MultFprintParams params = gaits.params[0];
    params.numFootsteps = 8;
    SetActuals(params, MeasuresOf(core));
    EXPECT_TRUE(PlaceMultiple(core, gaits, params, 0).Done());
    EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
    return core;
  }
  /// Base and a layer of another name and other keys on the same figure.
  static std::string LayeredBytes(unsigned seed) {
    const MotionCore base = test::RandomMotion(seed);
    MotionCore layer = FigureOf(base);
    test::Random random(seed + 100);
    test::KeyAllTracks(layer, random, {0, 700, 2000});
    layer.layerName = "Wave";
    layer.layerActive = seed % 2 == 0;
    return WriteMotionStream({&base, &layer}, StreamForm::kBinary);
  }
};

void ExpectNodesOfTheFigure(Session& session, const StriderMaster& master) {
  const std::vector<NodeInfo> tree = BuildNodeTree(master.Core());
  for (const NodeInfo& info : tree) {
    EXPECT_TRUE(session.scene.Exists(master.GetNode(info.id, info.link))) << info.name;
  }
  EXPECT_EQ(session.scene.Nodes().size(), tree.size());
}

/// All that a load may change, but for the layers' keys.
struct Seen {
  std::vector<Matrix3> played;
  std::string chunk;
  std::vector<std::string> layers;
  NodeHandle target;
  friend bool operator==(const Seen&, const Seen&) = default;
};
Seen Look(StriderMaster& master) {
  Seen seen{Played(master.Core()), {}, {}, master.GetIkTarget(kLeftArm)};
  EXPECT_TRUE(master.SaveToChunk(seen.chunk));
  for (int i = 0; i <= master.NumLayers(); ++i) seen.layers.push_back(master.GetLayerName(i));
  return seen;
}

TEST_F(MasterFiles, EveryLoadIsOneStepOfUndo) {
  std::string cause;
  MotionCore other = test::MakeFigure(test::FullStructure());
  other.armTwistPoses.pop_back();
  const MotionCore walk = Walk(160);
  Write("layers.sdr", LayeredBytes(3));
  ASSERT_TRUE(SaveMotion(Path("walk.sdr"), {&walk}, {}, cause));
  ASSERT_TRUE(SaveFootsteps(Path("walk.stp"), walk, cause));
  ASSERT_TRUE(SaveFigure(Path("full.fig"), other, cause));
  LoadOptions onto;
  onto.matchFileStruct = false;
  std::string chunk;
  ASSERT_TRUE(test::MakeMoving(session, test::FullStructure(), 5).SaveToChunk(chunk));
  ASSERT_TRUE(session.Remove(session.Striders()[0].get()));

  const struct {
    const char* step;
    std::function<bool(StriderMaster&)> load;
    bool takesStructure;
  } loads[] = {
      {"Load Motion", [&](auto& m) { return m.LoadMotion(Path("layers.sdr")); }, true},
      {"Load Motion", [&](auto& m) { return m.LoadMotion(Path("walk.sdr"), onto); }, false},
      {"Load Motion", [&](auto& m) { return m.LoadMotion(Path("walk.stp")); }, false},
      {"Load Footsteps", [&](auto& m) { return m.LoadFootsteps(Path("walk.stp")); }, false},
      {"Load Layer", [&](auto& m) { return m.LoadMotionLayer(Path("walk.sdr")); }, false},
      {"Load Figure", [&](auto& m) { return m.LoadFigure(Path("full.fig")); }, true},
      {"Load Figure", [&](auto& m) { return m.LoadFigNoTwists(Path("full.fig")); }, true},
      {"Load Twist Poses", [&](auto& m) { return m.LoadFigJustTwists(Path("full.fig")); }, false},
      {"Load Figure from Scene", [&](auto& m) { return m.LoadFromChunk(chunk); }, true},
  };
  session.adaptLocks.horz = true;
  for (const bool figureMode : {false, true}) {
    for (const auto& row : loads) {
      SCOPED_TRACE(row.step);
      StriderMaster& master = test::MakeMoving(session);
      if (figureMode) master.BeginModes(kFigureMode, false);
      ASSERT_TRUE(master.SetIkTarget(kLeftArm, master.GetNode(kHead, 0)));
      const Structure own = master.Core().structure;
      const Seen before = Look(master);
      ASSERT_TRUE(row.load(master)) << words;
      EXPECT_EQ(session.hold.UndoName(), row.step);
      EXPECT_EQ(master.Core().structure != own, row.takesStructure);
      EXPECT_EQ(master.Core().figureMode, figureMode);
      EXPECT_EQ(master.Core().name, "Strider01");
      ExpectNodesOfTheFigure(session, master);
      EXPECT_TRUE(test::AllFinite(test::Shown(session, master, 900)));
      const Seen after = Look(master);
      EXPECT_NE(after, before);
      ASSERT_TRUE(session.hold.Undo());
      ExpectNodesOfTheFigure(session, master);
      EXPECT_EQ(Look(master), before);
      ASSERT_TRUE(session.hold.Redo());
      ExpectNodesOfTheFigure(session, master);
      EXPECT_EQ(Look(master), after);
      ASSERT_TRUE(session.Remove(&master));
    }
  }
  EXPECT_TRUE(session.adaptLocks.horz);
  EXPECT_TRUE(told.empty()) << words;
}

TEST_F(MasterFiles, ARefusalLeavesAllAsItWas) {
  std::string cause;
  const MotionCore walk = Walk();
  const std::string bytes = WriteMotionStream({&walk}, StreamForm::kBinary);
  Write("layers.sdr", LayeredBytes(3));
  Write("newer.sdr", "VERSION\r\n55\r\n");
  Write("half.sdr", bytes.substr(0, bytes.size() / 2));
  Write("notes.sdr", "milk, eggs");
  Write("empty.sdr", "");
  Write("walk.sdr", bytes);
  ASSERT_TRUE(SaveFigure(Path("walk.fig"), walk, cause));
  const struct {
    const char* file;
    std::function<bool(StriderMaster&, const std::string&)> act;
    MessageId message;
    const char* place;
  } rows[] = {
      {"none.sdr", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileNotOpened, ""},
      {"newer.sdr", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileTooNew,
       "line 2, tag 400"},
      {"newer.sdr", [](auto& m, auto& p) { return m.LoadFigure(p); }, MessageId::kFileTooNew,
       "line 2, tag 400"},
      {"half.sdr", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileNotRead,
       ", tag 3"},
      {"notes.sdr", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileNotRead,
       "line 1"},
      {"empty.sdr", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileNotRead, ""},
      {"walk.fig", [](auto& m, auto& p) { return m.LoadMotion(p); }, MessageId::kFileOfOtherKind,
       ""},
      {"walk.sdr", [](auto& m, auto& p) { return m.LoadFootsteps(p); }, MessageId::kFileOfOtherKind,
       ""},
      {"walk.sdr", [](auto& m, auto& p) { return m.LoadFigJustTwists(p); },
       MessageId::kFileOfOtherKind, ""},
      {"layers.sdr", [](auto& m, auto& p) { return m.LoadMotionLayer(p); },
       MessageId::kFileOfManyMotions, "2 motions"},
      {"none/w.sdr", [](auto& m, auto& p) { return m.SaveMotion(p); }, MessageId::kFileNotSaved,
       ""},
      {"part.sdr",
       [](auto& m, auto& p) { return m.SaveMotionSegment(p, 90000, 90160, false, nullptr); },
       MessageId::kFileNotSaved, "between"},
      {"no.stp", [](auto& m, auto& p) { return m.SaveFootsteps(p); }, MessageId::kFileNotSaved,
       "footsteps"},
  };
  StriderMaster& master = test::MakeMoving(session);
  const Seen before = Look(master);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    told.clear();
    EXPECT_FALSE(row.act(master, Path(row.file)));
    EXPECT_EQ(told, std::vector{row.message});
    EXPECT_NE(words.find(Path(row.file)), std::string::npos) << words;
    EXPECT_NE(words.find(row.place), std::string::npos) << words;
    EXPECT_EQ(Look(master), before);
    EXPECT_EQ(session.hold.UndoName(), "");
  }
  told.clear();
  EXPECT_FALSE(master.LoadFromChunk(before.chunk.substr(0, before.chunk.size() - 9)));
  EXPECT_EQ(told, std::vector{MessageId::kFileNotRead});
  EXPECT_EQ(Look(master), before);
}

TEST_F(MasterFiles, AnOldVersionIsToldWhereTheUserWants) {
  const MotionCore walk = Walk();
  WriteOptions old;
  old.version = 53;
  Write("old.sdr", WriteMotionStream({&walk}, StreamForm::kBinary, old));
  StriderMaster& master = test::MakeMoving(session);
  for (const int show : {0, 1}) {
    session.preferences.showObsoleteFileMsg = show;
    ASSERT_TRUE(master.LoadMotion(Path("old.sdr")));
    EXPECT_EQ(told.size(), static_cast<std::size_t>(show));
  }
  EXPECT_EQ(told, std::vector{MessageId::kFileOfOldVersion});
  EXPECT_NE(words.find("version 53"), std::string::npos) << words;
}

TEST_F(MasterFiles, LayersAreKeptAndFollowTheFigure) {
  StriderMaster& master = test::MakeMoving(session);
  for (const unsigned seed : {2u, 3u, 4u}) {
    SCOPED_TRACE(seed);
    const std::string bytes = LayeredBytes(seed);
    const StreamContents first = test::Back(bytes, StreamForm::kBinary);
    ASSERT_TRUE(master.LoadMotion(Write("a.sdr", bytes))) << words;
    ASSERT_EQ(master.NumLayers(), 1);
    EXPECT_EQ(master.GetLayerName(1), "Wave");
    EXPECT_EQ(master.GetLayerName(2), "");
    EXPECT_EQ(master.GetLayerActive(1), seed % 2 == 0);
    EXPECT_EQ(Played(master.Core()), Played(*first.motions[0]));
    ASSERT_TRUE(master.SaveMotion(Path("b.sdr")));
    EXPECT_EQ(
        test::ReadFile(Path("b.sdr")),
        WriteMotionStream({first.motions[0].get(), first.motions[1].get()}, StreamForm::kBinary));
    // On another figure, and with one more, they still make a whole file.
    ASSERT_TRUE(master.SetFigure(test::MakeFigure(test::FullStructure())));
    const MotionCore walk = Walk();
    ASSERT_TRUE(
        master.LoadMotionLayer(Write("one.sdr", WriteMotionStream({&walk}, StreamForm::kBinary))));
    EXPECT_EQ(master.NumLayers(), 2);
    ASSERT_TRUE(master.SaveMotion(Path("c.sdr")));
    StriderMaster& copy = test::MakeStrider(session);
    ASSERT_TRUE(copy.LoadMotion(Path("c.sdr"))) << words;
    EXPECT_EQ(copy.Core().structure, test::FullStructure());
    EXPECT_EQ(copy.NumLayers(), 2);
    EXPECT_EQ(copy.GetLayerName(1), "Wave");
    EXPECT_EQ(Played(copy.Core()), Played(master.Core()));
    ASSERT_TRUE(session.Remove(&copy));
  }
  ASSERT_TRUE(master.SaveMotionSegment(Path("part.sdr"), 160, 1600, true, nullptr)) << words;
  const StreamContents part = test::Back(test::ReadFile(Path("part.sdr")), StreamForm::kBinary);
  EXPECT_EQ(part.motions.size(), 3u);
}

TEST_F(MasterFiles, AChunkBringsTheFigureBackToTheBit) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    StriderMaster& master = test::MakeStrider(session);
    ASSERT_TRUE(master.LoadMotion(Write("a.sdr", LayeredBytes(seed)))) << words;
    if (seed % 2 == 0) {
      ASSERT_TRUE(master.SetIkTarget(kRightLeg, master.GetNode(kHead, 0)));
    }
    std::string chunk;
    ASSERT_TRUE(master.SaveToChunk(chunk));
    Session other;
    StriderMaster& copy = test::MakeStrider(other);
    ASSERT_TRUE(copy.LoadFromChunk(chunk));
    EXPECT_EQ(copy.NumLayers(), 1);
    EXPECT_EQ(test::ShownAtAllTimes(other, copy), test::ShownAtAllTimes(session, master));
    ASSERT_TRUE(master.SaveMotion(Path("a.sdr")) && copy.SaveMotion(Path("b.sdr")));
    EXPECT_TRUE(test::ReadFile(Path("a.sdr")) == test::ReadFile(Path("b.sdr")));
    ASSERT_TRUE(session.Remove(&master));
  }
}

TEST_F(MasterFiles, LimbsFollowWhatTheFileNames) {
  StriderMaster& master = test::MakeMoving(session);
  const NodeHandle ball = session.scene.AddNode("Ball");
  ASSERT_TRUE(session.scene.SetMover(ball, [](TimeValue t) {
    return Translation({static_cast<float>(t) / 100, 5, 40});
  }));
  ASSERT_TRUE(master.SetIkTarget(kLeftArm, master.GetNode(kHead, 0)));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, ball));
  ASSERT_TRUE(master.SaveMotion(Path("held.sdr")));
  Session other;
  StriderMaster& copy = test::MakeStrider(other);
  ASSERT_TRUE(copy.SetIkTarget(kRightLeg, other.scene.AddNode("Box")));
  ASSERT_TRUE(copy.LoadMotion(Path("held.sdr")));
  EXPECT_EQ(copy.GetIkTarget(kLeftArm), copy.GetNode(kHead, 0));
  EXPECT_EQ(copy.GetIkTarget(kRightArm), kNoNode);
  EXPECT_EQ(copy.GetIkTarget(kRightLeg), kNoNode);
  const float height = copy.GetHeight();
  for (const TimeValue t : {0, 300, 1600, 2500, 4800}) {
    (void)test::Shown(session, master, t);
    (void)test::Shown(other, copy, t);
    for (const int id : {kLeftArm, kRightArm}) {
      // Between keys the one that followed the ball no longer does.
      if (id == kRightArm && t != 0 && t != 1600 && t != 4800) continue;
      EXPECT_LT(
          test::Distance(test::Ask(copy, id, 3, t).Origin(), test::Ask(master, id, 3, t).Origin()),
          1e-4f * height)
          << id << " at " << t;
    }
  }
}

TEST_F(MasterFiles, AHeldHandStaysWithItsHeadWhateverChangesTheMotion) {
  StriderMaster& master = test::MakeMoving(session);
  ASSERT_TRUE(master.SetIkTarget(kLeftArm, master.GetNode(kHead, 0)));
  for (const int i : {0, 1, 2}) {
    LimbKey key = master.Core().arm[kLeft].table.keys[static_cast<std::size_t>(i)];
    SetKeyKind(key, kPlantedKey);
    const TimeValue t = master.Core().arm[kLeft].table.TimeOf(i);
    ASSERT_EQ(master.PutLimbKey(kLeftArm, t, key), KeyRefusal::kNone);
  }
  ASSERT_TRUE(master.SaveMotion(Path("held.sdr")));
  const auto handFromHead = [](Session& in, StriderMaster& of, TimeValue t) {
    (void)test::Shown(in, of, t);
    const Matrix3 head = of.UnmirroredTransform(kHead, 0, t);
    return of.UnmirroredTransform(kLeftArm, 3, t).Origin() * Inverse(head);
  };
  LoadOptions options[4];
  options[1].zeroHgt = true;
  options[2].keyPerFrame = true;
  options[3].matchFileStruct = false;
  for (const LoadOptions& option : options) {
    SCOPED_TRACE(&option - options);
    Session other;
    StriderMaster& copy = test::MakeStrider(other);
    ASSERT_TRUE(copy.LoadMotion(Path("held.sdr"), option));
    ASSERT_EQ(copy.GetIkTarget(kLeftArm), copy.GetNode(kHead, 0));
    for (const TimeValue t : {0, 1600, 4800}) {
      EXPECT_LT(test::Distance(handFromHead(other, copy, t), handFromHead(session, master, t)),
                1e-3f * copy.GetHeight())
          << t;
    }
  }
}

TEST_F(MasterFiles, FootstepsKeepTheirFramesInAnotherScene) {
  std::string cause;
  const MotionCore walk = Walk();
  ASSERT_TRUE(SaveMotion(Path("walk.sdr"), {&walk}, {}, cause));
  ASSERT_TRUE(SaveFootsteps(Path("walk.stp"), walk, cause));
  ASSERT_TRUE(session.scene.SetTicksPerFrame(200));
  for (const char* file : {"walk.sdr", "walk.stp"}) {
    SCOPED_TRACE(file);
    StriderMaster& master = test::MakeStrider(session);
    ASSERT_TRUE(master.LoadMotion(Path(file)));
    const MotionCore& core = master.Core();
    EXPECT_EQ(core.ticksPerFrame, 200);
    EXPECT_EQ(core.endTime / 200, walk.endTime / 160);
    MotionCore posed = core, was = walk;
    for (int frame = 0; frame <= walk.endTime / 160; ++frame) {
      CorePose(posed, frame * 200, {});
      CorePose(was, frame * 160, {});
      for (const int side : {kRight, kLeft}) {
        if (FootstepLegState(walk.footsteps, side, frame * 160) != kPlant) continue;
        EXPECT_LT(
            test::Distance(posed.leg[side].frame[2].Origin(), was.leg[side].frame[2].Origin()),
            0.03f * 80)
            << frame;
      }
    }
  }
}

}  // namespace
}  // namespace strider
