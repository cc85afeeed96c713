#include "strider/footsteps/rescale.h"

#include <new>

#include "strider/core/figure_layout.h"
#include "strider/core/limb_frames.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

/// Grows about a point that stays, of the core's space.
struct Growth {
  Point3 centre;
  float factor = 1;

  Point3 Of(const Point3& place) const { return centre + factor * (place - centre); }
  float HeightOf(float height) const { return centre.y + factor * (height - centre.y); }
};

/// What stays: the first footstep, or the ground under the body's first key.
Point3 CentreOf(const MotionCore& core) {
  const FootstepTrack& footsteps = core.footsteps;
  if (footsteps.numFootsteps > 0) return footsteps.position.front();
  const BodyRecord& body = core.body;
  Point3 centre = body.horizontal.Empty() ? body.figurePosition : body.horizontal[0].position;
  centre.y = body.figurePosition.y - StanceHeight(core);
  return centre;
}

void GrowBody(BodyRecord& body, const Growth& growth, bool path) {
  for (HorizontalKey& key : body.horizontal.keys) {
    if (!path) break;
    const float height = key.position.y;
    key.position = growth.Of(key.position);
    key.position.y = height;
  }
  for (VerticalKey& key : body.vertical.keys) {
    key.height = growth.HeightOf(key.height);
    key.ballisticHeight = growth.HeightOf(key.ballisticHeight);
    for (float& reach : key.footReach) reach *= growth.factor;
  }
  MarkDirty(body.horizontal.track, 0, body.horizontal.track.numKeys - 1);
  MarkDirty(body.vertical.track, 0, body.vertical.track.numKeys - 1);
}

void GrowLimb(LimbRecord& limb, const Growth& growth) {
  // What lies on an object of the scene keeps to the object's own origin.
  const Growth object = HasObjectFrame(limb) ? Growth{{}, growth.factor} : growth;
  for (LimbKey& key : limb.table.keys) {
    key.bodyTarget *= growth.factor;
    key.objectTarget = object.Of(key.objectTarget);
    key.pivotPosition = object.Of(key.pivotPosition);
    key.joinedPivotPosition = object.Of(key.joinedPivotPosition);
  }
  MarkDirty(limb.table.track, 0, limb.table.track.numKeys - 1);
}

void GrowProp(PropRecord& prop, const Growth& growth) {
  for (PropKey& key : prop.table.keys) {
    for (int space = 0; space < kNumPropSpaces; ++space) {
      Point3& place = key.position[space];
      place = space == kWorldProp ? growth.Of(place) : growth.factor * place;
    }
  }
  MarkDirty(prop.table.track, 0, prop.table.track.numKeys - 1);
}

bool Rescale(MotionCore& core, float height, bool scaleStrides, const EvalContext& context) {
  const float oldLeg = core.leg[kRight].totalLength, oldHip = core.pelvis.hipOffset;
  const float oldGravity = core.body.gravAccel, oldHeight = CoreFigureHeight(core);
  Growth growth{CentreOf(core), 1};
  if (SetHeight(core, height) == kRefused) return false;
  growth.factor = core.leg[kRight].totalLength / oldLeg;
  core.body.gravAccel = oldGravity * (height / oldHeight);
  core.footsteps.gravity = core.body.gravAccel;

  // The whole motion grows first; footsteps that do not are a change that it then adapts to.
  const bool footsteps = core.footsteps.numFootsteps > 0;
  GrowBody(core.body, growth, footsteps || scaleStrides);
  for (LimbRecord& leg : core.leg) GrowLimb(leg, growth);
  for (LimbRecord& arm : core.arm) GrowLimb(arm, growth);
  for (PropRecord& prop : core.props) GrowProp(prop, growth);
  if (!footsteps) return true;

  FootstepTrack grown = core.footsteps;
  for (Point3& place : grown.position) place = growth.Of(place);
  if (scaleStrides) {
    const FigureRescale rescale{growth.factor, oldHip, core.pelvis.hipOffset};
    if (RescaleFootprints(core, rescale) == kRefused) return false;
  }
  if (AdaptMotion(core, grown, 0, core.footsteps.numFootsteps - 1, {}, context) ==
      AdaptResult::kOutOfMemory) {
    return false;
  }
  return BuildFlights(core) == kDone;
}

}  // namespace

int SetHeightOfMotion(MotionCore& core, float height, bool scaleStrides,
                      const EvalContext& context) {
  try {
    MotionCore changed = core;
    if (!Rescale(changed, height, scaleStrides, context)) return kRefused;
    core = std::move(changed);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
