// Footsteps placed by hand: while the mode is on, a click in a view puts one down where the
// pointer meets the ground, headed away from the one before it. The feet take turns.
#pragma once

#include <memory>
#include <optional>

#include "strider/host/footprint_control.h"

namespace strider {

/// What a view knows of its pointer: a line into the world, from the eye on.
struct ViewRay {
  Point3 origin, direction;
};

enum class MouseMessage { kPress, kMove, kRelease, kAbort };

/// Turns clicks into footsteps of one figure; each is an undo step of its own.
class FprintAddMouseProc {
 public:
  explicit FprintAddMouseProc(StriderMaster& master) : master_(master) {}

  /// The plane that clicks land on: the X and Y axes of a frame of the world, as finite as it is
  /// upright. Without one they land on the level ground under the figure.
  void SetConstructionPlane(const std::optional<Matrix3>& plane) { plane_ = plane; }

  /// Where a pointer meets the plane, the world; false where it looks past it.
  bool HitOf(const ViewRay& ray, Point3& hit) const;
  /// A press places a footstep: see AddFootstepCode, and 0 where nothing was hit or a footstep
  /// cannot be placed now. Other messages answer 0.
  int Proc(MouseMessage message, const ViewRay& ray);

 private:
  StriderMaster& master_;
  std::optional<Matrix3> plane_;
};

/// The mode in which clicks are the mouse procedure's.
class FprintAddCMode {
 public:
  explicit FprintAddCMode(StriderMaster& master) : master_(master), proc_(master) {}

  /// False, with a message, where footsteps cannot be placed now.
  bool EnterMode();
  void ExitMode() { active_ = false; }
  bool Active() const { return active_; }
  FprintAddMouseProc& MouseProc() { return proc_; }
  /// What the view hands on; an abort ends the mode. 0 while the mode is off.
  int Mouse(MouseMessage message, const ViewRay& ray);

 private:
  StriderMaster& master_;
  FprintAddMouseProc proc_;
  bool active_ = false;
};

/// What a host lists controllers by.
class FootprintClassDesc {
 public:
  const char* ClassName() const { return FootprintControl::GetClassName(); }
  std::unique_ptr<FootprintControl> Create(StriderMaster& master) const;
};

}  // namespace strider
