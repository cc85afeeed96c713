#include "strider/capture/marker_poses.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "strider/capture/marker_limbs.h"
#include "strider/capture/talent_measures.h"

namespace strider {
namespace {

// The spine leaves the pelvis this far over the hips, of the leg.
constexpr float kSpineBase = 23.0f / 200;
// Of the way from the spine's base to the neck, where it has its second joint.
constexpr float kSpineMiddle = 0.5f;
// A collar bone starts this share of the way from the neck to the shoulder.
constexpr float kCollarStart = 0.2f;
// Height of the ankle's joint, of the leg; the ground of the reference.
constexpr float kAnkleHeight = 23.0f / 200;
// The whole foot is so many times as long as the way from ankle to ball, and the hand as that to
// the finger's marker.
constexpr float kFootOfBall = 1.33f + 8.0f / 29, kHandOfFinger = 1.9f;

// Sides of a body are this nearly as long as their middle.
constexpr float kUnevenSides = 0.02f;

constexpr int kChest2Joint = kChestJoint + 1;
// Joints of the limbs of one side.
struct SideJoints {
  int hip, knee, ankle, collar, shoulder, elbow, wrist;
};
constexpr SideJoints kSides[2] = {
    {kRightHipJoint, kRightKneeJoint, kRightAnkleJoint, kRightCollarJoint, kRightShoulderJoint,
     kRightElbowJoint, kRightWristJoint},
    {kLeftHipJoint, kLeftKneeJoint, kLeftAnkleJoint, kLeftCollarJoint, kLeftShoulderJoint,
     kLeftElbowJoint, kLeftWristJoint}};
// Parents before their children.
constexpr int kOrder[] = {
    kHipsJoint,       kChestJoint,        kChest2Joint,     kNeckJoint,          kHeadJoint,
    kRightHipJoint,   kRightKneeJoint,    kRightAnkleJoint, kLeftHipJoint,       kLeftKneeJoint,
    kLeftAnkleJoint,  kRightCollarJoint,  kLeftCollarJoint, kRightShoulderJoint, kRightElbowJoint,
    kRightWristJoint, kLeftShoulderJoint, kLeftElbowJoint,  kLeftWristJoint};

template <class T>
auto& At(T& items, int joint) {
  return items[static_cast<std::size_t>(joint)];
}

/// A segment's length on one side. Sides that differ more than bodies do had their markers put at
/// other places; the middle of both is then nearer to the truth.
float LengthOnSide(const MarkerLimb (&limbs)[2], Side side, float MarkerLimb::*length) {
  const float own = limbs[side].*length, middle = 0.5f * (limbs[0].*length + limbs[1].*length);
  return std::fabs(own - middle) > kUnevenSides * middle ? middle : own;
}

/// The making of one motion: joints at constant places in their parents, turned frame by frame.
class Making {
 public:
  Making(const CaptureScene& scene, const FrameChoice& frames, CapturedMotion& motion)
      : scene_(scene), tracks_(TracksOf(scene, frames)), motion_(motion) {}

  bool Make() {
    if (scene_.kind != CaptureKind::kMarkers || tracks_.numFrames == 0) return false;
    if (!FindBody(tracks_, body_)) return false;
    for (const Side side : {kRight, kLeft}) {
      leg_[side] = LegOf(tracks_, body_, side);
      arm_[side] = ArmOf(tracks_, body_, side);
    }
    LinkJoints();
    MeasureTrunk();
    MeasureLimbs();
    UseTalent();
    motion_.reference = Placed(CapturedPose{}, ReferenceHips());
    motion_.poses.reserve(tracks_.numFrames);
    for (std::size_t f = 0; f < tracks_.numFrames; ++f) motion_.poses.push_back(PoseAt(f));
    if (talentLegs_) KeepHeight();
    NoteHeld();
    return true;
  }

