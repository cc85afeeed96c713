// Reads a .bvh file into a take.
#pragma once

#include <string>
#include <string_view>

#include "strider/base/time_value.h"
#include "strider/capture/capture_report.h"
#include "strider/capture/capture_scene.h"
#include "strider/capture/name_file.h"

namespace strider {

struct BvhSettings {
  float scaleFactor = 1;             // of offsets and places
  const NameTable* names = nullptr;  // what the file calls the joints; null for our own names
  /// The scene's frame: of a take with as many times more frames only every so manieth is kept. 0
  /// keeps all.
  TimeValue ticksPerFrame = 160;
  /// What an unknown joint does goes into the known joints below it, so that everything stays where
  /// the take has it. Without it an unknown joint is left out whole.
  bool carry = true;
};

/// 1, and the take in `scene`; or 0, the scene empty and the cause in the report. What the file
/// says of frames that don't exist, and damage behind the first frames, is no refusal: the whole
/// frames before it are the take, which may have none.
int ReadBvh(CaptureScene& scene, const std::string& path, const BvhSettings& settings,
            CaptureReport& report);
/// The same of a file's text; `path` is what messages and the scene call it.
int ReadBvhText(CaptureScene& scene, std::string_view text, const std::string& path,
                const BvhSettings& settings, CaptureReport& report);

/// The names of a file's joints, in its order; none for what is no .bvh file.
std::vector<std::string> JointNamesOfBvh(std::string_view text);

}  // namespace strider
