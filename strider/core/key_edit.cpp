#include "strider/core/key_edit.h"

#include <algorithm>
#include <cmath>

#include "strider/core/limb.h"

namespace strider {
namespace {

/// A rotation of a key with the Euler triple that goes with it (null where the key has none).
struct RotationField {
  Quat* rotation;
  Point3* euler;
  int subTrack;
};

// Each key type numbers its rotations; the rest of this file needs to know no more.
constexpr int kFirstDigitRotation = 3;
int NumRotations(const LimbRecord& limb, const LimbKey&) {
  return kFirstDigitRotation + limb.numDigits * (1 + limb.digitLinks);
}
RotationField RotationAt(const LimbRecord& limb, LimbKey& key, int i) {
  const int links = NumLimbLinks(limb);
  if (i == 0) return {&key.limbRotation, &key.limbEuler, limb.isLeg ? 0 : 1};
  if (i == 1) return {&key.endRotation, &key.endEuler, links - 1};
  if (i == 2) return {&key.spaceRotation, nullptr, links - 1};
  const int d = (i - kFirstDigitRotation) / (1 + limb.digitLinks);
  const int k = (i - kFirstDigitRotation) % (1 + limb.digitLinks);
  DigitKey& digit = key.digits[d];
  if (k == 0) return {&digit.base, &digit.baseEuler, links + d};
  return {&digit.link[k - 1], &digit.linkEuler[k - 1], links + d};
}
int NumRotations(int numLinks, const ChainKey&) { return numLinks; }
RotationField RotationAt(int, ChainKey& key, int i) { return {&key.rotation[i], &key.euler[i], i}; }
int NumRotations(int numLinks, const HeadKey&) { return numLinks; }
RotationField RotationAt(int, HeadKey& key, int i) { return RotationAt(0, key.chain, i); }
int NumRotations(int, const PelvisKey&) { return 1; }
RotationField RotationAt(int, PelvisKey& key, int) { return {&key.rotation, &key.euler, 0}; }
int NumRotations(int, const TurnKey&) { return 1; }
RotationField RotationAt(int, TurnKey& key, int) { return {&key.rotation, &key.euler, 0}; }
int NumRotations(int, const PropKey&) { return kNumPropSpaces; }
RotationField RotationAt(int, PropKey& key, int i) { return {&key.rotation[i], nullptr, 0}; }
template <class Key>
int NumRotations(int, const Key&) {
  return 0;
}
template <class Key>
RotationField RotationAt(int, Key&, int) {
  return {nullptr, nullptr, 0};
}

bool AllFinite(const float* values, int count) {
  float sum = 0;
  for (int i = 0; i < count; ++i) sum += values[i] * 0;
  return sum == 0;
}

bool ScalarsFinite(const LimbKey& key) {
  bool good = AllFinite(key.jointAngles, kNumJointAngles) && AllFinite(key.clavicle, 2) &&
              IsFinite(key.bodyTarget) && IsFinite(key.objectTarget) &&
              IsFinite(key.pivotPosition) && IsFinite(key.joinedPivotPosition) &&
              IsFinite(key.anklePose) &&
              IsFinite(key.forwardBend + key.ikBlend + key.ikAnkleTension);
  for (const DigitKey& digit : key.digits) good = good && AllFinite(digit.bend, kMaxDigitLinks);
  return good;
}
bool ScalarsFinite(const ChainKey& key) { return AllFinite(key.base, 4) && IsFinite(key.extra); }
bool ScalarsFinite(const HeadKey& key) {
  return IsFinite(key.position) && IsFinite(key.targetPosition) && IsFinite(key.headBlend) &&
         IsFinite(key.extra) && ScalarsFinite(key.chain);
}
bool ScalarsFinite(const PelvisKey&) { return true; }
bool ScalarsFinite(const TurnKey&) { return true; }
bool ScalarsFinite(const HorizontalKey& key) {
  return IsFinite(key.position) && IsFinite(key.balanceFactor);
}
bool ScalarsFinite(const VerticalKey& key) {
  return AllFinite(key.adaptFraction, 2) && AllFinite(key.footReach, 2) &&
         AllFinite(key.legShape[0], 3) && AllFinite(key.legShape[1], 3) &&
         IsFinite(key.height + key.ballisticHeight * 0 + key.rangeFraction * 0 +
                  key.legFraction * 0 + key.ballisticTension * 0 + key.dynamicsBlend * 0);
}
bool ScalarsFinite(const PropKey& key) {
  bool good = IsFinite(key.scale);
  for (const Point3& position : key.position) good = good && IsFinite(position);
  return good;
}

/// Indices and choices outside their ranges would reach past tables later.
void HoldChoices(LimbKey& key) {
  if (key.keyState < kTouch || key.keyState > kMove) key.keyState = kMove;
  if (key.ikSpace != kObjectSpace) key.ikSpace = kBodySpace;
  if (key.pivotKind != kDigitPivot) key.pivotKind = kNamedPivot;
}
void HoldChoices(PropKey& key) {
  if (key.posSpace < 0 || key.posSpace >= kNumPropSpaces) key.posSpace = kWorldProp;
  if (key.rotSpace < 0 || key.rotSpace >= kNumPropSpaces) key.rotSpace = kWorldProp;
}
template <class Key>
void HoldChoices(Key&) {}

/// The keys of a track that one of its rotations is keyed on, in time order.
class OwnKeys {
 public:
  OwnKeys(const KeyTrack& track, int subTrack) : track_(track) {
    const int sub = subTrack < track.numSubTracks ? subTrack : track.numSubTracks - 1;
    if (track.separate) mask_ = std::uint32_t{1} << sub;
  }
  /// The first of them at or after `index`, and the last before it; -1 for none.
  int From(int index) const {
    if (track_.separate) return track_.maskIndex.FindFirst(index, mask_);
    return index < track_.numKeys ? index : -1;
  }
  int Before(int index) const {
    return track_.separate ? track_.maskIndex.FindLast(index - 1, mask_) : index - 1;
  }
  /// The last before `index` if that is one of them; else -1.
  int BeforeOwn(int index) const { return From(index) == index ? Before(index) : -1; }

