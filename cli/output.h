// What a verb makes, and where the user wants it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/status.h"

namespace strider {

/// A file as what is said of it begins; one without a name as "".
std::string Named(const std::string& path);

/// The extension of a file name in lower case, without its dot; empty where there is none.
std::string ExtensionOf(const std::string& path);

/// ".csv, .glb or .png" out of extensions without dots.
std::string ListFormats(const std::vector<std::string>& formats);

/// Refusal of an output whose extension names none of the verb's formats, written without a dot.
ExitStatus RefuseFormat(const std::string& verb, const std::string& path,
                        const std::vector<std::string>& formats);

/// Writes `bytes` whole under `path`, names the file on standard output, and answers the status
/// that the program ends with.
ExitStatus WriteOutput(const std::string& verb, const std::string& path, std::string_view bytes);

/// Writes `bytes` to standard output.
ExitStatus PrintOutput(const std::string& verb, std::string_view bytes);

}  // namespace strider
