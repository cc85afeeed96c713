#include "strider/base/number_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <type_traits>

namespace strider {
namespace {

std::string_view WithoutPlus(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  return text;
}

#if defined(__cpp_lib_to_chars)

/// Power of ten of a number's first digit that is not 0, held to what no type comes near. For
/// numbers that are known to be well formed.
long PowerOfTen(std::string_view text) {
  constexpr long kFar = 1'000'000;
  const std::size_t e = text.find_first_of("eE");
  long power = 0;
  if (e != std::string_view::npos) {
    const std::string_view digits = WithoutPlus(text.substr(e + 1));
    if (std::from_chars(digits.data(), digits.data() + digits.size(), power).ec != std::errc{}) {
      power = digits[0] == '-' ? -kFar : kFar;
    }
    power = std::clamp(power, -kFar, kFar);
  }
  const std::string_view mantissa = text.substr(0, e);
  const std::size_t first = mantissa.find_first_of("123456789");
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  return power + static_cast<long>(point) - static_cast<long>(first);
}

template <class Number>
std::optional<Number> ReadAs(std::string_view text) {
  text = WithoutPlus(text);
  Number value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (stop != end) return std::nullopt;
  if (error == std::errc{}) return value;
  if (error != std::errc::result_out_of_range || PowerOfTen(text) > 0) return std::nullopt;
  return text[0] == '-' ? -Number{0} : Number{0};
}

template <class Number>
void AppendShortest(std::string& text, Number value) {
  char digits[64];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

#else  // a library without them, whose C functions know no locale but C

template <class Number>
std::optional<Number> ReadAs(std::string_view text) {
  if (text.empty() || text.find_first_of(" \t\r\n\v\f\0xX", 0, 10) != std::string_view::npos) {
    return std::nullopt;
  }
  const std::string copy(text);
  char* stop = nullptr;
  const Number value = std::is_same_v<Number, float>
                           ? static_cast<Number>(std::strtof(copy.c_str(), &stop))
                           : static_cast<Number>(std::strtod(copy.c_str(), &stop));
  if (stop != copy.c_str() + copy.size()) return std::nullopt;
  const bool named = copy.find_first_of("iInN") != std::string::npos;
  if (!std::isfinite(value) && !named) return std::nullopt;
  return value;
}

template <class Number>
void AppendShortest(std::string& text, Number value) {
  char digits[64];
  for (int count = 1; count <= std::numeric_limits<Number>::max_digits10; ++count) {
    (void)std::snprintf(digits, sizeof digits, "%.*g", count, static_cast<double>(value));
    const auto back = ReadAs<Number>(digits);
    if (back && *back == value) break;
  }
  text += digits;
}

#endif

}  // namespace

std::optional<double> ReadNumber(std::string_view text) { return ReadAs<double>(text); }
std::optional<float> ReadFloat(std::string_view text) { return ReadAs<float>(text); }

std::optional<std::int64_t> ReadInteger(std::string_view text) {
  text = WithoutPlus(text);
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

const char* ScanFloat(const char* at, const char* end, float& value) {
  // Most numbers are a whole number of few digits over a power of ten, both of which a double holds
  // to within half of its last bit: so the quotient is known to a bit or two of a double.
  static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                       1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr std::ptrdiff_t kMostDigits = 18;
  constexpr int kExactPower = 22;
  const auto isDigit = [](char c) { return static_cast<unsigned char>(c - '0') < 10; };
  const auto isBlank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };

  const char* p = at;
  const bool negative = p != end && *p == '-';
  p += negative;
  const char* const first = p;
  std::uint64_t digits = 0;
  while (p != end && isDigit(*p)) digits = 10 * digits + static_cast<std::uint64_t>(*p++ - '0');
  std::ptrdiff_t count = p - first;
  int power = 0;  // how many decimals there are
  if (p != end && *p == '.') {
    const char* const point = ++p;
    while (p != end && isDigit(*p)) digits = 10 * digits + static_cast<std::uint64_t>(*p++ - '0');
    power = static_cast<int>(std::min<std::ptrdiff_t>(p - point, kExactPower + 1));
    count += p - point;
  }
  if (count > 0 && p != end && (*p == 'e' || *p == 'E') && end - p > 2 && p[1] == '-') {
    const char* const exponent = p += 2;
    int e = 0;
    while (p != end && isDigit(*p) && p - exponent < 3) e = 10 * e + (*p++ - '0');
    power += p == exponent ? kExactPower + 1 : e;
  }
  if (count > 0 && count <= kMostDigits && power <= kExactPower && (p == end || isBlank(*p))) {
    const double near = static_cast<double>(static_cast<std::int64_t>(digits)) / kPowers[power];
    // A float drops 29 bits of it. Which way it rounds is in doubt only right in the middle.
    constexpr std::uint64_t kDropped = (std::uint64_t{1} << 29) - 1;
    constexpr std::uint64_t kMiddle = std::uint64_t{1} << 28, kDoubt = 4;
    if (((std::bit_cast<std::uint64_t>(near) - (kMiddle - kDoubt)) & kDropped) > 2 * kDoubt) {
      value = static_cast<float>(negative ? -near : near);
      return p;
    }
  }
  while (p != end && !isBlank(*p)) ++p;
  const auto read = ReadFloat({at, static_cast<std::size_t>(p - at)});
  if (!read) return nullptr;
  value = *read;
  return p;
}

void AppendInteger(std::string& text, std::int64_t value) {
  char digits[24];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendNumber(std::string& text, float value) { AppendShortest(text, value); }
void AppendNumber(std::string& text, double value) { AppendShortest(text, value); }

void AppendFixed(std::string& text, double value, int decimals) {
  char digits[400];  // the largest double has 309 digits before its point
  decimals = std::clamp(decimals, 0, 60);
#if defined(__cpp_lib_to_chars)
  text.append(
      digits,
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr);
#else
  (void)std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
  text += digits;
#endif
}

}  // namespace strider