 private:
  const KeyTrack& track_;
  std::uint32_t mask_ = kAllLinks;
};

/// Angles of a rotation that go on from those of the key before (null: from 0) without a jump.
Point3 EulerAfter(const Point3* before, const Quat& rotation, int order) {
  const Point3 reference = before ? Point3{before->x, before->y, -before->z} : Point3{};
  return EulerKeyFromAngles(ContinuousQuatToEuler(rotation, reference, order));
}

/// Angles further apart than this are another turn's; nearer ones differ by rounding alone, and a
/// key's own stay.
constexpr float kAngleJump = 1;
// Angles within a quarter turn of the key before go on from it: any other triple of the same
// rotation is half a turn away in two of them.
constexpr float kAngleNear = kPi / 2;

bool GoesOn(const Point3& angles, const Point3& before) {
  for (int i = 0; i < 3; ++i) {
    if (!(std::fabs(angles[i] - before[i]) < kAngleNear)) return false;
  }
  return true;
}

/// Brings a rotation to the side of the one before, and its angles on from there. False if that
/// changed nothing.
bool GoOnFrom(const RotationField& before, RotationField& own, int order) {
  const Quat aligned = OnSideOf(*own.rotation, *before.rotation);
  bool changed = !(aligned == *own.rotation);
  *own.rotation = aligned;
  if (!own.euler || (!changed && GoesOn(*own.euler, *before.euler))) return changed;
  const Point3 angles = EulerAfter(before.euler, aligned, order);
  for (int i = 0; i < 3; ++i) {
    if (std::fabs(angles[i] - (*own.euler)[i]) <= kAngleJump) continue;
    *own.euler = angles;
    return true;
  }
  return changed;
}

/// Lets each rotation from key `index` on go on from the key before it, as far as a change
/// travels: a track has no two neighbours on different sides. Answers the last key that changed.
template <class Shape, class Key>
int AlignFrom(const Shape& shape, KeyTable<Key>& table, int index) {
  int last = index;
  const auto key = [&table](int i) -> Key& { return table.keys[static_cast<std::size_t>(i)]; };
  for (int i = 0; i < NumRotations(shape, key(index)); ++i) {
    const OwnKeys own(table.track, RotationAt(shape, key(index), i).subTrack);
    int before = own.Before(index);
    for (int here = own.From(index); here >= 0; here = own.From(here + 1)) {
      RotationField field = RotationAt(shape, key(here), i);
      const bool changed =
          before >= 0 && GoOnFrom(RotationAt(shape, key(before), i), field, table.track.eulerOrder);
      // A key put in is a new neighbour to the next whether it changed or not.
      if (!changed && here != index) break;
      if (changed && here > last) last = here;
      before = here;
    }
  }
  return last;
}

/// Where a key stands, a key of some links takes the values of those links alone.
bool Replaces(const KeyTrack& track, std::uint32_t mask, int subTrack) {
  const int sub = subTrack < track.numSubTracks ? subTrack : track.numSubTracks - 1;
  return !track.separate || (mask >> sub & 1) != 0;
}
LimbKey MergedScalars(const LimbRecord& limb, const LimbKey& old, const LimbKey& key,
                      std::uint32_t mask) {
  const auto of = [&](int sub) -> const LimbKey& {
    return Replaces(limb.table.track, mask, sub) ? key : old;
  };
  const int links = NumLimbLinks(limb);
  LimbKey merged = of(links - 1);  // the end link's keys hold the target, the state, the pivot
  for (int i = 0; i < 2; ++i) merged.clavicle[i] = of(0).clavicle[i];
  for (int i = 0; i < kNumJointAngles; ++i) {
    merged.jointAngles[i] = of(i == kHinge ? (limb.isLeg ? 1 : 2) : 2).jointAngles[i];
  }
  for (int d = 0; d < limb.numDigits; ++d) merged.digits[d] = of(links + d).digits[d];
  return merged;
}
template <class Key>
Key MergedScalars(int, const Key&, const Key& key, std::uint32_t) {
  return key;
}
HeadKey MergedScalars(int links, const HeadKey& old, const HeadKey& key, std::uint32_t mask) {
  return (mask >> (links - 1) & 1) != 0 ? key : old;
}
template <class Shape, class Key>
Key Merged(const Shape& shape, const KeyTrack& track, Key old, Key key, std::uint32_t mask) {
  Key merged = MergedScalars(shape, old, key, mask);
  for (int i = 0; i < NumRotations(shape, key); ++i) {
    const RotationField to = RotationAt(shape, merged, i);
    const RotationField from = RotationAt(shape, Replaces(track, mask, to.subTrack) ? key : old, i);
    *to.rotation = *from.rotation;
    if (to.euler) *to.euler = *from.euler;
  }
  return merged;
}

/// Angles of the rotations that a key put in for `mask` brought.
template <class Shape, class Key>
void SetEuler(const Shape& shape, KeyTable<Key>& table, int index, std::uint32_t mask) {
  const auto at = [&](int key, int i) {
    return RotationAt(shape, table.keys[static_cast<std::size_t>(key)], i);
  };
  for (int i = 0; i < NumRotations(shape, table[index]); ++i) {
    const RotationField own = at(index, i);
    if (!own.euler || !Replaces(table.track, mask, own.subTrack)) continue;
    const int before = OwnKeys(table.track, own.subTrack).Before(index);
    *own.euler = EulerAfter(before >= 0 ? at(before, i).euler : nullptr, *own.rotation,
                            table.track.eulerOrder);
  }
}

/// The key with its rotations at unit length and its choices in range; false if a value is not
/// finite or a rotation has no direction.
template <class Shape, class Key>
bool MakeSound(const Shape& shape, Key& key) {
  bool sound = ScalarsFinite(key);
  for (int i = 0; i < NumRotations(shape, key); ++i) {
    Quat& rotation = *RotationAt(shape, key, i).rotation;
    sound = sound && IsFinite(rotation) && Dot(rotation, rotation) > 1e-20f;
    rotation = Normalized(rotation);
  }
  HoldChoices(key);
  return sound;
}

template <class Shape, class Key>
KeyRefusal PutChecked(const Shape& shape, KeyTable<Key>& table, TimeValue t, const Key& key,
                      std::uint32_t mask) {
  KeyTrack& track = table.track;
  Key sound = key;
  if (!MakeSound(shape, sound)) return KeyRefusal::kNotFinite;
  if ((mask & EveryLink(track)) == 0) return KeyRefusal::kNoTrack;
  const int standing = track.separate ? KeyAt(track, t) : -1;
  if (standing >= 0) sound = Merged(shape, track, table[standing], sound, mask);
  if (PutKeyRecord(table, t, sound, mask) == kRefused) return KeyRefusal::kOutOfMemory;
  const int index = KeyAt(track, t);
  SetEuler(shape, table, index, mask);
  MarkDirty(track, index, AlignFrom(shape, table, index));
  return KeyRefusal::kNone;
}

/// Runs `use` with the table that an id is keyed on and the shape of its keys.
template <class Use>
KeyRefusal WithTable(MotionCore& core, int id, Use use) {
  if (LimbRecord* limb = FindLimb(core, id)) return use(*limb, limb->table);
  switch (id) {
    case kHead:
    case kNeck: return use(core.neck.numLinks + 1, core.head.table);
    case kPelvis: return use(1, core.pelvis.table);
    case kVertical: return use(1, core.body.vertical);
    case kHorizontal: return use(1, core.body.horizontal);
    case kTurn: return use(1, core.body.turn);
    case kProp1:
    case kProp2:
    case kProp3: {
      PropRecord& prop = core.props[id - kProp1];
      return prop.exists ? use(1, prop.table) : KeyRefusal::kNoTrack;
    }
    default: break;
  }
  ChainRecord* chain = FindChain(core, id);
  if (!chain || chain->numLinks == 0) return KeyRefusal::kNoTrack;
  return use(chain->numLinks, chain->table);
}

/// A key put in or taken out at `index` changes where its own pivot comes from, and where the next
/// one's does. Pivots belong to the end link's keys.
void JoinPivotsAround(LimbRecord& limb, int index) {
  const OwnKeys own(limb.table.track, NumLimbLinks(limb) - 1);
  std::vector<LimbKey>& keys = limb.table.keys;
  int before = own.Before(index), here = own.From(index);
  for (int i = 0; i < 2 && here >= 0; ++i) {
    const auto at = static_cast<std::size_t>(here);
    if (before >= 0) JoinPivots(limb, keys[static_cast<std::size_t>(before)], keys[at]);
    before = here;
    here = own.From(here + 1);
  }
}

}  // namespace

KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const LimbKey& key, std::uint32_t mask) {
  LimbRecord* limb = FindLimb(core, id);
  if (!limb) return KeyRefusal::kNoTrack;
  const KeyRefusal refusal = PutChecked(*limb, limb->table, t, key, mask);
  if (refusal == KeyRefusal::kNone) JoinPivotsAround(*limb, KeyAt(limb->table.track, t));
  return refusal;
}
KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const ChainKey& key, std::uint32_t mask) {
  ChainRecord* chain = id == kNeck ? nullptr : FindChain(core, id);
  if (!chain || chain->numLinks == 0) return KeyRefusal::kNoTrack;
  return PutChecked(chain->numLinks, chain->table, t, key, mask);
}
KeyRefusal PutKey(MotionCore& core, TimeValue t, const HeadKey& key, std::uint32_t mask) {
  return PutChecked(core.neck.numLinks + 1, core.head.table, t, key, mask);
}
KeyRefusal PutKey(MotionCore& core, TimeValue t, const PelvisKey& key) {
  return PutChecked(1, core.pelvis.table, t, key, kAllLinks);
}
KeyRefusal PutKey(MotionCore& core, TimeValue t, const VerticalKey& key) {
  return PutChecked(1, core.body.vertical, t, key, kAllLinks);
}
KeyRefusal PutKey(MotionCore& core, TimeValue t, const HorizontalKey& key) {
  return PutChecked(1, core.body.horizontal, t, key, kAllLinks);
}
KeyRefusal PutKey(MotionCore& core, TimeValue t, const TurnKey& key) {
  return PutChecked(1, core.body.turn, t, key, kAllLinks);
}
KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const PropKey& key) {
  if (id < kProp1 || id > kProp3 || !core.props[id - kProp1].exists) return KeyRefusal::kNoTrack;
  return PutChecked(1, core.props[id - kProp1].table, t, key, kAllLinks);
}

