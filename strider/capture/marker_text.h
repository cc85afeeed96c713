// The words of a marker file: what both of its forms are read with.
#pragma once

#include <string_view>
#include <vector>

namespace strider {

/// No studio's cameras follow so many; a file with more is damaged.
inline constexpr int kMostMarkerColumns = 4096;

/// Ends a word in a marker file.
inline bool IsMarkerBlank(char c) { return c == ' ' || c == ',' || (c >= '\t' && c <= '\r'); }

/// Words one after another, whatever stands between them; empty at the end.
struct MarkerWords {
  std::string_view text;
  std::size_t at = 0;

  std::string_view Next();
  /// The next one without taking it.
  std::string_view Peek() const {
    MarkerWords copy = *this;
    return copy.Next();
  }
};

/// The words of a row of a table: a tab or a comma with nothing before it makes an empty word.
/// Words beyond those of the most columns are left out.
std::vector<std::string_view> WordsOfRow(std::string_view row);

/// Whether a word begins with these letters, which are upper case, whatever its own case.
bool BeginsWith(std::string_view word, std::string_view letters);

}  // namespace strider
