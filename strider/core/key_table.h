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

/// Gives the links keys of their own, or takes that back. On: every key is a key of every link,
/// with a copy of its shape. Off: the links' shapes go, and so do keys that not every link has.
template <class Key>
[[nodiscard]] int SetSeparate(KeyTable<Key>& table, int on, int numSubTracks) {
  KeyTrack& track = table.track;
  if ((track.separate != 0) == (on != 0) && (!on || track.numSubTracks == numSubTracks)) {
    return kDone;
  }
  if (on && (numSubTracks < 1 || numSubTracks > 32)) return kRefused;
  KeyTable<Key> changed;
  try {
    changed = table;
    const auto keys = static_cast<std::size_t>(track.numKeys);
    const auto room = static_cast<std::size_t>(track.capacity);
    KeyTrack& next = changed.track;
    const std::uint32_t everyLink =
        numSubTracks >= 32 ? kAllLinks : (std::uint32_t{1} << numSubTracks) - 1;
    if (!on) {
      const std::uint32_t all =
          track.numSubTracks >= 32 ? kAllLinks : (std::uint32_t{1} << track.numSubTracks) - 1;
      for (int i = next.numKeys - 1; i >= 0; --i) {
        const std::uint32_t mask = next.times[static_cast<std::size_t>(i)].linkMask;
        if ((mask & all) != all) DeleteKeyRecord(changed, i);
      }
    }
    next.separate = on ? 1 : 0;
    next.numSubTracks = on ? numSubTracks : 0;
    next.linkTcb.clear();
    next.linkTimes.clear();
    next.maskIndex.Clear();
    if (on) {
      next.linkTcb.reserve(room * static_cast<std::size_t>(numSubTracks));
      next.linkTimes.reserve(room * static_cast<std::size_t>(numSubTracks));
      next.maskIndex.Reserve(track.capacity);
      for (std::size_t i = 0; i < keys; ++i) {
        next.times[i].linkMask = everyLink;
        next.maskIndex.Insert(static_cast<int>(i), everyLink);
        for (int sub = 0; sub < numSubTracks; ++sub) {
          next.linkTcb.push_back(next.tcb[i]);
          next.linkTimes.push_back(next.times[i].time);
        }
      }
    } else {
      for (KeyTimeRecord& record : next.times) record.linkMask = kAllLinks;
    }
    next.shapes.assign(
        static_cast<std::size_t>(next.numKeys) * static_cast<std::size_t>(ShapesPerKey(next)),
        KeyShape{});
    next.shapes.reserve(room * static_cast<std::size_t>(ShapesPerKey(next)));
    next.handles.reserve(room * static_cast<std::size_t>(next.numQuats));
    next.times.reserve(room);
    next.tcb.reserve(room);
    changed.keys.reserve(room);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  std::swap(table, changed);
  MarkDirty(table.track, 0, table.track.numKeys - 1);
  return kDone;
}

/// Says how many quaternion channels a key of this table has; the handles follow.
template <class Key>
void SetNumQuats(KeyTable<Key>& table, int numQuats) {
  KeyTrack& track = table.track;
  track.numQuats = numQuats;
  track.handles.assign(static_cast<std::size_t>(track.numKeys) * static_cast<std::size_t>(numQuats),
                       QuatHandles{});
  track.handles.reserve(static_cast<std::size_t>(track.capacity) *
                        static_cast<std::size_t>(numQuats));
  MarkDirty(track, 0, track.numKeys - 1);
}

/// Rebuilds the shapes and quaternion handles of the keys that edits touched. `channels` tells
/// what a key's quaternion channels are:
///   const Quat& At(const Key&, int channel), int SubTrack(int channel),
///   KeyTcb Rule(const Key&, int channel, KeyTcb): the shape in force for that channel.
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
  for (int channel = 0; channel < track.numQuats; ++channel) {
    const int sub = track.separate ? channels.SubTrack(channel) : 0;
    const KeyRange range = DirtyRange(track, sub);
    for (int i = range.first; i <= range.last; ++i) {
      if (!neighbours(i, sub, before, after)) continue;
      const KeyTcb tcb = channels.Rule(table[i], channel, GetTcb(track, i, sub));
      const KeyShape shape =
          ShapeOf(tcb, table.TimeOf(before), table.TimeOf(i), table.TimeOf(after));
      track.handles[static_cast<std::size_t>(i * track.numQuats + channel)] =
          HandlesOf(channels.At(table[before], channel), channels.At(table[i], channel),
                    channels.At(table[after], channel), shape);
    }
  }
  track.dirtyFirst = 0;
  track.dirtyLast = -1;
}

}  // namespace strider