KeyRefusal DeleteKeyAt(MotionCore& core, int id, TimeValue t, std::uint32_t mask) {
  const KeyRefusal refusal = WithTable(core, id, [&](const auto& shape, auto& table) {
    KeyTrack& track = table.track;
    const int index = KeyAt(track, t, mask);
    if (index < 0) return KeyRefusal::kNoSuchKey;
    if (track.times[static_cast<std::size_t>(index)].flag != 0) return KeyRefusal::kProtected;
    const std::uint32_t left = track.times[static_cast<std::size_t>(index)].linkMask & ~mask;
    if (track.separate && left != 0) {
      SetLinkMask(track, index, left);
    } else {
      DeleteKeyRecord(table, index);
    }
    if (index < track.numKeys) MarkDirty(track, index, AlignFrom(shape, table, index));
    return KeyRefusal::kNone;
  });
  LimbRecord* limb = FindLimb(core, id);
  if (limb && refusal == KeyRefusal::kNone) {
    JoinPivotsAround(*limb, InsertionIndex(limb->table.track, t));
  }
  return refusal;
}

KeyRefusal MoveKey(MotionCore& core, int id, int index, TimeValue t) {
  KeyTrack* track = FindTrack(core, id);
  if (!track) return KeyRefusal::kNoTrack;
  return SetKeyTime(*track, index, t) == kDone ? KeyRefusal::kNone : KeyRefusal::kNoSuchKey;
}

