#include "strider/capture/section_curve.h"

#include <algorithm>
#include <cmath>

#include "strider/base/trig.h"
#include "strider/core/interpolation.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

}  // namespace

CurveSpan::CurveSpan(const SectionCurve& curve, const CurveKeys& keys)
    : curve_(curve), keys_(keys) {
  const int prev = keys.prev, left = keys.left, right = keys.right, next = keys.next;
  const auto time = [&](int key) { return curve.times[At(key)]; };
  const auto shapes = [&](const std::vector<KeyTcb>& tcb, KeyShape& atLeft, KeyShape& atRight) {
    atLeft = ShapeOf(tcb[At(left)], time(prev), time(left), time(right));
    atRight = ShapeOf(tcb[At(right)], time(left), time(right), time(next));
  };
  shapes(curve.tcb, leftShape_, rightShape_);
  KeyShape leftRule = leftShape_, rightRule = rightShape_;
  if (!curve.rotationTcb.empty()) shapes(curve.rotationTcb, leftRule, rightRule);
  rotations_.resize(At(curve.numRotations));
  for (int i = 0; i < curve.numRotations; ++i) {
    const auto at = [&](int key) { return curve.rotations[At(key * curve.numRotations + i)]; };
    Rotation& r = rotations_[At(i)];
    r.left = at(left);
    r.right = OnSideOf(at(right), r.left);
    if (i >= curve.firstEasedRotation) continue;
    const auto apart = [&](int a, int b) {
      return i == curve.ownSpaceRotation && curve.space[At(a)] != curve.space[At(b)];
    };
    const Quat before = apart(prev, left) ? r.left : OnSideOf(at(prev), r.left);
    const Quat after = apart(next, right) ? r.right : OnSideOf(at(next), r.right);
    const bool parted = apart(left, right);
    // The rule over a leg's contacts is for the limb's own rotations, which come first.
    r.out = HandlesOf(before, r.left, parted ? r.left : r.right, i < 3 ? leftRule : leftShape_).out;
    r.in = HandlesOf(parted ? r.right : r.left, r.right, after, i < 3 ? rightRule : rightShape_).in;
    r.keyArc = ArcOf(r.left, r.right);
    r.handleArc = ArcOf(r.out, r.in);
  }
}

void CurveSpan::Read(TimeValue t, CurvePose& pose) const {
  const auto [prev, left, right, next] = keys_;
  const double whole = static_cast<double>(curve_.times[At(right)]) - curve_.times[At(left)];
  const double gone = static_cast<double>(t) - curve_.times[At(left)];
  float u = whole > 0 ? static_cast<float>(std::clamp(gone / whole, 0.0, 1.0)) : 0;
  const float out = curve_.tcb[At(left)].easeTo, in = curve_.tcb[At(right)].easeFrom;
  if (out + in > 0) {
    const float scale = std::max(out + in, 50.0f);
    u = EaseCurve(u, out / scale, in / scale);
  }
  pose.u = u;
  pose.atKey = t == curve_.times[At(left)];
  const float eased = CosineEase(u);
  pose.rotations.resize(rotations_.size());
  for (int i = 0; i < curve_.numRotations; ++i) {
    const Rotation& r = rotations_[At(i)];
    pose.rotations[At(i)] =
        NearUnit(i >= curve_.firstEasedRotation
                     ? Slerp(r.left, r.right, eased)
                     : Squad(r.left, r.out, r.in, r.right, r.keyArc, r.handleArc, u));
  }
  pose.scalars.resize(At(curve_.numScalars));
  for (int i = 0; i < curve_.numScalars; ++i) {
    const auto at = [&](int key) { return curve_.scalars[At(key * curve_.numScalars + i)]; };
    if (i >= curve_.firstEasedScalar) {
      pose.scalars[At(i)] = at(left) + eased * (at(right) - at(left));
      continue;
    }
    const bool inSpace = i >= curve_.ownSpaceScalar && i < curve_.ownSpaceEnd;
    const auto outer = [&](int key, int inner) {
      return inSpace && curve_.space[At(key)] != curve_.space[At(inner)] ? at(inner) : at(key);
    };
    pose.scalars[At(i)] = TcbValue(outer(prev, left), at(left), at(right), outer(next, right),
                                   leftShape_, rightShape_, u);
  }
}

}  // namespace strider
