// Nodes that the head and the limbs of a figure follow, and undo, which has to bring them back.
#include <functional>
#include <limits>

#include "strider/host/strider_master.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::Ask;
using test::Distance;
using test::FullStructure;
using test::kTimes;
using test::MakeMoving;
using test::MakeStrider;
using test::Random;
using test::Shown;
using test::ShownAtAllTimes;

// --- Targets -------------------------------------------------------------------------------------

void KeyHeadBlend(StriderMaster& master, float blend) {
  HeadKey key = CurrentHeadKey(master.Core());
  key.headBlend = blend;
  ASSERT_EQ(master.PutHeadKey(0, key), KeyRefusal::kNone);
}

/// How far the face looks beside a place, radians.
float LooksBeside(StriderMaster& master, const Point3& place, TimeValue t) {
  const Matrix3 head = master.UnmirroredTransform(kHead, 0, t);
  return Acos(Dot(-head.row[1], Normalized(place - head.Origin())));
}

TEST(HeadTarget, IsFacedWhereverItMovesAndUnderAMovingRoot) {
  for (bool onCart : {false, true}) {
    Session session;
    StriderMaster& master = MakeMoving(session);
    KeyHeadBlend(master, 1);
    while (master.Core().head.table.track.numKeys > 1) {
      ASSERT_EQ(master.DeleteKey(kHead, master.Core().head.table.TimeOf(1)), KeyRefusal::kNone);
    }
    const auto fly = [](TimeValue t) {
      return Point3{60, static_cast<float>(t) / 50 - 40, 50 + static_cast<float>(t) / 100};
    };
    const NodeHandle bird = session.scene.AddNode("Bird");
    ASSERT_TRUE(session.scene.SetMover(bird, [fly](TimeValue t) { return Translation(fly(t)); }));
    ASSERT_TRUE(master.SetHeadTarget(bird));
    EXPECT_EQ(master.GetHeadTarget(), bird);
    if (onCart) {
      const NodeHandle cart = session.scene.AddNode("Cart");
      ASSERT_TRUE(session.scene.SetMover(cart, [](TimeValue t) {
        return FrameOf(AboutZ(static_cast<float>(t) / 3000), {0, static_cast<float>(t) / 80, 0});
      }));
      ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), cart));
    }
    for (TimeValue t : kTimes) {
      (void)Shown(session, master, t);
      EXPECT_LT(LooksBeside(master, fly(t), t), 2e-3f) << t;
    }
    // Caught: it sits elsewhere at the very time last shown.
    const Point3 perch{40, 30, 20};
    ASSERT_TRUE(session.scene.SetMatrix(bird, Translation(perch)));
    (void)Shown(session, master, kTimes[6]);
    EXPECT_LT(LooksBeside(master, perch, kTimes[6]), 2e-3f);
    ASSERT_TRUE(session.scene.SetMover(bird, [fly](TimeValue t) { return Translation(fly(t)); }));

    ASSERT_TRUE(master.SetHeadTarget(kNoNode));
    (void)Shown(session, master, 900);
    EXPECT_GT(LooksBeside(master, fly(900), 900), 0.02f);
    EXPECT_EQ(master.Core().head.targetPosition, Point3{});
  }
  Session session;
  StriderMaster& master = MakeStrider(session);
  EXPECT_FALSE(master.SetHeadTarget(NodeHandle{999}));
}

TEST(HeadTarget, MayHangFromTheFiguresOwnHand) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  KeyHeadBlend(master, 1);
  const NodeHandle torch = session.scene.AddNode("Torch", master.GetNode(kRightArm, 3));
  ASSERT_TRUE(session.scene.SetMatrix(torch, Translation({8, 0, 0})));
  ASSERT_TRUE(master.SetHeadTarget(torch));
  for (TimeValue t : {0, 1, 2}) {
    const int before = master.NumEvaluations();
    (void)Shown(session, master, t);
    const Point3 place = session.scene.NodeTransform(torch, t).Origin();
    EXPECT_LT(LooksBeside(master, place, t), 2e-3f) << t;
    EXPECT_LE(master.NumEvaluations() - before, 3);
  }
  // From its own head: it can only chase itself, but must end and stay finite.
  const NodeHandle lamp = session.scene.AddNode("Lamp", master.GetNode(kHead, 0));
  ASSERT_TRUE(session.scene.SetMatrix(lamp, Translation({5, 0, 3})));
  ASSERT_TRUE(master.SetHeadTarget(lamp));
  ASSERT_TRUE(master.SetIkTarget(kLeftArm, lamp));
  for (TimeValue t : {5, 6, 7}) EXPECT_TRUE(test::AllFinite(Shown(session, master, t)));
}

