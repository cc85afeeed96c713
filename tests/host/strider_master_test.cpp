#include "strider/host/strider_master.h"

#include <functional>
#include <limits>
#include <set>

#include "strider/host/link_controls.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::Ask;
using test::Distance;
using test::FullStructure;
using test::MakeMoving;
using test::MakeStrider;
using test::Random;
using test::Shown;

// --- Creation ------------------------------------------------------------------------------------

TEST(CreateNewStrider, RefusesIllegalInputByNameAndLeavesNothingBehind) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const struct {
    const char* name;
    std::function<void(Structure&, float&, Point3&)> spoil;
    const char* bounds[2];
  } rows[] = {
      {"height", [&](Structure& s, float&, Point3&) { s.height = 0; }, {"", ""}},
      {"height", [&](Structure& s, float&, Point3&) { s.height = nan; }, {"", ""}},
      {"neckLinks", [](Structure& s, float&, Point3&) { s.neckLinks = 6; }, {"1", "5"}},
      {"ankleAttach", [&](Structure& s, float&, Point3&) { s.ankleAttach = inf; }, {"", ""}},
      {"calfTwistLinks", [](Structure& s, float&, Point3&) { s.twistLinks[3] = 11; }, {"0", "10"}},
      {"angle", [&](Structure&, float& angle, Point3&) { angle = nan; }, {"", ""}},
      {"position", [&](Structure&, float&, Point3& p) { p.y = -inf; }, {"", ""}},
  };
  Session session;
  std::vector<std::string> told;
  session.messages = [&](MessageId, const std::string& text) { told.push_back(text); };
  const NodeHandle other = session.scene.AddNode("Table");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    told.clear();
    Structure s;
    float angle = 0;
    Point3 position;
    row.spoil(s, angle, position);
    EXPECT_EQ(CreateNewStrider(session, s, angle, position), nullptr);
    ASSERT_EQ(told.size(), 1u);
    for (const char* part : {row.name, row.bounds[0], row.bounds[1]}) {
      EXPECT_NE(told[0].find(part), std::string::npos) << told[0];
    }
    EXPECT_EQ(session.scene.Nodes(), std::vector<NodeHandle>{other});
    EXPECT_TRUE(session.Striders().empty());
  }
}

TEST(CreateNewStrider, StandsWhereItIsTold) {
  Session session;
  StriderMaster& master =
      static_cast<StriderMaster&>(*CreateNewStrider(session, Structure{}, kHalfPi, {10, 20, 5}));
  const Matrix3 root = Ask(master, kHorizontal, 0, 0);
  EXPECT_NEAR(root.Origin().x, 10, 1e-4);
  EXPECT_NEAR(root.Origin().y, 20, 1e-4);
  const Matrix3 foot = Ask(master, kLeftLeg, 2, 0);
  EXPECT_NEAR(foot.Origin().z, 5 + 23 * 80 / 415.0, 1e-3);
  // A quarter turn to the left: it faces the host's Y, its left foot lies on the -X side.
  EXPECT_LT(Distance(foot.row[1], {0, 1, 0}), 1e-4f);
  EXPECT_NEAR(foot.Origin().x, 10 - 20 * 80 / 415.0, 1e-3);
}

TEST(CreateNewStrider, TheExportedFormDropsTheDigitsOfMissingArms) {
  // The exported form works in the default session, which must be left as it was.
  const std::size_t nodes = DefaultSession().scene.Nodes().size();
  IStriderMaster* made = CreateNewStrider(120, 0, {}, false, false, 2, 3, 4, 2, 1, 0, 5, 3, 2, 1,
                                          0.3f, true, false, true, 2, 0, 0, 0, 3);
  ASSERT_NE(made, nullptr);
  const Structure& s = made->Core().structure;
  EXPECT_EQ(made->NumFingers(kLeft), 0);
  EXPECT_EQ(made->NumLinks(kLeftArm), 0);
  EXPECT_EQ(made->NumLinks(kLeftFingers), 0);
  EXPECT_EQ(made->NumLinks(kRightLeg), 4);
  EXPECT_EQ(made->NumLinks(kLeftHorseTwist), 3) << "any twist link switches twists on";
  EXPECT_EQ(made->NumLinks(kProp2), 0);
  EXPECT_EQ(made->NumLinks(kProp3), 1);
  EXPECT_EQ(s.neckLinks + 10 * s.spineLinks + 100 * s.tailLinks + 1000 * s.toes, 2232);
  EXPECT_EQ(made->GetHeight(), 120);
  EXPECT_TRUE(DefaultSession().Remove(static_cast<StriderMaster*>(made)));
  EXPECT_EQ(DefaultSession().scene.Nodes().size(), nodes);
}