void AlignKeys(MotionCore& core, int id) {
  (void)WithTable(core, id, [](const auto& shape, auto& table) {
    const KeyTrack& track = table.track;
    const auto at = [&](int key, int i) {
      return RotationAt(shape, table.keys[static_cast<std::size_t>(key)], i);
    };
    // Key by key: a key's rotations lie together, those of the keys far apart.
    for (int key = 0; key < track.numKeys; ++key) {
      for (int i = 0; i < NumRotations(shape, table[key]); ++i) {
        RotationField own = at(key, i);
        const int before = OwnKeys(track, own.subTrack).BeforeOwn(key);
        if (before >= 0) GoOnFrom(at(before, i), own, track.eulerOrder);
      }
    }
    MarkDirty(table.track, 0, track.numKeys - 1);
    return KeyRefusal::kNone;
  });
}

namespace {

bool HasEuler(int id) {
  const BodyPart* part = FindBodyPart(id);
  if (!part) return false;
  switch (part->kind) {
    case PartKind::kArm:
    case PartKind::kLeg:
    case PartKind::kFingers:
    case PartKind::kToes:
    case PartKind::kChain:
    case PartKind::kHead: return true;
    default: return id == kTurn;
  }
}

}  // namespace

bool SetEulerActive(MotionCore& core, int id, int order) {
  if (!HasEuler(id) || order < 0 || order >= kNumEulerOrders) return false;
  return WithTable(core, id, [&](const auto& shape, auto& table) {
           table.track.eulerOrder = order;
           table.track.eulerActive = 1;
           for (int i = 0; i < table.track.numKeys; ++i) SetEuler(shape, table, i, kAllLinks);
           return KeyRefusal::kNone;
         }) == KeyRefusal::kNone;
}

