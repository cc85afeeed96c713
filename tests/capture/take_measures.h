// Real takes and what an import of them is measured by. The take's joints are placed by a reader of
// the tests' own, so that nothing the program reads or solves is taken on trust.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "strider/capture/import_take.h"
#include "strider/core/evaluate.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/pose_sample.h"
#include "tests/capture/take_fixture.h"
#include "tests/exchange/bvh_reader.h"

namespace strider::test {

/// A contact of one foot, seconds.
struct ContactTime {
  int side;
  double from, to;
};

struct Take {
  const char* file;
  /// Names in the file: of the right side hip, knee, ankle, shoulder, elbow, wrist. Those of the
  /// left begin with `left` instead of `right`.
  std::array<const char*, 6> limbs;
  const char *right, *left, *head;
  double centimetres;  // of the file's unit
  int thinning;        // frames of the file for one of the motion
  bool running;
  std::vector<ContactTime> contacts;  // as they were measured on the ankles; none: not measured
};

inline const std::vector<Take>& Takes() {
  static constexpr std::array<const char*, 6> kOwn = {"Hip",      "Knee",  "Ankle",
                                                      "Shoulder", "Elbow", "Wrist"};
  static const std::vector<Take> takes = {
      {"walk_cmu_02_01.bvh",
       {"UpLeg", "LowLeg", "Foot", "UpArm", "LowArm", "Hand"},
       "Right",
       "Left",
       "Head",
       5.6444,
       4,
       false,
       {{kLeft, 0.03, 0.57},
        {kRight, 0.63, 1.13},
        {kLeft, 1.20, 1.70},
        {kRight, 1.77, 2.23},
        {kLeft, 2.30, 2.77}}},
      {"walk_cmu_06_01.bvh",
       kOwn,
       "Right",
       "Left",
       "Head",
       1,
       4,
       false,
       {{kLeft, 0.07, 0.17},
        {kRight, 0.30, 0.80},
        {kLeft, 0.93, 1.37},
        {kRight, 1.53, 2.00},
        {kLeft, 2.13, 2.63},
        {kRight, 2.70, 3.23},
        {kLeft, 3.40, 3.83}}},
      {"walk_cmu_12_01.bvh",
       {"UpLeg", "Leg", "Foot", "Arm", "ForeArm", "Hand"},
       "Right",
       "Left",
       "Head",
       5.6444,
       4,
       false,
       {{kLeft, 0.00, 0.27},
        {kRight, 0.23, 0.87},
        {kLeft, 0.90, 1.50},
        {kRight, 1.53, 2.13},
        {kLeft, 2.17, 2.77},
        {kRight, 2.80, 3.47},
        {kLeft, 3.47, 4.13},
        {kRight, 4.10, 4.33}}},
      {"run_cmu_09_01.bvh",
       {"Thigh", "Shin", "Foot", "Shldr", "ForeArm", "Hand"},
       "r",
       "l",
       "head",
       1,
       2,
       true,
       {{kLeft, 0.03, 0.13}, {kRight, 0.33, 0.47}, {kLeft, 0.70, 0.83}, {kRight, 1.10, 1.20}}},
      {"jump_cmu_13_39.bvh",
       kOwn,
       "Right",
       "Left",
       "Head",
       1,
       4,
       false,
       {{kLeft, 0.03, 1.27}, {kRight, 0.03, 1.27}, {kRight, 1.93, 2.90}, {kLeft, 2.03, 2.90}}},
      {"dance_cmu_05_03.bvh", kOwn, "Right", "Left", "Head", 1, 4, false, {}},
  };
  return takes;
}

/// Imports as `strider import` does; a runner's take as its user would.
inline ImportResult Import(const Take& take, ImportOptions options = {}) {
  if (take.running) {
    options.running = true;
    options.fps = 60;
  }
  ImportResult result;
  std::string cause;
  EXPECT_TRUE(ImportTake(TakePath(take.file), options, {}, result, cause)) << cause;
  return result;
}

/// Of the take's own frames, centimetres: the joints of JointPlaces.
struct TakeJoints {
  std::vector<std::array<Point3, JointPlaces::kCount>> frames;
  double leg = 0;  // hip to knee to ankle