TEST(Session, FiguresHaveNamesOfTheirOwnAndLeaveCompletely) {
  Session session;
  StriderMaster& one = MakeStrider(session, FullStructure());
  const std::size_t nodes = session.scene.Nodes().size();
  StriderMaster& two = MakeStrider(session, FullStructure());
  std::set<std::string> names;
  for (NodeHandle node : session.scene.Nodes()) names.insert(session.scene.Name(node));
  EXPECT_EQ(names.size(), 2 * nodes);
  int id, link;
  EXPECT_FALSE(one.GetIdLink(two.GetNode(kHead, 0), id, link));
  EXPECT_TRUE(session.Remove(&two));
  EXPECT_EQ(session.scene.Nodes().size(), nodes);
  EXPECT_FALSE(session.Remove(&two));
  EXPECT_TRUE(IsFinite(Ask(one, kHead, 0, 3)));
}

// --- Nodes ---------------------------------------------------------------------------------------

TEST(MasterNodes, GoThereAndBackForEveryLink) {
  Random random(2);
  for (int i = 0; i < 25; ++i) {
    Session session;
    StriderMaster& master =
        MakeStrider(session, i == 0 ? FullStructure() : test::RandomStructure(random));
    std::set<std::pair<int, int>> exist;
    for (const NodeInfo& info : BuildNodeTree(master.Core())) {
      SCOPED_TRACE(info.name);
      exist.insert({info.id, info.link});
      const NodeHandle node = master.GetNode(info.id, info.link);
      ASSERT_NE(node, kNoNode);
      ASSERT_EQ(session.scene.Name(node), info.name);
      ASSERT_EQ(session.scene.Parent(node), info.parentId == kNoBodyId
                                                ? kSceneRoot
                                                : master.GetNode(info.parentId, info.parentLink));
      int id = -7, link = -7;
      const bool isNub = FindBodyPart(info.id)->kind == PartKind::kNub;
      ASSERT_EQ(master.GetIdLink(node, id, link), !isNub);
      ASSERT_EQ(id, isNub ? -7 : info.id);
      ASSERT_EQ(link, isNub ? -7 : info.link);
    }
    for (int id = -2; id < 620; ++id) {
      for (int link = -1; link < 27; ++link) {
        ASSERT_EQ(master.GetNode(id, link) != kNoNode, exist.count({id, link}) > 0) << id << link;
      }
    }
    int id, link;
    EXPECT_FALSE(master.GetIdLink(kNoNode, id, link));
    EXPECT_FALSE(master.GetIdLink(kSceneRoot, id, link));
    EXPECT_FALSE(master.GetIdLink(session.scene.AddNode("Chair"), id, link));
  }
}

TEST(MasterNodes, UnknownIdsAndLinksAnswerTheIdentity) {
  Session session;
  StriderMaster& master = MakeStrider(session);
  const std::pair<int, int> rows[] = {{-1, 0},      {30, 0},      {110, 0},          {600, 0},
                                      {1 << 30, 0}, {kSpine, -1}, {kSpine, 1 << 30}, {kLeftArm, 4}};
  for (const auto& [id, link] : rows) {
    EXPECT_EQ(Ask(master, id, link, 100), Matrix3{}) << id << " " << link;
    EXPECT_EQ(master.UnmirroredTransform(id, link, 100), Matrix3{}) << id << " " << link;
  }
  EXPECT_EQ(master.NumFingers(2) + master.NumFingers(-1) + master.NumToes(7), 0);
}

