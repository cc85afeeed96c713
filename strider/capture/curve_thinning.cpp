#include "strider/capture/curve_thinning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <unordered_map>

#include "strider/base/trig.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

// Travel under this share of a tolerance is what a capture's noise makes of standing still.
constexpr float kNoiseShare = 0.02f;
// Tests of a swing's far point ask that none of so many frames before it has a key.
constexpr int kQuietFrames = 4;
// While keys go, a longer gap is tested at so many places; all are tested in the end.
constexpr int kMostTested = 12;
// Between two keys that lie further apart than a frame the curve is sampled no more often.
constexpr int kMostBetween = 16;

// Keys are moved and merged so often at the most.
constexpr int kRounds = 4;
// And so many keys to either side.
constexpr int kShiftReach = 4;

/// Places at which a thinned curve is compared with the curve of all keys.
struct CurveSamples {
  std::vector<TimeValue> times;
  std::vector<CurvePose> poses;
  std::vector<int> ofKey;  // the sample at each key
};

CurveSamples SampleCurve(const SectionCurve& curve, TimeValue frame) {
  CurveSamples samples;
  const int last = curve.NumKeys() - 1;
  const auto add = [&](const CurveSpan& span, TimeValue t) {
    samples.times.push_back(t);
    span.Read(t, samples.poses.emplace_back());
  };
  for (int i = 0; i <= last; ++i) {
    const int next = std::min(i + 1, last);
    const CurveSpan span(curve, {std::max(i - 1, 0), i, next, std::min(i + 2, last)});
    samples.ofKey.push_back(static_cast<int>(samples.times.size()));
    add(span, curve.times[At(i)]);
    const std::int64_t gap = std::int64_t{curve.times[At(next)]} - curve.times[At(i)];
    const std::int64_t step = std::max<std::int64_t>(frame, gap / kMostBetween);
    for (std::int64_t away = step; away < gap; away += step) {
      add(span, Later(curve.times[At(i)], away));
    }
  }
  return samples;
}

/// The thinning of one curve.
class Thinning {
 public:
  Thinning(const SectionCurve& curve, const KeyReductionRow& row, TimeValue frame)
      : curve_(curve),
        samples_(SampleCurve(curve, frame)),
        tolerance_(row.tolerance * curve.toleranceShare),
        spacing_(std::int64_t{frame} * row.spacing),
        before_(curve.times.size(), -1),
        after_(curve.times.size(), -1),
        needed_(curve.times.size(), 0) {}

  void Walk(int first, int last, const TurnsBack& turns) {
    const int end = curve_.NumKeys() - 1;
    for (int i = 1; i <= end; ++i) Link(i - 1, i);
    int prev = first;
    for (int i = first + 1; i < last; ++i) {
      const std::int64_t since = Ticks(prev, i);
      const bool spaced = std::min(Ticks(i, last), since) >= spacing_;
      needed_[At(i)] =
          curve_.forced[At(i)] != 0 ||
          (spaced && (turns.always || (Moves(i) && turns(curve_.times[At(i)], since))));
      const bool keep = needed_[At(i)] != 0 ||
                        (spaced && Leaves({before_[At(prev)], prev, i + 1, after_[At(i + 1)]}));
      if (keep) {
        prev = i;
      } else {
        Link(prev, i + 1);
        after_[At(i)] = kGone;
      }
    }
    PutBack(first, last);
    TakeSpare(first, last);
    for (int round = 0; round < kRounds; ++round) {
      Shift(first, last);
      TakeSpare(first, last);
      if (!Merge(first, last)) break;
    }
  }

  bool Stays(int key) const { return after_[At(key)] != kGone; }

  /// The furthest that the curve is from its samples.
  float LargestDeviation(int first, int last) {
    float most = 0;
    for (int key = first; key < last; key = after_[At(key)]) most = std::max(most, Worst(key).off);
    return most * tolerance_;
  }

 private:
  static constexpr int kGone = -2;

  std::int64_t Ticks(int from, int to) const {
    return std::int64_t{curve_.times[At(to)]} - curve_.times[At(from)];
  }
  void Link(int left, int right) {
    after_[At(left)] = right;
    before_[At(right)] = left;
  }

  float OffAt(const CurveSpan& span, const CurveKeys& keys, int sample) {
    span.Read(samples_.times[At(sample)], shown_);
    return curve_.measure(keys.left, keys.right, shown_, samples_.poses[At(sample)], tolerance_);
  }

  /// Whether the values themselves move around a key: a section also turns with what carries it.
  bool Moves(int key) {
    const auto pose = [this](int at) -> const CurvePose& {
      const int held = std::clamp(at, 0, curve_.NumKeys() - 1);
      return samples_.poses[At(samples_.ofKey[At(held)])];
    };
    const auto off = [&](int other) {
      return curve_.measure(key, key, pose(other), pose(key), tolerance_);
    };
    return std::max(off(key - kTurnReach), off(key + kTurnReach)) > kNoiseShare;
  }

