// Thins dense keys, as a capture brings them, to those that a hand can edit: keys at the turning
// points of a motion stay, and as many between them as its curves need. Curves are taken as a new
// capture has them: with keys' shapes, but without tangents and Euler angles of their own.
#pragma once

#include <optional>
#include <vector>

#include "strider/capture/key_reduction_table.h"
#include "strider/capture/reduction_samples.h"

namespace strider {

/// What became of one track.
struct TrackReduction {
  int id = kNoBodyId;
  int keysBefore = 0, keysAfter = 0;
  /// How far the thinned curve leaves the keys that went, in the unit of the row's tolerance.
  /// Where the spacing forbids a key it may be more than that.
  float largestDeviation = 0;
};
struct ReductionReport {
  std::vector<TrackReduction> tracks;  // those that have keys

  int KeysBefore() const;
  int KeysAfter() const;
};

/// Which row of a table says how a track is thinned, the filters not asked.
KeyReductionTrack ReductionRowOf(int id);

/// Thins the track of `id` by a row whose filter is not asked: from its first key to its last, or
/// from the key at or before a range's start to the one at or after its end. Those two stay. A
/// tolerance of 0 or less changes nothing. Frames that a key lies apart from the last one kept and
/// from the walk's end count against the spacing; keys that change what a limb holds, or where a
/// contact begins or ends, stay whatever the spacing. Links with keys of their own are thinned
/// apart. kRefused, nothing changed, for an id without a track, or if memory ran out.
[[nodiscard]] int ReduceTrack(MotionCore& core, int id, const KeyReductionRow& row,
                              const ReductionSamples& samples, const std::optional<Interval>& range,
                              TrackReduction& report);

/// Thins all tracks whose rows have their filter on, by kReduceAll where its own is. What flights
/// and shapes follow from keys is rebuilt. kRefused, nothing changed, if memory ran out.
[[nodiscard]] int ReduceKeys(MotionCore& core, const KeyReductionTable& rows,
                             const std::optional<Interval>& range, const EvalContext& context,
                             ReductionReport& report);

}  // namespace strider
