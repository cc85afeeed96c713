// How places, turns and numbers stand in the JSON and the tables that we write.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "strider/base/quat.h"

namespace strider {

// Numbers are floats here as they are in the engine, so that each is printed as the shortest
// decimal that reads back as the same float. Fields keep the order in which they are set.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

/// Adding zero turns a negative zero into the plain one.
inline float Plain(float value) { return value + 0.0f; }

/// Of the two quaternions of a rotation the one with w not negative; of a half turn the one whose
/// first part that is not zero is positive.
inline Quat OneOfTwo(const Quat& q) {
  for (float part : {q.w, q.x, q.y, q.z}) {
    if (part != 0) return part < 0 ? -q : q;
  }
  return q;
}

inline Json ToJson(const Point3& p) { return Json::array({Plain(p.x), Plain(p.y), Plain(p.z)}); }
inline Json ToJson(const Quat& q) {
  return Json::array({Plain(q.x), Plain(q.y), Plain(q.z), Plain(q.w)});
}

}  // namespace strider
