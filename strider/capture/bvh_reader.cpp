#include "strider/capture/bvh_reader.h"

#include <cmath>
#include <new>

#include "strider/capture/bvh_file.h"
#include "strider/capture/carry.h"
#include "strider/capture/joint_names.h"
#include "strider/capture/thin.h"
#include "strider/storage/motion_file.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

/// A name as it may stand in a message and in UTF-8 output.
std::string Printable(std::string_view name) {
  constexpr int kLongestName = 255;
  return NarrowText(WideText(name, kLongestName));
}

/// Reading one file: what stands in it, what we make of it, and where messages go.
struct Run {
  BvhFile file;
  std::vector<MappedNode> nodes;
  const BvhSettings& settings;
  const std::string& path;
  CaptureScene scene;
  CaptureReport& report;

  std::string Place(std::size_t at) const {
    return path + ":" + std::to_string(LineAt(file.text, at)) + ": ";
  }
  bool Refuse(const std::string& message) const {
    report.message = message;
    return false;
  }
  bool RefuseFile() const { return Refuse(Place(file.causeAt) + file.cause); }
};

/// Joint of the file's root. Whatever its name it is the hips, unless another joint is.
int JointOfRoot(const Run& run) {
  const NameTable* names = run.settings.names;
  if (!run.settings.carry) return kHipsJoint;
  const auto isHips = [names](const BvhNode& node) {
    return FindNamed(NameKind::kJoints, names, node.name) == kHipsJoint;
  };
  if (isHips(run.file.nodes.front())) return kHipsJoint;
  for (const BvhNode& node : run.file.nodes) {
    if (isHips(node)) return kNoJoint;
  }
  return kHipsJoint;
}

void ListUnknown(Run& run, const BvhNode& node) {
  if (run.report.unknownNames.size() < kMostUnknownNames) {
    run.report.unknownNames.push_back(Printable(node.name));
  } else if (run.report.notes.empty()) {
    run.report.notes.push_back(run.path + ": more than " + std::to_string(kMostUnknownNames) +
                               " joints are unknown; not all are listed");
  }
}

Point3 Scaled(const Point3& p, float scale) { return scale == 1 ? p : scale * p; }

/// Finds the joint of each name and begins its record.
void MapJoints(Run& run) {
  const float scale = run.settings.scaleFactor;
  std::vector<int> above(run.file.nodes.size(), kNoJoint);  // the nearest known joint, itself too
  run.nodes.resize(run.file.nodes.size());
  for (std::size_t i = 0; i < run.nodes.size(); ++i) {
    const BvhNode& node = run.file.nodes[i];
    const int parent = node.parent < 0 ? kNoJoint : above[static_cast<std::size_t>(node.parent)];
    int joint = node.isRoot ? JointOfRoot(run)
                            : FindNamed(NameKind::kJoints, run.settings.names, node.name);
    const bool again =
        joint != kNoJoint && run.scene.joints[static_cast<std::size_t>(joint)].present;
    // Of two joints with one name the later would undo the earlier, which hangs above others.
    if (again && run.settings.carry) joint = kNoJoint;
    run.nodes[i].joint = joint;
    above[i] = joint == kNoJoint ? parent : joint;
    if (joint == kNoJoint) {
      ListUnknown(run, node);
      continue;
    }
    JointRecord& record = run.scene.joints[static_cast<std::size_t>(joint)];
    if (!again) {
      record.parent = parent;
      run.scene.jointOrder.push_back(joint);
    }
    record.present = true;
    record.offset = Scaled(node.offset, scale);
    record.hasEnd = node.hasEnd;
    record.endOffset = Scaled(node.endOffset, scale);
    const auto first = run.file.channels.begin() + node.firstChannel;
    record.channels.assign(first, first + node.numChannels);
  }
}

/// The point where a foot or finger ends is the next joint's place, where the file doesn't define
/// that joint. A foot whose toes have an unknown name still ends there.
void PlaceEnds(Run& run) {
  if (run.settings.carry) {
    for (std::size_t i = 0; i < run.nodes.size(); ++i) {
      const BvhNode& node = run.file.nodes[i];
      if (run.nodes[i].joint != kNoJoint || node.parent < 0) continue;
      const int foot = run.nodes[static_cast<std::size_t>(node.parent)].joint;
      if (foot != kLeftAnkleJoint && foot != kRightAnkleJoint) continue;
      JointRecord& record = run.scene.joints[static_cast<std::size_t>(foot)];
      if (record.hasEnd) continue;
      record.hasEnd = true;
      record.endOffset = Scaled(node.offset, run.settings.scaleFactor);
    }
  }
  for (const int joint : run.scene.jointOrder) {
    const JointRecord& record = run.scene.joints[static_cast<std::size_t>(joint)];
    const int next = JointAtEndSite(joint);
    if (!record.hasEnd || next == kNoJoint) continue;
    JointRecord& end = run.scene.joints[static_cast<std::size_t>(next)];
    if (end.present) continue;
    end.offset = record.endOffset;
    end.parent = joint;
  }
}

