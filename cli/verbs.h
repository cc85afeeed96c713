// The verbs of the program. Each adds itself to the command line with its options; the function
// that it answers runs it after a successful parse and gives the exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "cli/status.h"

namespace strider {

struct Verb {
  CLI::App* parser = nullptr;
  std::function<ExitStatus()> run;
};

/// `strider batch`: many takes become motions.
Verb AddBatchVerb(CLI::App& program);
/// `strider convert`: one of the engine's own files, in any format that a motion is written in.
Verb AddConvertVerb(CLI::App& program);
/// `strider import`: a take of a person becomes a motion with footsteps.
Verb AddImportVerb(CLI::App& program);
/// `strider info`: what one of the engine's own files holds.
Verb AddInfoVerb(CLI::App& program);
/// `strider figure`: makes a figure out of structure parameters; a picture of it or its nodes.
Verb AddFigureVerb(CLI::App& program);
/// `strider make`: footsteps and the motion that they imply; a table or a picture of it.
Verb AddMakeVerb(CLI::App& program);
/// `strider measure`: how good the sample motions are, as a table.
Verb AddMeasureVerb(CLI::App& program);
/// `strider preferences`: shows and changes the user's settings.
Verb AddPreferencesVerb(CLI::App& program);
/// `strider sheet`: the contact sheet of the documentation.
Verb AddSheetVerb(CLI::App& program);
/// `strider view`: the motion of a file as a page, opened in a browser.
Verb AddViewVerb(CLI::App& program);

}  // namespace strider
