#include "exchange/motion_glb.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "exchange/glb_body.h"
#include "exchange/glb_file.h"
#include "exchange/motion_sampler.h"
#include "exchange/motion_units.h"
#include "strider/base/trig.h"

namespace strider {
namespace {

// Closer than this to its neighbour a value has not moved: far under what can be seen, above what
// float leaves in a chain of turns. Of a quaternion's parts, and of the figure's height.
constexpr float kStillTurn = 2e-6f, kStillPlace = 2e-6f;

/// Samples of one node's channels in its parent.
struct Channels {
  std::vector<Quat> rotations;
  std::vector<Point3> places;
};

/// The path of a figure over the ground: its place there and its heading about Y.
struct GroundFrame {
  Point3 place;
  Quat heading;
};

class MotionGlb {
 public:
  MotionGlb(const MotionCore& core, const EvalContext& context, const GlbOptions& options)
      : core_(core),
        options_(options),
        range_(options.range.value_or(FrameRangeOf(core))),
        metres_(static_cast<float>(MetresPerUnit(core, options.metresPerUnit))),
        sampler_(core, context),
        joints_(JointsOf(sampler_.Skeleton(), options.rootMotion)) {}

  bool Write(const std::string& path, std::string& cause) {
    if (!CollectTimes(cause)) return false;
    Sample();
    file_.Document()["asset"] = {{"version", "2.0"}, {"generator", "strider"}};
    AddNodes();
    AddScene();
    AddAnimation();
    return file_.Write(path, cause);
  }

 private:
  bool CollectTimes(std::string& cause) {
    const std::vector<TimeValue> all =
        options_.atKeys ? TimesAtKeys(core_, range_) : TimesAtFrames(core_, range_, options_.fps);
    for (const TimeValue t : all) {
      const auto since = static_cast<double>(std::int64_t{t} - all.front());
      const auto seconds = static_cast<float>(since / kTicksPerSecond);
      // Late in a long motion float cannot tell very close times apart.
      if (!seconds_.empty() && seconds <= seconds_.back()) continue;
      times_.push_back(t);
      seconds_.push_back(seconds);
    }
    const double bytes = static_cast<double>(times_.size()) * static_cast<double>(joints_.size()) *
                         (sizeof(Quat) + sizeof(Point3));
    if (bytes < 4e9) return true;
    cause = "the motion is too long: the format holds 4 GB";
    return false;
  }

  /// Where the figure is over the ground, of the root's frame. Upside down there is no heading,
  /// and the last one stays.
  GroundFrame GroundOf(const Frame& root) {
    const Quat& q = root.rotation;
    if (q.y * q.y + q.w * q.w > 1e-4f) heading_ = Normalized(Quat{0, q.y, 0, q.w});
    return {{root.origin.x, 0, root.origin.z}, heading_};
  }

  /// A joint's frame in its parent, in metres, as the options have it.
  void Sample() {
    channels_.resize(joints_.size());
    for (Channels& channels : channels_) {
      channels.rotations.reserve(times_.size());
      channels.places.reserve(times_.size());
    }
    for (const TimeValue t : times_) {
      sampler_.Pose(t);
      for (std::size_t i = 0; i < joints_.size(); ++i) {
        const GlbJoint& joint = joints_[i];
        if (joint.link < 0) continue;  // filled in with the figure's root
        Frame local = sampler_.Local(joint.link);
        if (sampler_.Skeleton()[static_cast<std::size_t>(joint.link)].parent < 0) {
          local = PlaceRoot(local);
        }
        Push(channels_[i], local);
      }
    }
  }

  /// What is left for the figure's root once its way over the ground has gone elsewhere.
  Frame PlaceRoot(Frame root) {
    const GroundFrame ground = GroundOf(root);
    if (options_.rootMotion || options_.inPlace) root.origin -= ground.place;
    if (options_.rootMotion) {
      const Quat back = Conjugate(ground.heading);
      root = {back * root.rotation, Rotate(back, root.origin)};
      Push(channels_[0], options_.inPlace ? Frame{} : Frame{ground.heading, ground.place});
    }
    return root;
  }

  void Push(Channels& channels, const Frame& local) {
    Quat q = Normalized(local.rotation);
    // A player that mixes parts goes the short way only between quaternions of one side.
    if (!channels.rotations.empty()) q = OnSideOf(q, channels.rotations.back());
    channels.rotations.push_back(q);
    channels.places.push_back(metres_ * local.origin);
  }

  void AddNodes() {
    const std::vector<Frame> stance = StanceFrames(core_, sampler_.Skeleton());
    for (const GlbJoint& joint : joints_) {
      Json node;
      node["name"] = joint.name;
      Frame local;
      if (joint.link >= 0) {
        const SkeletonLink& link = sampler_.Skeleton()[static_cast<std::size_t>(joint.link)];
        local = LocalFrame(stance, link, joint.link);
        node["extras"] = {{"id", link.id}, {"link", link.link}};
      }
      rests_.push_back({Normalized(local.rotation), metres_ * local.origin});
      node["translation"] = ToJson(rests_.back().origin);
      node["rotation"] = ToJson(rests_.back().rotation);
      file_.Add("nodes", std::move(node));
    }
    for (std::size_t i = 0; i < joints_.size(); ++i) {
      if (joints_[i].parent < 0) continue;
      Json& parent = file_.Document()["nodes"][static_cast<std::size_t>(joints_[i].parent)];
      parent["children"].push_back(static_cast<int>(i));
    }
    body_ = AddGlbBody(file_, core_, {joints_, sampler_.Skeleton(), stance, metres_},
                       options_.bodyType.value_or(core_.structure.bodyType));
  }

