// A key track with the records it keys: the one place where keys are put in and taken out, so
// that times and records keep one length, and where what is derived from keys is refreshed.
#pragma once

#include <algorithm>
#include <new>
#include <stdexcept>
#include <vector>

#include "strider/core/interpolation.h"
#include "strider/core/key_track.h"

namespace strider {

template <class Key>
struct KeyTable {
  KeyTrack track;
  std::vector<Key> keys;  // parallel to track.times
  int near = 0;           // where evaluation last found its key; any value will do

  bool Empty() const { return track.numKeys == 0; }
  const Key& operator[](int index) const { return keys[static_cast<std::size_t>(index)]; }
  TimeValue TimeOf(int index) const { return track.times[static_cast<std::size_t>(index)].time; }
};

/// Puts a key at `t`: a new one, or in place of the one that stands there. On a separate track the
/// key joins the sub-tracks of `mask`. kRefused, nothing changed, if memory ran out.
template <class Key>
[[nodiscard]] int PutKeyRecord(KeyTable<Key>& table, TimeValue t, const Key& key,
                               std::uint32_t mask = kAllLinks) {
  KeyTrack& track = table.track;
  const int existing = KeyAt(track, t);
  if (existing >= 0) {
    table.keys[static_cast<std::size_t>(existing)] = key;
    if (track.separate) {
      SetLinkMask(track, existing, track.times[static_cast<std::size_t>(existing)].linkMask | mask);
    }
    MarkDirty(track, existing, existing);
    return kDone;
  }
  if (ReserveKeys(track, track.numKeys + 1) == kRefused) return kRefused;
  const int index = InsertionIndex(track, t);
  try {
    table.keys.reserve(static_cast<std::size_t>(track.capacity));
    table.keys.insert(table.keys.begin() + index, key);
  } catch (const std::bad_alloc&) {
    return kRefused;
  } catch (const std::length_error&) {
    return kRefused;
  }
  InsertKeyTime(track, index, t);
  if (track.separate && mask != kAllLinks) SetLinkMask(track, index, mask);
  return kDone;
}

/// Takes the key at `index` out. kRefused for an index outside.
template <class Key>
int DeleteKeyRecord(KeyTable<Key>& table, int index) {
  if (index < 0 || index >= table.track.numKeys) return kRefused;
  table.keys.erase(table.keys.begin() + index);
  DeleteKeyTime(table.track, index);
  return kDone;
}

/// Takes all keys out; the track's form stays.
template <class Key>
void ClearKeys(KeyTable<Key>& table) {
  while (table.track.numKeys > 0) DeleteKeyRecord(table, table.track.numKeys - 1);
}

/// Takes out all keys but those that `kept` lists in ascending order, in one pass.
template <class Key>
void KeepKeys(KeyTable<Key>& table, const std::vector<int>& kept) {
  auto to = table.keys.begin();
  for (const int index : kept) {
    const auto from = table.keys.begin() + index;
    if (from != to) *to = std::move(*from);
    ++to;
  }
  table.keys.erase(to, table.keys.end());
  KeepKeyTimes(table.track, kept);
}

/// Gives the links keys of their own, or takes that back. On: every key is a key of every link,
/// with a copy of its shape. Off: the links' shapes go, and so do keys that not every link has.
/// A separate track that gets another number of links keeps the keys that its links have.
template <class Key>
[[nodiscard]] int SetSeparate(KeyTable<Key>& table, int on, int numSubTracks) {
  const KeyTrack& track = table.track;
  if ((track.separate != 0) == (on != 0) && (!on || track.numSubTracks == numSubTracks)) {
    return kDone;
  }
  if (on && (numSubTracks < 1 || numSubTracks > 32)) return kRefused;
  if (!on) numSubTracks = 0;
  try {
    KeyTable<Key> changed = table;
    std::vector<int> kept;
    for (int i = 0; i < track.numKeys; ++i) {
      std::uint32_t& mask = changed.track.times[static_cast<std::size_t>(i)].linkMask;
      mask = ResizedLinkMask(track, mask, numSubTracks);
      if (mask != 0) kept.push_back(i);
    }
    if (static_cast<int>(kept.size()) < track.numKeys) KeepKeys(changed, kept);
    ResizeLinks(changed.track, numSubTracks);
    std::swap(table, changed);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  MarkDirty(table.track, 0, table.track.numKeys - 1);
  return kDone;
}

/// Says how many quaternion channels a key of this table has; the handles follow. kRefused,
/// nothing changed, if memory ran out.
template <class Key>
int SetNumQuats(KeyTable<Key>& table, int numQuats) {
  KeyTrack& track = table.track;
  try {
    std::vector<QuatHandles> handles;
    handles.reserve(static_cast<std::size_t>(track.capacity) * static_cast<std::size_t>(numQuats));
    handles.resize(static_cast<std::size_t>(track.numKeys) * static_cast<std::size_t>(numQuats));
    track.handles.swap(handles);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  track.numQuats = numQuats;
  MarkDirty(track, 0, track.numKeys - 1);
  return kDone;
}

/// Rebuilds the shapes and quaternion handles of the keys that edits touched. `channels` tells
/// what a key's quaternion channels are:
///   const Quat& At(const Key&, int channel), int SubTrack(int channel),
///   KeyTcb Rule(const Key&, int channel, KeyTcb): the shape in force for that channel,
///   bool Comparable(const Key&, const Key&, int channel): whether two keys hold it in one space.
/// Allocates nothing: insertion has made the room.
template <class Key, class Channels>
void RefreshDerived(KeyTable<Key>& table, const Channels& channels) {
  KeyTrack& track = table.track;
  if (track.dirtyFirst > track.dirtyLast) return;
  const int shapesPerKey = ShapesPerKey(track);
  const auto neighbours = [&](int i, int sub, int& before, int& after) {
    before = std::max(i - 1, 0);
    after = std::min(i + 1, track.numKeys - 1);
    if (!track.separate) return true;
    const std::uint32_t mask = std::uint32_t{1} << sub;
    if (!(track.times[static_cast<std::size_t>(i)].linkMask & mask)) return false;
    before = track.maskIndex.FindLast(i - 1, mask);
    after = track.maskIndex.FindFirst(i + 1, mask);
    if (before < 0) before = i;
    if (after < 0) after = i;
    return true;
  };
  int before = 0, after = 0;
  for (int sub = 0; sub < shapesPerKey; ++sub) {
    const KeyRange range = DirtyRange(track, sub);
    for (int i = range.first; i <= range.last; ++i) {
      if (!neighbours(i, sub, before, after)) continue;
      track.shapes[static_cast<std::size_t>(i * shapesPerKey + sub)] = ShapeOf(
          GetTcb(track, i, sub), table.TimeOf(before), table.TimeOf(i), table.TimeOf(after));
    }
  }
  const auto handlesAt = [&](int i, int channel) -> QuatHandles& {
    return track.handles[static_cast<std::size_t>(i * track.numQuats + channel)];
  };
  const auto refreshHandles = [&](int channel, int sub, int first, int last) {
    for (int i = first; i <= last; ++i) {
      if (!neighbours(i, sub, before, after)) continue;
      const KeyTcb own = GetTcb(track, i, sub), tcb = channels.Rule(table[i], channel, own);
      const KeyShape shape =
          tcb == own ? track.shapes[static_cast<std::size_t>(i * shapesPerKey + sub)]
                     : ShapeOf(tcb, table.TimeOf(before), table.TimeOf(i), table.TimeOf(after));
      // A neighbour that holds the rotation in another space says nothing of this one's path.
      if (!channels.Comparable(table[i], table[before], channel)) before = i;
      if (!channels.Comparable(table[i], table[after], channel)) after = i;
      handlesAt(i, channel) =
          HandlesOf(channels.At(table[before], channel), channels.At(table[i], channel),
                    channels.At(table[after], channel), shape);
    }
  };
  // The arcs of the spans from keys, once the handles at both of their ends stand; `intoFirst`
  // those of the span into the first one too.
  const auto refreshArcs = [&](int channel, int sub, int first, int last, bool intoFirst) {
    const auto between = [&](int from, int to) {
      QuatHandles& left = handlesAt(from, channel);
      left.keyArc = ArcOf(channels.At(table[from], channel), channels.At(table[to], channel));
      left.handleArc = ArcOf(left.out, handlesAt(to, channel).in);
    };
    for (int i = first; i <= last; ++i) {
      if (!neighbours(i, sub, before, after)) continue;
      if (intoFirst && i == first && before < i) between(before, i);
      between(i, after);
    }
  };
  if (track.separate) {
    for (int channel = 0; channel < track.numQuats; ++channel) {
      const int sub = channels.SubTrack(channel);
      const KeyRange range = DirtyRange(track, sub);
      refreshHandles(channel, sub, range.first, range.last);
      refreshArcs(channel, sub, range.first, range.last, true);
    }
  } else {
    // A few keys at a time for all channels: what they read of a key lies together.
    constexpr int kKeysAtOnce = 16;
    const KeyRange range = DirtyRange(track, 0);
    for (int first = range.first; first <= range.last; first += kKeysAtOnce) {
      const int last = std::min(first + kKeysAtOnce - 1, range.last);
      for (int channel = 0; channel < track.numQuats; ++channel) {
        refreshHandles(channel, 0, first, last);
        refreshArcs(channel, 0, std::max(first - 1, range.first),
                    last == range.last ? last : last - 1, first == range.first);
      }
    }
  }
  track.dirtyFirst = 0;
  track.dirtyLast = -1;
}

}  // namespace strider
