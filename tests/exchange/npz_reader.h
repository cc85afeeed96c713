// Reads archives of arrays by the words of the format, for the tests of what writes them.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace strider::test {

struct NpyArrayRead {
  std::string type;
  std::vector<std::uint64_t> shape;
  std::string bytes;

  std::uint64_t Count() const {
    std::uint64_t count = 1;
    for (const std::uint64_t side : shape) count *= side;
    return count;
  }
  template <class Number>
  Number At(std::size_t i) const {
    Number value{};
    if ((i + 1) * sizeof value > bytes.size()) {
      ADD_FAILURE() << "no number " << i;
      return value;
    }
    std::memcpy(&value, bytes.data() + i * sizeof value, sizeof value);
    return value;
  }
  /// Text of an array of texts, of its plain characters.
  std::string Text(std::size_t i) const {
    const std::size_t width = std::stoul(type.substr(2));
    std::string text;
    for (std::size_t k = 0; k < width; ++k) {
      const auto c = At<std::uint32_t>(i * width + k);
      if (c != 0) text += c < 128 ? static_cast<char>(c) : '?';
    }
    return text;
  }
};

/// A number of `size` bytes at a place.
inline std::uint64_t Field(const std::string& bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  if (at + size > bytes.size()) throw std::out_of_range("past the archive's end");
  for (std::size_t i = 0; i < size; ++i) {
    value |= std::uint64_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

/// Bit by bit, as the format defines it.
inline std::uint32_t PlainCrc(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
  }
  return ~crc;
}

/// The files of an archive, found through its directory; every header, check sum and wide field
/// is compared with the directory's.
inline std::map<std::string, std::string> ReadZip(const std::string& zip) {
  std::map<std::string, std::string> files;
  std::size_t end = zip.rfind("PK\5\6");
  EXPECT_EQ(end, zip.size() - 22);
  std::uint64_t count = Field(zip, end + 10, 2), size = Field(zip, end + 12, 4);
  std::uint64_t at = Field(zip, end + 16, 4);
  if (at == 0xFFFFFFFF) {
    const std::uint64_t locator = end - 20;
    EXPECT_EQ(zip.substr(locator, 4), "PK\6\7");
    const std::uint64_t wide = Field(zip, locator + 8, 8);
    EXPECT_EQ(zip.substr(wide, 4), "PK\6\6");
    EXPECT_EQ(wide + 56, locator);
    count = Field(zip, wide + 32, 8), size = Field(zip, wide + 40, 8);
    at = Field(zip, wide + 48, 8);
    end = wide;
  }
  EXPECT_EQ(at + size, end);
  std::uint64_t next = 0;
  for (; count > 0; --count) {
    EXPECT_EQ(zip.substr(at, 4), "PK\1\2");
    const std::uint64_t nameLength = Field(zip, at + 28, 2), extra = Field(zip, at + 30, 2);
    const std::string name = zip.substr(at + 46, nameLength);
    std::uint64_t length = Field(zip, at + 24, 4), start = Field(zip, at + 42, 4);
    std::size_t wide = at + 46 + nameLength + 4;
    if (length == 0xFFFFFFFF) length = Field(zip, wide + 8, 8), wide += 16;
    if (start == 0xFFFFFFFF) start = Field(zip, wide, 8);
    EXPECT_EQ(start, next) << "files follow each other";
    EXPECT_EQ(zip.substr(start, 4), "PK\3\4");
    // Method, time and check sum stand in both.
    EXPECT_EQ(zip.substr(start + 6, 12), zip.substr(at + 8, 12)) << name;
    EXPECT_EQ(zip.substr(start + 18, 8), zip.substr(at + 20, 8)) << name;
    const std::uint64_t localExtra = Field(zip, start + 28, 2);
    if (Field(zip, start + 22, 4) == 0xFFFFFFFF) {
      EXPECT_EQ(Field(zip, start + 30 + nameLength + 4, 8), length);
    }
    EXPECT_EQ(zip.substr(start + 30, nameLength), name);
    const std::string bytes = zip.substr(start + 30 + nameLength + localExtra, length);
    EXPECT_EQ(bytes.size(), length);
    EXPECT_EQ(Field(zip, at + 16, 4), PlainCrc(bytes)) << name;
    EXPECT_TRUE(files.emplace(name, bytes).second) << name;
    next = start + 30 + nameLength + localExtra + length;
    at += 46 + nameLength + extra;
  }
  EXPECT_EQ(at, end);
  return files;
}

inline NpyArrayRead ReadNpy(const std::string& file) {
  NpyArrayRead array;
  EXPECT_EQ(file.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
  const std::size_t start = 10 + Field(file, 8, 2);
  EXPECT_EQ(start % 64, 0u);
  const std::string head = file.substr(10, start - 10);
  EXPECT_EQ(head.back(), '\n');
  EXPECT_NE(head.find("'fortran_order': False"), std::string::npos);
  const std::string before = "'descr': '";
  const std::size_t type = head.find(before) + before.size();
  array.type = head.substr(type, head.find('\'', type) - type);
  for (std::size_t at = head.find('(') + 1; head[at] != ')';) {
    std::size_t used = 0;
    array.shape.push_back(std::stoull(head.substr(at), &used));
    at = head.find_first_not_of(", ", at + used);
  }
  array.bytes = file.substr(start);
  const std::uint64_t width = array.type[1] == 'U' ? 4 * std::stoull(array.type.substr(2))
                                                   : std::stoull(array.type.substr(2));
  EXPECT_EQ(array.bytes.size(), array.Count() * width) << head;
  return array;
}

inline std::map<std::string, NpyArrayRead> ReadNpz(const std::string& zip) {
  std::map<std::string, NpyArrayRead> arrays;
  for (const auto& [name, bytes] : ReadZip(zip)) {
    EXPECT_EQ(name.substr(name.size() - 4), ".npy");
    arrays[name.substr(0, name.size() - 4)] = ReadNpy(bytes);
  }
  return arrays;
}

}  // namespace strider::test
