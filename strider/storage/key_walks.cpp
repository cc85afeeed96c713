#include "strider/storage/key_walks.h"

#include <cmath>

#include "strider/base/large_block.h"
#include "strider/storage/field_block.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

/// A whole number that stands for one of a few things: others are held to the nearest.
template <class S>
void Held(S& s, int& value, int low, int high) {
  s.Int(value);
  if (s.Reading()) value = std::clamp(value, low, high);
}

template <class S>
void WalkDigit(S& s, DigitKey& digit) {
  s.Rotation(digit.base);
  s.Vector(digit.baseEuler);
  for (int k = 0; k < kMaxDigitLinks; ++k) {
    s.Rotation(digit.link[k]);
    s.Vector(digit.linkEuler[k]);
    s.Float(digit.bend[k]);
  }
}

template <class S>
void WalkFields(S& s, LimbKey& key) {
  s.Floats(key.jointAngles, kNumJointAngles);
  s.Vector(key.bodyTarget);
  s.Vector(key.objectTarget);
  s.Float(key.forwardBend);
  Held(s, key.keyState, kTouch, kMove);
  s.Rotation(key.limbRotation);
  s.Vector(key.limbEuler);
  s.Floats(key.clavicle, 2);
  s.Float(key.ikBlend);
  s.Float(key.ikAnkleTension);
  s.Int(key.ikSpace);
  if (s.Reading()) key.ikSpace = key.ikSpace == kBodySpace ? kBodySpace : kObjectSpace;
  Held(s, key.pivotLink, 0, kMaxDigitLinks - 1);
  Held(s, key.pivotDigit, 0, kMaxDigits - 1);
  Held(s, key.pivotIndex, 0, kNumNamedPivots - 1);
  Held(s, key.pivotKind, kNamedPivot, kDigitPivot);
  Held(s, key.ikJoinedPivot, 0, 1);
  s.Vector(key.pivotPosition);
  s.Vector(key.joinedPivotPosition);
  s.Vector(key.anklePose);
  s.Rotation(key.endRotation);
  s.Vector(key.endEuler);
  s.Rotation(key.spaceRotation);
  for (DigitKey& digit : key.digits) WalkDigit(s, digit);
  if (s.Reading()) {
    key.ikBlend = std::clamp(key.ikBlend, 0.0f, 1.0f);
    key.ikAnkleTension = std::clamp(key.ikAnkleTension, 0.0f, 1.0f);
  }
}

template <class S>
void WalkFields(S& s, ChainKey& key) {
  s.Four(key.base);
  for (Point3& euler : key.euler) s.Vector(euler);
  for (Quat& rotation : key.rotation) s.Rotation(rotation);
  s.Float(key.extra);
}

template <class S>
void WalkFields(S& s, HeadKey& key) {
  s.Float(key.extra);
  s.Vector(key.position);
  s.Vector(key.targetPosition);
  if (s.Version() >= kFirstWithNeckKeys) {
    WalkFields(s, key.chain);
  } else {
    s.Vector(key.chain.euler[0]);
    s.Rotation(key.chain.rotation[0]);
  }
  s.Float(key.headBlend);
  if (s.Reading()) key.headBlend = std::clamp(key.headBlend, 0.0f, 1.0f);
}

/// Slots 0 to 3 as one field, 7, 8, 9 as whole numbers, 4 to 6 as floats.
template <class S>
void WalkFields(S& s, HorizontalKey& key) {
  float first[4] = {key.position.x, key.position.y, key.position.z, key.spare[0]};
  s.Four(first);
  s.Int(key.supportState);
  s.Int(key.type);
  int ninth = static_cast<int>(key.spareTail[0]);
  s.Int(ninth);
  s.Floats(key.spare + 1, 2);
  s.Float(key.balanceFactor);
  if (!s.Reading()) return;
  key.position = {first[0], first[1], first[2]};
  key.spare[0] = first[3];
  key.spareTail[0] = static_cast<float>(ninth);
  key.supportState = std::clamp(key.supportState, -1, 3);
  key.balanceFactor = std::clamp(key.balanceFactor, 0.0f, 1.0f);
}

template <class S>
void WalkFields(S& s, TurnKey& key) {
  s.Rotation(key.rotation);
  s.Floats(key.spare, 4);
  s.Vector(key.euler);
  s.Floats(key.spareTail, 3);
}

