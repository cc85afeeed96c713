#include "strider/core/key_track.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "strider/base/euler.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

bool HasKey(const KeyTrack& track, int index) { return index >= 0 && index < track.numKeys; }

bool UsesMask(const KeyTrack& track, std::uint32_t mask) {
  return track.separate && mask != kAllLinks;
}

/// Index of the last key at or before `t`, -1 before the first.
int LastAtOrBefore(const KeyTrack& track, TimeValue t) {
  const auto after = std::upper_bound(
      track.times.begin(), track.times.end(), t,
      [](TimeValue time, const KeyTimeRecord& record) { return time < record.time; });
  return static_cast<int>(after - track.times.begin()) - 1;
}

template <class Table>
void InsertRows(Table& table, int index, int width) {
  table.insert(table.begin() + index * width, At(width), typename Table::value_type{});
}

template <class Table>
void EraseRows(Table& table, int index, int width) {
  const auto first = table.begin() + index * width;
  table.erase(first, first + width);
}

template <class Table>
void KeepRows(Table& table, const std::vector<int>& kept, int width) {
  auto to = table.begin();
  for (const int index : kept) {
    const auto from = table.begin() + index * width;
    to = from == to ? to + width : std::copy(from, from + width, to);
  }
  table.erase(to, table.end());
}

void RenumberFrom(KeyTrack& track, int index) {
  for (int i = index; i < track.numKeys; ++i) track.times[At(i)].index = static_cast<float>(i);
}

int LinkRows(const KeyTrack& track) { return track.separate ? track.numSubTracks : 0; }
int CurveRows(const KeyTrack& track) { return track.curveMode ? track.numCurves : 0; }
int TrackCurveRows(const KeyTrack& track) { return track.curveMode && track.trackCurves ? 1 : 0; }

/// A number past the last sub-track is the last one's, where the track says so.
int HeldSubTrack(const KeyTrack& track, int subTrack) {
  return track.clampSubTrack ? std::min(subTrack, track.numSubTracks - 1) : subTrack;
}

bool IsFinite(const KeyTangent& tangent) {
  float sum = 0;
  for (int channel = 0; channel < 3; ++channel) {
    for (int i = 0; i < 2; ++i) sum += (tangent.in[channel][i] + tangent.out[channel][i]) * 0;
  }
  return sum == 0;
}

}  // namespace

KeyTangent WholeTrackTangent() {
  KeyTangent tangent;
  for (int channel = 0; channel < 3; ++channel) {
    tangent.in[channel][0] = -100;
    tangent.out[channel][0] = 100;
  }
  return tangent;
}

KeyTcb DefaultTcb() {
  const TcbDefaults d = GetTCBDefaultParams();
  return {d.easeFrom * 50, d.easeTo * 50, (d.tension + 1) * 25, (d.bias + 1) * 25,
          (d.continuity + 1) * 25};
}

int FindKey(const KeyTrack& track, TimeValue t) {
  if (track.numKeys == 0) return -1;
  return std::max(0, LastAtOrBefore(track, t));
}

int FindKeyNear(const KeyTrack& track, TimeValue t, int& near) {
  const int last = track.numKeys - 1;
  const int from = near >= 0 && near < last ? near : last;
  for (int i = from; i < last && i <= from + 1; ++i) {
    if (track.times[At(i)].time <= t && t < track.times[At(i + 1)].time) return near = i;
  }
  return near = FindKey(track, t);
}

int FindKey(const KeyTrack& track, TimeValue t, std::uint32_t mask) {
  if (track.numKeys == 0) return -1;
  if (!UsesMask(track, mask)) return FindKey(track, t);
  const int before = track.maskIndex.FindLast(LastAtOrBefore(track, t), mask);
  if (before >= 0) return before;
  return std::max(0, track.maskIndex.FindFirst(0, mask));
}

int KeyAt(const KeyTrack& track, TimeValue t, std::uint32_t mask) {
  const int index = LastAtOrBefore(track, t);
  if (index < 0 || track.times[At(index)].time != t) return -1;
  if (UsesMask(track, mask) && !(track.times[At(index)].linkMask & mask)) return -1;
  return index;
}

int InsertionIndex(const KeyTrack& track, TimeValue t) { return LastAtOrBefore(track, t) + 1; }

