#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/make_figure.h"
#include "cli/make_options.h"
#include "cli/motion_outputs.h"
#include "cli/output.h"
#include "cli/structure_options.h"
#include "cli/verbs.h"
#include "exchange/footstep_plan.h"
#include "exchange/motion_json.h"
#include "exchange/motion_range.h"
#include "exchange/motion_table.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/place.h"

namespace strider {
namespace {

constexpr const char* kName = "make";

struct Arguments {
  std::vector<GivenParameter> given;
  MakeWords words;
  MotionOutputWords outputWords;
  std::string output;
  bool json = false;
};

/// A motion with what is said of it beside the files.
struct Made {
  MotionCore core;
  std::string readouts;
  std::string refusal;  // why there is none; empty if there is

  bool Refuse(const std::string& why) {
    refusal = why;
    return false;
  }
};

template <class... Values>
std::string Format(const char* form, Values... values) {
  char text[160];
  (void)std::snprintf(text, sizeof text, form, values...);
  return text;
}

/// Why footsteps could not be placed.
std::string Reason(const PlaceResult& result) {
  const std::string which =
      result.failing > 0 ? "footstep " + std::to_string(result.failing) + " " : "a footstep ";
  switch (result.status) {
    case PlaceStatus::kDoubleSupportTooLong:
      return "the time on both feet (--air) must be less than half the time on the ground "
             "(--ground), also at the end of --interpolate-to";
    case PlaceStatus::kNeverInTheAir:
      return "a run must be in the air for a frame at least: give it a longer --cycle or, with "
             "--no-auto-timing, a longer --air";
    case PlaceStatus::kDoesNotFit: return which + "does not fit: its time is taken";
    case PlaceStatus::kTooLate:
      return which + "ends too late: footsteps must end before " +
             Format("%.6g s", static_cast<double>(kFootstepTimeLimit) / kTicksPerSecond);
    case PlaceStatus::kOutOfMemory: return "memory ran out";
    case PlaceStatus::kPlaced: return "";
    default: return which + "cannot be placed";
  }
}

// --- Footsteps ---------------------------------------------------------------------------------

int GaitOf(const std::string& motion) {
  return motion == "run" ? kRun : motion == "jump" ? kJump : kWalk;
}

TimeValue Frames(double frames) { return static_cast<TimeValue>(frames) * kDynamicsFrame; }

/// The batch's parameters: the gait's own, but for what the user set.
MultFprintParams BatchParams(const GaitSettings& settings, const MakeOptions& options,
                             const MakeWords& words) {
  MultFprintParams params = settings.params[settings.fsGaitMode - 1];
  const auto set = [&options](MakeNumber number, float& value) {
    if (options.Has(number)) value = static_cast<float>(options.Get(number));
  };
  if (options.Has(kMakeFootsteps)) {
    params.numFootsteps = static_cast<int>(options.Get(kMakeFootsteps));
  }
  set(kMakeStrideLength, params.paramStrideLength1);
  set(kMakeStrideWidth, params.paramStrideWidth);
  set(kMakeStrideHeight, params.actualStrideHeight1);
  if (options.Has(kMakeCycle)) params.cycle1 = Frames(options.Get(kMakeCycle));
  params.autoTiming = words.noAutoTiming ? 0 : 1;
  params.alternate = words.noAlternate ? 0 : 1;
  params.interpTiming = options.interpolateTo ? 1 : 0;
  params.paramStrideLength2 = params.paramStrideLength1;
  params.actualStrideHeight2 = params.actualStrideHeight1;
  params.cycle2 = params.cycle1;
  if (options.interpolateTo) {
    params.paramStrideLength2 = static_cast<float>(options.interpolateTo->length);
    params.cycle2 = Frames(options.interpolateTo->cycle);
    if (options.interpolateTo->height) {
      params.actualStrideHeight2 = static_cast<float>(*options.interpolateTo->height);
    }
  }
  return params;
}

bool PlaceGait(Made& made, const MakeOptions& options, const MakeWords& words) {
  GaitSettings settings(made.core.ticksPerFrame);
  settings.fsGaitMode = GaitOf(words.motion);
  if (options.startSide) settings.nextSide = *options.startSide;
  MultFprintParams params = BatchParams(settings, options, words);
  const StepMeasures figure = MeasuresOf(made.core);
  SetActuals(params, figure);
  GaitDurations& durations = settings.Durations();
  if (options.Has(kMakeGround)) durations.ground = Frames(options.Get(kMakeGround));
  if (options.Has(kMakeAir)) durations.air = Frames(options.Get(kMakeAir));
  // With durations of the user's own the batch ends in those that its last stride and cycle give.
  settings.second = AutoTiming(settings.fsGaitMode, figure.legLength, params.actualStrideLength2,
                               params.cycle2, made.core.ticksPerFrame);

  const PlaceResult result = PlaceMultiple(made.core, settings, params, 0);
  if (!result.Done()) return made.Refuse(Reason(result));
  const BatchReadouts readouts =
      ReadoutsOf(params, settings.fsGaitMode, settings.Durations(), made.core.ticksPerFrame, true);
  made.readouts = Format("strides: %d\ndistance: %.2f\ncycle: %g\nspeed: %.2f\n", readouts.strides,
                         static_cast<double>(readouts.totalDistance),
                         static_cast<double>(readouts.cycle), static_cast<double>(readouts.speed));
  return true;
}

bool PlacePlan(Made& made, const MakeOptions& options, const std::string& path) {
  PlanSettings settings;
  settings.ticksPerFrame = made.core.ticksPerFrame;
  if (options.Has(kMakeMetresPerUnit)) {
    settings.unitsPerLength = 1 / options.Get(kMakeMetresPerUnit);
  }
  std::vector<PlannedFootstep> plan;
  std::string cause;
  if (!ReadFootstepPlan(path, settings, plan, cause)) return made.Refuse(Named(path) + cause);
  std::vector<NewFootstep> footsteps;
  footsteps.reserve(plan.size());
  for (const PlannedFootstep& step : plan) {
    footsteps.push_back(
        {step.side, step.start, step.duration, CoreFromHost(step.place), step.heading});
  }
  const PlaceResult result = PlaceFootsteps(made.core, footsteps);
  if (!result.Done()) return made.Refuse(Named(path) + Reason(result));
  made.readouts = Format("footsteps: %d\n", result.placed);
  return true;
}

/// Bends and scales what was placed. The pair that a gait starts from keeps standing as the figure
/// does; the path turns from the first stride on.
bool Shape(Made& made, const MakeOptions& options, bool standsFirst) {
  FootstepTrack& track = made.core.footsteps;
  const auto select = [&track](int from) {
    for (int i = 0; i < track.numFootsteps; ++i) SelectFootstep(track, i, i >= from);
  };
  if (options.Has(kMakeBend)) {
    select(standsFirst ? 2 : 0);
    const float angle = DegreesToRadians(static_cast<float>(options.Get(kMakeBend)));
    if (BendFootprints(made.core, angle) == kRefused) {
      return made.Refuse(standsFirst ? "--bend needs two footsteps after the standing pair"
                                     : "--bend needs two footsteps");
    }
  }
  select(0);
  for (const MakeNumber number : {kMakeScaleLength, kMakeScaleWidth}) {  // two edits, not one
    if (!options.Has(number)) continue;
    const auto factor = static_cast<float>(options.Get(number));
    FootstepScale scale;
    scale.useLength = number == kMakeScaleLength;
    scale.useWidth = number == kMakeScaleWidth;
    (scale.useLength ? scale.length : scale.width) = factor;
    if (ScaleFootprints(made.core, scale) == kRefused) {
      return made.Refuse(
          "--scale-length and --scale-width need two footsteps, and places that "
          "numbers can hold");
    }
  }
  ClearFootstepSelection(track);
  return true;
}

bool MakeMotion(Made& made, const Structure& structure, const MakeOptions& options,
                const MakeWords& words) {
  made.core = StandingFigure(structure);
  if (options.Has(kMakeGravity)) {
    // The core counts in frames, of which a second has 30.
    const auto gravity = static_cast<float>(options.Get(kMakeGravity) / 900);
    if (!(gravity > 0)) return made.Refuse("--gravity is too small");
    made.core.body.gravAccel = gravity;
  }
  const bool isPlan = words.motion == "plan";
  if (!(isPlan ? PlacePlan(made, options, *words.plan) : PlaceGait(made, options, words))) {
    return false;
  }
  if (!Shape(made, options, !isPlan)) return false;
  if (NewFootprintKeys(made.core, {}) != ActivationResult::kDone) {
    return made.Refuse("memory ran out");
  }
  return true;
}

// --- Output ------------------------------------------------------------------------------------

/// All files that are written, the one asked for last.
std::vector<std::string> FilesOf(const Arguments& arguments) {
  std::vector<std::string> files;
  if (arguments.outputWords.withFootsteps) {
    for (const char* what : kTablesBeside) files.push_back(TableBeside(arguments.output, what));
  }
  files.push_back(arguments.output);
  return files;
}

/// A plan is the user's own work: a slip of the keys must not put a table in its place.
bool WouldReplacePlan(const Arguments& arguments) {
  if (!arguments.words.plan) return false;
  const std::vector<std::string> files = FilesOf(arguments);
  return std::any_of(files.begin(), files.end(), [&arguments](const std::string& path) {
    std::error_code neither;  // where one of the two is not there
    return std::filesystem::equivalent(*arguments.words.plan, path, neither);
  });
}

ExitStatus Run(const Arguments& arguments) {
  Structure structure;
  MakeOptions options;
  std::string refusal;
  if (!ReadStructure(arguments.given, structure, refusal)) return Refuse(kName, refusal);
  if (!ReadMakeOptions(arguments.words, options, refusal)) return Refuse(kName, refusal);
  const std::string& output = arguments.output;
  const std::string format = ExtensionOf(output);
  const std::vector<std::string> formats = MotionFormats();
  if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
    return RefuseFormat(kName, output, formats);
  }
  if (WouldReplacePlan(arguments)) return Refuse(kName, Named(output) + "is the plan itself");
  if (options.Has(kMakeMetresPerUnit) && !arguments.words.plan && !CountsInMetres(format)) {
    return Refuse(kName, "--metres-per-unit has no meaning for a gait in ." + format);
  }
  MotionOutputOptions outputOptions;
  outputOptions.metresPerUnit = options.numbers[kMakeMetresPerUnit];
  if (!ReadMotionOutputOptions(arguments.outputWords, format, outputOptions, refusal)) {
    return Refuse(kName, refusal);
  }