// --- The cache -----------------------------------------------------------------------------------

TEST(MasterCache, ComputesOncePerTimeAndAfterEachChange) {
  Session session;
  StriderMaster& master = MakeMoving(session, FullStructure());
  const auto evaluationsOf = [&](const std::function<void()>& act) {
    const int before = master.NumEvaluations();
    act();
    return master.NumEvaluations() - before;
  };
  EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 500); }), 1);
  EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 500); }), 0);
  EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 501); }), 1);
  EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 500); }), 1);

  int notices = 0;
  session.scene.RegisterChangeCallback([&](NodeHandle node, Interval when) {
    notices +=
        node == master.GetNode(kHorizontal, 0) && when.start == kTimeMin && when.end == kTimeMax;
  });
  const MotionCore& core = master.Core();
  const struct {
    const char* what;
    std::function<bool()> edit;
  } changes[] = {
      {"limb key",
       [&] { return master.PutLimbKey(kLeftArm, 9, core.arm[1].rest) == KeyRefusal::kNone; }},
      {"chain key", [&] { return master.PutChainKey(kSpine, 9, {}) == KeyRefusal::kNone; }},
      {"head key", [&] { return master.PutHeadKey(9, {}) == KeyRefusal::kNone; }},
      {"pelvis key", [&] { return master.PutPelvisKey(9, {}) == KeyRefusal::kNone; }},
      {"vertical key", [&] { return master.PutVerticalKey(9, {}) == KeyRefusal::kNone; }},
      {"horizontal key", [&] { return master.PutHorizontalKey(9, {}) == KeyRefusal::kNone; }},
      {"turn key", [&] { return master.PutTurnKey(9, {}) == KeyRefusal::kNone; }},
      {"prop key", [&] { return master.PutPropKey(kProp1, 9, {}) == KeyRefusal::kNone; }},
      {"key gone", [&] { return master.DeleteKey(kSpine, 9) == KeyRefusal::kNone; }},
      {"euler", [&] { return master.SetEulerActive(kSpine, 1); }},
      {"quaternion", [&] { return master.SetQuaternionActive(kSpine); }},
      {"separate", [&] { return master.SetSeparateTracks(kSpine, true); }},
      {"height", [&] { return master.SetHeight(99); }},
      {"mode", [&] { return master.BeginModes(kInPlaceMode, false) != 0; }},
      {"head target", [&] { return master.SetHeadTarget(session.scene.AddNode("A")); }},
      {"IK target", [&] { return master.SetIkTarget(kLeftArm, session.scene.AddNode("B")); }},
  };
  for (const auto& change : changes) {
    SCOPED_TRACE(change.what);
    notices = 0;
    EXPECT_TRUE(change.edit());
    EXPECT_EQ(notices, 1);
    EXPECT_GE(evaluationsOf([&] { Shown(session, master, 500); }), 1);
    EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 500); }), 0);
  }
  // What was refused has changed nothing and tells nobody.
  notices = 0;
  LimbKey bad = core.arm[1].rest;
  bad.clavicle[0] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(master.PutLimbKey(kLeftArm, 9, bad), KeyRefusal::kNotFinite);
  EXPECT_NE(master.PutChainKey(kHead, 9, {}), KeyRefusal::kNone);
  EXPECT_NE(master.DeleteKey(kSpine, 77), KeyRefusal::kNone);
  EXPECT_FALSE(master.SetHeight(-1));
  EXPECT_FALSE(master.SetEulerActive(kSpine, 6));
  EXPECT_FALSE(master.SetIkTarget(kSpine, session.scene.AddNode("C")));
  EXPECT_EQ(master.BeginModes(kRubberBandMode, false), 0u);
  EXPECT_EQ(notices, 0);
  EXPECT_EQ(evaluationsOf([&] { Shown(session, master, 500); }), 0);
}

