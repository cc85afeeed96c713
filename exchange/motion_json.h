// What a motion is made of, as JSON: figure, footsteps, phases of support, flights, and the times
// of all keys. docs/cli.md describes the format field by field.
#pragma once

#include <string>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// One record a line. Times in ticks, places in the host's world, Z up, headings in degrees. The
/// same motion always gives the same bytes.
std::string MotionJson(const MotionCore& core);

/// A file, and which of the document's parts it holds; the others are left out.
struct FileFacts {
  const char* kind = "motion";  // motion, footsteps or figure
  const char* form = "binary";  // or text
  int version = 0;
  int motions = 0;  // the base and its layers; 0 for a file without
  bool hasFigure = true, hasFootsteps = true, hasTracks = true;
};
/// The same document of what a file holds, with "file" at its head.
std::string MotionFileJson(const MotionCore& core, const FileFacts& file);

/// What else a document may tell of a motion.
struct DocumentNotes {
  std::string fields;         // JSON fields behind "file", without the comma between
  std::vector<bool> sliding;  // of each footstep; empty where nobody knows
};
std::string MotionFileJson(const MotionCore& core, const FileFacts& file,
                           const DocumentNotes& notes);

}  // namespace strider
