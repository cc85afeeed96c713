#include "cli/structure_options.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "strider/base/number_text.h"

namespace strider {
namespace {

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
char Lower(char c) { return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }

/// A bound as a user would write it: 1000000000 and 0.5, but not 1e+09.
std::string Written(double value) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr;
  return {text, end};
}

std::string Bounds(const StructureParameter& parameter) {
  const std::string low = Written(parameter.low), high = Written(parameter.high);
  switch (parameter.type) {
    case ParameterType::kBoolean: return "true or false";
    case ParameterType::kInteger: return "a whole number from " + low + " to " + high;
    default: break;
  }
  Structure trial;
  const bool lowIncluded = SetParameter(trial, parameter, parameter.low);
  return lowIncluded ? "a number from " + low + " to " + high
                     : "a number above " + low + " and up to " + high;
}

std::string Default(const StructureParameter& parameter) {
  const double value = parameter.get(Structure{});
  if (parameter.type == ParameterType::kBoolean) return value != 0 ? "true" : "false";
  // As the float that it is: 0.2 and not the double next to it.
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, static_cast<float>(value)).ptr};
}

std::optional<double> ReadBoolean(std::string_view text) {
  std::string word;
  for (char c : text) word += Lower(c);
  for (const char* yes : {"true", "1", "yes", "on"}) {
    if (word == yes) return 1;
  }
  for (const char* no : {"false", "0", "no", "off"}) {
    if (word == no) return 0;
  }
  return std::nullopt;
}

}  // namespace

std::string OptionName(const StructureParameter& parameter) {
  std::string option = "--";
  for (const char* c = parameter.name; *c != '\0'; ++c) {
    if (IsUpper(*c) && c != parameter.name) option += '-';
    option += Lower(*c);
  }
  return option;
}

void AddStructureOptions(CLI::App& verb, std::vector<GivenParameter>& given) {
  for (const StructureParameter& parameter : StructureParameters()) {
    const std::string help = std::string(parameter.meaning) + "; " + Bounds(parameter) +
                             ", default " + Default(parameter);
    verb.add_option_function<std::string>(
            OptionName(parameter),
            [&given, &parameter](const std::string& text) {
              given.push_back({&parameter, text});
            },
            help)
        ->type_name("VALUE")
        ->group("Structure of the figure");
  }
}

bool ReadStructure(const std::vector<GivenParameter>& given, Structure& structure,
                   std::string& refusal) {
  Structure trial = structure;
  for (const auto& [parameter, text] : given) {
    const std::optional<double> value =
        parameter->type == ParameterType::kBoolean ? ReadBoolean(text) : ReadNumber(text);
    if (value && SetParameter(trial, *parameter, *value)) continue;
    refusal = std::string(parameter->name) + " (" + OptionName(*parameter) + ") must be " +
              Bounds(*parameter) + ", given \"" + text + "\"";
    return false;
  }
  structure = trial;
  return true;
}

}  // namespace strider
