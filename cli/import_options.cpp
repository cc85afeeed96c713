#include "cli/import_options.h"
#include "cli/text_option.h"

#include <filesystem>

#include "strider/base/number_text.h"

namespace strider {
namespace {

bool ReadCount(const char* option, const std::optional<std::string>& text,
               std::optional<int>& value, std::string& refusal) {
  if (!text) return true;
  const std::optional<std::int64_t> number = ReadInteger(*text);
  constexpr std::int64_t kMost = 1'000'000'000;
  if (number && *number >= 0 && *number <= kMost) {
    value = static_cast<int>(*number);
    return true;
  }
  refusal = std::string(option) + " must be a whole number from 0 on, given \"" + *text + "\"";
  return false;
}

bool ReadWithin(const char* option, const std::optional<std::string>& text, double low, double high,
                std::optional<double>& value, std::string& refusal) {
  if (!text) return true;
  value = ReadNumber(*text);
  if (value && *value >= low && *value <= high) return true;
  refusal = std::string(option) + " must be a number from ";
  AppendNumber(refusal, low);
  refusal += " to ";
  AppendNumber(refusal, high);
  refusal += ", given \"" + *text + "\"";
  return false;
}

}  // namespace

void AddImportOptions(CLI::App& verb, ImportWords& words, bool withFrames) {
  CLI::Option* footsteps =
      verb.add_flag("--footsteps", words.footsteps, "footsteps where feet stand; the default");
  verb.add_flag("--free-form", words.freeForm, "keys alone, no footsteps")->excludes(footsteps);
  verb.add_flag("--no-reduction", words.noReduction, "a key of every part on every frame");
  verb.add_flag("--running", words.running, "contacts as short as a runner's; with --fps 60");
  verb.add_option("--params", words.params,
                  "settings of the conversion; default chosen by the take")
      ->type_name("P.moc");
  verb.add_option("--set", words.sets, "one setting by its name; may be given again")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb.add_option("--names", words.names,
                  "what the file calls the joints or markers: a set's name or a name file")
      ->type_name("SET|N.mnm");
  verb.add_option("--figure", words.figure, "who is to move so; default a figure like the talent")
      ->type_name("F.fig");
  verb.add_option("--pose", words.pose, "the pose that the take's reference stands for")
      ->type_name("C.cal");
  AddTextOption(verb, "--scale", words.scale, "S",
                "scene units in a unit of the take; default to centimetres");
  AddTextOption(verb, "--up", words.up, "x|y|z",
                "the take's axis that points up; default as it stands");
  AddTextOption(verb, "--fps", words.fps, "N", "frames a second of the motion; default near 30");
  if (withFrames) {
    AddTextOption(verb, "--from", words.from, "FRAME", "first frame of the motion to take");
    AddTextOption(verb, "--to", words.to, "FRAME", "last frame of the motion to take");
  }
  AddTextOption(verb, "--loop", words.loop, "N", "the last N frames lead back to the first");
  verb.add_flag("--keep-first", words.keepFirst, "keep a first frame that stands alone");
  verb.add_flag("--strict", words.strict, "leave joints with unknown names out whole");
}

bool ReadImportOptions(const ImportWords& words, ImportOptions& options, std::string& refusal) {
  options.parameterFile = words.params;
  options.names = words.names;
  options.figure = words.figure;
  options.pose = words.pose;
  if (words.footsteps || words.freeForm) options.footsteps = words.footsteps;
  options.reduce = !words.noReduction;
  options.running = words.running;
  options.keepFirst = words.keepFirst;
  options.strict = words.strict;
  for (const std::string& set : words.sets) {
    const std::size_t equals = set.find('=');
    if (equals == std::string::npos || equals == 0) {
      refusal = "--set takes NAME=VALUE, given \"" + set + "\"";
      return false;
    }
    options.sets.emplace_back(set.substr(0, equals), set.substr(equals + 1));
  }
  if (words.up) {
    const std::string& up = *words.up;
    if (up != "x" && up != "y" && up != "z") {
      refusal = "--up must be x, y or z, given \"" + up + "\"";
      return false;
    }
    options.up = static_cast<UpAxis>(up[0] - 'x');
  }
  return ReadWithin("--scale", words.scale, 1e-6, 1e6, options.scale, refusal) &&
         ReadWithin("--fps", words.fps, 1, 4800, options.fps, refusal) &&
         ReadCount("--from", words.from, options.from, refusal) &&
         ReadCount("--to", words.to, options.to, refusal) &&
         ReadCount("--loop", words.loop, options.loopFrames, refusal);
}

const char* InputAt(const std::string& path, const std::string& take, const ImportWords& words) {
  const struct {
    const std::string& file;
    const char* what;
  } inputs[] = {{take, "the take"},
                {words.params, kSettings},
                {words.names, "the name file"},
                {words.figure, "the figure"},
                {words.pose, "the pose"}};
  for (const auto& input : inputs) {
    std::error_code neither;  // where one of the two is not there
    if (std::filesystem::equivalent(path, input.file, neither)) return input.what;
  }
  return nullptr;
}

}  // namespace strider
