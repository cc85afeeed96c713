#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/import_options.h"
#include "cli/motion_outputs.h"
#include "cli/output.h"
#include "cli/verbs.h"
#include "exchange/import_json.h"
#include "strider/base/whole_file.h"
#include "strider/capture/moc_file.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

constexpr const char* kName = "import";
constexpr const char* kPoseFormat = "cal";

struct Arguments {
  std::string input, output, saveParams;
  bool json = false;
  ImportWords import;
  MotionOutputWords words;
};

bool Write(const Arguments& arguments, const ImportResult& result,
           const MotionOutputOptions& output, std::string& cause) {
  const std::string format = ExtensionOf(arguments.output);
  if (format == kPoseFormat) return SaveMotion(arguments.output, {&result.pose}, {}, cause);
  MotionOutputOptions options = output;
  TellUnit(format, result.metresPerUnit, options);
  return WriteMotionAs(format, result.motion, options, arguments.output, cause);
}

ExitStatus Run(const Arguments& arguments) {
  const std::string format = ExtensionOf(arguments.output);
  std::vector<std::string> formats = MotionFormats();
  formats.push_back(kPoseFormat);
  if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
    return RefuseFormat(kName, arguments.output, formats);
  }
  std::string refusal;
  ImportOptions options;
  MotionOutputOptions output;
  if (!ReadImportOptions(arguments.import, options, refusal)) return Refuse(kName, refusal);
  if (!ReadMotionOutputOptions(arguments.words, format, output, refusal)) {
    return Refuse(kName, refusal);
  }
  // Takes cannot be made again: a slip of the keys must not put a motion in the place of one.
  // Settings alone may be completed in place.
  const std::string& saveParams = arguments.saveParams;
  const char* input = InputAt(arguments.output, arguments.input, arguments.import);
  if (input != nullptr) return Refuse(kName, Named(arguments.output) + "is " + input + " itself");
  input = InputAt(saveParams, arguments.input, arguments.import);
  if (input != nullptr && input != kSettings) {
    return Refuse(kName, Named(saveParams) + "is " + input + " itself");
  }
  if (saveParams == arguments.output) return Refuse(kName, saveParams + ": is the output itself");
  ImportResult result;
  if (!ImportTake(arguments.input, options, {}, result, refusal)) return Refuse(kName, refusal);
  if (format == "stp" && result.motion.footsteps.numFootsteps == 0) {
    return Refuse(kName, Named(arguments.input) + "no footsteps were found for a .stp");
  }
  // The settings take their name when the motion has been written, so that both are there or none.
  WholeFile settings;
  if (!arguments.saveParams.empty()) {
    const bool open = settings.Open(arguments.saveParams, refusal);
    if (open) settings.Write(MocText(result.parameters));
    if (!open || !settings.Finish(refusal)) {
      return Refuse(kName, Named(arguments.saveParams) + refusal);
    }
  }
  if (!Write(arguments, result, output, refusal)) {
    return Refuse(kName, Named(arguments.output) + refusal);
  }
  if (!arguments.saveParams.empty() && !settings.Commit(refusal)) {
    return Refuse(kName, Named(arguments.saveParams) + refusal);
  }
  if (arguments.json) return PrintOutput(kName, ImportJson(result));
  return PrintOutput(kName, ImportSummary(result, format == kPoseFormat) + arguments.output + "\n");
}

}  // namespace

Verb AddImportVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Turns a take of a person (.bvh, .mkr) into an editable motion with footsteps, in any\n"
      "format that a motion is written in. An .sdr gets new footsteps and keys.");
  parser->group("Verbs");
  const auto a = std::make_shared<Arguments>();
  parser->add_option("input", a->input, "take to read: .bvh, .mkr or .sdr")
      ->type_name("TAKE")
      ->required();
  AddImportOptions(*parser, a->import);
  parser->add_option("--save-params", a->saveParams, "write the settings as they were used")
      ->type_name("P.moc");
  parser->add_flag("--json", a->json, "what was found and made as JSON");
  AddMotionOutputOptions(*parser, a->words, false);
  parser
      ->add_option("-o,--output", a->output,
                   "file to write: " + ListFormats(MotionFormats()) + "; .cal for one pose")
      ->type_name("OUT")
      ->required();
  return {parser, [a] { return Run(*a); }};
}

}  // namespace strider
