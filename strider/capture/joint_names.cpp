#include "strider/capture/joint_names.h"

#include <algorithm>
#include <array>
#include <map>

namespace strider {
namespace {

struct NamePair {
  std::string first, second;
};

std::array<NamePair, kNumCaptureJoints> MakeNames() {
  std::array<NamePair, kNumCaptureJoints> names;
  // The joints of both sides follow each other, left first.
  const struct {
    int left;
    const char *first, *second;
  } pairs[] = {
      {kLeftHipJoint, "Hip", "UpLeg"},      {kLeftKneeJoint, "Knee", "LowLeg"},
      {kLeftAnkleJoint, "Ankle", "Foot"},   {kLeftToeJoint, "Toe", ""},
      {kLeftCollarJoint, "Collar", ""},     {kLeftShoulderJoint, "Shoulder", "UpArm"},
      {kLeftElbowJoint, "Elbow", "LowArm"}, {kLeftWristJoint, "Wrist", "Hand"},
  };
  const char* sides[] = {"Left", "Right"};
  for (const auto& pair : pairs) {
    for (int side = 0; side < 2; ++side) {
      const std::string word = sides[side], second = pair.second;
      names[pair.left + side] = {word + pair.first, second.empty() ? "" : word + second};
    }
  }
  names[kHipsJoint].first = "Hips";
  names[kChestJoint].first = "Chest";
  for (int i = 1; i < kNumChestJoints; ++i) {
    names[kChestJoint + i].first = "Chest" + std::to_string(i + 1);
  }
  names[kNeckJoint].first = "Neck";
  names[kHeadJoint].first = "Head";
  for (int side = 0; side < 2; ++side) {
    for (int i = 0; i < 15; ++i) {
      const int joint = (side == 0 ? kLeftFingerJoint : kRightFingerJoint) + i;
      std::string& name = names[joint].first;
      name = std::string(sides[side]) + "Finger" + std::to_string(i / 3);
      if (i % 3 != 0) name += std::to_string(i % 3);
    }
  }
  return names;
}

const std::array<NamePair, kNumCaptureJoints>& Names() {
  static const auto names = MakeNames();
  return names;
}

}  // namespace

const std::string& FirstNameOf(int joint) { return Names()[joint].first; }
std::string_view SecondNameOf(int joint) { return Names()[joint].second; }

int FindCaptureJoint(std::string_view name) {
  static const std::map<std::string_view, int> byName = [] {
    std::map<std::string_view, int> all;
    for (int joint = 0; joint < kNumCaptureJoints; ++joint) {
      all[Names()[joint].first] = joint;
      if (!Names()[joint].second.empty()) all[Names()[joint].second] = joint;
    }
    return all;
  }();
  const auto found = byName.find(name);
  return found == byName.end() ? kNoJoint : found->second;
}

bool IsRequiredJoint(int joint) {
  return (joint >= kLeftHipJoint && joint <= kRightAnkleJoint) ||
         (joint >= kLeftCollarJoint && joint <= kRightWristJoint) || joint == kChestJoint ||
         joint == kNeckJoint || joint == kHeadJoint;
}

int JointAtEndSite(int joint) {
  if (joint == kLeftAnkleJoint) return kLeftToeJoint;
  if (joint == kRightAnkleJoint) return kRightToeJoint;
  if (joint >= kLeftFingerJoint && (joint - kLeftFingerJoint) % 3 != 2) return joint + 1;
  return kNoJoint;
}

}  // namespace strider
