// The one object of a figure that the scene sees as a controller. It owns the core, knows the
// nodes, and sees to it that the figure is computed once for each time that anyone asks for.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "strider/core/eval_context.h"
#include "strider/core/node_tree.h"
#include "strider/host/master_interface.h"
#include "strider/host/session.h"

namespace strider {

class StriderSlaveControl;
class StriderBodyControl;
class FootprintControl;

/// What messages call a chunk, which has no file of its own.
inline constexpr const char* kChunkName = "The figure in the scene's file";

/// The limbs that can follow a node, in the order in which files hold them.
inline constexpr int kTargetLimbs[4] = {kLeftArm, kRightArm, kLeftLeg, kRightLeg};

class StriderMaster final : public IStriderMaster17 {
 public:
  /// A figure of a legal structure, standing on `position` (the host's space) with its heading
  /// `angle` about the host's Z (radians, positive to the left). Its nodes join the session's
  /// scene. Null, with a message, for an illegal structure or place.
  static std::unique_ptr<StriderMaster> Create(Session& session, const Structure& structure,
                                               float angle, const Point3& position);
  ~StriderMaster() override;
  StriderMaster(const StriderMaster&) = delete;
  StriderMaster& operator=(const StriderMaster&) = delete;

  /// The transform of a link at `t`: see Control. Allocates nothing.
  int GetValue(int id, int link, TimeValue t, Matrix3* value, Interval* valid, GetMethod method);

  MotionCore& EditCore() { return *core_; }
  /// Says that a key, a footstep, a dimension or a mode changed: what was computed is out of date,
  /// and the scene hears of it for the whole time line.
  void Changed();
  /// Keeps the whole figure for undo, if the session holds.
  void HoldState();

  /// A flow or a mix that plays in place of the keys while its mode is on; null for none.
  void SetFlow(PoseSource* flow) { flow_ = flow; }
  void SetMix(PoseSource* mix) { mix_ = mix; }
  void SetLayers(PoseSource* layers) { context_.layers = layers; }
  bool footstepMode = false, motionFlowMode = false, mixerMode = false;
  bool flowEdit = false;      // the flow's clips are being edited: keys show
  bool bufferLocked = false;  // this figure never shows the copy buffer
  Matrix3 rootOffset;         // from the root node's parent to the figure's root

