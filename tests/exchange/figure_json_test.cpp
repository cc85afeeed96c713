#include "exchange/figure_json.h"

#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using Json = nlohmann::ordered_json;
using test::Distance;
using test::MakeFigure;

Point3 ToPoint(const Json& j) { return {j[0].get<float>(), j[1].get<float>(), j[2].get<float>()}; }

/// A figure as a reader of its JSON sees it.
struct ReadFigure {
  Json json;
  std::map<std::pair<int, int>, Json> nodes;

  explicit ReadFigure(const MotionCore& core) : json(Json::parse(FigureJson(core))) {
    for (const Json& node : json["nodes"]) nodes[{node["id"], node["link"]}] = node;
  }
  const Json& Node(int id, int link) const { return nodes.at({id, link}); }
  Point3 Place(int id, int link) const { return ToPoint(Node(id, link)["position"]); }
  /// One of the node's own axes in the world, from the rotation as it is printed: v' = q v q*.
  Point3 Axis(int id, int link, const Point3& axis) const {
    const Json& q = Node(id, link)["rotation"];
    return Rotate({q[0], q[1], q[2], q[3]}, axis);
  }
  float Height() const { return json["height"].get<float>(); }
};

// Places are sums of about ten floats of the figure's size, each rounded to 6e-8 of it.
float Tolerance(const ReadFigure& figure) { return 2e-5f * figure.Height(); }

/// Each link ends where the next of its limb, chain or digit begins, and the last at its marker.
void ExpectLinksMeet(const ReadFigure& figure) {
  for (const auto& [key, node] : figure.nodes) {
    if (node["parent"].is_null()) continue;
    const int parentId = node["parent"][0], parentLink = node["parent"][1];
    const PartKind kind = FindBodyPart(key.first)->kind;
    const bool row = kind == PartKind::kArm || kind == PartKind::kLeg || kind == PartKind::kChain ||
                     kind == PartKind::kFingers || kind == PartKind::kToes;
    if (kind != PartKind::kNub && !(row && parentId == key.first)) continue;
    SCOPED_TRACE(node["name"].get<std::string>());
    const float length = figure.Node(parentId, parentLink)["dimensions"][0];
    const Point3 bone = length * figure.Axis(parentId, parentLink, {1, 0, 0});
    EXPECT_LT(
        Distance(figure.Place(key.first, key.second), figure.Place(parentId, parentLink) + bone),
        Tolerance(figure));
  }
}

TEST(FigureJson, DescribesAFigureThatStands) {
  Structure structure;
  structure.prop1Exists = structure.prop2Exists = structure.prop3Exists = true;
  const ReadFigure figure{MakeFigure(structure)};
  EXPECT_EQ(figure.Height(), 80);
  // At heading 0 the figure looks along +X and its left is +Y.
  for (int id : {kLeftLeg, kRightLeg}) {
    EXPECT_GT(figure.Place(id, 1).x, figure.Place(id, 0).x) << "knees ahead";
    EXPECT_LT(Distance(figure.Axis(id, 2, {0, 1, 0}), {1, 0, 0}), 1e-5f) << "toes ahead";
    EXPECT_LT(Distance(figure.Axis(id, 2, {1, 0, 0}), {0, 0, -1}), 1e-5f) << "soles flat";
  }
  EXPECT_GT(figure.Place(kLeftArm, 3).y, figure.Place(kLeftLeg, 0).y);
  EXPECT_LT(figure.Place(kRightArm, 3).y, figure.Place(kRightLeg, 0).y);
  const float hand = figure.Node(kRightArm, 3)["dimensions"][0].get<float>();
  EXPECT_LE(Length(figure.Place(kProp1, 0) - figure.Place(kRightArm, 3)), hand);
  EXPECT_LE(Length(figure.Place(kProp2, 0) - figure.Place(kLeftArm, 3)), hand);
  EXPECT_LT(figure.Place(kProp3, 0).y, figure.Place(kRightArm, 3).y - hand);
}

TEST(FigureJson, LinksMeetInAnyLegalStructure) {
  test::Random random(20240);
  for (int i = 0; i < 200; ++i) {
    Structure structure = RandomStructure(random);
    structure.height = std::pow(10.0f, random.Between(-3, 6));
    MotionCore core = MakeFigure(structure);
    ReadFigure figure(core);
    SCOPED_TRACE(figure.json["structure"].dump());
    ExpectLinksMeet(figure);

    // However it is turned, of the two quaternions it is the one with w not negative.
    core.body.bodyRotation = random.Rotation();
    CoreForwardKinematics(core);
    figure = ReadFigure(core);
    ExpectLinksMeet(figure);
    for (const auto& [key, node] : figure.nodes) {
      EXPECT_GE(node["rotation"][3].get<double>(), 0) << node;
    }
    if (HasFailure()) return;  // one figure's list is long enough
  }
}

TEST(FigureJson, GivesTheStructureBackFromItsScriptNames) {
  test::Random random(7);
  for (int i = 0; i < 50; ++i) {
    const Structure structure = RandomStructure(random);
    const Json json = Json::parse(FigureJson(MakeFigure(structure)));
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
  const std::string text = FigureJson(MakeFigure(structure));
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
  MotionCore core = MakeFigure(structure);
  core.head.sizes[1] += 10 * core.figureScale;  // a taller head, of 412 nominal units in all
  const ReadFigure figure(core);
  EXPECT_NEAR(figure.Height(), 80.0 * 422 / 412, 1e-3);
  EXPECT_EQ(figure.json["structure"]["height"], 80);
  const std::vector<NodeInfo> tree = BuildNodeTree(core);
  ASSERT_EQ(figure.json["nodes"].size(), tree.size());
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const Json& node = figure.json["nodes"][i];
    EXPECT_EQ(node["name"], tree[i].name);
    const bool leg = tree[i].id == kLeftLeg || tree[i].id == kRightLeg;
    EXPECT_EQ(node.contains("toe"), leg && tree[i].link == 3) << node;
    EXPECT_EQ(node.contains("heel"), leg && tree[i].link == 3) << node;
    EXPECT_EQ(node.contains("chinDrop"), tree[i].id == kHead) << node;
    EXPECT_EQ(node["parent"].is_null(), tree[i].parentId == kNoBodyId) << node;
  }
  // The second of two twist links lies half way from elbow to wrist.
  const Point3 middle = 0.5f * (figure.Place(kLeftArm, 2) + figure.Place(kLeftArm, 3));
  EXPECT_LT(Distance(figure.Place(kLeftForearmTwist, 1), middle), 1e-4f);
  // Sizes by hand: 80 units over 415 nominal ones, for the chin 8, for a foot 37 long and 23 high.
  const double k = 80.0 / 415;
  const Json& foot = figure.Node(kLeftLeg, 3);
  EXPECT_NEAR(figure.Node(kHead, 0)["chinDrop"].get<double>(), k * 8, 1e-5);
  EXPECT_NEAR(foot["heel"].get<double>(), k * 37 * 0.2, 1e-5);
  EXPECT_NEAR(foot["toe"].get<double>(), k * 37 * 0.8, 1e-5);
  EXPECT_NEAR(foot["dimensions"][0].get<double>(), k * 37, 1e-5);
  EXPECT_NEAR(figure.Place(kLeftLeg, 3).z, k * 23, 1e-4);
}

}  // namespace
}  // namespace strider
