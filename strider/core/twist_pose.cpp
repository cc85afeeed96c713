#include "strider/core/twist_pose.h"

#include <algorithm>

namespace strider {
namespace {

// Nearer than this a direction is the pose's own: its inverse would leave the others no say.
constexpr float kSameDirection = 1e-9f;
constexpr float kRadiansPerDegree = 0.017453277f;

constexpr Point3 kAhead{1, 0, 0}, kLeftward{0, 1, 0}, kUp{0, 0, 1};

TwistPose Pose(const char* name, const Point3& direction, const Point3& reference) {
  return {name, direction, direction, reference, 0, 0.5f};
}

Point3 TwistedReference(const TwistPose& pose) {
  if (pose.twist == 0) return pose.referenceVector;
  return TransformVector(pose.referenceVector,
                         RotAngleAxisMatrix(pose.axis, pose.twist * kRadiansPerDegree));
}

/// Fourth power, as the square of a square.
float FourthPower(float f) {
  const float square = (5 * f) * (5 * f);
  return square * square / 625;
}

}  // namespace

// The roll axis of an arm points where its elbow bends to: ahead while it hangs, up when it is
// raised ahead. All references but the one overhead are what the shortest turn from the stance
// makes of "ahead". Their parts to the side are zero, so that an arm swung ahead or back has
// exactly no twist.
std::vector<TwistPose> DefaultArmTwistPoses() {
  return {Pose("Hanging", -kUp, kAhead), Pose("Ahead", kAhead, kUp),
          Pose("Aside", -kLeftward, kAhead), Pose("Across", kLeftward, kAhead),
          Pose("Behind", -kAhead, -kUp),
          // Raised ahead, "ahead" has become "back"; raised aside it is still "ahead". An arm
          // overhead folds in over the head, half way between the two. Any such table leaves places
          // where it says nothing; here they lie where no arm reaches, over the far shoulder and
          // high behind the own one.
          Pose("Overhead", kUp, kLeftward)};
}

// A knee bends back: the roll axis of a thigh points back while it stands, down when it is raised.
std::vector<TwistPose> DefaultLegTwistPoses() {
  return {Pose("Standing", -kUp, -kAhead), Pose("Ahead", kAhead, -kUp),
          Pose("Aside", -kLeftward, -kAhead), Pose("Across", kLeftward, -kAhead),
          Pose("Behind", -kAhead, kUp)};
}

const char* FindFault(const TwistPose& pose) {
  if (pose.name.size() > std::size_t{kMaxTwistPoseName}) return "the name is too long";
  const auto hasDirection = [](const Point3& v) { return !(Normalized(v) == Point3{}); };
  if (!hasDirection(pose.direction)) return "the direction has no length";
  if (!hasDirection(pose.axis)) return "the axis has no length";
  if (!hasDirection(pose.referenceVector)) return "the reference has no length";
  if (!IsFinite(pose.twist)) return "the twist is not finite";
  if (!(pose.bias >= 0 && pose.bias <= 1)) return "the bias is outside 0 to 1";
  return nullptr;
}

TwistLookUp LookUpTwist(std::span<const TwistPose> table, const Point3& direction) {
  // In double: a pose close by weighs up to 1e9 times as much as the others.
  double farthest = 0;
  for (const TwistPose& pose : table) {
    const float distance = Length(direction - pose.direction);
    if (distance < kSameDirection) return {TwistedReference(pose), pose.bias};
    farthest = std::max(farthest, static_cast<double>(distance));
  }
  double x = 0, y = 0, z = 0, bias = 0, sum = 0;
  for (const TwistPose& pose : table) {
    const double distance = Length(direction - pose.direction);
    const double weight = table.size() == 1 ? 1 : 1 / distance - 1 / farthest;
    const Point3 reference = TwistedReference(pose);
    x += weight * reference.x;
    y += weight * reference.y;
    z += weight * reference.z;
    bias += weight * pose.bias;
    sum += weight;
  }
  const double scale = sum > 0 ? 1 / sum : 1;
  return {
      {static_cast<float>(x * scale), static_cast<float>(y * scale), static_cast<float>(z * scale)},
      static_cast<float>(bias * scale)};
}

Matrix3 RotAngleAxisMatrix(const Point3& axis, float angle) {
  return UnitFrame(AngleAxis(angle, axis), {});
}

float SignedAngle(const Point3& a, const Point3& b, const Point3& axis) {
  const Point3 p = Normalized(Cross(axis, Cross(a, axis)));
  const Point3 across = Cross(p, b);
  const float y = Length(across);
  return Atan2(Dot(across, axis) > 0 ? -y : y, Dot(p, b));
}

float ShapedTwistFraction(float fraction, float bias) {
  const float f = fraction, b = bias;
  if (b == 0.5f) return f;
  if (b < 0.5f) {
    const float p = FourthPower(f);
    return b == 0 ? p : 2 * b * (f - p) + p;
  }
  const float q = 1 - FourthPower(1 - f);
  return b == 1 ? q : (2 * b - 1) * (q - f) + f;
}

}  // namespace strider
