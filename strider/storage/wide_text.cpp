#include "strider/storage/wide_text.h"

#include <algorithm>
#include <cstdint>

namespace strider {
namespace {

constexpr char32_t kReplacement = 0xfffd;

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// The character at the head of `text`, taken off it.
char32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const int length = first < 0x80             ? 1
                     : (first & 0xe0) == 0xc0 ? 2
                     : (first & 0xf0) == 0xe0 ? 3
                     : (first & 0xf8) == 0xf0 ? 4
                                              : 0;
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  char32_t code = length == 1 ? first : first & (0x7fu >> length);
  bool good = length > 0 && static_cast<std::size_t>(length) <= text.size();
  for (int i = 1; good && i < length; ++i) {
    const char c = text[static_cast<std::size_t>(i)];
    good = IsContinuation(c);
    code = code << 6 | (static_cast<unsigned char>(c) & 0x3f);
  }
  good = good && code >= kLeast[length] && code < 0x110000 && (code < 0xd800 || code > 0xdfff);
  text.remove_prefix(good ? static_cast<std::size_t>(length) : 1);
  return good ? code : kReplacement;
}

void AppendUtf8(std::string& text, char32_t code) {
  const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xc0 | code >> 6);
  } else {
    if (code < 0x10000) {
      add(0xe0 | code >> 12);
    } else {
      add(0xf0 | code >> 18);
      add(0x80 | (code >> 12 & 0x3f));
    }
    add(0x80 | (code >> 6 & 0x3f));
  }
  add(0x80 | (code & 0x3f));
}

}  // namespace

std::u16string WideText(std::string_view text, int limit) {
  std::u16string units;
  const auto room = static_cast<std::size_t>(limit);
  while (!text.empty()) {
    const char32_t code = TakeCharacter(text);
    if (code == 0) break;
    if (units.size() + (code > 0xffff ? 2 : 1) > room) break;
    if (code > 0xffff) {
      units += static_cast<char16_t>(0xd800 + ((code - 0x10000) >> 10));
      units += static_cast<char16_t>(0xdc00 + ((code - 0x10000) & 0x3ff));
    } else {
      units += static_cast<char16_t>(code);
    }
  }
  return units;
}

std::string NarrowText(std::u16string_view units) {
  std::string text;
  for (std::size_t i = 0; i < units.size() && units[i] != 0; ++i) {
    char32_t code = units[i];
    const bool high = code >= 0xd800 && code < 0xdc00;
    if (high && i + 1 < units.size() && units[i + 1] >= 0xdc00 && units[i + 1] < 0xe000) {
      code = 0x10000 + ((code - 0xd800) << 10) + (units[++i] - 0xdc00u);
    } else if (code >= 0xd800 && code < 0xe000) {
      code = kReplacement;
    }
    AppendUtf8(text, code);
  }
  return text;
}

std::string Quoted(std::string_view word, int longest) {
  std::u16string units = WideText(word, longest);
  std::replace_if(
      units.begin(), units.end(),
      [](char16_t unit) {
        return unit < 0x20 || (unit >= 0x7f && unit < 0xa0) || unit == kReplacement;
      },
      u'?');
  return "\"" + NarrowText(units) + "\"";
}

}  // namespace strider
