// Options whose words are read later: what is wrong with a value is then told by the verb, in its
// own words.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace strider {

/// Adds an option that puts its word into `to`, which has to outlive `verb`. `type` stands for the
/// word in the help.
inline CLI::Option* AddTextOption(CLI::App& verb, const char* name, std::optional<std::string>& to,
                                  const char* type, const std::string& meaning) {
  return verb
      .add_option_function<std::string>(
          name, [&to](const std::string& value) { to = value; }, meaning)
      ->type_name(type);
}

}  // namespace strider
