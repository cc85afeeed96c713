#include "strider/footsteps/change_figure.h"

#include <cmath>
#include <new>
#include <utility>

#include "strider/core/figure_layout.h"
#include "strider/core/limb_places.h"
#include "strider/core/link_counts.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/rescale.h"

namespace strider {
namespace {

// Lengths closer than this, as a share of each other, are the same but for the rounding of files.
constexpr float kSameLength = 1e-5f;

bool Same(float a, float b) {
  return std::fabs(a - b) <= kSameLength * std::fmax(std::fabs(a), std::fabs(b));
}
bool Same(const Point3& a, const Point3& b, float size) {
  return Length(a - b) <= kSameLength * size;
}
bool Same(const Quat& a, const Quat& b) { return std::fabs(Dot(a, b)) >= 1 - 1e-6f; }

/// Nothing that decides where the end of a limb is for given angles, and how it stands, differs.
bool SameLimb(const LimbRecord& a, const LimbRecord& b) {
  return a.hasFourLinks == b.hasFourLinks && Same(a.upperLength, b.upperLength) &&
         Same(a.lowerLength, b.lowerLength) &&
         (!a.hasFourLinks || Same(a.endLength, b.endLength)) && Same(a.toeLength, b.toeLength) &&
         Same(a.heelLength, b.heelLength) && Same(a.extremityHeight, b.extremityHeight) &&
         Same(a.extremityWidth, b.extremityWidth) &&
         Same(a.baseOffset, b.baseOffset, a.totalLength) && Same(a.baseRotation, b.baseRotation) &&
         (a.isLeg || (Same(a.dimensions[0].x, b.dimensions[0].x) &&
                      Same(a.clavicleRotation, b.clavicleRotation)));
}

bool SameTrunk(const MotionCore& a, const MotionCore& b) {
  if (a.spine.numLinks != b.spine.numLinks) return false;
  for (int k = 0; k < a.spine.numLinks; ++k) {
    if (!Same(a.spine.dimensions[k].x, b.spine.dimensions[k].x)) return false;
  }
  return Same(a.spine.baseOffset, b.spine.baseOffset, a.leg[0].totalLength) &&
         Same(a.spine.baseRotation, b.spine.baseRotation);
}

void LiftBody(BodyRecord& body, float rise) {
  for (VerticalKey& key : body.vertical.keys) {
    key.height += rise;
    key.ballisticHeight += rise;
  }
  MarkDirty(body.vertical.track, 0, body.vertical.track.numKeys - 1);
}

/// Legs of another length: everything grows with them, the old proportions kept.
bool GrowWithLegs(MotionCore& core, const MotionCore& figure, bool scaleStrides,
                  const EvalContext& context) {
  const float before = core.leg[kRight].totalLength, now = figure.leg[kRight].totalLength;
  if (Same(before, now)) return true;
  const float height = CoreFigureHeight(core) * (now / before);
  return SetHeightOfMotion(core, height, scaleStrides, context) == kDone;
}

/// Footsteps stand as far apart as the hips ask for, and the motion goes along.
bool WidenSteps(MotionCore& core, float oldHip, const EvalContext& context) {
  FootstepTrack before = core.footsteps;
  if (RescaleFootprints(core, {1, oldHip, core.pelvis.hipOffset}) == kRefused) return false;
  if (core.body.vertical.Empty()) return true;  // footsteps that wait for their motion
  return AdaptToPlaces(core, std::move(before), context) != AdaptResult::kOutOfMemory;
}

bool ChangeFigure(MotionCore& core, const MotionCore& figure, bool scaleStrides,
                  const EvalContext& context) {
  const float gravity = core.body.gravAccel * (CoreFigureHeight(figure) / CoreFigureHeight(core));
  if (!GrowWithLegs(core, figure, scaleStrides, context)) return false;
  const MotionCore before = FigureOf(core);
  const LimbPlaces places = PlacesAtKeys(core, context);
  if (AdoptFigure(core, figure) == kRefused) return false;
  core.body.gravAccel = core.footsteps.gravity = gravity;

  const float oldStance = StanceHeight(before), stance = StanceHeight(core);
  const bool sameStance = Same(oldStance, stance);
  if (!sameStance) LiftBody(core.body, stance - oldStance);
  const bool sameLegs = sameStance && SameLimb(before.leg[kRight], core.leg[kRight]) &&
                        SameLimb(before.leg[kLeft], core.leg[kLeft]);
  if (!sameLegs) ConvertLegKeys(core, places, context);
  const bool sameArms = sameStance && SameTrunk(before, core) &&
                        SameLimb(before.arm[kRight], core.arm[kRight]) &&
                        SameLimb(before.arm[kLeft], core.arm[kLeft]);
  if (!sameArms) RefitHeldArms(core, places, context);

  if (core.footsteps.numFootsteps == 0) return true;
  // The flights of the new gravity first: what widens the steps reads them.
  if (BuildFlights(core) == kRefused) return false;
  if (!scaleStrides) return true;
  const float oldHip = before.pelvis.hipOffset;
  return Same(oldHip, core.pelvis.hipOffset) || WidenSteps(core, oldHip, context);
}

}  // namespace

int SetFigureOfMotion(MotionCore& core, const MotionCore& figure, bool scaleStrides,
                      const EvalContext& context) {
  try {
    MotionCore changed = core;
    // Its own keys are meant, not what the layers around it make of them.
    changed.previousLayer = changed.nextLayer = nullptr;
    if (!ChangeFigure(changed, figure, scaleStrides, context)) return kRefused;
    changed.previousLayer = core.previousLayer;
    changed.nextLayer = core.nextLayer;
    core = std::move(changed);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

int SetNumLinksOfMotion(MotionCore& core, int id, int numLinks, bool scaleStrides,
                        const EvalContext& context) {
  try {
    MotionCore figure = FigureOf(core);
    if (ChangeNumLinks(figure, id, numLinks) == kRefused) return kRefused;
    if (figure.structure == core.structure) return kDone;
    return SetFigureOfMotion(core, figure, scaleStrides, context);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

}  // namespace strider
