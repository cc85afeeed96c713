// A figure in a stream: its structure (tags 10 to 34), the sizes of its links (401 to 512), its
// stance (100 to 122), its twist poses (27 to 36), and, for undo, the pose it stands in (600 to
// 621).
#pragma once

#include "strider/core/motion_core.h"
#include "strider/storage/block.h"

namespace strider {

/// Writes structure, sizes, stance and twist poses.
void WriteFigureBlocks(Stream& s, const MotionCore& core);
/// Writes the pose that the figure stands in.
void WritePoseBlock(Stream& s, const MotionCore& core);

/// Reads the blocks, the first tag of which has been read, into a figure without keys that stands
/// in its stance. Versions below 40 have no twist poses: the figure's are then the default ones.
/// `core` is of no use where the stream is not good afterwards.
void ReadFigureBlocks(Stream& s, MotionCore& core, StreamHeader& header, int tag);
/// Reads only as far as the stance.
void ReadFigureBlocksNoTwists(Stream& s, MotionCore& core, StreamHeader& header, int tag);
/// Reads a pose block into the pose of a figure of the same structure.
void ReadPoseBlock(Stream& s, MotionCore& core, StreamHeader& header, int tag);

}  // namespace strider
