#include "strider/host/skel_link.h"

#include <utility>

#include "strider/core/evaluate.h"

namespace strider {
namespace {

/// Sides of the head's box: it reaches under its joint by the chin.
void FitHead(SkelFit& fit, const MotionCore& core) {
  const float chin = core.head.sizes[0];
  fit.object.length = core.head.sizes[1] + chin;
  fit.offset.x = -chin;
}

}  // namespace

int SkelKindOf(const MotionCore& core, int id, int link) {
  const BodyPart* part = FindBodyPart(id);
  if (part == nullptr || !HasLink(core, id, link)) return kNoSkelKind;
  switch (part->kind) {
    case PartKind::kNub: return 10;
    case PartKind::kBody: return 9;
    case PartKind::kFootprints: return kNoSkelKind;
    default: return 0;
  }
}

SkelFit FitOf(const MotionCore& core, int id, int link, int bodyShape) {
  SkelFit fit;
  fit.object.kind = SkelKindOf(core, id, link);
  fit.object.bodyShape = bodyShape;
  const Point3 size = LinkDimensions(core, id, link);
  fit.object.length = size.x;
  fit.object.width = 0.5f * size.y;
  fit.object.depth = 0.5f * size.z;
  const LimbRecord* limb = FindLimb(core, id);
  if (id == kHead) FitHead(fit, core);
  if (id == kPelvis) {
    fit.object.length = core.pelvis.depth;
    fit.offset.x = -0.5f * core.pelvis.depth;
  }
  if (limb != nullptr && limb->isLeg && (id == kLeftLeg || id == kRightLeg) &&
      link == NumLimbLinks(*limb) - 1) {
    fit.object.length = limb->extremityHeight;
    fit.object.width = 0.5f * (limb->toeLength + limb->heelLength);
    fit.object.depth = 0.5f * limb->extremityWidth;
    fit.offset.y = 0.5f * (limb->toeLength - limb->heelLength);
  }
  return fit;
}

SkelMesh LinkMesh(const MotionCore& core, int id, int link, int bodyShape) {
  SkelFit fit = FitOf(core, id, link, bodyShape);
  if (fit.object.kind == 9 || fit.object.kind == 10) return {};
  UpdateMesh(fit.object, 0);
  SkelMesh mesh = std::move(fit.object.mesh);
  for (Point3& p : mesh.vertices) {
    const float width = fit.startWidth + p.x * (fit.endWidth - fit.startWidth);
    const float depth = fit.startDepth + p.x * (fit.endDepth - fit.startDepth);
    p = fit.offset +
        Point3{fit.object.length * p.x, width * p.y + fit.lean * (1 - p.x), depth * p.z};
  }
  return mesh;
}

}  // namespace strider
