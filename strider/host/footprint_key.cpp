#include "strider/host/footprint_key.h"

#include <algorithm>
#include <cstdio>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

constexpr FootprintKeyProperty kProperties[] = {
    {"time", false},   {"duration", true},  {"selected", false}, {"edgeSel", true},
    {"active", false}, {"transform", true}, {"side", false},
};

}  // namespace

FootprintKey FootprintKeyOf(const FootstepTrack& track, int footstep) {
  FootprintKey key;
  const FootstepSpan* span = SpanOf(track, footstep);
  if (!span) return key;
  const auto i = static_cast<std::size_t>(footstep);
  key.time = span->start;
  key.duration = span->duration;
  if (track.startEdgeSelected.Get(footstep)) key.edgeSel |= kStartEdge;
  if (track.endEdgeSelected.Get(footstep)) key.edgeSel |= kEndEdge;
  key.active = track.active.Get(footstep) ? 1 : 0;
  key.transform = track.transform[i];
  key.side = track.side[i];
  return key;
}

std::span<const FootprintKeyProperty> FootprintKeyProperties() { return kProperties; }

PropertyAccess AccessOf(std::string_view property) {
  const auto* const found =
      std::find_if(std::begin(kProperties), std::end(kProperties),
                   [property](const FootprintKeyProperty& p) { return property == p.name; });
  if (found == std::end(kProperties)) return PropertyAccess::kUnknown;
  return found->writable ? PropertyAccess::kWritable : PropertyAccess::kReadOnly;
}

std::string PrintedFootprintKey(const std::string& track, int number, TimeValue time,
                                TimeValue ticksPerFrame) {
  char frames[32];
  const double frame = static_cast<double>(time) / std::max(1, ticksPerFrame);
  std::snprintf(frames, sizeof frames, "%g", frame);
  return "#" + track + " key(" + std::to_string(number) + " @ " + frames + "f)";
}

}  // namespace strider