KeySpan SpanFrom(const KeyTrack& track, int left) {
  const int last = track.numKeys - 1;
  if (left < 0) return {};
  const int right = std::min(left + 1, last);
  return {std::max(left - 1, 0), left, right, std::min(right + 1, last)};
}

KeySpan GetSpan(const KeyTrack& track, TimeValue t, std::uint32_t mask) {
  KeySpan span;
  if (track.numKeys == 0) return span;
  if (!UsesMask(track, mask)) return SpanFrom(track, FindKey(track, t));
  span.left = FindKey(track, t, mask);
  const auto before = [&](int index) {
    const int found = track.maskIndex.FindLast(index - 1, mask);
    return found >= 0 ? found : index;
  };
  const auto after = [&](int index) {
    const int found = track.maskIndex.FindFirst(index + 1, mask);
    return found >= 0 ? found : index;
  };
  span.prev = before(span.left);
  span.right = after(span.left);
  span.next = after(span.right);
  return span;
}

int ReserveKeys(KeyTrack& track, int count) {
  if (count > kMaxKeys) return kRefused;
  int capacity = track.capacity;
  if (count > capacity) {
    // Whole steps, but never less than half as much again: n insertions then move n keys, not n^2.
    const int wanted = std::max(count, capacity + capacity / 2);
    capacity = (wanted + kKeyTableStep - 1) / kKeyTableStep * kKeyTableStep;
  }
  try {
    // Asked for each time, since a copied track says what its model had room for.
    track.times.reserve(At(capacity));
    track.tcb.reserve(At(capacity));
    track.tangents.reserve(At(capacity) * At(CurveRows(track)));
    track.trackTangents.reserve(At(capacity) * At(TrackCurveRows(track)));
    track.linkTcb.reserve(At(capacity) * At(LinkRows(track)));
    track.linkTimes.reserve(At(capacity) * At(LinkRows(track)));
    track.shapes.reserve(At(capacity) * At(ShapesPerKey(track)));
    track.handles.reserve(At(capacity) * At(track.numQuats));
    track.selected.Reserve(capacity);
    if (track.separate) track.maskIndex.Reserve(capacity);
  } catch (const std::bad_alloc&) {
    return kRefused;
  } catch (const std::length_error&) {
    return kRefused;
  }
  track.capacity = capacity;
  return kDone;
}

void InsertKeyTime(KeyTrack& track, int index, TimeValue t) {
  InsertRows(track.times, index, 1);
  InsertRows(track.tcb, index, 1);
  InsertRows(track.tangents, index, CurveRows(track));
  InsertRows(track.trackTangents, index, TrackCurveRows(track));
  InsertRows(track.linkTcb, index, LinkRows(track));
  InsertRows(track.linkTimes, index, LinkRows(track));
  InsertRows(track.shapes, index, ShapesPerKey(track));
  InsertRows(track.handles, index, track.numQuats);
  track.selected.Insert(index);
  ++track.numKeys;

  track.times[At(index)].time = t;
  track.times[At(index)].linkMask = EveryLink(track);
  track.tcb[At(index)] = DefaultTcb();
  if (TrackCurveRows(track)) track.trackTangents[At(index)] = WholeTrackTangent();
  for (int sub = 0; sub < LinkRows(track); ++sub) {
    track.linkTcb[At(index * track.numSubTracks + sub)] = DefaultTcb();
    track.linkTimes[At(index * track.numSubTracks + sub)] = t;
  }
  if (track.separate) track.maskIndex.Insert(index, EveryLink(track));
  RenumberFrom(track, index);
  if (track.dirtyFirst <= track.dirtyLast && index <= track.dirtyLast) ++track.dirtyLast;
  MarkDirty(track, index, index);
}

void DeleteKeyTime(KeyTrack& track, int index) {
  if (!HasKey(track, index)) return;
  EraseRows(track.times, index, 1);
  EraseRows(track.tcb, index, 1);
  EraseRows(track.tangents, index, CurveRows(track));
  EraseRows(track.trackTangents, index, TrackCurveRows(track));
  EraseRows(track.linkTcb, index, LinkRows(track));
  EraseRows(track.linkTimes, index, LinkRows(track));
  EraseRows(track.shapes, index, ShapesPerKey(track));
  EraseRows(track.handles, index, track.numQuats);
  track.selected.Erase(index);
  --track.numKeys;
  if (track.separate) track.maskIndex.Erase(index);
  RenumberFrom(track, index);
  // Keys on both sides of the gap have a new neighbour.
  MarkDirty(track, index - 1, index);
}

