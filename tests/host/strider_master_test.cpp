#include "strider/host/strider_master.h"

#include <functional>
#include <limits>
#include <set>

#include "strider/host/link_controls.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Distance;
using test::FullStructure;
using test::Random;

constexpr TimeValue kFrame = kDynamicsFrame;

StriderMaster& MakeStrider(Session& session, const Structure& structure = {}) {
  return static_cast<StriderMaster&>(*CreateNewStrider(session, structure));
}

/// A figure with all tracks keyed.
StriderMaster& MakeMoving(Session& session, const Structure& structure = {}, unsigned seed = 1) {
  StriderMaster& master = MakeStrider(session, structure);
  Random random(seed);
  test::KeyAllTracks(master.EditCore(), random, {0, 1600, 4800});
  master.Changed();
  return master;
}

Matrix3 Ask(StriderMaster& master, int id, int link, TimeValue t,
            GetMethod method = GetMethod::kAbsolute, Matrix3 value = {}) {
  EXPECT_EQ(master.GetValue(id, link, t, &value, nullptr, method), 1);
  return value;
}

/// What the scene shows of a figure: the way a host asks, parents first.
std::vector<Matrix3> Shown(Session& session, StriderMaster& master, TimeValue t) {
  std::vector<Matrix3> all;
  for (const NodeInfo& node : BuildNodeTree(master.Core())) {
    all.push_back(session.scene.NodeTransform(master.GetNode(node.id, node.link), t));
  }
  return all;
}

const TimeValue kTimes[] = {-300, 0, 900, 1600, 3000, 4800, 6000};

std::vector<std::vector<Matrix3>> ShownAtAllTimes(Session& session, StriderMaster& master) {
  std::vector<std::vector<Matrix3>> all;
  for (TimeValue t : kTimes) all.push_back(Shown(session, master, t));
  return all;
}

