#include "strider/capture/take_guess.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "strider/base/trig.h"
#include "strider/capture/capture_pose.h"
#include "strider/capture/marker_names.h"
#include "strider/capture/marker_reader.h"
#include "strider/capture/thin.h"

namespace strider {
namespace {

double LengthOf(const Place3& p) { return std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z); }
double DotOf(const Place3& a, const Place3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Place3 Half(const Place3& a) { return {a.x / 2, a.y / 2, a.z / 2}; }
/// 0 where either has no length.
double CosineOf(const Place3& a, const Place3& b) {
  const double lengths = LengthOf(a) * LengthOf(b);
  return lengths > 0 ? DotOf(a, b) / lengths : 0;
}

bool Has(const CaptureScene& scene, std::initializer_list<int> joints) {
  return std::all_of(joints.begin(), joints.end(), [&scene](int joint) {
    return scene.joints[static_cast<std::size_t>(joint)].present;
  });
}
const Place3& At(const CapturePose& pose, int joint) {
  return pose.place[static_cast<std::size_t>(joint)];
}

/// The first of some markers that has a place in a frame.
std::optional<Place3> MarkerAt(const CaptureScene& scene, int frame,
                               std::initializer_list<int> markers) {
  for (const int i : markers) {
    const CaptureSamples& samples = scene.markers[static_cast<std::size_t>(i)].positions;
    if (frame >= samples.Count()) continue;
    const Point3& place = samples.samples[static_cast<std::size_t>(frame)];
    if (place.x != kDroppedMarker) return ToPlace(place);
  }
  return std::nullopt;
}

/// Way over places one after another; none where one is missing.
std::optional<double> WayOver(std::initializer_list<std::optional<Place3>> places) {
  double way = 0;
  const std::optional<Place3>* before = nullptr;
  for (const auto& place : places) {
    if (!place) return std::nullopt;
    if (before != nullptr) way += LengthOf(*place - **before);
    before = &place;
  }
  return way;
}

/// Hip to ankle over the knee, of joints the mean of both legs.
double LegOfJoints(const CaptureScene& scene, int frame) {
  if (!Has(scene, {kLeftHipJoint, kLeftKneeJoint, kLeftAnkleJoint, kRightHipJoint, kRightKneeJoint,
                   kRightAnkleJoint})) {
    return 0;
  }
  const CapturePose pose = PoseOfCapture(scene, frame);
  double way = 0;
  for (int side = 0; side < 2; ++side) {
    const auto joint = [&](int left) { return At(pose, left + side); };
    way += LengthOf(joint(kLeftKneeJoint) - joint(kLeftHipJoint)) +
           LengthOf(joint(kLeftAnkleJoint) - joint(kLeftKneeJoint));
  }
  return way / 2;
}

/// A person's height over the way from hip joint to ankle, and from the waist's markers.
constexpr double kHeightOfLeg = 1 / 0.491, kHeightOfWaist = 1 / 0.55;

double HeightInUnits(const CaptureScene& scene) {
  if (scene.kind == CaptureKind::kJoints) {
    // The first frame may be a pose without places.
    return kHeightOfLeg * LegOfJoints(scene, std::min(1, scene.numFrames - 1));
  }
  for (int f = 0; f < scene.numFrames; ++f) {
    const auto left = WayOver({MarkerAt(scene, f, {kLFWT, kLBWT}), MarkerAt(scene, f, {kLKNE}),
                               MarkerAt(scene, f, {kLANK})});
    const auto right = WayOver({MarkerAt(scene, f, {kRFWT, kRBWT}), MarkerAt(scene, f, {kRKNE}),
                                MarkerAt(scene, f, {kRANK})});
    if (left && right) return kHeightOfWaist * (*left + *right) / 2;
    if (left || right) return kHeightOfWaist * (left ? *left : *right);
  }
  return 0;
}

/// From the feet to the head, or as far up as the take shows.
std::optional<Place3> FeetToHead(const CaptureScene& scene, int frame) {
  if (scene.kind == CaptureKind::kJoints) {
    if (!Has(scene, {kLeftAnkleJoint, kRightAnkleJoint, kHeadJoint})) return std::nullopt;
    const CapturePose pose = PoseOfCapture(scene, frame);
    return At(pose, kHeadJoint) - Half(At(pose, kLeftAnkleJoint) + At(pose, kRightAnkleJoint));
  }
  const auto left = MarkerAt(scene, frame, {kLANK}), right = MarkerAt(scene, frame, {kRANK});
  const auto top = MarkerAt(
      scene, frame,
      {kLFHD, kRFHD, kLBHD, kRBHD, kCLAV, kLSHO, kRSHO, kSTRN, kT10, kLFWT, kRFWT, kLBWT, kRBWT});
  if (!left || !right || !top) return std::nullopt;
  return *top - Half(*left + *right);
}

UpGuess UpOf(const Place3& feetToHead) {
  const double way[3] = {feetToHead.x, feetToHead.y, feetToHead.z};
  UpGuess guess;
  const double length = LengthOf(feetToHead);
  if (!(length > 0)) return guess;
  for (int axis = 0; axis < 3; ++axis) {
    if (std::abs(way[axis]) > std::abs(way[guess.axis])) guess.axis = axis;
  }
  guess.downwards = way[guess.axis] < 0;
  guess.certainty = static_cast<float>(std::abs(way[guess.axis]) / length);
  return guess;
}

/// The take's axis that became an axis of the core.
int AxisOfFile(int coreAxis, int upVector) {
  constexpr int kAxes[3][3] = {{1, 0, 2}, {0, 1, 2}, {0, 2, 1}};
  return kAxes[std::clamp(upVector, 0, 2)][coreAxis];
}

bool IsTPose(const CapturePose& pose) {
  const Place3 across = At(pose, kRightShoulderJoint) - At(pose, kLeftShoulderJoint);
  const Place3 up = At(pose, kHeadJoint) - Half(At(pose, kLeftHipJoint) + At(pose, kRightHipJoint));
  constexpr double kAlong = 0.87;      // within 30 degrees
  constexpr double kStretched = 0.95;  // of the limb's length
  const auto stretched = [&](int a, int b, int c, const Place3& way) {
    const Place3 whole = At(pose, c) - At(pose, a);
    const double length = LengthOf(At(pose, b) - At(pose, a)) + LengthOf(At(pose, c) - At(pose, b));
    return LengthOf(whole) >= kStretched * length && CosineOf(whole, way) >= kAlong;
  };
  const Place3 left = Place3{} - across, down = Place3{} - up;
  return stretched(kRightShoulderJoint, kRightElbowJoint, kRightWristJoint, across) &&
         stretched(kLeftShoulderJoint, kLeftElbowJoint, kLeftWristJoint, left) &&
         stretched(kRightHipJoint, kRightKneeJoint, kRightAnkleJoint, down) &&
         stretched(kLeftHipJoint, kLeftKneeJoint, kLeftAnkleJoint, down);
}

bool IsRestPose(const CaptureScene& scene) {
  constexpr float kStill = 0.01f;  // degrees
  for (const int joint : scene.jointOrder) {
    const JointRecord& record = scene.joints[static_cast<std::size_t>(joint)];
    if (record.parent == kNoJoint || record.rotations.Count() == 0) continue;
    const Point3& angles = record.rotations.samples[0];
    if (!(std::abs(angles.x) + std::abs(angles.y) + std::abs(angles.z) <= kStill)) return false;
  }
  return true;
}

/// How far a joint turns between two of its turns, degrees.
double DegreesBetween(const Turn3& a, const Turn3& b) {
  double trace = 0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) trace += a.m[i][j] * b.m[i][j];
  }
  return AcosD(std::clamp((trace - 1) / 2, -1.0, 1.0)) * 180 / kPiD;
}

