// The controller on a figure's footstep node: presents footsteps to the host as keys. A change to
// one is carried into the motion from exactly that footstep on.
#pragma once

#include <functional>
#include <memory>

#include "strider/host/control.h"
#include "strider/host/footprint_key.h"
#include "strider/host/hold.h"

namespace strider {

class StriderMaster;

/// Footsteps one by one, for programs around the figure. Reading answers 0 or the identity for an
/// index outside, writing false.
class IStriderFootStep {
 public:
  virtual ~IStriderFootStep() = default;
  virtual int NumFootsteps() const = 0;
  virtual int Side(int footstep) const = 0;
  virtual TimeValue Start(int footstep) const = 0;
  virtual TimeValue Duration(int footstep) const = 0;
  virtual Matrix3 Transform(int footstep) const = 0;
  virtual bool Active(int footstep) const = 0;
  virtual int EdgeSel(int footstep) const = 0;
  virtual bool SetTransform(int footstep, const Matrix3& transform) = 0;
  virtual bool SetTimes(int footstep, TimeValue start, TimeValue duration) = 0;
  virtual bool SetEdgeSel(int footstep, int edges) = 0;
};

class FootprintControl final : public Control,
                               public EventUser,
                               public IKeyControl,
                               public IStriderFootStep {
 public:
  explicit FootprintControl(StriderMaster& master);
  ~FootprintControl() override;

  // Control
  int GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) override;
  int NumKeys() const override { return GetNumKeys(); }
  TimeValue GetKeyTime(int index) const override;
  /// The first footstep that touches at `t`; -1 in figure mode.
  int GetKeyIndex(TimeValue t) const override;

  // IKeyControl: keys are FootprintKey.
  int GetNumKeys() const override;
  void GetKey(int index, IKey& key) const override;
  bool SetKey(int index, const IKey& key) override;
  int GetKeySize() const override { return sizeof(FootprintKey); }

  // IStriderFootStep
  int NumFootsteps() const override { return GetNumKeys(); }
  int Side(int footstep) const override { return Read(footstep).side; }
  TimeValue Start(int footstep) const override { return Read(footstep).time; }
  TimeValue Duration(int footstep) const override { return Read(footstep).duration; }
  Matrix3 Transform(int footstep) const override { return Read(footstep).transform; }
  bool Active(int footstep) const override { return Read(footstep).active != 0; }
  int EdgeSel(int footstep) const override { return Read(footstep).edgeSel; }
  bool SetTransform(int footstep, const Matrix3& transform) override;
  bool SetTimes(int footstep, TimeValue start, TimeValue duration) override;
  bool SetEdgeSel(int footstep, int edges) override;

  // EventUser
  bool DeleteSelected() override;

  /// From the first touch to the last lift, of the selected footsteps alone if asked; never if
  /// there are none.
  Interval GetTimeRange(bool selectedOnly = false) const;
  using TimeMap = std::function<TimeValue(TimeValue)>;
  /// Moves touches and lifts in time; with `selectedOnly` those whose edges are selected. False,
  /// nothing changed, where footsteps would pass each other or a foot be down twice.
  bool MapKeys(const TimeMap& map, bool selectedOnly);

  // A drag in the row over time: the selected edges move along while keys read the preview.

  /// Shows the selected edges `ticks` later than they stand; each call counts from where the drag
  /// began. A place that cannot be shown leaves the preview as it was.
  bool DragTo(TimeValue ticks);
  /// Ends the drag: the motion follows what was shown, or with `keep` off all is as before.
  bool MouseCycleCompleted(bool keep);
  bool Dragging() const { return preview_ != nullptr; }

  /// The controller of a copied figure.
  std::unique_ptr<FootprintControl> Clone(StriderMaster& master) const;
  static const char* GetClassName() { return "Footsteps"; }

 private:
  const FootstepTrack& Track() const;
  FootprintKey Read(int footstep) const { return FootprintKeyOf(Track(), footstep); }

  StriderMaster& master_;
  std::unique_ptr<FootstepTrack> preview_;  // during a drag
  TimeValue dragged_ = 0;                   // ticks that the preview shows
};

/// The edges selected, kept for undo.
class FootSelSave final : public RestoreObj {
 public:
  explicit FootSelSave(StriderMaster& master);
  void Restore(bool isUndo) override;
  void Redo() override;

 private:
  struct Edges {
    BitArray start, end;
  };
  Edges Read() const;
  void Write(const Edges& edges);

  StriderMaster& master_;
  Edges before_, after_;
};

}  // namespace strider