bool SetQuaternionActive(MotionCore& core, int id) {
  KeyTrack* track = HasEuler(id) ? FindTrack(core, id) : nullptr;
  if (!track) return false;
  track->eulerActive = 0;
  return true;
}

int GetEulerOrder(const MotionCore& core, int id) {
  const KeyTrack* track = FindTrack(core, id);
  return track && track->eulerActive ? track->eulerOrder : -1;
}

ChainKey CurrentChainKey(const ChainRecord& chain) {
  ChainKey key = chain.rest;
  for (int k = 0; k < chain.numLinks; ++k) key.rotation[k] = chain.pose[k];
  return key;
}
HeadKey CurrentHeadKey(const MotionCore& core) {
  HeadKey key = core.head.rest;
  for (int k = 0; k < core.neck.numLinks; ++k) key.chain.rotation[k] = core.neck.pose[k];
  key.chain.rotation[core.neck.numLinks] = core.head.pose;
  key.targetPosition = core.head.targetPosition;
  key.headBlend = core.head.headBlend;
  return key;
}
PelvisKey CurrentPelvisKey(const MotionCore& core) {
  PelvisKey key;
  key.rotation = core.pelvis.pose;
  return key;
}
VerticalKey CurrentVerticalKey(const MotionCore& core) {
  VerticalKey key;
  key.height = core.body.bodyPosition.y;
  key.ballisticHeight = key.height + core.body.balanceOffset.y;
  key.dynamicsBlend = core.structure.dynamicsType == 0 ? 1.0f : 0.0f;
  return key;
}
HorizontalKey CurrentHorizontalKey(const MotionCore& core) {
  HorizontalKey key;
  const BodyRecord& body = core.body;
  key.balanceFactor = body.defaultBalance;
  key.position = {body.bodyPosition.x + body.balanceOffset.x, 0,
                  body.bodyPosition.z + body.balanceOffset.z};
  key.supportState = core.freeForm ? -1 : 3;
  return key;
}
TurnKey CurrentTurnKey(const MotionCore& core) {
  TurnKey key;
  key.rotation = core.body.bodyRotation;
  return key;
}

}  // namespace strider