  /// Whether the curve over a gap is past the tolerance, at a few places all over it.
  bool Leaves(CurveKeys keys) {
    Complete(keys);
    const CurveSpan span(curve_, keys);
    const int first = samples_.ofKey[At(keys.left)] + 1;
    const int count = samples_.ofKey[At(keys.right)] - first;
    const int tested = std::min(count, kMostTested);
    for (int k = tested; k >= 1; --k) {  // it leaves first where the gap has grown
      const int sample = first + static_cast<int>(std::int64_t{count} * k / tested) - 1;
      if (!(OffAt(span, keys, sample) <= 1)) return true;
    }
    return false;
  }

  static void Complete(CurveKeys& keys) {
    if (keys.prev < 0) keys.prev = keys.left;
    if (keys.next < 0) keys.next = keys.right;
  }

  struct Place {
    float off = 0;
    int sample = -1;
  };
  struct HashOfKeys {
    std::size_t operator()(const std::array<int, 4>& keys) const {
      std::uint64_t hash = 0;
      for (const int key : keys)
        hash = (hash ^ static_cast<std::uint32_t>(key)) * 0x9E3779B97F4A7C15u;
      return static_cast<std::size_t>(hash ^ hash >> 32);
    }
  };
  /// Where the curve after a key is furthest from its samples.
  Place Worst(int key) {
    CurveKeys keys{before_[At(key)], key, after_[At(key)], -1};
    keys.next = after_[At(keys.right)];
    const auto [known, isNew] = known_.try_emplace({keys.prev, key, keys.right, keys.next});
    if (isNew) known->second = WorstOf(keys);
    return known->second;
  }
  Place WorstOf(CurveKeys keys) {
    Complete(keys);
    const CurveSpan span(curve_, keys);
    Place worst;
    for (int s = samples_.ofKey[At(keys.left)] + 1; s < samples_.ofKey[At(keys.right)]; ++s) {
      const float off = OffAt(span, keys, s);
      if (!(off <= worst.off)) worst = {off, s};
    }
    return worst;
  }

  /// The shape of a kept key follows from its neighbours, which went after it was tested: where the
  /// curve has so left the tolerance, keys come back as near to the worst place as spacing lets
  /// them.
  void PutBack(int first, int last) {
    std::vector<int> gaps;
    for (int key = first; key < last; key = after_[At(key)]) gaps.push_back(key);
    while (!gaps.empty()) {
      const int left = gaps.back();
      gaps.pop_back();
      const Place worst = Worst(left);
      if (worst.off <= 1) continue;
      const int key = NearestAllowed(left, after_[At(left)], worst.sample);
      if (key < 0) continue;
      const int right = after_[At(left)];
      Link(left, key);
      Link(key, right);
      for (const int changed : {before_[At(left)], left, key, right}) {
        if (changed >= first && changed < last) gaps.push_back(changed);
      }
    }
  }

  /// Takes out the keys that the curve, with the neighbours that they have in the end, does as well
  /// without.
  void TakeSpare(int first, int last) {
    for (int key = after_[At(first)]; key < last; key = after_[At(key)]) {
      if (needed_[At(key)] != 0) continue;
      const int left = before_[At(key)], right = after_[At(key)];
      const float outer = std::max(WorstAround(left, right, first, last), 1.0f);
      Link(left, right);
      // A gap that spacing keeps from the tolerance gets no worse, and none is added to it.
      if (Worst(left).off <= 1 && WorstAround(left, right, first, last, outer) <= outer) {
        after_[At(key)] = kGone;
        key = left;
      } else {
        Link(left, key);
        Link(key, right);
      }
    }
  }

  /// How far the curve is from its samples where a key of a gap, or the lack of one, shapes it.
  /// No further is looked once it is more than `enough`.
  float WorstAround(int left, int right, int first, int last, float enough = HUGE_VALF) {
    float off = 0;
    for (int k = left > first ? before_[At(left)] : left; k <= right && k < last && off <= enough;
         k = after_[At(k)]) {
      off = std::max(off, Worst(k).off);
    }
    return off;
  }

  /// Moves keys to where the curve is nearest to its samples: the walk leaves them late, right
  /// before what it would have missed.
  void Shift(int first, int last) {
    for (int key = after_[At(first)]; key < last; key = after_[At(key)]) {
      if (needed_[At(key)] != 0) continue;
      const int left = before_[At(key)], right = after_[At(key)];
      int best = key;
      float least = WorstAround(left, right, first, last);
      after_[At(key)] = kGone;
      const int from = std::max(left + 1, key - kShiftReach);
      const int to = std::min(right - 1, key + kShiftReach);
      for (int other = from; other <= to; ++other) {
        if (other == key || Ticks(left, other) < spacing_ || Ticks(other, right) < spacing_) {
          continue;
        }
        Link(left, other);
        Link(other, right);
        const float off = WorstAround(left, right, first, last, least);
        after_[At(other)] = kGone;
        if (off < least) {
          best = other;
          least = off;
        }
      }
      Link(left, best);
      Link(best, right);
      key = best;
    }
  }

