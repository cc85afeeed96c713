// The files that a motion can be written to, one row for each format: verbs that make or convert a
// motion share it.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "exchange/motion_range.h"
#include "strider/core/eval_context.h"

namespace strider {

/// How a motion is written. A format takes what it has a use for.
struct MotionOutputOptions {
  std::optional<FrameRange> range;      // else all of the motion
  std::optional<double> fps;            // frames a second, else the motion's own frames
  std::optional<double> metresPerUnit;  // else what the format's page under docs/formats says
  std::optional<int> bodyType;          // 0 to 3, else the figure's own
  bool atKeys = false;                  // poses at the times of keys alone
  bool rootMotion = false;              // ground path and heading on a node of their own
  bool inPlace = false;                 // no ground path
  bool onlyKnown = false;               // without the links that the format has no name for
  bool withFootsteps = false;           // tables of the footsteps beside that of the links
};

/// Options of a verb as they were written; ReadMotionOutputOptions turns them into values.
struct MotionOutputWords {
  std::optional<std::string> fps;
  bool atKeys = false, rootMotion = false, inPlace = false;
  bool onlyKnown = false, withFootsteps = false;
};
/// Adds the options, --fps only where it means the poses that are written; parsing fills `words`,
/// which has to outlive `verb`.
void AddMotionOutputOptions(CLI::App& verb, MotionOutputWords& words, bool withFps = true);
/// Sets in `options` what was written. False for a value that cannot be and for an option that the
/// format has no use for; `refusal` names it.
[[nodiscard]] bool ReadMotionOutputOptions(const MotionOutputWords& words,
                                           const std::string& format, MotionOutputOptions& options,
                                           std::string& refusal);

/// The extensions that WriteMotionAs knows, without their dots, for messages and help.
std::vector<std::string> MotionFormats();

/// True for a format that metresPerUnit has a say in.
bool CountsInMetres(const std::string& format);
/// Has a format that is in metres by itself know what a unit of the motion is; a .bvh stays in
/// units unless it is asked for another.
void TellUnit(const std::string& format, double metresPerUnit, MotionOutputOptions& options);
/// True for a format that bodyType has a say in.
bool DrawsBodies(const std::string& format);
/// False for a format of a figure alone.
bool HoldsMotion(const std::string& format);

/// Writes the motion in the format of an extension (as ExtensionOf gives it) whole under `path`,
/// with progress at a terminal. False if it cannot be; `cause` says why.
[[nodiscard]] bool WriteMotionAs(const std::string& format, const MotionCore& core,
                                 const MotionOutputOptions& options, const std::string& path,
                                 std::string& cause);

}  // namespace strider
