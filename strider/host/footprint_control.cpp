#include "strider/host/footprint_control.h"

#include <algorithm>
#include <new>
#include <utility>

#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/retime.h"
#include "strider/host/strider_master.h"

namespace strider {
namespace {

/// Brings a footstep to another place, its heading with it.
void WriteTransform(FootstepTrack& track, int footstep, const Matrix3& transform) {
  track.transform[static_cast<std::size_t>(footstep)] = transform;
  PositionFromTransform(track, footstep);
  NormalizeAngles(track);
}

void WriteEdges(FootstepTrack& track, int footstep, int edges) {
  track.startEdgeSelected.Set(footstep, (edges & kStartEdge) != 0);
  track.endEdgeSelected.Set(footstep, (edges & kEndEdge) != 0);
}

}  // namespace

FootprintControl::FootprintControl(StriderMaster& master) : master_(master) {}
FootprintControl::~FootprintControl() = default;

const FootstepTrack& FootprintControl::Track() const {
  return preview_ ? *preview_ : master_.Core().footsteps;
}

int FootprintControl::GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) {
  return master_.GetValue(kFootprints, 0, t, value, valid, method);
}

// --- Keys --------------------------------------------------------------------------------------

int FootprintControl::GetNumKeys() const { return Track().numFootsteps; }

TimeValue FootprintControl::GetKeyTime(int index) const {
  const FootstepSpan* span = SpanOf(Track(), index);
  return span ? span->start : kTimeMin;
}

int FootprintControl::GetKeyIndex(TimeValue t) const {
  if (master_.Core().figureMode) return -1;
  const int index = InsertPosition(Track(), Later(t, -1));  // the first that starts at t or later
  const FootstepSpan* span = SpanOf(Track(), index);
  return span && span->start == t ? index : -1;
}

void FootprintControl::GetKey(int index, IKey& key) const {
  static_cast<FootprintKey&>(key) = Read(index);
}

bool FootprintControl::SetKey(int index, const IKey& key) {
  const FootprintKey& given = static_cast<const FootprintKey&>(key);
  if (!IsFinite(given.transform)) return false;
  return master_.EditFootsteps([&](MotionCore& core, int& first, int& last) {
    FootstepTrack& track = core.footsteps;
    if (RetimeFootstep(track, index, given.time, given.duration) == kRefused) return false;
    WriteEdges(track, index, given.edgeSel);
    track.active.Set(index, given.active != 0);
    WriteTransform(track, index, given.transform);
    first = last = index;
    return true;
  });
}

bool FootprintControl::SetTransform(int footstep, const Matrix3& transform) {
  FootprintKey key = Read(footstep);
  key.transform = transform;
  return SetKey(footstep, key);
}

bool FootprintControl::SetTimes(int footstep, TimeValue start, TimeValue duration) {
  FootprintKey key = Read(footstep);
  key.time = start;
  key.duration = duration;
  return SetKey(footstep, key);
}

bool FootprintControl::SetEdgeSel(int footstep, int edges) {
  return master_.SelectFootstep(footstep, edges, false);
}

bool FootprintControl::DeleteSelected() { return master_.DeleteSelectedFootsteps(); }

Interval FootprintControl::GetTimeRange(bool selectedOnly) const {
  const FootstepTrack& track = Track();
  Interval range{kTimeMax, kTimeMin};
  for (int i = 0; i < track.numFootsteps; ++i) {
    if (selectedOnly && !IsSelected(track, i)) continue;
    const FootstepSpan& span = *SpanOf(track, i);
    range = {std::min(range.start, span.start), std::max(range.end, span.Lift())};
  }
  return range.start > range.end ? Interval::Never() : range;
}

bool FootprintControl::MapKeys(const TimeMap& map, bool selectedOnly) {
  return map && master_.EditFootsteps([&](MotionCore& core, int& first, int& last) {
    return MapFootstepTimes(core.footsteps, map, selectedOnly, first, last) == kDone;
  });
}

// --- A drag ------------------------------------------------------------------------------------

bool FootprintControl::DragTo(TimeValue ticks) {
  std::unique_ptr<FootstepTrack> trial(new (std::nothrow) FootstepTrack);
  if (!trial || CopyFootsteps(*trial, master_.Core().footsteps) == kRefused) return false;
  int first = 0, last = 0;
  const auto later = [ticks](TimeValue t) { return Later(t, ticks); };
  if (MapFootstepTimes(*trial, later, true, first, last) == kRefused) return false;
  preview_ = std::move(trial);
  dragged_ = ticks;
  return true;
}

bool FootprintControl::MouseCycleCompleted(bool keep) {
  if (!Dragging()) return false;
  preview_.reset();
  const TimeValue ticks = std::exchange(dragged_, 0);
  if (!keep || ticks == 0) return true;
  return MapKeys([ticks](TimeValue t) { return Later(t, ticks); }, true);
}

std::unique_ptr<FootprintControl> FootprintControl::Clone(StriderMaster& master) const {
  return std::make_unique<FootprintControl>(master);
}

// --- Undo of the selection ---------------------------------------------------------------------

FootSelSave::FootSelSave(StriderMaster& master) : master_(master), before_(Read()) {}

FootSelSave::Edges FootSelSave::Read() const {
  const FootstepTrack& track = master_.Core().footsteps;
  return {track.startEdgeSelected, track.endEdgeSelected};
}

void FootSelSave::Write(const Edges& edges) {
  FootstepTrack& track = master_.EditCore().footsteps;
  if (edges.start.Size() != track.numFootsteps) return;  // another step's footsteps
  track.startEdgeSelected = edges.start;
  track.endEdgeSelected = edges.end;
  master_.Changed();
}

void FootSelSave::Restore(bool isUndo) {
  if (isUndo) after_ = Read();
  Write(before_);
}
void FootSelSave::Redo() { Write(after_); }

}  // namespace strider
