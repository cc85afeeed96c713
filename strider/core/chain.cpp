#include "strider/core/chain.h"

#include "strider/core/track_reader.h"

namespace strider {
namespace {

void RestChain(ChainRecord& chain) {
  for (int k = 0; k < chain.numLinks; ++k) chain.pose[k] = chain.rest.rotation[k];
}

/// Turn of link `k` of a key table whose keys hold a ChainKey that `chainOf` reads.
template <class Key, class ChainOf>
Quat LinkTurn(const TrackReader<Key>& reader, int k, ChainOf chainOf) {
  return reader.RotationOrEuler(
      k, k, [&](const Key& key) -> const Quat& { return chainOf(key).rotation[k]; },
      [&](const Key& key) -> const Point3& { return chainOf(key).euler[k]; });
}

/// Calls use(k, reader) for each link, with one reader where the links share their keys.
template <class Key, class Use>
void ForEachLink(KeyTable<Key>& table, TimeValue t, int links, Use use) {
  if (!table.track.separate) {
    const TrackReader<Key> reader(table, t);
    for (int k = 0; k < links; ++k) use(k, reader);
    return;
  }
  for (int k = 0; k < links; ++k) use(k, TrackReader<Key>(table, t, k));
}

}  // namespace

void EvaluateChain(ChainRecord& chain, TimeValue t) {
  if (chain.numLinks == 0) return;
  if (chain.table.Empty()) {
    RestChain(chain);
    return;
  }
  ForEachLink(chain.table, t, chain.numLinks, [&](int k, const TrackReader<ChainKey>& reader) {
    chain.pose[k] = LinkTurn(reader, k, [](const ChainKey& key) -> const ChainKey& { return key; });
  });
}

void EvaluateHeadAndNeck(MotionCore& core, TimeValue t) {
  HeadRecord& head = core.head;
  const int neckLinks = core.neck.numLinks;
  if (head.table.Empty()) {
    for (int k = 0; k < neckLinks; ++k) core.neck.pose[k] = head.rest.chain.rotation[k];
    head.pose = head.rest.chain.rotation[neckLinks];
    head.headBlend = head.rest.headBlend;
    return;
  }
  ForEachLink(head.table, t, neckLinks + 1, [&](int k, const TrackReader<HeadKey>& reader) {
    const Quat turn =
        LinkTurn(reader, k, [](const HeadKey& key) -> const ChainKey& { return key.chain; });
    if (k < neckLinks) {
      core.neck.pose[k] = turn;
      return;
    }
    head.pose = turn;
    // The blend follows the head link's eased fraction alone, whatever interpolates the turns.
    const float from = reader.Left().headBlend, to = reader.Right().headBlend;
    head.headBlend = from + reader.U() * (to - from);
  });
}

Frame ComputeChainFrames(ChainRecord& chain, const Frame& parent) {
  Frame next = ChildFrame(parent, chain.baseRotation, chain.baseOffset);
  for (int k = 0; k < chain.numLinks; ++k) {
    next.rotation = next.rotation * chain.pose[k];
    chain.frame[k] = UnitFrame(next.rotation, next.origin);
    next.origin += chain.dimensions[k].x * chain.frame[k].row[0];
  }
  return next;
}

namespace {

/// `keyed` turned towards facing `target` from `origin` by the share `blend`. A head's frame has X
/// up and faces along -Y; it keeps as upright as the direction allows.
Quat FaceTarget(const Quat& keyed, const Point3& origin, const Point3& target, float blend) {
  const Point3 toTarget = Normalized(target - origin);
  if (toTarget == Point3{}) return keyed;
  const Matrix3 now = FrameOf(keyed, {});
  // Straight above or below any side will do: the one that the head has is the nearest.
  const Point3 ownSide = now.row[2] - Dot(now.row[2], toTarget) * toTarget;
  const Point3 spareSide = Normalized(ownSide, {0, 0, 1});
  const Point3 right = Normalized(Cross(toTarget, Point3{0, 1, 0}), spareSide);
  const Point3 up = Cross(right, toTarget);
  const Quat facing = RotationOf(Matrix3{{up, -toTarget, right, {}}});
  return Slerp(Normalized(keyed), OnSideOf(facing, keyed), blend);
}

}  // namespace

void ComputeHeadFrames(MotionCore& core) {
  HeadRecord& head = core.head;
  Quat rotation = core.neckEnd.rotation * head.pose;
  if (head.hasTarget && head.headBlend > 0) {
    const float blend = head.headBlend < 1 ? head.headBlend : 1;
    rotation = FaceTarget(rotation, core.neckEnd.origin, head.targetPosition, blend);
  }
  head.frame = UnitFrame(rotation, core.neckEnd.origin);
  const Frame frame{rotation, core.neckEnd.origin};
  for (ChainRecord& pony : core.pony) {
    if (pony.numLinks > 0) ComputeChainFrames(pony, frame);
  }
}

Point3 SpineCentre(const MotionCore& core, const Quat& pelvisRotation) {
  const ChainRecord& spine = core.spine;
  Point3 joint = Rotate(pelvisRotation, spine.baseOffset);
  Quat rotation = pelvisRotation * spine.baseRotation;
  Point3 weighted;
  float total = 0;
  for (int k = 0; k < spine.numLinks; ++k) {
    rotation = rotation * spine.pose[k];
    const float length = spine.dimensions[k].x;
    const Point3 bone = length * UnitFrame(rotation, {}).row[0];
    weighted += length * (joint + 0.5f * bone);
    total += length;
    joint += bone;
  }
  return total > 0 ? weighted / total : joint;
}

}  // namespace strider
