#include "strider/core/restructure.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

/// Every link has its node under the node of its parent, and the figure has no others.
void ExpectNodesOfTheFigure(Session& session, StriderMaster& master) {
  const std::vector<NodeInfo> tree = BuildNodeTree(master.Core());
  for (const NodeInfo& info : tree) {
    const NodeHandle node = master.GetNode(info.id, info.link);
    ASSERT_TRUE(session.scene.Exists(node)) << info.name;
    if (info.parentId == kNoBodyId) continue;
    EXPECT_EQ(session.scene.Parent(node), master.GetNode(info.parentId, info.parentLink))
        << info.name;
  }
  EXPECT_EQ(session.scene.Nodes().size(), tree.size());
}

TEST(MasterStructure, LinkCountsChangeInFigureModeAlone) {
  Session session;
  std::vector<MessageId> told;
  session.messages = [&](MessageId id, const std::string&) { told.push_back(id); };
  Structure s;
  s.twists = true;
  StriderMaster& master = test::MakeMoving(session, s);
  EXPECT_FALSE(master.SetNumLinks(kLeftLeg, 4));
  EXPECT_EQ(told, std::vector{MessageId::kStructureNeedsFigureMode});
  EXPECT_EQ(master.Core().structure, s);

  ASSERT_EQ(master.BeginModes(kFigureMode, false), unsigned{kFigureMode});
  EXPECT_FALSE(master.SetNumLinks(kSpine, 9));
  EXPECT_FALSE(master.SetNumLinks(kHead, 1));
  EXPECT_EQ(told.size(), 3u);
  const auto before = test::Shown(session, master, 0);
  session.hold.Begin();
  const struct {
    int id, links;
  } edits[] = {{kLeftLeg, 4},  {kTail, 3},         {kSpine, 2},         {kNeck, 2},
               {kLeftToes, 1}, {kRightFingers, 2}, {kLeftHorseTwist, 3}};
  for (const auto& edit : edits) {
    SCOPED_TRACE(edit.id);
    ASSERT_TRUE(master.SetNumLinks(edit.id, edit.links));
    EXPECT_EQ(master.NumLinks(edit.id), edit.links);
    ExpectNodesOfTheFigure(session, master);
  }
  session.hold.Accept("links");
  // The stance stands on the ground.
  EXPECT_NEAR(test::LowestSolePoint(master.Core().leg[kLeft]), 0, 1e-3f);
  EXPECT_EQ(master.Core().leg[kLeft].table.track.numKeys, 3);
  const auto after = test::Shown(session, master, 0);
  EXPECT_TRUE(session.hold.Undo());
  ExpectNodesOfTheFigure(session, master);
  EXPECT_EQ(master.Core().structure, s);
  EXPECT_EQ(test::Shown(session, master, 0), before);
  EXPECT_TRUE(session.hold.Redo());
  ExpectNodesOfTheFigure(session, master);
  EXPECT_EQ(test::Shown(session, master, 0), after);
}

TEST(MasterStructure, TakesAnotherFigureWithUndo) {
  Session session;
  StriderMaster& master = test::MakeMoving(session);
  const auto before = test::ShownAtAllTimes(session, master);
  MotionCore figure = test::MakeFigure(test::FullStructure());
  session.hold.Begin();
  ASSERT_TRUE(master.SetFigure(figure));
  session.hold.Accept("figure");
  ExpectNodesOfTheFigure(session, master);
  EXPECT_TRUE(test::AllFinite(test::Shown(session, master, 900)));
  EXPECT_TRUE(session.hold.Undo());
  ExpectNodesOfTheFigure(session, master);
  EXPECT_EQ(test::ShownAtAllTimes(session, master), before);
  figure.leg[0].upperLength = NAN;
  EXPECT_FALSE(master.SetFigure(figure));
  EXPECT_EQ(test::ShownAtAllTimes(session, master), before);
}

}  // namespace
}  // namespace strider
