// What programs around a figure see of it. Each version of the interface adds operations at the
// end, so that a caller of an older one needs no change.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "strider/core/key_edit.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/extract_footsteps.h"
#include "strider/footsteps/place.h"
#include "strider/host/control.h"
#include "strider/host/scene.h"
#include "strider/storage/motion_file.h"

namespace strider {

/// Modes of a figure as one bit set.
enum ModeBits : unsigned {
  kFigureMode = 1,
  kFootstepMode = 2,
  kMotionMode = 4,
  kBufferMode = 8,
  kBendLinksMode = 16,
  kRubberBandMode = 32,
  kScaleStrideMode = 64,
  kInPlaceMode = 128,
  kInPlaceXMode = 256,
  kInPlaceYMode = 512,
  kMixerMode = 1024,
  kMoveAllMode = 2048,
  kTwistLinksMode = 4096,
  kTwistIndMode = 8192,
  kSmoothTwistMode = 16384,
};

class IStriderMaster {
 public:
  virtual ~IStriderMaster() = default;

  virtual const MotionCore& Core() const = 0;

  /// Node of a link, kNoNode where the figure has none. Twist ids and extra chains included.
  virtual NodeHandle GetNode(int id, int link) const = 0;
  /// Id and link of a node of this figure; false for others and for nubs.
  virtual bool GetIdLink(NodeHandle node, int& id, int& link) const = 0;
  virtual int NumLinks(int id) const = 0;
  /// Digits of a hand or foot; side 0 right, 1 left, anything else 0.
  virtual int NumFingers(int side) const = 0;
  virtual int NumToes(int side) const = 0;

  virtual unsigned GetActiveModes() const = 0;
  /// Switches modes on (off). Bits that may not be switched now are passed over; the answer is the
  /// bits that were switched. `redraw` tells the scene at once.
  virtual unsigned BeginModes(unsigned bits, bool redraw) = 0;
  virtual unsigned EndModes(unsigned bits, bool redraw) = 0;
  virtual bool CanSwitchMode(unsigned bit) const = 0;

  virtual float GetHeight() const = 0;
  /// Refused, with a message, for a height that is not positive and finite.
  virtual bool SetHeight(float height) = 0;
};

/// The three controllers of the centre of mass.
class IStriderMaster8 : public IStriderMaster {
 public:
  virtual Control* GetVerticalControl() = 0;
  virtual Control* GetHorizontalControl() = 0;
  virtual Control* GetTurnControl() = 0;
};

/// Keys. All are one undo step within a hold; a refused key changes nothing.
class IStriderMaster9 : public IStriderMaster8 {
 public:
  virtual KeyRefusal PutLimbKey(int id, TimeValue t, const LimbKey& key) = 0;
  virtual KeyRefusal PutChainKey(int id, TimeValue t, const ChainKey& key) = 0;
  virtual KeyRefusal PutHeadKey(TimeValue t, const HeadKey& key) = 0;
  virtual KeyRefusal PutPelvisKey(TimeValue t, const PelvisKey& key) = 0;
  virtual KeyRefusal PutVerticalKey(TimeValue t, const VerticalKey& key) = 0;
  virtual KeyRefusal PutHorizontalKey(TimeValue t, const HorizontalKey& key) = 0;
  virtual KeyRefusal PutTurnKey(TimeValue t, const TurnKey& key) = 0;
  virtual KeyRefusal PutPropKey(int id, TimeValue t, const PropKey& key) = 0;
  virtual KeyRefusal DeleteKey(int id, TimeValue t) = 0;
};

/// Nodes that limbs and head follow. kNoNode ends it.
class IStriderMaster10 : public IStriderMaster9 {
 public:
  /// `id` an arm or a leg. Its object-space keys are from then on relative to the node; where the
  /// limb's end stands at its keys is kept.
  virtual bool SetIkTarget(int id, NodeHandle node) = 0;
  virtual NodeHandle GetIkTarget(int id) const = 0;
  virtual bool SetHeadTarget(NodeHandle node) = 0;
  virtual NodeHandle GetHeadTarget() const = 0;
};

/// How sections interpolate.
class IStriderMaster11 : public IStriderMaster10 {
 public:
  virtual bool SetEulerActive(int id, int order) = 0;
  virtual bool SetQuaternionActive(int id) = 0;
  virtual int GetEulerOrder(int id) const = 0;
  virtual bool SetSeparateTracks(int id, bool on) = 0;
};

/// The unmirrored transform of a link, for exporters: right-handed, the host's space, with all
/// that moves the whole figure.
class IStriderMaster12 : public IStriderMaster11 {
 public:
  virtual Matrix3 UnmirroredTransform(int id, int link, TimeValue t) = 0;
};

class FootprintControl;

/// Footsteps. Those put in have no motion yet; a change to those that have it is carried into the
/// keys. Each is one undo step within a hold; what is refused changes nothing and is told.
class IStriderMaster13 : public IStriderMaster12 {
 public:
  /// One footstep at a place of the world, Z up, with its heading in radians. 1, or a code below 0:
  /// see AddFootstepCode.
  virtual int AddFootprint(const Point3& position, float angle) = 0;
  /// The same as a click makes it: headed away from the footstep before it.
  virtual int AddFootstepNow(const Point3& position) = 0;
  /// A batch of the gait in force, at the end or at the current time.
  virtual PlaceResult AddMultipleFootprints(const MultFprintParams& params) = 0;
  /// What AddMultipleFootprints would answer; nothing is told.
  virtual PlaceResult DryRunMultipleFootprints(const MultFprintParams& params) = 0;
  /// A plan, in order of starts; places and headings as the engine holds them.
  virtual PlaceResult AddFootsteps(std::span<const NewFootstep> plan) = 0;
  virtual PlaceResult InsertFootstep(int index, const NewFootstep& footstep) = 0;