void CopyKeyRow(KeyTrack& track, int to, const KeyTrack& from, int index) {
  const auto copyRows = [to, index](auto& table, const auto& source, int width) {
    std::copy_n(source.begin() + index * width, width, table.begin() + to * width);
  };
  copyRows(track.tcb, from.tcb, 1);
  copyRows(track.tangents, from.tangents, CurveRows(track));
  copyRows(track.trackTangents, from.trackTangents, TrackCurveRows(track));
  copyRows(track.linkTcb, from.linkTcb, LinkRows(track));
  copyRows(track.linkTimes, from.linkTimes, LinkRows(track));
  track.times[At(to)].flag = from.times[At(index)].flag;
  track.times[At(to)].selectedLinks = from.times[At(index)].selectedLinks;
  track.selected.Set(to, from.selected.Get(index));
  SetLinkMask(track, to, from.times[At(index)].linkMask);
}

void KeepKeyTimes(KeyTrack& track, const std::vector<int>& kept) {
  KeepRows(track.times, kept, 1);
  KeepRows(track.tcb, kept, 1);
  KeepRows(track.tangents, kept, CurveRows(track));
  KeepRows(track.trackTangents, kept, TrackCurveRows(track));
  KeepRows(track.linkTcb, kept, LinkRows(track));
  KeepRows(track.linkTimes, kept, LinkRows(track));
  KeepRows(track.shapes, kept, ShapesPerKey(track));
  KeepRows(track.handles, kept, track.numQuats);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    track.selected.Set(static_cast<int>(i), track.selected.Get(kept[i]));
  }
  track.numKeys = static_cast<int>(kept.size());
  track.selected.Resize(track.numKeys);
  if (track.separate) track.maskIndex.Keep(kept);
  RenumberFrom(track, 0);
  MarkDirty(track, 0, track.numKeys - 1);
}

int SetKeyTime(KeyTrack& track, int index, TimeValue t) {
  if (!HasKey(track, index)) return kRefused;
  if (index > 0 && track.times[At(index - 1)].time >= t) return kRefused;
  if (index + 1 < track.numKeys && track.times[At(index + 1)].time <= t) return kRefused;
  const TimeValue old = track.times[At(index)].time;
  track.times[At(index)].time = t;
  for (int sub = 0; sub < LinkRows(track); ++sub) {
    TimeValue& linkTime = track.linkTimes[At(index * track.numSubTracks + sub)];
    if (linkTime == old) linkTime = t;
  }
  MarkDirty(track, index, index);
  return kDone;
}

void SetLinkMask(KeyTrack& track, int index, std::uint32_t mask) {
  if (!HasKey(track, index)) return;
  mask &= EveryLink(track);
  track.times[At(index)].linkMask = mask;
  if (track.separate) track.maskIndex.Set(index, mask);
  // The dirty range reaches to the nearest keys of each sub-track, however far they are.
  MarkDirty(track, index, index);
}

std::uint32_t ResizedLinkMask(const KeyTrack& track, std::uint32_t mask, int numSubTracks) {
  const std::uint32_t every = EveryLink(track);
  if (numSubTracks == 0) return (mask & every) == every ? kAllLinks : 0;
  const std::uint32_t all = EveryLink(numSubTracks);
  if (!track.separate) return all;
  const int common = std::min(numSubTracks, track.numSubTracks) - 1;
  const std::uint32_t own = EveryLink(common), rest = every & ~own;
  return (mask & own) | ((mask & rest) == rest ? all & ~own : 0);
}