/// A figure whose right hand is planted at all times in reach, keyed at 0 and 4800.
StriderMaster& MakeHolding(Session& session) {
  StriderMaster& master = MakeStrider(session);
  MotionCore& core = master.EditCore();
  core.arm[kRight].pose.jointAngles[kHinge] = 1.6f;
  CoreForwardKinematics(core);
  const LimbKey key = CurrentLimbKey(core, core.arm[kRight], kSlidingKey);
  for (TimeValue t : {0, 4800}) {
    EXPECT_EQ(master.PutLimbKey(kRightArm, t, key), KeyRefusal::kNone);
  }
  return master;
}

Matrix3 Hand(Session& session, StriderMaster& master, TimeValue t) {
  return session.scene.NodeTransform(master.GetNode(kRightArm, 3), t);
}

TEST(IkTarget, KeepsTheHandAtItsKeysAndCarriesItBetween) {
  Session session;
  StriderMaster& master = MakeHolding(session);
  const Matrix3 before = Hand(session, master, 0);
  const NodeHandle rail = session.scene.AddNode("Rail");
  const auto swing = [&](TimeValue t) {
    const float s = static_cast<float>(t) / 4800;
    return FrameOf(AboutZ(0.2f * s), before.Origin() + Point3{1, 2, 3 * s});
  };
  ASSERT_TRUE(session.scene.SetMover(rail, swing));
  EXPECT_FALSE(master.SetIkTarget(kRightFingers, NodeHandle{999}));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
  EXPECT_EQ(master.GetIkTarget(kRightArm), rail);
  EXPECT_EQ(master.GetIkTarget(kLeftLeg), kNoNode);
  (void)Shown(session, master, 4000);
  const Matrix3 start = Hand(session, master, 0), end = Hand(session, master, 4800);
  EXPECT_LT(Distance(start.Origin(), before.Origin()), 1e-2f);
  EXPECT_LT(Distance(end.Origin(), before.Origin()), 2e-2f);
  // The world's place was kept at both keys; between them the hand goes from one to the other.
  const Point3 first = (start * Inverse(swing(0))).Origin();
  const Point3 last = (end * Inverse(swing(4800))).Origin();
  for (TimeValue t : {333, 2400, 4799}) {
    const Matrix3 now = Hand(session, master, t) * Inverse(swing(t));
    const float u = static_cast<float>(t) / 4800;
    EXPECT_LT(Distance(now.Origin(), Lerp(first, last, u)), 0.15f) << t;
  }
}

TEST(IkTarget, LeavesTheHandWhereItStoodWhenTheObjectIsRemoved) {
  Session session;
  StriderMaster& master = MakeHolding(session);
  const NodeHandle rail = session.scene.AddNode("Rail");
  ASSERT_TRUE(session.scene.SetMatrix(rail, FrameOf(AboutZ(0.7f), {5, -9, 40})));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
  const Matrix3 held = Hand(session, master, 2400);
  ASSERT_TRUE(session.scene.RemoveNode(rail));
  EXPECT_EQ(master.GetIkTarget(kRightArm), kNoNode);
  const Matrix3 left = Hand(session, master, 2400);
  EXPECT_LT(Distance(left.Origin(), held.Origin()), 1e-3f);
  EXPECT_LT(Distance(left.row[0], held.row[0]), 1e-4f);
}

// A figure on a cart holds a rail beside the way: the hand stays on it at each time, in whatever
// order times are asked.
TEST(IkTarget, UnderAMovingRootTheHandStaysOnAStandingObject) {
  Session session;
  StriderMaster& master = MakeStrider(session);
  const NodeHandle cart = session.scene.AddNode("Cart");
  const NodeHandle rail = session.scene.AddNode("Rail");
  ASSERT_TRUE(session.scene.SetMover(cart, [](TimeValue t) {
    return Translation({static_cast<float>(t) / 500, 0, 0});
  }));
  ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), cart));
  MotionCore& core = master.EditCore();
  core.arm[kRight].pose.jointAngles[kHinge] = 1.6f;
  CoreForwardKinematics(core);
  ASSERT_TRUE(
      session.scene.SetMatrix(rail, Translation(HostFromCore(core.arm[kRight].frame[3].Origin()))));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
  LimbKey key = CurrentLimbKey(core, core.arm[kRight], kPlantedKey);
  key.objectTarget = key.pivotPosition = {};
  for (TimeValue t : {0, 4800}) ASSERT_EQ(master.PutLimbKey(kRightArm, t, key), KeyRefusal::kNone);
  const Point3 grip = session.scene.NodeTransform(rail, 0).Origin();
  for (TimeValue t : {0, 1200, 300, 2400, 2399, 0}) {
    EXPECT_LT(Distance(Hand(session, master, t).Origin(), grip), 0.02f) << t;
  }
  // The cart itself is pushed aside while the time stands still.
  ASSERT_TRUE(session.scene.SetMatrix(cart, Translation({0, 3, 1})));
  (void)session.scene.NodeTransform(master.GetNode(kHorizontal, 0), 0);
  EXPECT_LT(Distance(Hand(session, master, 0).Origin(), grip), 0.02f);
}

