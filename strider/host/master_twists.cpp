// Twist poses of a figure, as scripts and dialogs edit them: with undo and messages.

#include <new>
#include <utility>

#include "strider/core/twist.h"
#include "strider/host/strider_master.h"

namespace strider {

const TwistPose* StriderMaster::FindTwistPose(int id, int index) const {
  const std::vector<TwistPose>* poses = FindTwistPoses(*core_, id);
  const auto at = static_cast<std::size_t>(index);
  return poses && index >= 0 && at < poses->size() ? &(*poses)[at] : nullptr;
}

/// Says why there is no such pose. False.
bool StriderMaster::TellTwistPose(int id, int index) const {
  const int count = NumTwistPoses(id);
  if (!FindTwistPoses(*core_, id)) {
    Tell(session_.messages, MessageId::kUnknownBodyPart, {std::to_string(id), "0"});
  } else {
    Tell(session_.messages, MessageId::kOutsideLimits,
         {"twist pose", "0", std::to_string(count - 1), std::to_string(index)});
  }
  return false;
}

/// The limb as the scene shows it at its current time.
TwistPose StriderMaster::TwistPoseNow(int id) {
  GetValue(kHorizontal, 0, session_.scene.Time(), nullptr, nullptr, GetMethod::kAbsolute);
  return CurrentTwistPose(*core_, id);
}

template <class Edit>
bool StriderMaster::EditTwistPose(int id, int index, Edit edit) {
  const TwistPose* pose = FindTwistPose(id, index);
  if (!pose) return TellTwistPose(id, index);
  TwistPose changed = *pose;
  edit(changed);
  if (const char* fault = FindFault(changed)) {
    Tell(session_.messages, MessageId::kTwistPoseRefused, {std::to_string(index), fault});
    return false;
  }
  return EditState([&] {
    (*FindTwistPoses(*core_, id))[static_cast<std::size_t>(index)] = std::move(changed);
    return true;
  });
}

int StriderMaster::NumTwistPoses(int id) const {
  const std::vector<TwistPose>* poses = FindTwistPoses(*core_, id);
  return poses ? static_cast<int>(poses->size()) : 0;
}

int StriderMaster::CreateTwistPose(int id) {
  const std::vector<TwistPose>* poses = FindTwistPoses(*core_, id);
  // A figure without arms has their table, but no arm to read a pose from.
  if (!poses || (poses == &core_->armTwistPoses && !core_->structure.arms)) {
    Tell(session_.messages, MessageId::kUnknownBodyPart, {std::to_string(id), "0"});
    return -1;
  }
  const int index = NumTwistPoses(id);
  if (index >= kMaxTwistPoses) {
    Tell(session_.messages, MessageId::kTwistPoseRefused,
         {std::to_string(index), "there is no room for more poses"});
    return -1;
  }
  TwistPose pose = TwistPoseNow(id);
  pose.name = "Pose " + std::to_string(index + 1);
  const bool done = EditState([&] {
    try {
      FindTwistPoses(*core_, id)->push_back(std::move(pose));
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  });
  if (!done) Tell(session_.messages, MessageId::kOutOfMemory);
  return done ? index : -1;
}

bool StriderMaster::SetTwistPose(int id, int index) {
  if (!FindTwistPose(id, index)) return TellTwistPose(id, index);
  const TwistPose now = TwistPoseNow(id);
  return EditTwistPose(id, index, [&](TwistPose& pose) {
    pose.direction = now.direction;
    pose.axis = now.axis;
    pose.referenceVector = now.referenceVector;
    pose.twist = 0;
  });
}

bool StriderMaster::DeleteTwistPose(int id, int index) {
  if (!FindTwistPose(id, index)) return TellTwistPose(id, index);
  return EditState([&] {
    std::vector<TwistPose>& poses = *FindTwistPoses(*core_, id);
    poses.erase(poses.begin() + index);
    return true;
  });
}

bool StriderMaster::SetDefaultTwistPoses(int id) {
  std::vector<TwistPose>* poses = FindTwistPoses(*core_, id);
  if (!poses) return TellTwistPose(id, 0);
  return EditState([&] {
    *poses = poses == &core_->armTwistPoses ? DefaultArmTwistPoses() : DefaultLegTwistPoses();
    return true;
  });
}

bool StriderMaster::SetTwistPoseName(int id, int index, const std::string& name) {
  return EditTwistPose(id, index, [&](TwistPose& pose) { pose.name = name; });
}
bool StriderMaster::SetTwistPoseTwist(int id, int index, float degrees) {
  return EditTwistPose(id, index, [&](TwistPose& pose) { pose.twist = degrees; });
}
bool StriderMaster::SetTwistPoseBias(int id, int index, float bias) {
  return EditTwistPose(id, index, [&](TwistPose& pose) { pose.bias = bias; });
}

std::string StriderMaster::GetTwistPoseName(int id, int index) const {
  const TwistPose* pose = FindTwistPose(id, index);
  return pose ? pose->name : std::string();
}
float StriderMaster::GetTwistPoseTwist(int id, int index) const {
  const TwistPose* pose = FindTwistPose(id, index);
  return pose ? pose->twist : 0;
}
float StriderMaster::GetTwistPoseBias(int id, int index) const {
  const TwistPose* pose = FindTwistPose(id, index);
  return pose ? pose->bias : 0;
}

}  // namespace strider
