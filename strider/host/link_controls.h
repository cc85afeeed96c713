// The controllers that the scene finds on a figure's nodes. They hold no motion: they know their
// master and which link they stand for, and hand every request on.
#pragma once

#include "strider/core/motion_core.h"
#include "strider/host/control.h"

namespace strider {

class StriderMaster;

class StriderSlaveControl final : public Control {
 public:
  StriderSlaveControl(StriderMaster& master, int id, int link)
      : master_(master), id_(id), link_(link) {}

  int GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) override;
  /// Keys of the link: those of its section, or of its own sub-track where links have their own.
  int NumKeys() const override;
  TimeValue GetKeyTime(int index) const override;
  /// Always -1 in figure mode, where no keys apply.
  int GetKeyIndex(TimeValue t) const override;

  int Id() const { return id_; }
  int Link() const { return link_; }

 private:
  const KeyTrack* Track() const;

  StriderMaster& master_;
  int id_, link_;
};

/// The centre of mass: one node, three tracks. Its place comes from the horizontal and the
/// vertical track, its rotation from the turn track.
class StriderBodyControl final : public Control {
 public:
  explicit StriderBodyControl(StriderMaster& master);

  int GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) override;

  StriderSlaveControl& Vertical() { return vertical_; }
  StriderSlaveControl& Horizontal() { return horizontal_; }
  StriderSlaveControl& Turn() { return turn_; }

 private:
  StriderSlaveControl vertical_, horizontal_, turn_;
};

}  // namespace strider
