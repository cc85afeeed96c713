#include "exchange/motion_json.h"

#include "exchange/figure_json.h"
#include "exchange/json_values.h"
#include "exchange/keyed_tracks.h"
#include "exchange/motion_range.h"
#include "strider/base/trig.h"
#include "strider/footsteps/flights.h"

namespace strider {
namespace {

/// A list or a record with one entry a line.
class Lines {
 public:
  Lines(std::string& text, char open, char close) : text_(text), close_(close) { text_ += open; }
  void Add(const std::string& line) {
    text_ += empty_ ? "\n  " : ",\n  ";
    text_ += line;
    empty_ = false;
  }
  void End() {
    if (!empty_) text_ += '\n';
    text_ += close_;
  }

 private:
  std::string& text_;
  char close_;
  bool empty_ = true;
};

Json FootstepJson(const FootstepTrack& track, std::size_t i) {
  const int side = track.side[i];
  const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[i])];
  Json json;
  json["index"] = static_cast<std::int64_t>(i);
  json["side"] = side == kLeft ? "left" : "right";
  json["start"] = span.start;
  json["duration"] = span.duration;
  json["position"] = ToJson(HostFromCore(track.position[i]));
  json["heading"] = Plain(RadiansToDegrees(track.angle[i]));
  json["active"] = track.active.Get(static_cast<int>(i));
  return json;
}

Json TransitionJson(const SupportTransition& transition) {
  Json json;
  json["time"] = transition.time;
  json["length"] = transition.length;
  json["support"] = transition.support;
  return json;
}

Json PhaseJson(const SupportPhase& phase) {
  Json json;
  json["time"] = phase.time;
  json["support"] = phase.support;
  json["rightLegState"] = phase.rightLegState;
  json["leftLegState"] = phase.leftLegState;
  return json;
}

Json FlightJson(const FlightPeriod& flight) {
  Json json;
  json["takeoffTime"] = flight.takeoffTime;
  json["landTime"] = flight.landTime;
  json["takeoffSpeed"] = Plain(flight.takeoffSpeed);
  json["landSpeed"] = Plain(flight.landSpeed);
  return json;
}

Json TrackJson(const KeyTrack& track) {
  Json json;
  json["numKeys"] = track.numKeys;
  json["times"] = Json::array();
  for (int i = 0; i < track.numKeys; ++i) {
    json["times"].push_back(track.times[static_cast<std::size_t>(i)].time);
  }
  return json;
}

template <class Record, class Write>
void AddList(std::string& text, const char* name, const std::vector<Record>& records, Write write) {
  text += ",\n\"" + std::string(name) + "\": ";
  Lines list(text, '[', ']');
  for (const Record& record : records) list.Add(write(record).dump());
  list.End();
}

void AddTracks(std::string& text, const MotionCore& core) {
  text += ",\n\"tracks\": ";
  Lines tracks(text, '{', '}');
  for (const KeyedTrack& keyed : KeyedTracksOf(core)) {
    tracks.Add(Json(keyed.name).dump() + ": " + TrackJson(*keyed.track).dump());
  }
  tracks.End();
}

}  // namespace

namespace {

std::string Document(const MotionCore& core, const FileFacts& holds, const std::string& head,
                     const std::vector<bool>& sliding = {}) {
  const FootstepTrack& track = core.footsteps;
  std::string text = "{\n" + head;
  const auto next = [&text] {
    if (text.back() == '}' || text.back() == ']') text += ",\n";
  };
  if (holds.hasFigure) {
    next();
    text += "\"figure\": {\n" + FigureFieldsJson(core) + "\n}";
  }
  if (holds.hasFootsteps || holds.hasTracks) {
    next();
    const FrameRange range = FrameRangeOf(core);
    text += "\"frameRange\": " + Json::array({range.first, range.last}).dump();
    text += ",\n\"ticksPerFrame\": " + std::to_string(core.ticksPerFrame);
    text += ",\n\"footsteps\": ";
    Lines footsteps(text, '[', ']');
    for (std::size_t i = 0; i < static_cast<std::size_t>(track.numFootsteps); ++i) {
      Json footstep = FootstepJson(track, i);
      if (i < sliding.size()) footstep["sliding"] = static_cast<bool>(sliding[i]);
      footsteps.Add(footstep.dump());
    }
    footsteps.End();
    AddList(text, "transitions", track.transitions, TransitionJson);
    AddList(text, "phases", track.phases, PhaseJson);
  }
  if (holds.hasTracks) {
    AddList(text, "flights", FlightsShown(core), FlightJson);
    AddTracks(text, core);
  }
  return text + "\n}\n";
}

}  // namespace

std::string MotionJson(const MotionCore& core) { return Document(core, {}, ""); }

std::string MotionFileJson(const MotionCore& core, const FileFacts& file) {
  return MotionFileJson(core, file, {});
}

std::string MotionFileJson(const MotionCore& core, const FileFacts& file,
                           const DocumentNotes& notes) {
  Json facts;
  facts["kind"] = file.kind;
  facts["form"] = file.form;
  facts["version"] = file.version;
  if (file.motions > 0) facts["motions"] = file.motions;
  std::string head = "\"file\": " + facts.dump();
  if (!notes.fields.empty()) head += ",\n" + notes.fields;
  return Document(core, file, head, notes.sliding);
}

}  // namespace strider
