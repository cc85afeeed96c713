// Which moments of a motion a contact sheet shows: the motion cut into strips that can each be seen
// from one side, with the figure every few frames. Knows nothing of pages.
#pragma once

#include <vector>

#include "exchange/body_solids.h"
#include "exchange/motion_range.h"
#include "strider/core/eval_context.h"

namespace strider {

/// The figure at a frame. Host space.
struct Shot {
  std::int64_t frame = 0;
  Point3 centre;  // of mass
  Body body;
};

/// A part of the motion that goes roughly one way.
struct Strip {
  std::int64_t first = 0, last = 0;  // frames
  Point3 along;                      // unit, level: the main direction of travel
  std::vector<Shot> shots;           // from the first frame on
  std::vector<Point3> path;          // of the centre of mass, every frame
  double drift = 0;                  // scene units a frame, see ShiftAt

  /// Where figures hardly leave their place, or go sideways, the later are moved on along the strip
  /// so that they do not hide each other: by this much at a frame. 0 where all stand where they
  /// are.
  double ShiftAt(std::int64_t frame) const { return drift * static_cast<double>(frame - first); }
};

struct MotionShots {
  FrameRange all, shown;  // a long motion is shown up to where the strips end
  Point3 along;           // main direction of all that is shown
  std::vector<Strip> strips;
};

inline constexpr int kMostStrips = 6;

MotionShots TakeShots(const MotionCore& core, const EvalContext& context);

}  // namespace strider
