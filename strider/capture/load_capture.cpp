#include "strider/capture/load_capture.h"

#include <new>

#include "strider/capture/bridge_markers.h"
#include "strider/capture/bvh_reader.h"
#include "strider/capture/conversion_settings.h"
#include "strider/capture/marker_reader.h"

namespace strider {
namespace {

/// The status of a load so far; 1 to go on.
int ReadScene(const std::string& path, const std::string& ending, const MocapManager& manager,
              TimeValue ticksPerFrame, CaptureScene& scene, LoadedCapture& loaded) {
  if (ending == "bvh") {
    const BvhSettings settings = {manager.GetScaleFactor(), manager.JointNames(), ticksPerFrame,
                                  false};
    (void)ReadBvh(scene, path, settings, loaded.file);
  } else {
    const MarkerSettings settings = {manager.GetUpVector(), manager.GetScaleFactor(),
                                     manager.MarkerNames(), ticksPerFrame};
    (void)ReadMarkers(scene, path, settings, loaded.file);
    BridgeShortGaps(scene, loaded.notes);
  }
  loaded.cause = loaded.file.message;
  return loaded.file.status;
}

int Load(const std::string& path, const MocapManager& manager, TimeValue ticksPerFrame,
         const EvalContext& context, LoadedCapture& loaded) {
  const auto refuse = [&](std::string why) {
    loaded.cause = path + ": " + why;
    return 0;
  };
  const std::string ending = EndingOf(path);
  if (ending != "bvh" && ending != "mkr" && ending != "sdr") {
    return refuse("takes end in .bvh, .mkr or .sdr");
  }
  const MocapParameters& parameters = manager.Parameters();
  ConversionSettings settings;
  NamedFigures figures;
  if (!ReadConversionSettings(parameters, figures, settings, loaded.cause)) return 0;
  settings.dense.ticksPerFrame = ticksPerFrame;
  ConversionReport& report = loaded.conversion;
  int converted = kRefused;
  if (ending == "sdr") {
    DenseMotion dense;
    if (!ReadMotionAsTake(path, parameters, ticksPerFrame, context, dense, loaded.cause)) return 0;
    converted = FinishDenseMotion(settings, dense, loaded.motion, report, context);
  } else {
    CaptureScene scene;
    const int status = ReadScene(path, ending, manager, ticksPerFrame, scene, loaded);
    if (status != 1) return status;
    if (scene.numFrames == 0) return refuse("no frames");
    ConvertedFrames frames;
    std::string why;
    if (!ChooseConvertedFrames(parameters, scene.numFrames, frames, why)) return refuse(why);
    settings.dense.frames = {static_cast<int>(frames.first), static_cast<int>(frames.last), 1};
    converted = Convert(scene, settings, loaded.motion, report, context);
  }
  return converted == kDone ? 1 : refuse(report.message);
}

}  // namespace

int LoadCapture(const std::string& path, const MocapManager& manager, TimeValue ticksPerFrame,
                const EvalContext& context, LoadedCapture& loaded) {
  try {
    loaded = {};
    return Load(path, manager, ticksPerFrame, context, loaded);
  } catch (const std::bad_alloc&) {
    loaded.cause = path + ": memory ran out";
    return 0;
  }
}

std::string EndingOf(const std::string& path) {
  const std::size_t dot = path.find_last_of("./");
  if (dot == std::string::npos || path[dot] != '.') return "";
  std::string ending = path.substr(dot + 1);
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return ending;
}

}  // namespace strider
