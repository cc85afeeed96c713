#include "strider/core/key_edit.h"

#include <cmath>

namespace strider {
namespace {

/// A rotation of a key with the Euler triple that goes with it (null where the key has none).
struct RotationField {
  Quat* rotation;
  Point3* euler;
  int subTrack;
};

// Each key type lists its rotations to `use`; the rest of this file needs to know no more.
template <class Use>
void ForEachRotation(const LimbRecord& limb, LimbKey& key, Use use) {
  const int links = NumLimbLinks(limb);
  use(RotationField{&key.limbRotation, &key.limbEuler, limb.isLeg ? 0 : 1});
  use(RotationField{&key.endRotation, &key.endEuler, links - 1});
  use(RotationField{&key.spaceRotation, nullptr, links - 1});
  for (int d = 0; d < limb.numDigits; ++d) {
    DigitKey& digit = key.digits[d];
    use(RotationField{&digit.base, &digit.baseEuler, links + d});
    for (int k = 0; k < limb.digitLinks; ++k) {
      use(RotationField{&digit.link[k], &digit.linkEuler[k], links + d});
    }
  }
}
template <class Use>
void ForEachRotation(int numLinks, ChainKey& key, Use use) {
  for (int k = 0; k < numLinks; ++k) use(RotationField{&key.rotation[k], &key.euler[k], k});
}
template <class Use>
void ForEachRotation(int numLinks, HeadKey& key, Use use) {
  ForEachRotation(numLinks, key.chain, use);
}
template <class Use>
void ForEachRotation(int, PelvisKey& key, Use use) {
  use(RotationField{&key.rotation, &key.euler, 0});
}
template <class Use>
void ForEachRotation(int, TurnKey& key, Use use) {
  use(RotationField{&key.rotation, &key.euler, 0});
}
template <class Use>
void ForEachRotation(int, PropKey& key, Use use) {
  for (Quat& rotation : key.rotation) use(RotationField{&rotation, nullptr, 0});
}
template <class Use>
void ForEachRotation(int, VerticalKey&, Use) {}
template <class Use>
void ForEachRotation(int, HorizontalKey&, Use) {}

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

/// The rotation in the same place of another key: `use` walks both in step.
template <class Shape, class Key>
RotationField FieldAt(const Shape& shape, Key& key, int wanted) {
  RotationField found{nullptr, nullptr, 0};
  int at = 0;
  ForEachRotation(shape, key, [&](const RotationField& field) {
    if (at++ == wanted) found = field;
  });
  return found;
}

/// Puts the rotations from key `index` on to the side of the key before them, as far as a change
/// of side travels, and lets Euler triples go on from the key before without jumps. Answers the
/// last key that changed.
template <class Shape, class Key>
int AlignFrom(const Shape& shape, KeyTable<Key>& table, int index) {
  const KeyTrack& track = table.track;
  int at = 0, last = index;
  ForEachRotation(
      shape, table.keys[static_cast<std::size_t>(index)], [&](const RotationField& own) {
        const int channel = at++;
        std::uint32_t mask = kAllLinks;
        if (track.separate) {
          const int sub = own.subTrack < track.numSubTracks ? own.subTrack : track.numSubTracks - 1;
          mask = std::uint32_t{1} << sub;
        }
        const auto nextOf = [&](int i) {
          return track.separate          ? track.maskIndex.FindFirst(i + 1, mask)
                 : i + 1 < track.numKeys ? i + 1
                                         : -1;
        };
        int before = track.separate ? track.maskIndex.FindLast(index - 1, mask) : index - 1;
        int here = index;
        while (here >= 0) {
          RotationField field = FieldAt(shape, table.keys[static_cast<std::size_t>(here)], channel);
          Point3 reference;
          bool flipped = false;
          if (before >= 0) {
            const RotationField earlier =
                FieldAt(shape, table.keys[static_cast<std::size_t>(before)], channel);
            const Quat aligned = OnSideOf(*field.rotation, *earlier.rotation);
            flipped = !(aligned == *field.rotation);
            *field.rotation = aligned;
            if (earlier.euler) {
              reference = {earlier.euler->x, earlier.euler->y, -earlier.euler->z};
            }
          }
          if (field.euler && (here == index || flipped)) {
            *field.euler = EulerKeyFromAngles(
                ContinuousQuatToEuler(*field.rotation, reference, track.eulerOrder));
          }
          // The key put in is always followed by a look at the next; a change of side goes on.
          if (here != index && !flipped) break;
          if (here > last) last = here;
          before = here;
          here = nextOf(here);
        }
      });
  return last;
}

template <class Shape, class Key>
KeyRefusal PutChecked(const Shape& shape, KeyTable<Key>& table, TimeValue t, const Key& key,
                      std::uint32_t mask) {
  Key sound = key;
  bool finite = ScalarsFinite(sound);
  ForEachRotation(shape, sound, [&finite](const RotationField& field) {
    finite = finite && IsFinite(*field.rotation) && Dot(*field.rotation, *field.rotation) > 1e-20f;
    *field.rotation = Normalized(*field.rotation);
  });
  if (!finite) return KeyRefusal::kNotFinite;
  HoldChoices(sound);
  if (PutKeyRecord(table, t, sound, mask) == kRefused) return KeyRefusal::kOutOfMemory;
  const int index = KeyAt(table.track, t);
  MarkDirty(table.track, index, AlignFrom(shape, table, index));
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

}  // namespace

KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const LimbKey& key, std::uint32_t mask) {
  LimbRecord* limb = FindLimb(core, id);
  return limb ? PutChecked(*limb, limb->table, t, key, mask) : KeyRefusal::kNoTrack;
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
  return WithTable(core, id, [&](const auto& shape, auto& table) {
    KeyTrack& track = table.track;
    const int index = KeyAt(track, t, mask);
    if (index < 0) return KeyRefusal::kNoSuchKey;
    if (track.times[static_cast<std::size_t>(index)].flag != 0) return KeyRefusal::kProtected;
    const std::uint32_t left = track.times[static_cast<std::size_t>(index)].linkMask & ~mask;
    const std::uint32_t all =
        track.numSubTracks >= 32 ? kAllLinks : (std::uint32_t{1} << track.numSubTracks) - 1;
    if (track.separate && (left & all) != 0) {
      SetLinkMask(track, index, left);
    } else {
      DeleteKeyRecord(table, index);
    }
    if (index < track.numKeys) MarkDirty(track, index, AlignFrom(shape, table, index));
    return KeyRefusal::kNone;
  });
}

KeyRefusal MoveKey(MotionCore& core, int id, int index, TimeValue t) {
  KeyTrack* track = FindTrack(core, id);
  if (!track) return KeyRefusal::kNoTrack;
  return SetKeyTime(*track, index, t) == kDone ? KeyRefusal::kNone : KeyRefusal::kNoSuchKey;
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
           // Each key's angles go on from those of the key before.
           for (std::size_t i = 0; i < table.keys.size(); ++i) {
             int channel = 0;
             ForEachRotation(shape, table.keys[i], [&](const RotationField& field) {
               const int at = channel++;
               if (!field.euler) return;
               Point3 reference;
               if (i > 0) {
                 const Point3& last = *FieldAt(shape, table.keys[i - 1], at).euler;
                 reference = {last.x, last.y, -last.z};
               }
               *field.euler =
                   EulerKeyFromAngles(ContinuousQuatToEuler(*field.rotation, reference, order));
             });
           }
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
