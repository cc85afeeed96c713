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
  void Add(const MotionCore& figure, const JointPlaces& wants) {
    const JointPlaces has = PlacesOfFigure(figure);
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

/// The figure in the poses of the take, from the first on: where limbs keep their planes a pose
/// goes on from the one before, so that none can be left out.
class PoseSolver {
 public:
  PoseSolver(const DenseSettings& settings, const DenseMotion& dense,
             const std::vector<PlaneAngles>& planes)
      : settings_(settings), dense_(dense), planes_(planes), solved_(dense.motion) {
    if (settings.pose == nullptr) return;
    adjustment_.emplace(dense.talent, dense.captured.reference, settings.orientation,
                        *settings.pose);
  }
  /// Poses `shown` as the take stands at the next frame, adjusted; `take` is where its joints are.
  void Next(MotionCore& shown, JointPlaces& take) {
    const CapturedPose& pose = dense_.captured.poses[next_];
    SolvePose(dense_.talent, pose, settings_.orientation, planes_[next_], solved_);
    ++next_;
    shown = solved_;
    take = PlacesOfTake(pose);
    if (!adjustment_) return;
    adjustment_->Apply(shown);
    const JointPlaces from = PlacesOfFigure(solved_), to = PlacesOfFigure(shown);
    for (int i = 0; i < JointPlaces::kCount; ++i) take.place[i] += to.place[i] - from.place[i];
  }

 private:
  const DenseSettings& settings_;
  const DenseMotion& dense_;
  const std::vector<PlaneAngles>& planes_;
  std::optional<PoseAdjustment> adjustment_;
  MotionCore solved_;
  std::size_t next_ = 0;
};

/// Spreads what is missing from the last pose to the first.
LoopBlend LoopOf(int loopFrames, int numFrames, PoseSolver solver, MotionCore posed) {
  JointPlaces take;
  solver.Next(posed, take);
  const MotionCore first = posed;
  for (int f = 1; f < numFrames; ++f) solver.Next(posed, take);
  return {loopFrames, numFrames, first, posed};
}

bool PutFrames(const DenseSettings& settings, DenseMotion& dense) {
  const int numFrames = static_cast<int>(dense.captured.poses.size());
  const std::vector<PlaneAngles> planes = PlanesOf(dense.talent, dense.captured.poses);
  PoseSolver solver(settings, dense, planes);
  MotionCore posed = dense.motion;
  const int own = FramesBeforeLoop(settings.loopFrames, numFrames);
  std::optional<LoopBlend> loop;
  if (own < numFrames) loop.emplace(LoopOf(settings.loopFrames, numFrames, solver, posed));
  FitSum fit(dense.legLength);
  dense.judged.resize(static_cast<std::size_t>(own));
  for (int f = 0; f < numFrames; ++f) {
    JointPlaces take;
    solver.Next(posed, take);
    if (f < own) {
      dense.judged[static_cast<std::size_t>(f)] = take;
      fit.Add(posed, take);
    } else {
      loop->Apply(f, posed);
    }
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

DenseMotion DenseMotionOf(MotionCore motion, int numFrames, int loopFrames,
                          const EvalContext& context) {
  DenseMotion dense;
  dense.talent.figure = FigureOf(motion);
  dense.legLength = motion.leg[kRight].totalLength;
  MotionCore posed = motion;  // by keys that stay as they are
  const auto timeOf = [&motion](int f) { return static_cast<TimeValue>(f) * motion.ticksPerFrame; };
  const int own = FramesBeforeLoop(loopFrames, numFrames);
  for (int f = 0; f < numFrames; ++f) {
    CorePose(posed, timeOf(f), context);
    const JointPlaces places = PlacesOfFigure(posed);
    if (f < own) dense.judged.push_back(places);
    CapturedPose& pose = dense.captured.poses.emplace_back();
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      pose[static_cast<std::size_t>(kJudgedJoints[i])].origin = places.place[i];
    }
  }
  if (own < numFrames) {
    const MotionCore last = posed;
    CorePose(posed, 0, context);
    const LoopBlend loop(loopFrames, numFrames, posed, last);
    for (int f = own; f < numFrames; ++f) {
      CorePose(posed, timeOf(f), context);
      loop.Apply(f, posed);
      (void)PutPose(motion, posed, timeOf(f));  // sums of poses that the motion has
    }
    RefreshTracks(motion);
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
  for (std::size_t f = 0; f < dense.judged.size(); ++f) {
    CorePose(posed, static_cast<TimeValue>(f) * motion.ticksPerFrame, context);
    fit.Add(posed, dense.judged[f]);
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
