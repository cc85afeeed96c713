#include "exchange/motion_bvh.h"

#include <cmath>
#include <cstdint>

#include "exchange/bvh_skeleton.h"
#include "exchange/motion_sampler.h"
#include "exchange/turn_angles.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"

namespace strider {
namespace {

constexpr const char* kRotationChannels = "Zrotation Xrotation Yrotation";
constexpr const char* kPositionChannels = "Xposition Yposition Zposition ";
// A millionth of a degree moves nothing by more than a fiftieth of a millionth of its length.
constexpr int kAngleDecimals = 6;
constexpr int kTimeDecimals = 8;

/// Decimals that tell a millionth of a figure so high.
int DecimalsFor(double height) {
  int decimals = 6;
  constexpr int kMost = 30;
  for (; height < 1 && decimals < kMost; height *= 10) ++decimals;
  return decimals;
}

class BvhText {
 public:
  BvhText(const MotionCore& core, const MotionBvhOptions& options)
      : scale_(options.metresPerUnit.value_or(1)),
        decimals_(DecimalsFor(core.structure.height * scale_)),
        joints_(BvhSkeletonOf(core, options.onlyKnown)),
        worlds_(joints_.size()),
        places_(joints_.size()),
        angles_(joints_.size()) {
    for (const BvhJoint& joint : joints_)
      backToRest_.push_back(Inverse(TurnOf(joint.rest.rotation)));
  }

  std::string Hierarchy() const {
    std::string text = "HIERARCHY\n";
    std::vector<int> open;  // joints whose braces are not closed yet
    const auto close = [&](std::size_t depth) {
      while (open.size() > depth) {
        open.pop_back();
        text += Indent(open.size()) + "}\n";
      }
    };
    for (std::size_t i = 0; i < joints_.size(); ++i) {
      const BvhJoint& joint = joints_[i];
      while (!open.empty() && open.back() != joint.parent) close(open.size() - 1);
      const std::string indent = Indent(open.size());
      text += indent + (joint.parent < 0 ? "ROOT " : "JOINT ") + joint.name + "\n" + indent + "{\n";
      open.push_back(static_cast<int>(i));
      AppendBody(text, joint, Indent(open.size()));
    }
    close(0);
    return text;
  }

  /// The numbers of a pose.
  std::string FrameLine(const MotionCore& posed) {
    std::string line;
    for (std::size_t i = 0; i < joints_.size(); ++i) {
      const BvhJoint& joint = joints_[i];
      const Frame world = FrameOf(posed, joint.id, joint.link);
      places_[i] = world.origin;
      worlds_[i] = TurnOf(world.rotation) * backToRest_[i];
      Turn local = worlds_[i];
      double place[3] = {world.origin.x, world.origin.y, world.origin.z};
      if (joint.parent >= 0) {
        const auto parent = static_cast<std::size_t>(joint.parent);
        const Turn back = Inverse(worlds_[parent]);
        local = back * worlds_[i];
        const Point3& from = places_[parent];
        const double apart[3] = {place[0] - from.x, place[1] - from.y, place[2] - from.z};
        Rotate(back, apart, place);
      }
      if (joint.moves) {
        for (const double part : place) AppendLength(line, part);
      }
      angles_[i] = AnglesNear(local, angles_[i]);
      for (const double angle : {angles_[i].z, angles_[i].x, angles_[i].y}) {
        AppendWord(line, angle * (180 / kPiD), kAngleDecimals);
      }
    }
    line += '\n';
    return line;
  }

 private:
  static std::string Indent(std::size_t depth) { return std::string(2 * depth, ' '); }

  static void AppendWord(std::string& line, double value, int decimals) {
    if (!line.empty()) line += ' ';
    const std::size_t start = line.size();
    AppendFixed(line, value, decimals);
    // What rounds to nothing has no sign.
    if (line[start] == '-' && line.find_first_of("123456789", start) == std::string::npos) {
      line.erase(start, 1);
    }
  }
  void AppendLength(std::string& line, double value) const {
    AppendWord(line, value * scale_, decimals_);
  }
  void AppendOffset(std::string& text, const Point3& p) const {
    std::string line;
    for (const float part : {p.x, p.y, p.z}) AppendLength(line, static_cast<double>(part));
    text += "OFFSET " + line + "\n";
  }

  void AppendBody(std::string& text, const BvhJoint& joint, const std::string& indent) const {
    text += indent;
    // Readers differ in whether a joint's places count from its offset: of none they agree.
    const bool stays = !joint.moves && joint.parent >= 0;
    AppendOffset(text, stays ? joint.rest.origin - RestOf(joint.parent).origin : Point3{});
    text += indent +
            (joint.moves ? "CHANNELS 6 " + std::string(kPositionChannels) : "CHANNELS 3 ") +
            kRotationChannels + "\n";
    if (!joint.isLeaf) return;
    text += indent + "End Site\n" + indent + "{\n" + indent + "  ";
    AppendOffset(text, joint.end);
    text += indent + "}\n";
  }

  const Frame& RestOf(int joint) const { return joints_[static_cast<std::size_t>(joint)].rest; }

  double scale_;
  int decimals_;
  std::vector<BvhJoint> joints_;
  std::vector<Turn> backToRest_, worlds_;  // the latter of the pose at hand, as its places
  std::vector<Point3> places_;
  std::vector<ZxyAngles> angles_;
};

}  // namespace

bool WriteMotionBvh(const MotionCore& core, const EvalContext& context,
                    const MotionBvhOptions& options, const std::string& path, std::string& cause,
                    const ProgressSink& progress) {
  WholeFile file;
  if (!file.Open(path, cause)) return false;
  const std::vector<TimeValue> times =
      options.times.empty() ? TimesAtFrames(core, FrameRangeOf(core)) : options.times;
  const double ownFps = static_cast<double>(kTicksPerSecond) / core.ticksPerFrame;
  BvhText text(core, options);
  std::string head = text.Hierarchy() + "MOTION\nFrames: ";
  AppendInteger(head, static_cast<std::int64_t>(times.size()));
  head += "\nFrame Time: ";
  AppendFixed(head, 1 / options.fps.value_or(ownFps), kTimeDecimals);
  file.Write(head + "\n");
  MotionCore posed = core;
  for (std::size_t i = 0; i < times.size() && file.Good(); ++i) {
    CorePose(posed, times[i], context);
    file.Write(text.FrameLine(posed));
    if (progress) {
      progress(static_cast<std::int64_t>(i + 1), static_cast<std::int64_t>(times.size()));
    }
  }
  return file.Commit(cause);
}

}  // namespace strider