 private:
  void LinkJoints();
  void MeasureTrunk();
  void MeasureLimbs();
  void UseTalent();
  CapturedPose PoseAt(std::size_t f) const;
  void PoseTrunk(std::size_t f, CapturedPose& pose) const;
  void KeepHeight();
  void NoteHeld();
  void Note(int joint, const std::vector<unsigned char>& seen);
  Point3 ReferenceHips() const {
    return {0,
            -At(offset_, kRightKneeJoint).y - At(offset_, kRightAnkleJoint).y +
                kAnkleHeight * body_.leg,
            0};
  }
  /// Places of joints by their turns, those of `pose`.
  CapturedPose Placed(CapturedPose pose, const Point3& hips) const;

  const CaptureScene& scene_;
  MarkerTracks tracks_;
  CapturedMotion& motion_;
  MarkerBody body_;
  MarkerLimb leg_[2], arm_[2];
  std::array<Point3, kNumCaptureJoints> offset_{};  // from the parent's joint, in its axes
  bool talentLegs_ = false;
};

void Making::LinkJoints() {
  motion_.parent.fill(kNoJoint);
  for (const int joint : kOrder) At(motion_.present, joint) = true;
  const auto chain = [this](std::initializer_list<int> joints) {
    int above = kNoJoint;
    for (const int joint : joints) {
      if (above != kNoJoint) At(motion_.parent, joint) = above;
      above = joint;
    }
  };
  chain({kHipsJoint, kChestJoint, kChest2Joint, kNeckJoint, kHeadJoint});
  for (const SideJoints& side : kSides) {
    chain({kHipsJoint, side.hip, side.knee, side.ankle});
    chain({kChest2Joint, side.collar, side.shoulder, side.elbow, side.wrist});
  }
}

/// Spine, neck and head as they stand over the hips most of the time.
void Making::MeasureTrunk() {
  std::vector<Point3> necks, heads;
  for (std::size_t f = 0; f < tracks_.numFrames; ++f) {
    const Frame& pelvis = body_.pelvis.frames[f];
    const Frame& thorax = body_.thorax.frames[f];
    if (!body_.thorax.seen[f] || !body_.pelvis.seen[f]) continue;
    const Point3 base = OutOfFrame(pelvis, {0, kSpineBase * body_.leg, 0});
    necks.push_back({0, Length(thorax.origin - base), 0});
    if (body_.head.seen[f]) heads.push_back(IntoFrame(thorax, body_.head.frames[f].origin));
  }
  const float spine = std::max(MedianOf(necks).y, 0.1f * body_.leg);
  Point3 head = MedianOf(heads);
  head.z = 0;
  if (!(Length(head) > 0.03f * body_.leg)) head = {0, 0.1f * body_.leg, 0};
  At(offset_, kChestJoint) = {0, kSpineBase * body_.leg, 0};
  At(offset_, kChest2Joint) = {0, kSpineMiddle * spine, 0};
  At(offset_, kNeckJoint) = {0, (1 - kSpineMiddle) * spine, 0};
  At(offset_, kHeadJoint) = head;
  At(motion_.end, kHeadJoint) = {0, body_.crown, 0};
}

void Making::MeasureLimbs() {
  for (const Side side : {kRight, kLeft}) {
    const SideJoints& joints = kSides[side];
    const MarkerLimb& arm = arm_[side];
    At(offset_, joints.hip) = {0, 0, RightOf(side) * body_.hipHalf};
    At(offset_, joints.knee) = {0, -LengthOnSide(leg_, side, &MarkerLimb::upper), 0};
    At(offset_, joints.ankle) = {0, -LengthOnSide(leg_, side, &MarkerLimb::lower), 0};
    At(offset_, joints.elbow) = {0, -LengthOnSide(arm_, side, &MarkerLimb::upper), 0};
    At(offset_, joints.wrist) = {0, -LengthOnSide(arm_, side, &MarkerLimb::lower), 0};
    std::vector<Point3> shoulders;
    for (std::size_t f = 0; f < tracks_.numFrames; ++f) {
      if (!arm.rootSeen[f] || !body_.thorax.seen[f]) continue;
      shoulders.push_back(IntoFrame(body_.thorax.frames[f], arm.root[f]));
    }
    const Point3 shoulder = MedianOf(shoulders), neck = At(offset_, kNeckJoint);
    At(offset_, joints.collar) = neck + kCollarStart * shoulder;
    At(offset_, joints.shoulder) = (1 - kCollarStart) * shoulder;
    const Point3& ball = body_.ball[side];
    if (ball.x > 0) At(motion_.end, joints.ankle) = {ball.x, ball.y, 0};
    At(motion_.end, joints.wrist) = {0, -kHandOfFinger * arm.handLength, 0};
  }
}

/// The lengths that the file has measured take the place of what the markers say.
void Making::UseTalent() {
  if (!scene_.hasTalent) return;
  const auto length = [this](int joint) { return Length(At(offset_, joint)); };
  const auto both = [&length](int SideJoints::*joint) {
    return 0.5f * (length(kSides[kRight].*joint) + length(kSides[kLeft].*joint));
  };
  const float ball = std::max(body_.ball[kRight].x, 0.0f);
  TalentLengths lengths;
  lengths[kTalentHead] = body_.crown;
  lengths[kTalentNeck] = length(kHeadJoint);
  lengths[kTalentClavicle] = both(&SideJoints::shoulder);
  lengths[kTalentUpperArm] = both(&SideJoints::elbow);
  lengths[kTalentForearm] = both(&SideJoints::wrist);
  lengths[kTalentThigh] = both(&SideJoints::knee);
  lengths[kTalentCalf] = both(&SideJoints::ankle);
  lengths[kTalentSpine] = length(kChest2Joint) + length(kNeckJoint);
  lengths[kTalentPelvisHeight] = length(kChestJoint);
  lengths[kTalentPelvisLength] = 2 * body_.hipHalf;
  lengths[kTalentFootHeight] = 0;  // the ankles' own height over the ground tells it better
  lengths[kTalentFootLength] = kFootOfBall * ball;
  const TalentLengths measured = MeasuredLengths(scene_, lengths);
  const auto grow = [&](int joint, int measure) {
    if (measured[static_cast<std::size_t>(measure)] > 0) {
      const auto at = static_cast<std::size_t>(measure);
      At(offset_, joint) *= measured[at] / lengths[at];
    }
  };
  const Point3 neck = At(offset_, kNeckJoint);
  grow(kHeadJoint, kTalentNeck);
  grow(kChest2Joint, kTalentSpine);
  grow(kNeckJoint, kTalentSpine);
  grow(kChestJoint, kTalentPelvisHeight);
  for (const SideJoints& side : kSides) {
    At(offset_, side.collar) += At(offset_, kNeckJoint) - neck;
    grow(side.shoulder, kTalentClavicle);
    grow(side.elbow, kTalentUpperArm);
    grow(side.wrist, kTalentForearm);
    grow(side.knee, kTalentThigh);
    grow(side.ankle, kTalentCalf);
    grow(side.hip, kTalentPelvisLength);
    if (measured[kTalentFootLength] > 0) {
      At(motion_.end, side.ankle) *= measured[kTalentFootLength] / lengths[kTalentFootLength];
    }
  }
  if (measured[kTalentHead] > 0) At(motion_.end, kHeadJoint).y = measured[kTalentHead];
  talentLegs_ = measured[kTalentThigh] > 0 || measured[kTalentCalf] > 0;
}

CapturedPose Making::Placed(CapturedPose pose, const Point3& hips) const {
  for (const int joint : kOrder) {
    const int parent = At(motion_.parent, joint);
    At(pose, joint).origin =
        parent == kNoJoint ? hips : OutOfFrame(At(pose, parent), At(offset_, joint));
  }
  return pose;
}

void Making::PoseTrunk(std::size_t f, CapturedPose& pose) const {
  const Frame& pelvis = body_.pelvis.frames[f];
  const Frame& thorax = body_.thorax.frames[f];
  const Frame& head = body_.head.frames[f];
  const auto between = [](const Quat& a, const Quat& b) {
    return Normalized(Slerp(a, OnSideOf(b, a), 0.5f));
  };
  // The lower half of the spine leads to where the upper, which is the thorax, begins.
  const Quat& chest2 = At(pose, kChest2Joint).rotation = thorax.rotation;
  const Point3 middle = thorax.origin - Rotate(chest2, At(offset_, kNeckJoint));
  const Point3 base = OutOfFrame(pelvis, At(offset_, kChestJoint));
  const Quat bent = between(pelvis.rotation, thorax.rotation);
  At(pose, kHipsJoint).rotation = pelvis.rotation;
  At(pose, kChestJoint).rotation =
      Normalized(ShortestTurn(Rotate(bent, {0, 1, 0}), middle - base) * bent);
  const Quat nod = between(thorax.rotation, head.rotation);
  At(pose, kNeckJoint).rotation = Normalized(
      ShortestTurn(Rotate(nod, At(offset_, kHeadJoint)), head.origin - thorax.origin) * nod);
  At(pose, kHeadJoint).rotation = head.rotation;
}

CapturedPose Making::PoseAt(std::size_t f) const {
  CapturedPose pose;
  PoseTrunk(f, pose);
  const Frame& thorax = body_.thorax.frames[f];
  for (const Side side : {kRight, kLeft}) {
    const SideJoints& joints = kSides[side];
    const LimbBend leg =
        BendOf(leg_[side], f, true, -At(offset_, joints.knee).y, -At(offset_, joints.ankle).y);
    At(pose, joints.hip).rotation = leg.upper;
    At(pose, joints.knee).rotation = leg.lower;
    At(pose, joints.ankle).rotation = body_.foot[side].frames[f].rotation;
    const LimbBend arm =
        BendOf(arm_[side], f, false, -At(offset_, joints.elbow).y, -At(offset_, joints.wrist).y);
    const Point3 collar = OutOfFrame(thorax, At(offset_, joints.collar) - At(offset_, kNeckJoint));
    const Point3 rest = Rotate(thorax.rotation, At(offset_, joints.shoulder));
    At(pose, joints.collar).rotation =
        Normalized(ShortestTurn(rest, arm_[side].root[f] - collar) * thorax.rotation);
    At(pose, joints.shoulder).rotation = arm.upper;
    At(pose, joints.elbow).rotation = arm.lower;
    At(pose, joints.wrist).rotation = arm_[side].hand[f];
  }
  return Placed(pose, body_.pelvis.frames[f].origin);
}

/// Legs of another length lift or lower the body, so that the lower foot stays on its ground.
void Making::KeepHeight() {
  std::vector<float> rises;
  for (std::size_t f = 0; f < motion_.poses.size(); ++f) {
    const float has = std::min(At(motion_.poses[f], kRightAnkleJoint).origin.y,
                               At(motion_.poses[f], kLeftAnkleJoint).origin.y);
    rises.push_back(std::min(leg_[kRight].end[f].y, leg_[kLeft].end[f].y) - has);
  }
  const float rise = MedianOf(std::move(rises));
  for (CapturedPose& pose : motion_.poses) {
    for (const int joint : kOrder) At(pose, joint).origin.y += rise;
  }
}

void Making::Note(int joint, const std::vector<unsigned char>& seen) {
  for (std::size_t f = 0; f < seen.size(); ++f) {
    if (seen[f]) continue;
    const std::size_t begin = f;
    while (f + 1 < seen.size() && !seen[f + 1]) ++f;
    const auto frame = [this](std::size_t at) {
      return tracks_.first + static_cast<int>(at) * tracks_.step;
    };
    motion_.held.push_back({joint, frame(begin), frame(f)});
  }
}

void Making::NoteHeld() {
  Note(kHipsJoint, body_.pelvis.seen);
  Note(kChest2Joint, body_.thorax.seen);
  Note(kHeadJoint, body_.head.seen);
  for (const Side side : {kRight, kLeft}) {
    const SideJoints& joints = kSides[side];
    Note(joints.knee, leg_[side].midSeen);
    Note(joints.ankle, leg_[side].endSeen);
    Note(joints.shoulder, arm_[side].rootSeen);
    if (tracks_.Shows(MarkersOf(side).elbow)) Note(joints.elbow, arm_[side].midSeen);
    Note(joints.wrist, arm_[side].endSeen);
  }
}

}  // namespace

int PosesOfMarkers(const CaptureScene& scene, const FrameChoice& frames, CapturedMotion& motion) {
  try {
    CapturedMotion made;
    if (!Making(scene, frames, made).Make()) return kRefused;
    motion = std::move(made);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