  /// The session's batch parameters of a gait; null for a number that is no gait.
  virtual MultFprintParams* GetMultFprintParams(int gait) = 0;
  /// Side of the next footstep: 0 right, 1 left. Anything else is refused.
  virtual int GetFSAddSide() const = 0;
  virtual bool SetFSAddSide(int side) = 0;

  virtual bool DeleteFootstep(int index) = 0;
  /// False if none is selected.
  virtual bool DeleteSelectedFootsteps() = 0;
  /// `edges`: 0 none, 1 the start, 2 the end, 3 the whole footstep. `clearOthers` takes all else
  /// off.
  virtual bool SelectFootstep(int index, int edges, bool clearOthers) = 0;
  /// Moves and turns a footstep; the space of the figure, Z up.
  virtual bool SetFootstepTransform(int index, const Matrix3& transform) = 0;
  virtual bool SetFootstepTimes(int index, TimeValue start, TimeValue duration) = 0;
  /// Opens (closes) the free-form interval after a footstep.
  virtual bool SetFreeFormAfter(int index, bool on) = 0;
  /// Makes the motion of the footsteps that wait for it. False if none does.
  virtual bool NewFootprintKeys() = 0;
  /// Turns the selected runs by `angle` radians at each footstep, to the left where positive.
  virtual bool BendFootprints(float angle) = 0;
  virtual bool ScaleFootprints(const FootstepScale& scale) = 0;
  /// The footsteps as keys.
  virtual FootprintControl* GetFootprintControl() = 0;
};

/// Twist poses: those of the arms where `id` is an arm, of the legs where it is a leg; ids of
/// digits and twist links stand for their limb. Poses count from 0, twists are degrees. Each edit
/// is one undo step within a hold; what is refused changes nothing and is told.
class IStriderMaster14 : public IStriderMaster13 {
 public:
  /// 0 for an id without poses.
  virtual int NumTwistPoses(int id) const = 0;
  /// A pose of the limb as it stands at the current time, without a twist of its own; its index, or
  /// -1.
  virtual int CreateTwistPose(int id) = 0;
  /// Gives a pose the limb's present direction and roll and takes its twist off; name and bias
  /// stay.
  virtual bool SetTwistPose(int id, int index) = 0;
  virtual bool DeleteTwistPose(int id, int index) = 0;
  virtual bool SetDefaultTwistPoses(int id) = 0;
  /// At most kMaxTwistPoseName bytes of UTF-8.
  virtual bool SetTwistPoseName(int id, int index, const std::string& name) = 0;
  virtual bool SetTwistPoseTwist(int id, int index, float degrees) = 0;
  /// 0 to 1.
  virtual bool SetTwistPoseBias(int id, int index, float bias) = 0;
  /// Empty, or 0, for a pose that does not exist.
  virtual std::string GetTwistPoseName(int id, int index) const = 0;
  virtual float GetTwistPoseTwist(int id, int index) const = 0;
  virtual float GetTwistPoseBias(int id, int index) const = 0;

  // Structure. The nodes follow, the motion is fitted to the figure.

