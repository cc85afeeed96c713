// Numbers as the bytes of formats that are little-endian on every machine.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <string>

namespace strider {

template <std::integral Number>
void AppendLittleEndian(std::string& bytes, Number value) {
  const auto bits = static_cast<std::uint64_t>(value);
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    bytes += static_cast<char>(static_cast<unsigned char>(bits >> (8 * i)));
  }
}
inline void AppendLittleEndian(std::string& bytes, float value) {
  AppendLittleEndian(bytes, std::bit_cast<std::uint32_t>(value));
}
inline void AppendLittleEndian(std::string& bytes, double value) {
  AppendLittleEndian(bytes, std::bit_cast<std::uint64_t>(value));
}

}  // namespace strider
