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
#include "strider/core/restructure.h"
#include "strider/footsteps/bake.h"

namespace strider {
namespace {

/// Adds up errors; the mean is their sum until Finish.
class FitSum {
 public:
  explicit FitSum(float legLength) : legLength_(legLength) {}
  void Add(const MotionCore& figure, const CapturedPose& pose) {
    const JointPlaces has = PlacesOfFigure(figure), wants = PlacesOfTake(pose);
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      const double error = static_cast<double>(Length(has.place[i] - wants.place[i])) / legLength_;
      error_.mean += error;
      error_.most = std::max(error_.most, error);
    }
    count_ += JointPlaces::kCount;
  }
  FitError Result() const { return {count_ > 0 ? error_.mean / count_ : 0, error_.most}; }

 private:
  float legLength_;
  double count_ = 0;
  FitError error_;
};

bool PutFrames(const DenseSettings& settings, DenseMotion& dense) {
  const std::vector<CapturedPose>& poses = dense.captured.poses;
  std::optional<PoseAdjustment> adjustment;
  if (settings.pose != nullptr) {
    adjustment.emplace(dense.talent, dense.captured.reference, settings.orientation,
                       *settings.pose);
  }
  const std::vector<PlaneAngles> planes = PlanesOf(dense.talent, poses);
  MotionCore posed = dense.motion;
  FitSum fit(dense.legLength);
  LoopBlend loop(settings.loopFrames, static_cast<int>(poses.size()));
  for (std::size_t f = 0; f < poses.size(); ++f) {
    SolvePose(dense.talent, poses[f], settings.orientation, planes[f], posed);
    fit.Add(posed, poses[f]);
    if (adjustment) adjustment->Apply(posed);
    loop.Apply(static_cast<int>(f), posed);
    const TimeValue t = static_cast<TimeValue>(f) * settings.ticksPerFrame;
    if (!PutPose(dense.motion, posed, t)) return false;
  }
  dense.fit = fit.Result();
  return true;
}

bool Make(const CaptureScene& scene, const DenseSettings& settings, DenseMotion& dense,
          std::string& cause) {
  cause.clear();
  const bool ofMarkers = scene.kind == CaptureKind::kMarkers;
  const int posed = ofMarkers
                        ? PosesOfMarkers(scene, settings.frames, dense.captured)
                        : PosesOfJoints(scene, settings.toYUp, settings.frames, dense.captured);
  if (posed == kRefused) {
    cause = ofMarkers ? "no frames to convert, or their markers show no hips and legs"
                      : "no frames to convert";
  } else if (static_cast<std::int64_t>(dense.captured.poses.size()) > kMostTakeFrames ||
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

namespace {

constexpr int kJudgedJoints[JointPlaces::kCount] = {
    kRightHipJoint,   kRightKneeJoint, kRightAnkleJoint, kRightShoulderJoint, kRightElbowJoint,
    kRightWristJoint, kLeftHipJoint,   kLeftKneeJoint,   kLeftAnkleJoint,     kLeftShoulderJoint,
    kLeftElbowJoint,  kLeftWristJoint, kHeadJoint};

}  // namespace

JointPlaces PlacesOfTake(const CapturedPose& pose) {
  JointPlaces places;
  for (int i = 0; i < JointPlaces::kCount; ++i) {
    places.place[i] = pose[static_cast<std::size_t>(kJudgedJoints[i])].origin;
  }
  return places;
}

DenseMotion DenseMotionOf(MotionCore motion, int numFrames, const EvalContext& context) {
  DenseMotion dense;
  dense.talent.figure = FigureOf(motion);
  dense.legLength = motion.leg[kRight].totalLength;
  MotionCore posed = motion;
  for (int f = 0; f < numFrames; ++f) {
    CorePose(posed, static_cast<TimeValue>(f) * motion.ticksPerFrame, context);
    const JointPlaces places = PlacesOfFigure(posed);
    CapturedPose& pose = dense.captured.poses.emplace_back();
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      pose[static_cast<std::size_t>(kJudgedJoints[i])].origin = places.place[i];
    }
  }
  dense.motion = std::move(motion);
  return dense;
}

MotionCore PoseInReference(const DenseMotion& dense, const DenseSettings& settings) {
  MotionCore posed = dense.talent.figure;
  const CapturedPose& reference = dense.captured.reference;
  const PlaneAngles planes = PlanesOf(dense.talent, {&reference, 1}).front();
  SolvePose(dense.talent, reference, settings.orientation, planes, posed);
  MotionCore motion = dense.talent.figure;
  (void)PutPose(motion, posed, 0);  // a pose of finite places, as the fitting has found it
  RefreshTracks(motion);
  return motion;
}

FitError MeasureFit(const DenseMotion& dense, const MotionCore& motion,
                    const EvalContext& context) {
  MotionCore posed = motion;
  posed.inPlace = false;
  FitSum fit(dense.legLength);
  for (std::size_t f = 0; f < dense.captured.poses.size(); ++f) {
    CorePose(posed, static_cast<TimeValue>(f) * motion.ticksPerFrame, context);
    fit.Add(posed, dense.captured.poses[f]);
  }
  return fit.Result();
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
