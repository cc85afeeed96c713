// Key times of one section of the figure (an arm with its fingers, the head with its neck) and
// what belongs to a key whatever it holds: its shape, its tangents, its links. The pose records
// lie in a table parallel to `times`; insert and delete through key_table.h, so that all tables
// keep one length.
#pragma once

#include <cstdint>
#include <vector>

#include "strider/base/bit_array.h"
#include "strider/base/quat.h"
#include "strider/base/time_value.h"
#include "strider/core/mask_index.h"

namespace strider {

/// Answers of an edit. A refused edit changed nothing.
enum EditStatus : int { kRefused = 0, kDone = 1 };

inline constexpr std::uint32_t kAllLinks = 0xffffffffu;
inline constexpr int kKeyTableStep = 64;
/// Keys that one track may have. A key holds its own place as a float, which counts no further.
inline constexpr int kMaxKeys = 1 << 24;

struct KeyTimeRecord {
  TimeValue time = 0;
  float index = 0;                     // the key's own place in the track
  int flag = 0;                        // nonzero: the key is not to be deleted
  std::uint32_t linkMask = kAllLinks;  // sub-tracks with a key here; means something if separate
  std::uint32_t selectedLinks = 0;
};

/// A key's shape. Tension, bias and continuity run 0 to 50, neutral 25; ease 0 to 50. The way out
/// of a key is its easeTo, the way in its easeFrom: the file's names, kept.
struct KeyTcb {
  float easeFrom = 0, easeTo = 0, tension = 25, bias = 25, continuity = 25;
  friend bool operator==(const KeyTcb&, const KeyTcb&) = default;
};
/// What a new key gets from the host's defaults.
KeyTcb DefaultTcb();
/// What a key that a sub-track lacks reads as.
inline constexpr KeyTcb kMissingTcb{50, 50, 25, 25, 25};

inline constexpr int kStepTangent = 2;
inline constexpr int kDefaultTangentType = 6;

/// Tangents of one curve at a key: for each of three channels a handle (x in ticks, y in the
/// channel's unit) on the side before the key and on the side after it.
struct KeyTangent {
  float in[3][2] = {{-1, 0}, {-1, 0}, {-1, 0}};
  float out[3][2] = {{1, 0}, {1, 0}, {1, 0}};
  std::uint8_t lock[3] = {};
  int inType = kDefaultTangentType;
  int outType = kDefaultTangentType;
};

/// What a whole track's curve has at a new key.
KeyTangent WholeTrackTangent();

/// Weights of the chords before and after a key in its tangents (Kochanek-Bartels), the key's
/// shape and the spacing of its neighbours taken together.
struct KeyShape {
  float outBefore = 0.5f, outAfter = 0.5f;
  float inBefore = 0.5f, inAfter = 0.5f;
};

/// Control points of a quaternion channel on both sides of a key, and the arcs of the span that
/// starts at the key: to the next key's rotation, and between the handles of the two.
struct QuatHandles {
  Quat in, out;
  SlerpArc keyArc, handleArc;
};

struct KeyTrack {
  int numKeys = 0;
  int capacity = 0;
  int numCurves = 0;
  int numDigits = 0, digitLinks = 0, digitExtra = 0;  // limb tracks only
  int curveMode = 0;     // 1: scalars and Euler channels follow tangents
  int separate = 0;      // 1: links have keys of their own
  int numSubTracks = 0;  // when separate, at most 32
  int trackCurves = 0;   // limb and extra chain tracks: a curve of the whole track besides
  std::uint8_t clampSubTrack = 0;
  int eulerActive = 0;
  int eulerOrder = 0;  // 0 to 5

  std::vector<KeyTimeRecord> times;
  std::vector<KeyTcb> tcb;
  std::vector<KeyTangent> tangents;       // numCurves a key, in curve mode
  std::vector<KeyTangent> trackTangents;  // one a key, in curve mode with trackCurves
  std::vector<KeyTcb> linkTcb;            // numSubTracks a key, when separate
  std::vector<TimeValue> linkTimes;       // numSubTracks a key, when separate
  BitArray selected;                      // when not separate

