#include <memory>
#include <string>
#include <vector>

#include "cli/output.h"
#include "cli/verbs.h"
#include "strider/storage/preferences.h"

namespace strider {
namespace {

constexpr const char* kName = "preferences";

struct Arguments {
  std::vector<std::string> set;
  std::string file;
};

/// Sets what was asked. False at the first that cannot be; `refusal` says why.
bool SetAll(Preferences& preferences, const std::vector<std::string>& set, std::string& refusal) {
  for (const std::string& word : set) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) {
      refusal = "--set takes KEY=VALUE, given \"" + word + "\"";
      return false;
    }
    if (!SetPreference(preferences, word.substr(0, equals), word.substr(equals + 1), refusal)) {
      return false;
    }
  }
  return true;
}

ExitStatus Run(const Arguments& arguments) {
  const std::string path =
      arguments.file.empty() ? PreferencesPath(UserPreferencesFolder()) : arguments.file;
  if (path.empty()) {
    return Refuse(kName, "no folder for preferences: neither XDG_CONFIG_HOME nor HOME is set");
  }
  Preferences preferences;
  std::string cause, refusal;
  if (ReadPreferencesFile(path, preferences, cause) == PreferencesFile::kUnreadable) {
    return Refuse(kName, path + ": " + cause);
  }
  if (arguments.set.empty()) return PrintOutput(kName, PreferencesText(preferences));
  if (!SetAll(preferences, arguments.set, refusal)) return Refuse(kName, refusal);
  if (!SavePreferences(preferences, path, cause)) return Refuse(kName, path + ": " + cause);
  return PrintOutput(kName, path + "\n");
}

}  // namespace

Verb AddPreferencesVerb(CLI::App& program) {
  CLI::App* parser =
      program.add_subcommand(kName,
                             "Shows the user's preferences, or changes them and prints the name of "
                             "their file: STRIDER.INI\n"
                             "in the folder strider of $XDG_CONFIG_HOME, else of ~/.config.");
  parser->group("Verbs");
  const auto arguments = std::make_shared<Arguments>();
  parser
      ->add_option("--set", arguments->set,
                   "sets a preference; can be given several times, all are set or none")
      ->type_name("KEY=VALUE")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  parser->add_option("--file", arguments->file, "a file other than the user's")->type_name("PATH");
  return {parser, [arguments] { return Run(*arguments); }};
}

}  // namespace strider
