// What the capture settings ask of a conversion, with the files that they name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "strider/capture/convert.h"
#include "strider/capture/mocap_manager.h"
#include "strider/storage/motion_stream.h"

namespace strider {

/// The files' contents, which a conversion's settings point into.
struct NamedFigures {
  std::optional<StreamContents> figure, pose;
};

/// All but the frames and what only the take tells: which way is up, the rate, the gravity. Reads
/// the files that are in use. False, with the cause naming the file, where one cannot be read or
/// holds no figure.
[[nodiscard]] bool ReadConversionSettings(const MocapParameters& parameters, NamedFigures& figures,
                                          ConversionSettings& settings, std::string& cause);

/// Frames of a motion, both included.
struct ConvertedFrames {
  std::int64_t first = 0, last = 0;
};
/// Those of a motion of `numFrames` frames, one at least, that the settings ask for. False, with
/// the cause in words, where they ask for none of them.
[[nodiscard]] bool ChooseConvertedFrames(const MocapParameters& parameters, std::int64_t numFrames,
                                         ConvertedFrames& frames, std::string& cause);

/// A stored motion as a take that is to be converted anew: without footsteps, a key of every part
/// on each of the chosen frames, the first at time 0. Layers are left out, and so is the frame of a
/// lift that ends the motion. Frames are `ticksPerFrame` long, where that is 0 as long as the
/// file's. False, with the cause naming the file, also where the settings ask for a pose
/// of the talent. May throw std::bad_alloc.
[[nodiscard]] bool ReadMotionAsTake(const std::string& path, const MocapParameters& parameters,
                                    TimeValue ticksPerFrame, const EvalContext& context,
                                    DenseMotion& take, std::string& cause);

}  // namespace strider
