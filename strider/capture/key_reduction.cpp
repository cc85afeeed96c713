#include "strider/capture/key_reduction.h"

#include <algorithm>
#include <new>

#include "strider/capture/curve_thinning.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_pivot.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/flights.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

/// Keys between which a walk goes; empty where a range lies beside the track.
struct WalkEnds {
  int first = 0, last = -1;
};
WalkEnds EndsOf(const SectionCurve& curve, const std::optional<Interval>& range) {
  const int last = curve.NumKeys() - 1;
  if (last < 0) return {};
  if (!range) return {0, last};
  if (range->start >= curve.times.back() || range->end < curve.times.front()) return {};
  const auto begin = curve.times.begin();
  const auto after = std::upper_bound(begin, curve.times.end(), range->start) - begin;
  const auto end = std::lower_bound(begin, curve.times.end(), range->end) - begin;
  return {std::max(static_cast<int>(after) - 1, 0), std::min(static_cast<int>(end), last)};
}

template <class Key>
void Thin(MotionCore& core, int id, KeyTable<Key>& table, const KeyReductionRow& row,
          const ReductionSamples& samples, const std::optional<Interval>& range,
          TrackReduction& report) {
  const KeyTrack& track = table.track;
  const TurnsBack turns(samples, id, row);
  std::vector<std::uint32_t> masks;  // links that keep each key
  for (const KeyTimeRecord& record : track.times) {
    masks.push_back(track.separate ? record.linkMask : kAllLinks);
  }
  const std::vector<std::uint32_t> before = masks;
  const TimeValue frame = std::max<TimeValue>(core.ticksPerFrame, 1);
  for (int sub = 0; sub < ShapesPerKey(track); ++sub) {
    const SectionCurve curve = CurveOf(core, id, sub);
    const WalkEnds ends = EndsOf(curve, range);
    if (ends.first >= ends.last) continue;
    const ThinnedCurve thinned = ThinCurve(curve, ends.first, ends.last, row, frame, turns);
    report.largestDeviation = std::max(report.largestDeviation, thinned.largestDeviation);
    for (int i = 0; i < curve.NumKeys(); ++i) {
      if (thinned.stays[At(i)]) continue;
      masks[At(curve.keys[At(i)])] &= track.separate ? ~(std::uint32_t{1} << sub) : 0u;
    }
  }
  if (masks == before) return;
  std::vector<int> kept;
  for (int i = 0; i < track.numKeys; ++i) {
    if (masks[At(i)] == 0) continue;
    kept.push_back(i);
    if (track.separate && masks[At(i)] != before[At(i)]) {
      SetLinkMask(table.track, i, masks[At(i)]);
    }
  }
  KeepKeys(table, kept);
  AlignKeys(core, id);
}

/// Thins the track of an id, wherever it lies.
void ThinTrack(MotionCore& core, int id, const KeyReductionRow& row,
               const ReductionSamples& samples, const std::optional<Interval>& range,
               TrackReduction& report) {
  ForEachTable(core, [&](int own, auto& table) {
    if (own == id) Thin(core, id, table, row, samples, range, report);
  });
  LimbRecord* limb = FindLimb(core, id);
  if (limb == nullptr) return;
  std::vector<LimbKey>& keys = limb->table.keys;
  const std::uint32_t endLink =
      limb->table.track.separate ? std::uint32_t{1} << (NumLimbLinks(*limb) - 1) : kAllLinks;
  LimbKey* before = nullptr;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if ((limb->table.track.times[i].linkMask & endLink) == 0) continue;
    if (before != nullptr) JoinPivots(*limb, *before, keys[i]);
    before = &keys[i];
  }
}

/// The height comes before the path, which keeps keys where it has some.
std::vector<int> TracksInOrder(const MotionCore& core) {
  std::vector<int> ids{kVertical, kHorizontal};
  ForEachTable(core, [&ids](int id, const auto& table) {
    const bool prop = id >= kProp1 && id <= kProp3;
    if (!table.Empty() && id != kVertical && id != kHorizontal && !prop) ids.push_back(id);
  });
  return ids;
}

/// What follows from the keys, and the core's own change.
int Finish(MotionCore& core, MotionCore& thinned) {
  // A flight names its keys by their numbers.
  if (!thinned.freeForm && BuildFlights(thinned) == kRefused) return kRefused;
  RefreshTracks(thinned);
  core = std::move(thinned);
  return kDone;
}

int NumKeysOf(const MotionCore& core, int id) {
  const KeyTrack* track = FindTrack(core, id);
  return track != nullptr ? track->numKeys : 0;
}

}  // namespace

int ReductionReport::KeysBefore() const {
  int sum = 0;
  for (const TrackReduction& track : tracks) sum += track.keysBefore;
  return sum;
}
int ReductionReport::KeysAfter() const {
  int sum = 0;
  for (const TrackReduction& track : tracks) sum += track.keysAfter;
  return sum;
}

KeyReductionTrack ReductionRowOf(int id) {
  switch (id) {
    case kHorizontal: return kReduceHorizontal;
    case kVertical: return kReduceVertical;
    case kTurn: return kReduceTurn;
    case kPelvis: return kReducePelvis;
    case kSpine: return kReduceSpine;
    case kNeck:
    case kHead: return kReduceNeck;
    case kLeftArm: return kReduceLeftArm;
    case kRightArm: return kReduceRightArm;
    case kLeftLeg: return kReduceLeftLeg;
    case kRightLeg: return kReduceRightLeg;
    default: return kReduceTail;  // what hangs: tail, ponytails and extra chains
  }
}

int ReduceTrack(MotionCore& core, int id, const KeyReductionRow& row,
                const ReductionSamples& samples, const std::optional<Interval>& range,
                TrackReduction& report) {
  const int keys = NumKeysOf(core, id);
  report = {id, keys, keys, 0};
  if (FindTrack(core, id) == nullptr) return kRefused;
  if (keys == 0 || !(row.tolerance > 0)) return kDone;
  try {
    MotionCore thinned = core;
    ThinTrack(thinned, id, row, samples, range, report);
    report.keysAfter = NumKeysOf(thinned, id);
    return Finish(core, thinned);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

int ReduceKeys(MotionCore& core, const KeyReductionTable& rows,
               const std::optional<Interval>& range, const EvalContext& context,
               ReductionReport& report) {
  report = {};
  try {
    const ReductionSamples samples = SampleForReduction(core, context);
    MotionCore thinned = core;
    for (const int id : TracksInOrder(core)) {
      const bool all = rows[kReduceAll].filter != 0;
      const KeyReductionRow& row = rows[all ? kReduceAll : ReductionRowOf(id)];
      const int keys = NumKeysOf(core, id);
      TrackReduction track{id, keys, keys, 0};
      if (row.filter != 0 && row.tolerance > 0 && keys > 0) {
        ThinTrack(thinned, id, row, samples, range, track);
        track.keysAfter = NumKeysOf(thinned, id);
      }
      if (keys > 0) report.tracks.push_back(track);
    }
    return Finish(core, thinned);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

}  // namespace strider
