// Keys put into and taken out of a figure's tracks. A key is checked whole before anything
// changes: values that are not finite and rotations without direction are refused.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// Why a key was refused.
enum class KeyRefusal { kNone, kNoTrack, kNotFinite, kOutOfMemory, kNoSuchKey, kProtected };

/// Puts a key of the section that `id` is keyed on at `t` (ticks), in place of one that stands
/// there. On a separate track it is a key of the sub-tracks in `mask`, at least one, and other
/// links that have a key there keep theirs. Rotations are brought to unit length and to the side of
/// their neighbours, Euler angles go on from the key before.
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const LimbKey& key,
                                std::uint32_t mask = kAllLinks);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const ChainKey& key,
                                std::uint32_t mask = kAllLinks);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, TimeValue t, const HeadKey& key,
                                std::uint32_t mask = kAllLinks);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, TimeValue t, const PelvisKey& key);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, TimeValue t, const VerticalKey& key);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, TimeValue t, const HorizontalKey& key);
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, TimeValue t, const TurnKey& key);
/// `id` kProp1 to kProp3.
[[nodiscard]] KeyRefusal PutKey(MotionCore& core, int id, TimeValue t, const PropKey& key);

/// Takes the key at `t` out of the track of `id`; with `mask` only from those sub-tracks, and the
/// whole key once no sub-track holds it. A flagged key stays.
[[nodiscard]] KeyRefusal DeleteKeyAt(MotionCore& core, int id, TimeValue t,
                                     std::uint32_t mask = kAllLinks);

/// Moves the key at index of the track of `id` to `t`.
[[nodiscard]] KeyRefusal MoveKey(MotionCore& core, int id, int index, TimeValue t);

/// Brings all rotations of the track of `id` to the side of the key before them, as keys that come
/// from elsewhere or lose what stood between them have to be.
void AlignKeys(MotionCore& core, int id);

/// Interpolates a section's rotations in Euler angles of an order (0 to 5), or as quaternions.
/// Limbs, chains, head and neck, and turn have Euler angles; others are refused.
[[nodiscard]] bool SetEulerActive(MotionCore& core, int id, int order);
[[nodiscard]] bool SetQuaternionActive(MotionCore& core, int id);
/// The order in force, or -1 for a section that interpolates quaternions.
int GetEulerOrder(const MotionCore& core, int id);

/// A key that holds the current turns of a chain, of head and neck, of the pelvis or the body.
ChainKey CurrentChainKey(const ChainRecord& chain);
HeadKey CurrentHeadKey(const MotionCore& core);
PelvisKey CurrentPelvisKey(const MotionCore& core);
VerticalKey CurrentVerticalKey(const MotionCore& core);
HorizontalKey CurrentHorizontalKey(const MotionCore& core);
TurnKey CurrentTurnKey(const MotionCore& core);

}  // namespace strider
