#include "strider/core/track_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "tests/base/math_fixture.h"

namespace strider {
namespace {

// A small key with one of each: a number, a place, a turn and the turn's angles.
struct Sample {
  float value = 0;
  Point3 place;
  Quat turn;
  Point3 euler;
};
struct SampleChannels {
  static const Quat& At(const Sample& key, int) { return key.turn; }
  static int SubTrack(int) { return 0; }
  static bool Comparable(const Sample&, const Sample&, int) { return true; }
  static KeyTcb Rule(const Sample&, int, const KeyTcb& tcb) { return tcb; }
};
using Table = KeyTable<Sample>;

struct Row {
  TimeValue t;
  float value;
};

Table TableOf(const std::vector<Row>& rows, const KeyTcb& tcb = {0, 0, 25, 25, 25}) {
  Table table;
  EXPECT_EQ(SetNumQuats(table, 1), kDone);
  table.track.numCurves = 1;
  for (const Row& row : rows) {
    const Sample key{row.value, {row.value, -row.value, 2}, AboutZ(row.value), {0, 0, -row.value}};
    EXPECT_EQ(PutKeyRecord(table, row.t, key), kDone);
    EXPECT_EQ(SetTcb(table.track, KeyAt(table.track, row.t), 0, tcb), kDone);
  }
  RefreshDerived(table, SampleChannels{});
  return table;
}

float ValueAt(const Table& table, TimeValue t, int sub = -1) {
  return TrackReader<Sample>(table, t, sub).Scalar(0, 0, [](const Sample& k) { return k.value; });
}
Quat TurnAt(const Table& table, TimeValue t) {
  return TrackReader<Sample>(table, t).RotationOrEuler(
      0, 0, [](const Sample& k) -> const Quat& { return k.turn; },
      [](const Sample& k) -> const Point3& { return k.euler; });
}
float AngleAt(const Table& table, TimeValue t) {
  const Quat q = TurnAt(table, t);
  return 2 * Atan2(q.z, q.w);
}

TEST(TrackReader, CurvesThroughKeysAsTheirShapesSay) {
  const std::vector<Row> squares = {{0, 0}, {100, 1}, {200, 4}, {300, 9}};
  // The middle span, worked by hand: with Bezier points 1, x, y, 4 the value at a quarter is
  // (27 + 27 x + 9 y + 4) / 64, at the middle (1 + 3 x + 3 y + 4) / 8.
  const struct {
    const char* what;
    KeyTcb tcb;
    float quarter, middle;
  } rows[] = {
      {"plain: x = 5/3, y = 8/3, the parabola itself", {0, 0, 25, 25, 25}, 1.5625f, 2.25f},
      {"tension 1: x = 1, y = 4", {0, 0, 50, 25, 25}, 1.46875f, 2.5f},
      {"bias 1: x = 4/3, y = 3", {0, 0, 25, 50, 25}, 1.46875f, 2.25f},
      {"continuity -1: x = 2, y = 3, a line", {0, 0, 25, 25, 0}, 1.75f, 2.5f},
      {"continuity 1: x = 4/3, y = 7/3", {0, 0, 25, 25, 50}, 1.375f, 2.0f},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Table table = TableOf(squares, row.tcb);
    EXPECT_NEAR(ValueAt(table, 125), row.quarter, 1e-5f);
    EXPECT_NEAR(ValueAt(table, 150), row.middle, 1e-5f);
    const Point3 place =
        TrackReader<Sample>(table, 150).Tcb([](const Sample& key) { return key.place; });
    EXPECT_NEAR(place.x, row.middle, 1e-5f);
    EXPECT_NEAR(place.y, -row.middle, 1e-5f);
    EXPECT_EQ(place.z, 2);
    for (const Row& key : squares) EXPECT_EQ(ValueAt(table, key.t), key.value);
    EXPECT_EQ(ValueAt(table, -100), 0);
    EXPECT_EQ(ValueAt(table, 1000), 9);
  }
}

TEST(TrackReader, EvenMotionStaysEvenThroughUnevenKeys) {
  // Along one axis a turn's logarithms add up, so that angles go like numbers.
  const Table table =
      TableOf({{-300, -0.6f}, {0, 0}, {100, 0.2f}, {500, 1}, {520, 1.04f}, {900, 1.8f}});
  for (TimeValue t = -300; t <= 900; t += 7) {
    EXPECT_NEAR(ValueAt(table, t), 0.002f * static_cast<float>(t), 2e-6f) << t;
    EXPECT_NEAR(AngleAt(table, t), 0.002f * static_cast<float>(t), 5e-4f) << t;
  }
  const Table still =
      TableOf({{0, 0.7f}, {100, 0.7f}, {150, 0.7f}, {900, 0.7f}}, {0, 0, 3, 40, 44});
  for (TimeValue t = 0; t <= 900; t += 9) {
    EXPECT_EQ(ValueAt(still, t), 0.7f);
    EXPECT_NEAR(AngleAt(still, t), 0.7f, 1e-6f);
  }
}

TEST(TrackReader, TurnsMeetTheirKeysAndStayUnitForAnyShape) {
  std::mt19937 random(81);
  const std::vector<Quat> quats = test::UnitQuats(83, 480);
  for (std::size_t round = 0; round < 60; ++round) {
    Table table;
    ASSERT_EQ(SetNumQuats(table, 1), kDone);
    Quat last;
    for (int i = 0; i < 8; ++i) {
      Sample key;
      key.turn = OnSideOf(quats[8 * round + static_cast<std::size_t>(i)], last);
      if (i == 5) key.turn = Normalized(-last * AboutX(1e-3f));  // the opposite side
      last = key.turn;
      ASSERT_EQ(PutKeyRecord(table, 100 * i + static_cast<int>(random() % 90), key), kDone);
      KeyTcb tcb;
      for (float* number : {&tcb.easeFrom, &tcb.easeTo, &tcb.tension, &tcb.bias, &tcb.continuity}) {
        *number = static_cast<float>(random() % 51);
      }
      ASSERT_EQ(SetTcb(table.track, i, 0, tcb), kDone);
    }
    RefreshDerived(table, SampleChannels{});
    for (TimeValue t = -20; t < 900; t += 3) {
      const Quat q = TurnAt(table, t);
      ASSERT_NEAR(Dot(q, q), 1, 1e-5) << t;
    }
    for (int i = 0; i < 8; ++i) {
      const Quat &key = table[i].turn, at = TurnAt(table, table.TimeOf(i));
      EXPECT_GT(Dot(key, at), 1 - 1e-6f);
      // A tick before a key the turn has nearly arrived, on the key's own side.
      if (i == 0 || i == 5) continue;
      EXPECT_GT(Dot(key, TurnAt(table, table.TimeOf(i) - 1)), 0.95f);
    }
  }
}

Table EulerTable(int order, int curveMode, const std::vector<Point3>& angles, TimeValue span) {
  Table table;
  EXPECT_EQ(SetNumQuats(table, 1), kDone);
  table.track.numCurves = 1;
  table.track.eulerActive = 1;
  table.track.eulerOrder = order;
  EXPECT_EQ(SetCurveMode(table.track, curveMode), kDone);
  for (const Point3& key : angles) {
    const Sample sample{0, {}, EulerToQuat(key, order), EulerKeyFromAngles(key)};
    EXPECT_EQ(PutKeyRecord(table, span * table.track.numKeys, sample), kDone);
  }
  RefreshDerived(table, SampleChannels{});
  return table;
}

TEST(TrackReader, EulerChannelsGoWhereTheTurnsGoInEveryOrder) {
  std::mt19937 random(82);
  std::uniform_real_distribution<float> any(-2, 2);
  for (int order = 0; order < kNumEulerOrders; ++order) {
    for (const int curveMode : {0, 1}) {
      std::vector<Point3> angles;
      for (int i = 0; i < 4; ++i) angles.push_back({any(random), any(random), any(random)});
      const Table table = EulerTable(order, curveMode, angles, 100);
      for (int i = 0; i < 4; ++i) {
        EXPECT_GT(std::fabs(Dot(TurnAt(table, 100 * i), table[i].turn)), 1 - 2e-6f) << order;
      }
      // Half way the angles are interpolated as numbers: by Catmull-Rom's weights, or by handles
      // so short that the way is nearly even.
      Point3 middle = (9 * (angles[1] + angles[2]) - (angles[0] + angles[3])) / 16;
      if (curveMode) middle = (angles[1] + angles[2]) / 2;
      EXPECT_GT(std::fabs(Dot(TurnAt(table, 150), EulerToQuat(middle, order))), 1 - 2e-6f) << order;
    }
  }
}

TEST(TrackReader, AChannelsTangentsBelongToTheAxisTheOrderNames) {
  // The middle value of a span under handles (0, y) and (0, 0) a third long is 3 y / 8 above the
  // line; a channel shows Z negated and X and Y as they are, whatever the order.
  for (int order = 0; order < kNumEulerOrders; ++order) {
    for (int channel = 0; channel < 3; ++channel) {
      Table table = EulerTable(order, 1, {{}, {}}, 300);
      KeyTangent tangent;
      for (int i = 0; i < 3; ++i) {
        tangent.out[i][0] = 100;
        tangent.in[i][0] = -100;
      }
      ASSERT_EQ(SetTangent(table.track, 1, 0, tangent), kDone);
      tangent.out[channel][1] = 0.8f;
      ASSERT_EQ(SetTangent(table.track, 0, 0, tangent), kDone);
      const int axis = kEulerOrders[order].axis[channel];
      const Quat turns[3] = {AboutX(0.3f), AboutY(0.3f), AboutZ(-0.3f)};
      EXPECT_GT(Dot(TurnAt(table, 150), turns[axis]), 1 - 1e-6f) << order << ' ' << channel;
    }
  }
}

TEST(TrackReader, LinksWithoutAKeyRideAcrossIt) {
  Table table = TableOf({{0, 0}, {100, 5}, {200, 2}, {300, 3}});
  ASSERT_EQ(SetSeparate(table, 1, 3), kDone);
  RefreshDerived(table, SampleChannels{});
  SetLinkMask(table.track, 1, 2);  // the second link alone has the key at 100
  ASSERT_EQ(SetTcb(table.track, 0, 1, {0, 50, 25, 25, 25}), kDone);
  RefreshDerived(table, SampleChannels{});
  Table without = TableOf({{0, 0}, {200, 2}, {300, 3}});
  for (TimeValue t = -50; t < 400; t += 5) {
    for (const int sub : {0, 2, 9}) EXPECT_EQ(ValueAt(table, t, sub), ValueAt(without, t)) << t;
  }
  EXPECT_EQ(ValueAt(table, 100, 1), 5);
  // Its own ease alone slows its start.
  EXPECT_LT(ValueAt(table, 10, 1), 0.2f);
  // No key of a link at all: the first key of the section stands in.
  for (int i = 0; i < 4; ++i) SetLinkMask(table.track, i, 3);
  RefreshDerived(table, SampleChannels{});
  for (const TimeValue t : {-10, 150, 400}) EXPECT_EQ(ValueAt(table, t, 2), 0);
  // One key rules at all times.
  const Table one = TableOf({{50, 7}});
  for (const TimeValue t : {kTimeMin, 49, 50, kTimeMax}) EXPECT_EQ(ValueAt(one, t), 7);
}

}  // namespace
}  // namespace strider
