// Joints that we have no name for, carried into the known ones below them.
#pragma once

#include <vector>

#include "strider/capture/bvh_file.h"
#include "strider/capture/capture_scene.h"

namespace strider {

/// A joint of the file and what the reader makes of it.
struct MappedNode {
  int joint = kNoJoint;      // CaptureJoint; kNoJoint for an unknown one
  bool rotates = false;      // some frame turns it
  bool holdsOffset = false;  // its position channels are the whole way from the parent
};

/// Puts the numbers of the file's frames into the records of a take whose joints have been mapped:
/// `joints` has a record for each known one, with offset and channels; `nodes` goes with
/// file.nodes. With `carry` offset, rotation and place of unknown joints go into the next known
/// ones below. Places and offsets grow by `scale`. False if joints that so much hangs from would
/// take far more room than the file does. May throw std::bad_alloc.
[[nodiscard]] bool FillRecords(const BvhFile& file, std::vector<MappedNode>& nodes, float scale,
                               bool carry, CaptureScene& scene);

}  // namespace strider