  double Knee(int frame, int side) const {  // degrees between thigh and shin
    const auto& at = frames[static_cast<std::size_t>(frame)];
    const std::size_t first = side == kRight ? 0 : 6;
    const Point3 thigh = Normalized(at[first] - at[first + 1]);
    const Point3 shin = Normalized(at[first + 2] - at[first + 1]);
    return static_cast<double>(Acos(Dot(thigh, shin))) * 180 / kPiD;
  }
};

inline TakeJoints JointsOf(const Take& take) {
  const BvhRead file = ReadBvh(ReadFile(TakePath(take.file)));
  std::vector<std::size_t> joints;
  for (const char* side : {take.right, take.left}) {
    for (const char* name : take.limbs) {
      const int joint = file.Find(std::string(side) + name);
      EXPECT_GE(joint, 0) << side << name;
      joints.push_back(static_cast<std::size_t>(std::max(joint, 0)));
    }
  }
  joints.push_back(static_cast<std::size_t>(std::max(file.Find(take.head), 0)));
  TakeJoints out;
  // The first frame of all of them is a T pose.
  for (std::size_t f = 1; f < file.frames.size(); f += static_cast<std::size_t>(take.thinning)) {
    const auto world = file.Place(f);
    auto& at = out.frames.emplace_back();
    for (std::size_t i = 0; i < joints.size(); ++i) {
      at[i] = static_cast<float>(take.centimetres) * world[joints[i]].first;
    }
  }
  const auto& at = out.frames.front();
  out.leg = static_cast<double>(Length(at[0] - at[1]) + Length(at[1] - at[2]));
  return out;
}

/// Distances of a figure's joints from the take's, per cent of the leg.
struct Distances {
  double mean = 0, high = 0;  // high: 95 of 100 are below
};
inline Distances DistancesOf(const MotionCore& motion, const TakeJoints& joints) {
  MotionCore posed = motion;
  std::vector<double> all;
  for (std::size_t f = 0; f < joints.frames.size(); ++f) {
    CorePose(posed, static_cast<TimeValue>(f) * motion.ticksPerFrame, {});
    const JointPlaces places = PlacesOfFigure(posed);
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      const Point3 off = places.place[i] - joints.frames[f][static_cast<std::size_t>(i)];
      all.push_back(100 * static_cast<double>(Length(off)) / joints.leg);
    }
  }
  std::sort(all.begin(), all.end());
  Distances out;
  for (const double d : all) out.mean += d / static_cast<double>(all.size());
  out.high = all[all.size() * 95 / 100];
  return out;
}

inline std::vector<PoseSample> SampleFrames(const MotionCore& motion, int numFrames) {
  MotionCore posed = motion;
  std::vector<PoseSample> samples;
  for (int f = 0; f < numFrames; ++f) {
    samples.push_back(TakePoseSample(posed, f * motion.ticksPerFrame, {},
                                     samples.empty() ? nullptr : &samples.back()));
  }
  return samples;
}

/// The furthest that the point a foot stands on goes in a frame, of each footstep, per cent of the
/// leg; beside it what the same point of the foot does in another motion of the same frames.
struct Skate {
  int footstep = 0;
  double figure = 0, take = 0;
};
inline std::vector<Skate> SkateOf(const MotionCore& motion, const std::vector<PoseSample>& figure,
                                  const std::vector<PoseSample>& take) {
  std::vector<Skate> all;
  const double unit = 100 / static_cast<double>(motion.leg[kRight].totalLength);
  for (int side = 0; side < 2; ++side) {
    for (const FootstepSpan& span : motion.footsteps.spans[side]) {
      Skate& skate = all.emplace_back();
      skate.footstep = span.footstep;
      for (std::size_t f = 0; f + 1 < figure.size(); ++f) {
        if (figure[f].time < span.start || figure[f + 1].time > span.Lift()) continue;
        const LegSample &from = figure[f].leg[side], &to = figure[f + 1].leg[side];
        const auto way = [&](const Point3& a, const Point3& b) {
          return unit * static_cast<double>(Length(b - a));
        };
        skate.figure = std::max(skate.figure, way(from.pivotPlace, to.earlierPivot));
        const Point3 point = from.pivotPlace * Inverse(from.foot);
        skate.take = std::max(
            skate.take, way(point * take[f].leg[side].foot, point * take[f + 1].leg[side].foot));
      }
    }
  }
  return all;
}

