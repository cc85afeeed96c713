#include <memory>
#include <string>
#include <vector>

#include "cli/make_figure.h"
#include "cli/output.h"
#include "cli/structure_options.h"
#include "cli/verbs.h"
#include "exchange/figure_json.h"
#include "exchange/picture.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

constexpr const char* kName = "figure";

struct Arguments {
  std::vector<GivenParameter> given;
  std::string output = "-";
};

ExitStatus Run(const Arguments& arguments) {
  Structure structure;
  std::string refusal;
  if (!ReadStructure(arguments.given, structure, refusal)) return Refuse(kName, refusal);

  // The format before the work: a name that cannot be written needs no figure.
  const std::string& output = arguments.output;
  const std::string format = output == "-" ? "json" : ExtensionOf(output);
  if (format != "png" && format != "json" && format != "fig") {
    return RefuseFormat(kName, output, {"png", "json", "fig"});
  }

  const MotionCore core = StandingFigure(structure);
  if (output == "-") return PrintOutput(kName, FigureJson(core));
  if (format == "json") return WriteOutput(kName, output, FigureJson(core));
  if (format == "fig") {
    if (!SaveFigure(output, core, refusal)) return Refuse(kName, output + ": " + refusal);
    return PrintOutput(kName, output + "\n");
  }
  std::string png;
  if (!FigurePicture(core, png, refusal)) return Refuse(kName, output + ": " + refusal);
  return WriteOutput(kName, output, png);
}

}  // namespace

Verb AddFigureVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Makes a standing figure: a figure file (.fig), a picture of it (.png) or all its nodes\n"
      "(.json; without -o, on standard output).");
  parser->group("Verbs");
  const auto arguments = std::make_shared<Arguments>();
  AddStructureOptions(*parser, arguments->given);
  parser
      ->add_option("-o,--output", arguments->output,
                   "file to write, .fig, .png or .json; - for JSON on standard output")
      ->type_name("FILE");
  return {parser, [arguments] { return Run(*arguments); }};
}

}  // namespace strider
