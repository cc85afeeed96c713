// A file of a take becomes a motion: what the file does not say is guessed, and the settings that
// serve a user best are chosen unless he has his own.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "strider/capture/convert.h"
#include "strider/capture/mocap_manager.h"

namespace strider {

struct ImportOptions {
  std::string parameterFile;  // .moc; empty for the choices below
  /// Settings by their script names, over those of the file.
  std::vector<std::pair<std::string, std::string>> sets;
  std::string names;   // a set of joint names, or a name file; empty for the best fitting set
  std::string figure;  // .fig: who is to move so; empty for a figure fitted to the take
  std::string pose;    // .cal: in what pose he stands when the take stands in its reference
  std::optional<bool> footsteps;  // else as fsExtractionMode says
  bool reduce = true;
  std::optional<double> scale;  // scene units of one unit of the take; else to centimetres
  std::optional<UpAxis> up;     // else as the take stands
  std::optional<double> fps;    // frames a second of the motion; else see GuessSceneRate
  std::optional<int> from, to;  // frames of the motion, from its time 0 on
  std::optional<int> loopFrames;
  bool running = false;    // contacts as short as a runner's
  bool keepFirst = false;  // a first frame that stands alone belongs to the motion
  bool strict = false;     // joints with unknown names are left out whole
};

/// What a take was found to be.
struct TakeFacts {
  int frames = 0;            // of the file
  double rate = 0;           // frames a second, the file's
  double metresPerUnit = 0;  // of the file's unit
  std::string unitName;
  UpAxis up = UpAxis::kY;
  std::string nameSet;  // the set or file that the joints go by; empty for our own names
  std::vector<std::string> unknownJoints;
  std::vector<std::string> missingJoints;  // that the figure would have had a use for
  bool ofMarkers = false;                  // the names are those of markers
  int jointsFound = 0;
  bool leftOutFirst = false;  // the first frame served the fitting only
};

struct ImportResult {
  MotionCore motion;
  MotionCore pose;  // the fitted figure as it stands in the reference, one key a part
  TakeFacts take;
  ConversionReport conversion;
  double sceneRate = 0;         // frames a second of the motion
  double speedChange = 0;       // per cent; positive plays faster than it was
  double metresPerUnit = 0.01;  // of the motion
  MocapParameters parameters;   // as they were used
  float thighLength = 0;        // of the talent, in which fsExtractionTol and fsVerticalTol count
  std::vector<std::string> notes;  // what a user should know, a sentence each
  /// Those of the notes that make the motion doubtful: damage, settings that another take had.
  std::vector<std::string> doubts;
};

/// Reads a .bvh, a .mkr, or a .sdr whose footsteps are to be found and keys thinned anew. False,
/// with the cause naming file and place.
[[nodiscard]] bool ImportTake(const std::string& path, const ImportOptions& options,
                              const EvalContext& context, ImportResult& result, std::string& cause);

/// The extensions that ImportTake reads, without dots.
const std::vector<std::string>& TakeFormats();

}  // namespace strider
