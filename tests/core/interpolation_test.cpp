#include "strider/core/interpolation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "strider/core/key_table.h"

namespace strider {
namespace {

TEST(EaseCurve, HasTheValuesOfItsThreePieces) {
  // Worked by hand: a quarter of a sine, a straight piece, a quarter of a sine, slopes joined.
  const struct {
    float u, a, b, value;
  } rows[] = {
      {0.25f, 0.5f, 0.5f, 0.1464466f},  // (1 - cos(pi/4)) / 2
      {0.5f, 0.5f, 0.5f, 0.5f},        {0.75f, 0.5f, 0.5f, 0.8535534f},
      {0.25f, 0.5f, 0, 0.1139318f},  // v = 1 / (1/pi + 1/2) = 1.2220310
      {0.75f, 0.5f, 0, 0.6944924f},    {0.25f, 0, 0.5f, 0.3055078f},
      {0.5f, 1, 0, 0.2928932f},  // 1 - cos(pi/4)
      {0.5f, 0, 1, 0.7071068f},
  };
  for (const auto& row : rows) {
    EXPECT_NEAR(EaseCurve(row.u, row.a, row.b), row.value, 2e-6f) << row.u << row.a << row.b;
  }
}

TEST(EaseCurve, LeadsFromZeroToOneWithoutJumpOrReturn) {
  std::mt19937 random(71);
  std::uniform_real_distribution<float> share(0, 1);
  for (int i = 0; i < 300; ++i) {
    const float sum = i % 4 == 0 ? 1 : share(random), split = share(random);
    const float a = i % 7 == 0 ? 0 : sum * split, b = i % 11 == 0 ? 0 : sum - sum * split;
    EXPECT_NEAR(EaseCurve(0, a, b), 0, 2e-6f);
    EXPECT_NEAR(EaseCurve(1, a, b), 1, 2e-6f);
    EXPECT_EQ(EaseCurve(-3, a, b), EaseCurve(0, a, b));
    EXPECT_EQ(EaseCurve(7, a, b), EaseCurve(1, a, b));
    // No place moves faster than the straight piece, so no step is longer than its slope allows;
    // a quarter turn to six decimals leaves 1e-6 where the pieces meet.
    const double slope = 1 / (2 * (a + b) / 3.14159265 + (1 - b - a));
    float last = EaseCurve(0, a, b);
    for (int step = 1; step <= 500; ++step) {
      const float now = EaseCurve(static_cast<float>(step) / 500, a, b);
      ASSERT_GE(now, last - 2e-6f) << a << ' ' << b;
      ASSERT_LE(now - last, slope / 500 + 3e-6) << a << ' ' << b;
      last = now;
    }
    for (const float seam : {a, 1 - b}) {
      const float before = EaseCurve(std::nextafter(seam, -1.0f), a, b);
      EXPECT_NEAR(EaseCurve(std::nextafter(seam, 2.0f), a, b), before, 3e-6f);
    }
    const float u = share(random);
    EXPECT_EQ(EaseCurve(u, 0, 0), u);
    EXPECT_NEAR(EaseCurve(u, a, b), 1 - EaseCurve(1 - u, b, a), 4e-6f);
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
      {"none", Ease(0, 0), Ease(0, 0), 0, 0},
      {"the two other eases play no part", Ease(50, 0), Ease(0, 50), 0, 0},
      {"out alone", Ease(0, 20), Ease(0, 0), 0.4f, 0},
      {"in alone", Ease(0, 0), Ease(35, 0), 0, 0.7f},
      {"just fifty together", Ease(0, 20), Ease(30, 0), 0.4f, 0.6f},
      {"above fifty both shrink", Ease(0, 50), Ease(50, 0), 0.5f, 0.5f},
      {"above fifty by their sum", Ease(0, 30), Ease(50, 0), 0.375f, 0.625f},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const KeyTrack track = TwoKeys(row.first, row.second);
    for (const TimeValue t : {1, 250, 400, 500, 900, 999}) {
      const float u = SolveTimeToKeyFraction(track, t).u;
      EXPECT_NEAR(u, EaseCurve(static_cast<float>(t) / 1000, row.a, row.b), 1e-6f) << t;
      EXPECT_EQ(KeyNumberAt(track, t), u);
    }
    EXPECT_EQ(KeyNumberAt(track, -5), 0);
    EXPECT_EQ(KeyNumberAt(track, 1000), 1);
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
  std::mt19937 random(72);
  std::uniform_real_distribution<double> any(-4, 4);
  double roots[3];
  for (int i = 0; i < 2000; ++i) {
    const double a = any(random) > 0 ? 3 : -0.5;
    double r[3] = {any(random), any(random), any(random)};
    if (i % 3 == 1) r[1] = r[0] + 0.5;
    std::sort(r, r + 3);
    if (r[1] - r[0] < 0.05 || r[2] - r[1] < 0.05) continue;
    ASSERT_EQ(
        SolveCubic(a, -a * (r[0] + r[1] + r[2]), a * (r[0] * r[1] + r[0] * r[2] + r[1] * r[2]),
                   -a * r[0] * r[1] * r[2], roots),
        3);
    std::sort(roots, roots + 3);
    for (int k = 0; k < 3; ++k) ASSERT_NEAR(roots[k], r[k], 1e-9);
    // One real root beside a pair of complex ones p +- qi.
    const double p = r[1], q = 0.3 + std::fabs(r[2]), single = r[0];
    ASSERT_EQ(SolveCubic(a, -a * (2 * p + single), a * (p * p + q * q + 2 * p * single),
                         -a * single * (p * p + q * q), roots),
              1);
    ASSERT_NEAR(roots[0], single, 1e-9);
  }
}

TEST(SolveCubic, HandlesRootsThatFallTogetherAndLowerDegrees) {
  const struct {
    const char* what;
    double c[4];
    int count;
    double roots[3];
  } rows[] = {
      {"triple at 0", {2, 0, 0, 0}, 1, {0}},
      {"triple at 2", {1, -6, 12, -8}, 1, {2}},
      {"double at 1, single at -2", {1, 0, -3, 2}, 2, {-2, 1}},
      {"double at -1, single at 2", {1, 0, -3, -2}, 2, {-1, 2}},
      {"quadratic", {0, 2, -10, 12}, 2, {2, 3}},
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
    const int count = SolveCubic(row.c[0], row.c[1], row.c[2], row.c[3], roots);
    ASSERT_EQ(count, row.count);
    std::vector<double> found(roots, roots + count);
    std::sort(found.begin(), found.end());
    for (int i = 0; i < count; ++i) {
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
      {"both ends", third, third, 0, 10},
      {"both ends", third, third, 1, 16},
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
      {"even", {0, 0, 25, 25, 25}, -100, 100, {0.5f, 0.5f, 0.5f, 0.5f}},
      {"a long way after", {0, 0, 25, 25, 25}, -100, 300, {0.75f, 0.75f, 0.25f, 0.25f}},
      {"first key", {0, 0, 25, 25, 25}, 0, 100, {1, 1, 0, 0}},
      {"alone", {0, 0, 25, 25, 25}, 0, 0, {0.5f, 0.5f, 0.5f, 0.5f}},
      {"tension 1", {0, 0, 50, 25, 25}, -100, 300, {0, 0, 0, 0}},
      {"tension -1", {0, 0, 0, 25, 25}, -100, 100, {1, 1, 1, 1}},
      {"bias 1", {0, 0, 25, 50, 25}, -100, 100, {1, 0, 1, 0}},
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
