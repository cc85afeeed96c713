// How a take is imported, as the command line says it: one take and a batch share it.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "strider/capture/import_take.h"

namespace strider {

/// Options as they were written; ReadImportOptions turns them into values.
struct ImportWords {
  std::string params, names, figure, pose;
  std::vector<std::string> sets;
  bool footsteps = false, freeForm = false, noReduction = false;
  bool running = false, keepFirst = false, strict = false;
  std::optional<std::string> scale, up, fps, from, to, loop;
};

/// Adds the options, --from and --to only where one take is meant; parsing fills `words`, which has
/// to outlive `verb`.
void AddImportOptions(CLI::App& verb, ImportWords& words, bool withFrames = true);
/// False for a value that cannot be; `refusal` names it.
[[nodiscard]] bool ReadImportOptions(const ImportWords& words, ImportOptions& options,
                                     std::string& refusal);

/// What InputAt calls a .moc file that is read.
inline constexpr const char kSettings[] = "the settings";

/// What `path` is of the files that an import reads ("the take", "the figure", ...): nothing is
/// written over those. Null for a file of its own.
const char* InputAt(const std::string& path, const std::string& take, const ImportWords& words);

}  // namespace strider
