#include "tests/host/master_fixture.h"

namespace strider {
namespace {

struct Told {
  std::vector<MessageId> ids;
  explicit Told(Session& session) {
    session.messages = [this](MessageId id, const std::string&) { ids.push_back(id); };
  }
};

TEST(TwistPoses, AreEditedWithUndo) {
  Session session;
  Structure s;
  s.twists = true;
  s.twistLinks[kUpperArmTwistPart] = 2;
  StriderMaster& master = test::MakeMoving(session, s);
  session.scene.SetTime(700);
  const int before = master.NumTwistPoses(kRightArm);
  const std::vector<TwistPose> defaults = master.Core().armTwistPoses;
  const auto bone = [&](TimeValue t) { return master.UnmirroredTransform(kRightArm, 1, t); };
  const auto link = [&](TimeValue t) {
    return master.UnmirroredTransform(kRightUpperArmTwist, 0, t);
  };

  session.hold.Begin();
  const int made = master.CreateTwistPose(kRightArm);
  ASSERT_EQ(made, before);
  session.hold.Accept("twist pose");
  EXPECT_TRUE(session.hold.Undo());
  EXPECT_EQ(master.NumTwistPoses(kRightArm), before);
  EXPECT_TRUE(session.hold.Redo());
  EXPECT_EQ(master.NumTwistPoses(kRightArm), before + 1);
  // Both arms and their twist links read the one table; the legs have their own.
  EXPECT_EQ(master.NumTwistPoses(kLeftUpperArmTwist), before + 1);
  EXPECT_EQ(master.NumTwistPoses(kLeftFingers), before + 1);
  EXPECT_EQ(master.Core().legTwistPoses, DefaultLegTwistPoses());
  // The pose was taken at the scene's time: there the arm has no twist.
  EXPECT_NEAR(Length(link(700).row[1] - bone(700).row[1]), 0, 1e-5f);

  EXPECT_TRUE(master.SetTwistPoseName(kRightArm, made, "Reaching"));
  EXPECT_TRUE(master.SetTwistPoseTwist(kRightArm, made, 30));
  EXPECT_TRUE(master.SetTwistPoseBias(kRightArm, made, 0.25f));
  EXPECT_EQ(master.GetTwistPoseName(kRightForearmTwist, made), "Reaching");
  EXPECT_EQ(master.GetTwistPoseTwist(kLeftArm, made), 30);
  EXPECT_EQ(master.GetTwistPoseBias(kRightArm, made), 0.25f);
  EXPECT_GT(Length(link(700).row[1] - bone(700).row[1]), 0.1f);

  // The same pose taken again elsewhere: name and bias stay, the twist goes.
  session.scene.SetTime(3000);
  EXPECT_TRUE(master.SetTwistPose(kRightArm, made));
  EXPECT_EQ(master.GetTwistPoseName(kRightArm, made), "Reaching");
  EXPECT_EQ(master.GetTwistPoseTwist(kRightArm, made), 0);
  EXPECT_NEAR(Length(link(3000).row[1] - bone(3000).row[1]), 0, 1e-5f);

  EXPECT_TRUE(master.DeleteTwistPose(kRightArm, 0));
  EXPECT_EQ(master.NumTwistPoses(kRightArm), before);
  EXPECT_TRUE(master.SetDefaultTwistPoses(kRightArm));
  EXPECT_EQ(master.Core().armTwistPoses, defaults);
}

TEST(TwistPoses, RefuseWhatCannotBe) {
  Session session;
  Structure s;
  s.arms = false;
  StriderMaster& master = test::MakeStrider(session, s);
  Told told(session);
  const std::vector<TwistPose> before = master.Core().legTwistPoses;
  const int legs = master.NumTwistPoses(kLeftLeg);
  EXPECT_EQ(master.NumTwistPoses(kSpine), 0);
  EXPECT_EQ(master.CreateTwistPose(kSpine), -1);
  EXPECT_EQ(master.CreateTwistPose(kLeftArm), -1);  // no arm to take it from
  EXPECT_FALSE(master.SetTwistPose(kLeftLeg, legs));
  EXPECT_FALSE(master.DeleteTwistPose(kLeftLeg, -1));
  EXPECT_FALSE(master.SetDefaultTwistPoses(kHead));
  EXPECT_FALSE(master.SetTwistPoseName(kLeftLeg, 0, std::string(200, 'x')));
  EXPECT_FALSE(master.SetTwistPoseTwist(kLeftLeg, 0, NAN));
  EXPECT_FALSE(master.SetTwistPoseBias(kLeftLeg, 0, 1.5f));
  EXPECT_EQ(told.ids.size(), 8u);
  EXPECT_EQ(master.GetTwistPoseName(kLeftLeg, legs), "");
  EXPECT_EQ(master.GetTwistPoseTwist(kSpine, 0), 0);
  while (master.NumTwistPoses(kLeftLeg) < kMaxTwistPoses) {
    ASSERT_GE(master.CreateTwistPose(kLeftLeg), 0);
  }
  EXPECT_EQ(master.CreateTwistPose(kLeftLeg), -1);
  EXPECT_TRUE(master.SetDefaultTwistPoses(kLeftLeg));
  EXPECT_EQ(master.Core().legTwistPoses, before);
}

}  // namespace
}  // namespace strider
