// Footsteps through a figure's master and its footstep controller.

#include "strider/footsteps/footstep_edit.h"
#include "strider/host/footprint_control.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::MakeStrider;

struct Footsteps : testing::Test {
  Session session;
  StriderMaster& master = MakeStrider(session);
  FootprintControl& control = *master.GetFootprintControl();
  std::vector<int> told;

  Footsteps() {
    session.messages = [this](MessageId id, const std::string&) {
      told.push_back(static_cast<int>(id));
    };
  }
  MultFprintParams Params(int count) {
    MultFprintParams params = *master.GetMultFprintParams(kWalk);
    params.numFootsteps = count;
    return params;
  }
  FootprintKey Key(int index) {
    FootprintKey key;
    control.GetKey(index, key);
    return key;
  }
  template <class Step>
  void Held(const Step& step) {
    session.hold.Begin();
    step();
    ASSERT_TRUE(session.hold.Accept("step"));
  }
};

TEST_F(Footsteps, AWalkIsPlacedUndoneAndRedone) {
  Held([&] { EXPECT_TRUE(master.AddMultipleFootprints(Params(6)).Done()); });
  EXPECT_EQ(control.NumKeys(), 6);
  EXPECT_EQ(session.scene.ControlOf(master.GetNode(kFootprints, 0)), &control);
  EXPECT_EQ(control.GetKeyTime(2), 30 * kDynamicsFrame);
  EXPECT_EQ(control.GetKeyIndex(30 * kDynamicsFrame), 2);
  EXPECT_EQ(control.GetKeyIndex(30 * kDynamicsFrame + 1), -1);
  EXPECT_EQ(control.GetTimeRange().end, master.Core().endTime);
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_EQ(control.NumKeys(), 0);
  EXPECT_EQ(control.GetKeyIndex(0), -1);
  ASSERT_TRUE(session.hold.Redo());
  EXPECT_EQ(control.NumKeys(), 6);
}

TEST_F(Footsteps, RefusalsAreToldByTheirNumbersAndLeaveNoUndo) {
  const auto refused = [&](MessageId id) {
    EXPECT_EQ(told, std::vector<int>{static_cast<int>(id)});
    told.clear();
    EXPECT_EQ(session.hold.UndoName(), "");
  };
  Held([&] { EXPECT_EQ(master.AddFootprint({}, 0), kAddNoFootsteps); });
  refused(MessageId::kBatchCannotBePlaced);

  session.gaits.durations[0].air = 9 * kDynamicsFrame;
  EXPECT_EQ(master.AddFootprint({}, 0), kAddNoSwing);
  refused(MessageId::kDoubleSupportTooLong);
  MultFprintParams params = Params(4);
  params.autoTiming = 0;
  EXPECT_FALSE(master.AddMultipleFootprints(params).Done());
  refused(MessageId::kDoubleSupportTooLong);

  session.gaits = {};
  session.scene.SetTime(-1);
  params.multiInsertInTime = 1;
  EXPECT_FALSE(master.AddMultipleFootprints(params).Done());
  refused(MessageId::kNegativeTimeWithFootsteps);

  const NewFootstep wrong[] = {{0, 0, 800, {}, 0}, {0, 400, 800, {}, 0}};
  EXPECT_EQ(master.AddFootsteps(wrong).failing, 2);
  refused(MessageId::kFootstepDoesNotFit);
  EXPECT_EQ(master.InsertFootstep(0, {0, 0, -5, {}, 0}).failing, 1);
  refused(MessageId::kFootstepRefused);

  master.BeginModes(kFigureMode, false);
  EXPECT_FALSE(master.AddMultipleFootprints(Params(4)).Done());
  refused(MessageId::kNotInFigureMode);
  master.EndModes(kFigureMode, false);
  EXPECT_EQ(control.NumKeys(), 0);
  EXPECT_FALSE(master.SetFSAddSide(2));
  EXPECT_EQ(master.GetFSAddSide(), 1);
}

TEST_F(Footsteps, AKeyMovesItsFootstepAlone) {
  ASSERT_TRUE(master.AddMultipleFootprints(Params(6)).Done());
  const FootprintKey before = Key(3), neighbour = Key(4);
  FootprintKey key = before;
  key.time += 160;
  key.duration -= 160;
  key.edgeSel = kEndEdge;
  key.transform = FrameOf(AboutZ(0.5f), {1, 2, 3});
  Held([&] { ASSERT_TRUE(control.SetKey(3, key)); });
  EXPECT_EQ(Key(3).time, key.time);
  EXPECT_EQ(Key(3).duration, key.duration);
  EXPECT_EQ(Key(3).edgeSel, kEndEdge);
  EXPECT_EQ(Key(3).side, before.side);
  EXPECT_NEAR(master.Core().footsteps.angle[3], 0.5f, 1e-6);
  EXPECT_EQ(master.Core().footsteps.position[3], (Point3{1, 3, -2}));
  EXPECT_TRUE(Key(4).transform == neighbour.transform);
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_TRUE(Key(3).transform == before.transform);

  key.time = neighbour.time + 1;
  EXPECT_FALSE(control.SetKey(3, key));
  key = before;
  key.transform.row[3].x = std::nanf("");
  EXPECT_FALSE(control.SetKey(3, key));
  EXPECT_FALSE(control.SetKey(6, before));
  EXPECT_FALSE(master.SetFootstepTimes(3, -5, 800));
  EXPECT_EQ(told.back(), static_cast<int>(MessageId::kFootstepTimesRefused));
  EXPECT_EQ(Key(3).time, before.time);
  EXPECT_EQ(Key(9).duration, 0);
}

