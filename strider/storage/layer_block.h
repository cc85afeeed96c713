// The keys of one motion, a base or a layer, in a stream: tags 294 to 360, completed by 321.
#pragma once

#include "strider/core/motion_core.h"
#include "strider/storage/block.h"

namespace strider {

void WriteLayerBlock(Stream& s, const MotionCore& core);
/// Reads a block whose first tag has been read into `core`, whose key tables, switches of separate
/// tracks, layer state and extra chains (names aside) are then those of the stream. The tables are
/// raw: AdoptKeys gives them to a figure.
void ReadLayerBlock(Stream& s, MotionCore& core, StreamHeader& header, int tag);

/// Gives a figure the keys that ReadLayerBlock has read into `keys`: their tables in the form that
/// the figure's structure asks for. Of extra chains those that the figure has. Throws
/// std::bad_alloc.
void AdoptKeys(MotionCore& figure, MotionCore& keys);

}  // namespace strider
