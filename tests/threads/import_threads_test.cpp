// Takes imported side by side: nothing of one import reaches another.
#include <gtest/gtest.h>

#include <thread>

#include "strider/capture/import_take.h"

namespace strider {
namespace {

std::string Imported(const std::string& path, bool footsteps) {
  ImportOptions options;
  options.footsteps = footsteps;
  ImportResult result;
  std::string cause;
  EXPECT_TRUE(ImportTake(path, options, {}, result, cause)) << cause;
  std::string bytes;
  for (int i = 0; i < result.motion.body.horizontal.track.numKeys; ++i) {
    const Point3& place = result.motion.body.horizontal[i].position;
    bytes.append(reinterpret_cast<const char*>(&place), sizeof place);
  }
  for (const LimbRecord& leg : result.motion.leg) {
    for (int i = 0; i < leg.table.track.numKeys; ++i) {
      const Quat& turn = leg.table[i].limbRotation;
      bytes.append(reinterpret_cast<const char*>(&turn), sizeof turn);
    }
  }
  return bytes;
}

TEST(ImportThreads, TwoThreadsImportAsOneDoes) {
  const std::string walk = "examples/takes/walk_cmu_02_01.bvh",
                    jump = "examples/takes/jump_cmu_13_39.bvh";
  const std::string alone[] = {Imported(walk, true), Imported(jump, false)};
  ASSERT_FALSE(alone[0].empty());
  std::string beside[4];
  std::thread first([&] {
    beside[0] = Imported(walk, true);
    beside[1] = Imported(jump, false);
  });
  std::thread second([&] {
    beside[2] = Imported(walk, true);
    beside[3] = Imported(jump, false);
  });
  first.join();
  second.join();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(beside[i], alone[i % 2]) << i;
}

}  // namespace
}  // namespace strider
