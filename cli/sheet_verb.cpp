#include <cassert>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "cli/make_figure.h"
#include "cli/output.h"
#include "cli/verbs.h"
#include "exchange/picture.h"

namespace strider {
namespace {

constexpr const char* kName = "sheet";

struct Setting {
  const char* parameter;
  double value;
};

CaptionedFigure Variation(const char* caption, std::initializer_list<Setting> settings) {
  Structure structure;
  for (const Setting& setting : settings) {
    const StructureParameter* parameter = FindStructureParameter(setting.parameter);
    [[maybe_unused]] const bool set =
        parameter != nullptr && SetParameter(structure, *parameter, setting.value);
    assert(set);
  }
  return {caption, StandingFigure(structure)};
}

/// One figure for each way in which structures differ to the eye.
std::vector<CaptionedFigure> Variations() {
  return {
      Variation("default", {}),
      Variation("four-link legs", {{"legLinks", 4}}),
      Variation("tail, ponytails and neck of five links",
                {{"tailLinks", 5}, {"ponytail1Links", 5}, {"ponytail2Links", 5}, {"neckLinks", 5}}),
      Variation("no arms", {{"arms", 0}}),
      Variation("five fingers and five toes of three links",
                {{"fingers", 5}, {"fingerLinks", 3}, {"toes", 5}, {"toeLinks", 3}}),
      Variation("fore feet with four fingers", {{"foreFeet", 1}, {"fingers", 4}}),
      Variation("triangle pelvis off, triangle neck on",
                {{"trianglePelvis", 0}, {"triangleNeck", 1}}),
  };
}

ExitStatus Run(const std::string& output) {
  if (ExtensionOf(output) != "png") return RefuseFormat(kName, output, {"png"});
  std::string png, refusal;
  if (!FigureSheet(Variations(), png, refusal)) return Refuse(kName, output + ": " + refusal);
  return WriteOutput(kName, output, png);
}

}  // namespace

Verb AddSheetVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName, "Draws the contact sheet of figures that the documentation shows.");
  parser->group("Verbs");
  const auto output = std::make_shared<std::string>();
  parser->add_option("-o,--output", *output, "file to write, .png")->type_name("FILE")->required();
  return {parser, [output] { return Run(*output); }};
}

}  // namespace strider