  // IStriderMaster
  const MotionCore& Core() const override { return *core_; }
  NodeHandle GetNode(int id, int link) const override;
  bool GetIdLink(NodeHandle node, int& id, int& link) const override;
  int NumLinks(int id) const override;
  int NumFingers(int side) const override;
  int NumToes(int side) const override;
  unsigned GetActiveModes() const override;
  unsigned BeginModes(unsigned bits, bool redraw) override;
  unsigned EndModes(unsigned bits, bool redraw) override;
  bool CanSwitchMode(unsigned bit) const override;
  float GetHeight() const override;
  bool SetHeight(float height) override;
  Control* GetVerticalControl() override;
  Control* GetHorizontalControl() override;
  Control* GetTurnControl() override;
  KeyRefusal PutLimbKey(int id, TimeValue t, const LimbKey& key) override;
  KeyRefusal PutChainKey(int id, TimeValue t, const ChainKey& key) override;
  KeyRefusal PutHeadKey(TimeValue t, const HeadKey& key) override;
  KeyRefusal PutPelvisKey(TimeValue t, const PelvisKey& key) override;
  KeyRefusal PutVerticalKey(TimeValue t, const VerticalKey& key) override;
  KeyRefusal PutHorizontalKey(TimeValue t, const HorizontalKey& key) override;
  KeyRefusal PutTurnKey(TimeValue t, const TurnKey& key) override;
  KeyRefusal PutPropKey(int id, TimeValue t, const PropKey& key) override;
  KeyRefusal DeleteKey(int id, TimeValue t) override;
  bool SetIkTarget(int id, NodeHandle node) override;
  NodeHandle GetIkTarget(int id) const override;
  bool SetHeadTarget(NodeHandle node) override;
  NodeHandle GetHeadTarget() const override { return headTarget_; }
  bool SetEulerActive(int id, int order) override;
  bool SetQuaternionActive(int id) override;
  int GetEulerOrder(int id) const override;
  bool SetSeparateTracks(int id, bool on) override;
  Matrix3 UnmirroredTransform(int id, int link, TimeValue t) override;
  int AddFootprint(const Point3& position, float angle) override;
  int AddFootstepNow(const Point3& position) override;
  PlaceResult AddMultipleFootprints(const MultFprintParams& params) override;
  PlaceResult DryRunMultipleFootprints(const MultFprintParams& params) override;
  PlaceResult AddFootsteps(std::span<const NewFootstep> plan) override;
  PlaceResult InsertFootstep(int index, const NewFootstep& footstep) override;
  MultFprintParams* GetMultFprintParams(int gait) override;
  int GetFSAddSide() const override;
  bool SetFSAddSide(int side) override;
  bool DeleteFootstep(int index) override;
  bool DeleteSelectedFootsteps() override;
  bool SelectFootstep(int index, int edges, bool clearOthers) override;
  bool SetFootstepTransform(int index, const Matrix3& transform) override;
  bool SetFootstepTimes(int index, TimeValue start, TimeValue duration) override;
  bool SetFreeFormAfter(int index, bool on) override;
  FootprintControl* GetFootprintControl() override { return footprints_.get(); }
  bool NewFootprintKeys() override;
  bool BendFootprints(float angle) override;
  bool ScaleFootprints(const FootstepScale& scale) override;
  int NumTwistPoses(int id) const override;
  int CreateTwistPose(int id) override;
  bool SetTwistPose(int id, int index) override;
  bool DeleteTwistPose(int id, int index) override;
  bool SetDefaultTwistPoses(int id) override;
  bool SetTwistPoseName(int id, int index, const std::string& name) override;
  bool SetTwistPoseTwist(int id, int index, float degrees) override;
  bool SetTwistPoseBias(int id, int index, float bias) override;
  std::string GetTwistPoseName(int id, int index) const override;
  float GetTwistPoseTwist(int id, int index) const override;
  float GetTwistPoseBias(int id, int index) const override;
  bool SetNumLinks(int id, int numLinks) override;
  bool SetFigure(const MotionCore& figure) override;
  bool LoadMotion(const std::string& path, const LoadOptions& options = {}) override;
  bool LoadMotionLayer(const std::string& path) override;
  bool SaveMotion(const std::string& path, const SaveOptions& options = {}) override;
  bool SaveMotionSegment(const std::string& path, TimeValue first, TimeValue last, bool keyPerFrame,
                         const HeaderInfo* header) override;
  bool LoadFootsteps(const std::string& path) override;
  bool SaveFootsteps(const std::string& path) override;
  bool LoadFigure(const std::string& path) override;
  bool LoadFigNoTwists(const std::string& path) override;
  bool LoadFigJustTwists(const std::string& path) override;
  bool SaveFigure(const std::string& path) override;
  int NumLayers() const override { return static_cast<int>(layers_.size()); }
  std::string GetLayerName(int index) const override;
  bool GetLayerActive(int index) const override;
  bool SaveToChunk(std::string& chunk) override;
  bool LoadFromChunk(std::string_view chunk) override;
  bool ConvertToFreeForm(bool bake) override;
  bool ConvertToFootSteps(bool bake, bool flat) override;
  int LoadCapture(const std::string& path, bool quiet) override;
  const ConversionOutcome& LastConversion() const override { return lastConversion_; }
  bool IsFootstepSliding(int index) const override;

  Session& OwnSession() { return session_; }
  /// Whether footsteps can be placed and changed now; if not, it is told why.
  bool FootstepsCanChange();
  /// An edit of footsteps that may have their motion. `edit` changes the core and names the first
  /// and last footstep that it changed; its answer is whether it did. The motion follows.
  using FootstepEdit = std::function<bool(MotionCore& core, int& first, int& last)>;
  bool EditFootsteps(const FootstepEdit& edit);

