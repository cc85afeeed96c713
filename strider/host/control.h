// What drives a node of the scene over time: the small interface that the scene asks of a transform
// controller. The figure's controllers implement it; the scene only points at them.
#pragma once

#include "strider/base/matrix3.h"
#include "strider/base/time_value.h"

namespace strider {

/// How GetValue leaves its answer: absolute is the node's place in the world, with all that moves
/// the whole figure; relative leaves that last step out.
enum class GetMethod { kRelative, kAbsolute };

class Control {
 public:
  virtual ~Control() = default;

  /// The node's transform at `t`. `value` holds the parent's world transform on entry and the
  /// node's on return. `valid`, which may be null, becomes the span over which the answer holds. A
  /// null `value` still brings what depends on time up to `t` but leaves `valid` alone. 1; or 0,
  /// with `value` and `valid` unchanged, if the controller has nothing to answer with.
  virtual int GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) = 0;

  /// Number of keys; -1 for a controller that has no key track at all.
  virtual int NumKeys() const { return -1; }
  /// Time of the key at `index`; kTimeMin if there is no such key.
  virtual TimeValue GetKeyTime(int /*index*/) const { return kTimeMin; }
  /// Index of the key exactly at `t`; -1 if none stands there.
  virtual int GetKeyIndex(TimeValue /*t*/) const { return -1; }
};

}  // namespace strider