TEST(MasterCache, AnswersHoldForTheAskedInstantAndNullValuesStillComeUpToTime) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  Matrix3 value;
  Interval valid{3, 4};
  EXPECT_EQ(master.GetValue(kHead, 0, 777, &value, &valid, GetMethod::kAbsolute), 1);
  EXPECT_EQ(valid.start, 777);
  EXPECT_EQ(valid.end, 777);
  const int before = master.NumEvaluations();
  valid = {3, 4};
  EXPECT_EQ(master.GetValue(kHead, 0, 888, nullptr, &valid, GetMethod::kAbsolute), 1);
  EXPECT_EQ(valid.start, 3);
  EXPECT_EQ(valid.end, 4);
  EXPECT_EQ(master.NumEvaluations(), before + 1);
  (void)Ask(master, kHead, 0, 888);
  EXPECT_EQ(master.NumEvaluations(), before + 1);
}

// --- Where the figure stands -------------------------------------------------------------------

TEST(MasterRoot, EveryNodeMovesWithTheRootsParent) {
  Session session;
  StriderMaster& master = MakeMoving(session, FullStructure());
  const TimeValue t = 1234;
  const std::vector<Matrix3> alone = Shown(session, master, t);
  std::vector<Matrix3> relative;
  for (const NodeInfo& node : BuildNodeTree(master.Core())) {
    relative.push_back(Ask(master, node.id, node.link, t, GetMethod::kRelative));
  }
  EXPECT_EQ(relative, alone) << "nothing moves the figure yet";

  const NodeHandle cart = session.scene.AddNode("Cart");
  const auto ride = [](TimeValue at) {
    return FrameOf(AboutZ(0.3f + static_cast<float>(at) / 5000),
                   {7, static_cast<float>(at) / 100, 2});
  };
  ASSERT_TRUE(session.scene.SetMover(cart, ride));
  ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), cart));
  const std::vector<Matrix3> riding = Shown(session, master, t);
  std::size_t i = 0;
  for (const NodeInfo& node : BuildNodeTree(master.Core())) {
    SCOPED_TRACE(node.name);
    const Matrix3 wanted = alone[i] * ride(t);
    for (int row = 0; row < 4; ++row) {
      ASSERT_LT(Distance(riding[i].row[row], wanted.row[row]), 1e-4f * (row == 3 ? 100 : 1));
    }
    ASSERT_EQ(Ask(master, node.id, node.link, t, GetMethod::kRelative, ride(t)), alone[i]);
    ++i;
  }
  // Off the cart, it stays where the cart had it.
  ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), kSceneRoot));
  const std::vector<Matrix3> after = Shown(session, master, t);
  for (i = 0; i < after.size(); ++i) {
    ASSERT_LT(Distance(after[i].Origin(), riding[i].Origin()), 1e-3f);
  }
}

TEST(MasterRoot, AParentWithoutASoundFrameCannotSpoilThePose) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const NodeHandle parent = session.scene.AddNode("Parent");
  ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), parent));
  const Matrix3 frames[] = {
      {{{nan, 0, 0}, {0, 1, 0}, {0, 0, 1}, {}}},
      {{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {}}},
      {{{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {3e38f, 0, 0}}},
      {{{5, 0, 0}, {3, 2, 0}, {0, 0, -1}, {1, 2, 3}}},
      {{{1e-30f, 0, 0}, {0, 1e30f, 0}, {0, 0, 1}, {}}},
  };
  TimeValue t = 0;
  for (const Matrix3& frame : frames) {
    ASSERT_TRUE(session.scene.SetMover(parent, [frame](TimeValue) { return frame; }));
    ASSERT_TRUE(test::AllFinite(Shown(session, master, ++t)));
  }
}

