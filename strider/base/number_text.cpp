#include "strider/base/number_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

namespace {

bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }
bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

constexpr double kDecimals[] = {1e-0,  1e-1,  1e-2,  1e-3,  1e-4,  1e-5,  1e-6,  1e-7,
                                1e-8,  1e-9,  1e-10, 1e-11, 1e-12, 1e-13, 1e-14, 1e-15,
                                1e-16, 1e-17, 1e-18, 1e-19, 1e-20, 1e-21, 1e-22};
constexpr std::uint64_t kSmallPowers[] = {1,      10,      100,      1000,     10000,
                                          100000, 1000000, 10000000, 100000000};

/// Takes the digits at `p` into `digits`, which may overflow: whoever asks counts them.
const char* TakeDigits(const char* p, const char* end, std::uint64_t& digits) {
  // Eight at a time: a byte of `v` is a digit's value, and above 9 for anything else, which adding
  // 0x76 brings past 0x7f.
  while (std::endian::native == std::endian::little && end - p >= 8) {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    std::uint64_t v = 0;
    std::memcpy(&v, p, sizeof v);
    v ^= '0' * kEach;
    const std::uint64_t others = ((v + 0x76 * kEach) | v) & 0x80 * kEach;
    const int count = others != 0 ? std::countr_zero(others) / 8 : 8;
    if (count == 0) return p;
    v <<= 8 * (8 - count);  // noughts before the first
    // Neighbours are joined to numbers of two digits, those to numbers of four, those to the whole.
    v = v * 10 + (v >> 8);
    constexpr std::uint64_t kPairs = 0x000000ff000000ff;
    v = ((v & kPairs) * (100 + (std::uint64_t{1000000} << 32)) +
         (v >> 16 & kPairs) * (1 + (std::uint64_t{10000} << 32))) >>
        32;
    digits = digits * kSmallPowers[count] + (v & 0xffffffff);
    p += count;
    if (count < 8) return p;
  }
  while (p != end && IsDigit(*p)) digits = 10 * digits + static_cast<std::uint64_t>(*p++ - '0');
  return p;
}

}  // namespace

const char* ScanFloat(const char* at, const char* end, float& value) {
  // Most numbers are a whole number of few digits times a power of ten, both of which a double
  // holds to within half of its last place: so the product is known to two places of a double.
  constexpr std::ptrdiff_t kMostDigits = 18;
  constexpr int kMostPower = 22;
  const char* p = at;
  const bool negative = p != end && *p == '-';
  p += negative;
  const char* const first = p;
  std::uint64_t digits = 0;
  p = TakeDigits(p, end, digits);
  std::ptrdiff_t count = p - first;
  int power = 0;  // how many decimals there are
  if (p != end && *p == '.') {
    const char* const point = ++p;
    p = TakeDigits(p, end, digits);
    power = static_cast<int>(std::min<std::ptrdiff_t>(p - point, kMostPower + 1));
    count += p - point;
  }
  if (count > 0 && end - p > 2 && (*p == 'e' || *p == 'E') && p[1] == '-') {
    const char* const exponent = p += 2;
    int e = 0;
    while (p != end && IsDigit(*p) && p - exponent < 3) e = 10 * e + (*p++ - '0');
    power += p == exponent ? kMostPower + 1 : e;
  }
  if (count > 0 && count <= kMostDigits && power <= kMostPower && (p == end || IsBlank(*p))) {
    const double near = static_cast<double>(static_cast<std::int64_t>(digits)) * kDecimals[power];
    // A float drops 29 bits of it. Which way it rounds is in doubt only right in the middle.
    constexpr std::uint64_t kDropped = (std::uint64_t{1} << 29) - 1;
    constexpr std::uint64_t kMiddle = std::uint64_t{1} << 28, kDoubt = 4;
    if (((__builtin_bit_cast(std::uint64_t, near) - (kMiddle - kDoubt)) & kDropped) > 2 * kDoubt) {
      value = static_cast<float>(negative ? -near : near);
      return p;
    }
  }
  while (p != end && !IsBlank(*p)) ++p;
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
