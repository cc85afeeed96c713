#include "strider/host/scene.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace strider {
namespace {

// A quarter turn about the upright axis, x to y, then a step along x.
const Matrix3 kTurnedAndMoved = {{{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}, {10, 0, 0}}};

struct RecordingControl : Control {
  std::vector<Matrix3>* parents = nullptr;
  int answer = 1;
  GetMethod lastMethod = GetMethod::kRelative;

  int GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) override {
    lastMethod = method;
    if (parents) parents->push_back(*value);
    if (answer == 0) return 0;
    *value = Translation({0, 0, static_cast<float>(t)}) * *value;
    *valid = Interval::Instant(t);
    return 1;
  }
};

TEST(Scene, PlacesAChildThroughItsParents) {
  Scene scene;
  const NodeHandle carrier = scene.AddNode("Carrier");
  const NodeHandle child = scene.AddNode("Child", carrier);
  ASSERT_TRUE(scene.SetMatrix(carrier, kTurnedAndMoved));
  ASSERT_TRUE(scene.SetMatrix(child, Translation({1, 2, 3})));
  // By hand: x 1 goes along y, y 2 against x, and the carrier stands at x 10.
  EXPECT_EQ(scene.NodeTransform(child, 0).Origin(), (Point3{8, 1, 3}));

  // A carrier that rides along x at one unit a second.
  ASSERT_TRUE(scene.SetMover(carrier, [](TimeValue t) {
    return Translation({static_cast<float>(t) / kTicksPerSecond, 0, 0});
  }));
  EXPECT_EQ(scene.NodeTransform(child, 2 * kTicksPerSecond).Origin(), (Point3{3, 2, 3}));
  EXPECT_EQ(scene.NodeTransform(child, -kTicksPerSecond).Origin(), (Point3{0, 2, 3}));

  EXPECT_EQ(scene.NodeTransform(kSceneRoot, 0), Matrix3::Identity());
  EXPECT_EQ(scene.NodeTransform(kNoNode, 0), Matrix3::Identity());
}

TEST(Scene, HandsAControllerItsParentsWorldTransformParentsFirst) {
  Scene scene;
  std::vector<Matrix3> parents;
  RecordingControl upper, lower;
  upper.parents = lower.parents = &parents;
  const NodeHandle base = scene.AddNode("Base");
  const NodeHandle top = scene.AddNode("Top", base);
  const NodeHandle tip = scene.AddNode("Tip", top);
  scene.SetMatrix(base, kTurnedAndMoved);
  scene.SetControl(top, &upper);
  scene.SetControl(tip, &lower);

  EXPECT_EQ(scene.NodeTransform(tip, 7).Origin(), (Point3{10, 0, 14}));
  ASSERT_EQ(parents.size(), 2u);
  EXPECT_EQ(parents[0], kTurnedAndMoved);
  EXPECT_EQ(parents[1].Origin(), (Point3{10, 0, 7}));
  EXPECT_EQ(lower.lastMethod, GetMethod::kAbsolute);

  upper.answer = 0;  // has nothing to say: the node stays at its parent
  EXPECT_EQ(scene.NodeTransform(top, 7), kTurnedAndMoved);
  EXPECT_TRUE(scene.SetControl(tip, nullptr));
  EXPECT_EQ(scene.NodeTransform(tip, 7), kTurnedAndMoved);
}

TEST(Scene, PlacesChainsOfAnyDepth) {
  Scene scene;
  NodeHandle last = kSceneRoot;
  std::vector<NodeHandle> chain;
  for (int i = 0; i < 100000; ++i) {
    last = scene.AddNode("Link", last);
    scene.SetMatrix(last, Translation({1, 0, 0}));
    chain.push_back(last);
  }
  for (int depth : {1, 63, 64, 65, 128, 129, 100000}) {
    EXPECT_EQ(scene.NodeTransform(chain[depth - 1], 0).Origin().x, static_cast<float>(depth));
  }
}

TEST(Scene, AMoverMayEditTheSceneWhileItIsAsked) {
  Scene scene;
  const NodeHandle node = scene.AddNode("Vanishing");
  scene.SetMover(node, [&scene, node, place = Point3{4, 5, 6}](TimeValue) {
    for (int i = 0; i < 100; ++i) scene.AddNode("Debris");
    scene.RemoveNode(node);
    return Translation(place);
  });
  EXPECT_EQ(scene.NodeTransform(node, 0).Origin(), (Point3{4, 5, 6}));
  EXPECT_FALSE(scene.Exists(node));
}