TEST(MasterInPlace, TakesTheBodysGroundTravelOffAxisByAxis) {
  const struct {
    unsigned bit;
    bool x, y;  // taken off
  } rows[] = {
      {kInPlaceMode, true, true}, {kInPlaceXMode, true, false}, {kInPlaceYMode, false, true}};
  for (const auto& row : rows) {
    Session session;
    StriderMaster& master = MakeStrider(session);
    for (int k = 0; k < 2; ++k) {
      HorizontalKey key;
      key.position = {40.0f * static_cast<float>(k) + 3, 0, 16.0f * static_cast<float>(k) + 5};
      key.balanceFactor = 0.5f;
      ASSERT_EQ(master.PutHorizontalKey(k * 1600, key), KeyRefusal::kNone);
    }
    TurnKey lean;
    lean.rotation = AboutZ(-0.4f);
    ASSERT_EQ(master.PutTurnKey(0, lean), KeyRefusal::kNone);
    const std::vector<Matrix3> before = Shown(session, master, 800);
    ASSERT_EQ(master.BeginModes(row.bit, false), row.bit);
    const std::vector<Matrix3> inPlace = Shown(session, master, 800);
    // Half way the keyed path is at (23, 13): the host's (23, -13).
    const Point3 off{row.x ? 23.0f : 0, row.y ? -13.0f : 0, 0};
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_LT(Distance(inPlace[i].Origin(), before[i].Origin() - off), 1e-3f) << i;
      for (int k = 0; k < 3; ++k) EXPECT_LT(Distance(inPlace[i].row[k], before[i].row[k]), 1e-5f);
    }
    ASSERT_EQ(master.EndModes(row.bit, false), row.bit);
    EXPECT_EQ(Shown(session, master, 800), before);
  }
}

TEST(MasterLayers, TheirOffsetsMoveTheWholeFigure) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  const std::vector<Matrix3> plain = Shown(session, master, 700);
  auto layer = std::make_unique<MotionCore>(master.Core());
  master.EditCore().nextLayer = layer.get();
  layer->previousLayer = &master.EditCore();
  master.Changed();
  EXPECT_EQ(Shown(session, master, 700), plain) << "no offset is active";
  // From the origin 10 along x, a quarter turn to the left, 5 up: by hand (x, y) goes to
  // (-y, x + 10).
  layer->layerOffset = {true, {10, 0, 0}, {0, 0, 5}, kHalfPi};
  const std::vector<Matrix3> moved = Shown(session, master, 700);
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const Point3& p = plain[i].Origin();
    EXPECT_LT(Distance(moved[i].Origin(), {-p.y, p.x + 10, p.z + 5}), 1e-3f);
  }
  master.EditCore().nextLayer = nullptr;
}

TEST(MasterFigureMode, ShowsTheStructurePoseWithoutKeysOrTargets) {
  Session session;
  StriderMaster& master = MakeStrider(session, FullStructure());
  const std::vector<Matrix3> stance = Shown(session, master, 0);
  Random random(4);
  test::KeyAllTracks(master.EditCore(), random, {0, 1600});
  const NodeHandle lamp = session.scene.AddNode("Lamp");
  ASSERT_TRUE(session.scene.SetMatrix(lamp, Translation({30, 50, 90})));
  ASSERT_TRUE(master.SetHeadTarget(lamp));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, lamp));
  const std::vector<Matrix3> moving = Shown(session, master, 800);
  EXPECT_NE(moving, stance);
  StriderSlaveControl spine(master, kSpine, 0);
  EXPECT_EQ(spine.GetKeyIndex(1600), 1);
  ASSERT_EQ(master.BeginModes(kFigureMode, false), unsigned{kFigureMode});
  const int evaluations = master.NumEvaluations();
  for (TimeValue t : {0, 800, 5000}) ASSERT_EQ(Shown(session, master, t), stance) << t;
  EXPECT_EQ(master.NumEvaluations(), evaluations) << "no keys are evaluated";
  EXPECT_EQ(spine.GetKeyIndex(1600), -1) << "no keys apply";
  ASSERT_EQ(master.EndModes(kFigureMode, false), unsigned{kFigureMode});
  EXPECT_EQ(Shown(session, master, 800), moving);
}

