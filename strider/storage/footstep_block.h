// The footsteps of a motion in a stream: tags 200 to 207, completed by 203.
#pragma once

#include "strider/core/motion_core.h"
#include "strider/storage/block.h"

namespace strider {

struct FootstepBlock {
  FootstepTrack track;
  bool hasScale = false;  // the figure's measures came with the footsteps
};

void WriteFootstepBlock(Stream& s, const MotionCore& core);
/// Reads a block whose first tag has been read. What cannot be a footstep track breaks the stream;
/// a track that ends past the limit of time comes out empty and free-form. Selections and
/// mismatches are clear, everything derived is fresh.
void ReadFootstepBlock(Stream& s, FootstepBlock& block, StreamHeader& header, int tag);

}  // namespace strider