  /// How often the pose has been computed, for those who watch the cache.
  int NumEvaluations() const { return numEvaluations_; }

 private:
  StriderMaster(Session& session, const Structure& structure);
  friend class StriderMasterRest;

  struct LimbTarget {
    NodeHandle node = kNoNode;
    Interval objectSpaceValid = Interval::Never();
  };
  /// Layers are never edited in place, so that undo can share them.
  using LayerList = std::vector<std::shared_ptr<const MotionCore>>;
  struct LinkNode {
    int id, link;
    NodeHandle node;
  };

  void CreateNodes();
  void RefreshNodes();
  void AddLinkNode(const NodeInfo& info);
  void RemoveLinkNode(NodeHandle& node);
  bool ApplyFigure(const MotionCore& figure);
  bool TakeFigure(const MotionCore& figure);
  template <class Change>
  bool ChangeLayers(Change change, LayerList& layers) const;
  template <class Load>
  bool LoadStep(const char* name, Load load, bool quiet = false);
  int TakeCapture(const std::string& path, const MessageSink& sink, ExtractionReport& extraction);
  template <class Save>
  bool SaveStep(const std::string& path, Save save);
  bool ReadFile(const std::string& path, const ReadOptions& reading, StreamContents& contents);
  bool ReadForFigure(const std::string& path, const MotionCore& figure, StreamContents& contents);
  void TellAboutFile(const std::string& path, const StreamContents& contents) const;
  bool RefuseKind(const std::string& path, const char* wanted) const;
  bool LoadFigureFile(const char* name, const std::string& path, bool twists);
  MotionCore FigureAlone() const;
  bool FinishMotions(const std::string& path, StreamContents& contents, const LoadOptions& options,
                     const MotionCore& figure) const;
  bool TakeMotionFile(const std::string& path, StreamContents& contents, const LoadOptions& options,
                      const MotionCore& figure);
  void CommitMotions(StreamContents& contents, bool keepTargets);
  void CommitTargets(const StreamContents& contents, bool keepTargets);
  bool CopyForSaving(MotionCore& copy, LimbAttachment (&attachments)[4]) const;
  void FreeFromTarget(MotionCore& copy, int limb) const;
  void BringTargetsUpToDate() const;
  static std::vector<const MotionCore*> MotionsToSave(const MotionCore& base,
                                                      const LayerList& layers, MotionCore& top);
  std::optional<MessageId> WhyFootstepsStay() const;
  bool TellConversion(bool done, MessageId id, std::initializer_list<std::string> args = {});
  bool CanConvert(bool freeForm);
  bool InFlow() const { return motionFlowMode && !flowEdit; }
  bool HasLayerAbove() const { return core_->nextLayer != nullptr; }
  MotionCore& TopLayer() const;
  void RefreshTargets(TimeValue t);
  bool UpdateHeadTarget(TimeValue t);
  void CountTargets();
  void ReleaseTarget(NodeHandle gone);
  bool StandsUnder(NodeHandle node, NodeHandle ancestor) const;
  void UpdateRoot(const Matrix3& parent);
  void EvaluateAt(TimeValue t);
  Matrix3 RootAt(TimeValue t) const;
  Matrix3 ObjectFrame(NodeHandle node, TimeValue t) const;
  const Matrix3* ShownTransform();
  void ApplyInPlace();
  void ApplyLayerOffsets();
  void SetMode(unsigned bit, bool on);
  bool ModeIsOn(unsigned bit) const;
  unsigned SwitchModes(unsigned bits, bool on, bool redraw);
  template <class Edit>
  bool EditState(Edit edit);
  template <class Edit>
  KeyRefusal EditKeys(Edit edit);
  const TwistPose* FindTwistPose(int id, int index) const;
  bool TellTwistPose(int id, int index) const;
  TwistPose TwistPoseNow(int id);
  template <class Edit>
  bool EditTwistPose(int id, int index, Edit edit);
  GaitSettings& Gaits();
  PlaceResult TellPlacing(const PlaceResult& result);
  int TellAdding(int code);