template <class S>
void WalkFields(S& s, PelvisKey& key) {
  if (s.Version() >= kFirstWithPelvisRotation) {
    s.Rotation(key.rotation);
    s.Vector(key.euler);
    return;
  }
  float rock = 2 * Atan2(-key.rotation.x, key.rotation.w);
  s.Float(rock);
  if (s.Reading()) key.rotation = AboutX(-rock);
}

template <class S>
void WalkFields(S& s, PropKey& key) {
  Held(s, key.posSpace, 0, kNumPropSpaces - 1);
  Held(s, key.rotSpace, 0, kNumPropSpaces - 1);
  for (Quat& rotation : key.rotation) s.Rotation(rotation);
  for (Point3& position : key.position) s.Vector(position);
  s.Vector(key.scale);
  for (Point3& spare : key.spare) s.Vector(spare);
}

/// One leg's share of a vertical key, and what the key holds for both.
template <class S>
void WalkVerticalKey(S& s, VerticalKey& key, int leg) {
  s.Float(key.adaptFraction[leg]);
  s.Float(key.footReach[leg]);
  s.Floats(key.legShape[leg], 3);
  s.Float(key.height);
  s.Float(key.ballisticHeight);
  Held(s, key.legState[leg], kTouch, kMove);
  Held(s, key.bordersFlight[leg], 0, 1);
  if (s.Version() < kFirstWithHeightFractions) {
    s.Skip();
    if (!s.Reading()) return;
    key.rangeFraction = key.legFraction = key.dynamicsBlend = 1;
    key.ballisticTension = 0.5f;
    return;
  }
  s.Float(key.rangeFraction);
  if (s.Version() >= kFirstWithLegFraction) s.Float(key.legFraction);
  s.Float(key.ballisticTension);
  if (s.Version() >= kFirstWithDynamicsBlend) s.Float(key.dynamicsBlend);
  if (s.Reading()) {
    key.ballisticTension = std::clamp(key.ballisticTension, 0.0f, 1.0f);
    key.dynamicsBlend = std::clamp(key.dynamicsBlend, 0.0f, 1.0f);
  }
}

/// A record of as many fields, as a block where that can be; `walk` goes through them on any
/// carrier. A writer lays the block out in `room`.
template <class Walk>
void WalkRecord(Stream& s, int fields, std::string& room, const Walk& walk) {
  if (s.IsText()) return walk(s);
  if (!s.Reading()) {
    room.resize(4 * At(fields));
    FieldWriter writer(room.data(), s.Version());
    walk(writer);
    return s.PutBlock(room.data(), fields);
  }
  const char* bytes = s.TakeBlock(fields);
  if (bytes == nullptr) return walk(s);
  FieldReader reader(bytes, s.Version());
  walk(reader);
}

template <class S>
void WalkTcb(S& s, KeyTcb& tcb) {
  float values[5] = {tcb.easeFrom, tcb.easeTo, tcb.tension, tcb.bias, tcb.continuity};
  s.Floats(values, 5);
  if (!s.Reading()) return;
  for (float& value : values) value = std::clamp(value, 0.0f, 50.0f);
  tcb = {values[0], values[1], values[2], values[3], values[4]};
}

/// Four floats for each of the three channels, the locks as bits of one number, the types.
template <class S>
void WalkTangent(S& s, KeyTangent& tangent) {
  int locks = 0;
  for (int channel = 0; channel < 3; ++channel) {
    float handles[4] = {tangent.in[channel][0], tangent.in[channel][1], tangent.out[channel][0],
                        tangent.out[channel][1]};
    s.Floats(handles, 4);
    locks |= (tangent.lock[channel] != 0) << channel;
    if (!s.Reading()) continue;
    std::copy_n(handles, 2, tangent.in[channel]);
    std::copy_n(handles + 2, 2, tangent.out[channel]);
  }
  s.Int(locks);
  s.Int(tangent.inType);
  s.Int(tangent.outType);
  if (!s.Reading()) return;
  for (int channel = 0; channel < 3; ++channel) {
    tangent.lock[channel] = static_cast<std::uint8_t>(locks >> channel & 1);
  }
}

constexpr int kTangentFields = 15;