/// How far soles and toes are from how a standing figure has them, in the middle third of each
/// contact, degrees up or down: the median.
inline double TiltOnGround(const MotionCore& motion) {
  const auto rise = [](const Point3& ahead) {
    const double plan = std::hypot(static_cast<double>(ahead.x), static_cast<double>(ahead.z));
    return std::atan2(static_cast<double>(ahead.y), plan) * 57.29578;
  };
  const auto toesOf = [](const LimbRecord& leg) { return leg.digits[0].frame[0].row[0]; };
  MotionCore posed = FigureOf(motion);
  CoreForwardKinematics(posed);
  const double standing[] = {rise(toesOf(posed.leg[0])), rise(toesOf(posed.leg[1]))};
  posed = motion;
  std::vector<double> tilts;
  for (int side = 0; side < 2; ++side) {
    for (const FootstepSpan& span : motion.footsteps.spans[side]) {
      const TimeValue third = span.duration / 3;
      for (TimeValue t = span.start + third; t <= span.Lift() - third; t += motion.ticksPerFrame) {
        CorePose(posed, t, {});
        const LimbRecord& leg = posed.leg[side];
        tilts.push_back(std::fabs(rise(leg.frame[NumLimbLinks(leg) - 1].row[1])));
        if (leg.numDigits > 0) tilts.push_back(std::fabs(rise(toesOf(leg)) - standing[side]));
      }
    }
  }
  const auto middle = tilts.begin() + static_cast<std::ptrdiff_t>(tilts.size() / 2);
  std::nth_element(tilts.begin(), middle, tilts.end());
  return *middle;
}

/// The second difference of the knee's angle less 1.5 times the greatest of the take's within two
/// frames, degrees: the worst.
inline double KneeExcess(const std::vector<PoseSample>& figure, const TakeJoints& joints) {
  const int last = static_cast<int>(joints.frames.size()) - 2;
  double worst = -1e9;
  for (int side = 0; side < 2; ++side) {
    std::vector<double> own{0}, takes{0};
    for (int f = 1; f <= last; ++f) {
      const auto bend = [&](int at) {
        const LegSample& leg = figure[static_cast<std::size_t>(at)].leg[side];
        const Point3 thigh = Normalized(leg.hip - leg.knee),
                     shin = Normalized(leg.ankle - leg.knee);
        return static_cast<double>(Acos(Dot(thigh, shin))) * 180 / kPiD;
      };
      own.push_back(std::fabs(bend(f - 1) - 2 * bend(f) + bend(f + 1)));
      takes.push_back(std::fabs(joints.Knee(f - 1, side) - 2 * joints.Knee(f, side) +
                                joints.Knee(f + 1, side)));
    }
    for (int f = 1; f <= last; ++f) {
      const auto first = takes.begin() + std::max(f - 2, 1);
      const auto end = takes.begin() + std::min(f + 2, last) + 1;
      const double most = *std::max_element(first, end);
      worst = std::max(worst, own[static_cast<std::size_t>(f)] - 1.5 * most);
    }
  }
  return worst;
}

/// Keys of the four limbs and the frames that each of them had.
inline double LimbFactor(const MotionCore& motion, int numFrames) {
  const int keys = motion.arm[0].table.track.numKeys + motion.arm[1].table.track.numKeys +
                   motion.leg[0].table.track.numKeys + motion.leg[1].table.track.numKeys;
  return 4.0 * numFrames / std::max(keys, 1);
}

}  // namespace strider::test