void ResizeLinks(KeyTrack& track, int numSubTracks) {
  std::vector<KeyTcb> shapes;
  std::vector<TimeValue> linkTimes;
  MaskIndex masks;
  const auto room = At(std::max(track.capacity, track.numKeys));
  shapes.reserve(room * At(numSubTracks));
  linkTimes.reserve(room * At(numSubTracks));
  if (numSubTracks > 0) masks.Reserve(static_cast<int>(room));
  for (int i = 0; i < track.numKeys; ++i) {
    for (int sub = 0; sub < numSubTracks; ++sub) {
      const int old = i * track.numSubTracks + std::min(sub, track.numSubTracks - 1);
      shapes.push_back(track.separate ? track.linkTcb[At(old)] : track.tcb[At(i)]);
      linkTimes.push_back(track.separate ? track.linkTimes[At(old)] : track.times[At(i)].time);
    }
    if (numSubTracks > 0) masks.Insert(i, track.times[At(i)].linkMask);
  }
  track.separate = numSubTracks > 0 ? 1 : 0;
  track.numSubTracks = numSubTracks;
  track.linkTcb.swap(shapes);
  track.linkTimes.swap(linkTimes);
  track.maskIndex = std::move(masks);
  track.shapes.clear();
  track.shapes.reserve(room * At(ShapesPerKey(track)));
  track.shapes.resize(At(track.numKeys) * At(ShapesPerKey(track)));
}

void RemapLinks(KeyTrack& track, const std::vector<int>& from) {
  const int count = static_cast<int>(from.size());
  const auto remapped = [&from, count](std::uint32_t mask) {
    std::uint32_t result = 0;
    for (int sub = 0; sub < count; ++sub) result |= (mask >> from[At(sub)] & 1) << sub;
    return result;
  };
  std::vector<KeyTcb> shapes;
  std::vector<TimeValue> linkTimes;
  MaskIndex masks;
  const auto room = At(std::max(track.capacity, track.numKeys));
  shapes.reserve(room * At(count));
  linkTimes.reserve(room * At(count));
  masks.Reserve(static_cast<int>(room));
  for (int i = 0; i < track.numKeys; ++i) {
    for (int sub = 0; sub < count; ++sub) {
      const int old = i * track.numSubTracks + from[At(sub)];
      shapes.push_back(track.linkTcb[At(old)]);
      linkTimes.push_back(track.linkTimes[At(old)]);
    }
    KeyTimeRecord& record = track.times[At(i)];
    record.linkMask = remapped(record.linkMask);
    record.selectedLinks = remapped(record.selectedLinks);
    masks.Insert(i, record.linkMask);
  }
  track.numSubTracks = count;
  track.linkTcb.swap(shapes);
  track.linkTimes.swap(linkTimes);
  track.maskIndex = std::move(masks);
  track.shapes.clear();
  track.shapes.reserve(room * At(ShapesPerKey(track)));
  track.shapes.resize(At(track.numKeys) * At(ShapesPerKey(track)));
  MarkDirty(track, 0, track.numKeys - 1);
}

void RemapCurves(KeyTrack& track, const std::vector<int>& from) {
  const int count = static_cast<int>(from.size());
  if (track.curveMode) {
    std::vector<KeyTangent> tangents;
    tangents.reserve(At(std::max(track.capacity, track.numKeys)) * At(count));
    for (int i = 0; i < track.numKeys; ++i) {
      for (const int old : from) {
        tangents.push_back(old < 0 ? KeyTangent{} : track.tangents[At(i * track.numCurves + old)]);
      }
    }
    track.tangents.swap(tangents);
  }
  track.numCurves = count;
}

KeyTcb GetTcb(const KeyTrack& track, int index, int subTrack) {
  if (!HasKey(track, index)) return kMissingTcb;
  if (!track.separate) return track.tcb[At(index)];
  subTrack = HeldSubTrack(track, subTrack);
  if (subTrack < 0 || subTrack >= track.numSubTracks) return kMissingTcb;
  if (!(track.times[At(index)].linkMask >> subTrack & 1)) return kMissingTcb;
  return track.linkTcb[At(index * track.numSubTracks + subTrack)];
}

int SetTcb(KeyTrack& track, int index, int subTrack, const KeyTcb& tcb) {
  if (!HasKey(track, index)) return kRefused;
  const float sum = tcb.easeFrom + tcb.easeTo + tcb.tension + tcb.bias + tcb.continuity;
  if (!IsFinite(sum)) return kRefused;
  const auto within = [](float value) { return std::clamp(value, 0.0f, 50.0f); };
  const KeyTcb held{within(tcb.easeFrom), within(tcb.easeTo), within(tcb.tension), within(tcb.bias),
                    within(tcb.continuity)};
  if (track.separate) {
    subTrack = HeldSubTrack(track, subTrack);
    if (subTrack < 0 || subTrack >= track.numSubTracks) return kRefused;
    track.linkTcb[At(index * track.numSubTracks + subTrack)] = held;
  } else {
    track.tcb[At(index)] = held;
  }
  MarkDirty(track, index, index);
  return kDone;
}

