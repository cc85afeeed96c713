#include "exchange/import_json.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "exchange/json_values.h"
#include "exchange/keyed_tracks.h"
#include "exchange/motion_json.h"
#include "exchange/motion_range.h"
#include "strider/capture/capture_report.h"
#include "strider/storage/stream.h"

namespace strider {
namespace {

const char* NameOf(UpAxis up) { return up == UpAxis::kX ? "x" : up == UpAxis::kY ? "y" : "z"; }

/// Enough digits for what a file says, few enough not to show how it was divided.
Json Rounded(double value) {
  const double scale = 1e6;
  return static_cast<float>(std::round(value * scale) / scale);
}

Json TakeJson(const TakeFacts& take) {
  Json json;
  json["frames"] = take.frames;
  json["rate"] = Rounded(take.rate);
  json["unit"] = static_cast<float>(take.metresPerUnit);
  json["upAxis"] = NameOf(take.up);
  json["unknownJoints"] = take.unknownJoints;
  return json;
}

struct KeyCounts {
  std::string track;
  int before = 0, after = 0;
};
/// Of each track, before keys that say nothing of their own went and as the motion has them.
std::vector<KeyCounts> CountKeys(const ImportResult& result) {
  std::vector<KeyCounts> counts;
  for (const KeyedTrack& track : KeyedTracksOf(result.motion)) {
    KeyCounts count = {track.name, track.track->numKeys, track.track->numKeys};
    for (const TrackReduction& thinned : result.conversion.reduction.tracks) {
      if (thinned.id == track.id) count.before = thinned.keysBefore;
    }
    counts.push_back(std::move(count));
  }
  return counts;
}
KeyCounts Sum(const std::vector<KeyCounts>& counts) {
  KeyCounts sum;
  for (const KeyCounts& count : counts) {
    sum.before += count.before;
    sum.after += count.after;
  }
  return sum;
}

class Text {
 public:
  template <class... Values>
  void Add(const char* form, Values... values) {
    char line[512];
    (void)std::snprintf(line, sizeof line, form, values...);
    text_ += line;
  }
  std::string text_;
};

/// What a foot is by what was chosen: tolerances in leg lengths, hip to ankle, as people see them.
void AddFootSettings(const ImportResult& result, Text& out) {
  const ExtractionSettings& e = result.parameters.extraction;
  const double unit = static_cast<double>(result.thighLength / result.conversion.legLength);
  const double tol = static_cast<double>(e.fsExtractionTol);
  out.Add("a foot stands below %.3g leg lengths a second (fsExtractionTol %.4g)",
          tol * unit * result.sceneRate, tol);
  const double floor = std::round(static_cast<double>(e.fsZLevel) * 10) / 10 + 0.0;  // no -0.0
  if (e.fsUseVerticalTol != 0) {
    out.Add(", within %.3g of a floor at %.1f", static_cast<double>(e.fsVerticalTol) * unit, floor);
  }
  if (e.fsUseFlatten != 0) out.Add("; footsteps lie at %.1f", floor);
  out.Add(e.conversionFlag != 0 ? "; it slides from %g degrees" : "; it always slides",
          static_cast<double>(e.fsSlidingAngle));
}

/// The settings that decide what a take becomes, in words; empty where none did.
std::string SettingsInWords(const ImportResult& result) {
  const MocapParameters& p = result.parameters;
  Text out;
  if (p.fsExtractionMode == kFsExtract) AddFootSettings(result, out);
  if (result.take.jointsFound > 0) {  // a motion's limbs have their planes
    constexpr const char* kPlanes[] = {"point", "angle", "auto", "as they stand"};
    std::vector<std::string> planes;
    for (const int plane : p.limbOrientation) {
      planes.push_back(kPlanes[std::clamp(plane, 0, 3)]);
    }
    const bool same = std::count(planes.begin(), planes.end(), planes[0]) == kNumOrientedLimbs;
    if (same) planes.resize(1);
    out.text_ += out.text_.empty() ? "planes of " : "; planes of ";
    out.text_ += same ? "limbs: " : "knee, elbow, foot, hand: ";
    out.text_ += ListWords(planes);
  }
  return out.text_.empty() ? "" : "settings: " + out.text_;
}

Json SummaryJson(const ImportResult& result) {
  const ConversionReport& report = result.conversion;
  const KeyCounts keys = Sum(CountKeys(result));
  Json json;
  json["jointsMissing"] = result.take.missingJoints;
  json["slidingFootsteps"] = report.extraction.NumSliding();
  json["keysBefore"] = keys.before;
  json["keysAfter"] = keys.after;
  json["fitErrorMean"] = static_cast<float>(report.fit.mean);
  json["sceneRate"] = Rounded(result.sceneRate);
  json["speedChange"] = Rounded(result.speedChange);
  json["notes"] = result.notes;
  const std::string settings = SettingsInWords(result);
  if (!settings.empty()) json["notes"].push_back(settings);
  return json;
}

std::vector<bool> Sliding(const ImportResult& result) {
  std::vector<bool> sliding;
  for (const ExtractedFootstep& footstep : result.conversion.extraction.footsteps) {
    sliding.push_back(footstep.sliding);
  }
  return sliding;
}

void AddFootsteps(const ImportResult& result, std::string& text) {
  const FootstepTrack& track = result.motion.footsteps;
  const std::vector<bool> sliding = Sliding(result);
  Text out;
  out.Add("footsteps: %d", track.numFootsteps);
  if (result.conversion.extraction.NumSliding() > 0) {
    out.Add(", %d sliding", result.conversion.extraction.NumSliding());
  }
  out.text_ += "\n";
  for (int i = 0; i < track.numFootsteps; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const int side = track.side[at];
    const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[at])];
    out.Add("  %2d %-5s %7.2f to %7.2f s%s\n", i, side == kLeft ? "left" : "right",
            static_cast<double>(span.start) / kTicksPerSecond,
            static_cast<double>(span.Lift()) / kTicksPerSecond,
            at < sliding.size() && sliding[at] ? ", sliding" : "");
  }
  text += out.text_;
}

