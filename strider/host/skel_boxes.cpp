// Body shape 3: boxes, and a few solids of more corners put together like boxes.
#include <span>

#include "strider/host/skel_parts.h"

namespace strider {
namespace {

// Fields of a section: along; centre and half along A; centre and half along B. Every section is a
// ring of four corners.
constexpr Section kBox[] = {{0, 0, 1, 0, 1}, {1, 0, 1, 0, 1}};
// Neck, jaw, face, brow and skull; the nose comes between. A back, B right.
constexpr Section kHead[] = {{0, -0.36f, 0.40f, 0, 0.42f},     {0.10f, -0.30f, 0.54f, 0, 0.60f},
                             {0.20f, -0.20f, 0.64f, 0, 0.72f}, {0.30f, -0.08f, 0.76f, 0, 0.76f},
                             {0.48f, 0.04f, 0.82f, 0, 0.80f},  {0.56f, 0.02f, 0.90f, 0, 0.84f},
                             {0.66f, 0.04f, 0.92f, 0, 0.84f},  {0.86f, 0.06f, 0.86f, 0, 0.78f},
                             {1, 0.08f, 0.62f, 0, 0.56f}};
// From the crotch up. A back, B right.
constexpr Section kPelvis[] = {{0, 0, 0.50f, 0, 0.60f},
                               {0.36f, 0, 0.66f, 0, 0.95f},
                               {0.62f, 0, 0.66f, 0, 0.95f},
                               {1, 0, 0.60f, 0, 0.70f}};
constexpr Section kTrianglePelvis[] = {{0, 0, 0.40f, 0, 0.24f}, {1, 0, 0.62f, 0, 0.70f}};
constexpr Section kClavicle[] = {{0.30f, 0, 0.66f, -0.06f, 0.30f}, {1.1f, 0, 0.82f, 0, 0.42f}};
// A segment from under the box of its joint.
constexpr Section kArmSegment[] = {{0.06f, 0, 0.80f, 0, 0.80f}, {1, 0, 0.68f, 0, 0.68f}};
constexpr Section kArmJoint[] = {{-0.12f, 0, 0.94f, 0, 0.94f}, {0.16f, 0, 0.94f, 0, 0.94f}};
// Wrist, knuckles, tips.
constexpr Section kHand[] = {
    {0, 0, 0.42f, 0, 0.36f}, {0.5f, 0.02f, 0.80f, 0, 0.42f}, {1, 0, 0.76f, 0, 0.32f}};
constexpr Section kPalm[] = {
    {0, 0, 0.42f, 0, 0.36f}, {0.5f, 0, 0.94f, 0, 0.42f}, {1, 0, 0.98f, 0, 0.30f}};
constexpr Section kThigh[] = {{-0.06f, 0, 0.96f, 0, 0.92f},
                              {0.25f, 0, 1.0f, 0, 0.94f},
                              {0.85f, -0.03f, 0.74f, 0, 0.72f},
                              {1, -0.03f, 0.74f, 0, 0.72f}};
constexpr Section kCalf[] = {
    {0, 0, 0.92f, 0, 0.92f}, {0.3f, 0.12f, 0.96f, 0, 0.92f}, {1, 0, 0.56f, 0, 0.56f}};
// Heel, ankle, instep, toes. A up, B right.
constexpr Section kFoot[] = {{0, -0.14f, 0.86f, 0, 0.74f},
                             {0.30f, 0, 1.0f, 0, 0.80f},
                             {0.62f, -0.56f, 0.44f, 0, 0.94f},
                             {1, -0.70f, 0.30f, 0, 1}};

std::span<const Section> FormOf(int kind) {
  switch (kind) {
    case kSkelHead: return kHead;
    case kSkelPelvis: return kPelvis;
    case kSkelTrianglePelvis: return kTrianglePelvis;
    case kSkelClavicle: return kClavicle;
    case kSkelUpperArm:
    case kSkelForearm: return kArmSegment;
    case kSkelMitten: return kHand;
    case kSkelPalm: return kPalm;
    case kSkelThigh: return kThigh;
    case kSkelCalf: return kCalf;
    case kSkelFoot: return kFoot;
    default: return kBox;
  }
}

void Add(SkelObject& object, std::span<const Section> form, LoftAxis axis, bool nose) {
  LoftPlan plan;
  for (const Section& section : form) plan.rings.push_back({section.along, 4});
  plan.shading = Shading::kFacets;
  if (nose) {
    plan.noseRing = 3;
    plan.nosePush = 0.2f;
  }
  AddLoft(object.mesh, {.sections = form, .axis = axis}, plan, LoftFrameOf(object));
}

}  // namespace

void BuildBoxSolid(SkelObject& object) {
  const int kind = object.kind - (IsLeftKind(object.kind) ? 1 : 0);
  Add(object, FormOf(kind), ProfileOf(kind).axis, kind == kSkelHead);
  if (kind == kSkelUpperArm || kind == kSkelForearm) {
    Add(object, kArmJoint, LoftAxis::kX, false);
  }
}

}  // namespace strider
