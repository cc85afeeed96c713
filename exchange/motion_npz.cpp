#include "exchange/motion_npz.h"

#include <cstdint>

#include "exchange/json_values.h"
#include "exchange/keyed_tracks.h"
#include "exchange/motion_range.h"
#include "exchange/motion_sampler.h"
#include "exchange/npy_array.h"
#include "exchange/zip_writer.h"
#include "strider/core/evaluate.h"
#include "strider/footsteps/flights.h"

namespace strider {
namespace {

/// The version of the list of arrays, for those who read them.
constexpr std::int32_t kNpzVersion = 1;

double Seconds(TimeValue ticks) { return static_cast<double>(ticks) / kTicksPerSecond; }

void AppendPoint(std::string& bytes, const Point3& p) {
  for (const float part : {p.x, p.y, p.z}) AppendLittleEndian(bytes, Plain(part));
}

void AppendRotation(std::string& bytes, const Matrix3& world) {
  const Quat q = OneOfTwo(RotationOf(world));
  for (const float part : {q.x, q.y, q.z, q.w}) AppendLittleEndian(bytes, Plain(part));
}

void AppendPlace(std::string& bytes, const Matrix3& world) { AppendPoint(bytes, world.Origin()); }

/// One of the arrays that hold all links at all times. Its bytes are made piece by piece, twice:
/// for the check sum, which stands before them, and for the file.
struct LinkArray {
  const char* name;
  std::uint64_t parts;  // numbers for a link
  void (*append)(std::string& bytes, const Matrix3& world);
};
constexpr LinkArray kLinkArrays[] = {{"positions", 3, AppendPlace},
                                     {"rotations", 4, AppendRotation}};

class NpzWriter {
 public:
  NpzWriter(const MotionCore& core, const EvalContext& context, const MotionNpzOptions& options,
            const ProgressSink& progress)
      : core_(core),
        posed_(core),
        context_(context),
        skeleton_(SkeletonOf(core)),
        times_(options.times.empty() ? TimesAtFrames(core, FrameRangeOf(core)) : options.times),
        progress_(progress) {}

  bool Write(const MotionNpzOptions& options, const std::string& path, std::string& cause) {
    WholeFile file;
    if (!file.Open(path, cause)) return false;
    ZipWriter zip(file);
    zip_ = &zip;
    AddUnits(options);
    AddFigure();
    AddTimes();
    AddFootsteps();
    AddFlights();
    AddKeys();
    AddPoses(file);
    zip.Finish();
    return file.Commit(cause);
  }

 private:
  void Add(const std::string& name, const std::string& array) { zip_->Add(name + ".npy", array); }

  void AddUnits(const MotionNpzOptions& options) {
    const double ownFps = static_cast<double>(kTicksPerSecond) / core_.ticksPerFrame;
    const double gravity = static_cast<double>(core_.body.gravAccel) * 900;  // frames of 1/30 s
    Add("version", NpyScalar(kNpzVersion));
    Add("fps", NpyScalar(options.fps.value_or(ownFps)));
    Add("metres_per_unit", NpyScalar(options.metresPerUnit.value_or(9.81 / gravity)));
    Add("gravity", NpyScalar(gravity));
  }

  void AddFigure() {
    std::vector<std::string> names, parameters;
    std::vector<std::int32_t> ids, links, parents;
    std::vector<double> values;
    std::string sizes = NpyHead(NpyType<float>(), {skeleton_.size(), 3});
    for (const SkeletonLink& link : skeleton_) {
      names.push_back(link.name);
      ids.push_back(link.id);
      links.push_back(link.link);
      parents.push_back(link.parent);
      AppendPoint(sizes, LinkDimensions(core_, link.id, link.link));
    }
    Add("link_names", NpyTexts(names));
    Add("link_ids", NpyArray(ids));
    Add("link_numbers", NpyArray(links));
    Add("parents", NpyArray(parents));
    Add("link_dimensions", sizes);
    for (const StructureParameter& parameter : StructureParameters()) {
      parameters.push_back(parameter.name);
      values.push_back(parameter.get(core_.structure));
    }
    Add("figure_parameters", NpyTexts(parameters));
    Add("figure_values", NpyArray(values));
  }

  void AddTimes() {
    std::vector<double> seconds, frames;
    for (const TimeValue t : times_) {
      seconds.push_back(Seconds(t));
      frames.push_back(static_cast<double>(t) / core_.ticksPerFrame);
    }
    Add("times", NpyArray(seconds));
    Add("frames", NpyArray(frames));
  }

  void AddFootsteps() {
    const FootstepTrack& track = core_.footsteps;
    const auto count = static_cast<std::size_t>(track.numFootsteps);
    std::vector<std::int8_t> sides;
    std::vector<double> starts, durations;
    std::vector<float> headings;
    std::vector<bool> active;
    std::string positions = NpyHead(NpyType<float>(), {count, 3});
    for (std::size_t i = 0; i < count; ++i) {
      const int side = track.side[i];
      const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[i])];
      sides.push_back(static_cast<std::int8_t>(side));
      starts.push_back(Seconds(span.start));
      durations.push_back(Seconds(span.duration));
      AppendPoint(positions, HostFromCore(track.position[i]));
      headings.push_back(Plain(RadiansToDegrees(track.angle[i])));
      active.push_back(track.active.Get(static_cast<int>(i)));
    }
    Add("footstep_sides", NpyArray(sides));
    Add("footstep_starts", NpyArray(starts));
    Add("footstep_durations", NpyArray(durations));
    Add("footstep_positions", positions);
    Add("footstep_headings", NpyArray(headings));
    Add("footstep_active", NpyArray(active));