  /// Puts one key in the place of two wherever the curve stays as near to its samples; false if it
  /// nowhere does.
  bool Merge(int first, int last) {
    bool merged = false;
    for (int a = after_[At(first)]; a < last; a = after_[At(a)]) {
      const int b = after_[At(a)];
      if (needed_[At(a)] != 0 || b >= last || needed_[At(b)] != 0) continue;
      const int left = before_[At(a)], right = after_[At(b)];
      const int between = FindBetween(left, right, first, last);
      if (between < 0) {
        Link(left, a);
        Link(a, b);
        Link(b, right);
        continue;
      }
      after_[At(a)] = after_[At(b)] = kGone;
      Link(left, between);
      Link(between, right);
      merged = true;
      a = left > first ? before_[At(left)] : left;
    }
    return merged;
  }

  /// A key that is enough between two; -1 where none is. The links of the two are of no use then.
  int FindBetween(int left, int right, int first, int last) {
    const int middle = left + (right - left) / 2;
    for (int away = 0; away <= std::min((right - left) / 2, kShiftReach); ++away) {
      for (const int key : {middle - away, middle + away}) {
        if (key <= left || key >= right || Ticks(left, key) < spacing_ ||
            Ticks(key, right) < spacing_) {
          continue;
        }
        Link(left, key);
        Link(key, right);
        if (Worst(left).off <= 1 && WorstAround(left, right, first, last, 1) <= 1) return key;
        after_[At(key)] = kGone;
      }
    }
    return -1;
  }

  /// The key of a gap nearest to a sample that keeps its distance from both ends; -1 for none.
  int NearestAllowed(int left, int right, int sample) const {
    int nearest = -1;
    std::int64_t least = 0;
    for (int key = left + 1; key < right; ++key) {
      if (Ticks(left, key) < spacing_ || Ticks(key, right) < spacing_) continue;
      const std::int64_t away =
          std::abs(std::int64_t{curve_.times[At(key)]} - samples_.times[At(sample)]);
      if (nearest < 0 || away < least) {
        nearest = key;
        least = away;
      }
    }
    return nearest;
  }

  const SectionCurve& curve_;
  CurveSamples samples_;
  float tolerance_;
  std::int64_t spacing_;
  std::vector<int> before_, after_;  // the kept neighbours of kept keys
  std::vector<char> needed_;         // whatever the curve does
  std::unordered_map<std::array<int, 4>, Place, HashOfKeys> known_;  // of four keys in a row
  CurvePose shown_;
};

}  // namespace

TurnsBack::TurnsBack(const ReductionSamples& samples, int id, const KeyReductionRow& row)
    : always(id == kTurn), samples_(samples), id_(id), frames_(samples.FramesOf(id)) {
  const bool place = id == kHorizontal || id == kVertical;
  noise_ = kNoiseShare * (place ? row.tolerance : DegreesToRadians(row.tolerance));
  if (id == kHorizontal) path_ = Projected({1, 0, 1});
  if (id == kVertical) path_ = Projected({0, 1, 0});
}

bool TurnsBack::operator()(TimeValue t, std::int64_t since) const {
  const int at = samples_.At(t);
  if (at < 0) return false;
  if (id_ != kHorizontal && id_ != kVertical) {
    SampleWindow<Matrix3> window;
    return frames_ != nullptr && WindowAt(*frames_, at, window) && LimbTest(window, noise_);
  }
  SampleWindow<Point3> window;
  if (since <= std::int64_t{kQuietFrames} * samples_.step || !WindowAt(path_, at, window)) {
    return false;
  }
  return (id_ == kHorizontal && LeadsBack(window)) || LimbTest(window, noise_);
}

std::vector<Point3> TurnsBack::Projected(const Point3& axes) const {
  std::vector<Point3> path;
  path.reserve(samples_.body.size());
  for (const Point3& p : samples_.body) path.push_back({axes.x * p.x, axes.y * p.y, axes.z * p.z});
  return path;
}

/// Two frames each way are enough for a path over the ground.
bool TurnsBack::LeadsBack(const SampleWindow<Point3>& window) const {
  const Point3 d = window[3] - window[1], e = window[5] - window[3];
  return Length(d) > noise_ && Length(e) > noise_ && Dot(d, e) < 0;
}

ThinnedCurve ThinCurve(const SectionCurve& curve, int first, int last, const KeyReductionRow& row,
                       TimeValue frame, const TurnsBack& turns) {
  Thinning thinning(curve, row, frame);
  thinning.Walk(first, last, turns);
  ThinnedCurve thinned;
  for (int i = 0; i < curve.NumKeys(); ++i) thinned.stays.push_back(thinning.Stays(i));
  thinned.largestDeviation = thinning.LargestDeviation(first, last);
  return thinned;
}

}  // namespace strider
