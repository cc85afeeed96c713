#include "strider/core/mask_index.h"

#include <algorithm>

namespace strider {
namespace {

std::uint32_t UnionOf(const std::vector<std::uint32_t>& level, int node, int fan) {
  const int end = std::min(static_cast<int>(level.size()), (node + 1) * fan);
  std::uint32_t all = 0;
  for (int i = node * fan; i < end; ++i) all |= level[static_cast<std::size_t>(i)];
  return all;
}

}  // namespace

void MaskIndex::Reserve(int count) {
  if (levels_.empty()) levels_.emplace_back();
  for (std::size_t level = 0;; ++level) {
    if (level == levels_.size()) levels_.emplace_back();
    levels_[level].reserve(static_cast<std::size_t>(count));
    if (count <= 1) break;
    count = (count + kFan - 1) / kFan;
  }
}

void MaskIndex::RebuildFrom(int index) {
  for (std::size_t level = 1; level < levels_.size() || levels_[level - 1].size() > 1; ++level) {
    if (level == levels_.size()) levels_.emplace_back();
    const std::vector<std::uint32_t>& below = levels_[level - 1];
    std::vector<std::uint32_t>& nodes = levels_[level];
    const int count = (static_cast<int>(below.size()) + kFan - 1) / kFan;
    nodes.resize(static_cast<std::size_t>(count));
    index /= kFan;
    for (int node = index; node < count; ++node) {
      nodes[static_cast<std::size_t>(node)] = UnionOf(below, node, kFan);
    }
  }
}

void MaskIndex::Insert(int index, std::uint32_t mask) {
  if (levels_.empty()) levels_.emplace_back();
  levels_[0].insert(levels_[0].begin() + index, mask);
  RebuildFrom(index);
}

void MaskIndex::Erase(int index) {
  levels_[0].erase(levels_[0].begin() + index);
  RebuildFrom(index);
}

void MaskIndex::Set(int index, std::uint32_t mask) {
  levels_[0][static_cast<std::size_t>(index)] = mask;
  for (std::size_t level = 1; level < levels_.size(); ++level) {
    index /= kFan;
    if (index >= static_cast<int>(levels_[level].size())) break;
    levels_[level][static_cast<std::size_t>(index)] = UnionOf(levels_[level - 1], index, kFan);
  }
}

void MaskIndex::Keep(const std::vector<int>& kept) {
  if (levels_.empty()) return;
  std::vector<std::uint32_t>& masks = levels_[0];
  for (std::size_t i = 0; i < kept.size(); ++i) masks[i] = masks[static_cast<std::size_t>(kept[i])];
  masks.resize(kept.size());
  RebuildFrom(0);
}

int MaskIndex::FindLast(int from, std::uint32_t mask) const {
  int i = std::min(from, Size() - 1);
  std::size_t level = 0;
  while (i >= 0) {
    if (levels_[level][static_cast<std::size_t>(i)] & mask) {
      if (level == 0) return i;
      --level;
      i = std::min(i * kFan + kFan - 1, static_cast<int>(levels_[level].size()) - 1);
    } else if (i % kFan == 0 && level + 1 < levels_.size()) {
      i = i / kFan - 1;  // this block is done: go on with the one before, a level up
      ++level;
    } else {
      --i;
    }
  }
  return -1;
}

int MaskIndex::FindFirst(int from, std::uint32_t mask) const {
  int i = std::max(from, 0);
  std::size_t level = 0;
  while (level < levels_.size() && i < static_cast<int>(levels_[level].size())) {
    if (levels_[level][static_cast<std::size_t>(i)] & mask) {
      if (level == 0) return i;
      --level;
      i *= kFan;
    } else if (i % kFan == kFan - 1 && level + 1 < levels_.size()) {
      i = i / kFan + 1;
      ++level;
    } else {
      ++i;
    }
  }
  return -1;
}

}  // namespace strider
