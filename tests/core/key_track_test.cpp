#include "strider/core/key_track.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <random>
#include <vector>

#include "strider/core/key_table.h"

namespace strider {
namespace {

using Table = KeyTable<int>;

Table TableAt(const std::vector<TimeValue>& times) {
  Table table;
  for (const TimeValue t : times) EXPECT_EQ(PutKeyRecord(table, t, t), kDone);
  return table;
}

bool Has(const KeyTrack& track, int i, std::uint32_t mask) {
  return !track.separate || (track.times[static_cast<std::size_t>(i)].linkMask & mask) != 0;
}

// The meaning of search, as plain scans over all keys.
int ScanForKey(const KeyTrack& track, TimeValue t, std::uint32_t mask) {
  int found = -1, first = -1;
  for (int i = 0; i < track.numKeys; ++i) {
    if (!Has(track, i, mask)) continue;
    if (first < 0) first = i;
    if (track.times[static_cast<std::size_t>(i)].time <= t) found = i;
  }
  if (found >= 0) return found;
  return first >= 0 ? first : track.numKeys > 0 ? 0 : -1;
}
int ScanFrom(const KeyTrack& track, int from, int step, std::uint32_t mask) {
  for (int i = from + step; i >= 0 && i < track.numKeys; i += step) {
    if (Has(track, i, mask)) return i;
  }
  return from;
}

void ExpectFindsWhatAScanFinds(const KeyTrack& track, std::mt19937& random) {
  for (int i = 0; i < 6; ++i) {
    TimeValue t = static_cast<TimeValue>(random() % 1200) - 100;
    if (random() % 20 == 0) t = random() % 2 ? kTimeMin : kTimeMax;
    std::uint32_t mask = std::uint32_t{1} << (random() % 5);
    if (random() % 5 == 0) mask = kAllLinks;
    if (random() % 7 == 0) mask = 0x14;
    const int left = ScanForKey(track, t, mask);
    ASSERT_EQ(FindKey(track, t, mask), left) << t << ' ' << mask;
    const KeySpan span = GetSpan(track, t, mask);
    ASSERT_EQ(span.left, left);
    if (left < 0) continue;
    const int right = ScanFrom(track, left, 1, mask);
    ASSERT_EQ(span.prev, ScanFrom(track, left, -1, mask));
    ASSERT_EQ(span.right, right);
    ASSERT_EQ(span.next, ScanFrom(track, right, 1, mask));
    const bool onKey =
        track.times[static_cast<std::size_t>(left)].time == t && Has(track, left, mask);
    ASSERT_EQ(KeyAt(track, t, mask), onKey ? left : -1);
    int near = static_cast<int>(random() % 80) - 5;
    ASSERT_EQ(FindKeyNear(track, t, near), FindKey(track, t));
  }
}

// A track beside a map of the same keys through a long random life.
TEST(KeyTrack, AnswersAsAPlainListOfKeysThroughAnyEdits) {
  struct Model {
    int record;
    std::uint32_t mask;
    bool selected;
    KeyTcb tcb[5];
  };
  std::mt19937 random(61);
  for (const bool separate : {false, true}) {
    Table table;
    std::map<TimeValue, Model> model;
    if (separate) {
      ASSERT_EQ(SetSeparate(table, 1, 5), kDone);
    }
    ASSERT_EQ(SetNumQuats(table, 2), kDone);
    KeyTrack& track = table.track;
    ExpectFindsWhatAScanFinds(track, random);
    for (int step = 0; step < 4000; ++step) {
      const TimeValue t = static_cast<TimeValue>(random() % 1000);
      const int size = track.numKeys;
      const int at = size > 0 ? static_cast<int>(random() % static_cast<unsigned>(size)) : 0;
      auto key = model.begin();
      std::advance(key, at);
      std::uint32_t mask = 1u + random() % 31;
      if (!separate) mask = kAllLinks;
      const int sub = static_cast<int>(random() % 5);
      if (step % 500 == 499) {  // thinned out as a reduction of keys does it
        std::vector<int> kept;
        for (int i = 0; i < size; ++i) {
          if (random() % 3) {
            kept.push_back(i);
          } else {
            model.erase(table.TimeOf(i));
          }
        }
        KeepKeys(table, kept);
      } else if (size == 0 || random() % 7 < 3) {
        ASSERT_EQ(PutKeyRecord(table, t, step, mask), kDone);
        Model& put = model[t];
        put.record = step;
        put.mask |= mask;
      } else {
        switch (size > 150 ? 4 : random() % 5) {
          case 0:
            SetLinkMask(track, at, mask);
            key->second.mask = mask;
            break;
          case 1: {
            const KeyTcb tcb{1, 2, static_cast<float>(step % 50), 4, 5};
            ASSERT_EQ(SetTcb(track, at, sub, tcb), kDone);
            for (int i = 0; i < 5; ++i) {
              if (!separate || i == sub) key->second.tcb[i] = tcb;
            }
            break;
          }
          case 2: {
            // A key moves only within the gap between its neighbours.
            const bool fits = (key == model.begin() || std::prev(key)->first < t) &&
                              (std::next(key) == model.end() || t < std::next(key)->first);
            ASSERT_EQ(SetKeyTime(track, at, t), fits ? kDone : kRefused);
            if (!fits) break;
            const Model moved = key->second;
            model.erase(key);
            model[t] = moved;
            break;
          }
          case 3:
            track.selected.Set(at, step % 2 == 0);
            key->second.selected = step % 2 == 0;
            break;
          default: ASSERT_EQ(DeleteKeyRecord(table, at), kDone); model.erase(key);
        }
      }
      ASSERT_TRUE(CheckTrack(track)) << step;
      ASSERT_EQ(static_cast<std::size_t>(track.numKeys), model.size());
      ASSERT_EQ(table.keys.size(), model.size());
      int i = 0;
      for (const auto& [time, wanted] : model) {
        ASSERT_EQ(table.TimeOf(i), time);
        ASSERT_EQ(table[i], wanted.record);
        ASSERT_EQ(track.selected.Get(i), wanted.selected);
        const std::uint32_t held = track.times[static_cast<std::size_t>(i)].linkMask;
        ASSERT_EQ(held, separate ? wanted.mask : kAllLinks);
        for (int s = 0; s < 5; ++s) {
          if (separate) {
            ASSERT_EQ(track.linkTimes[static_cast<std::size_t>(5 * i + s)], time);
          }
          const bool has = !separate || (wanted.mask >> s & 1);
          ASSERT_EQ(GetTcb(track, i, s), has ? wanted.tcb[s] : kMissingTcb) << step << ' ' << i;
        }
        ++i;
      }
      ExpectFindsWhatAScanFinds(track, random);
    }
  }
}

TEST(KeyTrack, NewKeysAndMissingOnesHaveTheirDefaults) {
  Table table = TableAt({0, 100});
  KeyTrack& track = table.track;
  track.numCurves = 2;
  track.trackCurves = 1;
  EXPECT_EQ(GetTcb(track, 1, 0), (KeyTcb{0, 0, 25, 25, 25}));
  EXPECT_EQ(GetTcb(track, 2, 0), (KeyTcb{50, 50, 25, 25, 25}));
  EXPECT_EQ(SetTcb(track, 2, 0, {}), kRefused);
  ASSERT_EQ(SetTcb(track, 0, 0, {10, 60, -3, 25, 50}), kDone);
  EXPECT_EQ(SetTcb(track, 0, 0, {std::nanf(""), 0, 25, 25, 25}), kRefused);
  EXPECT_EQ(GetTcb(track, 0, 0), (KeyTcb{10, 50, 0, 25, 50}));

  ASSERT_EQ(SetCurveMode(track, 1), kDone);
  ASSERT_EQ(PutKeyRecord(table, 50, 50), kDone);
  for (const int key : {1, 2, 3, -1}) {  // new, old and missing ones alike
    EXPECT_EQ(GetTangent(track, key, 1).in[2][0], -1);
    EXPECT_EQ(GetTangent(track, key, 1).outType, 6);
    EXPECT_EQ(GetTrackTangent(track, key).in[1][0], -100);
    EXPECT_EQ(GetTrackTangent(track, key).out[1][0], 100);
  }
  KeyTangent tangent;
  tangent.out[1][1] = 7;
  ASSERT_EQ(SetTangent(track, 1, 1, tangent), kDone);
  EXPECT_EQ(SetTangent(track, 1, 2, tangent), kRefused);
  EXPECT_EQ(SetTangent(track, 3, 0, tangent), kRefused);
  tangent.in[0][1] = std::nanf("");
  EXPECT_EQ(SetTangent(track, 1, 1, tangent), kRefused);
  EXPECT_EQ(SetTrackTangent(track, 1, tangent), kRefused);
  ASSERT_EQ(DeleteKeyRecord(table, 0), kDone);
  EXPECT_EQ(GetTangent(track, 0, 1).out[1][1], 7);  // tangents move with their key
  ASSERT_EQ(SetCurveMode(track, 0), kDone);
  EXPECT_EQ(GetTangent(track, 0, 1).out[1][1], 0);
  EXPECT_TRUE(CheckTrack(track));
}

TEST(KeyTrack, SectionsTakeAndGiveBackTheirLinksOwnKeys) {
  Table table = TableAt({0, 10, 20, 30});
  KeyTrack& track = table.track;
  const KeyTcb own{1, 2, 3, 4, 5}, linkOwn{9, 9, 9, 9, 9};
  ASSERT_EQ(SetTcb(track, 1, 0, own), kDone);
  EXPECT_EQ(SetSeparate(table, 1, 0), kRefused);
  EXPECT_EQ(SetSeparate(table, 1, 33), kRefused);
  ASSERT_EQ(SetSeparate(table, 1, 3), kDone);
  for (int sub = 0; sub < 3; ++sub) EXPECT_EQ(GetTcb(track, 1, sub), own);
  EXPECT_EQ(SetTcb(track, 1, 3, own), kRefused);
  track.clampSubTrack = 1;
  ASSERT_EQ(SetTcb(track, 1, 7, linkOwn), kDone);
  EXPECT_EQ(GetTcb(track, 1, 2), linkOwn);

  // Keys of the links: 0 all, 1 without the last, 2 the last alone, 3 all.
  SetLinkMask(track, 1, 3);
  SetLinkMask(track, 2, 4);
  Table wider = table;
  ASSERT_EQ(SetSeparate(wider, 1, 5), kDone);  // the new ones keep to the last there was
  const std::uint32_t wide[] = {31, 3, 28, 31};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(wider.track.times[i].linkMask, wide[i]);
  ASSERT_TRUE(CheckTrack(wider.track));
  SetLinkMask(wider.track, 3, 8);  // of those that fall together again not all have this key
  ASSERT_EQ(SetSeparate(wider, 1, 3), kDone);
  EXPECT_EQ(wider.keys, (std::vector<int>{0, 10, 20}));
  EXPECT_EQ(wider.track.times[2].linkMask, 4u);
  ASSERT_TRUE(CheckTrack(wider.track));

  ASSERT_EQ(SetSeparate(table, 0, 0), kDone);
  EXPECT_EQ(table.keys, (std::vector<int>{0, 30}));
  EXPECT_EQ(GetTcb(track, 0, 0), DefaultTcb());
  ASSERT_TRUE(CheckTrack(track));
  ClearKeys(table);
  EXPECT_TRUE(CheckTrack(track) && table.Empty());
  EXPECT_EQ(DeleteKeyRecord(table, 0), kRefused);
}

// A record that counts how often it moves, and that memory can run out for.
struct Heavy {
  static int moves;
  static bool outOfMemory;
  int value = 0;
  Heavy(int v = 0) : value(v) {}
  Heavy(const Heavy& other) : value(other.value) {
    if (outOfMemory) throw std::bad_alloc();
    ++moves;
  }
  Heavy(Heavy&& other) noexcept : value(other.value) { ++moves; }
  Heavy& operator=(const Heavy&) = default;
  Heavy& operator=(Heavy&& other) noexcept {
    value = other.value;
    ++moves;
    return *this;
  }
};
int Heavy::moves = 0;
bool Heavy::outOfMemory = false;

TEST(KeyTrack, KeysPutInOrderMoveAFewTimesEachHoweverManyThereAre) {
  KeyTable<Heavy> table;
  Heavy::moves = 0;
  constexpr int kKeys = 50000;
  for (int i = 0; i < kKeys; ++i) ASSERT_EQ(PutKeyRecord(table, i, Heavy(i)), kDone);
  EXPECT_LT(Heavy::moves, 5 * kKeys);
}

TEST(KeyTrack, RunningOutOfMemoryChangesNothing) {
  KeyTable<Heavy> table;
  for (const int t : {0, 100, 200}) ASSERT_EQ(PutKeyRecord(table, t, Heavy(t)), kDone);
  for (const int count : {kMaxKeys + 1, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(ReserveKeys(table.track, count), kRefused);
  }
  const Heavy wanted(50);
  Heavy::outOfMemory = true;
  EXPECT_EQ(PutKeyRecord(table, 50, wanted), kRefused);
  EXPECT_EQ(PutKeyRecord(table, 300, wanted), kRefused);
  EXPECT_EQ(SetSeparate(table, 1, 2), kRefused);
  Heavy::outOfMemory = false;
  ASSERT_TRUE(CheckTrack(table.track));
  ASSERT_EQ(table.track.numKeys, 3);
  ASSERT_EQ(table.keys.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(table[i].value, 100 * i);
  EXPECT_EQ(table.track.separate, 0);
  EXPECT_EQ(PutKeyRecord(table, 50, wanted), kDone);
  EXPECT_EQ(table[1].value, 50);
}

// A copied vector has no spare room, whatever its original reserved.
TEST(KeyTrack, ACopyHasTheRoomItSaysBeforeAnythingChanges) {
  const Table original = TableAt({0, 100});
  Table copy = original;
  ASSERT_EQ(ReserveKeys(copy.track, 3), kDone);
  EXPECT_GE(copy.track.times.capacity(), 3u);
  EXPECT_GE(copy.track.shapes.capacity(), 3u);
}

}  // namespace
}  // namespace strider
