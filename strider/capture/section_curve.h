// The keys of a section as plain curves of rotations and numbers, which can be asked what they
// would show with some of the keys gone, without a figure to pose. A separate track makes one such
// record for each of its sub-tracks.
#pragma once

#include <functional>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// What a curve shows at a time.
struct CurvePose {
  std::vector<Quat> rotations;
  std::vector<float> scalars;
  float u = 0;         // eased share of the way from key to key
  bool atKey = false;  // a key's own values
};

struct SectionCurve {
  std::vector<int> keys;  // their places in the track
  std::vector<TimeValue> times;
  std::vector<KeyTcb> tcb;          // of times and scalars
  std::vector<KeyTcb> rotationTcb;  // of the first rotations; empty where it is the same
  std::vector<char> forced;         // stays whatever the tests say
  std::vector<int> space;           // keys of different spaces do not shape each other's paths
  int numRotations = 0, numScalars = 0;
  std::vector<Quat> rotations;  // numRotations a key
  std::vector<float> scalars;   // numScalars a key
  // From these on a value goes straight from key to key, slow at both ends.
  int firstEasedRotation = 1 << 20, firstEasedScalar = 1 << 20;
  float toleranceShare = 1;   // of a row's tolerance that the section makes use of
  int ownSpaceRotation = -1;  // rotation that `space` speaks of
  int ownSpaceScalar = 1 << 20, ownSpaceEnd = 0;  // and scalars

  /// How far `shown` is from `meant` between two keys: 1 is `tolerance` degrees of a rotation, or
  /// scene units of a place.
  std::function<float(int left, int right, const CurvePose& shown, const CurvePose& meant,
                      float tolerance)>
      measure;

  int NumKeys() const { return static_cast<int>(times.size()); }
};

/// The curve of the track of `id`, of one sub-track where it is separate. Passes std::bad_alloc on.
SectionCurve CurveOf(const MotionCore& core, int id, int subTrack);

/// Four keys of a curve between whose middle two it is read; those that miss are the next one in.
struct CurveKeys {
  int prev, left, right, next;
};

/// A curve as it runs between two keys when no other stands between them.
class CurveSpan {
 public:
  CurveSpan(const SectionCurve& curve, const CurveKeys& keys);
  /// Leaves the values at `t` in `pose`.
  void Read(TimeValue t, CurvePose& pose) const;

 private:
  struct Rotation {
    Quat left, right, out, in;
    SlerpArc keyArc, handleArc;
  };
  const SectionCurve& curve_;
  CurveKeys keys_;
  KeyShape leftShape_, rightShape_;
  std::vector<Rotation> rotations_;
};

}  // namespace strider
