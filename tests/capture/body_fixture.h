// A body of joints as a take has it, moved by curves that no real one has.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "strider/capture/dense_motion.h"
#include "strider/capture/joint_names.h"

namespace strider::test {

struct BodyPlan {
  int chests = 2;
  int collarsOn = 2;   // number of the chest joint that carries the collars, from 1
  bool toes = false;   // joints of their own
  int fingers = 0;     // chains of three on each hand
  bool stick = false;  // the pose of no turns is one straight line up
  float swing = 40;    // largest turn of a joint, degrees
  int frames = 40;
};

/// Y is up, the body faces +Z as takes do; centimetres.
class BodyScene {
 public:
  explicit BodyScene(const BodyPlan& plan, unsigned seed = 1) : plan_(plan), random_(seed) {
    scene.kind = CaptureKind::kJoints;
    scene.numFrames = plan.frames;
    scene.frameTime = 1.0 / 30;
    Joint(kHipsJoint, kNoJoint, {0, 92, 0});
    for (const bool left : {true, false}) Leg(left);
    int chest = kHipsJoint;
    for (int k = 0; k < plan.chests; ++k) {
      Joint(kChestJoint + k, chest,
            {0, k == 0 ? 9.0f : 36.0f / static_cast<float>(plan.chests), -1});
      chest = kChestJoint + k;
    }
    Joint(kNeckJoint, chest, {0, 14, -1});
    Joint(kHeadJoint, kNeckJoint, {0, 11, 2});
    End(kHeadJoint, {0, 19, 0});
    for (const bool left : {true, false}) Arm(left);
    Move();
  }

  CaptureScene scene;

 private:
  void Joint(int id, int parent, Point3 offset) {
    JointRecord& joint = scene.joints[static_cast<std::size_t>(id)];
    joint.present = true;
    joint.parent = parent;
    // A stick has every bone along its joint's own Y, as skeletons of modelling programs may.
    joint.offset = plan_.stick && parent != kNoJoint ? Point3{0, Length(offset), 0} : offset;
    joint.channels = {{CaptureChannel::kRotation, 2},
                      {CaptureChannel::kRotation, 0},
                      {CaptureChannel::kRotation, 1}};
    scene.jointOrder.push_back(id);
  }
  void End(int id, Point3 offset) {
    JointRecord& joint = scene.joints[static_cast<std::size_t>(id)];
    joint.hasEnd = true;
    joint.endOffset = offset;
  }
  void Leg(bool left) {
    const float side = left ? 1.0f : -1.0f;
    const int step = left ? 0 : 1;
    Joint(kLeftHipJoint + step, kHipsJoint, {9 * side, -3, 0});
    Joint(kLeftKneeJoint + step, kLeftHipJoint + step, {0, -41, 0});
    Joint(kLeftAnkleJoint + step, kLeftKneeJoint + step, {0, -39, 0});
    if (plan_.toes) {
      Joint(kLeftToeJoint + step, kLeftAnkleJoint + step, {1 * side, -6, 13});
      End(kLeftToeJoint + step, {0, 0, 6});
    } else {
      End(kLeftAnkleJoint + step, {1 * side, -6, 13});
    }
  }
  void Arm(bool left) {
    const float side = left ? 1.0f : -1.0f;
    const int step = left ? 0 : 1;
    Joint(kLeftCollarJoint + step, kChestJoint + plan_.collarsOn - 1, {3 * side, 10, 0});
    Joint(kLeftShoulderJoint + step, kLeftCollarJoint + step, {14 * side, 0, 0});
    Joint(kLeftElbowJoint + step, kLeftShoulderJoint + step, {29 * side, 0, 0});
    Joint(kLeftWristJoint + step, kLeftElbowJoint + step, {25 * side, 0, 0});
    const int first = left ? kLeftFingerJoint : kRightFingerJoint;
    for (int f = 0; f < plan_.fingers; ++f) {
      const float across = 3 - 2 * static_cast<float>(f);
      for (int k = 0; k < 3; ++k) {
        Joint(first + 3 * f + k, k == 0 ? kLeftWristJoint + step : first + 3 * f + k - 1,
              k == 0 ? Point3{9 * side, 0, across} : Point3{3 * side, 0, 0});
      }
      End(first + 3 * f + 2, {2 * side, 0, 0});
    }
  }
  void Move() {
    std::uniform_real_distribution<float> any(-1, 1);
    for (const int id : scene.jointOrder) {
      JointRecord& joint = scene.joints[static_cast<std::size_t>(id)];
      float size[3], rate[3], start[3];
      for (int a = 0; a < 3; ++a) {
        size[a] = plan_.swing * any(random_);
        rate[a] = 0.1f + 0.1f * std::fabs(any(random_));
        start[a] = 3 * any(random_);
      }
      for (int f = 0; f < plan_.frames; ++f) {
        Point3 turn;
        for (int a = 0; a < 3; ++a) {
          turn[a] = size[a] * std::sin(rate[a] * static_cast<float>(f) + start[a]);
        }
        joint.rotations.samples.push_back(turn);
        if (id == kHipsJoint) {
          joint.positions.samples.push_back({0.5f * static_cast<float>(f), 0, 0});
        }
      }
    }
  }

  BodyPlan plan_;
  std::mt19937 random_;
};

inline DenseMotion Fitted(const CaptureScene& scene, const DenseSettings& settings = {}) {
  DenseMotion dense;
  std::string cause;
  EXPECT_EQ(MakeDenseMotion(scene, settings, dense, cause), kDone) << cause;
  return dense;
}

}  // namespace strider::test
