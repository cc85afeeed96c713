// What a reader of takes has to say of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace strider {

struct CaptureReport {
  int status = 0;       // as the reader returned it
  std::string message;  // of a refusal: "file:line: why", on one line
  std::vector<std::string> unknownNames, missingNames;  // of joints or markers
  std::int64_t framesStated = 0;                        // as the file's head says
  std::int64_t framesInFile = 0;    // whole ones that there are, before thinning
  std::vector<std::string> notes;   // what a user should know of a take that was read
  std::vector<std::string> damage;  // those of them that tell of something wrong with the file

  void NoteDamage(const std::string& what) {
    notes.push_back(what);
    damage.push_back(what);
  }
};

/// So many unknown names are listed; a note tells of more.
inline constexpr std::size_t kMostUnknownNames = 10000;

/// Words in a row, with commas between; of very many the first ones and how many more there are.
std::string ListWords(const std::vector<std::string>& words, std::size_t most = 12);

}  // namespace strider
