// Finds the nearest key that has any of some links, up or down a track, in steps that grow with
// the logarithm of the number of keys. A tree of bit masks: each node holds the union of the 32
// below it.
#pragma once

#include <cstdint>
#include <vector>

namespace strider {

class MaskIndex {
 public:
  std::uint32_t Get(int index) const { return levels_[0][static_cast<std::size_t>(index)]; }
  int Size() const { return levels_.empty() ? 0 : static_cast<int>(levels_[0].size()); }
  void Clear() { levels_.clear(); }
  void Reserve(int count);
  void Insert(int index, std::uint32_t mask);
  void Erase(int index);
  void Set(int index, std::uint32_t mask);
  /// Keeps only the masks at the indices that `kept` lists in ascending order.
  void Keep(const std::vector<int>& kept);

  /// The last index at or before `from` with any bit of `mask`; -1 for none.
  int FindLast(int from, std::uint32_t mask) const;
  /// The first index at or after `from` with any bit of `mask`; -1 for none.
  int FindFirst(int from, std::uint32_t mask) const;

 private:
  static constexpr int kFan = 32;
  void RebuildFrom(int index);

  std::vector<std::vector<std::uint32_t>>
      levels_;  // 0 the masks themselves, each next 32 times fewer
};

}  // namespace strider
