#include "strider/footsteps/rescale.h"

#include <new>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_frames.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/leg_fit.h"

namespace strider {
namespace {

/// Grows about a point that stays, of the core's space; upwards alone where paths stay.
struct Growth {
  Point3 centre;
  float factor = 1;
  bool paths = true;

  float HeightOf(float height) const { return centre.y + factor * (height - centre.y); }
  Point3 Of(const Point3& place) const {
    if (paths) return centre + factor * (place - centre);
    return {place.x, HeightOf(place.y), place.z};
  }
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

/// Handles of places and heights, in the same unit as these.
void GrowTangents(KeyTrack& track, float factor) {
  const auto grow = [factor](KeyTangent& tangent) {
    for (int channel = 0; channel < 3; ++channel) {
      tangent.in[channel][1] *= factor;
      tangent.out[channel][1] *= factor;
    }
  };
  for (KeyTangent& tangent : track.tangents) grow(tangent);
}

void GrowBody(BodyRecord& body, const Growth& growth) {
  if (growth.paths) {
    for (HorizontalKey& key : body.horizontal.keys) {
      const float height = key.position.y;
      key.position = growth.Of(key.position);
      key.position.y = height;
    }
    GrowTangents(body.horizontal.track, growth.factor);
  }
  for (VerticalKey& key : body.vertical.keys) {
    key.height = growth.HeightOf(key.height);
    key.ballisticHeight = growth.HeightOf(key.ballisticHeight);
    for (float& reach : key.footReach) reach *= growth.factor;
  }
  GrowTangents(body.vertical.track, growth.factor);
  MarkDirty(body.horizontal.track, 0, body.horizontal.track.numKeys - 1);
  MarkDirty(body.vertical.track, 0, body.vertical.track.numKeys - 1);
}

void GrowLimb(LimbRecord& limb, const Growth& growth) {
  // What lies on an object of the scene keeps to the object's own origin.
  Growth object = growth;
  if (HasObjectFrame(limb)) object.centre = {};
  for (LimbKey& key : limb.table.keys) {
    // The pivot is what stands on the ground; the foot grows over it.
    const Point3 pivot = object.Of(key.pivotPosition);
    key.objectTarget = pivot + growth.factor * (key.objectTarget - key.pivotPosition);
    key.pivotPosition = pivot;
    key.joinedPivotPosition = object.Of(key.joinedPivotPosition);
    key.bodyTarget *= growth.factor;
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

/// How the keys of both legs bend, the figure as it is.
std::vector<LegFit> LegFits(MotionCore& core, const EvalContext& context) {
  std::vector<LegFit> fits;
  for (int side = 0; side < 2; ++side) {
    LimbRecord& leg = core.leg[side];
    for (int i = 0; i < leg.table.track.numKeys; ++i) {
      CoreEvaluate(core, leg.table.TimeOf(i), context);
      PlaceLimbBase(core, leg);
      fits.push_back(
          FitLeg(core, side, leg.table[i], PlacementOfKey(core, side, leg.table[i]), context));
    }
  }
  return fits;
}

/// Bends the legs to the places that their keys hold, otherwise as they bent before.
void RefitLegs(MotionCore& core, const std::vector<LegFit>& before, const EvalContext& context) {
  auto fit = before.begin();
  for (int side = 0; side < 2; ++side) {
    LimbRecord& leg = core.leg[side];
    for (int i = 0; i < leg.table.track.numKeys; ++i, ++fit) {
      const LimbKey old = leg.table[i];
      const TimeValue t = leg.table.TimeOf(i);
      if (!HoldsObject(old)) continue;  // its angles are what it holds
      CoreEvaluate(core, t, context);
      PlaceLimbBase(core, leg);
      const FootPlacement placement = PlacementOfKey(core, side, old);
      const LimbKey key = RefitLegKey(core, side, old, *fit, placement, placement.pitch, context);
      (void)PutKey(core, LimbId(leg), t, key,
                   leg.table.track.times[static_cast<std::size_t>(i)].linkMask);
    }
  }
}

/// Footsteps that stay are a change to the motion that has grown: it is adapted to them.
bool RescaleFootstepMotion(MotionCore& core, const Growth& growth, float oldHip, bool scaleStrides,
                           const EvalContext& context) {
  if (BuildFlights(core) == kRefused) return false;  // adaptation reads the grown motion
  if (scaleStrides) {
    const FigureRescale rescale{growth.factor, oldHip, core.pelvis.hipOffset};
    return RescaleFootprints(core, rescale) == kDone;
  }
  FootstepTrack grown = core.footsteps;
  for (Point3& place : grown.position) place = growth.Of(place);
  return AdaptToPlaces(core, std::move(grown), context) != AdaptResult::kOutOfMemory;
}

bool Rescale(MotionCore& core, float height, bool scaleStrides, const EvalContext& context) {
  const float oldLeg = core.leg[kRight].totalLength, oldHip = core.pelvis.hipOffset;
  const float oldGravity = core.body.gravAccel, oldHeight = CoreFigureHeight(core);
  const bool footsteps = core.footsteps.numFootsteps > 0;
  Growth growth{CentreOf(core), 1, footsteps || scaleStrides};
  std::vector<LegFit> fits;
  if (!growth.paths) fits = LegFits(core, context);
  if (SetHeight(core, height) == kRefused) return false;
  growth.factor = core.leg[kRight].totalLength / oldLeg;
  core.body.gravAccel = oldGravity * (height / oldHeight);
  core.footsteps.gravity = core.body.gravAccel;

  GrowBody(core.body, growth);
  for (LimbRecord& leg : core.leg) GrowLimb(leg, growth);
  for (LimbRecord& arm : core.arm) GrowLimb(arm, growth);
  for (PropRecord& prop : core.props) GrowProp(prop, growth);
  if (footsteps) return RescaleFootstepMotion(core, growth, oldHip, scaleStrides, context);
  if (!growth.paths) RefitLegs(core, fits, context);
  return true;
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
