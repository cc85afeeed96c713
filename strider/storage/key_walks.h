// The fields of key records and of key tables in a stream, one list for both directions. What a
// table's keys hold and when they stand are two records: pose records first, times next, and the
// two are joined when both have come.
#pragma once

#include <algorithm>
#include <vector>

#include "strider/core/motion_core.h"
#include "strider/storage/stream.h"

namespace strider {

/// Fields of a record in the stream, at least; counts are checked against it.
template <class Key>
inline constexpr int kFieldsOf = 1;
template <>
inline constexpr int kFieldsOf<LimbKey> = 200;
template <>
inline constexpr int kFieldsOf<ChainKey> = 180;
template <>
inline constexpr int kFieldsOf<HeadKey> = 15;  // below version 33
template <>
inline constexpr int kFieldsOf<HorizontalKey> = 10;
template <>
inline constexpr int kFieldsOf<TurnKey> = 14;
template <>
inline constexpr int kFieldsOf<PropKey> = 35;

void WalkKey(Stream& s, LimbKey& key);
void WalkKey(Stream& s, ChainKey& key);
/// Below version 33 a head key holds the head alone; the neck then stands at rest.
void WalkKey(Stream& s, HeadKey& key);
/// Below version 34 a single float: the rock of the pelvis in radians, positive to the right.
void WalkKey(Stream& s, PelvisKey& key);
void WalkKey(Stream& s, PropKey& key);

/// A count and as many records, of any kind of key but the vertical ones.
template <class Key>
void WalkKeys(Stream& s, std::vector<Key>& keys);

/// The vertical keys, the right leg's table first, then the left one's; what both hold is the same.
void WalkVerticalKeys(Stream& s, std::vector<VerticalKey>& keys);

/// Times, shapes, tangents and links of a track. A track read has no room for what is derived yet:
/// JoinKeys makes it. Below version 8 times are frames.
void WalkTiming(Stream& s, KeyTrack& track);

/// Whether records and times read for one table belong together.
template <class Key>
bool KeysMatch(const KeyTable<Key>& table) {
  return static_cast<int>(table.keys.size()) == table.track.numKeys;
}

/// Gives a track that was read the room that its form asks for, and has everything derived rebuilt.
/// `from` is a track of the figure that says what the form is. Throws std::bad_alloc.
void AdoptTrack(KeyTrack& track, const KeyTrack& form);

}  // namespace strider
