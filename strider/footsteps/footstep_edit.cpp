#include "strider/footsteps/footstep_edit.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "strider/base/trig.h"
#include "strider/core/motion_core.h"

namespace strider {
namespace {

using Spans = std::vector<FootstepSpan>;

constexpr int kCapacityStep = 64;
// Past this a float holds a heading to less than a tenth of a radian: there is nothing left to
// keep.
constexpr float kHeadingLimit = 1e6f;

std::size_t Idx(int i) { return static_cast<std::size_t>(i); }
bool HasFootstep(const FootstepTrack& track, int i) { return i >= 0 && i < track.numFootsteps; }

/// Index in a side's spans of the first one that belongs to footstep `index` or a later one.
int SpanAtOrAfter(const Spans& spans, int index) {
  const auto found = std::partition_point(
      spans.begin(), spans.end(), [index](const FootstepSpan& s) { return s.footstep < index; });
  return static_cast<int>(found - spans.begin());
}

/// The first span of a side that touches after `t`.
Spans::const_iterator TouchAfter(const Spans& spans, TimeValue t) {
  return std::upper_bound(spans.begin(), spans.end(), t,
                          [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
}

/// Room in a table, growing by half so that appending one by one stays linear.
template <class Table>
void ReserveGrowing(Table& table, int count) {
  if (table.capacity() >= Idx(count)) return;
  table.reserve(std::max(Idx(count), table.capacity() + table.capacity() / 2));
}

/// Calls `edit` on each table that holds one entry a footstep.
template <class Edit>
void ForEachTable(FootstepTrack& track, const Edit& edit) {
  edit(track.position);
  edit(track.angle);
  edit(track.bodyAngle);
  edit(track.side);
  edit(track.sideIndex);
  edit(track.freeFormEnd);
  edit(track.freeFormStart);
  edit(track.transform);
}
template <class Edit>
void ForEachBits(FootstepTrack& track, const Edit& edit) {
  edit(track.keyMismatch);
  edit(track.endEdgeSelected);
  edit(track.startEdgeSelected);
  edit(track.active);
  edit(track.freeFormAfter);
}

template <class T>
void InsertEntry(std::vector<T>& table, int index, const T& value) {
  table.insert(table.begin() + index, value);
}

/// Fills the interval of one footstep from its bit.
void RefreshInterval(FootstepTrack& track, int i) {
  TimeValue start = 0, end = 0;
  if (track.freeFormAfter.Get(i)) (void)FreeFormInterval(track, i, start, end);
  track.freeFormStart[Idx(i)] = start;
  track.freeFormEnd[Idx(i)] = end;
}

/// The free-form period that a new footstep ends was opened by the earlier one that lifts last.
/// `previous` are the spans before the new footstep, right and left, null where there is none.
void EndPeriodBefore(FootstepTrack& track, const FootstepSpan* const previous[2]) {
  const FootstepSpan* latest = previous[kRight];
  if (const FootstepSpan* left = previous[kLeft]) {
    if (!latest || left->Lift() > latest->Lift() ||
        (left->Lift() == latest->Lift() && left->footstep > latest->footstep)) {
      latest = left;
    }
  }
  if (latest) track.freeFormAfter.Set(latest->footstep, false);
}

Matrix3 AboutUp(float angle) {  // the host's space
  const float c = Cos(angle), s = Sin(angle);
  return {{{c, s, 0}, {-s, c, 0}, {0, 0, 1}, {}}};
}

}  // namespace

Point3 ForwardOf(float angle) { return {Cos(angle), 0, -Sin(angle)}; }
Point3 LeftOf(float angle) { return {-Sin(angle), 0, -Cos(angle)}; }

// --- Footsteps in and out ----------------------------------------------------------------------

int EnsureCapacity(FootstepTrack& track, int count) {
  int capacity = track.capacity;
  if (count > capacity) capacity = std::max(count, capacity + kCapacityStep);
  try {
    // Asked even where the number says that there is room: a copied table has none to spare.
    ForEachTable(track, [capacity](auto& table) { ReserveGrowing(table, capacity); });
    const int bits = static_cast<int>(track.position.capacity());
    ForEachBits(track, [bits](BitArray& array) { array.Reserve(bits); });
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  track.capacity = capacity;
  return kDone;
}

int InsertFootstep(FootstepTrack& track, int index, const NewFootstep& footstep) {
  if (index < 0 || index > track.numFootsteps || footstep.side < 0 || footstep.side > 1) {
    return kRefused;
  }
  Spans& own = track.spans[footstep.side];
  if (EnsureCapacity(track, track.numFootsteps + 1) == kRefused) return kRefused;
  try {
    ReserveGrowing(own, static_cast<int>(own.size()) + 1);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }

  int nextSpan[2];
  for (int side = 0; side < 2; ++side) {
    Spans& spans = track.spans[side];
    nextSpan[side] = SpanAtOrAfter(spans, index);
    for (std::size_t k = Idx(nextSpan[side]); k < spans.size(); ++k) {
      if (side == footstep.side) ++track.sideIndex[Idx(spans[k].footstep)];
      ++spans[k].footstep;
    }
  }
  const int ownSpan = nextSpan[footstep.side];
  InsertEntry(own, ownSpan, {footstep.start, footstep.duration, index});
  InsertEntry(track.position, index, footstep.position);
  InsertEntry(track.angle, index, footstep.angle);
  InsertEntry(track.bodyAngle, index, footstep.angle);
  InsertEntry(track.side, index, static_cast<unsigned char>(footstep.side));
  InsertEntry(track.sideIndex, index, ownSpan);
  InsertEntry(track.freeFormEnd, index, 0);
  InsertEntry(track.freeFormStart, index, 0);
  InsertEntry(track.transform, index, Matrix3{});
  ForEachBits(track, [index](BitArray& array) { array.Insert(index); });
  ++track.numFootsteps;

  const FootstepSpan* previous[2] = {};
  for (int side = 0; side < 2; ++side) {
    if (nextSpan[side] > 0) previous[side] = &track.spans[side][Idx(nextSpan[side] - 1)];
  }
  EndPeriodBefore(track, previous);
  if (index + 1 < track.numFootsteps) {
    RefreshFreeFormIntervals(track);
    return kDone;
  }
  // At the end only a side's last footstep can have lacked a later one, or be crossed by the new.
  for (const FootstepSpan* span : previous) {
    if (span) RefreshInterval(track, span->footstep);
  }
  return kDone;
}

int DeleteFootstep(FootstepTrack& track, int index) {
  if (!HasFootstep(track, index)) return kRefused;
  const int side = track.side[Idx(index)];
  const int ownSpan = track.sideIndex[Idx(index)];
  track.spans[side].erase(track.spans[side].begin() + ownSpan);
  for (int s = 0; s < 2; ++s) {
    Spans& spans = track.spans[s];
    for (std::size_t k = Idx(SpanAtOrAfter(spans, index)); k < spans.size(); ++k) {
      if (s == side) --track.sideIndex[Idx(spans[k].footstep)];
      --spans[k].footstep;
    }
  }
  ForEachTable(track, [index](auto& table) { table.erase(table.begin() + index); });
  ForEachBits(track, [index](BitArray& array) { array.Erase(index); });
  if (--track.numFootsteps == 0) ClearFootsteps(track);
  RefreshFreeFormIntervals(track);
  return kDone;
}

int DeleteFootsteps(FootstepTrack& track, const BitArray& which) {
  const BitArray gone = which;  // it may be one of the track's own
  int kept = 0;
  for (int i = 0; i < track.numFootsteps; ++i) {
    FootstepSpan& span = *SpanOf(track, i);
    if (gone.Get(i)) {
      span.footstep = -1;
      continue;
    }
    span.footstep = kept;
    ForEachTable(track, [&](auto& table) { table[Idx(kept)] = table[Idx(i)]; });
    ForEachBits(track, [&](BitArray& bits) { bits.Set(kept, bits.Get(i)); });
    ++kept;
  }
  const int deleted = track.numFootsteps - kept;
  if (deleted == 0) return 0;
  for (Spans& spans : track.spans) {
    std::erase_if(spans, [](const FootstepSpan& s) { return s.footstep < 0; });
  }
  track.numFootsteps = kept;
  ForEachTable(track, [kept](auto& table) { table.resize(Idx(kept)); });
  ForEachBits(track, [kept](BitArray& bits) { bits.Resize(kept); });
  RebuildSides(track);
  if (kept == 0) ClearFootsteps(track);
  RefreshFreeFormIntervals(track);
  return deleted;
}

void ClearFootsteps(FootstepTrack& track) {
  ForEachTable(track, [](auto& table) { table.clear(); });
  ForEachBits(track, [](BitArray& array) { array.Resize(0); });
  for (Spans& spans : track.spans) spans.clear();
  track.phases.clear();
  track.transitions.clear();
  track.savedTransitions.clear();
  track.numFootsteps = 0;
  track.freeForm = 1;
}

int CopyFootsteps(FootstepTrack& to, const FootstepTrack& from) {
  try {
    FootstepTrack copy = from;
    if (copy.numFootsteps == 0) ClearFootsteps(copy);
    to = std::move(copy);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

// --- Spans -------------------------------------------------------------------------------------

bool SpanFits(const FootstepTrack& track, int index, int side, TimeValue start, TimeValue last) {
  if (index < 0 || index > track.numFootsteps || side < 0 || side > 1) return false;
  if (track.numFootsteps == 0) return true;
  const Spans& spans = track.spans[side];
  if (index == track.numFootsteps) return spans.empty() || start > spans.back().Lift();
  if (SpanOf(track, index)->start <= start) return false;

  const auto meets = [&](const FootstepSpan& span) {
    const auto within = [](TimeValue t, TimeValue from, TimeValue to) {
      return from <= t && t <= to;
    };
    const auto holds = [&span](TimeValue t) { return span.start <= t && t < span.Lift(); };
    return holds(start) || holds(last) || within(span.start, start, last) ||
           within(Later(span.Lift(), -track.ticksPerFrame), start, last);
  };
  // A side's spans stand apart, so only neighbours can meet; the second on each side takes in spans
  // shorter than a frame.
  const auto after = TouchAfter(spans, start) - spans.begin();
  const auto count = static_cast<std::ptrdiff_t>(spans.size());
  for (auto k = std::max<std::ptrdiff_t>(0, after - 2); k < std::min(count, after + 2); ++k) {
    if (meets(spans[static_cast<std::size_t>(k)])) return false;
  }
  return true;
}

const FootstepSpan* SpanOf(const FootstepTrack& track, int footstep) {
  if (!HasFootstep(track, footstep)) return nullptr;
  return &track.spans[track.side[Idx(footstep)]][Idx(track.sideIndex[Idx(footstep)])];
}
FootstepSpan* SpanOf(FootstepTrack& track, int footstep) {
  return const_cast<FootstepSpan*>(SpanOf(std::as_const(track), footstep));
}

void RebuildSides(FootstepTrack& track) {
  for (int side : {kLeft, kRight}) {
    const Spans& spans = track.spans[side];
    for (std::size_t k = 0; k < spans.size(); ++k) {
      if (!HasFootstep(track, spans[k].footstep)) continue;
      track.side[Idx(spans[k].footstep)] = static_cast<unsigned char>(side);
      track.sideIndex[Idx(spans[k].footstep)] = static_cast<int>(k);
    }
  }
}

void RetimeToTicksPerFrame(FootstepTrack& track, TimeValue ticksPerFrame) {
  if (ticksPerFrame <= 0 || track.ticksPerFrame == ticksPerFrame) return;
  const TimeValue old = track.ticksPerFrame > 0 ? track.ticksPerFrame : ticksPerFrame;
  const auto retimed = [&](TimeValue t) { return Later(0, std::int64_t{t / old} * ticksPerFrame); };
  for (Spans& spans : track.spans) {
    for (FootstepSpan& span : spans) {
      span.start = retimed(span.start);
      span.duration = retimed(span.duration);
    }
  }
  track.ticksPerFrame = ticksPerFrame;
  RefreshFreeFormIntervals(track);
}

// --- Free-form intervals -----------------------------------------------------------------------

bool FreeFormInterval(const FootstepTrack& track, int i, TimeValue& start, TimeValue& end) {
  if (i == track.numFootsteps - 1) return false;
  const FootstepSpan* own = SpanOf(track, i);
  if (!own || own->duration <= 0) return false;
  const TimeValue lift = own->Lift();

  TimeValue touch = kTimeMax;
  bool found = false;
  for (int side = 0; side < 2; ++side) {
    const Spans& spans = track.spans[side];
    const auto next = TouchAfter(spans, lift);
    if (next != spans.begin()) {
      const FootstepSpan& last = *(next - 1);  // touches at or before the lift
      if (side == track.side[Idx(i)]) {
        if (last.footstep != i) return false;
      } else if (last.start == lift || last.Lift() > lift) {
        return false;
      }
    }
    if (next == spans.end()) continue;
    touch = std::min(touch, next->start);
    found = true;
  }
  const TimeValue before = Later(touch, -track.ticksPerFrame);
  if (!found || before <= lift) return false;  // a gap of a frame has nothing inside
  start = lift;
  end = before;
  return true;
}

void RefreshFreeFormIntervals(FootstepTrack& track) {
  track.freeFormStart.assign(Idx(track.numFootsteps), 0);
  track.freeFormEnd.assign(Idx(track.numFootsteps), 0);
  if (!track.freeFormAfter.Any()) return;
  for (int i = 0; i < track.numFootsteps; ++i) {
    if (track.freeFormAfter.Get(i)) RefreshInterval(track, i);
  }
}

int SetFreeFormAfter(FootstepTrack& track, int footstep, bool on) {
  TimeValue start = 0, end = 0;
  if (!HasFootstep(track, footstep)) return kRefused;
  if (on && !FreeFormInterval(track, footstep, start, end)) return kRefused;
  track.freeFormAfter.Set(footstep, on);
  RefreshInterval(track, footstep);
  return kDone;
}

// --- Bits --------------------------------------------------------------------------------------

bool RangeOfInactive(const FootstepTrack& track, int& first, int& last) {
  if (!AnyInactive(track)) return false;
  first = 0;
  while (track.active.Get(first)) ++first;
  last = track.numFootsteps - 1;
  while (track.active.Get(last)) --last;
  return true;
}

bool AnyInactive(const FootstepTrack& track) { return track.active.Count() < track.numFootsteps; }

void SelectionRange(const FootstepTrack& track, int& first, int& last, int from) {
  first = std::max(0, from);
  while (first < track.numFootsteps && !IsSelected(track, first)) ++first;
  first = last = std::min(first, track.numFootsteps);
  while (last + 1 < track.numFootsteps && IsSelected(track, last + 1)) ++last;
}

bool IsSelected(const FootstepTrack& track, int footstep) {
  return track.startEdgeSelected.Get(footstep) || track.endEdgeSelected.Get(footstep);
}
void SelectFootstep(FootstepTrack& track, int footstep, bool on) {
  track.startEdgeSelected.Set(footstep, on);
  track.endEdgeSelected.Set(footstep, on);
}
void ClearFootstepSelection(FootstepTrack& track) {
  track.startEdgeSelected.ClearAll();
  track.endEdgeSelected.ClearAll();
}

// --- Places ------------------------------------------------------------------------------------

float UnwrapTo(float near, float angle) {
  if (!(std::fabs(angle) <= kHeadingLimit)) angle = 0;
  const double away = static_cast<double>(angle) - near;
  if (std::fabs(away) <= kPi) return angle;
  const double turns = std::floor(away / kTwoPi + 0.5);
  return static_cast<float>(angle - turns * kTwoPi);
}

void NormalizeAngles(FootstepTrack& track) {
  float before = 0;
  for (float& angle : track.angle) before = angle = UnwrapTo(before, angle);
}

float HeadingOf(const Matrix3& transform) {
  // Not the arc cosine of the first axis: near 0 and half a turn that loses half of the digits.
  const Point3& ahead = transform.row[0];
  const float heading = Atan2(ahead.y, ahead.x);
  return IsFinite(heading) ? heading : 0;
}

void TransformFromPosition(FootstepTrack& track, int footstep) {
  if (!HasFootstep(track, footstep)) return;
  const std::size_t i = Idx(footstep);
  Matrix3& m = track.transform[i];
  const bool level = m.row[0].z == 0 && m.row[1].z == 0 && m.row[2] == Point3{0, 0, 1};
  m.row[3] = {};
  // A level footstep is turned anew, so that edit after edit leaves no trace in its axes.
  m = level ? AboutUp(track.angle[i])
            : Orthogonalized(m * AboutUp(-HeadingOf(m))) * AboutUp(track.angle[i]);
  m.row[3] = HostFromCore(track.position[i]);
}

void TransformsFromPositions(FootstepTrack& track) {
  for (int i = 0; i < track.numFootsteps; ++i) TransformFromPosition(track, i);
}

void PositionFromTransform(FootstepTrack& track, int footstep) {
  if (!HasFootstep(track, footstep)) return;
  const std::size_t i = Idx(footstep);
  track.position[i] = CoreFromHost(track.transform[i].Origin());
  const float before = footstep > 0 ? track.angle[i - 1] : 0;
  track.angle[i] = UnwrapTo(before, HeadingOf(track.transform[i]));
}

// --- Check -------------------------------------------------------------------------------------

bool CheckFootsteps(const FootstepTrack& track) {
  const std::size_t count = track.position.size();
  if (Idx(track.numFootsteps) != count || track.capacity < track.numFootsteps) return false;
  if (count == 0 && !track.freeForm) return false;
  for (std::size_t size :
       {track.angle.size(), track.bodyAngle.size(), track.side.size(), track.sideIndex.size(),
        track.freeFormEnd.size(), track.freeFormStart.size(), track.transform.size(),
        track.spans[0].size() + track.spans[1].size()}) {
    if (size != count) return false;
  }
  for (const BitArray* bits : {&track.keyMismatch, &track.endEdgeSelected, &track.startEdgeSelected,
                               &track.active, &track.freeFormAfter}) {
    if (bits->Size() != track.numFootsteps) return false;
  }
  // One span a footstep and each in its place: the counts agree, so the map is one to one.
  for (int side = 0; side < 2; ++side) {
    const FootstepSpan* before = nullptr;
    for (std::size_t k = 0; k < track.spans[side].size(); ++k) {
      const FootstepSpan& span = track.spans[side][k];
      if (!HasFootstep(track, span.footstep) || span.duration < 0) return false;
      if (track.side[Idx(span.footstep)] != side) return false;
      if (track.sideIndex[Idx(span.footstep)] != static_cast<int>(k)) return false;
      if (before && (span.start < before->Lift() || span.footstep <= before->footstep)) {
        return false;
      }
      before = &span;
    }
  }
  for (int i = 1; i < track.numFootsteps; ++i) {
    if (SpanOf(track, i)->start < SpanOf(track, i - 1)->start) return false;
  }
  return true;
}

}  // namespace strider