/// Whether a joint turns much farther from frame 0 to 1 than in the frames behind. Each joint is
/// asked by itself: converters smooth some joints over the first frames and leave others.
bool JumpsAtStart(const JointRecord& joint, int numFrames) {
  constexpr int kLooks = 10;
  constexpr double kTimesUsual = 3, kLeast = 2;  // degrees
  double jump = 0, usual = 0;
  Turn3 before = LocalTurn(joint, 0);
  for (int f = 1; f < std::min(numFrames, kLooks); ++f) {
    const Turn3 turn = LocalTurn(joint, f);
    const double step = DegreesBetween(before, turn);
    (f == 1 ? jump : usual) = std::max(f == 1 ? jump : usual, step);
    before = turn;
  }
  return jump > kTimesUsual * usual && jump > kLeast;
}

}  // namespace

UnitGuess GuessUnit(const CaptureScene& scene) {
  // Centimetres first: they are taken where they make a person. The fourth is the unit of a large
  // public collection, an inch over 0.45.
  static constexpr UnitGuess kUnits[] = {
      {0.01, "cm"},     {1, "m"},   {0.001, "mm"}, {0.0254, "inch"}, {0.056444, "5.6444 cm"},
      {0.3048, "foot"}, {0.1, "dm"}};
  constexpr double kSmallest = 1.0, kTallest = 2.2, kUsual = 1.7;
  const double units = HeightInUnits(scene);
  UnitGuess best;
  if (!(units > 0)) return best;
  double bestAway = HUGE_VAL;
  for (UnitGuess guess : kUnits) {
    guess.height = units * guess.metresPerUnit;
    guess.plausible = guess.height >= kSmallest && guess.height <= kTallest;
    const double away = std::max(guess.height / kUsual, kUsual / guess.height);
    if ((guess.plausible && !best.plausible) ||
        (guess.plausible == best.plausible && away < bestAway)) {
      best = guess;
      bestAway = away;
    }
    if (best.plausible && best.metresPerUnit == kUnits[0].metresPerUnit) break;
  }
  return best;
}

