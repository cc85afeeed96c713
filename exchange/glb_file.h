// A glTF scene in its one-file form: a JSON document and the numbers that it points at.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "exchange/json_values.h"

namespace strider {

/// Numbers by their codes in the format.
enum class GlbComponent { kByte = 5121, kShort = 5123, kInt = 5125, kFloat = 5126 };
/// What a piece of the buffer is for, by the format's codes.
enum class GlbTarget { kData = 0, kVertices = 34962, kIndices = 34963 };

class GlbFile {
 public:
  Json& Document() { return document_; }

  /// Adds an entry to a list of the document, such as "nodes", and answers its index.
  int Add(const char* list, Json entry);

  /// Adds numbers with what they are: elements of `type` ("SCALAR", "VEC3", ...), each of
  /// `width` numbers. Answers the accessor's index. With `bounds` the least and greatest are told
  /// for each of the width; numbers are 4 bytes each unless `component` says less.
  template <class Number>
  int AddNumbers(std::span<const Number> numbers, int width, const char* type,
                 GlbComponent component, GlbTarget target, bool bounds = false) {
    const int view = AddView(std::as_bytes(numbers), target);
    Json accessor;
    accessor["bufferView"] = view;
    accessor["componentType"] = static_cast<int>(component);
    accessor["count"] = static_cast<std::int64_t>(numbers.size()) / width;
    accessor["type"] = type;
    if (bounds) AddBounds(accessor, numbers, width);
    return Add("accessors", std::move(accessor));
  }
  /// Quaternions or places, as they lie in memory: four or three floats each.
  int AddElements(std::span<const Quat> elements) {
    static_assert(sizeof(Quat) == 16);
    return AddAccessor(std::as_bytes(elements), elements.size(), "VEC4");
  }
  int AddElements(std::span<const Point3> elements) {
    static_assert(sizeof(Point3) == 12);
    return AddAccessor(std::as_bytes(elements), elements.size(), "VEC3");
  }
  int AddFloats(std::span<const float> numbers, int width, const char* type,
                GlbTarget target = GlbTarget::kData, bool bounds = false) {
    return AddNumbers(numbers, width, type, GlbComponent::kFloat, target, bounds);
  }

  /// Bytes of numbers so far.
  std::uint64_t Size() const { return buffer_.size(); }

  /// Writes the file whole. False if it cannot be, or if it is larger than the format allows.
  [[nodiscard]] bool Write(const std::string& path, std::string& cause);

 private:
  int AddAccessor(std::span<const std::byte> floats, std::size_t count, const char* type);
  int AddView(std::span<const std::byte> bytes, GlbTarget target);
  template <class Number>
  static void AddBounds(Json& accessor, std::span<const Number> numbers, int width) {
    Json low = Json::array(), high = Json::array();
    for (int i = 0; i < width; ++i) {
      Number least = numbers[static_cast<std::size_t>(i)], most = least;
      for (std::size_t k = static_cast<std::size_t>(i); k < numbers.size();
           k += static_cast<std::size_t>(width)) {
        least = numbers[k] < least ? numbers[k] : least;
        most = most < numbers[k] ? numbers[k] : most;
      }
      low.push_back(least);
      high.push_back(most);
    }
    accessor["min"] = std::move(low);
    accessor["max"] = std::move(high);
  }

  Json document_;
  std::string buffer_;
};

}  // namespace strider