struct Messages {
  std::vector<std::pair<MessageId, std::string>> told;
  explicit Messages(Session& session) {
    session.messages = [this](MessageId id, const std::string& text) { told.push_back({id, text}); };
  }
};

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
      {"height", [&](Structure& s, float&, Point3&) { s.height = -3; }, {"", ""}},
      {"height", [&](Structure& s, float&, Point3&) { s.height = nan; }, {"", ""}},
      {"neckLinks", [](Structure& s, float&, Point3&) { s.neckLinks = 6; }, {"1", "5"}},
      {"spineLinks", [](Structure& s, float&, Point3&) { s.spineLinks = 0; }, {"1", "5"}},
      {"legLinks", [](Structure& s, float&, Point3&) { s.legLinks = 2; }, {"3", "4"}},
      {"tailLinks", [](Structure& s, float&, Point3&) { s.tailLinks = -1; }, {"0", "5"}},
      {"toes", [](Structure& s, float&, Point3&) { s.toes = 0; }, {"1", "5"}},
      {"fingerLinks", [](Structure& s, float&, Point3&) { s.fingerLinks = 4; }, {"1", "3"}},
      {"ankleAttach", [&](Structure& s, float&, Point3&) { s.ankleAttach = inf; }, {"", ""}},
      {"calfTwistLinks", [](Structure& s, float&, Point3&) { s.twistLinks[3] = 11; }, {"0", "10"}},
      {"angle", [&](Structure&, float& angle, Point3&) { angle = nan; }, {"", ""}},
      {"position", [&](Structure&, float&, Point3& p) { p.y = -inf; }, {"", ""}},
  };
  Session session;
  Messages messages(session);
  const NodeHandle other = session.scene.AddNode("Table");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    messages.told.clear();
    Structure s;
    float angle = 0;
    Point3 position;
    row.spoil(s, angle, position);
    EXPECT_EQ(CreateNewStrider(session, s, angle, position), nullptr);
    ASSERT_EQ(messages.told.size(), 1u);
    const std::string& text = messages.told[0].second;
    for (const char* part : {row.name, row.bounds[0], row.bounds[1]}) {
      EXPECT_NE(text.find(part), std::string::npos) << text;
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

TEST(MasterNodes, UnknownIdsAnswerTheIdentity) {
  Session session;
  StriderMaster& master = MakeStrider(session);
  for (int id : {-5, -1, 30, 99, 110, 200, 399, 400, 599, 600, 1 << 30}) {
    EXPECT_EQ(Ask(master, id, 0, 100), Matrix3{}) << id;
    EXPECT_EQ(master.UnmirroredTransform(id, 0, 100), Matrix3{}) << id;
  }
  for (int link : {-1, 4, 25, 75, 1 << 30}) {
    EXPECT_EQ(Ask(master, kSpine, link, 100), Matrix3{}) << link;
    EXPECT_EQ(Ask(master, kLeftArm, link, 100), Matrix3{}) << link;
    EXPECT_EQ(master.GetNode(kSpine, link), kNoNode);
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
    notices += node == master.GetNode(kHorizontal, 0) && when.start == kTimeMin &&
               when.end == kTimeMax;
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
    return FrameOf(AboutZ(0.3f + static_cast<float>(at) / 5000), {7, static_cast<float>(at) / 100, 2});
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
  } rows[] = {{kInPlaceMode, true, true}, {kInPlaceXMode, true, false}, {kInPlaceYMode, false, true}};
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
  Structure s = FullStructure();
  StriderMaster& master = MakeStrider(session, s);
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
  for (TimeValue t : {0, 800, 5000}) {
    const std::vector<Matrix3> shown = Shown(session, master, t);
    for (std::size_t i = 0; i < stance.size(); ++i) {
      ASSERT_EQ(shown[i], stance[i]) << BuildNodeTree(master.Core())[i].name;
    }
  }
  EXPECT_EQ(master.NumEvaluations(), evaluations) << "no keys are evaluated";
  EXPECT_EQ(spine.GetKeyIndex(1600), -1) << "no keys apply";
  ASSERT_EQ(master.EndModes(kFigureMode, false), unsigned{kFigureMode});
  EXPECT_EQ(Shown(session, master, 800), moving);
}

// --- Sources of pose ------------------------------------------------------------------------------

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
  for (bool onCart : {false, true}) {
    SCOPED_TRACE(onCart);
    Session session;
    StriderMaster& master = MakeHolding(session);
    if (onCart) {
      // The figure itself rides; the rail it holds does not move with it, but stays in reach.
      const NodeHandle cart = session.scene.AddNode("Cart");
      ASSERT_TRUE(session.scene.SetMover(cart, [](TimeValue t) {
        return Translation({0, static_cast<float>(t) / 2000, 0});
      }));
      ASSERT_TRUE(session.scene.SetParent(master.GetNode(kHorizontal, 0), cart));
    }
    const Matrix3 before = Hand(session, master, 0);
    const NodeHandle rail = session.scene.AddNode("Rail");
    const auto swing = [&](TimeValue t) {
      const float s = onCart ? 0 : static_cast<float>(t) / 4800;
      return FrameOf(AboutZ(0.2f * s), before.Origin() + Point3{1, 2, 3 * s});
    };
    ASSERT_TRUE(session.scene.SetMover(rail, swing));
    EXPECT_FALSE(master.SetIkTarget(kRightFingers, NodeHandle{999}));
    ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
    EXPECT_EQ(master.GetIkTarget(kRightArm), rail);
    EXPECT_EQ(master.GetIkTarget(kLeftLeg), kNoNode);
    (void)Shown(session, master, 4000);
    const Matrix3 start = Hand(session, master, 0);
    EXPECT_LT(Distance(start.Origin(), before.Origin()), 1e-2f);
    const Matrix3 grip = start * Inverse(swing(0));
    for (TimeValue t : {0, 333, 2400, 4000, 4799}) {
      SCOPED_TRACE(t);
      const Matrix3 now = Hand(session, master, t) * Inverse(swing(t));
      const Matrix3 end = Hand(session, master, 4800) * Inverse(swing(4800));
      // The world's place was kept at both keys; between them the hand goes from one to the other.
      const float u = static_cast<float>(t) / 4800;
      EXPECT_LT(Distance(now.Origin(), Lerp(grip.Origin(), end.Origin(), u)), 0.15f);
    }
    EXPECT_LT(Distance(Hand(session, master, 4800).Origin(),
                       before.Origin() + Point3{0, onCart ? 2.4f : 0, 0}),
              2e-2f);
  }
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
  ASSERT_TRUE(session.scene.SetMatrix(rail, Translation(HostFromCore(core.arm[kRight].frame[3].Origin()))));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, rail));
  LimbKey key = CurrentLimbKey(core, core.arm[kRight], kPlantedKey);
  key.objectTarget = key.pivotPosition = {};
  for (TimeValue t : {0, 4800}) ASSERT_EQ(master.PutLimbKey(kRightArm, t, key), KeyRefusal::kNone);
  const Point3 grip = session.scene.NodeTransform(rail, 0).Origin();
  for (TimeValue t : {0, 1200, 300, 2400, 2399, 0}) {
    EXPECT_LT(Distance(Hand(session, master, t).Origin(), grip), 0.02f) << t;
  }
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
         EXPECT_EQ(m.PutLimbKey(kLeftLeg, 900, CurrentLimbKey(posed, posed.leg[kLeft], kPlantedKey)),
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
      {"other IK target",
       [](Session& s, StriderMaster& m) {
         EXPECT_TRUE(m.SetIkTarget(kLeftLeg, s.scene.FindByName("Rail")));
       }},
      {"head target",
       [](Session& s, StriderMaster& m) {
         EXPECT_TRUE(m.SetHeadTarget(s.scene.FindByName("Rail")));
       }},
      {"head target off",
       [](Session&, StriderMaster& m) { EXPECT_TRUE(m.SetHeadTarget(kNoNode)); }},
  };
  for (const auto& row : rows) {
    for (bool ownHand : {false, true}) {
      SCOPED_TRACE(testing::Message() << row.what << ", target in own hand " << ownHand);
      Session session;
      StriderMaster& master = MakeMoving(session, FullStructure(), 5);
      const NodeHandle ball = session.scene.AddNode("Ball");
      ASSERT_TRUE(session.scene.SetMatrix(ball, FrameOf(AboutX(0.4f), {3, 30, 40})));
      const NodeHandle rail = session.scene.AddNode(
          "Rail", ownHand ? master.GetNode(kLeftArm, 3) : kSceneRoot);
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

TEST(MasterUndo, CallingAChangeOffTakesItBack) {
  Session session;
  StriderMaster& master = MakeMoving(session);
  const auto before = ShownAtAllTimes(session, master);
  session.hold.Begin();
  ASSERT_EQ(master.DeleteKey(kTurn, 1600), KeyRefusal::kNone);
  ASSERT_TRUE(master.SetHeight(10));
  ASSERT_TRUE(session.hold.Cancel());
  EXPECT_TRUE(ShownAtAllTimes(session, master) == before);
  EXPECT_FALSE(session.hold.Undo());
}

TEST(MasterUndo, ARefusedEditMakesNoStepAndKeepsWhatCanBeRedone) {
  Session session;
  StriderMaster& master = MakeMoving(session);
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
  EXPECT_EQ(master.GetVerticalControl()->GetKeyIndex(300), 1);
  EXPECT_EQ(master.GetVerticalControl()->GetKeyIndex(301), -1);
  EXPECT_EQ(master.GetTurnControl()->GetKeyTime(0), 200);
  EXPECT_EQ(master.GetHorizontalControl()->NumKeys(), 0);
  EXPECT_EQ(master.GetHorizontalControl()->GetKeyTime(0), kTimeMin);
  EXPECT_EQ(control(kFootprints, 0)->NumKeys(), -1) << "no track at all";
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
