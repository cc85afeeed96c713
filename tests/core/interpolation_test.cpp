#include "strider/core/interpolation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "strider/core/key_table.h"

namespace strider {
namespace {

TEST(EaseCurve, IsTheWayOfASpeedThatSwellsAndSinksAsAQuarterSine) {
  std::mt19937 random(71);
  std::uniform_real_distribution<float> share(0, 1);
  constexpr int kSteps = 20000;
  for (int i = 0; i < 60; ++i) {
    const float sum = i % 4 == 0 ? 1 : share(random), split = share(random);
    const float a = i % 7 == 0 ? 0 : sum * split, b = i % 11 == 0 ? 0 : sum - sum * split;
    std::vector<double> way(1);  // summed up in small steps
    for (int step = 0; step < kSteps; ++step) {
      const double u = (step + 0.5) / kSteps;
      const double speed = u < a       ? std::sin(1.5707963 * u / a)
                           : u > 1 - b ? std::sin(1.5707963 * (1 - u) / b)
                                       : 1;
      way.push_back(way.back() + speed);
    }
    for (std::size_t step = 0; step <= kSteps; step += 40) {
      const float u = static_cast<float>(step) / kSteps;
      ASSERT_NEAR(EaseCurve(u, a, b), way[step] / way.back(), 4e-6) << u << ' ' << a << ' ' << b;
    }
    EXPECT_EQ(EaseCurve(-3, a, b), EaseCurve(0, a, b));
    EXPECT_EQ(EaseCurve(7, a, b), EaseCurve(1, a, b));
    EXPECT_EQ(EaseCurve(split, 0, 0), split);
  }
}

KeyTrack TwoKeys(const KeyTcb& first, const KeyTcb& second) {
  KeyTable<int> table;
  EXPECT_EQ(PutKeyRecord(table, 0, 0), kDone);
  EXPECT_EQ(PutKeyRecord(table, 1000, 0), kDone);
  EXPECT_EQ(SetTcb(table.track, 0, 0, first), kDone);
  EXPECT_EQ(SetTcb(table.track, 1, 0, second), kDone);
  return table.track;
}
KeyTcb Ease(float from, float to) { return {from, to, 25, 25, 25}; }

TEST(SpanFraction, LeavesAKeyByItsEaseToAndEntersTheNextByItsEaseFrom) {
  const struct {
    const char* what;
    KeyTcb first, second;
    float a, b;
  } rows[] = {
      {"the two other eases play no part", Ease(50, 0), Ease(0, 50), 0, 0},
      {"out alone", Ease(0, 20), Ease(0, 0), 0.4f, 0},
      {"in alone", Ease(0, 0), Ease(35, 0), 0, 0.7f},
      {"above fifty by their sum", Ease(0, 30), Ease(50, 0), 0.375f, 0.625f},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const KeyTrack track = TwoKeys(row.first, row.second);
    for (const TimeValue t : {1, 250, 500, 999}) {
      const float u = SolveTimeToKeyFraction(track, t).u;
      EXPECT_NEAR(u, EaseCurve(static_cast<float>(t) / 1000, row.a, row.b), 1e-6f) << t;
      EXPECT_EQ(KeyNumberAt(track, t), u);
    }
    EXPECT_EQ(KeyNumberAt(track, -5), 0);
    EXPECT_EQ(KeyNumberAt(track, 5000), 1);
  }
}

TEST(SpanFraction, IsZeroWithoutASpanAndExactOverTheWholeTimeRange) {
  KeyTable<int> table;
  EXPECT_EQ(KeyNumberAt(table.track, 7), -1);
  EXPECT_EQ(SolveTimeToKeyFraction(table.track, 7).u, 0);
  ASSERT_EQ(PutKeyRecord(table, kTimeMin, 0), kDone);
  for (const TimeValue t : {kTimeMin, 0, kTimeMax}) EXPECT_EQ(KeyNumberAt(table.track, t), 0);
  ASSERT_EQ(PutKeyRecord(table, kTimeMax, 0), kDone);
  EXPECT_EQ(KeyNumberAt(table.track, 0), 0.5f);
  EXPECT_EQ(KeyNumberAt(table.track, kTimeMax / 2), 0.75f);
  EXPECT_EQ(KeyNumberAt(table.track, kTimeMin), 0);
  EXPECT_EQ(KeyNumberAt(table.track, kTimeMax), 1);
}

TEST(SolveCubic, FindsTheRootsThatAPolynomialWasMadeOf) {
  const struct {
    const char* what;
    double c[4];
    int count;
    double roots[3];
  } rows[] = {
      {"three", {-2, 0, 14, -12}, 3, {-3, 1, 2}},
      {"one beside 1 +- 2i", {1, 1, -1, 15}, 1, {-3}},
      {"triple at 2", {1, -6, 12, -8}, 1, {2}},
      {"double at 1, single at -2", {1, 0, -3, 2}, 2, {-2, 1}},
      {"quadratic, mixed signs", {0, -1, 1, 6}, 2, {-2, 3}},
      {"quadratic, large beside small", {0, 1, -1e9, 1}, 2, {1e-9, 1e9}},
      {"quadratic without roots", {0, 1, 0, 1}, 0, {}},
      {"square", {0, 4, 0, 0}, 1, {0}},
      {"line", {0, 0, 2, -3}, 1, {1.5}},
      {"nothing", {0, 0, 0, 5}, 0, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    double roots[3];
    ASSERT_EQ(SolveCubic(row.c[0], row.c[1], row.c[2], row.c[3], roots), row.count);
    std::vector<double> found(roots, roots + row.count);
    std::sort(found.begin(), found.end());
    for (int i = 0; i < row.count; ++i) {
      EXPECT_NEAR(found[static_cast<std::size_t>(i)], row.roots[i],
                  1e-9 * std::max(1.0, std::fabs(row.roots[i])));
    }
  }
}

KeyTangent Handles(float inX, float inY, float outX, float outY) {
  KeyTangent tangent;
  for (int channel = 0; channel < 3; ++channel) {
    tangent.in[channel][0] = inX;
    tangent.in[channel][1] = inY;
    tangent.out[channel][0] = outX;
    tangent.out[channel][1] = outY;
  }
  return tangent;
}

double Cubic(double p0, double p1, double p2, double p3, double s) {
  const double r = 1 - s;
  return r * r * r * p0 + 3 * r * r * s * p1 + 3 * r * s * s * p2 + s * s * s * p3;
}

// The largest parameter at which the time curve passes a time, sought by halving a fine raster.
double LastPassing(double outX, double inX, double span, double target) {
  const auto ahead = [&](double s) { return Cubic(0, outX, span + inX, span, s) - target; };
  for (int i = 20000; i > 0; --i) {
    double low = (i - 1) / 20000.0, high = i / 20000.0;
    if ((ahead(low) < 0) == (ahead(high) < 0)) continue;
    for (int halving = 0; halving < 60; ++halving) {
      const double middle = (low + high) / 2;
      ((ahead(low) < 0) == (ahead(middle) < 0) ? low : high) = middle;
    }
    return low;
  }
  return -1;
}

TEST(CurveValue, FollowsTheHandlesInTimeAndValue) {
  std::mt19937 random(73);
  std::uniform_real_distribution<float> x(0, 900), y(-50, 50), share(0.001f, 0.999f);
  for (int i = 0; i < 400; ++i) {
    // Every fourth pair of handles is so long that the curve turns back in time.
    const float longer = i % 4 == 0 ? 3 : 1;
    const float outX = longer * x(random), inX = -longer * x(random), outY = y(random),
                inY = y(random);
    const float u = share(random);
    const double at = LastPassing(outX, inX, 900, u * 900.0);
    ASSERT_GE(at, 0);
    const float got =
        CurveValue(3, 20, Handles(9, 9, outX, outY), Handles(inX, inY, 9, 9), 2, -400, 500, u);
    EXPECT_NEAR(got, Cubic(3, 3 + outY, 20 + inY, 20, at), 2e-3) << outX << ' ' << inX << ' ' << u;
  }
}

TEST(CurveValue, StepsAndStraightLinesAndLongTracks) {
  const KeyTangent plain, third = Handles(-100, -2, 100, 2);
  KeyTangent in = third, out = third;
  in.inType = kStepTangent;
  out.outType = kStepTangent;
  const struct {
    const char* what;
    KeyTangent left, right;
    float u, value;
  } rows[] = {
      {"a third of the way is a line", third, third, 0.3f, 11.8f},
      {"the left key's way in steps", in, third, 0.9f, 10},
      {"the right key's way out steps", third, out, 0.9f, 10},
      {"other sides do not step", out, in, 0.5f, 13},
      // The default handles are a tick long: the way is almost even.
      {"default handles", plain, plain, 0.25f, 11.5f},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_NEAR(CurveValue(10, 16, row.left, row.right, 0, 0, 300, row.u), row.value, 0.02f);
    // The same far out in time, where a float no longer counts single ticks.
    EXPECT_EQ(CurveValue(10, 16, row.left, row.right, 0, kTimeMax - 300, kTimeMax, row.u),
              CurveValue(10, 16, row.left, row.right, 0, 0, 300, row.u));
  }
  // A span of three ticks under default handles has an even time curve, and one whose leading
  // coefficient alone vanishes is quadratic: 3 * 2 - 3 * 2 + 3 - 3 with handles of 2 and -1.
  EXPECT_NEAR(CurveValue(0, 1, plain, plain, 0, 0, 3, 0.5f), 0.5f, 1e-6f);
  const double at = LastPassing(200, -100, 300, 75);
  EXPECT_NEAR(CurveValue(0, 30, Handles(0, 0, 200, 10), Handles(-100, 0, 0, 0), 0, 0, 300, 0.25f),
              Cubic(0, 10, 30, 30, at), 1e-4);
}

TEST(KeyShape, WeighsChordsByShapeAndSpacing) {
  const struct {
    const char* what;
    KeyTcb tcb;
    TimeValue before, after;
    KeyShape k;
  } rows[] = {
      {"a long way after", {0, 0, 25, 25, 25}, -100, 300, {0.75f, 0.75f, 0.25f, 0.25f}},
      {"first key", {0, 0, 25, 25, 25}, 0, 100, {1, 1, 0, 0}},
      // Full continuity overrides the spacing: the factors of 1.5 and 0.5 become 1.
      {"continuity -1", {0, 0, 25, 25, 0}, -100, 300, {0, 1, 1, 0}},
      {"continuity 1", {0, 0, 25, 25, 50}, -100, 300, {1, 0, 0, 1}},
      // C = 0.4: 1.5 becomes 1.3, 0.5 becomes 0.7; times 1.4 or 0.6, times a half.
      {"some continuity", {0, 0, 25, 25, 35}, -100, 300, {0.91f, 0.39f, 0.21f, 0.49f}},
      {"whole time range", {0, 0, 25, 25, 25}, kTimeMin, kTimeMax, {0.5f, 0.5f, 0.5f, 0.5f}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const KeyShape k = ShapeOf(row.tcb, row.before, 0, row.after);
    EXPECT_NEAR(k.outBefore, row.k.outBefore, 1e-6f);
    EXPECT_NEAR(k.outAfter, row.k.outAfter, 1e-6f);
    EXPECT_NEAR(k.inBefore, row.k.inBefore, 1e-6f);
    EXPECT_NEAR(k.inAfter, row.k.inAfter, 1e-6f);
  }
}

}  // namespace
}  // namespace strider
