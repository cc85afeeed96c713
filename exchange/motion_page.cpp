#include "exchange/motion_page.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "exchange/base64.h"
#include "exchange/json_values.h"
#include "exchange/motion_json.h"
#include "exchange/motion_sampler.h"
#include "exchange/motion_units.h"
#include "exchange/viewer_template.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"
#include "strider/core/evaluate.h"
#include "strider/host/skel_link.h"

namespace strider {
namespace {

// The element of the template that the motion takes the place of.
constexpr std::string_view kPlaceHolder = R"(<script type="application/json" id="motion">null<)";
constexpr int kParts = 7;  // of a link at a frame: its place, then its turn

/// A name that JSON can hold, whatever bytes it is made of.
std::string Quoted(const std::string& name) {
  return Json(name).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::vector<TimeValue> TimesOf(const MotionCore& core, const MotionPageOptions& options) {
  return TimesAtFrames(core, options.range.value_or(FrameRangeOf(core)), options.fps);
}

/// What the page shows: all but the footprints, which it draws out of the footsteps.
bool IsShown(const SkeletonLink& link) { return link.id != kFootprints; }

std::string LinksJson(const MotionCore& core, const std::vector<SkeletonLink>& skeleton) {
  std::vector<int> place(skeleton.size(), -1);
  int shown = 0;
  std::string text = "[";
  for (std::size_t i = 0; i < skeleton.size(); ++i) {
    const SkeletonLink& link = skeleton[i];
    if (!IsShown(link)) continue;
    place[i] = shown++;
    Json json;
    json["id"] = link.id;
    json["link"] = link.link;
    json["parent"] = link.parent < 0 ? -1 : place[static_cast<std::size_t>(link.parent)];
    json["side"] = static_cast<std::int64_t>(FindBodyPart(link.id)->side);
    json["dimensions"] = ToJson(LinkDimensions(core, link.id, link.link));
    std::string line = json.dump();
    line.insert(line.size() - 1, ",\"name\":" + Quoted(link.name));
    text += (shown > 1 ? ",\n " : "\n ") + line;
  }
  return text + "\n]";
}

/// How far a sole reaches ahead of and behind its ankle, and how wide it is; right, then left.
Json SolesJson(const MotionCore& core) {
  Json soles = Json::array();
  for (const LimbRecord& leg : core.leg) {
    soles.push_back({{"toe", Plain(leg.toeLength)},
                     {"heel", Plain(leg.heelLength)},
                     {"width", Plain(leg.extremityWidth)}});
  }
  return soles;
}

void AppendLittleEndian(std::string& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

void AppendFloat(std::string& bytes, float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  AppendLittleEndian(bytes, bits, 4);
}

/// A number from -1 to 1 in 16 bits.
void AppendShare(std::string& bytes, float share) {
  const float clamped = std::isfinite(share) ? std::clamp(share, -1.0f, 1.0f) : 0.0f;
  AppendLittleEndian(bytes, static_cast<std::uint32_t>(std::lround(clamped * 32767)), 2);
}

/// The links at all times. Places are counted from the root's, which alone travels far, so that 16
/// bits hold them to a fraction of a millimetre of a person.
struct Frames {
  std::vector<Point3> roots;
  std::vector<float> reach;  // for each link the farthest part of its places
  std::vector<Point3> places;
  std::vector<Quat> turns;
};

Frames FramesAt(MotionSampler& sampler, const std::vector<TimeValue>& times,
                const ProgressSink& progress) {
  std::vector<int> shown;
  for (std::size_t i = 0; i < sampler.Skeleton().size(); ++i) {
    if (IsShown(sampler.Skeleton()[i])) shown.push_back(static_cast<int>(i));
  }
  Frames frames;
  frames.reach.assign(shown.size(), 0);
  frames.roots.reserve(times.size());
  frames.places.reserve(times.size() * shown.size());
  frames.turns.reserve(times.size() * shown.size());
  for (const TimeValue t : times) {
    sampler.Pose(t);
    const Point3 root = sampler.YUp(0).origin;
    frames.roots.push_back(root);
    for (std::size_t i = 0; i < shown.size(); ++i) {
      const Frame& frame = sampler.YUp(shown[i]);
      const Point3 place = frame.origin - root;
      for (const float part : {place.x, place.y, place.z}) {
        if (std::isfinite(part)) frames.reach[i] = std::max(frames.reach[i], std::fabs(part));
      }
      frames.places.push_back(place);
      frames.turns.push_back(frame.rotation);
    }
    if (progress) {
      progress(static_cast<std::int64_t>(frames.roots.size()),
               static_cast<std::int64_t>(times.size()));
    }
  }
  return frames;
}

/// A body on a link: corners in the link's own frame, normals with 127 for 1, three corners a face.
std::string ShapeJson(int link, const ShadedMesh& mesh) {
  std::string points, normals, faces;
  for (const Point3& p : mesh.places) {
    for (const float part : {p.x, p.y, p.z}) AppendFloat(points, part);
  }
  for (const Point3& n : mesh.normals) {
    for (const float part : {n.x, n.y, n.z}) {
      AppendLittleEndian(normals, static_cast<std::uint32_t>(std::lround(part * 127)), 1);
    }
  }
  for (const std::uint32_t corner : mesh.triangles) AppendLittleEndian(faces, corner, 2);
  return "{\"link\":" + std::to_string(link) + ",\"points\":\"" + Base64(points) +
         "\",\"normals\":\"" + Base64(normals) + "\",\"faces\":\"" + Base64(faces) + "\"}";
}

/// For each body type the bodies of the links that have one.
std::string BodiesJson(const MotionCore& core, const std::vector<SkeletonLink>& skeleton) {
  std::string text = "[";
  for (int bodyType = 0; bodyType < kNumBodyShapes; ++bodyType) {
    text += bodyType > 0 ? ",\n[" : "\n[";
    int place = -1;
    bool empty = true;
    for (const SkeletonLink& link : skeleton) {
      if (!IsShown(link)) continue;
      ++place;
      const ShadedMesh mesh = Shaded(LinkMesh(core, link.id, link.link, bodyType));
      if (mesh.triangles.empty() || mesh.places.size() > 0xffff) continue;
      text += empty ? "\n " : ",\n ";
      text += ShapeJson(place, mesh);
      empty = false;
    }
    text += "]";
  }
  return text + "\n]";
}

void AppendFrames(std::string& text, const Frames& frames) {
  std::string bytes;
  for (const Point3& root : frames.roots) {
    for (const float part : {root.x, root.y, root.z}) AppendFloat(bytes, part);
  }
  text += "{\"roots\":\"" + Base64(bytes) + "\",\n\"reach\":[";
  for (std::size_t i = 0; i < frames.reach.size(); ++i) {
    if (i > 0) text += ',';
    AppendNumber(text, frames.reach[i]);
  }
  const std::size_t links = frames.reach.size();
  bytes.clear();
  bytes.reserve(frames.places.size() * kParts * 2);
  for (std::size_t i = 0; i < frames.places.size(); ++i) {
    const float reach = frames.reach[i % links];
    const Point3 place = reach > 0 ? frames.places[i] / reach : Point3{};
    const Quat& turn = frames.turns[i];
    for (const float part : {place.x, place.y, place.z, turn.x, turn.y, turn.z, turn.w}) {
      AppendShare(bytes, part);
    }
  }
  text += "],\n\"poses\":\"" + Base64(bytes) + "\"}";
}

/// `<` as its escape: no name can end the element that holds the data, and nothing else in JSON
/// has the character outside of its strings.
std::string WithoutOpeningBrackets(const std::string& json) {
  std::string text;
  text.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

bool CheckOptions(const MotionCore& core, const MotionPageOptions& options, std::string& cause) {
  const auto positive = [](const std::optional<double>& number) {
    return !number || (*number > 0 && std::isfinite(*number));
  };
  if (!positive(options.metresPerUnit) || !positive(options.fps)) {
    cause = "metres per unit and frames per second must be above 0";
    return false;
  }
  auto frames = static_cast<double>(options.range.value_or(FrameRangeOf(core)).Count());
  if (options.fps) frames *= *options.fps * core.ticksPerFrame / kTicksPerSecond;
  if (frames > static_cast<double>(kMaxPageFrames)) {
    cause = "a page shows at most " + std::to_string(kMaxPageFrames) + " frames";
    return false;
  }
  return true;
}

}  // namespace

std::string MotionPageData(const MotionCore& core, const EvalContext& context,
                           const MotionPageOptions& options, const ProgressSink& progress) {
  MotionSampler sampler(core, context);
  const std::vector<TimeValue> times = TimesOf(core, options);
  std::string bytes;
  for (const TimeValue t : times) AppendLittleEndian(bytes, static_cast<std::uint32_t>(t), 4);

  std::string text = "{\"page\":1,\n\"name\":" + Quoted(core.name) + ",\n\"metresPerUnit\":";
  AppendNumber(text, MetresPerUnit(core, options.metresPerUnit));
  text += ",\n\"ticksPerSecond\":" + std::to_string(kTicksPerSecond);
  text += ",\n\"bodyType\":" + std::to_string(options.bodyType.value_or(core.structure.bodyType));
  text += ",\n\"motion\":" + MotionJson(core);
  text += ",\n\"soles\":" + SolesJson(core).dump();
  text += ",\n\"links\":" + LinksJson(core, sampler.Skeleton());
  text += ",\n\"bodies\":" + BodiesJson(core, sampler.Skeleton());
  text += ",\n\"times\":\"" + Base64(bytes);
  text += "\",\n\"frames\":";
  AppendFrames(text, FramesAt(sampler, times, progress));
  return WithoutOpeningBrackets(text + "}\n");
}

bool WriteMotionPage(const MotionCore& core, const EvalContext& context,
                     const MotionPageOptions& options, const std::string& path, std::string& cause,
                     const ProgressSink& progress) {
  try {
    if (!CheckOptions(core, options, cause)) return false;
    const std::string page = ViewerTemplate();
    const std::size_t place = page.find(kPlaceHolder);
    if (place == std::string::npos) {
      cause = "the page has no place for a motion";
      return false;
    }
    const std::size_t begin = place + kPlaceHolder.find("null");
    WholeFile file;
    if (!file.Open(path, cause)) return false;
    file.Write(std::string_view(page).substr(0, begin));
    file.Write(MotionPageData(core, context, options, progress));
    file.Write(std::string_view(page).substr(begin + 4));
    return file.Commit(cause);
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
    return false;
  }
}

}  // namespace strider
