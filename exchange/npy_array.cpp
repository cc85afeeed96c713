#include "exchange/npy_array.h"

#include <algorithm>

namespace strider {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Bytes of the character that begins with `first`; 0 if none does.
std::size_t LengthOf(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

/// Takes the first character off the text.
char32_t TakeCharacter(std::string_view& text) {
  const auto at = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t length = LengthOf(at(0));
  char32_t character = length <= 1 ? at(0) : at(0) & (0x7Fu >> length);
  bool good = length > 0 && length <= text.size();
  for (std::size_t i = 1; good && i < length; ++i) {
    good = (at(i) & 0xC0) == 0x80;
    character = character << 6 | (at(i) & 0x3F);
  }
  // Longer than it need be, half of a pair, or past the last character.
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  good = good && character >= kSmallest[length] && character <= 0x10FFFF &&
         (character < 0xD800 || character > 0xDFFF);
  text.remove_prefix(good ? length : 1);
  return good ? character : kReplacement;
}

std::u32string CharactersOf(std::string_view text) {
  std::u32string characters;
  while (!text.empty()) characters += TakeCharacter(text);
  return characters;
}

}  // namespace

std::string NpyHead(std::string_view type, const NpyShape& shape) {
  std::string words = "{'descr': '" + std::string(type) + "', 'fortran_order': False, 'shape': (";
  for (std::size_t i = 0; i < shape.size(); ++i) {
    words += std::to_string(shape[i]) + (i + 1 < shape.size() ? ", " : "");
  }
  words += shape.size() == 1 ? ",), }" : "), }";
  std::string bytes("\x93NUMPY\x01\x00", 8);
  // Blanks up to a whole number of 64 bytes, so that the numbers stand well in memory.
  constexpr std::size_t kAlign = 64, kLength = 2, kLineEnd = 1;
  const std::size_t bare = bytes.size() + kLength + words.size() + kLineEnd;
  words.append((kAlign - bare % kAlign) % kAlign, ' ');
  words += '\n';
  AppendLittleEndian(bytes, static_cast<std::uint16_t>(words.size()));
  return bytes + words;
}

std::string NpyTexts(const std::vector<std::string>& texts) {
  std::vector<std::u32string> rows;
  std::size_t width = 1;
  for (const std::string& text : texts) {
    rows.push_back(CharactersOf(text));
    width = std::max(width, rows.back().size());
  }
  std::string bytes = NpyHead("<U" + std::to_string(width), {texts.size()});
  for (std::u32string& row : rows) {
    row.resize(width);
    for (const char32_t c : row) AppendLittleEndian(bytes, static_cast<std::uint32_t>(c));
  }
  return bytes;
}

}  // namespace strider
