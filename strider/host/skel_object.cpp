#include "strider/host/skel_object.h"

#include "strider/host/skel_parts.h"

namespace strider {
namespace {

void Build(SkelObject& object) {
  if (object.kind < 0 || object.kind >= kNumSkelKinds) return;
  const bool thumb = object.kind == kSkelThumb || object.kind == kSkelThumb + 1;
  if (object.kind == kSkelBodyMarker) return AddBodyMarker(object);
  if (object.kind == kSkelNubMarker) {
    Cone cone;
    cone.scale = 0.2f * object.width;
    cone.closed = false;
    return AddCone(object.mesh, cone);
  }
  switch (object.bodyShape) {
    case 0: return thumb ? AddThumb(object) : BuildFineSolid(object);
    case 1: return thumb ? AddThumb(object) : BuildSmoothSolid(object);
    case 2: return thumb ? AddThumb(object) : BuildFacetedSolid(object);
    default: return BuildBoxSolid(object);
  }
}

}  // namespace

void UpdateMesh(SkelObject& object, TimeValue t) {
  if (object.valid.Contains(t)) return;
  object.valid = Interval::Forever();
  object.mesh = {};
  Build(object);
  object.mesh.showEdges = object.edged != 0;
  if (object.smoothed == 0) {
    for (SkelFace& face : object.mesh.faces) face.smoothing = 0;
  }
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