/// What the head of a timing record says of the track's form.
void WalkForm(Stream& s, KeyTrack& track) {
  s.Int(track.separate);
  s.Int(track.numSubTracks);
  s.Skip();
  s.Int(track.curveMode);
  s.Int(track.numCurves);
  s.Int(track.numDigits);
  s.Int(track.digitLinks);
  s.Int(track.digitExtra);
  s.Int(track.trackCurves);
  if (!s.Reading() || !s.Good()) return;
  constexpr int kMostCurves = 64, kMostSubTracks = 32;
  const auto asFlag = [](int& value) { value = value != 0; };
  asFlag(track.separate);
  asFlag(track.curveMode);
  asFlag(track.trackCurves);
  if (!track.separate) track.numSubTracks = 0;
  if (track.numSubTracks < track.separate || track.numSubTracks > kMostSubTracks ||
      track.numCurves < 0 || track.numCurves > kMostCurves) {
    s.Fail("a key track of " + std::to_string(track.numSubTracks) + " links and " +
           std::to_string(track.numCurves) + " curves");
  }
}

int FieldsOfTime(const KeyTrack& track) {
  const int curves = track.curveMode ? track.numCurves + track.trackCurves : 0;
  return 10 + curves * kTangentFields + (track.separate ? 1 + 5 * track.numSubTracks : 0);
}

void SizeTables(KeyTrack& track, int count) {
  const std::size_t n = At(count);
  track.times.assign(n, {});
  track.tcb.assign(n, {});
  track.tangents.assign(track.curveMode ? n * At(track.numCurves) : 0, {});
  track.trackTangents.assign(track.curveMode && track.trackCurves ? n : 0, {});
  track.linkTcb.assign(track.separate ? n * At(track.numSubTracks) : 0, {});
  track.linkTimes.assign(track.linkTcb.size(), 0);
  track.capacity = track.numKeys = count;
}

template <class S>
void WalkTimeFields(S& s, KeyTrack& track, int index) {
  KeyTimeRecord& record = track.times[At(index)];
  s.Int(record.time);
  s.Float(record.index);
  s.Int(record.flag);
  s.SkipFloat();
  s.SkipFloat();
  WalkTcb(s, track.tcb[At(index)]);
  if (track.curveMode) {
    for (int c = 0; c < track.numCurves; ++c) {
      WalkTangent(s, track.tangents[At(index * track.numCurves + c)]);
    }
    if (track.trackCurves) WalkTangent(s, track.trackTangents[At(index)]);
  }
  if (track.separate) {
    int mask = static_cast<int>(record.linkMask);
    s.Int(mask);
    if (s.Reading()) record.linkMask = static_cast<std::uint32_t>(mask) & EveryLink(track);
    for (int sub = 0; sub < track.numSubTracks; ++sub) {
      WalkTcb(s, track.linkTcb[At(index * track.numSubTracks + sub)]);
    }
  }
}

void WalkKeyTime(Stream& s, KeyTrack& track, int index, std::string& room) {
  WalkRecord(s, FieldsOfTime(track), room,
             [&](auto& carrier) { WalkTimeFields(carrier, track, index); });
  if (!s.Reading()) return;
  KeyTimeRecord& record = track.times[At(index)];
  if (s.Version() < kFirstWithTicks) {
    record.time = Later(0, std::int64_t{record.time} * kDynamicsFrame);
  }
  record.index = static_cast<float>(index);
  if (index > 0 && s.Good() && record.time <= track.times[At(index - 1)].time) {
    s.Fail("key " + std::to_string(index + 1) + " is not later than the one before it");
  }
  // A key that no link has would never be found.
  if (track.separate && record.linkMask == 0) record.linkMask = EveryLink(track);
}

}  // namespace

namespace {

/// Gives every key as many tangents as the figure has curves; those that join are at their default.
void ResizeCurves(KeyTrack& track, int numCurves, int trackCurves) {
  if (track.curveMode && numCurves != track.numCurves) {
    std::vector<KeyTangent> tangents(At(track.numKeys) * At(numCurves));
    for (int i = 0; i < track.numKeys; ++i) {
      std::copy_n(track.tangents.begin() + i * track.numCurves,
                  std::min(numCurves, track.numCurves), tangents.begin() + i * numCurves);
    }
    track.tangents.swap(tangents);
  }
  if (track.curveMode && trackCurves != track.trackCurves) {
    track.trackTangents.assign(trackCurves ? At(track.numKeys) : 0, WholeTrackTangent());
  }
  track.numCurves = numCurves;
  track.trackCurves = trackCurves;
}

}  // namespace

