#include "strider/base/bit_array.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace strider {
namespace {

TEST(BitArray, DoesWhatAListOfBoolsDoes) {
  std::mt19937 random(41);
  BitArray bits;
  std::vector<bool> model;
  for (int step = 0; step < 6000; ++step) {
    const int size = static_cast<int>(model.size());
    const int at = static_cast<int>(random() % static_cast<unsigned>(std::max(size, 1)));
    const unsigned choice = random() % 16;
    if (choice == 0) {
      const unsigned next = random() % 301;
      bits.Resize(static_cast<int>(next));
      model.resize(next, false);
    } else if (choice < 5) {
      bits.Insert(at);
      model.insert(model.begin() + at, false);
    } else if (choice < 8) {
      bits.Erase(at);
      if (size > 0) model.erase(model.begin() + at);
    } else if (choice == 8 && step % 50 == 0) {
      bits.ClearAll();
      model.assign(model.size(), false);
    } else {
      const bool on = random() % 3 != 0;
      bits.Set(at, on);
      if (size > 0) model[static_cast<std::size_t>(at)] = on;
    }
    ASSERT_EQ(bits.Size(), static_cast<int>(model.size())) << step;
    for (int i = 0; i < bits.Size(); ++i) {
      ASSERT_EQ(bits.Get(i), model[static_cast<std::size_t>(i)]) << step << ' ' << i;
    }
    ASSERT_EQ(bits.Count(), std::count(model.begin(), model.end(), true));
    // Equality sees bits alone: a set that was larger before equals one that never was.
    BitArray same(bits.Size());
    for (int i = 0; i < bits.Size(); ++i) same.Set(i, bits.Get(i));
    ASSERT_TRUE(same == bits) << step;
  }
}

TEST(BitArray, LeavesPlacesOutsideAlone) {
  BitArray bits(64);
  bits.Set(63);
  for (const int outside : {-1, 64, 1000}) {
    bits.Set(outside);
    bits.Erase(outside);
    EXPECT_FALSE(bits.Get(outside));
  }
  bits.Insert(65);
  bits.Insert(-1);
  EXPECT_EQ(bits.Size(), 64);
  EXPECT_EQ(bits.Count(), 1);
  bits.Resize(-5);
  EXPECT_EQ(bits.Size(), 0);
  EXPECT_FALSE(bits.Any());
}

}  // namespace
}  // namespace strider
