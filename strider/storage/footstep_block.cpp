#include "strider/storage/footstep_block.h"

#include <cmath>
#include <string>

#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/support.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

/// Frames in a second, squared: gravity in a file is per second squared.
constexpr float kFramesSquared = 900;

void SizeTrack(Stream& s, FootstepTrack& track, int count) {
  track = {};
  if (EnsureCapacity(track, count) == kRefused) return s.Fail("memory ran out");
  track.numFootsteps = count;
  const auto n = At(count);
  track.position.resize(n);
  track.angle.resize(n);
  track.bodyAngle.resize(n);
  track.side.resize(n);
  track.sideIndex.resize(n);
  track.freeFormEnd.resize(n);
  track.freeFormStart.resize(n);
  track.transform.resize(n);
  for (BitArray* bits : {&track.keyMismatch, &track.endEdgeSelected, &track.startEdgeSelected,
                         &track.active, &track.freeFormAfter}) {
    bits->Resize(count);
  }
  for (int i = 0; i < count; ++i) track.active.Set(i);
}

void WalkSteps(Stream& s, FootstepBlock& block, int) {
  FootstepTrack& track = block.track;
  const bool transformsOnly = s.Version() >= kFirstWithTransformsOnly;
  const bool transforms = s.Version() >= kFirstWithTransforms;
  int count = track.numFootsteps;
  if (!s.Count(count, transformsOnly ? 12 : 5)) return;
  if (s.Reading()) SizeTrack(s, track, count);
  for (int i = 0; i < count && s.Good(); ++i) {
    Point3& place = track.position[At(i)];
    Matrix3& transform = track.transform[At(i)];
    if (!transformsOnly) {
      float position[4] = {place.x, place.y, place.z, 1};
      s.Four(position);
      s.Float(track.angle[At(i)]);
      if (s.Reading()) place = {position[0], position[1], position[2]};
    }
    if (transforms) {
      for (Point3& row : transform.row) s.Vector(row);
    }
    if (!s.Reading() || !s.Good()) continue;
    if (transforms) {
      PositionFromTransform(track, i);
    } else {
      TransformFromPosition(track, i);
    }
  }
}

void WalkSpans(Stream& s, FootstepBlock& block, int) {
  for (int side = 0; side < 2; ++side) {
    s.Caption(side == kRight ? "RLEG" : "LLEG");
    std::vector<FootstepSpan>& spans = block.track.spans[side];
    int count = static_cast<int>(spans.size());
    if (!s.Count(count, 3)) return;
    if (s.Reading()) spans.assign(At(count), {});
    for (int i = 0; i < count && s.Good(); ++i) {
      FootstepSpan& span = spans[At(i)];
      s.Caption("step" + std::to_string(i));
      s.Int(span.start);
      s.Int(span.duration);
      s.Int(span.footstep);
      if (s.Reading() && s.Version() < kFirstWithTicks) {
        span.start = Later(0, std::int64_t{span.start} * kDynamicsFrame);
        span.duration = Later(0, std::int64_t{span.duration} * kDynamicsFrame);
      }
    }
  }
}

void WalkScale(Stream& s, FootstepBlock& block, int) {
  FootstepTrack& track = block.track;
  if (s.Version() >= kFirstWithAnkleHeight) s.Float(track.scaleAnkleHeight);
  if (s.Version() >= kFirstWithFigureHeight) s.Float(track.scaleFigureHeight);
  s.Float(track.scaleLegLength);
  s.Float(track.scaleHipWidth);
  const float unit = s.Version() >= kFirstWithGravityPerSecond ? kFramesSquared : 1;
  float gravity = track.gravity * unit;
  s.Float(gravity);
  if (!s.Reading()) return;
  track.gravity = gravity / unit;
  block.hasScale = s.Good();
}

void WalkFlags(Stream& s, FootstepBlock& block, int) {
  FootstepTrack& track = block.track;
  s.Skip();
  for (int i = 0; i < track.numFootsteps && s.Good(); ++i) {
    int active = track.active.Get(i), freeFormAfter = track.freeFormAfter.Get(i);
    s.Int(active);
    s.Int(freeFormAfter);
    track.active.Set(i, active != 0);
    track.freeFormAfter.Set(i, freeFormAfter != 0);
  }
}

void WalkTicks(Stream& s, FootstepBlock& block, int) {
  s.Int(block.track.ticksPerFrame);
  if (!s.Reading() || !s.Good()) return;
  if (block.track.ticksPerFrame < 1 || block.track.ticksPerFrame > kTicksPerSecond) {
    s.Fail(std::to_string(block.track.ticksPerFrame) + " ticks a frame");
  }
}

/// Where the spans cannot be those of the footsteps, the first footstep that is wrong.
std::string FaultOf(const FootstepTrack& track) {
  std::vector<TimeValue> starts(At(track.numFootsteps));
  std::vector<int> spans(At(track.numFootsteps), 0);
  for (const auto& side : track.spans) {
    for (const FootstepSpan& span : side) {
      if (span.footstep < 0 || span.footstep >= track.numFootsteps) {
        return "a span of footstep " + std::to_string(std::int64_t{span.footstep} + 1) + ", of " +
               std::to_string(track.numFootsteps);
      }
      ++spans[At(span.footstep)];
      starts[At(span.footstep)] = span.start;
      if (span.duration < 1) {
        return "footstep " + std::to_string(span.footstep + 1) + " has no duration";
      }
    }
  }
  for (int i = 0; i < track.numFootsteps; ++i) {
    const std::string which = "footstep " + std::to_string(i + 1);
    if (spans[At(i)] != 1) return which + " has " + std::to_string(spans[At(i)]) + " spans";
    if (i > 0 && starts[At(i)] < starts[At(i - 1)])
      return which + " starts before the one before it";
  }
  return "the spans of a foot overlap";
}

void CompleteBlock(Stream& s, FootstepBlock& block, int) {
  if (!s.Reading() || !s.Good()) return;
  FootstepTrack& track = block.track;
  track.freeForm = track.numFootsteps == 0;
  for (auto& side : track.spans) {
    for (const FootstepSpan& span : side) {
      if (span.footstep < 0 || span.footstep >= track.numFootsteps || span.duration < 1) {
        return s.Fail(FaultOf(track));
      }
    }
  }
  RebuildSides(track);
  if (!CheckFootsteps(track)) return s.Fail(FaultOf(track));
  if (track.numFootsteps == 0 || LastFootstepTime(track) >= kFootstepTimeLimit) {
    ClearFootsteps(track);
    return;
  }
  NormalizeAngles(track);
  if (RefreshSupport(track) == kRefused) return s.Fail("memory ran out");
  RefreshFreeFormIntervals(track);
}

constexpr BlockTag<FootstepBlock> kTags[] = {
    {200, 0, WalkSteps}, {207, 201, WalkSpans}, {202, 0, WalkScale},
    {204, 0, WalkFlags}, {206, 0, WalkTicks},   {203, 0, CompleteBlock},
};

}  // namespace

void WriteFootstepBlock(Stream& s, const MotionCore& core) {
  FootstepBlock block;
  block.track = core.footsteps;
  block.track.gravity = core.body.gravAccel;
  block.track.ticksPerFrame = core.ticksPerFrame;
  WriteBlock<FootstepBlock>(s, block, kTags);
}

void ReadFootstepBlock(Stream& s, FootstepBlock& block, StreamHeader& header, int tag) {
  ReadBlock<FootstepBlock>(s, block, kTags, header, tag);
}

}  // namespace strider
