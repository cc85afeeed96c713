// A footstep as the host and its scripts see it: a key.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "strider/core/footstep_track.h"
#include "strider/host/key_control.h"

namespace strider {

/// Bits of edgeSel.
inline constexpr int kStartEdge = 1, kEndEdge = 2, kBothEdges = 3;

/// As exchanged with the host, `time` being the touch: 76 bytes in this order.
struct FootprintKey : IKey {
  std::int32_t edgeSel = 0;
  std::int32_t active = 0;
  Matrix3 transform;
  std::uint32_t transformFlags = 0;  // the host's matrices carry a word of their own
  std::int32_t side = 0;             // 0 right, 1 left
  TimeValue duration = 0;
};
static_assert(sizeof(FootprintKey) == 76);

/// The key of a footstep; a default one for an index outside.
FootprintKey FootprintKeyOf(const FootstepTrack& track, int footstep);

/// Name of the type in scripts.
inline constexpr const char* kFootprintKeyType = "StriderFSKey";
struct FootprintKeyProperty {
  const char* name;
  bool writable;
};
std::span<const FootprintKeyProperty> FootprintKeyProperties();

/// What becomes of a script's attempt to write a property.
enum class PropertyAccess { kWritable, kReadOnly, kUnknown };
PropertyAccess AccessOf(std::string_view property);

/// A key as scripts print it: name of its track, its number there, its time in frames.
std::string PrintedFootprintKey(const std::string& track, int number, TimeValue time,
                                TimeValue ticksPerFrame);

}  // namespace strider