TEST_F(Footsteps, ADragShowsAPreviewAndIsKeptOrNot) {
  ASSERT_TRUE(master.AddMultipleFootprints(Params(4)).Done());
  const TimeValue start = Key(3).time, end = master.Core().endTime;
  ASSERT_TRUE(master.SelectFootstep(3, kBothEdges, true));
  ASSERT_TRUE(control.DragTo(320));
  EXPECT_FALSE(control.DragTo(-100000));  // before the others: the last good place stays
  EXPECT_EQ(Key(3).time, start + 320);
  EXPECT_EQ(master.Core().endTime, end);
  ASSERT_TRUE(control.MouseCycleCompleted(false));
  EXPECT_EQ(Key(3).time, start);
  ASSERT_TRUE(control.DragTo(160));
  ASSERT_TRUE(control.DragTo(320));  // from where it began, not from the preview
  ASSERT_TRUE(control.MouseCycleCompleted(true));
  EXPECT_EQ(Key(3).time, start + 320);
  EXPECT_EQ(master.Core().endTime, end + 320);
  EXPECT_FALSE(control.MouseCycleCompleted(true));
}

TEST_F(Footsteps, SelectingAndDeletingCanBeUndone) {
  ASSERT_TRUE(master.AddMultipleFootprints(Params(5)).Done());
  Held([&] { EXPECT_TRUE(master.SelectFootstep(2, kStartEdge, true)); });
  EXPECT_EQ(Key(0).edgeSel, 0);
  EXPECT_EQ(Key(2).edgeSel, kStartEdge);
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_EQ(Key(0).edgeSel, kBothEdges);  // the whole batch
  ASSERT_TRUE(session.hold.Redo());
  Held([&] { EXPECT_TRUE(control.DeleteSelected()); });
  EXPECT_EQ(control.NumKeys(), 4);
  EXPECT_FALSE(control.DeleteSelected());
  SetFreeForm(master.EditCore(), false);
  for (int left = 4; left > 0; --left) EXPECT_TRUE(master.DeleteFootstep(0));
  EXPECT_FALSE(master.DeleteFootstep(0));
  EXPECT_TRUE(master.Core().freeForm);
  EXPECT_FALSE(master.Core().footstepsPending);
  EXPECT_EQ(master.Core().endTime, 0);
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_EQ(control.NumKeys(), 5);
}

// A click in the world lands in the space of a figure whose root hangs from a turned node.
TEST_F(Footsteps, AClickCountsFromTheFiguresRoot) {
  const NodeHandle table = session.scene.AddNode("Table");
  ASSERT_TRUE(session.scene.SetMatrix(table, FrameOf(AboutZ(kHalfPi), {10, 0, 5})));
  ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), table));
  session.gaits.fsCreateState = true;
  ASSERT_EQ(master.AddFootprint({10, 3, 5}, kHalfPi), kFootstepAdded);
  EXPECT_LT(Length(Key(0).transform.Origin() - Point3{3, 0, 0}), 1e-5f);
  EXPECT_NEAR(HeadingOf(Key(0).transform), 0, 1e-6);
}

TEST(FootstepSettings, TakeTheFramesOfTheScene) {
  Session session;
  ASSERT_TRUE(session.scene.SetTicksPerFrame(192));
  StriderMaster& master = MakeStrider(session);
  ASSERT_TRUE(master.AddMultipleFootprints(*master.GetMultFprintParams(kWalk)).Done());
  EXPECT_EQ(master.GetFootprintControl()->Start(3), 45 * 192);
  EXPECT_EQ(master.GetFootprintControl()->Duration(3), 18 * 192);
  EXPECT_EQ(master.GetMultFprintParams(4), nullptr);
  // The session's own parameters show the strides of this figure.
  EXPECT_NEAR(master.GetMultFprintParams(kWalk)->actualStrideLength1,
              0.75f * master.Core().leg[0].totalLength, 1e-4);
}

TEST(FootprintKeys, TellScriptsWhatMayBeWritten) {
  for (const char* name : {"edgeSel", "transform", "duration"}) {
    EXPECT_EQ(AccessOf(name), PropertyAccess::kWritable) << name;
  }
  for (const char* name : {"side", "active", "time", "selected"}) {
    EXPECT_EQ(AccessOf(name), PropertyAccess::kReadOnly) << name;
  }
  EXPECT_EQ(AccessOf("Side"), PropertyAccess::kUnknown);
  EXPECT_EQ(PrintedFootprintKey("Footsteps", 3, 2480, 160), "#Footsteps key(3 @ 15.5f)");
}

}  // namespace
}  // namespace strider
