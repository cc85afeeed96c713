#include "strider/capture/conversion_settings.h"

#include <algorithm>
#include <utility>

#include "strider/core/motion_range.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/convert_motion.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

bool ReadFigure(const std::string& path, std::optional<StreamContents>& contents,
                std::string& cause) {
  contents.emplace();
  if (!ReadMotionFile(path, {}, *contents, cause)) return false;
  if (contents->hasFigure) return true;
  cause = path + ": holds no figure";
  return false;
}

/// All keys as much earlier.
void MoveToZero(MotionCore& core, TimeValue first) {
  if (first == 0) return;
  ForEachTable(core, [first](int, auto& table) {
    for (KeyTimeRecord& key : table.track.times) key.time -= first;
    MarkDirty(table.track, 0, table.track.numKeys - 1);
  });
  RefreshTracks(core);
}

/// A contact up to the last frame of a take lifts on the frame behind it, which is none of the
/// take's: a motion that ends there would grow by a frame each time that it is taken anew.
bool EndsWithLift(const MotionCore& motion, TimeValue end) {
  const FootstepTrack& track = motion.footsteps;
  const KeyTable<HorizontalKey>& path = motion.body.horizontal;
  const bool bodyIsThere = !path.Empty() && path.TimeOf(path.track.numKeys - 1) >= end;
  return !motion.freeForm && track.numFootsteps > 0 && LastFootstepTime(track) == end &&
         !bodyIsThere;
}

}  // namespace

bool ReadConversionSettings(const MocapParameters& parameters, NamedFigures& figures,
                            ConversionSettings& settings, std::string& cause) {
  settings.footsteps = parameters.fsExtractionMode == kFsExtract;
  settings.extraction = parameters.extraction;
  // Time 0 is the first frame that is converted.
  for (const FreeFormRange& range : parameters.freeFormRanges) {
    if (range.last < parameters.startFrame) continue;
    settings.freeFormRanges.push_back(
        {std::max(range.first - parameters.startFrame, 0), range.last - parameters.startFrame});
  }
  settings.reduction.rows = parameters.keyReduction;
  settings.dense.loopFrames = parameters.useLoopFrame ? parameters.loopFrameCount : 0;
  const auto plane = [&parameters](int limb) {
    return static_cast<PlaneSource>(
        std::clamp(parameters.limbOrientation[static_cast<std::size_t>(limb)], 0, 3));
  };
  settings.dense.orientation = {plane(kOrientKnee), plane(kOrientElbow), plane(kOrientFoot),
                                plane(kOrientHand)};
  if (parameters.useTalentFigStrucFile != 0) {
    if (!ReadFigure(parameters.talentFigStrucFile, figures.figure, cause)) return false;
    settings.figure = &figures.figure->Top();
    settings.dense.talent = StructureOfFigure(*settings.figure);
  }
  if (parameters.useTalentPoseAdjFile != 0) {
    if (!ReadFigure(parameters.talentPoseAdjFile, figures.pose, cause)) return false;
    settings.dense.pose = &figures.pose->Base();
  }
  return true;
}

bool ChooseConvertedFrames(const MocapParameters& parameters, std::int64_t numFrames,
                           ConvertedFrames& frames, std::string& cause) {
  const bool toEnd = parameters.endFrame == kWholeFile;
  frames.first = std::max(parameters.startFrame, 0);
  frames.last = toEnd ? numFrames - 1 : std::min<std::int64_t>(parameters.endFrame, numFrames - 1);
  if (frames.first <= frames.last) return true;
  cause = "no frames from " + std::to_string(parameters.startFrame) + " to " +
          (toEnd ? "its end" : std::to_string(parameters.endFrame)) +
          "; the take has those from 0 to " + std::to_string(numFrames - 1);
  return false;
}

bool ReadMotionAsTake(const std::string& path, const MocapParameters& parameters,
                      TimeValue ticksPerFrame, const EvalContext& context, DenseMotion& take,
                      std::string& cause) {
  const auto refuse = [&](const std::string& why) {
    cause = path + ": " + why;
    return false;
  };
  StreamContents contents;
  if (!LoadMotion(path, {}, context, contents, cause)) return false;
  if (parameters.useTalentPoseAdjFile != 0) {
    return refuse("is a motion already: a pose of the talent goes with a take");
  }
  MotionCore motion = std::move(contents.Base());
  motion.previousLayer = motion.nextLayer = nullptr;
  const Interval range = MotionRange(motion);
  if (range.start > range.end) return refuse("holds no keys");
  const bool endsWithLift = EndsWithLift(motion, range.end);
  if (!motion.freeForm && ConvertToFreeForm(motion, true, context) == kRefused) {
    return refuse("memory ran out");
  }
  if (ticksPerFrame > 0) motion.ticksPerFrame = motion.footsteps.ticksPerFrame = ticksPerFrame;
  const TimeValue frame = std::max<TimeValue>(motion.ticksPerFrame, 1);
  if (range.end < 0) return refuse("its motion lies before time 0");
  const TimeValue last = endsWithLift && range.end > 0 ? range.end - 1 : range.end;
  ConvertedFrames frames;
  if (!ChooseConvertedFrames(parameters, last / frame + 1, frames, cause)) {
    return refuse(std::string(cause));
  }
  if (frames.last - frames.first >= kMostTakeFrames)
    return refuse("too many frames for one motion");
  const TimeValue first = static_cast<TimeValue>(frames.first * frame);
  const std::vector<TimeValue> times =
      FramesBetween(motion, first, static_cast<TimeValue>(frames.last * frame));
  if (BakeKeys(motion, times, true, context) == kRefused) return refuse("memory ran out");
  MoveToZero(motion, first);
  const int loop = parameters.useLoopFrame != 0 ? parameters.loopFrameCount : 0;
  take = DenseMotionOf(std::move(motion), static_cast<int>(times.size()), loop, context);
  return true;
}

}  // namespace strider
