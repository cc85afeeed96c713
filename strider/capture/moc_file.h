// Files of capture settings, .moc: the text form of the stream with a tag for each setting.
#pragma once

#include <string>
#include <string_view>

#include "strider/capture/mocap_parameters.h"

namespace strider {

std::string MocText(const MocapParameters& parameters);
/// Settings that a file lacks get their defaults. False, `parameters` as they were, with the cause
/// "name:line: why".
[[nodiscard]] bool ReadMocText(std::string_view text, const std::string& name,
                               MocapParameters& parameters, std::string& cause);

[[nodiscard]] bool ReadMocFile(const std::string& path, MocapParameters& parameters,
                               std::string& cause);
[[nodiscard]] bool WriteMocFile(const std::string& path, const MocapParameters& parameters,
                                std::string& cause);

}  // namespace strider