UpGuess GuessUpAxis(const CaptureScene& scene, int upVector) {
  constexpr int kLooks = 10;
  constexpr float kClear = 0.8f;
  const double second = scene.frameTime > 0 ? 1 / scene.frameTime / scene.thinning : kLooks;
  const int frames = std::min(scene.numFrames, static_cast<int>(std::clamp(second, 1.0, 1e4)));
  Place3 sum;
  for (int i = 0; i < kLooks && frames > 0; ++i) {
    const auto way = FeetToHead(scene, i * frames / kLooks);
    if (way) sum = sum + *way;
  }
  UpGuess guess = UpOf(sum);
  if (scene.kind != CaptureKind::kJoints) {
    guess.axis = AxisOfFile(guess.axis, upVector);
    if (guess.axis == kUpIsY && upVector != kUpIsY) guess.downwards = !guess.downwards;  // -Y there
    return guess;
  }
  if (guess.certainty >= kClear) return guess;
  CaptureScene rest;
  rest.kind = CaptureKind::kJoints;
  rest.jointOrder = scene.jointOrder;
  for (const int joint : scene.jointOrder) {
    JointRecord& record = rest.joints[static_cast<std::size_t>(joint)];
    const JointRecord& own = scene.joints[static_cast<std::size_t>(joint)];
    record.present = own.present;
    record.parent = own.parent;
    record.offset = own.offset;
  }
  const auto way = FeetToHead(rest, 0);
  const UpGuess ofRest = way ? UpOf(*way) : UpGuess{};
  return ofRest.certainty > guess.certainty ? ofRest : guess;
}

bool FirstFrameStandsAlone(const CaptureScene& scene) {
  if (scene.kind != CaptureKind::kJoints || scene.numFrames < 3) return false;
  if (!IsTPose(PoseOfCapture(scene, 0)) && !IsRestPose(scene)) return false;
  return std::any_of(scene.jointOrder.begin(), scene.jointOrder.end(), [&scene](int joint) {
    return JumpsAtStart(scene.joints[static_cast<std::size_t>(joint)], scene.numFrames);
  });
}

SceneRate SceneRateAt(double frameTime, double rate) {
  SceneRate scene;
  const double ticks = std::floor(kTicksPerSecond / std::clamp(rate, 1e-3, 1e4) + 0.5);
  scene.ticksPerFrame = static_cast<TimeValue>(std::max(1.0, ticks));
  scene.rate = static_cast<double>(kTicksPerSecond) / scene.ticksPerFrame;
  scene.thinning = ThinningFor(frameTime, scene.ticksPerFrame);
  if (frameTime > 0) scene.speedChange = 100 * (scene.thinning * frameTime * scene.rate - 1);
  // What frame times of a few decimals leave.
  constexpr double kNoChange = 0.01;
  if (std::abs(scene.speedChange) < kNoChange) scene.speedChange = 0;
  return scene;
}

SceneRate GuessSceneRate(double frameTime) {
  constexpr int kSlowest = 15, kFastest = 60, kUsual = 30;
  constexpr double kWhole = 0.6;  // per cent: 29.97 is 30, and 0.0083 s is 120 a second
  SceneRate best = SceneRateAt(frameTime, kUsual);
  const auto away = [](const SceneRate& r) { return std::abs(r.rate - kUsual); };
  const auto change = [](const SceneRate& r) { return std::abs(r.speedChange); };
  for (int rate = kSlowest; rate <= kFastest; ++rate) {
    if (kTicksPerSecond % rate != 0) continue;
    const SceneRate scene = SceneRateAt(frameTime, rate);
    const bool whole = change(scene) <= kWhole, bestWhole = change(best) <= kWhole;
    constexpr double kSame = 1e-9;
    const bool better = whole && bestWhole   ? away(scene) < away(best)
                        : whole != bestWhole ? whole
                                             : change(scene) < change(best) - kSame;
    if (better) best = scene;
  }
  return best;
}

}  // namespace strider
