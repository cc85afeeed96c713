#include "exchange/figure_json.h"

#include "exchange/json_values.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/node_tree.h"

namespace strider {
namespace {

Json ValueOf(const Structure& structure, const StructureParameter& parameter) {
  const double value = parameter.get(structure);
  switch (parameter.type) {
    case ParameterType::kBoolean: return value != 0;
    case ParameterType::kInteger: return static_cast<std::int64_t>(value);
    default: return Plain(static_cast<float>(value));
  }
}

bool IsFoot(const MotionCore& core, const NodeInfo& node) {
  const LimbRecord* leg =
      node.id == kLeftLeg || node.id == kRightLeg ? FindLimb(core, node.id) : nullptr;
  return leg && node.link == NumLimbLinks(*leg) - 1;
}

Json NodeJson(const MotionCore& core, const NodeInfo& node) {
  const Matrix3 world = UnmirroredLinkTransform(core, node.id, node.link);
  Json json;
  json["id"] = node.id;
  json["link"] = node.link;
  json["name"] = node.name;
  json["parent"] = nullptr;
  if (node.parentId != kNoBodyId) json["parent"] = Json::array({node.parentId, node.parentLink});
  json["position"] = ToJson(world.Origin());
  json["rotation"] = ToJson(OneOfTwo(RotationOf(world)));
  json["dimensions"] = ToJson(LinkDimensions(core, node.id, node.link));
  if (IsFoot(core, node)) {
    const LimbRecord* leg = FindLimb(core, node.id);
    json["toe"] = Plain(leg->toeLength);
    json["heel"] = Plain(leg->heelLength);
  }
  if (node.id == kHead) json["chinDrop"] = Plain(core.head.sizes[0]);
  return json;
}

}  // namespace

std::string FigureFieldsJson(const MotionCore& core) {
  std::string text = "\"height\": " + Json(Plain(CoreFigureHeight(core))).dump();
  text += ",\n\"structure\": {";
  const char* separator = "\n";
  for (const StructureParameter& parameter : StructureParameters()) {
    text += separator;
    text += "  " + Json(parameter.name).dump() + ": " + ValueOf(core.structure, parameter).dump();
    separator = ",\n";
  }
  return text + "\n}";
}

std::string FigureJson(const MotionCore& core) {
  std::string text = "{\n" + FigureFieldsJson(core) + ",\n\"nodes\": [";
  const char* separator = "\n";
  for (const NodeInfo& node : BuildNodeTree(core)) {
    text += separator;
    text += "  " + NodeJson(core, node).dump();
    separator = ",\n";
  }
  return text + "\n]\n}\n";
}

}  // namespace strider