    std::vector<double> when, lengths;
    std::vector<std::int8_t> support;
    for (const SupportTransition& transition : track.transitions) {
      when.push_back(Seconds(transition.time));
      lengths.push_back(Seconds(transition.length));
      support.push_back(static_cast<std::int8_t>(transition.support));
    }
    Add("transition_times", NpyArray(when));
    Add("transition_lengths", NpyArray(lengths));
    Add("transition_support", NpyArray(support));
  }

  void AddFlights() {
    std::vector<double> takeoffs, lands, takeoffSpeeds, landSpeeds;
    for (const FlightPeriod& flight : FlightsShown(core_)) {
      takeoffs.push_back(Seconds(flight.takeoffTime));
      lands.push_back(Seconds(flight.landTime));
      takeoffSpeeds.push_back(static_cast<double>(flight.takeoffSpeed) * kTicksPerSecond);
      landSpeeds.push_back(static_cast<double>(flight.landSpeed) * kTicksPerSecond);
    }
    Add("flight_takeoff_times", NpyArray(takeoffs));
    Add("flight_land_times", NpyArray(lands));
    Add("flight_takeoff_speeds", NpyArray(takeoffSpeeds));
    Add("flight_land_speeds", NpyArray(landSpeeds));
  }

  void AddKeys() {
    std::vector<std::string> names;
    const std::vector<KeyedTrack> tracks = KeyedTracksOf(core_);
    for (const KeyedTrack& keyed : tracks) names.push_back(keyed.name);
    Add("key_tracks", NpyTexts(names));
    for (const KeyedTrack& keyed : tracks) {
      std::vector<double> times;
      for (int i = 0; i < keyed.track->numKeys; ++i) {
        times.push_back(Seconds(keyed.track->times[static_cast<std::size_t>(i)].time));
      }
      Add("key_times_" + keyed.name, NpyArray(times));
    }
  }

  Matrix3 World(const SkeletonLink& link) const {
    return UnmirroredLinkTransform(posed_, link.id, link.link);
  }

  /// Poses the motion at all its times. Once for the check sums and once for each large array.
  template <class Use>
  void ForEachPose(const WholeFile& file, std::int64_t round, Use use) {
    const auto all = static_cast<std::int64_t>(times_.size());
    constexpr auto kRounds = static_cast<std::int64_t>(1 + std::size(kLinkArrays));
    for (std::int64_t i = 0; i < all && file.Good(); ++i) {
      CorePose(posed_, times_[static_cast<std::size_t>(i)], context_);
      use();
      if (progress_) progress_(round * all + i + 1, kRounds * all);
    }
  }

  void AppendLinks(std::string& bytes, const LinkArray& array) const {
    bytes.clear();
    for (const SkeletonLink& link : skeleton_) array.append(bytes, World(link));
  }

  void AddPoses(const WholeFile& file) {
    const std::uint64_t frames = times_.size(), links = skeleton_.size();
    std::string rootPositions = NpyHead(NpyType<float>(), {frames, 3});
    std::string rootRotations = NpyHead(NpyType<float>(), {frames, 4});
    std::string contacts = NpyHead(NpyType<bool>(), {frames, 2});
    std::string states = NpyHead(NpyType<std::int8_t>(), {frames, 2});
    std::string heads[std::size(kLinkArrays)], bytes;
    Crc32 sums[std::size(kLinkArrays)];
    for (std::size_t a = 0; a < std::size(kLinkArrays); ++a) {
      heads[a] = NpyHead(NpyType<float>(), {frames, links, kLinkArrays[a].parts});
      sums[a].Add(heads[a]);
    }
    ForEachPose(file, 0, [&] {
      for (std::size_t a = 0; a < std::size(kLinkArrays); ++a) {
        AppendLinks(bytes, kLinkArrays[a]);
        sums[a].Add(bytes);
      }
      const Matrix3 root = UnmirroredLinkTransform(posed_, kHorizontal, 0);
      AppendPlace(rootPositions, root);
      AppendRotation(rootRotations, root);
      for (const int state : posed_.body.legStates) {
        AppendLittleEndian(contacts, state < kMove);
        AppendLittleEndian(states, static_cast<std::int8_t>(state));
      }
    });
    Add("root_positions", rootPositions);
    Add("root_rotations", rootRotations);
    Add("contacts", contacts);
    Add("leg_states", states);
    for (std::size_t a = 0; a < std::size(kLinkArrays); ++a) {
      const LinkArray& array = kLinkArrays[a];
      const std::uint64_t size = heads[a].size() + frames * links * array.parts * sizeof(float);
      zip_->Begin(std::string(array.name) + ".npy", size, sums[a].Value());
      zip_->Write(heads[a]);
      ForEachPose(file, static_cast<std::int64_t>(1 + a), [&] {
        AppendLinks(bytes, array);
        zip_->Write(bytes);
      });
    }
  }

  const MotionCore& core_;
  MotionCore posed_;
  const EvalContext& context_;
  std::vector<SkeletonLink> skeleton_;
  std::vector<TimeValue> times_;
  const ProgressSink& progress_;
  ZipWriter* zip_ = nullptr;
};

}  // namespace

bool WriteMotionNpz(const MotionCore& core, const EvalContext& context,
                    const MotionNpzOptions& options, const std::string& path, std::string& cause,
                    const ProgressSink& progress) {
  return NpzWriter(core, context, options, progress).Write(options, path, cause);
}

}  // namespace strider
