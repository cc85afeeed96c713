#include "strider/footsteps/bend_scale.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

/// Sums over thousands of steps are kept in double, so that they do not drift.
struct Point3D {
  double x = 0, y = 0, z = 0;
};
Point3D ToDouble(const Point3& p) { return {p.x, p.y, p.z}; }
Point3 ToFloat(const Point3D& p) {
  return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}
Point3D operator+(const Point3D& a, const Point3D& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Point3D operator*(double s, const Point3D& a) { return {s * a.x, s * a.y, s * a.z}; }

/// Turned about the up axis, positive to the left: heading 0 is (1, 0, 0), a quarter turn to the
/// left (0, 0, -1).
Point3D Turned(const Point3D& v, double angle) {
  const SinCosD t = SinCosOf(angle);
  return {t.cos * v.x + t.sin * v.z, v.y, -t.sin * v.x + t.cos * v.z};
}

/// Step k of a path leads from footstep k to k + 1.
Point3D StepOf(const FootstepReference& path, std::size_t k) {
  return ToDouble(path.position[k + 1]) + -1 * ToDouble(path.position[k]);
}

/// Which footsteps lie in a run: those that are selected and have a neighbour that is. Two
/// neighbours in a run are always in the same one.
std::vector<bool> InRuns(const FootstepTrack& track) {
  std::vector<bool> inRun(static_cast<std::size_t>(track.numFootsteps));
  for (int i = 0; i + 1 < track.numFootsteps; ++i) {
    if (!IsSelected(track, i) || !IsSelected(track, i + 1)) continue;
    const auto k = static_cast<std::size_t>(i);
    inRun[k] = inRun[k + 1] = true;
  }
  return inRun;
}

bool IsOf(const FootstepReference& reference, const FootstepTrack& track) {
  const auto count = static_cast<std::size_t>(track.numFootsteps);
  return reference.position.size() == count && reference.angle.size() == count;
}

/// Hands the tables to the track. kRefused if a place left the numbers that there are.
int Commit(FootstepTrack& track, FootstepReference& result) {
  for (const Point3& place : result.position) {
    if (!IsFinite(place)) return kRefused;
  }
  std::copy(result.position.begin(), result.position.end(), track.position.begin());
  std::copy(result.angle.begin(), result.angle.end(), track.angle.begin());
  NormalizeAngles(track);
  TransformsFromPositions(track);
  return kDone;
}

/// Every footstep of a run is a pivot about which all that follows turns. A step has so been turned
/// by all pivots before it, and the pivots need not be walked one by one: a bend of a whole track
/// costs as much as the track is long.
FootstepReference Bent(const FootstepReference& path, const std::vector<bool>& inRun,
                       double angle) {
  FootstepReference bent = path;
  double turn = 0;
  Point3D place = ToDouble(path.position[0]);
  for (std::size_t k = 0; k < inRun.size(); ++k) {
    bent.position[k] = ToFloat(place);
    bent.angle[k] = static_cast<float>(path.angle[k] + turn + (inRun[k] ? 0.5 * angle : 0));
    if (inRun[k]) turn += angle;
    if (k + 1 < inRun.size()) place = place + Turned(StepOf(path, k), turn);
  }
  return bent;
}

/// The path from its first footstep on, with each step as `step` gives it.
template <class Step>
FootstepReference Walked(const FootstepReference& path, Step step) {
  FootstepReference walked = path;
  Point3D place = ToDouble(path.position[0]);
  for (std::size_t k = 0; k + 1 < path.position.size(); ++k) {
    place = place + step(k);
    walked.position[k + 1] = ToFloat(place);
  }
  return walked;
}

Point3D ScaledStep(const FootstepReference& path, std::size_t k, const FootstepScale& scale) {
  const Point3D step = StepOf(path, k);
  if (scale.useLength && scale.useWidth) {
    return scale.length == scale.width ? static_cast<double>(scale.length) * step : step;
  }
  // Travel runs along the mean heading of the two footsteps: in a bent run that is exactly the
  // direction which the step had before the bend, turned with it. Headings are unwrapped, so their
  // mean is the one between them.
  const SinCosD heading = SinCosOf(0.5 * (static_cast<double>(path.angle[k]) + path.angle[k + 1]));
  const double along = heading.cos * step.x - heading.sin * step.z;
  const Point3D advance = along * Point3D{heading.cos, 0, -heading.sin};
  if (scale.useLength) return step + (static_cast<double>(scale.length) - 1) * advance;
  // All of it scaled, and the advance then by the inverse.
  return static_cast<double>(scale.width) * step + (1 - static_cast<double>(scale.width)) * advance;
}

Point3D RescaledStep(const FootstepReference& path, std::size_t k, const FigureRescale& rescale) {
  const Point3D step = StepOf(path, k);
  Point3D scaled = static_cast<double>(rescale.lengthScale) * step;
  const double length = std::sqrt(step.x * step.x + step.z * step.z);
  if (length > 0) {  // a step on the spot has no direction to grow in
    const double grown = (length - rescale.oldHipWidth) * rescale.lengthScale + rescale.hipWidth;
    // Feet closer than the hips must not change sides where the hips grew less than the legs.
    const double factor = std::max(grown, 0.0) / length;
    scaled.x = factor * step.x;
    scaled.z = factor * step.z;
  }
  return scaled;
}

bool IsUsable(const FootstepScale& scale) {
  if (!scale.useLength && !scale.useWidth) return false;
  return (!scale.useLength || IsFinite(scale.length)) && (!scale.useWidth || IsFinite(scale.width));
}

}  // namespace

