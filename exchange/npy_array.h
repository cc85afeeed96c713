// Arrays in the form in which numpy keeps one in a file: a short head and the numbers behind it,
// little-endian, the last index running fastest.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/little_endian.h"

namespace strider {

using NpyShape = std::vector<std::uint64_t>;

/// Numpy's name of a type that stands in an array.
template <class Number>
constexpr const char* NpyType() {
  static_assert(sizeof(Number) == 0, "no array of these");
  return "";
}
template <>
constexpr const char* NpyType<bool>() {
  return "|b1";
}
template <>
constexpr const char* NpyType<std::int8_t>() {
  return "|i1";
}
template <>
constexpr const char* NpyType<std::int32_t>() {
  return "<i4";
}
template <>
constexpr const char* NpyType<std::int64_t>() {
  return "<i8";
}
template <>
constexpr const char* NpyType<float>() {
  return "<f4";
}
template <>
constexpr const char* NpyType<double>() {
  return "<f8";
}

/// What stands before the numbers.
std::string NpyHead(std::string_view type, const NpyShape& shape);

/// A whole array of one dimension, or of the shape told.
template <class Number>
std::string NpyArray(const std::vector<Number>& numbers, const NpyShape& shape) {
  std::string bytes = NpyHead(NpyType<Number>(), shape);
  for (const Number number : numbers) AppendLittleEndian(bytes, number);
  return bytes;
}
template <class Number>
std::string NpyArray(const std::vector<Number>& numbers) {
  return NpyArray(numbers, {numbers.size()});
}
/// A single number: an array of no dimension.
template <class Number>
std::string NpyScalar(Number number) {
  return NpyArray(std::vector<Number>{number}, {});
}
/// An array of texts, given in UTF-8; bytes that are none become the replacement character.
std::string NpyTexts(const std::vector<std::string>& texts);

}  // namespace strider
