#include "strider/core/node_tree.h"

#include <map>
#include <set>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::FullStructure;
using test::MakeFigure;
using test::Random;
using test::RandomStructure;

using Part = std::pair<int, int>;

std::map<Part, Part> Parents(const MotionCore& core) {
  std::map<Part, Part> parents;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    parents[{node.id, node.link}] = {node.parentId, node.parentLink};
  }
  return parents;
}

void AddXtra(MotionCore& core, int parentId, int links, const char* name) {
  XtraChain xtra;
  xtra.name = name;
  xtra.parentId = parentId;
  xtra.chain.numLinks = links;
  core.xtras.push_back(xtra);
  LayOutFigure(core, core.structure);
}

TEST(NodeTree, HasANodeForEveryLinkThatTheFigureHasAndHangsTogetherFromOneRoot) {
  Random random(31);
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = MakeFigure(RandomStructure(random));
    for (int k = random.Int(0, 3); k > 0; --k) AddXtra(core, kHead, random.Int(1, 25), "");
    const std::map<Part, Part> parents = Parents(core);
    std::set<std::string> names;
    for (const NodeInfo& node : BuildNodeTree(core)) {
      ASSERT_TRUE(names.insert(node.name).second) << node.name << " twice";
    }
    ASSERT_EQ(names.size(), parents.size()) << "a link twice";
    for (int id = -2; id < 650; ++id) {
      for (int link = -1; link < 30; ++link) {
        ASSERT_EQ(parents.count({id, link}) > 0, HasNode(core, id, link)) << id << " " << link;
      }
    }
    for (const auto& entry : parents) {
      Part at = entry.first;
      int steps = 0;
      while (at != Part{kHorizontal, 0}) {
        const auto above = parents.find(at);
        ASSERT_NE(above, parents.end()) << at.first << " " << at.second << " has no node";
        at = above->second;
        ASSERT_LT(++steps, 60) << "a ring above " << entry.first.first;
      }
    }
  }
}

TEST(NodeTree, ParentsFollowTheTriangleFlags) {
  for (bool trianglePelvis : {false, true}) {
    for (bool triangleNeck : {false, true}) {
      Structure s = FullStructure();
      s.trianglePelvis = trianglePelvis;
      s.triangleNeck = triangleNeck;
      s.shortThumb = true;
      const std::map<Part, Part> parents = Parents(MakeFigure(s));
      const Part hips = trianglePelvis ? Part{kSpine, 0} : Part{kPelvis, 0};
      const Part chest = triangleNeck ? Part{kSpine, 4} : Part{kNeck, 0};
      const struct {
        Part child, parent;
      } rows[] = {
          {{kHorizontal, 0}, {kNoBodyId, 0}},
          {{kPelvis, 0}, {kHorizontal, 0}},
          {{kFootprints, 0}, {kHorizontal, 0}},
          {{kProp2, 0}, {kHorizontal, 0}},
          {{kSpine, 0}, {kPelvis, 0}},
          {{kSpine, 3}, {kSpine, 2}},
          {{kRightLeg, 0}, hips},
          {{kLeftLeg, 0}, hips},
          {{kTail, 0}, hips},
          {{kNeck, 0}, {kSpine, 4}},
          {{kHead, 0}, {kNeck, 4}},
          {{kPony2, 0}, {kHead, 0}},
          {{kLeftArm, 0}, chest},
          {{kRightArm, 0}, chest},
          {{kLeftArm, 3}, {kLeftArm, 2}},
          // Three links a finger: flat link 3 starts the second finger.
          {{kLeftFingers, 3}, {kLeftArm, 3}},
          {{kLeftFingers, 5}, {kLeftFingers, 4}},
          {{kRightToes, 12}, {kRightLeg, 3}},
          // The shortened thumb ends on its second link.
          {{kRightFingerNubs, 0}, {kRightFingers, 1}},
          {{kLeftFingerNubs, 4}, {kLeftFingers, 14}},
          {{kLeftToeNubs, 1}, {kLeftToes, 5}},
          {{kTailNub, 0}, {kTail, 4}},
          {{kLeftForearmTwist, 2}, {kLeftArm, 2}},
          {{kRightHorseTwist, 0}, {kRightLeg, 2}},
      };
      for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.child.first << " " << row.child.second);
        ASSERT_EQ(parents.count(row.child), 1u);
        EXPECT_EQ(parents.at(row.child), row.parent);
      }
      EXPECT_EQ(parents.count({kRightFingers, 2}), 0u);
    }
  }
}

// The order is a promise to those who walk the list: sections as they are made, right before left.
TEST(NodeTree, ListsSectionsInTheOrderOfTheirMaking) {
  MotionCore core = MakeFigure(FullStructure());
  AddXtra(core, kPelvis, 2, "Horn");
  const std::vector<std::vector<int>> rows = {
      {kHorizontal, kPelvis, kSpine, kRightLeg, kLeftLeg, kRightArm, kLeftArm},
      {kHead, kNeck, kTail, kPony1, kPony2, kXtraFirst},
      {kRightForearmTwist, kLeftForearmTwist, kRightUpperArmTwist, kLeftUpperArmTwist},
      {kRightThighTwist, kLeftThighTwist, kRightCalfTwist, kLeftCalfTwist},
      {kRightHorseTwist, kLeftHorseTwist, kProp1, kProp2, kProp3},
      {kRightFingers, kLeftFingers, kRightToes, kLeftToes, kFootprints},
      {kRightFingerNubs, kLeftFingerNubs, kRightToeNubs, kLeftToeNubs},
      {kTailNub, kHeadNub, kPony1Nub, kPony2Nub, kXtraNubFirst}};
  std::vector<int> order;
  for (const std::vector<int>& row : rows) order.insert(order.end(), row.begin(), row.end());
  std::vector<int> sections;
  int link = 0;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    if (sections.empty() || sections.back() != node.id) {
      sections.push_back(node.id);
      link = 0;
    }
    EXPECT_EQ(node.link, link++) << node.name;
  }
  EXPECT_EQ(sections, order);
}

TEST(NodeTree, EveryNodeButTheRootIsNamedAfterIt) {
  MotionCore core = MakeFigure(FullStructure());
  core.name = "Hero";
  AddXtra(core, kPelvis, 1, "Horn");
  for (const NodeInfo& node : BuildNodeTree(core)) {
    if (node.id == kHorizontal) {
      EXPECT_EQ(node.name, "Hero");
    } else {
      EXPECT_EQ(node.name.rfind("Hero_", 0), 0u) << node.name;
      EXPECT_GT(node.name.size(), 5u);
    }
    EXPECT_EQ(node.id == kXtraFirst, node.name == "Hero_Horn1");
  }
}

}  // namespace
}  // namespace strider