void WalkKey(Stream& s, LimbKey& key) { WalkFields(s, key); }
void WalkKey(Stream& s, ChainKey& key) { WalkFields(s, key); }
void WalkKey(Stream& s, HeadKey& key) { WalkFields(s, key); }
void WalkKey(Stream& s, PelvisKey& key) { WalkFields(s, key); }
void WalkKey(Stream& s, PropKey& key) { WalkFields(s, key); }

template <class Key>
void WalkKeys(Stream& s, std::vector<Key>& keys) {
  int count = static_cast<int>(keys.size());
  if (!s.Count(count, kFieldsOf<Key>) && s.Reading()) return;
  Key any;
  FieldCounter counter(s.Version());
  WalkFields(counter, any);
  std::string room;
  if (s.Reading()) {
    keys.clear();
    ReserveForUse(keys, At(count));
  }
  for (int i = 0; i < count && s.Good(); ++i) {
    Key& key = s.Reading() ? keys.emplace_back() : keys[At(i)];
    WalkRecord(s, counter.Count(), room, [&](auto& carrier) { WalkFields(carrier, key); });
  }
}
template void WalkKeys(Stream&, std::vector<LimbKey>&);
template void WalkKeys(Stream&, std::vector<ChainKey>&);
template void WalkKeys(Stream&, std::vector<HeadKey>&);
template void WalkKeys(Stream&, std::vector<HorizontalKey>&);
template void WalkKeys(Stream&, std::vector<TurnKey>&);
template void WalkKeys(Stream&, std::vector<PelvisKey>&);
template void WalkKeys(Stream&, std::vector<PropKey>&);

void WalkVerticalKeys(Stream& s, std::vector<VerticalKey>& keys) {
  constexpr int kFields = 9;
  std::string room;
  for (int leg = 0; leg < 2; ++leg) {
    int count = static_cast<int>(keys.size());
    if (!s.Count(count, kFields)) return;
    if (s.Reading()) {
      if (leg == 1 && count != static_cast<int>(keys.size())) {
        return s.Fail("the two legs' vertical keys are not as many");
      }
      if (leg == 0) keys.assign(At(count), {});
    }
    VerticalKey any;
    FieldCounter counter(s.Version());
    WalkVerticalKey(counter, any, leg);
    for (int i = 0; i < count && s.Good(); ++i) {
      WalkRecord(s, counter.Count(), room,
                 [&](auto& carrier) { WalkVerticalKey(carrier, keys[At(i)], leg); });
    }
  }
}

void WalkTiming(Stream& s, KeyTrack& track) {
  int count = track.numKeys;
  if (s.Reading()) track = {};
  s.Int(count);
  WalkForm(s, track);
  if (s.Reading()) {
    if (!s.Good()) return;
    const std::size_t size = At(FieldsOfTime(track)) * (s.IsText() ? 2 : 4);
    if (count < 0 || At(count) > (s.Left() + 1) / size || count > kMaxKeys) {
      return s.Fail("a count of " + std::to_string(count) + " is more than the file holds");
    }
    SizeTables(track, count);
  }
  std::string room;
  for (int i = 0; i < count && s.Good(); ++i) WalkKeyTime(s, track, i, room);
}

void AdoptTrack(KeyTrack& track, const KeyTrack& form) {
  track.clampSubTrack = form.clampSubTrack;
  // Euler angles or quaternions is the user's choice for a figure, not a motion's.
  track.eulerActive = form.eulerActive;
  track.eulerOrder = form.eulerOrder;
  track.numDigits = form.numDigits;
  track.digitLinks = form.digitLinks;
  track.digitExtra = form.digitExtra;
  track.numQuats = form.numQuats;
  const int n = track.numKeys;
  ResizeCurves(track, form.numCurves, form.trackCurves);
  track.selected = BitArray(n);
  track.shapes.assign(At(n) * At(ShapesPerKey(track)), {});
  track.handles.clear();
  ReserveForUse(track.handles, At(n) * At(track.numQuats));
  track.handles.resize(At(n) * At(track.numQuats));
  track.maskIndex.Clear();
  if (track.separate) {
    track.maskIndex.Reserve(n);
    for (int i = 0; i < n; ++i) track.maskIndex.Insert(i, track.times[At(i)].linkMask);
  }
  for (int i = 0; i < n; ++i) {
    for (int sub = 0; sub < track.numSubTracks; ++sub) {
      track.linkTimes[At(i * track.numSubTracks + sub)] = track.times[At(i)].time;
    }
  }
  track.dirtyFirst = 0;
  track.dirtyLast = -1;
  MarkDirty(track, 0, n - 1);
}

}  // namespace strider
