// Selected runs of footsteps bent into an arc or made longer and wider. What comes after a run
// keeps its shape. The footsteps change; making the motion fit them is another step.
//
// A run is a maximal group of neighbouring footsteps with an edge selected, at least two.
#pragma once

#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// Places and headings as an edit found them, so that dragging a spinner to and fro always starts
/// from the same footsteps.
struct FootstepReference {
  std::vector<Point3> position;  // the core's axes
  std::vector<float> angle;
};
/// Taken when an edit starts.
FootstepReference ReferenceOf(const FootstepTrack& track);

/// Turns every selected run by `angle` radians at each of its footsteps, to the left where
/// positive: the path on from a run of n footsteps has turned by n times the angle. Each footstep's
/// heading turns by half the angle where the path turns at it, so that it lies along the arc.
/// kRefused, nothing changed: no run is selected, the angle is not finite, the reference is of
/// another number of footsteps, or memory ran out.
[[nodiscard]] int BendFootprints(MotionCore& core, const FootstepReference& reference, float angle);
/// The same from the footsteps as they stand.
[[nodiscard]] int BendFootprints(MotionCore& core, float angle);

/// What a scale asks for; a factor counts only when it is in use.
struct FootstepScale {
  float length = 1, width = 1;
  bool useLength = false, useWidth = false;
};
/// Scales the steps of every selected run, the first footstep of each in place. Equal factors make
/// whole steps longer, heights too. The length alone scales what a step advances along the headings
/// of its two footsteps; the width alone the rest of it, its rise too. Two different factors change
/// nothing: they are two edits, one after the other. kRefused, nothing changed: no run is selected,
/// neither factor is in use, one is not finite, or as above.
[[nodiscard]] int ScaleFootprints(MotionCore& core, const FootstepReference& reference,
                                  const FootstepScale& scale);
[[nodiscard]] int ScaleFootprints(MotionCore& core, const FootstepScale& scale);

/// How a figure changed: its new leg length over the old, and half the distance of its hips.
struct FigureRescale {
  float lengthScale = 1;
  float oldHipWidth = 0, hipWidth = 0;
};
/// Fits all footsteps to a figure that changed, the first in place: what a step covers beyond the
/// old hip width grows with the leg, the hip width is replaced. Where legs and hips grow alike, so
/// does the whole path. Heights grow with the leg. kRefused, nothing changed: values that are not
/// finite, a scale that is not positive, or memory ran out.
[[nodiscard]] int RescaleFootprints(MotionCore& core, const FigureRescale& rescale);

}  // namespace strider
