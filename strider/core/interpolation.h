// How a value moves between keys: ease, Kochanek-Bartels curves for scalars, points and
// quaternions, tangent curves, and Euler channels. Nothing here allocates.
#pragma once

#include "strider/base/euler.h"
#include "strider/core/key_track.h"

namespace strider {

/// Progress `u` (clamped to 0 to 1) with a slow start over the share `a` and a slow end over the
/// share `b` (a + b at most 1). Computed in double; the identity for a = b = 0.
float EaseCurve(float u, float a, float b);

/// Place of `t` between two keys, eased by the way out of `left` and the way into `right`.
/// 0 for fewer than two keys, an empty span, or a time before the left key.
float SpanFraction(const KeyTrack& track, TimeValue t, const KeySpan& span, int subTrack);

/// The span around `t` and its eased fraction in one go.
struct TimedSpan : KeySpan {
  float u = 0;
};
TimedSpan SolveTimeToKeyFraction(const KeyTrack& track, TimeValue t, std::uint32_t mask = kAllLinks,
                                 int subTrack = 0);

/// Key number plus fraction, as tables of the body are addressed: 2.25 is a quarter of the way
/// from key 2 to key 3. Evaluation itself keeps number and fraction apart, since in one float a
/// fraction loses a bit each time the number doubles. -1 for an empty track.
float KeyNumberAt(const KeyTrack& track, TimeValue t);

/// Weights of a key's chords from its shape and the times of its neighbours.
KeyShape ShapeOf(const KeyTcb& tcb, TimeValue before, TimeValue here, TimeValue after);

/// Control points of a quaternion key between its neighbours.
QuatHandles HandlesOf(const Quat& before, const Quat& here, const Quat& after,
                      const KeyShape& shape);

template <class V>
V OutTangent(const V& before, const V& here, const V& after, const KeyShape& k) {
  return here + (k.outBefore * (here - before) + k.outAfter * (after - here)) / 3.0f;
}
template <class V>
V InTangent(const V& before, const V& here, const V& after, const KeyShape& k) {
  return here - (k.inBefore * (here - before) + k.inAfter * (after - here)) / 3.0f;
}

/// Cubic Bezier by repeated linear interpolation, in float.
template <class V>
V Bezier(const V& p0, const V& p1, const V& p2, const V& p3, float u) {
  const auto mix = [u](const V& a, const V& b) { return a + u * (b - a); };
  const V a = mix(p0, p1), b = mix(p1, p2), c = mix(p2, p3);
  return mix(mix(a, b), mix(b, c));
}

/// Value between p1 and p2 with p0 and p3 as their outer neighbours.
template <class V>
V TcbValue(const V& p0, const V& p1, const V& p2, const V& p3, const KeyShape& left,
           const KeyShape& right, float u) {
  return Bezier(p1, OutTangent(p0, p1, p2, left), InTangent(p1, p2, p3, right), p2, u);
}

/// One channel (0 to 2) of a tangent curve between two keys.
float CurveValue(float from, float to, const KeyTangent& left, const KeyTangent& right, int channel,
                 TimeValue leftTime, TimeValue rightTime, float u);

/// Real roots of a x^3 + b x^2 + c x + d; a vanishing leading coefficient makes it a quadratic,
/// and so on down. Returns how many stand in `roots`.
int SolveCubic(double a, double b, double c, double d, double roots[3]);

/// An Euler key's triple (third angle negated) from the turns of its order, and back; a channel
/// is the triple's value with the order's sign, which is what tangents are drawn for.
Point3 EulerKeyFromAngles(const Point3& angles);
float EulerChannel(const Point3& eulerKey, int channel, int order);
Quat QuatFromEulerChannels(const Point3& channels, int order);

}  // namespace strider
