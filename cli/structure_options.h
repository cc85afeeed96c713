// The structure parameters as options of the command line. All come from the engine's one table:
// a parameter that is added there is an option here.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "strider/core/structure.h"

namespace strider {

/// A value as the user wrote it.
struct GivenParameter {
  const StructureParameter* parameter = nullptr;
  std::string text;
};

/// The option of a script name: `ponytail1Links` is set by `--ponytail1-links`.
std::string OptionName(const StructureParameter& parameter);

/// Adds an option for every structure parameter; parsing then fills `given`, which has to outlive
/// `verb`.
void AddStructureOptions(CLI::App& verb, std::vector<GivenParameter>& given);

/// Sets the given values in `structure`. False, `structure` unchanged, at the first that cannot
/// be; `refusal` then names the parameter, its bounds and what was given.
[[nodiscard]] bool ReadStructure(const std::vector<GivenParameter>& given, Structure& structure,
                                 std::string& refusal);

}  // namespace strider
