// Reads a marker file, .mkr, into a take.
#pragma once

#include <string>
#include <string_view>

#include "strider/base/time_value.h"
#include "strider/capture/capture_report.h"
#include "strider/capture/capture_scene.h"
#include "strider/capture/name_file.h"

namespace strider {

/// Which axis of a file points up.
enum UpVector : int { kUpIsX = 0, kUpIsY = 1, kUpIsZ = 2 };

struct MarkerSettings {
  int upVector = kUpIsZ;
  float scaleFactor = 1;             // of places
  const NameTable* names = nullptr;  // what the file calls the markers; null for our own names
  TimeValue ticksPerFrame = 160;     // as in BvhSettings
};

/// A file's place in the core's axes.
Point3 FromMarkerAxes(const Point3& file, int upVector);

/// 1, and the take in `scene`; 0, the scene empty and the cause in the report; -1 the same where
/// markers that a take needs are missing.
int ReadMarkers(CaptureScene& scene, const std::string& path, const MarkerSettings& settings,
                CaptureReport& report);
/// The same of a file's text; `path` is what messages and the scene call it.
int ReadMarkersText(CaptureScene& scene, std::string_view text, const std::string& path,
                    const MarkerSettings& settings, CaptureReport& report);

}  // namespace strider
