#include "strider/core/interpolation.h"

#include <algorithm>
#include <cmath>

namespace strider {
namespace {

// The float pi widened, and a quarter turn to six decimals: saved motions were eased with these.
constexpr double kEasePi = 3.1415927410125732;
constexpr double kEaseQuarter = 1.5707950592041016;
// Roots closer than this are one root, and a discriminant this small is zero.
constexpr double kCubicEpsilon = 1e-9;

TimeValue TimeOf(const KeyTrack& track, int index) {
  return track.times[static_cast<std::size_t>(index)].time;
}

/// Cube root from divisions alone, so that every platform finds the same bits.
double CubeRoot(double x) {
  if (x == 0 || !std::isfinite(x)) return x;
  int exponent = 0;
  const double mantissa = std::frexp(std::fabs(x), &exponent);
  int thirds = exponent / 3;
  if (exponent % 3 > 0) ++thirds;
  const double scaled = std::ldexp(mantissa, exponent - 3 * thirds);  // in (1/16, 1]
  double root = 0.3 + 0.7 * scaled;
  for (int i = 0; i < 8; ++i) root -= (root * root * root - scaled) / (3 * root * root);
  return std::ldexp(x < 0 ? -root : root, thirds);
}

int SolveQuadratic(double a, double b, double c, double roots[3]) {
  if (a == 0) {
    if (b == 0) return 0;
    roots[0] = -c / b;
    return 1;
  }
  const double discriminant = b * b - 4 * a * c;
  if (discriminant < 0) return 0;
  const double q = -0.5 * (b + (b < 0 ? -std::sqrt(discriminant) : std::sqrt(discriminant)));
  roots[0] = q / a;
  if (q == 0) return 1;
  roots[1] = c / q;
  return 2;
}

}  // namespace

float EaseCurve(float u, float easeOut, float easeIn) {
  const double x = std::clamp(static_cast<double>(u), 0.0, 1.0);
  if (easeOut == 0 && easeIn == 0) return static_cast<float>(x);
  const double a = easeOut, b = easeIn, c = 1 - b;
  const double v = 1 / (2 * (a + b) / kEasePi + (c - a));
  if (x < a) {
    return static_cast<float>((1 - SinCosOf(x * kEaseQuarter / a).cos) * (2 * v * a / kEasePi));
  }
  if (x <= c) return static_cast<float>(v * a * (2 - kEasePi) / kEasePi + v * x);
  const double late = SinCosOf((x - c) * kEaseQuarter / (1 - c)).sin;
  return static_cast<float>((late - 1) * (2 * v * (1 - c) / kEasePi) + 1);
}

float SpanFraction(const KeyTrack& track, TimeValue t, const KeySpan& span, int subTrack) {
  if (track.numKeys < 2 || span.left == span.right) return 0;
  const TimeValue from = TimeOf(track, span.left), to = TimeOf(track, span.right);
  if (t <= from || to <= from) return 0;
  const float u =
      static_cast<float>(std::int64_t{t} - from) / static_cast<float>(std::int64_t{to} - from);
  float easeOut, easeIn;
  if (track.separate) {
    easeOut = GetTcb(track, span.left, subTrack).easeTo;
    easeIn = GetTcb(track, span.right, subTrack).easeFrom;
  } else {
    easeOut = track.tcb[static_cast<std::size_t>(span.left)].easeTo;
    easeIn = track.tcb[static_cast<std::size_t>(span.right)].easeFrom;
  }
  const float sum = easeOut + easeIn;
  if (sum == 0) return std::min(u, 1.0f);
  const float scale = sum > 50 ? sum : 50.0f;
  return EaseCurve(u, easeOut / scale, easeIn / scale);
}

TimedSpan SolveTimeToKeyFraction(const KeyTrack& track, TimeValue t, std::uint32_t mask,
                                 int subTrack) {
  TimedSpan span;
  static_cast<KeySpan&>(span) = GetSpan(track, t, mask);
  if (span.left >= 0) span.u = SpanFraction(track, t, span, subTrack);
  return span;
}

float KeyNumberAt(const KeyTrack& track, TimeValue t) {
  const TimedSpan span = SolveTimeToKeyFraction(track, t);
  return span.left < 0 ? -1.0f : static_cast<float>(span.left) + span.u;
}

KeyShape ShapeOf(const KeyTcb& tcb, TimeValue before, TimeValue here, TimeValue after) {
  const float tension = (tcb.tension - 25) / 25;
  const float bias = (tcb.bias - 25) / 25;
  const float continuity = (tcb.continuity - 25) / 25;
  float factorBefore = 1, factorAfter = 1;
  const std::int64_t whole = std::int64_t{after} - before;
  if (whole > 0) {
    factorBefore = 2 * static_cast<float>(std::int64_t{here} - before) / static_cast<float>(whole);
    factorAfter = 2 * static_cast<float>(std::int64_t{after} - here) / static_cast<float>(whole);
  }
  const float c = std::fabs(continuity);
  factorBefore = factorBefore + c - factorBefore * c;
  factorAfter = factorAfter + c - factorAfter * c;
  const float slack = (1 - tension) / 2;
  return {(1 + bias) * (1 + continuity) * slack * factorAfter,
          (1 - bias) * (1 - continuity) * slack * factorAfter,
          (1 + bias) * (1 - continuity) * slack * factorBefore,
          (1 - bias) * (1 + continuity) * slack * factorBefore};
}

QuatHandles HandlesOf(const Quat& before, const Quat& here, const Quat& after, const KeyShape& k) {
  // Most links of fingers and chains never turn.
  if (before == Quat{} && here == Quat{} && after == Quat{}) return {};
  const Point3 arriving = LnDif(before, here), departing = LnDif(here, after);
  const Point3 in = 0.5f * ((1 - k.inBefore) * arriving - k.inAfter * departing);
  const Point3 out = 0.5f * ((k.outAfter - 1) * departing + k.outBefore * arriving);
  QuatHandles handles;
  handles.in = here * Exp(in);
  handles.out = here * Exp(out);
  return handles;
}

int SolveCubic(double a, double b, double c, double d, double roots[3]) {
  if (a == 0) return SolveQuadratic(b, c, d, roots);
  const double p = b / a, q = c / a, r = d / a;
  // x = y - p / 3 leaves y^3 + 3 m y + 2 n.
  const double shift = p / 3;
  const double m = (q - p * p / 3) / 3;
  const double n = (2 * p * p * p / 27 - p * q / 3 + r) / 2;
  double discriminant = n * n + m * m * m;
  if (std::fabs(discriminant) < kCubicEpsilon) discriminant = 0;
  if (discriminant > 0) {
    const double root = std::sqrt(discriminant);
    roots[0] = CubeRoot(-n + root) + CubeRoot(-n - root) - shift;
    return 1;
  }
  if (discriminant == 0) {
    const double u = std::fabs(m) < kCubicEpsilon ? 0 : CubeRoot(-n);
    roots[0] = 2 * u - shift;
    if (u == 0) return 1;
    roots[1] = -u - shift;
    return 2;
  }
  const double radius = std::sqrt(-m);
  const double angle = AcosD(-n / (radius * radius * radius)) / 3;
  for (int i = 0; i < 3; ++i) {
    roots[i] = 2 * radius * SinCosOf(angle + i * 2 * kPiD / 3).cos - shift;
  }
  return 3;
}

namespace {

/// The curve parameter at which the time curve reaches the share `u` of its span.
double CurveParameter(double t1, double t2, double t3, double t4, float u) {
  const double target = t1 + static_cast<double>(u) * (t4 - t1);
  const double cubic = -t1 + 3 * t2 - 3 * t3 + t4;
  const double square = 3 * t1 - 6 * t2 + 3 * t3;
  if (cubic == 0 && square == 0) return u;
  if (target == t1) return 0;
  if (target == t4) return 1;
  double roots[3];
  const int count = SolveCubic(cubic, square, 3 * (t2 - t1), t1 - target, roots);
  if (count == 1 && std::isfinite(roots[0])) return roots[0];
  double best = -1;
  for (int i = 0; i < count; ++i) {
    if (roots[i] >= 0 && roots[i] <= 1 && roots[i] > best) best = roots[i];
  }
  return best >= 0 ? best : u;
}

}  // namespace

float CurveValue(float from, float to, const KeyTangent& left, const KeyTangent& right, int channel,
                 TimeValue leftTime, TimeValue rightTime, float u) {
  if (left.inType == kStepTangent || right.outType == kStepTangent) return from;
  // Times count from the left key, where doubles and floats alike are exact.
  const double span = static_cast<double>(rightTime) - leftTime;
  const double at = CurveParameter(0, left.out[channel][0], span + right.in[channel][0], span, u);
  return Bezier(from, from + left.out[channel][1], to + right.in[channel][1], to,
                static_cast<float>(at));
}

Point3 EulerKeyFromAngles(const Point3& angles) { return {angles.x, angles.y, -angles.z}; }

float EulerChannel(const Point3& eulerKey, int channel, int order) {
  return static_cast<float>(kEulerOrders[order].sign[channel]) * eulerKey[channel];
}

Quat QuatFromEulerChannels(const Point3& channels, int order) {
  Point3 angles;
  for (int i = 0; i < 3; ++i) {
    angles[i] = static_cast<float>(kEulerOrders[order].sign[i]) * channels[i];
  }
  angles.z = -angles.z;
  return EulerToQuat(angles, order);
}

}  // namespace strider