void AddKeys(const ImportResult& result, std::string& text) {
  const std::vector<KeyCounts> counts = CountKeys(result);
  const KeyCounts sum = Sum(counts);
  Text out;
  out.Add("keys: %d of %d left", sum.after, sum.before);
  const char* comma = ";";
  for (const KeyCounts& count : counts) {
    out.Add("%s %s %d of %d", comma, count.track.c_str(), count.after, count.before);
    comma = ",";
  }
  text += out.text_ + "\n";
}

}  // namespace

std::string ImportJson(const ImportResult& result) {
  FileFacts file;
  file.version = kStreamVersion;
  file.motions = 1;
  DocumentNotes notes;
  notes.fields =
      "\"take\": " + TakeJson(result.take).dump() + ",\n\"summary\": " + SummaryJson(result).dump();
  notes.sliding = Sliding(result);
  return MotionFileJson(result.motion, file, notes);
}

std::string ImportSummary(const ImportResult& result, bool poseOnly) {
  const TakeFacts& take = result.take;
  Text out;
  out.Add("take: %d frames at %.6g a second, %.2f s; unit ", take.frames, take.rate,
          take.rate > 0 ? take.frames / take.rate : 0);
  out.Add(take.unitName.empty() ? "%s%g m" : "%s (%g m)", take.unitName.c_str(),
          take.metresPerUnit);
  out.Add(", %s up%s\n", NameOf(take.up),
          take.leftOutFirst ? "; its first frame stands alone and is left out" : "");
  if (take.jointsFound > 0) {  // a motion was read otherwise
    out.Add("%s: %d found", take.ofMarkers ? "markers" : "joints", take.jointsFound);
    if (!take.nameSet.empty()) out.text_ += " by the names " + take.nameSet;
    if (!take.missingJoints.empty()) out.text_ += "; missing: " + ListWords(take.missingJoints);
    if (!take.unknownJoints.empty()) out.text_ += "; unknown: " + ListWords(take.unknownJoints);
    out.text_ += "\n";
  }
  if (poseOnly) return out.text_ + "pose: the figure in the take's reference, one key a part\n";
  const FrameRange range = FrameRangeOf(result.motion);
  out.Add("motion: frames %lld to %lld at %g a second", static_cast<long long>(range.first),
          static_cast<long long>(range.last), result.sceneRate);
  if (std::fabs(result.speedChange) >= 0.005) {
    out.Add(", %.2f %% %s than the take", std::fabs(result.speedChange),
            result.speedChange > 0 ? "faster" : "slower");
  }
  out.text_ += "\n";
  const std::string settings = SettingsInWords(result);
  if (!settings.empty()) out.text_ += settings + "\n";
  AddFootsteps(result, out.text_);
  AddKeys(result, out.text_);
  out.Add("fit: joints are %.2f %% of the leg off on average, %.2f %% at most\n",
          100 * result.conversion.fit.mean, 100 * result.conversion.fit.most);
  for (const std::string& note : result.notes) out.text_ += "note: " + note + "\n";
  return out.text_;
}

}  // namespace strider
