#include "strider/capture/name_sets.h"

#include <algorithm>
#include <set>

#include "strider/capture/joint_names.h"

namespace strider {
namespace {

constexpr int kChest2 = kChestJoint + 1, kChest3 = kChestJoint + 2, kChest4 = kChestJoint + 3,
              kChest5 = kChestJoint + 4;

constexpr SetName kOwn[] = {
    {kLeftHipJoint, "%Hip"},
    {kLeftHipJoint, "%UpLeg"},
    {kLeftKneeJoint, "%Knee"},
    {kLeftKneeJoint, "%LowLeg"},
    {kLeftAnkleJoint, "%Ankle"},
    {kLeftAnkleJoint, "%Foot"},
    {kLeftToeJoint, "%Toe"},
    {kLeftCollarJoint, "%Collar"},
    {kLeftShoulderJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%UpArm"},
    {kLeftElbowJoint, "%Elbow"},
    {kLeftElbowJoint, "%LowArm"},
    {kLeftWristJoint, "%Wrist"},
    {kLeftWristJoint, "%Hand"},
    {kHipsJoint, "Hips"},
    {kChestJoint, "Chest"},
    {kChest2, "Chest2"},
    {kChest3, "Chest3"},
    {kChest4, "Chest4"},
    {kChest5, "Chest5"},
    {kChest5 + 1, "Chest6"},
    {kChest5 + 2, "Chest7"},
    {kChest5 + 3, "Chest8"},
    {kNeckJoint, "Neck"},
    {kHeadJoint, "Head"},
};
constexpr SetName kCmu[] = {
    {kHipsJoint, "Hips"},
    {kChestJoint, "LowerBack"},
    {kChest2, "Spine"},
    {kChest3, "Spine1"},
    {kChest4, "Neck"},
    {kNeckJoint, "Neck1"},
    {kHeadJoint, "Head"},
    {kLeftHipJoint, "%UpLeg"},
    {kLeftKneeJoint, "%Leg"},
    {kLeftAnkleJoint, "%Foot"},
    {kLeftToeJoint, "%ToeBase"},
    {kLeftCollarJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%Arm"},
    {kLeftElbowJoint, "%ForeArm"},
    {kLeftWristJoint, "%Hand"},
};
constexpr SetName kFigure[] = {
    {kHipsJoint, "hip"},           {kChestJoint, "abdomen"},       {kChest2, "chest"},
    {kNeckJoint, "neck"},          {kHeadJoint, "head"},           {kLeftHipJoint, "%Thigh"},
    {kLeftKneeJoint, "%Shin"},     {kLeftAnkleJoint, "%Foot"},     {kLeftToeJoint, "%Toe"},
    {kLeftCollarJoint, "%Collar"}, {kLeftShoulderJoint, "%Shldr"}, {kLeftElbowJoint, "%ForeArm"},
    {kLeftWristJoint, "%Hand"},
};
constexpr SetName kXsens[] = {
    {kHipsJoint, "Pelvis"},
    {kHipsJoint, "Hips"},
    {kChestJoint, "L5"},
    {kChestJoint, "Chest"},
    {kChest2, "L3"},
    {kChest2, "Chest2"},
    {kChest3, "T12"},
    {kChest3, "Chest3"},
    {kChest4, "T8"},
    {kChest4, "Chest4"},
    {kNeckJoint, "Neck"},
    {kHeadJoint, "Head"},
    {kLeftHipJoint, "%UpperLeg"},
    {kLeftHipJoint, "%Hip"},
    {kLeftKneeJoint, "%LowerLeg"},
    {kLeftKneeJoint, "%Knee"},
    {kLeftAnkleJoint, "%Foot"},
    {kLeftAnkleJoint, "%Ankle"},
    {kLeftToeJoint, "%Toe"},
    {kLeftCollarJoint, "%Collar"},
    {kLeftShoulderJoint, "%UpperArm"},
    {kLeftElbowJoint, "%ForeArm"},
    {kLeftElbowJoint, "%Elbow"},
    {kLeftWristJoint, "%Hand"},
    {kLeftWristJoint, "%Wrist"},
    {kLeftCollarJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%Shoulder"},
};
constexpr SetName kMixamo[] = {
    {kHipsJoint, "Hips"},         {kChestJoint, "Spine"},        {kChest2, "Spine1"},
    {kChest3, "Spine2"},          {kNeckJoint, "Neck"},          {kHeadJoint, "Head"},
    {kLeftHipJoint, "%UpLeg"},    {kLeftKneeJoint, "%Leg"},      {kLeftAnkleJoint, "%Foot"},
    {kLeftToeJoint, "%ToeBase"},  {kLeftToeJoint, "%Toe"},       {kLeftCollarJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%Arm"}, {kLeftElbowJoint, "%ForeArm"}, {kLeftWristJoint, "%Hand"},
};
constexpr SetName kNoitom[] = {
    {kHipsJoint, "Hips"},
    {kChestJoint, "Spine"},
    {kChest2, "Spine1"},
    {kChest3, "Spine2"},
    {kChest4, "Spine3"},
    {kNeckJoint, "Neck"},
    {kHeadJoint, "Head"},
    {kLeftHipJoint, "%UpLeg"},
    {kLeftKneeJoint, "%Leg"},
    {kLeftAnkleJoint, "%Foot"},
    {kLeftCollarJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%Arm"},
    {kLeftElbowJoint, "%ForeArm"},
    {kLeftWristJoint, "%Hand"},
};
constexpr SetName kHumanoid[] = {
    {kHipsJoint, "Hips"},
    {kChestJoint, "Spine"},
    {kChest2, "Chest"},
    {kChest3, "UpperChest"},
    {kNeckJoint, "Neck"},
    {kHeadJoint, "Head"},
    {kLeftHipJoint, "%UpperLeg"},
    {kLeftKneeJoint, "%LowerLeg"},
    {kLeftAnkleJoint, "%Foot"},
    {kLeftToeJoint, "%Toes"},
    {kLeftToeJoint, "%ToeBase"},
    {kLeftCollarJoint, "%Shoulder"},
    {kLeftShoulderJoint, "%UpperArm"},
    {kLeftElbowJoint, "%LowerArm"},
    {kLeftWristJoint, "%Hand"},
};
constexpr SetName kSmpl[] = {
    {kHipsJoint, "Pelvis"},
    {kChestJoint, "Spine1"},
    {kChest2, "Spine2"},
    {kChest3, "Spine3"},
    {kNeckJoint, "Neck"},
    {kHeadJoint, "Head"},
    {kLeftHipJoint, "%_Hip"},
    {kLeftKneeJoint, "%_Knee"},
    {kLeftAnkleJoint, "%_Ankle"},
    {kLeftToeJoint, "%_Foot"},
    {kLeftToeJoint, "%_Toe"},
    {kLeftCollarJoint, "%_Collar"},
    {kLeftShoulderJoint, "%_Shoulder"},
    {kLeftElbowJoint, "%_Elbow"},
    {kLeftWristJoint, "%_Wrist"},
};
constexpr SetName kSmplWords[] = {
    {kHipsJoint, "pelvis"},
    {kChestJoint, "spine1"},
    {kChest2, "spine2"},
    {kChest3, "spine3"},
    {kNeckJoint, "neck"},
    {kHeadJoint, "head"},
    {kLeftHipJoint, "%_hip"},
    {kLeftKneeJoint, "%_knee"},
    {kLeftAnkleJoint, "%_ankle"},
    {kLeftToeJoint, "%_foot"},
    {kLeftCollarJoint, "%_collar"},
    {kLeftShoulderJoint, "%_shoulder"},
    {kLeftElbowJoint, "%_elbow"},
    {kLeftWristJoint, "%_wrist"},
};
constexpr SetName kSuffixed[] = {
    {kHipsJoint, "pelvis"},
    {kChestJoint, "spine_01"},
    {kChest2, "spine_02"},
    {kChest3, "spine_03"},
    {kChest4, "spine_04"},
    {kChest5, "spine_05"},
    {kNeckJoint, "neck_01"},
    {kHeadJoint, "head"},
    {kLeftHipJoint, "thigh_%"},
    {kLeftKneeJoint, "calf_%"},
    {kLeftAnkleJoint, "foot_%"},
    {kLeftToeJoint, "ball_%"},
    {kLeftCollarJoint, "clavicle_%"},
    {kLeftShoulderJoint, "upperarm_%"},
    {kLeftElbowJoint, "lowerarm_%"},
    {kLeftWristJoint, "hand_%"},
};
constexpr SetName kDotted[] = {
    {kHipsJoint, "hips"},
    {kChestJoint, "spine"},
    {kChest2, "chest"},
    {kChest3, "chest.001"},
    {kNeckJoint, "neck"},
    {kHeadJoint, "head"},
    {kLeftHipJoint, "thigh.%"},
    {kLeftKneeJoint, "shin.%"},
    {kLeftAnkleJoint, "foot.%"},
    {kLeftToeJoint, "toe.%"},
    {kLeftCollarJoint, "shoulder.%"},
    {kLeftShoulderJoint, "upper_arm.%"},
    {kLeftElbowJoint, "forearm.%"},
    {kLeftWristJoint, "hand.%"},
};

constexpr NameSet kSets[] = {
    {"own",
     "LeftHip or LeftUpLeg, Chest, Chest2",
     "Left",
     "Right",
     kOwn,
     "%Finger*#",
     {"0", "1", "2", "3", "4"}},
    {"cmu", "LeftUpLeg, LowerBack, Neck1", "Left", "Right", kCmu, "", {}},
    {"figure",
     "lThigh, abdomen, lShldr",
     "l",
     "r",
     kFigure,
     "%*#",
     {"Thumb", "Index", "Mid", "Ring", "Pinky"}},
    {"mixamo",
     "LeftUpLeg, Spine, Spine1; also with mixamorig:",
     "Left",
     "Right",
     kMixamo,
     "%Hand*#",
     {"Thumb", "Index", "Middle", "Ring", "Pinky"}},
    {"noitom",
     "RightUpLeg, Spine to Spine3, RightHandThumb1",
     "Left",
     "Right",
     kNoitom,
     "%Hand*#",
     {"Thumb", "Index", "Middle", "Ring", "Pinky"}},
    {"xsens", "LeftUpperLeg, L5, T12", "Left", "Right", kXsens, "", {}},
    {"humanoid", "LeftUpperLeg, LeftLowerLeg, UpperChest", "Left", "Right", kHumanoid, "", {}},
    {"smpl", "L_Hip, Spine1, L_Collar", "L", "R", kSmpl, "", {}},
    {"smpl-words",
     "left_hip, spine1, left_collar",
     "left",
     "right",
     kSmplWords,
     "%_*#",
     {"thumb", "index", "middle", "ring", "pinky"}},
    {"suffixed",
     "thigh_l, spine_01, clavicle_l",
     "l",
     "r",
     kSuffixed,
     "*_0#_%",
     {"thumb", "index", "middle", "ring", "pinky"}},
    {"dotted",
     "thigh.L, shin.L, upper_arm.L",
     "L",
     "R",
     kDotted,
     "*.0#.%",
     {"thumb", "f_index", "f_middle", "f_ring", "f_pinky"}},
};

std::string Replaced(std::string_view pattern, char mark, std::string_view word) {
  std::string text(pattern);
  const std::size_t at = text.find(mark);
  if (at != std::string::npos) text.replace(at, 1, word);
  return text;
}

/// A joint and one name that it may have.
struct Pair {
  int joint;
  std::string name;
};

std::vector<Pair> PairsOf(const NameSet& set) {
  std::vector<Pair> pairs;
  for (const SetName& row : set.names) {
    const bool sided = row.name.find('%') != std::string_view::npos;
    pairs.push_back({row.joint, Replaced(row.name, '%', set.left)});
    if (sided) pairs.push_back({row.joint + 1, Replaced(row.name, '%', set.right)});
  }
  if (set.finger.empty()) return pairs;
  const bool own = &set == &kSets[0];  // which counts links from an unwritten 0
  for (int side = 0; side < 2; ++side) {
    const std::string sided = Replaced(set.finger, '%', side == 0 ? set.left : set.right);
    for (int i = 0; i < 15; ++i) {
      const std::string number = std::to_string(own ? i % 3 : i % 3 + 1);
      const std::string finger = Replaced(sided, '*', set.fingers[i / 3]);
      pairs.push_back({(side == 0 ? kLeftFingerJoint : kRightFingerJoint) + i,
                       Replaced(finger, '#', own && i % 3 == 0 ? "" : number)});
    }
  }
  return pairs;
}

/// What may stand before each name: nothing, what all begin with, what the first has up to a colon.
std::set<std::string> PrefixesOf(std::span<const std::string> names) {
  std::set<std::string> prefixes = {""};
  if (names.empty()) return prefixes;
  std::string_view common = names.front();
  for (const std::string& name : names) {
    const auto end = std::mismatch(common.begin(), common.end(), name.begin(), name.end()).first;
    common = common.substr(0, static_cast<std::size_t>(end - common.begin()));
    const std::size_t colon = name.rfind(':');
    constexpr std::size_t kMostPrefixes = 8;
    if (colon != std::string::npos && prefixes.size() < kMostPrefixes) {
      prefixes.insert(name.substr(0, colon + 1));
    }
  }
  const std::size_t end = common.find_last_of("_:. ");
  if (end != std::string_view::npos) prefixes.emplace(common.substr(0, end + 1));
  return prefixes;
}

NameGuess Fit(const NameSet& set, const std::vector<Pair>& pairs,
              const std::set<std::string_view>& names, const std::string& prefix) {
  NameGuess guess;
  guess.set = &set;
  guess.prefix = prefix;
  for (const Pair& pair : pairs) {
    std::string& row = guess.table.rows[static_cast<std::size_t>(pair.joint)];
    const std::string name = prefix + pair.name;
    if (!row.empty() || !names.contains(name) || guess.table.Find(name) >= 0) continue;
    row = name;
    ++guess.matched;
  }
  for (int joint = 0; joint < kNumCaptureJoints; ++joint) {
    if (IsRequiredJoint(joint) && guess.table.rows[static_cast<std::size_t>(joint)].empty()) {
      guess.missing.push_back(FirstNameOf(joint));
    }
  }
  return guess;
}

bool Better(const NameGuess& a, const NameGuess& b) {
  if (b.set == nullptr || a.missing.size() < b.missing.size()) return true;
  return a.missing.size() == b.missing.size() && a.matched > b.matched;
}

}  // namespace

std::span<const NameSet> NameSets() { return kSets; }

const NameSet* FindNameSet(std::string_view name) {
  for (const NameSet& set : kSets) {
    if (set.name == name) return &set;
  }
  return nullptr;
}

NameGuess FitNameSet(const NameSet& set, std::span<const std::string> namesInFile) {
  const std::set<std::string_view> names(namesInFile.begin(), namesInFile.end());
  const std::vector<Pair> pairs = PairsOf(set);
  NameGuess best;
  for (const std::string& prefix : PrefixesOf(namesInFile)) {
    NameGuess guess = Fit(set, pairs, names, prefix);
    if (Better(guess, best)) best = std::move(guess);
  }
  return best;
}

NameGuess GuessNameSet(std::span<const std::string> namesInFile) {
  NameGuess best;
  for (const NameSet& set : kSets) {
    NameGuess guess = FitNameSet(set, namesInFile);
    if (Better(guess, best)) best = std::move(guess);
  }
  return best;
}

}  // namespace strider
