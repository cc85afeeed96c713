#include "strider/core/mask_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace strider {
namespace {

using Masks = std::vector<std::uint32_t>;

int ScanBack(const Masks& masks, int from, std::uint32_t mask) {
  int i = std::min(from, static_cast<int>(masks.size()) - 1);
  while (i >= 0 && !(masks[static_cast<std::size_t>(i)] & mask)) --i;
  return std::max(i, -1);
}
int ScanForward(const Masks& masks, int from, std::uint32_t mask) {
  for (int i = std::max(from, 0); i < static_cast<int>(masks.size()); ++i) {
    if (masks[static_cast<std::size_t>(i)] & mask) return i;
  }
  return -1;
}

void ExpectFindsWhatAScanFinds(const MaskIndex& index, const Masks& masks, std::mt19937& random) {
  const int size = static_cast<int>(masks.size());
  ASSERT_EQ(index.Size(), size);
  for (int i = 0; i < 8; ++i) {
    const int from = static_cast<int>(random() % static_cast<unsigned>(size + 4)) - 2;
    const std::uint32_t mask = std::uint32_t{1} << (random() % 6) | (random() % 4 ? 0 : 1);
    ASSERT_EQ(index.FindLast(from, mask), ScanBack(masks, from, mask)) << from << " of " << size;
    ASSERT_EQ(index.FindFirst(from, mask), ScanForward(masks, from, mask))
        << from << " of " << size;
  }
}

TEST(MaskIndex, FindsWhatAScanFindsThroughAnyEdits) {
  std::mt19937 random(51);
  // Bits from common to so rare that a search climbs several levels.
  const auto anyMask = [&random] {
    std::uint32_t mask = random() % 2;
    if (random() % 40 == 0) mask |= 2;
    if (random() % 700 == 0) mask |= 4 | 8;
    return mask;
  };
  for (const int goal : {3, 33, 70, 1025, 2500}) {
    MaskIndex index;
    Masks masks;
    if (goal % 2) index.Reserve(goal);
    for (int step = 0; step < 3 * goal; ++step) {
      const int size = static_cast<int>(masks.size());
      const bool grow = step < goal || random() % 2;
      const int places = std::max(size + (grow ? 1 : 0), 1);
      const int at = static_cast<int>(random() % static_cast<unsigned>(places));
      const auto place = static_cast<std::size_t>(at);
      if (grow) {
        masks.insert(masks.begin() + at, anyMask());
        index.Insert(at, masks[place]);
      } else if (size > 0 && random() % 3) {
        masks.erase(masks.begin() + at);
        index.Erase(at);
      } else if (size > 0) {
        masks[place] = anyMask();
        index.Set(at, masks[place]);
      }
      ExpectFindsWhatAScanFinds(index, masks, random);
    }
    // Thinned out as a reduction of keys does it, then emptied one by one.
    std::vector<int> kept;
    Masks thin;
    for (int i = 0; i < static_cast<int>(masks.size()); ++i) {
      if (random() % 3 == 0) continue;
      kept.push_back(i);
      thin.push_back(masks[static_cast<std::size_t>(i)]);
    }
    index.Keep(kept);
    ExpectFindsWhatAScanFinds(index, thin, random);
    while (!thin.empty()) {
      const int last = static_cast<int>(thin.size()) - 1;
      const int at = random() % 2 ? last : 0;
      thin.erase(thin.begin() + at);
      index.Erase(at);
      ExpectFindsWhatAScanFinds(index, thin, random);
    }
  }
}

}  // namespace
}  // namespace strider