FootstepReference ReferenceOf(const FootstepTrack& track) {
  const auto count = static_cast<std::ptrdiff_t>(track.numFootsteps);
  return {{track.position.begin(), track.position.begin() + count},
          {track.angle.begin(), track.angle.begin() + count}};
}

int BendFootprints(MotionCore& core, const FootstepReference& reference, float angle) {
  FootstepTrack& track = core.footsteps;
  if (!IsFinite(angle) || !IsOf(reference, track)) return kRefused;
  try {
    const std::vector<bool> inRun = InRuns(track);
    if (std::find(inRun.begin(), inRun.end(), true) == inRun.end()) return kRefused;
    FootstepReference bent = Bent(reference, inRun, angle);
    return Commit(track, bent);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

int ScaleFootprints(MotionCore& core, const FootstepReference& reference,
                    const FootstepScale& scale) {
  FootstepTrack& track = core.footsteps;
  if (!IsUsable(scale) || !IsOf(reference, track)) return kRefused;
  try {
    const std::vector<bool> inRun = InRuns(track);
    if (std::find(inRun.begin(), inRun.end(), true) == inRun.end()) return kRefused;
    FootstepReference scaled = Walked(reference, [&](std::size_t k) {
      return inRun[k] && inRun[k + 1] ? ScaledStep(reference, k, scale) : StepOf(reference, k);
    });
    return Commit(track, scaled);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

int RescaleFootprints(MotionCore& core, const FigureRescale& rescale) {
  if (!IsFinite(rescale.lengthScale) || !(rescale.lengthScale > 0)) return kRefused;
  if (!IsFinite(rescale.oldHipWidth) || !IsFinite(rescale.hipWidth)) return kRefused;
  if (core.footsteps.numFootsteps == 0) return kDone;
  try {
    const FootstepReference path = ReferenceOf(core.footsteps);
    FootstepReference rescaled =
        Walked(path, [&](std::size_t k) { return RescaledStep(path, k, rescale); });
    return Commit(core.footsteps, rescaled);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

int BendFootprints(MotionCore& core, float angle) {
  try {
    return BendFootprints(core, ReferenceOf(core.footsteps), angle);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

int ScaleFootprints(MotionCore& core, const FootstepScale& scale) {
  try {
    return ScaleFootprints(core, ReferenceOf(core.footsteps), scale);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

}  // namespace strider
