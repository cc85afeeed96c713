#include <cstdio>
#include <memory>
#include <string>

#include "cli/output.h"
#include "cli/verbs.h"
#include "exchange/motion_json.h"
#include "exchange/motion_range.h"
#include "strider/footsteps/flights.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

constexpr const char* kName = "info";

struct Arguments {
  std::string input;
  bool json = false;
};

const char* NameOf(FileKind kind) {
  switch (kind) {
    case FileKind::kFootsteps: return "footsteps";
    case FileKind::kFigure: return "figure";
    case FileKind::kMotion: break;
  }
  return "motion";
}

/// What a person wants to know at a glance.
std::string Summary(const Arguments& arguments, const StreamContents& contents) {
  const MotionCore& core = *contents.motions.front();
  char line[160];
  std::string text = OnOneLine(arguments.input) + "\n";
  const auto add = [&](const char* form, auto... values) {
    (void)std::snprintf(line, sizeof line, form, values...);
    text += line;
  };
  add("kind: %s, %s, version %d\n", NameOf(contents.kind),
      contents.form == StreamForm::kText ? "text" : "binary", contents.version);
  if (contents.hasFigure) {
    const Structure& s = core.structure;
    add("figure: %g high, %d spine, %d neck, %d leg links%s\n", static_cast<double>(s.height),
        s.spineLinks, s.neckLinks, s.legLinks, s.arms ? "" : ", no arms");
  }
  if (contents.kind == FileKind::kFigure) return text;
  const FrameRange range = FrameRangeOf(core);
  add("frames: %lld to %lld at %g a second\n", static_cast<long long>(range.first),
      static_cast<long long>(range.last),
      static_cast<double>(kTicksPerSecond) / core.ticksPerFrame);
  add("footsteps: %d, flights: %d\n", core.footsteps.numFootsteps,
      static_cast<int>(FlightsShown(core).size()));
  for (std::size_t i = 1; i < contents.motions.size(); ++i) {
    const MotionCore& layer = *contents.motions[i];
    text += "layer " + std::to_string(i) + ": " + OnOneLine(layer.layerName) +
            (layer.layerActive ? "\n" : " (off)\n");
  }
  if (!contents.warning.empty()) text += "note: " + contents.warning + "\n";
  return text;
}

ExitStatus Run(const Arguments& arguments) {
  StreamContents contents;
  std::string refusal;
  if (!ReadMotionFile(arguments.input, {}, contents, refusal)) return Refuse(kName, refusal);
  if (!arguments.json) return PrintOutput(kName, Summary(arguments, contents));
  FileFacts file;
  file.kind = NameOf(contents.kind);
  file.form = contents.form == StreamForm::kText ? "text" : "binary";
  file.version = contents.version;
  file.motions = contents.kind == FileKind::kMotion ? static_cast<int>(contents.motions.size()) : 0;
  file.hasFigure = contents.hasFigure;
  file.hasFootsteps = contents.kind != FileKind::kFigure;
  file.hasTracks = contents.kind == FileKind::kMotion;
  return PrintOutput(kName, MotionFileJson(contents.Base(), file));
}

}  // namespace

Verb AddInfoVerb(CLI::App& program) {
  CLI::App* parser =
      program.add_subcommand(kName,
                             "Tells what a motion (.sdr), footstep (.stp) or figure (.fig) "
                             "file holds.");
  parser->group("Verbs");
  const auto arguments = std::make_shared<Arguments>();
  parser->add_option("input", arguments->input, "file to read")->type_name("FILE")->required();
  parser->add_flag("--json", arguments->json, "all of it as JSON, as make --json prints it");
  return {parser, [arguments] { return Run(*arguments); }};
}

}  // namespace strider