// --- Sources of pose -----------------------------------------------------------------------------

struct LeaningSource : PoseSource {
  bool works = true;
  int calls = 0;
  bool EvaluatePose(MotionCore& core, TimeValue, const EvalContext&) override {
    ++calls;
    if (!works) return false;
    TakeStance(core);
    core.body.bodyPosition = {50, 40, 30};
    return true;
  }
};

TEST(MasterSources, AFlowOrAMixPlaysInPlaceOfTheKeysInItsMode) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  LeaningSource flow, mix;
  master.SetFlow(&flow);
  master.SetMix(&mix);
  const Point3 keyed = Ask(master, kPelvis, 0, 10).Origin(), played{50, -30, 40};
  TimeValue t = 10;
  const auto shows = [&] {
    master.Changed();
    return Ask(master, kPelvis, 0, t).Origin();
  };
  master.mixerMode = true;
  EXPECT_EQ(shows(), played);
  EXPECT_EQ(mix.calls, 1);
  master.motionFlowMode = true;
  EXPECT_EQ(shows(), played);
  EXPECT_EQ(flow.calls, 1);
  EXPECT_EQ(mix.calls, 1) << "the flow comes before the mix";
  master.mixerMode = false;
  master.flowEdit = true;
  EXPECT_EQ(shows(), keyed) << "while its clips are edited the keys show";
  master.flowEdit = false;
  flow.works = false;
  EXPECT_EQ(shows(), keyed) << "a source with nothing to say leaves the keys";
  EXPECT_EQ(flow.calls, 2);
}

// --- Controllers ---------------------------------------------------------------------------------

TEST(Controllers, ListTheKeysOfTheirOwnTrackOrSubTrack) {
  Session session;
  StriderMaster& master = MakeStrider(session);
  const auto control = [&](int id, int link) {
    return session.scene.ControlOf(master.GetNode(id, link));
  };
  VerticalKey height;
  TurnKey turn;
  ASSERT_EQ(master.PutVerticalKey(100, height), KeyRefusal::kNone);
  ASSERT_EQ(master.PutVerticalKey(300, height), KeyRefusal::kNone);
  ASSERT_EQ(master.PutTurnKey(200, turn), KeyRefusal::kNone);
  EXPECT_EQ(master.GetVerticalControl()->NumKeys(), 2);
  EXPECT_EQ(master.GetVerticalControl()->GetKeyTime(1), 300);
  EXPECT_EQ(master.GetTurnControl()->GetKeyTime(0), 200);
  EXPECT_EQ(master.GetHorizontalControl()->NumKeys(), 0);
  EXPECT_EQ(master.GetHorizontalControl()->GetKeyTime(0), kTimeMin);
  EXPECT_EQ(control(kFootprints, 0)->NumKeys(), 0) << "footsteps are its keys";
  EXPECT_EQ(control(kHorizontal, 0)->NumKeys(), -1) << "three tracks, none of its own";

  ASSERT_TRUE(master.SetSeparateTracks(kSpine, true));
  for (TimeValue t : {0, 500, 900}) {
    const std::uint32_t mask = t == 500 ? SubTrackMask(master.Core(), kSpine, 2) : kAllLinks;
    ASSERT_EQ(PutKey(master.EditCore(), kSpine, t, ChainKey{}, mask), KeyRefusal::kNone);
  }
  EXPECT_EQ(control(kSpine, 1)->NumKeys(), 2);
  EXPECT_EQ(control(kSpine, 1)->GetKeyTime(1), 900);
  EXPECT_EQ(control(kSpine, 1)->GetKeyIndex(900), 1);
  EXPECT_EQ(control(kSpine, 1)->GetKeyIndex(500), -1);
  EXPECT_EQ(control(kSpine, 2)->NumKeys(), 3);
  EXPECT_EQ(control(kSpine, 2)->GetKeyTime(3), kTimeMin);
  EXPECT_EQ(control(kSpine, 2)->GetKeyTime(-1), kTimeMin);
}

}  // namespace
}  // namespace strider
