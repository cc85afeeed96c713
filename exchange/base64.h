// Bytes as text that any carrier lets through: the usual 64 characters, with padding.
#pragma once

#include <string>
#include <string_view>

namespace strider {

inline std::string Base64(std::string_view bytes) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    unsigned triple = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      triple = triple << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= count ? kLetters[triple >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

}  // namespace strider
