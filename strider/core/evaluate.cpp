#include "strider/core/evaluate.h"

#include <algorithm>

#include "strider/core/body.h"
#include "strider/core/chain.h"
#include "strider/core/limb.h"
#include "strider/core/track_reader.h"
#include "strider/core/twist.h"

namespace strider {
namespace {

/// A figure whose footsteps have never been turned into motion keeps its last pose.
bool WaitsForMotion(const MotionCore& core) {
  return !core.freeForm && core.footsteps.numFootsteps > 0 && core.footstepsPending &&
         !core.bodyKeysComputed;
}

bool InStack(const MotionCore& core) { return core.previousLayer || core.nextLayer; }

/// A footstep motion has no pose outside its span; one without footsteps stands at 0.
TimeValue WithinMotion(const MotionCore& core, TimeValue t) {
  if (core.freeForm) return t;
  if (core.footsteps.numFootsteps == 0) return 0;
  const TimeValue first = std::min(FirstFootstepTime(core.footsteps), core.startTime);
  return std::clamp(t, first, std::max(first, core.endTime));
}

void EvaluatePelvis(PelvisRecord& pelvis, TimeValue t) {
  if (pelvis.table.Empty()) {
    pelvis.pose = pelvis.rest.rotation;
    return;
  }
  pelvis.pose =
      TrackReader<PelvisKey>(pelvis.table, t).Rotation(0, [](const PelvisKey& key) -> const Quat& {
        return key.rotation;
      });
}

/// Without footsteps the ground lies under the lower foot.
float GroundUnderFeet(const MotionCore& core) {
  const auto sole = [](const LimbRecord& leg) {
    return leg.pose.worldTarget.y - leg.extremityHeight;
  };
  return std::min(sole(core.leg[kRight]), sole(core.leg[kLeft]));
}

/// A prop's place in the space of the key before `t`: keys hold it in all spaces, so the path
/// stays in one space up to the next key.
void EvaluateProp(PropRecord& prop, TimeValue t) {
  prop.pose = RestPose(prop);
  if (prop.table.Empty()) return;
  const TrackReader<PropKey> reader(prop.table, t);
  PropPose now;
  const int p = now.posSpace = reader.Left().posSpace;
  const int r = now.rotSpace = reader.Left().rotSpace;
  now.position = reader.Tcb([p](const PropKey& key) { return key.position[p]; });
  now.rotation =
      reader.Rotation(r, [r](const PropKey& key) -> const Quat& { return key.rotation[r]; });
  now.scale = reader.Tcb([](const PropKey& key) { return key.scale; });
  if (IsFinite(now.position) && IsFinite(now.scale)) prop.pose = now;
}

void ComputePropFrame(const MotionCore& core, PropRecord& prop) {
  const auto inSpace = [&core](int space, const Matrix3& local) {
    switch (space) {
      case kBodyProp: return local * core.body.bodyMatrix;
      case kRightHandProp: return local * core.arm[kRight].frame[3];
      case kLeftHandProp: return local * core.arm[kLeft].frame[3];
      default: return local;
    }
  };
  const auto frameOf = [&inSpace](const PropPose& pose) {
    Matrix3 frame = inSpace(pose.rotSpace, UnitFrame(pose.rotation, {}));
    frame.row[3] = inSpace(pose.posSpace, Translation(pose.position)).row[3];
    for (int i = 0; i < 3; ++i) frame.row[i] *= pose.scale[i];
    return frame;
  };
  prop.frame = frameOf(prop.pose);
  // A finite place can still leave the range of floats on its way through the hand.
  if (!IsFinite(prop.frame)) prop.frame = frameOf(RestPose(prop));
}

/// Body, pelvis and spine at `t`, their keys refreshed and the free period known.
void PoseTrunk(MotionCore& core, TimeValue t) {
  EvaluateVertical(core, t);
  // The trunk before the ground path: balance follows the spine's centre.
  EvaluatePelvis(core.pelvis, t);
  EvaluateChain(core.spine, t);
  EvaluateHorizontalAndTurn(core, t);
  core.body.bodyPosition.y = CombinedHeight(core, t);
  ComputeTrunkFrames(core);
}

/// As CoreEvaluate. True if trunk and limb bases stand where the new pose has them.
bool EvaluateKeys(MotionCore& core, TimeValue t, const EvalContext& context, int depth) {
  if (WaitsForMotion(core)) return false;
  if (InStack(core) && depth < kLayerDepth && context.layers != nullptr) {
    (void)context.layers->EvaluatePose(core, t, context);
    return false;
  }
  RefreshTracks(core);
  t = WithinMotion(core, t);
  if (core.footsteps.numFootsteps > 0) {
    core.body.groundHeight = FootstepHeight(core.footsteps, t);
  }
  EvaluateFreePeriod(core, t);
  // Contacts first: the body's record tells them.
  for (LimbRecord& leg : core.leg) leg.keyState = LegKeyState(core, leg, t);
  PoseTrunk(core, t);

  EvaluateChain(core.tail, t);
  EvaluateHeadAndNeck(core, t);
  for (ChainRecord& pony : core.pony) EvaluateChain(pony, t);
  for (XtraChain& xtra : core.xtras) EvaluateChain(xtra.chain, t);

  // Limbs last: they hang from the trunk.
  for (LimbRecord& leg : core.leg) EvaluateLimbFull(core, leg, t, context);
  if (core.structure.arms) {
    for (LimbRecord& arm : core.arm) EvaluateLimbFull(core, arm, t, context);
  }
  for (PropRecord& prop : core.props) {
    if (prop.exists) EvaluateProp(prop, t);
  }
  return true;
}

/// Frames of everything that hangs from the trunk and from limb bases that stand.
void ComputeFramesOnTrunk(MotionCore& core) {
  for (LimbRecord& leg : core.leg) ComputeLimbTransforms(leg);
  if (core.footsteps.numFootsteps == 0) core.body.groundHeight = GroundUnderFeet(core);
  if (core.tail.numLinks > 0) ComputeChainFrames(core.tail, core.pelvisFrame);
  core.neckEnd = ComputeChainFrames(core.neck, core.spineEnd);
  if (core.structure.arms) {
    for (LimbRecord& arm : core.arm) ComputeLimbTransforms(arm);
  }
  ComputeHeadFrames(core);
  for (PropRecord& prop : core.props) {
    if (prop.exists) ComputePropFrame(core, prop);
  }
  for (XtraChain& xtra : core.xtras) {
    const Matrix3 parent = LinkFrame(core, xtra.parentId, xtra.parentLink);
    ComputeChainFrames(xtra.chain, {RotationOf(parent), parent.Origin()});
  }
}

}  // namespace

void CoreEvaluate(MotionCore& core, TimeValue t, const EvalContext& context, int depth) {
  (void)EvaluateKeys(core, t, context, depth);
}

void EvaluateTrunk(MotionCore& core, TimeValue t) {
  RefreshTrunkTracks(core);
  t = WithinMotion(core, t);
  EvaluateFreePeriod(core, t);
  PoseTrunk(core, t);
}

void CorePose(MotionCore& core, TimeValue t, const EvalContext& context) {
  if (EvaluateKeys(core, t, context, 1)) {
    ComputeFramesOnTrunk(core);
  } else {
    CoreForwardKinematics(core);
  }
}

void ComputeTrunkFrames(MotionCore& core) {
  BodyRecord& body = core.body;
  body.bodyMatrix = UnitFrame(body.bodyRotation, body.bodyPosition);
  core.pelvisFrame = {body.bodyRotation * core.pelvis.pose, body.bodyPosition};
  core.pelvis.frame = UnitFrame(core.pelvisFrame.rotation, core.pelvisFrame.origin);
  core.spineEnd = ComputeChainFrames(core.spine, core.pelvisFrame);
}

void CoreForwardKinematics(MotionCore& core) {
  ComputeTrunkFrames(core);
  for (LimbRecord& leg : core.leg) PlaceLimbBase(core, leg);
  if (core.structure.arms) {
    for (LimbRecord& arm : core.arm) PlaceLimbBase(core, arm);
  }
  ComputeFramesOnTrunk(core);
}

// --- Frames handed out -------------------------------------------------------------------------

namespace {

/// The end of a link: its frame moved along X by its length.
Matrix3 EndOf(const Matrix3& frame, float length) {
  Matrix3 end = frame;
  end.row[3] += length * frame.row[0];
  return end;
}

Matrix3 ChainLink(const ChainRecord& chain, int link) {
  return link >= 0 && link < chain.numLinks && link < kMaxLinks ? chain.frame[link] : Matrix3{};
}
Matrix3 ChainNub(const ChainRecord& chain) {
  if (chain.numLinks == 0) return {};
  const int last = chain.numLinks - 1;
  return EndOf(chain.frame[last], chain.dimensions[last].x);
}

Matrix3 DigitLink(const LimbRecord* limb, int link) {
  if (!limb || limb->digitLinks == 0 || link < 0) return {};
  const int digit = link / limb->digitLinks, k = link % limb->digitLinks;
  if (digit >= limb->numDigits || k >= limb->digits[digit].numLinks) return {};
  return limb->digits[digit].frame[k];
}
Matrix3 DigitNub(const LimbRecord* limb, int digit) {
  if (!limb || digit < 0 || digit >= limb->numDigits) return {};
  const DigitRecord& record = limb->digits[digit];
  const int last = record.numLinks - 1;
  return EndOf(record.frame[last], record.dimensions[last].x);
}

/// The ground frame under the body: flat, along the host's axes.
Matrix3 FootprintFrame(const MotionCore& core) {
  Matrix3 frame = CoreFromHost(Matrix3{});
  const BodyRecord& body = core.body;
  frame.row[3] = {body.bodyPosition.x, body.groundHeight, body.bodyPosition.z};
  return frame;
}

}  // namespace

Matrix3 LinkFrame(const MotionCore& core, int id, int link) {
  switch (id) {
    case kLeftArm:
    case kRightArm:
    case kLeftLeg:
    case kRightLeg: {
      const LimbRecord* limb = FindLimb(core, id);
      return limb && link >= 0 && link < NumLimbLinks(*limb) ? limb->frame[link] : Matrix3{};
    }
    case kLeftFingers:
    case kRightFingers:
    case kLeftToes:
    case kRightToes: return DigitLink(FindLimb(core, id), link);
    case kHead: return link == 0 ? core.head.frame : Matrix3{};
    case kPelvis: return link == 0 ? core.pelvis.frame : Matrix3{};
    case kVertical:
    case kHorizontal:
    case kTurn: return link == 0 ? core.body.bodyMatrix : Matrix3{};
    case kFootprints: return link == 0 ? FootprintFrame(core) : Matrix3{};
    case kProp1:
    case kProp2:
    case kProp3: {
      const PropRecord& prop = core.props[id - kProp1];
      return prop.exists && link == 0 ? prop.frame : Matrix3{};
    }
    case kRightFingerNubs: return DigitNub(FindLimb(core, kRightFingers), link);
    case kLeftFingerNubs: return DigitNub(FindLimb(core, kLeftFingers), link);
    case kLeftToeNubs: return DigitNub(FindLimb(core, kLeftToes), link);
    case kRightToeNubs: return DigitNub(FindLimb(core, kRightToes), link);
    case kTailNub: return ChainNub(core.tail);
    case kHeadNub: return EndOf(core.head.frame, core.head.sizes[1]);
    case kPony1Nub: return ChainNub(core.pony[0]);
    case kPony2Nub: return ChainNub(core.pony[1]);
    default: break;
  }
  if (IsTwist(id)) return TwistLinkFrame(core, id, link);
  if (id >= kXtraNubFirst && id <= kXtraNubLast) {
    const ChainRecord* chain = FindChain(core, id - kXtraNubFirst + kXtraFirst);
    return chain ? ChainNub(*chain) : Matrix3{};
  }
  const ChainRecord* chain = FindChain(core, id);
  return chain ? ChainLink(*chain, link) : Matrix3{};
}

Matrix3 UnmirroredLinkTransform(const MotionCore& core, int id, int link) {
  return HostFromCore(LinkFrame(core, id, link));
}

bool IsMirroredLink(const MotionCore& core, int id, int link) {
  switch (id) {
    case kLeftArm: return link == 0;
    case kRightArm: return link >= 1;
    case kRightFingers:
    case kRightToes: return true;
    case kRightLeg: return link < NumLimbLinks(core.leg[kRight]) - 1;
    default: return false;
  }
}

namespace {

/// Sizes along a link's own axes, for unit meshes.
Point3 UnitShape(const MotionCore& core, int id, int link) {
  const PelvisRecord& pelvis = core.pelvis;
  switch (id) {
    case kPelvis: return {pelvis.depth, pelvis.width, 2 * pelvis.hipOffset};
    case kVertical:
    case kHorizontal:
    case kTurn:
    case kFootprints: {
      const float size = pelvis.hipOffset / 20;
      return {size, size, size};
    }
    default: break;
  }
  const Point3 size = LinkDimensions(core, id, link);
  return size == Point3{} ? Point3{1, 1, 1} : size;
}

}  // namespace

void CoreLinkTransform(const MotionCore& core, int id, int link, Matrix3& matrix) {
  matrix = Matrix3{};
  if (!HasLink(core, id, link)) return;
  matrix = UnmirroredLinkTransform(core, id, link);
  if (IsMirroredLink(core, id, link)) matrix.row[2] = -matrix.row[2];
  if (!core.unitShapeLinks) return;
  const Point3 size = UnitShape(core, id, link);
  for (int i = 0; i < 3; ++i) matrix.row[i] *= size[i];
}

Point3 LinkDimensions(const MotionCore& core, int id, int link) {
  if (!HasLink(core, id, link)) return {};
  const LimbRecord* limb = FindLimb(core, id);
  const BodyPart* part = FindBodyPart(id);
  switch (part ? part->kind : PartKind::kNub) {
    case PartKind::kArm:
    case PartKind::kLeg: return limb->dimensions[link];
    case PartKind::kFingers:
    case PartKind::kToes: {
      const DigitRecord& digit = limb->digits[link / limb->digitLinks];
      return digit.dimensions[link % limb->digitLinks];
    }
    case PartKind::kChain: return FindChain(core, id)->dimensions[link];
    case PartKind::kHead: return {core.head.sizes[1], core.head.sizes[2], core.head.sizes[3]};
    case PartKind::kPelvis:
      return {2 * core.pelvis.hipOffset, core.pelvis.width, core.pelvis.depth};
    case PartKind::kProp: return core.props[id - kProp1].dimensions;
    case PartKind::kTwist: {
      const TwistSegment segment = TwistSegmentOf(id);
      const LimbRecord* owner = FindLimb(core, segment.limbId);
      Point3 size = owner ? owner->dimensions[segment.limbLink] : Point3{};
      size.x /= static_cast<float>(NumLinks(core, id));
      return size;
    }
    default: return {};
  }
}

}  // namespace strider
