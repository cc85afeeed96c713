#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/motion_outputs.h"
#include "cli/output.h"
#include "cli/text_option.h"
#include "cli/verbs.h"
#include "strider/base/number_text.h"
#include "strider/footsteps/convert_motion.h"
#include "strider/storage/motion_file.h"
#include "strider/storage/preferences.h"

namespace strider {
namespace {

constexpr const char* kName = "convert";

struct Arguments {
  std::string input, output;
  std::optional<std::string> from, to, figure, bodyType, metresPerUnit;
  bool keyPerFrame = false, flatten = false, zeroHeight = false;
  bool retargetHeight = false, retargetLimbs = false;
  bool freeForm = false, footsteps = false, bake = false, flat = false;
  MotionOutputWords words;
};

/// A whole number within bounds; `refusal` names the option.
bool ReadWhole(const char* option, const std::optional<std::string>& text, std::int64_t low,
               std::int64_t high, std::optional<std::int64_t>& value, std::string& refusal) {
  if (!text) return true;
  value = ReadInteger(*text);
  if (value && low <= *value && *value <= high) return true;
  refusal = std::string(option) + " must be a whole number from " + std::to_string(low) + " to " +
            std::to_string(high) + ", given \"" + *text + "\"";
  return false;
}

/// The frames that were asked for, within those of the motion.
bool ReadRange(const Arguments& arguments, const MotionCore& core, FrameRange& range, bool& given,
               std::string& refusal) {
  range = FrameRangeOf(core);
  std::optional<std::int64_t> from, to;
  constexpr std::int64_t kFar = 1'000'000'000;
  if (!ReadWhole("--from", arguments.from, -kFar, kFar, from, refusal) ||
      !ReadWhole("--to", arguments.to, -kFar, kFar, to, refusal)) {
    return false;
  }
  const FrameRange all = range;
  given = from || to;
  range.first = std::max(from.value_or(range.first), range.first);
  range.last = std::min(to.value_or(range.last), range.last);
  if (range.first <= range.last) return true;
  refusal = arguments.input + ": no frames from " + arguments.from.value_or("its start") + " to " +
            arguments.to.value_or("its end") + "; the motion has those from " +
            std::to_string(all.first) + " to " + std::to_string(all.last);
  return false;
}

/// Refuses what would change nothing in the output.
bool CheckUses(const Arguments& arguments, std::string& refusal) {
  const std::string format = ExtensionOf(arguments.output);
  const bool motion = HoldsMotion(format);
  const struct {
    const char* option;
    bool given, used;
  } rows[] = {{"--from", arguments.from.has_value(), motion},
              {"--to", arguments.to.has_value(), motion},
              {"--key-per-frame", arguments.keyPerFrame, motion && format != "stp"},
              {"--flatten", arguments.flatten, motion},
              {"--zero-height", arguments.zeroHeight, motion},
              {"--body-type", arguments.bodyType.has_value(), DrawsBodies(format)},
              {"--metres-per-unit", arguments.metresPerUnit.has_value(), CountsInMetres(format)}};
  for (const auto& row : rows) {
    if (!row.given || row.used) continue;
    refusal = std::string(row.option) + " has no meaning for ." + format;
    return false;
  }
  return true;
}

bool ReadOutputOptions(const Arguments& arguments, MotionOutputOptions& options,
                       std::string& refusal) {
  if (!CheckUses(arguments, refusal)) return false;
  std::optional<std::int64_t> bodyType;
  if (!ReadWhole("--body-type", arguments.bodyType, 0, 3, bodyType, refusal)) return false;
  if (bodyType) options.bodyType = static_cast<int>(*bodyType);
  if (arguments.metresPerUnit) {
    options.metresPerUnit = ReadNumber(*arguments.metresPerUnit);
    if (!options.metresPerUnit ||
        !(*options.metresPerUnit >= 1e-6 && *options.metresPerUnit <= 1e6)) {
      refusal = "--metres-per-unit must be a number from 1e-06 to 1e+06, given \"" +
                *arguments.metresPerUnit + "\"";
      return false;
    }
  }
  return ReadMotionOutputOptions(arguments.words, ExtensionOf(arguments.output), options, refusal);
}

/// Loads with the options that change the motion.
bool Load(const Arguments& arguments, StreamContents& contents, std::string& refusal) {
  LoadOptions options;
  options.keyPerFrame = arguments.keyPerFrame;
  options.flattenToZ = arguments.flatten;
  options.zeroHgt = arguments.zeroHeight;
  options.retargetHeight = arguments.retargetHeight;
  options.retargetLimbSizes = arguments.retargetLimbs;
  StreamContents figure;
  if (arguments.figure) {
    if (!ReadMotionFile(*arguments.figure, {}, figure, refusal)) return false;
    if (!figure.hasFigure) {
      refusal = *arguments.figure + ": holds no figure";
      return false;
    }
    options.figure = &figure.Top();
    options.matchFileStruct = false;
  } else if (arguments.retargetHeight || arguments.retargetLimbs) {
    refusal = "--retarget-height and --retarget-limbs need the figure to go to: --figure F.fig";
    return false;
  }
  return LoadMotion(arguments.input, options, {}, contents, refusal);
}

bool CheckConversion(const Arguments& arguments, std::string& refusal) {
  if (arguments.freeForm && arguments.footsteps) {
    refusal = "--free-form and --footsteps exclude each other";
  } else if (arguments.bake && !arguments.freeForm && !arguments.footsteps) {
    refusal = "--bake goes with --free-form or --footsteps";
  } else if (arguments.flat && !arguments.footsteps) {
    refusal = "--flat goes with --footsteps";
  }
  return refusal.empty();
}

bool ConvertMotion(const Arguments& arguments, MotionCore& core, std::string& refusal) {
  const std::string at = arguments.input + ": ";
  if (arguments.freeForm) {
    if (core.freeForm) {
      refusal = at + "the motion is free-form already";
    } else if (ConvertToFreeForm(core, arguments.bake, {}) == kRefused) {
      refusal = at + "memory ran out";
    }
  } else if (arguments.footsteps && !core.freeForm) {
    refusal = at + "the motion has footsteps already";
  } else if (arguments.footsteps) {
    const Preferences defaults;
    ExtractionSettings settings;
    settings.conversionFlag = 1;
    settings.fsSlidingAngle = static_cast<float>(defaults.slidingAngle);
    settings.fsSlidingDist = static_cast<float>(defaults.slidingDist);
    ExtractionReport report;
    switch (ConvertToFootsteps(core, settings, {arguments.bake, arguments.flat}, report, {})) {
      case ToFootstepsResult::kDone: break;
      case ToFootstepsResult::kNoFootsteps:
        refusal = at +
                  "no leg key holds a foot on the ground, so that there are no footsteps; in a "
                  "motion without such keys \"strider import\" finds them";
        break;
      case ToFootstepsResult::kRefused: refusal = at + "memory ran out"; break;
    }
  }
  return refusal.empty();
}

ExitStatus Run(const Arguments& arguments) {
  const std::string format = ExtensionOf(arguments.output);
  std::string refusal;
  MotionOutputOptions output;
  const std::vector<std::string> formats = MotionFormats();
  if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
    return RefuseFormat(kName, arguments.output, formats);
  }
  if (!ReadOutputOptions(arguments, output, refusal) || !CheckConversion(arguments, refusal)) {
    return Refuse(kName, refusal);
  }
  StreamContents contents;
  if (!Load(arguments, contents, refusal)) return Refuse(kName, refusal);
  if (!contents.warning.empty()) {
    std::cerr << "strider convert: " << OnOneLine(arguments.input + ": " + contents.warning)
              << "\n";
  }
  MotionCore& core = contents.Base();
  if (!ConvertMotion(arguments, core, refusal)) return Refuse(kName, refusal);
  FrameRange range;
  bool part = false;
  if (!ReadRange(arguments, core, range, part, refusal)) return Refuse(kName, refusal);
  output.range = range;
  std::string cause;
  bool done = true;
  // What has no frames of its own, or draws the whole of a motion, gets the part as a motion.
  const bool draws = format == "png";
  if (part && (draws || format == "sdr" || format == "stp")) {
    MotionCore segment;
    done = CutSegment(core, TimeOfFrame(core, range.first), TimeOfFrame(core, range.last),
                      arguments.keyPerFrame || draws, {}, segment) == kDone;
    if (!done) cause = "memory ran out";
    core = std::move(segment);
    contents.motions.resize(1);
  }
  if (done && format == "sdr") {
    std::vector<const MotionCore*> motions;
    for (const auto& motion : contents.motions) motions.push_back(motion.get());
    WriteOptions writing;
    if (contents.hasHeaderInfo) writing.headerInfo = &contents.headerInfo;
    if (contents.hasAttachments) writing.attachments = contents.attachments;
    done = SaveMotion(arguments.output, motions, writing, cause);
  } else if (done) {
    done = WriteMotionAs(format, core, output, arguments.output, cause);
  }
  if (!done) return Refuse(kName, arguments.output + ": " + cause);
  return PrintOutput(kName, arguments.output + "\n");
}

}  // namespace

