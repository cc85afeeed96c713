#include "strider/host/skel_object.h"

namespace strider {
namespace {

void BuildBoxes(SkelObject& object) {
  for (int i = 0; i < 8; ++i) {
    object.mesh.vertices.push_back({(i & 1) != 0 ? 1.0f : 0.0f,
                                    (i & 2) != 0 ? object.width : -object.width,
                                    (i & 4) != 0 ? object.depth : -object.depth});
  }
  static constexpr int kSides[6][4] = {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4},
                                       {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
  for (int side = 0; side < 6; ++side) {
    const int* c = kSides[side];
    const std::uint32_t group = 1u << side;
    object.mesh.faces.push_back({{c[0], c[1], c[2]}, group, {true, true, false}});
    object.mesh.faces.push_back({{c[2], c[3], c[0]}, group, {true, true, false}});
  }
}

}  // namespace

void UpdateMesh(SkelObject& object, TimeValue t) {
  if (object.valid.Contains(t)) return;
  object.valid = Interval::Forever();
  object.mesh = {};
  if (object.kind >= 0 && object.kind < kNumSkelKinds) BuildBoxes(object);
  ++object.geometryVersion;
  ++object.topologyVersion;
}

SkelObject Clone(const SkelObject& object) {
  SkelObject clone = object;
  Invalidate(clone);
  clone.mesh = {};
  return clone;
}

bool CanConvertToType(const SkelObject& /*object*/, SkelType type) {
  return type == SkelType::kSkelObject || type == SkelType::kTriangleMesh;
}

SkelMesh ConvertToMesh(const SkelObject& object, TimeValue t) {
  SkelObject built = Clone(object);
  UpdateMesh(built, t);
  return built.mesh;
}

}  // namespace strider
