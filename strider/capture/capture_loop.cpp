#include "strider/capture/capture_loop.h"

#include <algorithm>

#include "strider/core/evaluate.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

/// A share of the way between two poses of the figure, added to parts of a third.
struct Way {
  float share = 0;

  void Add(Point3& p, const Point3& from, const Point3& to) const { p += share * (to - from); }
  void Add(Quat& q, const Quat& from, const Quat& to) const {
    const Quat turn = OnSideOf(to * Conjugate(from), Quat{});
    q = Normalized(Slerp(Quat{}, turn, share) * q);
  }
  void Add(float& angle, float from, float to) const { angle += share * UnwrapTo(0, to - from); }
  void AddHinge(float& hinge, float from, float to) const {
    const float most = std::max({kPi, hinge, to});
    hinge = std::clamp(hinge + share * (to - from), std::min({0.0f, hinge, to}), most);
  }

  void Add(ChainRecord& chain, const ChainRecord& from, const ChainRecord& to) const {
    for (int k = 0; k < chain.numLinks; ++k) Add(chain.pose[k], from.pose[k], to.pose[k]);
  }
  void Add(DigitKey& digit, const DigitKey& from, const DigitKey& to) const {
    Add(digit.base, from.base, to.base);
    for (int k = 0; k < kMaxDigitLinks; ++k) {
      Add(digit.link[k], from.link[k], to.link[k]);
      Add(digit.bend[k], from.bend[k], to.bend[k]);
    }
  }
  void Add(LimbRecord& limb, const LimbRecord& from, const LimbRecord& to) const {
    LimbPose& pose = limb.pose;
    const auto& angles = from.pose.jointAngles;
    AddHinge(pose.jointAngles[kHinge], angles[kHinge], to.pose.jointAngles[kHinge]);
    for (int i = kHinge + 1; i < kNumJointAngles; ++i) {
      Add(pose.jointAngles[i], angles[i], to.pose.jointAngles[i]);
    }
    Add(pose.limbRotation, from.pose.limbRotation, to.pose.limbRotation);
    Add(pose.endRotation, from.pose.endRotation, to.pose.endRotation);
    for (int i = 0; i < 2; ++i) {
      Add(pose.clavicle[i], from.pose.clavicle[i], to.pose.clavicle[i]);
    }
    for (int d = 0; d < limb.numDigits; ++d) {
      Add(limb.digits[d].pose, from.digits[d].pose, to.digits[d].pose);
    }
  }
};

}  // namespace

void AddDifference(MotionCore& figure, const MotionCore& from, const MotionCore& to, float weight) {
  const Way way{weight};
  way.Add(figure.body.bodyPosition, from.body.bodyPosition, to.body.bodyPosition);
  way.Add(figure.body.bodyRotation, from.body.bodyRotation, to.body.bodyRotation);
  way.Add(figure.pelvis.pose, from.pelvis.pose, to.pelvis.pose);
  way.Add(figure.spine, from.spine, to.spine);
  way.Add(figure.tail, from.tail, to.tail);
  way.Add(figure.neck, from.neck, to.neck);
  for (int i = 0; i < 2; ++i) way.Add(figure.pony[i], from.pony[i], to.pony[i]);
  for (std::size_t i = 0; i < figure.xtras.size(); ++i) {
    way.Add(figure.xtras[i].chain, from.xtras[i].chain, to.xtras[i].chain);
  }
  way.Add(figure.head.pose, from.head.pose, to.head.pose);
  for (int side = 0; side < 2; ++side) {
    way.Add(figure.leg[side], from.leg[side], to.leg[side]);
    way.Add(figure.arm[side], from.arm[side], to.arm[side]);
  }
  CoreForwardKinematics(figure);
}

int FramesBeforeLoop(int loopFrames, int numFrames) {
  return loopFrames <= 0 || numFrames < 2 ? numFrames : std::max(numFrames - loopFrames, 1);
}

LoopBlend::LoopBlend(int loopFrames, int numFrames, const MotionCore& first, const MotionCore& last)
    : lastFrame_(numFrames - 1),
      over_(numFrames - FramesBeforeLoop(loopFrames, numFrames)),
      first_(first),
      last_(last) {}

void LoopBlend::Apply(int frame, MotionCore& posed) const {
  const int into = frame - (lastFrame_ - over_);
  if (into <= 0 || over_ <= 0) return;
  const float u = static_cast<float>(into) / static_cast<float>(over_);
  AddDifference(posed, last_, first_, u * u * (3 - 2 * u));
}

}  // namespace strider
