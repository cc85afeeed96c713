#include "strider/capture/dense_motion.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "strider/capture/capture_loop.h"
#include "strider/capture/marker_poses.h"
#include "strider/capture/pose_adjustment.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/footsteps/bake.h"

namespace strider {
namespace {

// More frames than this are no take of a person.
constexpr std::size_t kMostFrames = 1 << 20;

void MeasureFit(const MotionCore& figure, const CapturedPose& pose, DenseMotion& dense) {
  const JointPlaces has = PlacesOfFigure(figure), wants = PlacesOfTake(pose);
  for (int i = 0; i < JointPlaces::kCount; ++i) {
    const double error =
        static_cast<double>(Length(has.place[i] - wants.place[i])) / dense.legLength;
    dense.fitErrorMean += error;
    dense.fitErrorMost = std::max(dense.fitErrorMost, error);
  }
}

bool PutFrames(const DenseSettings& settings, DenseMotion& dense) {
  const std::vector<CapturedPose>& poses = dense.captured.poses;
  std::optional<PoseAdjustment> adjustment;
  if (settings.pose != nullptr) {
    adjustment.emplace(dense.talent, dense.captured.reference, settings.orientation,
                       *settings.pose);
  }
  MotionCore posed = dense.motion;
  LoopBlend loop(settings.loopFrames, static_cast<int>(poses.size()));
  for (std::size_t f = 0; f < poses.size(); ++f) {
    SolvePose(dense.talent, poses[f], settings.orientation, posed);
    MeasureFit(posed, poses[f], dense);
    if (adjustment) adjustment->Apply(posed);
    loop.Apply(static_cast<int>(f), posed);
    const TimeValue t = static_cast<TimeValue>(f) * settings.ticksPerFrame;
    if (!PutPose(dense.motion, posed, t)) return false;
  }
  dense.fitErrorMean /= static_cast<double>(poses.size() * JointPlaces::kCount);
  return true;
}

bool Make(const CaptureScene& scene, const DenseSettings& settings, DenseMotion& dense,
          std::string& cause) {
  cause.clear();
  const bool ofMarkers = scene.kind == CaptureKind::kMarkers;
  const int posed = ofMarkers ? PosesOfMarkers(scene, settings.frames, dense.captured)
                              : PosesOfJoints(scene, settings.up, settings.frames, dense.captured);
  if (posed == kRefused) {
    cause = ofMarkers ? "no frames to convert, or their markers show no hips and legs"
                      : "no frames to convert";
  } else if (dense.captured.poses.size() > kMostFrames ||
             static_cast<std::int64_t>(dense.captured.poses.size()) * settings.ticksPerFrame >=
                 kFootstepTimeLimit) {
    cause = "too many frames for one motion";
  } else if (FitTalent(dense.captured, settings.talent, dense.talent) == kRefused) {
    cause = "the joints make no figure: its limbs or its trunk have no length";
  }
  if (!cause.empty()) return false;
  MotionCore& figure = dense.talent.figure;
  dense.legLength = figure.leg[kRight].totalLength;
  figure.ticksPerFrame = settings.ticksPerFrame;
  RefreshBodyLaws(figure);
  if (settings.gravity > 0) figure.body.gravAccel = figure.footsteps.gravity = settings.gravity;
  dense.motion = figure;
  if (!PutFrames(settings, dense)) {
    cause = "a frame holds places or turns that are no numbers";
    return false;
  }
  RefreshTracks(dense.motion);
  return true;
}

}  // namespace

JointPlaces PlacesOfFigure(const MotionCore& figure) {
  JointPlaces places;
  int i = 0;
  for (int side = 0; side < 2; ++side) {
    const LimbRecord& leg = figure.leg[side];
    const LimbRecord& arm = figure.arm[side];
    places.place[i++] = leg.frame[0].Origin();
    places.place[i++] = leg.frame[1].Origin();
    places.place[i++] = leg.frame[NumLimbLinks(leg) - 1].Origin();
    places.place[i++] = arm.frame[1].Origin();
    places.place[i++] = arm.frame[2].Origin();
    places.place[i++] = arm.frame[3].Origin();
  }
  places.place[i] = figure.head.frame.Origin();
  return places;
}

JointPlaces PlacesOfTake(const CapturedPose& pose) {
  constexpr int kJoints[JointPlaces::kCount] = {
      kRightHipJoint,   kRightKneeJoint, kRightAnkleJoint, kRightShoulderJoint, kRightElbowJoint,
      kRightWristJoint, kLeftHipJoint,   kLeftKneeJoint,   kLeftAnkleJoint,     kLeftShoulderJoint,
      kLeftElbowJoint,  kLeftWristJoint, kHeadJoint};
  JointPlaces places;
  for (int i = 0; i < JointPlaces::kCount; ++i) {
    places.place[i] = pose[static_cast<std::size_t>(kJoints[i])].origin;
  }
  return places;
}

int MakeDenseMotion(const CaptureScene& scene, const DenseSettings& settings, DenseMotion& dense,
                    std::string& cause) {
  try {
    DenseMotion made;
    if (!Make(scene, settings, made, cause)) return kRefused;
    dense = std::move(made);
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
