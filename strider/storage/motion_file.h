// Motion, footstep and figure files, as users load and save them: options, whole files, causes
// that name the file.
#pragma once

#include <optional>
#include <string>

#include "strider/core/eval_context.h"
#include "strider/storage/motion_stream.h"

namespace strider {

/// How a loaded motion is changed before it is given out. What needs a scene's objects
/// (loadArborObjects, scaleIKObjectSize and the like) has no say without a scene.
struct LoadOptions {
  bool keyPerFrame = false;        // a key of every part on every frame
  bool flattenToZ = false;         // all footsteps to the ground plane
  bool matchFileStruct = true;     // the file's figure; else the motion goes onto `figure`
  bool zeroHgt = false;            // the motion starts on the ground plane
  bool retargetHeight = false;     // onto `figure`: strides stay, the body takes its own height
  bool retargetLimbSizes = false;  // onto `figure`: hands go with their arm's angles, none is held
  const MotionCore* figure = nullptr;
};

/// Reads any of the three kinds. `cause` names file and place.
[[nodiscard]] bool ReadMotionFile(const std::string& path, const ReadOptions& options,
                                  StreamContents& contents, std::string& cause);

/// Reads a file and makes of it what can be played: footsteps alone get their motion, on
/// `options.figure` or the default figure; the options are applied to every motion.
[[nodiscard]] bool LoadMotion(const std::string& path, const LoadOptions& options,
                              const EvalContext& context, StreamContents& contents,
                              std::string& cause);
/// The base motion of a file alone, as it stands in it.
[[nodiscard]] bool LoadMotionFile(const std::string& path, MotionCore& core, std::string& cause);

/// Applies options to a motion. kRefused, nothing changed, if memory ran out.
[[nodiscard]] int ApplyLoadOptions(MotionCore& core, const LoadOptions& options,
                                   const EvalContext& context);

/// A motion of the part from `first` to `last` (ticks), both on whole frames: its footsteps, cut
/// where they reach over the ends, its keys, keys at the two ends that hold the pose there, and one
/// on each frame that no footstep of it reaches, where what was a flight or swing is free-form.
/// kRefused: memory ran out, or no time lies between the two.
[[nodiscard]] int CutSegment(const MotionCore& core, TimeValue first, TimeValue last,
                             bool keyPerFrame, const EvalContext& context, MotionCore& segment);

// Saves: written beside the target and renamed into place. .sdr is binary, the others text.
[[nodiscard]] bool SaveMotion(const std::string& path,
                              const std::vector<const MotionCore*>& motions,
                              const WriteOptions& options, std::string& cause);
[[nodiscard]] bool SaveMotionSegment(const std::string& path, const MotionCore& core,
                                     TimeValue first, TimeValue last, bool keyPerFrame,
                                     const HeaderInfo* header, const EvalContext& context,
                                     std::string& cause);
/// Refused for a motion without footsteps.
[[nodiscard]] bool SaveFootsteps(const std::string& path, const MotionCore& core,
                                 std::string& cause);
[[nodiscard]] bool SaveFigure(const std::string& path, const MotionCore& core, std::string& cause);

/// The whole of a file's bytes.
[[nodiscard]] bool ReadWholeFile(const std::string& path, std::string& bytes, std::string& cause);
/// The same, the cause with the path before it.
[[nodiscard]] bool ReadNamedFile(const std::string& path, std::string& bytes, std::string& cause);

}  // namespace strider