  Made made;
  if (!MakeMotion(made, structure, options, arguments.words)) return Refuse(kName, made.refusal);
  if (!WriteMotionAs(format, made.core, outputOptions, output, refusal)) {
    return Refuse(kName, Named(output) + refusal);
  }
  // The document alone, so that a program can read what is printed.
  if (arguments.json) return PrintOutput(kName, MotionJson(made.core));
  const FrameRange range = FrameRangeOf(made.core);
  std::string report = made.readouts + "frames: " + std::to_string(range.first) + " to " +
                       std::to_string(range.last) + "\n";
  for (const std::string& file : FilesOf(arguments)) report += file + "\n";
  return PrintOutput(kName, report);
}

}  // namespace

Verb AddMakeVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Places footsteps, makes the motion that they imply, and writes it in the format that the\n"
      "output's name ends in.");
  parser->group("Verbs");
  const auto arguments = std::make_shared<Arguments>();
  AddMakeOptions(*parser, arguments->words);
  parser->add_flag("--json", arguments->json,
                   "print figure, footsteps, phases, flights and key times as JSON");
  AddMotionOutputOptions(*parser, arguments->outputWords);
  AddStructureOptions(*parser, arguments->given);
  parser
      ->add_option("-o,--output", arguments->output,
                   "file to write: " + ListFormats(MotionFormats()))
      ->type_name("FILE")
      ->required();
  return {parser, [arguments] { return Run(*arguments); }};
}

}  // namespace strider
