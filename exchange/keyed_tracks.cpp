#include "exchange/keyed_tracks.h"

namespace strider {

std::vector<KeyedTrack> KeyedTracksOf(const MotionCore& core) {
  std::vector<KeyedTrack> tracks;
  const auto add = [&](int id, const std::string& name) {
    const KeyTrack* track = FindTrack(core, id);
    if (track != nullptr) tracks.push_back({id, name, track});
  };
  for (int id = 0; id <= kProp3; ++id) {
    const BodyPart* part = FindBodyPart(id);
    if (part->track == id) add(id, part->scriptName);
  }
  for (int i = 0; i < static_cast<int>(core.xtras.size()); ++i) {
    add(kXtraFirst + i, FindBodyPart(kXtraFirst)->scriptName + std::to_string(i + 1));
  }
  return tracks;
}

}  // namespace strider
