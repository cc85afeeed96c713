#include "strider/capture/marker_text.h"

#include <algorithm>

namespace strider {

std::string_view MarkerWords::Next() {
  while (at < text.size() && IsMarkerBlank(text[at])) ++at;
  const std::size_t start = at;
  while (at < text.size() && !IsMarkerBlank(text[at])) ++at;
  return text.substr(start, at - start);
}

std::vector<std::string_view> WordsOfRow(std::string_view row) {
  constexpr std::size_t kMostWords = 3 * kMostMarkerColumns + 2;
  std::vector<std::string_view> words;
  while (true) {
    const std::size_t end = std::min(row.find_first_of("\t,"), row.size());
    MarkerWords cell{row.substr(0, end)};
    std::string_view word = cell.Next();
    do {
      words.push_back(word);
      word = cell.Next();
    } while (!word.empty() && words.size() <= kMostWords);
    if (end == row.size() || words.size() > kMostWords) return words;
    row.remove_prefix(end + 1);
  }
}

bool BeginsWith(std::string_view word, std::string_view letters) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  return word.size() >= letters.size() && std::equal(letters.begin(), letters.end(), word.begin(),
                                                     [&](char a, char b) { return a == upper(b); });
}

}  // namespace strider