  /// Another number of links: see ChangeNumLinks. Refused outside figure mode.
  virtual bool SetNumLinks(int id, int numLinks) = 0;
  /// The structure, proportions, stance and twist poses of another figure, as a figure file brings
  /// them; in any mode.
  virtual bool SetFigure(const MotionCore& figure) = 0;
};

/// What goes into a saved motion besides the motion itself.
struct SaveOptions {
  const HeaderInfo* headerInfo = nullptr;
};

/// Files, and the layers that come with them. A load is one undo step of its own; what cannot be
/// read or taken over changes nothing. Every refusal is told, with the file, the place in it and
/// the cause, and so is a file of an older version where the preferences ask for it.
class IStriderMaster15 : public IStriderMaster14 {
 public:
  /// A motion with its layers in place of the present one; footsteps alone get their motion. With
  /// matchFileStruct off it goes onto this figure as it is, `options.figure` is passed over. Limbs
  /// follow what the file attaches them to, and nothing else.
  virtual bool LoadMotion(const std::string& path, const LoadOptions& options = {}) = 0;
  /// The motion of a file as a new layer on top, on this figure, without its footsteps. Refused for
  /// a file of several motions.
  virtual bool LoadMotionLayer(const std::string& path) = 0;
  /// With all layers. Limbs that follow a node of this figure are saved with it; what follows
  /// another node of the scene is saved where it is at its keys.
  virtual bool SaveMotion(const std::string& path, const SaveOptions& options = {}) = 0;
  /// The part from `first` to `last`, see CutSegment; layers whose keys lie outside are left out.
  virtual bool SaveMotionSegment(const std::string& path, TimeValue first, TimeValue last,
                                 bool keyPerFrame, const HeaderInfo* header) = 0;
  /// Footsteps in place of the present motion, grown to this figure, with the motion they imply.
  virtual bool LoadFootsteps(const std::string& path) = 0;
  virtual bool SaveFootsteps(const std::string& path) = 0;
  /// The figure of a figure file, as SetFigure takes it over.
  virtual bool LoadFigure(const std::string& path) = 0;
  /// All of it but the twist poses, which stay.
  virtual bool LoadFigNoTwists(const std::string& path) = 0;
  /// Its twist poses alone; a file too old to hold any changes nothing.
  virtual bool LoadFigJustTwists(const std::string& path) = 0;
  virtual bool SaveFigure(const std::string& path) = 0;

  /// Layers above the base. They are kept, saved and taken along by changes of the figure, and do
  /// not show in it yet.
  virtual int NumLayers() const = 0;
  /// Index 0 is the base. Empty, or false, for a layer that there is not.
  virtual std::string GetLayerName(int index) const = 0;
  virtual bool GetLayerActive(int index) const = 0;

  /// The whole figure with the pose it stands in, for the host to keep in its own file.
  virtual bool SaveToChunk(std::string& chunk) = 0;
  /// Limbs that follow other nodes of the scene keep doing so.
  virtual bool LoadFromChunk(std::string_view chunk) = 0;
};

/// Motions of footsteps and motions of free keys, one made from the other. Each is one undo step
/// within a hold; what is refused changes nothing and is told.
class IStriderMaster16 : public IStriderMaster15 {
 public:
  /// Takes the footsteps off, the keys stay; with `bake` every part has a key on every frame first.
  /// Refused for a motion that has none.
  virtual bool ConvertToFreeForm(bool bake) = 0;
  /// Finds the footsteps that the leg keys of a free-form motion stand on; with `flat` they are put
  /// on the ground plane. How much a foot may slide is the preferences'. How many there are is
  /// told; where there are none, nothing but the bake has changed, and the answer is false.
  virtual bool ConvertToFootSteps(bool bake, bool flat) = 0;
};

/// What the last LoadCapture, ConvertToFreeForm or ConvertToFootSteps of a figure came to.
struct ConversionOutcome {
  bool done = false;
  std::vector<std::string>
      messages;  // told, or kept back by `quiet`; why it was refused comes last
  /// The footsteps as the last one that was done found them, and contacts too short to count.
  ExtractionReport extraction;
};

/// Captures.
class IStriderMaster17 : public IStriderMaster16 {
 public:
  /// A take in place of the present motion, on a figure fitted to it or on the one that the
  /// session's capture settings name: a .bvh with Y up, a .mkr, or a .sdr whose footsteps are to be
  /// found and keys thinned anew. The settings are taken exactly as they stand, with name files as
  /// far as they are in use; nothing is guessed. fsExtractionMode 0 finds footsteps, 1 leaves the
  /// motion free. Of a take at several times the scene's rate every so manieth frame is taken. 1;
  /// 0, or -1 where the take lacks markers that it needs, and nothing has changed. One undo step of
  /// its own. Unless `quiet` it is told which names are not known, which are missing, and why a
  /// take is refused.
  virtual int LoadCapture(const std::string& path, bool quiet) = 0;
  virtual const ConversionOutcome& LastConversion() const = 0;
  /// Whether the foot moves or turns within a footstep more than the settings allow, as the last
  /// conversion found. False for footsteps that it has not found or whose times have changed since.
  /// No file keeps it, and it is forgotten when another motion is loaded.
  virtual bool IsFootstepSliding(int index) const = 0;
};

}  // namespace strider
