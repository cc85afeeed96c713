// Reads interpolated values of one key table at one time: the span is found once, then any number
// of channels are read on it.
#pragma once

#include "strider/core/key_table.h"

namespace strider {

template <class Key>
class TrackReader {
 public:
  /// Over all keys; on a separate track over those of one sub-track (without a number the first,
  /// past the last the last). The table holds at least one key.
  TrackReader(const KeyTable<Key>& table, TimeValue t, int subTrack = -1) : table_(table) {
    if (table.track.separate) {
      FindInSubTrack(t, subTrack);
    } else {
      span_ = SolveTimeToKeyFraction(table.track, t);
    }
  }
  /// The same, remembering in the table where its key was found.
  TrackReader(KeyTable<Key>& table, TimeValue t, int subTrack = -1) : table_(table) {
    if (table.track.separate) {
      FindInSubTrack(t, subTrack);
      return;
    }
    static_cast<KeySpan&>(span_) = SpanFrom(table.track, FindKeyNear(table.track, t, table.near));
    span_.u = SpanFraction(table.track, t, span_, 0);
  }

  const TimedSpan& Span() const { return span_; }
  float U() const { return span_.u; }
  const Key& Prev() const { return table_[span_.prev]; }
  const Key& Left() const { return table_[span_.left]; }
  const Key& Right() const { return table_[span_.right]; }
  const Key& Next() const { return table_[span_.next]; }
  TimeValue LeftTime() const { return table_.TimeOf(span_.left); }
  TimeValue RightTime() const { return table_.TimeOf(span_.right); }
  const KeyShape& LeftShape() const { return Shape(span_.left); }
  const KeyShape& RightShape() const { return Shape(span_.right); }
  /// True where the answer is the left key's own value.
  bool AtKey() const { return span_.u == 0 || span_.left == span_.right; }

  /// Kochanek-Bartels value of what `get` reads from a key.
  template <class Get>
  auto Tcb(Get get) const {
    if (AtKey()) return get(Left());
    return TcbValue(get(Prev()), get(Left()), get(Right()), get(Next()), LeftShape(), RightShape(),
                    span_.u);
  }

  /// A scalar that follows its curve's tangents in curve mode.
  template <class Get>
  float Scalar(int curve, int channel, Get get) const {
    if (!table_.track.curveMode || AtKey()) return Tcb(get);
    return CurveValue(get(Left()), get(Right()), GetTangent(table_.track, span_.left, curve),
                      GetTangent(table_.track, span_.right, curve), channel, LeftTime(),
                      RightTime(), span_.u);
  }

  /// Quaternion channel `channel`, whose key values `get` reads; always of unit length.
  template <class Get>
  Quat Rotation(int channel, Get get) const {
    if (AtKey()) return NearUnit(get(Left()));
    const QuatHandles& left = Handles(span_.left, channel);
    const QuatHandles& right = Handles(span_.right, channel);
    return NearUnit(
        Squad(get(Left()), left.out, right.in, get(Right()), left.keyArc, left.handleArc, span_.u));
  }

  /// A rotation that the keys hold both ways: Euler triples rule while the track is in Euler
  /// mode, each of the three in its own channel of `curve`.
  template <class GetQuat, class GetEuler>
  Quat RotationOrEuler(int channel, int curve, GetQuat getQuat, GetEuler getEuler) const {
    if (!table_.track.eulerActive) return Rotation(channel, getQuat);
    const int order = table_.track.eulerOrder;
    Point3 channels;
    for (int i = 0; i < 3; ++i) {
      channels[i] =
          Scalar(curve, i, [&](const Key& key) { return EulerChannel(getEuler(key), i, order); });
    }
    return NearUnit(QuatFromEulerChannels(channels, order));
  }

 private:
  void FindInSubTrack(TimeValue t, int subTrack) {
    subTrack_ = subTrack < 0 ? 0 : subTrack;
    if (subTrack_ >= table_.track.numSubTracks) subTrack_ = table_.track.numSubTracks - 1;
    mask_ = std::uint32_t{1} << subTrack_;
    span_ = SolveTimeToKeyFraction(table_.track, t, mask_, subTrack_);
  }

  const KeyShape& Shape(int index) const {
    const int per = ShapesPerKey(table_.track);
    return table_.track.shapes[static_cast<std::size_t>(index * per + subTrack_)];
  }
  const QuatHandles& Handles(int index, int channel) const {
    return table_.track
        .handles[static_cast<std::size_t>(index) * static_cast<std::size_t>(table_.track.numQuats) +
                 static_cast<std::size_t>(channel)];
  }

  const KeyTable<Key>& table_;
  int subTrack_ = 0;
  std::uint32_t mask_ = kAllLinks;
  TimedSpan span_;
};

}  // namespace strider