TEST(IkTarget, EditsOfItsPathOrOfWhatItHangsFromReachTheKeysAndThePose) {
  for (bool throughGroup : {false, true}) {
    SCOPED_TRACE(throughGroup);
    Session session;
    StriderMaster& master = MakeHolding(session);
    const NodeHandle group = session.scene.AddNode("Group");
    const NodeHandle rail = session.scene.AddNode("Rail", group);
    ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
    const Point3 before = Hand(session, master, 1000).Origin();
    const float hinge = master.Core().arm[kRight].table[0].jointAngles[kHinge];
    const Point3 step{2, 1, 3};
    ASSERT_TRUE(session.scene.SetMatrix(throughGroup ? group : rail, Translation(step)));
    EXPECT_LT(Distance(Hand(session, master, 1000).Origin(), before + step), 0.02f) << "same time";
    EXPECT_LT(Distance(Hand(session, master, 2000).Origin(), before + step), 0.02f);
    EXPECT_GT(std::fabs(master.Core().arm[kRight].table[0].jointAngles[kHinge] - hinge), 1e-3f)
        << "the keys hold the new pose";
    // Refreshing can be switched off: the pose follows, the keys do not.
    session.modes.refreshObjectSpace = false;
    const LimbKey key = master.Core().arm[kRight].table[0];
    ASSERT_TRUE(session.scene.SetMatrix(rail, Translation(2 * step)));
    (void)Hand(session, master, 1000);
    EXPECT_EQ(master.Core().arm[kRight].table[0], key);

    const Matrix3 held = Hand(session, master, 0);
    ASSERT_TRUE(master.SetIkTarget(kRightArm, kNoNode));
    EXPECT_LT(Distance(Hand(session, master, 0).Origin(), held.Origin()), 0.02f)
        << "let go, it stays where it was";
    ASSERT_TRUE(session.scene.SetMatrix(rail, Translation({50, 50, 50})));
    EXPECT_LT(Distance(Hand(session, master, 0).Origin(), held.Origin()), 0.02f);
  }
}

TEST(Targets, WithoutASoundPlaceLeaveThePoseFinite) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Session session;
  StriderMaster& master = MakeMoving(session);
  KeyHeadBlend(master, 1);
  const NodeHandle node = session.scene.AddNode("Odd");
  for (const Matrix3& frame : {Translation({nan, 0, 0}), Translation({3e38f, -3e38f, 3e38f}),
                               Matrix3{{{nan, nan, nan}, {}, {}, {}}}, Matrix3{{{}, {}, {}, {}}}}) {
    ASSERT_TRUE(session.scene.SetMover(node, [frame](TimeValue) { return frame; }));
    ASSERT_TRUE(master.SetHeadTarget(node));
    for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg}) {
      ASSERT_TRUE(master.SetIkTarget(id, node));
    }
    for (TimeValue t : kTimes) ASSERT_TRUE(test::AllFinite(Shown(session, master, t)));
  }
  // A target that leaves the scene.
  ASSERT_TRUE(session.scene.RemoveNode(node));
  for (TimeValue t : kTimes) ASSERT_TRUE(test::AllFinite(Shown(session, master, t)));
}

// --- Undo ----------------------------------------------------------------------------------------