Verb AddConvertVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Reads a motion (.sdr), footsteps (.stp) or a figure (.fig) and writes it as the extension\n"
      "of the output says.");
  parser->group("Verbs");
  const auto a = std::make_shared<Arguments>();
  parser->add_option("input", a->input, "file to read: .sdr, .stp or .fig")
      ->type_name("IN")
      ->required();
  AddTextOption(*parser, "--from", a->from, "FRAME",
                "first frame to write; default the motion's first");
  AddTextOption(*parser, "--to", a->to, "FRAME", "last frame to write; default the motion's last");
  parser->add_flag("--key-per-frame", a->keyPerFrame, "a key of every part on every frame");
  parser->add_flag("--flatten", a->flatten, "all footsteps to the ground plane");
  parser->add_flag("--zero-height", a->zeroHeight, "the motion starts on the ground plane");
  AddTextOption(*parser, "--figure", a->figure, "F.fig",
                "the figure to move; default the file's own");
  parser->add_flag("--retarget-height", a->retargetHeight,
                   "with --figure: strides stay, the body takes its own height");
  parser->add_flag("--retarget-limbs", a->retargetLimbs,
                   "with --figure: each limb reaches by its own length");
  parser->add_flag("--free-form", a->freeForm, "the footsteps go, the motion stays as free keys");
  parser->add_flag("--footsteps", a->footsteps,
                   "footsteps where leg keys hold a foot on the ground");
  parser->add_flag("--bake", a->bake,
                   "with --free-form or --footsteps: a key of every part on every frame first");
  parser->add_flag("--flat", a->flat, "with --footsteps: they are put on the ground plane");
  AddTextOption(*parser, "--body-type", a->bodyType, "N",
                "bodies that are drawn, 0 the finest to 3 boxes");
  AddTextOption(*parser, "--metres-per-unit", a->metresPerUnit, "M",
                "size of a scene unit for formats in metres");
  AddMotionOutputOptions(*parser, a->words);
  parser->add_option("-o,--output", a->output, "file to write: " + ListFormats(MotionFormats()))
      ->type_name("OUT")
      ->required();
  return {parser, [a] { return Run(*a); }};
}

}  // namespace strider