TEST(Scene, MakesNamesUnique) {
  Scene scene;
  const struct {
    const char* wanted;
    const char* given;
  } rows[] = {
      {"Foot", "Foot"}, {"Foot", "Foot01"}, {"Foot", "Foot02"}, {"Foot01", "Foot03"},
      {"foot", "foot"}, {"Arm2", "Arm2"},   {"Arm2", "Arm201"}, {"Arm201", "Arm202"},
      {"", "Node"},     {"", "Node01"},     {"07", "07"},       {"07", "0701"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    const NodeHandle node = scene.AddNode(row.wanted);
    EXPECT_EQ(scene.Name(node), row.given);
    EXPECT_EQ(scene.FindByName(row.given), node);
  }
  for (int i = 4; i <= 101; ++i) scene.AddNode("Foot");
  EXPECT_NE(scene.FindByName("Foot100"), kNoNode);

  for (const char* freed : {"Foot100", "Foot02", "Arm201"}) {  // numbers that came free are used
    SCOPED_TRACE(freed);
    ASSERT_TRUE(scene.RemoveNode(scene.FindByName(freed)));
    EXPECT_EQ(scene.FindByName(freed), kNoNode);
    const std::string base = freed[0] == 'A' ? "Arm2" : "Foot";
    EXPECT_EQ(scene.Name(scene.AddNode(base)), freed);
  }
}

TEST(Scene, Renames) {
  Scene scene;
  const NodeHandle hand = scene.AddNode("Hand"), other = scene.AddNode("Other");
  EXPECT_TRUE(scene.Rename(other, "Hand"));
  EXPECT_EQ(scene.Name(other), "Hand01");
  EXPECT_EQ(scene.FindByName("Other"), kNoNode);
  EXPECT_TRUE(scene.Rename(hand, "Hand"));
  EXPECT_EQ(scene.Name(hand), "Hand") << "its own name is not taken by another";
  EXPECT_FALSE(scene.Rename(hand, ""));
  EXPECT_FALSE(scene.Rename(kNoNode, "Ghost"));
  EXPECT_EQ(scene.FindByName("Hand"), hand);
}

// The same edits on the scene and on a plain map of parents and steps, compared after each.
TEST(Scene, TreeStaysSoundOverRandomEdits) {
  std::mt19937 random(11);
  const auto pick = [&random](int count) { return static_cast<int>(random() % count); };
  struct Expected {
    NodeHandle parent;
    float step;
  };
  std::map<NodeHandle, Expected> model;  // handles rise, so the map is in the order of making
  std::set<NodeHandle> dead;
  Scene scene;
  const auto stepsUp = [&model](NodeHandle node) {
    float x = 0;
    for (; node != kSceneRoot; node = model.at(node).parent) x += model.at(node).step;
    return x;
  };
  const auto anyNode = [&] {
    return model.empty() ? kSceneRoot : std::next(model.begin(), pick(model.size()))->first;
  };
  for (int round = 0; round < 2000; ++round) {
    const NodeHandle node = anyNode(), target = pick(5) == 0 ? kSceneRoot : anyNode();
    const int edit = model.empty() ? 0 : pick(5);
    if (edit <= 1) {
      const NodeHandle added = scene.AddNode(pick(2) ? "Leg" : "Leg07", target);
      const float step = static_cast<float>(pick(9));
      ASSERT_FALSE(model.count(added) || dead.count(added));
      scene.SetMatrix(added, Translation({step, 0, 0}));
      model[added] = {target, step};
    } else if (edit <= 3) {
      bool below = false;
      for (NodeHandle up = target; up != kSceneRoot; up = model.at(up).parent) below |= up == node;
      ASSERT_EQ(scene.SetParent(node, target), !below);
      if (!below) model[node].parent = target;
    } else {
      const NodeHandle heir = model.at(node).parent;
      ASSERT_TRUE(scene.RemoveNode(node));
      model.erase(node);
      for (auto& [handle, expected] : model) {
        if (expected.parent == node) expected.parent = heir;
      }
      dead.insert(node);
    }

    const std::vector<NodeHandle> nodes = scene.Nodes();
    ASSERT_EQ(nodes.size(), model.size());
    auto expected = model.begin();
    for (const NodeHandle handle : nodes) {
      ASSERT_EQ(handle, expected->first);
      ASSERT_EQ(scene.Parent(handle), expected->second.parent);
      ASSERT_EQ(scene.NodeTransform(handle, 0).Origin().x, stepsUp(handle));
      ASSERT_EQ(scene.FindByName(scene.Name(handle)), handle);
      ++expected;
    }
  }
  ASSERT_GT(dead.size(), 100u);
  for (const NodeHandle gone : dead) {
    EXPECT_FALSE(scene.Exists(gone) || scene.RemoveNode(gone) || scene.SetMatrix(gone, {}) ||
                 scene.SetParent(gone, kSceneRoot) || scene.NotifyDependents(gone, {}));
    EXPECT_EQ(scene.AddNode("Orphan", gone), kNoNode);
    EXPECT_EQ(scene.Parent(gone), kNoNode);
  }
}

TEST(Scene, RefusesPlacingsThatCannotBeUsed) {
  Scene scene;
  const NodeHandle node = scene.AddNode("Box");
  scene.SetMatrix(node, kTurnedAndMoved);
  Matrix3 broken = kTurnedAndMoved;
  broken.row[3].y = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(scene.SetMatrix(node, broken));
  EXPECT_FALSE(scene.SetMover(node, nullptr));
  EXPECT_EQ(scene.NodeTransform(node, 0), kTurnedAndMoved);
}

TEST(Scene, TakesOnlyFramesThatFillASecond) {
  Scene scene;
  EXPECT_EQ(scene.TicksPerFrame(), 160);
  const struct {
    int ticks;
    bool taken;
  } rows[] = {
      {200, true}, {0, false}, {-160, false}, {161, false}, {4801, false}, {4800, true}, {1, true},
  };
  int expected = 160;
  for (const auto& row : rows) {
    EXPECT_EQ(scene.SetTicksPerFrame(row.ticks), row.taken) << row.ticks;
    if (row.taken) expected = row.ticks;
    EXPECT_EQ(scene.TicksPerFrame(), expected);
  }
}

TEST(Scene, TimeCallbacksMayComeAndGoWhileTheyAreCalled) {
  Scene scene;
  std::string heard;
  CallbackId once{}, doomed{};
  once = scene.RegisterTimeCallback([&, mark = std::string("once ")](TimeValue) {
    scene.UnregisterTimeCallback(once);  // destroys nothing that still runs: mark is read after it
    scene.UnregisterTimeCallback(doomed);
    scene.RegisterTimeCallback([&heard](TimeValue t) { heard += "new" + std::to_string(t) + " "; });
    heard += mark;
  });
  doomed = scene.RegisterTimeCallback([&](TimeValue) { heard += "doomed "; });
  const CallbackId steady =
      scene.RegisterTimeCallback([&](TimeValue t) { heard += "steady" + std::to_string(t) + " "; });

  scene.SetTime(0);
  EXPECT_EQ(heard, "") << "the time is 0 already";
  scene.SetTime(5);
  EXPECT_EQ(heard, "once steady5 ");
  heard.clear();
  scene.NotifyTimeChange();
  EXPECT_EQ(heard, "steady5 new5 ");
  EXPECT_TRUE(scene.UnregisterTimeCallback(steady));
  EXPECT_FALSE(scene.UnregisterTimeCallback(steady));
  EXPECT_EQ(scene.RegisterTimeCallback(nullptr), kNoCallback);
}

TEST(Scene, EveryoneEndsOnTheTimeThatACallbackSets) {
  Scene scene;
  TimeValue first = -1, last = -1;
  scene.RegisterTimeCallback([&](TimeValue t) { first = t; });
  scene.RegisterTimeCallback([&](TimeValue t) {
    if (t > 100) scene.SetTime(100);  // the end of a loop, say
  });
  scene.RegisterTimeCallback([&](TimeValue t) { last = t; });
  scene.SetTime(250);
  EXPECT_EQ(first, 100);
  EXPECT_EQ(last, 100);
}

TEST(Scene, TellsWhichNodeChangedAndWhen) {
  Scene scene;
  const NodeHandle parent = scene.AddNode("Parent"), child = scene.AddNode("Child", parent);
  struct Notice {
    NodeHandle node;
    TimeValue start, end;
    bool exists;
  };
  std::vector<Notice> heard;
  const CallbackId id = scene.RegisterChangeCallback([&](NodeHandle node, Interval when) {
    heard.push_back({node, when.start, when.end, scene.Exists(node)});
  });

  EXPECT_TRUE(scene.NotifyDependents(child, {160, 320}));
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].node, child);
  EXPECT_EQ(heard[0].start, 160);
  EXPECT_EQ(heard[0].end, 320);

  heard.clear();
  scene.SetMatrix(child, kTurnedAndMoved);
  scene.SetParent(parent, child);  // refused: nothing to tell
  scene.RemoveNode(parent);
  ASSERT_EQ(heard.size(), 3u);
  EXPECT_TRUE(heard[0].node == child && heard[0].start == kTimeMin && heard[0].end == kTimeMax);
  EXPECT_TRUE(heard[1].node == parent && !heard[1].exists);
  EXPECT_TRUE(heard[2].node == child && heard[2].exists) << "it moved with its parent gone";

  EXPECT_TRUE(scene.UnregisterChangeCallback(id));
  heard.clear();
  scene.NotifyDependents(child, {});
  EXPECT_TRUE(heard.empty());
}

}  // namespace
}  // namespace strider