TEST(MasterUndo, BringsBackWhatWasShownBitForBitAndRedoTheChange) {
  const struct {
    const char* what;
    std::function<void(Session&, StriderMaster&)> edit;
  } rows[] = {
      {"keys of all kinds",
       [](Session&, StriderMaster& m) {
         Random random(77);
         MotionCore posed = m.Core();
         test::BendFigure(posed, random);
         EXPECT_EQ(
             m.PutLimbKey(kLeftLeg, 900, CurrentLimbKey(posed, posed.leg[kLeft], kPlantedKey)),
             KeyRefusal::kNone);
         EXPECT_EQ(m.PutChainKey(kSpine, 1600, CurrentChainKey(posed.spine)), KeyRefusal::kNone);
         EXPECT_EQ(m.PutTurnKey(2500, CurrentTurnKey(posed)), KeyRefusal::kNone);
         EXPECT_EQ(m.PutHorizontalKey(100, CurrentHorizontalKey(posed)), KeyRefusal::kNone);
         EXPECT_EQ(m.DeleteKey(kHead, 1600), KeyRefusal::kNone);
       }},
      {"height", [](Session&, StriderMaster& m) { EXPECT_TRUE(m.SetHeight(150)); }},
      {"euler", [](Session&, StriderMaster& m) { EXPECT_TRUE(m.SetEulerActive(kSpine, 4)); }},
      {"separate",
       [](Session&, StriderMaster& m) {
         EXPECT_TRUE(m.SetSeparateTracks(kRightArm, true));
         const std::uint32_t clavicle = SubTrackMask(m.Core(), kRightArm, 0);
         EXPECT_EQ(PutKey(m.EditCore(), kRightArm, 900, m.Core().arm[kRight].rest, clavicle),
                   KeyRefusal::kNone);
         m.Changed();
       }},
      {"IK target",
       [](Session& s, StriderMaster& m) {
         EXPECT_TRUE(m.SetIkTarget(kRightArm, s.scene.FindByName("Rail")));
       }},
      {"other targets",
       [](Session& s, StriderMaster& m) {
         EXPECT_TRUE(m.SetIkTarget(kLeftLeg, s.scene.FindByName("Rail")));
         EXPECT_TRUE(m.SetHeadTarget(s.scene.FindByName("Rail")));
       }},
      {"head target off",
       [](Session&, StriderMaster& m) { EXPECT_TRUE(m.SetHeadTarget(kNoNode)); }},
  };
  for (const auto& row : rows) {
    for (bool ownHand : {false, true}) {
      SCOPED_TRACE(testing::Message() << row.what << (ownHand ? ", target in own hand" : ""));
      Session session;
      StriderMaster& master = MakeMoving(session, FullStructure(), 5);
      const NodeHandle ball = session.scene.AddNode("Ball");
      ASSERT_TRUE(session.scene.SetMatrix(ball, FrameOf(AboutX(0.4f), {3, 30, 40})));
      const NodeHandle rail =
          session.scene.AddNode("Rail", ownHand ? master.GetNode(kLeftArm, 3) : kSceneRoot);
      ASSERT_TRUE(session.scene.SetMatrix(rail, FrameOf(AboutY(0.7f), {13, -3, 20})));
      ASSERT_TRUE(master.SetIkTarget(kLeftLeg, ball));
      ASSERT_TRUE(master.SetHeadTarget(ball));
      const auto before = ShownAtAllTimes(session, master);
      session.hold.Begin();
      row.edit(session, master);
      ASSERT_TRUE(session.hold.Accept("edit"));
      const auto after = ShownAtAllTimes(session, master);
      EXPECT_NE(before == after, true) << "the edit shows nowhere";
      for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(session.hold.Undo());
        EXPECT_TRUE(ShownAtAllTimes(session, master) == before);
        EXPECT_EQ(master.GetIkTarget(kLeftLeg), ball);
        EXPECT_EQ(master.GetHeadTarget(), ball);
        ASSERT_TRUE(session.hold.Redo());
        // What hangs from the figure's own moving hand is one request behind at its first time.
        EXPECT_TRUE(ownHand || ShownAtAllTimes(session, master) == after);
      }
    }
  }
}

TEST(MasterUndo, CancelledAndRefusedEditsMakeNoStepAndKeepWhatCanBeRedone) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  const auto before = ShownAtAllTimes(session, master);
  session.hold.Begin();
  ASSERT_TRUE(master.SetHeight(50));
  ASSERT_TRUE(session.hold.Accept("height"));
  ASSERT_TRUE(session.hold.Undo());
  session.hold.Begin();
  EXPECT_NE(master.DeleteKey(kTurn, 7), KeyRefusal::kNone);
  EXPECT_FALSE(master.SetHeight(-2));
  EXPECT_FALSE(master.SetEulerActive(kTurn, 9));
  EXPECT_FALSE(master.SetSeparateTracks(kTurn, true));
  (void)session.hold.Accept("nothing");
  EXPECT_EQ(session.hold.UndoName(), "");
  EXPECT_TRUE(session.hold.Redo());
  EXPECT_EQ(master.GetHeight(), 50);
  ASSERT_TRUE(session.hold.Undo());
  session.hold.Begin();
  ASSERT_EQ(master.DeleteKey(kTurn, 1600), KeyRefusal::kNone);
  ASSERT_TRUE(master.SetHeight(10));
  ASSERT_TRUE(session.hold.Cancel());
  EXPECT_TRUE(ShownAtAllTimes(session, master) == before);
  EXPECT_FALSE(session.hold.Undo());
}

}  // namespace
}  // namespace strider