KeyTangent GetTangent(const KeyTrack& track, int index, int curve) {
  if (!HasKey(track, index) || curve < 0 || curve >= CurveRows(track)) return {};
  return track.tangents[At(index * track.numCurves + curve)];
}

int SetTangent(KeyTrack& track, int index, int curve, const KeyTangent& tangent) {
  if (!HasKey(track, index) || curve < 0 || curve >= CurveRows(track)) return kRefused;
  if (!IsFinite(tangent)) return kRefused;
  track.tangents[At(index * track.numCurves + curve)] = tangent;
  return kDone;
}

KeyTangent GetTrackTangent(const KeyTrack& track, int index) {
  if (!HasKey(track, index) || !TrackCurveRows(track)) return WholeTrackTangent();
  return track.trackTangents[At(index)];
}

int SetTrackTangent(KeyTrack& track, int index, const KeyTangent& tangent) {
  if (!HasKey(track, index) || !TrackCurveRows(track) || !IsFinite(tangent)) return kRefused;
  track.trackTangents[At(index)] = tangent;
  return kDone;
}

int SetCurveMode(KeyTrack& track, int on) {
  if ((track.curveMode != 0) == (on != 0)) return kDone;
  try {
    std::vector<KeyTangent> tangents, whole;
    if (on) {
      const std::size_t room = At(std::max(track.capacity, track.numKeys));
      tangents.reserve(room * At(track.numCurves));
      tangents.resize(At(track.numKeys) * At(track.numCurves));
      if (track.trackCurves) {
        whole.reserve(room);
        whole.resize(At(track.numKeys), WholeTrackTangent());
      }
    }
    track.tangents.swap(tangents);
    track.trackTangents.swap(whole);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  track.curveMode = on ? 1 : 0;
  return kDone;
}

void MarkDirty(KeyTrack& track, int first, int last) {
  first = std::max(first, 0);
  last = std::min(last, track.numKeys - 1);
  if (track.dirtyFirst > track.dirtyLast) {
    track.dirtyFirst = first;
    track.dirtyLast = last;
  } else {
    track.dirtyFirst = std::min(track.dirtyFirst, first);
    track.dirtyLast = std::min(std::max(track.dirtyLast, last), track.numKeys - 1);
  }
}

KeyRange DirtyRange(const KeyTrack& track, int subTrack) {
  KeyRange range{track.dirtyFirst, std::min(track.dirtyLast, track.numKeys - 1)};
  if (range.first > range.last) return {};
  if (!track.separate) {
    return {std::max(range.first - 1, 0), std::min(range.last + 1, track.numKeys - 1)};
  }
  const std::uint32_t mask = std::uint32_t{1} << subTrack;
  const int before = track.maskIndex.FindLast(range.first - 1, mask);
  const int after = track.maskIndex.FindFirst(range.last + 1, mask);
  return {before >= 0 ? before : range.first, after >= 0 ? after : range.last};
}

bool CheckTrack(const KeyTrack& track) {
  const std::size_t keys = At(track.numKeys);
  bool good = track.numKeys >= 0 && track.capacity >= track.numKeys && track.times.size() == keys &&
              track.tcb.size() == keys && track.tangents.size() == keys * At(CurveRows(track)) &&
              track.trackTangents.size() == keys * At(TrackCurveRows(track)) &&
              track.linkTcb.size() == keys * At(LinkRows(track)) &&
              track.linkTimes.size() == keys * At(LinkRows(track)) &&
              track.shapes.size() == keys * At(ShapesPerKey(track)) &&
              track.handles.size() == keys * At(track.numQuats) &&
              track.selected.Size() == track.numKeys &&
              (!track.separate || track.maskIndex.Size() == track.numKeys);
  for (int i = 0; good && i < track.numKeys; ++i) {
    const KeyTimeRecord& record = track.times[At(i)];
    good = record.index == static_cast<float>(i) && (record.linkMask & ~EveryLink(track)) == 0 &&
           (i == 0 || track.times[At(i - 1)].time < record.time) &&
           (!track.separate || track.maskIndex.Get(i) == record.linkMask);
  }
  return good;
}

}  // namespace strider
