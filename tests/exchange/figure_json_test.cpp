#include "exchange/figure_json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "strider/core/node_tree.h"
#include "tests/exchange/random_structures.h"

namespace strider {
namespace {

using Json = nlohmann::ordered_json;
using NodeKey = std::pair<int, int>;

Point3 ToPoint(const Json& j) { return {j[0].get<float>(), j[1].get<float>(), j[2].get<float>()}; }

/// A figure as a reader of its JSON sees it.
struct ReadFigure {
  Json json;
  std::map<NodeKey, Json> nodes;

  explicit ReadFigure(const Structure& structure)
      : json(Json::parse(FigureJson(Standing(structure)))) {
    for (const Json& node : json["nodes"]) nodes[{node["id"], node["link"]}] = node;
  }
  bool Has(int id, int link) const { return nodes.count({id, link}) > 0; }
  const Json& Node(int id, int link) const { return nodes.at({id, link}); }
  Point3 Place(int id, int link) const { return ToPoint(Node(id, link)["position"]); }
  /// One of the node's own axes in the world, from the rotation as it is printed: v' = q v q*.
  Point3 Axis(int id, int link, const Point3& axis) const {
    const Json& q = Node(id, link)["rotation"];
    return Rotate({q[0], q[1], q[2], q[3]}, axis);
  }
  float Height() const { return json["height"].get<float>(); }
  int FootLink() const { return json["structure"]["legLinks"].get<int>() - 1; }
};

// Places are sums of about ten floats of the figure's size, each rounded to 6e-8 of it.
float Tolerance(const ReadFigure& figure) { return 2e-5f * figure.Height(); }

void ExpectNear(const Point3& a, const Point3& b, float tolerance) {
  EXPECT_LE(Length(a - b), tolerance)
      << a.x << " " << a.y << " " << a.z << " and " << b.x << " " << b.y << " " << b.z;
}

void ExpectWholeTree(const ReadFigure& figure) {
  int roots = 0;
  for (const auto& [key, node] : figure.nodes) {
    if (node["parent"].is_null()) {
      ++roots;
      continue;
    }
    // Following the parents ends at the root.
    Json at = node;
    for (int steps = 0; !at["parent"].is_null(); ++steps) {
      ASSERT_TRUE(figure.Has(at["parent"][0], at["parent"][1])) << at;
      ASSERT_LE(steps, 60) << "a ring of parents at " << node;
      at = figure.Node(at["parent"][0], at["parent"][1]);
    }
  }
  EXPECT_EQ(roots, 1);
}

void ExpectUnitRotations(const ReadFigure& figure) {
  for (const auto& [key, node] : figure.nodes) {
    double squared = 0;
    for (const Json& part : node["rotation"]) squared += part.get<double>() * part.get<double>();
    EXPECT_NEAR(squared, 1, 1e-6) << node;
    EXPECT_GE(node["rotation"][3].get<double>(), 0) << node;
  }
}

/// The lowest corner of each sole lies on the ground, and the sole is flat.
void ExpectSolesOnGround(const ReadFigure& figure) {
  for (int id : {kLeftLeg, kRightLeg}) {
    const Json& foot = figure.Node(id, figure.FootLink());
    const Point3 size = ToPoint(foot["dimensions"]);
    EXPECT_NEAR(foot["toe"].get<float>() + foot["heel"].get<float>(), size.x, Tolerance(figure));
    for (float y : {foot["toe"].get<float>(), -foot["heel"].get<float>()}) {
      const Point3 corner = figure.Place(id, figure.FootLink()) +
                            size.z * figure.Axis(id, figure.FootLink(), {1, 0, 0}) +
                            y * figure.Axis(id, figure.FootLink(), {0, 1, 0});
      EXPECT_NEAR(corner.z, 0, std::max(1e-3f * figure.Height() / 80, 1e-30f));
    }
  }
}

int OppositeOf(int id) {
  switch (id) {  // end markers run right, left at the hands and left, right at the feet
    case kRightFingerNubs: return kLeftFingerNubs;
    case kLeftToeNubs: return kRightToeNubs;
    case kLeftFingerNubs:
    case kRightToeNubs: return kNoBodyId;
    default: break;
  }
  const BodyPart* part = FindBodyPart(id);
  return part->side == kLeft ? part->opposite : kNoBodyId;
}

void ExpectMirroredSides(const ReadFigure& figure) {
  for (const auto& [key, node] : figure.nodes) {
    const int opposite = OppositeOf(key.first);
    if (opposite == kNoBodyId) continue;
    SCOPED_TRACE(node["name"].get<std::string>());
    ASSERT_TRUE(figure.Has(opposite, key.second));
    Point3 mirrored = figure.Place(opposite, key.second);
    mirrored.y = -mirrored.y;
    ExpectNear(figure.Place(key.first, key.second), mirrored, Tolerance(figure));
    Point3 bone = figure.Axis(opposite, key.second, {1, 0, 0});
    bone.y = -bone.y;
    ExpectNear(figure.Axis(key.first, key.second, {1, 0, 0}), bone, 1e-5f);
    EXPECT_EQ(node["dimensions"], figure.Node(opposite, key.second)["dimensions"]);
  }
}

bool IsInRow(PartKind kind) {
  return kind == PartKind::kArm || kind == PartKind::kLeg || kind == PartKind::kChain ||
         kind == PartKind::kFingers || kind == PartKind::kToes;
}

/// Each link ends where the next of its limb, chain or digit begins, and the last at its marker.
void ExpectLinksMeet(const ReadFigure& figure) {
  for (const auto& [key, node] : figure.nodes) {
    if (node["parent"].is_null()) continue;
    const int parentId = node["parent"][0], parentLink = node["parent"][1];
    const PartKind kind = FindBodyPart(key.first)->kind;
    const bool sameRow = parentId == key.first && IsInRow(kind);
    const bool marker = kind == PartKind::kNub;
    if (!sameRow && !marker) continue;
    SCOPED_TRACE(node["name"].get<std::string>());
    const Json& parent = figure.Node(parentId, parentLink);
    const Point3 end =
        figure.Place(parentId, parentLink) +
        parent["dimensions"][0].get<float>() * figure.Axis(parentId, parentLink, {1, 0, 0});
    ExpectNear(figure.Place(key.first, key.second), end, Tolerance(figure));
  }
}

/// Head over shoulders over hands, feet under hips, and every part of the figure over the ground.
void ExpectUpright(const ReadFigure& figure) {
  const float head = figure.Place(kHeadNub, 0).z;
  for (const auto& [key, node] : figure.nodes) {
    const float z = ToPoint(node["position"]).z;
    EXPECT_GE(z, -Tolerance(figure)) << node;
    const bool hair = key.first == kPony1 || key.first == kPony2;
    EXPECT_TRUE(hair || z <= head + Tolerance(figure)) << node;
  }
  // A stance is lower than the sum of the lengths only by what the bent knees take.
  EXPECT_LE(head, figure.Height());
  EXPECT_GE(head, 0.9f * figure.Height());
  if (figure.json["structure"]["arms"]) {
    for (int id : {kLeftArm, kRightArm}) {
      EXPECT_LT(figure.Place(id, 3).z, figure.Place(id, 2).z);
      EXPECT_LT(figure.Place(id, 2).z, figure.Place(id, 1).z);
    }
  }
}

void ExpectSoundFigure(const ReadFigure& figure) {
  ExpectWholeTree(figure);
  ExpectUnitRotations(figure);
  ExpectSolesOnGround(figure);
  ExpectMirroredSides(figure);
  ExpectLinksMeet(figure);
  ExpectUpright(figure);
}

TEST(FigureJson, DescribesAFigureThatStands) {
  const ReadFigure figure{Structure{}};
  EXPECT_EQ(figure.Height(), 80);
  ExpectSoundFigure(figure);

  // At heading 0 the figure looks along +X and its left is +Y. Knees are bent forward, elbows
  // back, ankles stand level under the hips, toes point ahead.
  for (int id : {kLeftLeg, kRightLeg}) {
    EXPECT_GT(figure.Place(id, 1).x, figure.Place(id, 0).x);
    EXPECT_GT(figure.Place(id, 1).x, figure.Place(id, 2).x);
    ExpectNear(figure.Axis(id, 2, {0, 1, 0}), {1, 0, 0}, 1e-5f);
    ExpectNear(figure.Axis(id, 2, {1, 0, 0}), {0, 0, -1}, 1e-5f);
    EXPECT_NEAR(figure.Place(id, 2).x, figure.Place(id, 0).x, Tolerance(figure));
  }
  for (int id : {kLeftArm, kRightArm}) EXPECT_LT(figure.Place(id, 2).x, figure.Place(id, 1).x);
  EXPECT_EQ(figure.Place(kLeftLeg, 2).z, figure.Place(kRightLeg, 2).z);
  EXPECT_GT(figure.Place(kLeftArm, 3).y, figure.Place(kLeftLeg, 0).y);
  EXPECT_LT(figure.Place(kRightArm, 3).y, figure.Place(kRightLeg, 0).y);
}

TEST(FigureJson, FingersCurlTowardsTheThighs) {
  Structure structure;
  structure.fingers = 5;
  structure.fingerLinks = 3;
  const ReadFigure figure(structure);
  for (int finger = 0; finger < 5; ++finger) {
    const float left = figure.Place(kLeftFingerNubs, finger).y;
    EXPECT_LT(left, figure.Place(kLeftFingers, 3 * finger).y) << finger;
    EXPECT_GT(left, 0) << finger;
  }
}

TEST(FigureJson, PutsPropsIntoTheHandsAndTheThirdBesideTheFigure) {
  Structure structure;
  structure.prop1Exists = structure.prop2Exists = structure.prop3Exists = true;
  const ReadFigure figure(structure);
  const float hand = figure.Node(kRightArm, 3)["dimensions"][0].get<float>();
  EXPECT_LE(Length(figure.Place(kProp1, 0) - figure.Place(kRightArm, 3)), hand);
  EXPECT_LE(Length(figure.Place(kProp2, 0) - figure.Place(kLeftArm, 3)), hand);
  EXPECT_LT(figure.Place(kProp3, 0).y, figure.Place(kRightArm, 3).y - hand);
}

TEST(FigureJson, KeepsAnyLegalStructureStandingWholeAndMirrored) {
  constexpr unsigned kSeed = 20240;
  const std::vector<Structure> structures = RandomStructures(kSeed, 200);
  ASSERT_EQ(structures.size(), 200u);
  for (const Structure& structure : structures) {
    const ReadFigure figure(structure);
    SCOPED_TRACE(figure.json["structure"].dump());
    ExpectSoundFigure(figure);
    if (HasFailure()) return;  // one figure's list is long enough
  }
}

TEST(FigureJson, GivesTheStructureBackFromItsScriptNames) {
  for (const Structure& structure : RandomStructures(7, 50)) {
    const Json json = Json::parse(FigureJson(Standing(structure)));
    ASSERT_EQ(json["structure"].size(), static_cast<std::size_t>(kNumStructureParameters));
    Structure read;
    for (const auto& [name, value] : json["structure"].items()) {
      const StructureParameter* parameter = FindStructureParameter(name);
      ASSERT_NE(parameter, nullptr) << name;
      const double number = value.is_boolean() ? (value.get<bool>() ? 1 : 0) : value.get<double>();
      EXPECT_EQ(value.is_boolean(), parameter->type == ParameterType::kBoolean) << name;
      EXPECT_EQ(value.is_number_integer(), parameter->type == ParameterType::kInteger) << name;
      EXPECT_TRUE(SetParameter(read, *parameter, number)) << name;
    }
    EXPECT_TRUE(read == structure) << json["structure"];
  }
}

TEST(FigureJson, PrintsFloatsAsShortAsTheyReadBack) {
  Structure structure;
  structure.height = 172.3f;
  structure.ankleAttach = 0.3f;
  const std::string text = FigureJson(Standing(structure));
  EXPECT_NE(text.find("\"height\": 172.3,\n"), std::string::npos);
  EXPECT_NE(text.find("\"ankleAttach\": 0.3,\n"), std::string::npos);
  EXPECT_EQ(text.find("-0.0,"), std::string::npos);
  EXPECT_EQ(text.find("-0.0]"), std::string::npos);
}

TEST(FigureJson, HoldsTheNodesInTheirOrderWithTheFieldsOfEach) {
  Structure structure;
  structure.legLinks = 4;
  structure.twists = true;
  structure.twistLinks[kForearmTwistPart] = 2;
  const MotionCore core = Standing(structure);
  const Json json = Json::parse(FigureJson(core));
  const std::vector<NodeInfo> tree = BuildNodeTree(core);
  ASSERT_EQ(json["nodes"].size(), tree.size());
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const Json& node = json["nodes"][i];
    EXPECT_EQ(node["name"], tree[i].name);
    const bool leg = tree[i].id == kLeftLeg || tree[i].id == kRightLeg;
    EXPECT_EQ(node.contains("toe"), leg && tree[i].link == 3) << node;
    EXPECT_EQ(node.contains("heel"), leg && tree[i].link == 3) << node;
    EXPECT_EQ(node.contains("chinDrop"), tree[i].id == kHead) << node;
  }
  // The second of two twist links lies half way from elbow to wrist.
  const ReadFigure figure(structure);
  ExpectNear(figure.Place(kLeftForearmTwist, 1),
             0.5f * (figure.Place(kLeftArm, 2) + figure.Place(kLeftArm, 3)), 1e-4f);
  // Sizes by hand: 80 units over 415 nominal ones, times 8 for the chin and 37 for a foot.
  EXPECT_NEAR(figure.Node(kHead, 0)["chinDrop"].get<double>(), 80.0 / 415 * 8, 1e-5);
  EXPECT_NEAR(figure.Node(kLeftLeg, 3)["heel"].get<double>(), 80.0 / 415 * 37 * 0.2, 1e-5);
}

TEST(FigureJson, ChoosesOneOfTheTwoQuaternionsHoweverTheFigureIsTurned) {
  MotionCore core = Standing({});
  for (int turn = 0; turn < 64; ++turn) {
    // Twice round, so that both signs of every quaternion come by.
    core.body.bodyRotation = AngleAxis(0.2f * static_cast<float>(turn), {0.3f, 1, -0.2f});
    CoreForwardKinematics(core);
    const Json json = Json::parse(FigureJson(core));
    ASSERT_FALSE(json["nodes"].empty());
    for (const Json& node : json["nodes"]) {
      ASSERT_GE(node["rotation"][3].get<double>(), 0) << node;
    }
  }
}

TEST(FigureJson, TellsTheHeightThatAFigureHasAfterItsDimensionsWereEdited) {
  MotionCore core = Standing({});
  for (LimbRecord& leg : core.leg) {  // legs a tenth longer: 20 more than the 412 nominal units
    leg.upperLength *= 1.1f;
    leg.lowerLength *= 1.1f;
    leg.totalLength = leg.upperLength + leg.lowerLength;
  }
  const Json json = Json::parse(FigureJson(core));
  EXPECT_NEAR(json["height"].get<double>(), 80.0 * (412 + 20) / 412, 1e-3);
  EXPECT_EQ(json["structure"]["height"], 80);
}

}  // namespace
}  // namespace strider
