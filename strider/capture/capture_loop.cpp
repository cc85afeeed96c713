#include "strider/capture/capture_loop.h"

#include <algorithm>

#include "strider/core/evaluate.h"

namespace strider {
namespace {

Quat Mixed(const Quat& a, const Quat& b, float u) {
  return Normalized(Slerp(a, OnSideOf(b, a), u));
}
float Mixed(float a, float b, float u) { return a + u * (b - a); }

void BlendChain(ChainRecord& chain, const ChainRecord& other, float u) {
  for (int k = 0; k < chain.numLinks; ++k) chain.pose[k] = Mixed(chain.pose[k], other.pose[k], u);
}

void BlendDigit(DigitKey& digit, const DigitKey& other, float u) {
  digit.base = Mixed(digit.base, other.base, u);
  for (int k = 0; k < kMaxDigitLinks; ++k) {
    digit.link[k] = Mixed(digit.link[k], other.link[k], u);
    digit.bend[k] = Mixed(digit.bend[k], other.bend[k], u);
  }
}

void BlendLimb(LimbRecord& limb, const LimbRecord& other, float u) {
  LimbPose& pose = limb.pose;
  for (int i = 0; i < kNumJointAngles; ++i) {
    pose.jointAngles[i] = Mixed(pose.jointAngles[i], other.pose.jointAngles[i], u);
  }
  pose.limbRotation = Mixed(pose.limbRotation, other.pose.limbRotation, u);
  pose.endRotation = Mixed(pose.endRotation, other.pose.endRotation, u);
  for (int i = 0; i < 2; ++i) {
    pose.clavicle[i] = Mixed(pose.clavicle[i], other.pose.clavicle[i], u);
  }
  for (int d = 0; d < limb.numDigits; ++d) {
    BlendDigit(limb.digits[d].pose, other.digits[d].pose, u);
  }
}

}  // namespace

void BlendPose(MotionCore& figure, const MotionCore& other, float weight) {
  BodyRecord& body = figure.body;
  body.bodyPosition = Lerp(body.bodyPosition, other.body.bodyPosition, weight);
  body.bodyRotation = Mixed(body.bodyRotation, other.body.bodyRotation, weight);
  figure.pelvis.pose = Mixed(figure.pelvis.pose, other.pelvis.pose, weight);
  BlendChain(figure.spine, other.spine, weight);
  BlendChain(figure.tail, other.tail, weight);
  BlendChain(figure.neck, other.neck, weight);
  for (int i = 0; i < 2; ++i) BlendChain(figure.pony[i], other.pony[i], weight);
  for (std::size_t i = 0; i < figure.xtras.size(); ++i) {
    BlendChain(figure.xtras[i].chain, other.xtras[i].chain, weight);
  }
  figure.head.pose = Mixed(figure.head.pose, other.head.pose, weight);
  for (int side = 0; side < 2; ++side) {
    BlendLimb(figure.leg[side], other.leg[side], weight);
    BlendLimb(figure.arm[side], other.arm[side], weight);
  }
  CoreForwardKinematics(figure);
}

void LoopBlend::Apply(int frame, MotionCore& posed) {
  if (loopFrames_ <= 0 || numFrames_ < 2) return;
  if (frame == 0) {
    first_ = std::make_unique<MotionCore>(posed);
    return;
  }
  const int over = std::min(loopFrames_, numFrames_ - 1);
  const int into = frame - (numFrames_ - 1 - over);
  if (into <= 0) return;
  const float u = static_cast<float>(into) / static_cast<float>(over);
  // SolvePose sets every part anew at the next frame, so that nothing of the mix stays behind.
  BlendPose(posed, *first_, u * u * (3 - 2 * u));
}

}  // namespace strider