bool CheckJoints(Run& run) {
  const BvhNode& root = run.file.nodes.front();
  if (root.hasEnd && !run.settings.carry) {
    return run.Refuse(run.Place(static_cast<std::size_t>(root.name.data() - run.file.text.data())) +
                      "an End Site hangs from the root");
  }
  std::string missing;
  for (int joint = 0; joint < kNumCaptureJoints; ++joint) {
    if (!IsRequiredJoint(joint) || run.scene.joints[static_cast<std::size_t>(joint)].present) {
      continue;
    }
    run.report.missingNames.push_back(FirstNameOf(joint));
    missing += (missing.empty() ? "" : ", ") + FirstNameOf(joint);
  }
  if (missing.empty()) return true;
  return run.Refuse(run.Place(run.file.at) + "these joints are missing: " + missing);
}

void NoteFrames(Run& run) {
  const BvhFile& file = run.file;
  for (const BvhFile::Oddity& oddity : file.oddities) {
    run.report.NoteDamage(run.Place(oddity.at) + oddity.what);
  }
  run.report.framesStated = file.framesStated;
  run.report.framesInFile = file.numFrames;
  if (!file.frameEnd.empty()) {
    run.report.NoteDamage(run.Place(file.frameEndAt) + file.frameEnd + "; " +
                          std::to_string(file.numFrames) + " of " +
                          std::to_string(file.framesStated) + " frames were read");
  } else if (file.hasMore) {
    run.report.NoteDamage(run.Place(file.at) + "more follows the last of " +
                          std::to_string(file.numFrames) + " frames");
  }
}

bool ReadAll(Run& run) {
  const float scale = run.settings.scaleFactor;
  constexpr float kLargestScale = 1e6f;
  if (!(scale > 0 && scale <= kLargestScale)) {
    return run.Refuse("the scale factor must be more than 0, at most a million");
  }
  if (run.file.text.empty()) return run.Refuse(run.path + ": the file is empty");
  if (!ReadBvhHierarchy(run.file)) return run.RefuseFile();
  MapJoints(run);
  PlaceEnds(run);
  if (!CheckJoints(run)) return false;
  if (!ReadBvhMotionHead(run.file)) return run.RefuseFile();
  ReadBvhFrames(run.file);
  NoteFrames(run);
  run.scene.kind = CaptureKind::kJoints;
  run.scene.path = run.path;
  run.scene.numFrames = run.file.numFrames;
  run.scene.frameTime = run.file.frameTime;
  run.scene.unknownNames = run.report.unknownNames;
  if (!FillRecords(run.file, run.nodes, scale, run.settings.carry, run.scene)) {
    return run.Refuse(run.path + ": too many joints hang from unknown ones for a file of its size");
  }
  ThinCapture(run.scene, ThinningFor(run.file.frameTime, run.settings.ticksPerFrame));
  return true;
}

}  // namespace

int ReadBvhText(CaptureScene& scene, std::string_view text, const std::string& path,
                const BvhSettings& settings, CaptureReport& report) {
  scene = {};
  report = {};
  try {
    Run run{{}, {}, settings, path, {}, report};
    run.file.text = text;
    if (ReadAll(run)) {
      scene = std::move(run.scene);
      report.status = 1;
    }
  } catch (const std::bad_alloc&) {
    report.message = path + ": memory ran out";
  }
  return report.status;
}

int ReadBvh(CaptureScene& scene, const std::string& path, const BvhSettings& settings,
            CaptureReport& report) {
  std::string text;
  scene = {};
  report = {};
  if (!ReadNamedFile(path, text, report.message)) return 0;
  return ReadBvhText(scene, text, path, settings, report);
}

std::vector<std::string> JointNamesOfBvh(std::string_view text) {
  std::vector<std::string> names;
  try {
    BvhFile file;
    file.text = text;
    if (!ReadBvhHierarchy(file)) return names;
    for (const BvhNode& node : file.nodes) {
      if (names.size() == kMostUnknownNames) break;
      names.push_back(Printable(node.name));
    }
  } catch (const std::bad_alloc&) {
    names.clear();
  }
  return names;
}

}  // namespace strider
