#include "strider/base/quat.h"

namespace strider {
namespace {

// Within this distance of cos = +-1 the sine formula divides by a vanishing sine.
constexpr float kSlerpDegenerate = 1e-4f;
// Half pi to six decimals, as saved motions were computed with it.
constexpr double kQuarterTurn = 1.570795;

Quat Perpendicular(const Quat& a) { return {-a.y, a.x, -a.w, a.z}; }

Quat Mix(const Quat& a, float wa, const Quat& b, float wb) {
  return {wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z, wa * a.w + wb * b.w};
}

}  // namespace

Quat ShortestTurn(const Point3& from, const Point3& to) {
  const Point3 a = Normalized(from), b = Normalized(to);
  if (a == Point3{} || b == Point3{}) return {};
  const Point3 across = Cross(a, b);
  const float along = Dot(a, b);
  if (along < -0.999999f) {
    // Any perpendicular will do: the one by the axis that lies farthest from the direction.
    const Point3 aside = std::fabs(a.x) < 0.6f ? Point3{1, 0, 0} : Point3{0, 1, 0};
    return AngleAxis(kPi, Cross(a, aside));
  }
  return Normalized(Quat{across.x, across.y, across.z, 1 + along});
}

Point3 LnDif(const Quat& a, const Quat& b) {
  const Quat turn = Conjugate(a) * b;
  const double x = turn.x, y = turn.y, z = turn.z;
  const double sine = std::sqrt(x * x + y * y + z * z);
  if (sine == 0) return {};
  // Near a zero turn angle / sine tends to 1; atan2 keeps that to the last bit.
  const double scale = Atan2D(sine, turn.w) / sine;
  return {static_cast<float>(x * scale), static_cast<float>(y * scale),
          static_cast<float>(z * scale)};
}

Quat Exp(const Point3& halfAngle) {
  const double x = halfAngle.x, y = halfAngle.y, z = halfAngle.z;
  const double angle = std::sqrt(x * x + y * y + z * z);
  if (angle == 0) return {};
  const SinCosD sc = SinCosOf(angle);
  const double scale = sc.sin / angle;
  return {static_cast<float>(x * scale), static_cast<float>(y * scale),
          static_cast<float>(z * scale), static_cast<float>(sc.cos)};
}

SlerpArc ArcOf(const Quat& a, const Quat& b) {
  const float cosAngle = Dot(a, b);
  SlerpArc arc;
  if (1 + cosAngle <= kSlerpDegenerate) {
    arc.kind = SlerpArc::kOpposite;
  } else if (!(1 - cosAngle <= kSlerpDegenerate)) {
    const double c = cosAngle;
    arc.kind = SlerpArc::kArc;
    arc.cosine = c;
    arc.angle = AcosD(c);
    arc.inverseSine = 1 / std::sqrt((1 - c) * (1 + c));
  }
  return arc;
}

Quat Slerp(const Quat& a, const Quat& b, const SlerpArc& arc, float u) {
  if (arc.kind == SlerpArc::kClose) return Mix(a, 1 - u, b, u);
  if (arc.kind == SlerpArc::kOpposite) {  // every great circle is shortest, take a fixed one
    const float wa = static_cast<float>(SinCosOf((1.0 - u) * kQuarterTurn).sin);
    const float wb = static_cast<float>(SinCosOf(u * kQuarterTurn).sin);
    return Mix(a, wa, Perpendicular(a), wb);
  }
  // sin((1 - u) w) / sin(w) = cos(u w) - cos(w) sin(u w) / sin(w): one sine and cosine serve both
  // weights. In double the difference keeps more digits than a float holds.
  const SinCosD part = SinCosOf(static_cast<double>(u) * arc.angle);
  const double wb = part.sin * arc.inverseSine;
  const double wa = part.cos - arc.cosine * wb;
  return Mix(a, static_cast<float>(wa), b, static_cast<float>(wb));
}

Quat Slerp(const Quat& a, const Quat& b, float u) { return Slerp(a, b, ArcOf(a, b), u); }

Quat Squad(const Quat& from, const Quat& out, const Quat& in, const Quat& to, float u) {
  return Squad(from, out, in, to, ArcOf(from, to), ArcOf(out, in), u);
}

Quat Squad(const Quat& from, const Quat& out, const Quat& in, const Quat& to,
           const SlerpArc& keyArc, const SlerpArc& handleArc, float u) {
  return Slerp(Slerp(from, to, keyArc, u), Slerp(out, in, handleArc, u), 2 * (1 - u) * u);
}

}  // namespace strider
