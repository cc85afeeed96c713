// What the program's exit status says.
#pragma once

#include <iostream>
#include <string>

namespace strider {

enum ExitStatus : int {
  kExitDone = 0,
  kExitRefused = 1,  // the input or the request: one line on the error stream says why
  kExitUsage = 2,    // the command line itself
};

/// `text` with control characters as question marks: what a user gave has to stay on one line.
inline std::string OnOneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
}

/// Says why a request was refused.
inline ExitStatus Refuse(const std::string& verb, const std::string& cause) {
  std::cerr << "strider " << verb << ": " << OnOneLine(cause) << "\n";
  return kExitRefused;
}

}  // namespace strider
