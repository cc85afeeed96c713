// Text of two bytes a character, as binary streams hold it, and UTF-8, as everything else does.
#pragma once

#include <string>
#include <string_view>

namespace strider {

/// UTF-16 of UTF-8, at most `limit` units long and never ending in half a pair. Bytes that are no
/// UTF-8 become U+FFFD.
std::u16string WideText(std::string_view text, int limit);
/// The other way; a half of a pair alone becomes U+FFFD. Ends at the first zero.
std::string NarrowText(std::u16string_view units);

/// A word of a file as messages show it: its beginning between quotation marks, as UTF-8 on one
/// line, with '?' for what is no character to show.
std::string Quoted(std::string_view word, int longest = 40);

}  // namespace strider
