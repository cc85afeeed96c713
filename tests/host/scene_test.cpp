#include "strider/host/scene.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <random>
#include <set>

namespace strider {
namespace {

// A quarter turn about the upright axis, x to y, then a step along x.
const Matrix3 kTurnedAndMoved = {{{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}, {10, 0, 0}}};

struct RecordingControl : Control {
  Matrix3 parent;
  int answer = 1;

  int GetValue(TimeValue t, Matrix3* value, Interval*, GetMethod method) override {
    EXPECT_EQ(method, GetMethod::kAbsolute);
    parent = *value;
    if (answer == 1) *value = Translation({0, 0, static_cast<float>(t)}) * *value;
    return answer;
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

  Matrix3 broken = kTurnedAndMoved;
  broken.row[3].y = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(scene.SetMatrix(carrier, broken) || scene.SetMover(carrier, nullptr));
  EXPECT_EQ(scene.NodeTransform(child, 0).Origin(), (Point3{1, 2, 3}));
}

TEST(Scene, HandsAControllerItsParentsWorldTransform) {
  Scene scene;
  RecordingControl upper, lower;
  const NodeHandle base = scene.AddNode("Base"), top = scene.AddNode("Top", base);
  const NodeHandle tip = scene.AddNode("Tip", top);
  scene.SetMatrix(base, kTurnedAndMoved);
  scene.SetControl(top, &upper);
  scene.SetControl(tip, &lower);

  EXPECT_EQ(scene.NodeTransform(tip, 7).Origin(), (Point3{10, 0, 14}));
  EXPECT_EQ(upper.parent, kTurnedAndMoved);
  EXPECT_EQ(lower.parent.Origin(), (Point3{10, 0, 7}));

  upper.answer = 0;  // has nothing to say: the node stays at its parent
  EXPECT_TRUE(scene.SetControl(tip, nullptr));
  EXPECT_EQ(scene.NodeTransform(tip, 7), kTurnedAndMoved);
}

TEST(Scene, PlacesChainsOfAnyDepth) {
  Scene scene;
  NodeHandle last = kSceneRoot;
  for (int depth = 1; depth <= 100000; ++depth) {
    last = scene.AddNode("Link", last);
    scene.SetMatrix(last, Translation({1, 0, 0}));
    if (depth > 130 && depth < 100000) continue;
    ASSERT_EQ(scene.NodeTransform(last, 0).Origin().x, static_cast<float>(depth));
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
      {"Foot", "Foot"}, {"Foot", "Foot01"}, {"Foot01", "Foot02"}, {"foot", "foot"},
      {"Arm2", "Arm2"}, {"Arm2", "Arm201"}, {"Arm201", "Arm202"}, {"", "Node"},
      {"07", "07"},     {"07", "0701"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    const NodeHandle node = scene.AddNode(row.wanted);
    EXPECT_EQ(scene.Name(node), row.given);
    EXPECT_EQ(scene.FindByName(row.given), node);
  }
  for (int i = 3; i <= 101; ++i) scene.AddNode("Foot");
  EXPECT_NE(scene.FindByName("Foot100"), kNoNode);

  for (const char* freed : {"Foot100", "Foot02", "Arm201"}) {  // numbers that came free are used
    SCOPED_TRACE(freed);
    ASSERT_TRUE(scene.RemoveNode(scene.FindByName(freed)));
    EXPECT_EQ(scene.FindByName(freed), kNoNode);
    const std::string base = freed[0] == 'A' ? "Arm2" : "Foot";
    EXPECT_EQ(scene.Name(scene.AddNode(base)), freed);
  }
  const NodeHandle foot = scene.FindByName("Foot"), arm = scene.FindByName("Arm2");
  EXPECT_TRUE(scene.Rename(arm, "Foot") && scene.Rename(foot, "Foot"));
  EXPECT_EQ(scene.Name(arm), "Foot102");
  EXPECT_EQ(scene.Name(foot), "Foot") << "its own name is not taken by another";
  EXPECT_EQ(scene.FindByName("Foot102"), arm);
  EXPECT_EQ(scene.FindByName("Arm2"), kNoNode);
  EXPECT_FALSE(scene.Rename(foot, "") || scene.Rename(kNoNode, "Ghost"));
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
  ASSERT_FALSE(dead.empty());
  for (const NodeHandle gone : dead) {
    EXPECT_FALSE(scene.Exists(gone) || scene.RemoveNode(gone) || scene.SetMatrix(gone, {}) ||
                 scene.SetParent(gone, kSceneRoot) || scene.NotifyDependents(gone, {}));
    EXPECT_EQ(scene.AddNode("Orphan", gone), kNoNode);
    EXPECT_EQ(scene.Parent(gone), kNoNode);
  }
}

TEST(Scene, TakesOnlyFramesThatFillASecond) {
  Scene scene;
  for (int ticks : {0, -160, 161, 9600}) {
    EXPECT_FALSE(scene.SetTicksPerFrame(ticks)) << ticks;
    EXPECT_EQ(scene.TicksPerFrame(), 160);
  }
  for (int ticks : {200, 4800, 1}) {
    EXPECT_TRUE(scene.SetTicksPerFrame(ticks)) << ticks;
    EXPECT_EQ(scene.TicksPerFrame(), ticks);
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
  std::string heard;
  const CallbackId id = scene.RegisterChangeCallback([&](NodeHandle node, Interval when) {
    const bool forever = when.start == kTimeMin && when.end == kTimeMax;
    heard += (node == parent ? "parent" : "child") + std::string(scene.Exists(node) ? "" : " gone");
    heard += forever ? "; " : " " + std::to_string(when.start) + " " + std::to_string(when.end);
  });

  EXPECT_TRUE(scene.NotifyDependents(child, {160, 320}));
  EXPECT_EQ(heard, "child 160 320");
  heard.clear();
  scene.SetMatrix(child, kTurnedAndMoved);
  scene.SetParent(parent, child);  // refused: nothing to tell
  scene.RemoveNode(parent);
  EXPECT_EQ(heard, "child; parent gone; child; ") << "it moved with its parent gone";

  EXPECT_TRUE(scene.UnregisterChangeCallback(id));
  heard.clear();
  scene.NotifyDependents(child, {});
  EXPECT_EQ(heard, "");
}

}  // namespace
}  // namespace strider