  void AddScene() {
    Json scene;
    scene["name"] = core_.name;
    scene["nodes"] = Json::array({0, body_});
    scene["extras"]["strider"] = Extras();
    file_.Add("scenes", std::move(scene));
    file_.Document()["scene"] = 0;
  }

  Json Extras() const {
    Json extras;
    const double ownRate = static_cast<double>(kTicksPerSecond) / core_.ticksPerFrame;
    const double rate = options_.fps && !options_.atKeys ? *options_.fps : ownRate;
    extras["framesPerSecond"] = static_cast<float>(rate);
    extras["firstFrame"] = range_.first;
    extras["lastFrame"] = range_.last;
    extras["metresPerUnit"] = metres_;
    extras["footsteps"] = Json::array();
    const FootstepTrack& track = core_.footsteps;
    for (std::size_t i = 0; i < static_cast<std::size_t>(track.numFootsteps); ++i) {
      const int side = track.side[i];
      const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[i])];
      const auto since = static_cast<double>(std::int64_t{span.start} - times_.front());
      Json step;
      step["index"] = static_cast<std::int64_t>(i);
      step["side"] = side == kLeft ? "left" : "right";
      step["start"] = static_cast<float>(since / kTicksPerSecond);
      step["duration"] = static_cast<float>(static_cast<double>(span.duration) / kTicksPerSecond);
      step["position"] = ToJson(metres_ * track.position[i]);
      step["heading"] = Plain(RadiansToDegrees(track.angle[i]));
      extras["footsteps"].push_back(std::move(step));
    }
    return extras;
  }

  void AddAnimation() {
    Json animation;
    animation["name"] = core_.name;
    animation["samplers"] = Json::array();
    animation["channels"] = Json::array();
    int times = -1, start = -1;  // all times, and the first alone; made when they are asked for
    const float still = kStillPlace * metres_ * core_.structure.height;
    for (std::size_t i = 0; i < joints_.size(); ++i) {
      Channels samples = std::move(channels_[i]);  // its room is free once it stands in the file
      const auto add = [&](auto& values, const auto& rest, const char* path, float limit) {
        bool moves = false;
        for (const auto& value : values) moves = moves || Differ(value, values.front(), limit);
        if (!moves && !Differ(values.front(), rest, limit)) return;
        if (!moves) {
          values.resize(1);
        }
        int& input = moves ? times : start;
        if (input < 0) {
          input = AddTimes(moves ? seconds_ : std::vector<float>{seconds_.front()});
        }
        const int output = file_.AddElements(values);
        AddChannel(animation, static_cast<int>(i), path, input, output);
      };
      add(samples.rotations, rests_[i].rotation, "rotation", kStillTurn);
      add(samples.places, rests_[i].origin, "translation", still);
    }
    if (!animation["channels"].empty()) file_.Add("animations", std::move(animation));
  }

  int AddTimes(const std::vector<float>& seconds) {
    return file_.AddFloats(seconds, 1, "SCALAR", GlbTarget::kData, true);
  }

  static void AddChannel(Json& animation, int node, const char* path, int input, int output) {
    Json& samplers = animation["samplers"];
    const auto sampler = static_cast<std::int64_t>(samplers.size());
    samplers.push_back({{"input", input}, {"output", output}, {"interpolation", "LINEAR"}});
    animation["channels"].push_back(
        {{"sampler", sampler}, {"target", {{"node", node}, {"path", path}}}});
  }

  static bool Differ(const Point3& a, const Point3& b, float limit) {
    const Point3 d = a - b;
    return !(Dot(d, d) <= limit * limit);
  }
  static bool Differ(const Quat& a, const Quat& b, float limit) {
    const Quat d = a + -OnSideOf(b, a);
    return !(Dot(d, d) <= limit * limit);
  }

  const MotionCore& core_;
  const GlbOptions& options_;
  FrameRange range_;
  float metres_;
  MotionSampler sampler_;
  std::vector<GlbJoint> joints_;
  std::vector<TimeValue> times_;
  std::vector<float> seconds_;
  std::vector<Channels> channels_;  // for each joint
  std::vector<Frame> rests_;        // for each joint, in metres
  Quat heading_;
  int body_ = -1;  // node of the body
  GlbFile file_;
};

}  // namespace

bool WriteMotionGlb(const MotionCore& core, const EvalContext& context, const GlbOptions& options,
                    const std::string& path, std::string& cause) {
  try {
    return MotionGlb(core, context, options).Write(path, cause);
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
    return false;
  }
}

}  // namespace strider