  Session& session_;
  std::unique_ptr<MotionCore> ownCore_;
  std::unique_ptr<MotionCore> shadowCore_;  // the structure as it was created
  MotionCore* core_ = nullptr;              // the core at work: ownCore_ or a layer of its stack
  EvalContext context_;
  PoseSource* flow_ = nullptr;
  PoseSource* mix_ = nullptr;

  TimeValue cachedTime_ = 0;
  bool cacheValid_ = false;
  bool evaluating_ = false;  // a target's transform is being asked: do not ask again
  bool hasTargets_ = false;  // any limb or the head follows a node
  int numEvaluations_ = 0;
  Matrix3 rootTransform_;  // the figure's base in the world
  bool rootIsIdentity_ = true;
  Matrix3 shownTransform_;  // the same, or what in place and layers put in its stead

  LayerList layers_;  // above the base, from below
  ConversionOutcome lastConversion_;

  LimbTarget limbTargets_[4];  // of kTargetLimbs
  NodeHandle headTarget_ = kNoNode;
  CallbackId changeCallback_{};

  NodeHandle linkNodes_[kMaxNodes][kMaxLinks] = {};
  NodeHandle twistNodes_[kMaxTwistNodes][kMaxTwistLinks] = {};
  std::vector<LinkNode> otherNodes_;  // extra chains and nubs
  std::vector<std::unique_ptr<StriderSlaveControl>> slaves_;
  std::unique_ptr<StriderBodyControl> body_;
  std::unique_ptr<FootprintControl> footprints_;
};

/// The whole core of a figure and what its limbs and head follow, kept for undo.
class StriderMasterRest final : public RestoreObj {
 public:
  explicit StriderMasterRest(StriderMaster& master);
  void Restore(bool isUndo) override;
  void Redo() override;
  std::size_t Size() const override { return sizeof(MotionCore); }

 private:
  StriderMaster& master_;
  struct State {
    MotionCore core;
    StriderMaster::LimbTarget limbTargets[4];
    NodeHandle headTarget = kNoNode;
    StriderMaster::LayerList layers;
  };
  State Read() const;
  void Write(const State& state);
  State before_, after_;
};

/// Runs an edit that answers whether it was done. Only then is there something to undo and to tell.
template <class Edit>
bool StriderMaster::EditState(Edit edit) {
  std::unique_ptr<StriderMasterRest> before;
  if (session_.hold.Holding()) before = std::make_unique<StriderMasterRest>(*this);
  if (!edit()) return false;
  if (before) session_.hold.Put(std::move(before));
  Changed();
  return true;
}

/// Layers as `change` leaves copies of them. False if it refuses one.
template <class Change>
bool StriderMaster::ChangeLayers(Change change, LayerList& layers) const {
  for (const auto& layer : layers_) {
    auto changed = std::make_shared<MotionCore>(*layer);
    if (change(*changed) == kRefused) return false;
    layers.push_back(std::move(changed));
  }
  return true;
}

/// Ticks of a frame of the session's scene.
TimeValue StriderGetTicksPerFrame(const Session& session);
TimeValue StriderGetTicksPerFrame();

/// Batch parameters of a gait in the default session; null for a number that is no gait.
MultFprintParams* GetMultFprintParams(int gait);

/// A figure in a session, owned by it; null, with a message, if refused.
IStriderMaster17* CreateNewStrider(Session& session, const Structure& structure, float angle = 0,
                                   const Point3& position = {});

/// The exported form, in the default session. Without arms the arms' digits count as 0; any twist
/// link switches twists on.
IStriderMaster* CreateNewStrider(float height, float angle, const Point3& position, bool arms,
                                 bool trianglePelvis, int neckLinks, int spineLinks, int legLinks,
                                 int tailLinks, int ponytail1Links, int ponytail2Links, int fingers,
                                 int fingerLinks, int toes, int toeLinks, float ankleAttach,
                                 bool prop1Exists, bool prop2Exists, bool prop3Exists,
                                 int forearmTwistLinks, int upperarmTwistLinks, int thighTwistLinks,
                                 int calfTwistLinks, int horseTwistLinks);

}  // namespace strider
