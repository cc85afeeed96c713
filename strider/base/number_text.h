// Numbers as text, the same whatever the locale: the one reader and the one writer of all our
// formats.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace strider {

/// A decimal number that fills the text, with or without a sign; none for a hexadecimal and for
/// what the type cannot hold. What is too small for the type reads as nought. Infinities and the
/// like are read: whoever asks checks bounds.
std::optional<double> ReadNumber(std::string_view text);
std::optional<float> ReadFloat(std::string_view text);
/// A whole decimal number that fills the text.
std::optional<std::int64_t> ReadInteger(std::string_view text);

/// The number that stands at `at` up to a blank, a line's end or `end`, as ReadFloat reads it;
/// where it ends, or null for what is no number. Made for files of millions of numbers.
const char* ScanFloat(const char* at, const char* end, float& value);

void AppendInteger(std::string& text, std::int64_t value);
/// The shortest decimal that reads back as the same value.
void AppendNumber(std::string& text, float value);
void AppendNumber(std::string& text, double value);
/// With as many decimals, correctly rounded, never in powers of ten.
void AppendFixed(std::string& text, double value, int decimals = 6);

}  // namespace strider