  // Derived from the above and the key records; rebuilt over the dirty keys before evaluation.
  MaskIndex maskIndex;                 // when separate
  std::vector<KeyShape> shapes;        // max(1, numSubTracks) a key
  std::vector<QuatHandles> handles;    // numQuats a key
  int numQuats = 0;                    // quaternion channels of a key
  int dirtyFirst = 0, dirtyLast = -1;  // keys whose shapes and handles are out of date
};

/// The mask of every link of a track: of its sub-tracks where it is separate.
inline std::uint32_t EveryLink(int numSubTracks) {
  return numSubTracks >= 32 ? kAllLinks : (std::uint32_t{1} << numSubTracks) - 1;
}
inline std::uint32_t EveryLink(const KeyTrack& track) {
  return track.separate ? EveryLink(track.numSubTracks) : kAllLinks;
}

/// Sub-tracks that the shape table has room for: 1 for a track that is not separate.
inline int ShapesPerKey(const KeyTrack& track) {
  return track.separate && track.numSubTracks > 0 ? track.numSubTracks : 1;
}

/// Index of the key that rules at `t`: the last one at or before it. Before the first key 0,
/// after the last numKeys - 1; -1 if the track is empty. A binary search; never allocates.
int FindKey(const KeyTrack& track, TimeValue t);
/// The same, looked for first at `near` (the answer of a search before) and the key after it:
/// playing forward finds its keys without a search. `near` becomes the answer.
int FindKeyNear(const KeyTrack& track, TimeValue t, int& near);
/// The same among the keys with any bit of `mask`; before the first of them that first one; 0 if
/// there is none. Tracks that are not separate ignore the mask.
int FindKey(const KeyTrack& track, TimeValue t, std::uint32_t mask);
/// Index of a key exactly at `t` (with any bit of `mask`), or -1.
int KeyAt(const KeyTrack& track, TimeValue t, std::uint32_t mask = kAllLinks);
/// Index that a key at `t` takes when inserted: 0 to numKeys.
int InsertionIndex(const KeyTrack& track, TimeValue t);

/// The four keys around `t` that interpolation reads; a missing neighbour is the key itself.
struct KeySpan {
  int prev = -1, left = -1, right = -1, next = -1;
};
KeySpan GetSpan(const KeyTrack& track, TimeValue t, std::uint32_t mask = kAllLinks);
/// The four keys around `left`, over all keys of the track.
KeySpan SpanFrom(const KeyTrack& track, int left);

/// Room for `count` keys in all tables. kRefused, nothing changed, if memory ran out or `count` is
/// above kMaxKeys.
[[nodiscard]] int ReserveKeys(KeyTrack& track, int count);
/// Makes a key with default shape at `index` and `t`, in all sub-tracks; the caller has reserved
/// room and keeps the key records parallel.
void InsertKeyTime(KeyTrack& track, int index, TimeValue t);
void DeleteKeyTime(KeyTrack& track, int index);
/// Gives the key at `to` all that one of another track of the same form has but its time: shape,
/// tangents, links, flag and selection.
void CopyKeyRow(KeyTrack& track, int to, const KeyTrack& from, int index);
/// Keeps only the keys that `kept` lists in ascending order, in one pass over the tables.
void KeepKeyTimes(KeyTrack& track, const std::vector<int>& kept);
/// Moves a key in time. kRefused where it would meet or pass a neighbour.
[[nodiscard]] int SetKeyTime(KeyTrack& track, int index, TimeValue t);
/// Says which links have a key at `index`; bits that stand for no sub-track are left out.
void SetLinkMask(KeyTrack& track, int index, std::uint32_t mask);

/// What a key's mask becomes when its track goes over to `numSubTracks` (0: no longer separate); 0
/// for a key that does not survive it. All links of a section that becomes separate have the key.
/// Sub-tracks that join go with the last one before them, those that fall together need all keys.
std::uint32_t ResizedLinkMask(const KeyTrack& track, std::uint32_t mask, int numSubTracks);
/// Brings the link tables to `numSubTracks`, each new sub-track with the shape it had before. Works
/// on a copy that the caller commits: the one function here that passes std::bad_alloc on.
void ResizeLinks(KeyTrack& track, int numSubTracks);

/// Gives each new sub-track the keys, shape and selection of the one that `from` names for it. Keys
/// that so lose all their sub-tracks read a mask of 0, for the caller to take out. Not for a track
/// that is not separate. Passes std::bad_alloc on, as above.
void RemapLinks(KeyTrack& track, const std::vector<int>& from);
/// The same for the curves of a key; -1 names a new one, with the default tangents.
void RemapCurves(KeyTrack& track, const std::vector<int>& from);

/// The shape of a key in a sub-track; the defaults of a missing key where there is none.
KeyTcb GetTcb(const KeyTrack& track, int index, int subTrack);
/// Sets a shape: the link's with a separate track, the key's without. Values are clamped to 0 to
/// 50. kRefused for an index or sub-track outside the track or a value that is not finite.
[[nodiscard]] int SetTcb(KeyTrack& track, int index, int subTrack, const KeyTcb& tcb);
/// Tangents of a curve at a key; defaults for an index outside.
KeyTangent GetTangent(const KeyTrack& track, int index, int curve);
/// kRefused, as for shapes, for an index or curve outside or a handle that is not finite.
[[nodiscard]] int SetTangent(KeyTrack& track, int index, int curve, const KeyTangent& tangent);
KeyTangent GetTrackTangent(const KeyTrack& track, int index);
[[nodiscard]] int SetTrackTangent(KeyTrack& track, int index, const KeyTangent& tangent);
[[nodiscard]] int SetCurveMode(KeyTrack& track, int on);

/// Says that a key's time, shape or record changed, so that what is derived is rebuilt.
void MarkDirty(KeyTrack& track, int first, int last);

/// Which keys' shapes depend on the dirty ones: from the key before the first to the key after
/// the last, in one sub-track's own order. Empty (first > last) if nothing is dirty.
struct KeyRange {
  int first = 0, last = -1;
};
KeyRange DirtyRange(const KeyTrack& track, int subTrack);

/// Checks the lengths of all tables and the order of the times, for tests and fuzzers.
bool CheckTrack(const KeyTrack& track);

}  // namespace strider
