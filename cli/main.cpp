// The program `strider`: every verb is one call into the rooms above it.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "cli/verbs.h"

namespace {

using namespace strider;

/// The verb that the command line got as far as; the program itself before any.
const CLI::App& Reached(const CLI::App& program) {
  const auto verbs = program.get_subcommands();
  return verbs.empty() ? program : *verbs.front();
}

int TellUsage(const CLI::App& program, const std::string& cause) {
  const CLI::App& verb = Reached(program);
  const bool inVerb = &verb != &program;
  const std::string name = inVerb ? "strider " + verb.get_name() : "strider";
  std::cerr << name << ": " << OnOneLine(cause) << "\n"
            << "Usage: " << name << (inVerb ? " [OPTIONS]" : " VERB [OPTIONS]") << "\n"
            << "Try " << name << " --help\n";
  return kExitUsage;
}

int Main(int argc, char** argv) {
  CLI::App program("Engine for two-legged characters.", "strider");
  program.set_version_flag("--version", "strider " STRIDER_VERSION, "print the version and exit");
  program.set_help_flag("-h,--help", "print this help and exit");
  program.require_subcommand(0, 1);
  program.get_formatter()->column_width(34);
  program.get_formatter()->label("SUBCOMMAND", "VERB");
  program.footer("strider VERB --help tells the options of a verb.\n");
  const std::vector<Verb> verbs = {AddBatchVerb(program),   AddConvertVerb(program),
                                   AddFigureVerb(program),  AddImportVerb(program),
                                   AddInfoVerb(program),    AddMakeVerb(program),
                                   AddMeasureVerb(program), AddPreferencesVerb(program),
                                   AddSheetVerb(program),   AddViewVerb(program)};
  try {
    program.parse(argc, argv);
  } catch (const CLI::Success& success) {  // help or version was asked
    return program.exit(success);
  } catch (const CLI::ParseError& error) {
    return TellUsage(program, error.what());
  }
  for (const Verb& verb : verbs) {
    if (verb.parser->parsed()) return verb.run();
  }
  return TellUsage(program, "A verb is required");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "strider: " << error.what() << "\n";
    return strider::kExitRefused;
  }
}
