// A take's file becomes a motion by the settings exactly as they stand: nothing is guessed, unknown
// joints are left out, and no frame is. What chooses for the user is import_take.h.
//
// A .bvh is taken as it stands, Y up; the up axis is a setting of marker files. A .sdr is a motion
// already, for which scale, names and planes of limbs say nothing; a pose refuses it.
#pragma once

#include <string>
#include <vector>

#include "strider/capture/capture_report.h"
#include "strider/capture/convert.h"
#include "strider/capture/mocap_manager.h"

namespace strider {

struct LoadedCapture {
  MotionCore motion;
  CaptureReport file;  // of the reader; a .sdr has none
  ConversionReport conversion;
  std::string cause;               // why there is no motion, with the file that is to blame
  std::vector<std::string> notes;  // what a user should know of a take that was taken
};

/// Reads a .bvh, a .mkr or a .sdr, whatever the case of its ending, at `ticksPerFrame`: frames of a
/// take are left out until it is as slow, and none is made. 1, and the motion; 0, or -1 where
/// markers that a take needs are missing, and the cause.
int LoadCapture(const std::string& path, const MocapManager& manager, TimeValue ticksPerFrame,
                const EvalContext& context, LoadedCapture& loaded);

/// The ending of a path in lower case, without its dot; empty for none.
std::string EndingOf(const std::string& path);

}  // namespace strider
