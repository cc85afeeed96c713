#include "strider/capture/capture_report.h"

#include <algorithm>

namespace strider {

std::string ListWords(const std::vector<std::string>& words, std::size_t most) {
  std::string text;
  for (std::size_t i = 0; i < std::min(words.size(), most); ++i) {
    text += (i > 0 ? ", " : "") + words[i];
  }
  if (words.size() > most) text += " and " + std::to_string(words.size() - most) + " more";
  return text;
}

}  // namespace strider
