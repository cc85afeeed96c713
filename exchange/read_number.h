// Numbers as people write them, read the same whatever the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace strider {

/// A decimal number that fills the text, with or without a sign; none for a hexadecimal and for
/// what a double cannot hold. Infinities and the like are read: whoever asks checks bounds.
inline std::optional<double> ReadNumber(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

}  // namespace strider
