#include "strider/host/strider_master.h"
#include "strider/core/node_tree.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "strider/core/chain.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/limb.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/rescale.h"
#include "strider/host/footprint_control.h"
#include "strider/host/link_controls.h"

namespace strider {
namespace {

int TargetIndex(int id) {
  for (int i = 0; i < 4; ++i) {
    if (kTargetLimbs[i] == id) return i;
  }
  return -1;
}

/// A number as a person writes it.
std::string Plain(double value) {
  if (value == std::floor(value) && std::fabs(value) < 1e15) {
    return std::to_string(static_cast<long long>(value));
  }
  return std::to_string(value);
}

void TellIllegal(const Session& session, const StructureParameter& parameter, double given) {
  Tell(session.messages, MessageId::kOutsideLimits,
       {parameter.name, Plain(parameter.low), Plain(parameter.high), Plain(given)});
}

}  // namespace

// --- Creation ----------------------------------------------------------------------------------

std::unique_ptr<StriderMaster> StriderMaster::Create(Session& session, const Structure& structure,
                                                     float angle, const Point3& position) {
  if (const StructureParameter* illegal = FindIllegalParameter(structure)) {
    TellIllegal(session, *illegal, illegal->get(structure));
    return nullptr;
  }
  if (!IsFinite(position) || !IsFinite(angle)) {
    Tell(session.messages, MessageId::kNotFinite, {IsFinite(angle) ? "position" : "angle"});
    return nullptr;
  }
  std::unique_ptr<StriderMaster> master(new StriderMaster(session, structure));
  MotionCore& core = *master->core_;
  PlaceFigure(core, CoreFromHost(position), angle);
  // The first pose: everything a request may read stands from here on.
  CoreEvaluate(core, 0, master->context_);
  CoreForwardKinematics(core);
  *master->shadowCore_ = core;
  master->CreateNodes();
  return master;
}

StriderMaster::StriderMaster(Session& session, const Structure& structure)
    : session_(session),
      ownCore_(std::make_unique<MotionCore>()),
      shadowCore_(std::make_unique<MotionCore>()),
      core_(ownCore_.get()) {
  core_->ticksPerFrame = StriderGetTicksPerFrame(session);
  LayOutFigure(*core_, structure);
}

StriderMaster::~StriderMaster() {
  session_.scene.UnregisterChangeCallback(changeCallback_);
  const auto remove = [this](NodeHandle node) {
    session_.scene.SetControl(node, nullptr);
    session_.scene.RemoveNode(node);
  };
  for (const LinkNode& other : otherNodes_) remove(other.node);
  for (auto& row : twistNodes_) {
    for (NodeHandle node : row) remove(node);
  }
  for (auto& row : linkNodes_) {
    for (NodeHandle node : row) remove(node);
  }
}

void StriderMaster::CreateNodes() {
  Scene& scene = session_.scene;
  const NodeHandle root = scene.AddNode(kFirstFigureName);
  core_->name = scene.Name(root);
  body_ = std::make_unique<StriderBodyControl>(*this);
  footprints_ = std::make_unique<FootprintControl>(*this);
  linkNodes_[kHorizontal][0] = root;
  scene.SetControl(root, body_.get());
  RefreshNodes();
  changeCallback_ = scene.RegisterChangeCallback([this](NodeHandle node, Interval) {
    // The figure's own notices: a target that hangs from it moves along, its keys stay as they are.
    if (node == linkNodes_[kHorizontal][0]) {
      cacheValid_ = false;
      return;
    }
    if (!session_.scene.Exists(node)) {
      ReleaseTarget(node);
      return;
    }
    for (LimbTarget& target : limbTargets_) {
      if (!StandsUnder(target.node, node)) continue;
      target.objectSpaceValid = Interval::Never();
      cacheValid_ = false;
    }
    if (StandsUnder(headTarget_, node)) cacheValid_ = false;
  });
}

/// A node that was removed leaves the limbs that followed it where they last stood on it.
void StriderMaster::ReleaseTarget(NodeHandle gone) {
  for (int i = 0; i < 4; ++i) {
    LimbRecord* limb = FindLimb(*core_, kTargetLimbs[i]);
    if (limbTargets_[i].node != gone || gone == kNoNode || !limb) continue;
    const Matrix3 last = limb->objectFrame;
    limb->objectFrame = {};
    limb->hasObject = false;
    limbTargets_[i] = {};
    ChangeObjectSpace(
        *core_, kTargetLimbs[i], [&last](TimeValue) { return last; },
        [](TimeValue) { return Matrix3{}; });
    cacheValid_ = false;
  }
  if (headTarget_ == gone && gone != kNoNode) {
    headTarget_ = kNoNode;
    core_->head.hasTarget = false;
    core_->head.targetPosition = {};
    cacheValid_ = false;
  }
  CountTargets();
}

/// True for `ancestor` itself and all below it: they move with it.
bool StriderMaster::StandsUnder(NodeHandle node, NodeHandle ancestor) const {
  for (; node != kNoNode && node != kSceneRoot; node = session_.scene.Parent(node)) {
    if (node == ancestor) return true;
  }
  return false;
}

// --- The road from a request to a transform ----------------------------------------------------

int StriderMaster::GetValue(int id, int link, TimeValue t, Matrix3* value, Interval* valid,
                            GetMethod method) {
  // The root first: targets are brought into its space.
  if (id == kHorizontal && value) UpdateRoot(*value);
  // Targets move what is computed. A flow poses the figure without them.
  if (hasTargets_ && !InFlow() && !core_->figureMode) RefreshTargets(t);
  if ((!cacheValid_ || t != cachedTime_) && !core_->figureMode) EvaluateAt(t);
  if (!value) return 1;
  if (valid) *valid = Interval::Instant(t);

  CoreLinkTransform(*core_, id, link, *value);
  const Matrix3* shown = ShownTransform();
  if (shown && method == GetMethod::kAbsolute) *value = *value * *shown;
  return 1;
}

/// What moves the whole figure once its links are placed: its root, or what in place and layers
/// put in the root's stead; null where nothing does.
const Matrix3* StriderMaster::ShownTransform() {
  if (core_->figureMode) return nullptr;
  const bool inPlace = TopLayer().inPlace;
  if (!inPlace && !HasLayerAbove()) return rootIsIdentity_ ? nullptr : &rootTransform_;
  shownTransform_ = rootTransform_;
  if (inPlace) ApplyInPlace();
  ApplyLayerOffsets();
  return &shownTransform_;
}

MotionCore& StriderMaster::TopLayer() const {
  MotionCore* top = core_;
  while (top->nextLayer) top = top->nextLayer;
  return *top;
}

void StriderMaster::EvaluateAt(TimeValue t) {
  cachedTime_ = t;
  cacheValid_ = true;
  ++numEvaluations_;
  context_.tiltFourLinkSwivel = session_.modes.tiltFourLinkSwivel;
  context_.disableIk = session_.modes.disableIk;
  bool posed = false;
  if (InFlow() && flow_) {
    posed = flow_->EvaluatePose(*core_, t, context_);
  } else if (mixerMode && mix_) {
    posed = mix_->EvaluatePose(*core_, t, context_);
  }
  if (posed) {
    CoreForwardKinematics(*core_);
  } else {
    CorePose(*core_, t, context_);
  }
}

/// Where the figure's root stands at `t`, without asking the figure itself.
Matrix3 StriderMaster::RootAt(TimeValue t) const {
  const Scene& scene = session_.scene;
  const NodeHandle above = scene.Parent(linkNodes_[kHorizontal][0]);
  if (above == kSceneRoot || above == kNoNode) return TopLayer().base;
  const Matrix3 whole = rootOffset * scene.NodeTransform(above, t);
  return IsFinite(whole) ? Orthogonalized(whole) : Matrix3{};
}

Matrix3 StriderMaster::ObjectFrame(NodeHandle node, TimeValue t) const {
  const Matrix3 world = session_.scene.NodeTransform(node, t);
  return CoreFromHostTransform(Orthogonalized(world * Inverse(RootAt(t))));
}

/// Brings IK objects and the head's target to `t`. A target may hang from this very figure: asking
/// it comes back here, so the guard lets that inner request take the pose as it stands, and the
/// outer one computes again with the target's place.
void StriderMaster::RefreshTargets(TimeValue t) {
  if (evaluating_) return;
  evaluating_ = true;
  bool moved = false;
  const bool newTime = t != cachedTime_ || !cacheValid_;
  for (int i = 0; i < 4; ++i) {
    LimbTarget& target = limbTargets_[i];
    LimbRecord* limb = FindLimb(*core_, kTargetLimbs[i]);
    if (target.node == kNoNode || !limb) continue;
    if (session_.modes.refreshObjectSpace && !target.objectSpaceValid.Contains(t)) {
      RefreshObjectSpaceKeys(
          *core_, kTargetLimbs[i], [&](TimeValue at) { return ObjectFrame(target.node, at); },
          context_);
      target.objectSpaceValid = Interval::Forever();
      moved = true;
    }
    if (!newTime && !moved) continue;
    const Matrix3 frame = ObjectFrame(target.node, t);
    moved = moved || !(frame == limb->objectFrame);
    limb->objectFrame = frame;
    limb->hasObject = true;
  }
  if (headTarget_ != kNoNode && (newTime || moved)) moved = UpdateHeadTarget(t) || moved;
  if (moved) cacheValid_ = false;
  evaluating_ = false;
}

bool StriderMaster::UpdateHeadTarget(TimeValue t) {
  const Matrix3 world = Orthogonalized(session_.scene.NodeTransform(headTarget_, t));
  const Point3 target = CoreFromHost(world.Origin() * Inverse(RootAt(t)));
  HeadRecord& head = core_->head;
  const bool moved = !head.hasTarget || !(head.targetPosition == target);
  head.hasTarget = IsFinite(target);
  head.targetPosition = head.hasTarget ? target : Point3{};
  return moved;
}

void StriderMaster::UpdateRoot(const Matrix3& parent) {
  const Matrix3 before = rootTransform_;
  const NodeHandle root = linkNodes_[kHorizontal][0];
  const NodeHandle above = session_.scene.Parent(root);
  const bool hasParent = above != kSceneRoot && above != kNoNode;
  if (hasParent || !IsIdentity(parent)) {
    const Matrix3 whole = rootOffset * parent;
    rootTransform_ = IsFinite(whole) ? Orthogonalized(whole) : Matrix3{};
    core_->base = rootTransform_;
  } else {
    rootTransform_ = TopLayer().base;
  }
  // Targets stand elsewhere in the space of a root that has moved.
  if (rootTransform_ == before) return;
  rootIsIdentity_ = IsIdentity(rootTransform_);
  if (hasTargets_) cacheValid_ = false;
}

/// The figure stays over the world's origin: its ground position is taken off what is handed out.
void StriderMaster::ApplyInPlace() {
  const MotionCore& top = TopLayer();
  const Point3 ground = HostFromCore(core_->body.bodyPosition + core_->body.balanceOffset);
  Point3 back;
  if (top.inPlaceKind != kInPlaceY) back.x = -ground.x;
  if (top.inPlaceKind != kInPlaceX) back.y = -ground.y;
  shownTransform_ = Translation(back);
}

void StriderMaster::ApplyLayerOffsets() {
  Matrix3 whole;
  bool any = false;
  for (const MotionCore* layer = &TopLayer(); layer; layer = layer->previousLayer) {
    const LayerOffset& offset = layer->layerOffset;
    if (!offset.active) continue;
    any = true;
    whole = whole * Translation(offset.origin) * FrameOf(AboutZ(offset.angle), {}) *
            Translation(offset.target);
  }
  if (any) shownTransform_ = whole;
}

Matrix3 StriderMaster::UnmirroredTransform(int id, int link, TimeValue t) {
  if (!HasLink(*core_, id, link)) return {};
  Matrix3 mirrored;
  GetValue(id, link, t, &mirrored, nullptr, GetMethod::kAbsolute);
  const Matrix3 own = UnmirroredLinkTransform(*core_, id, link);
  const Matrix3* shown = ShownTransform();
  return shown ? own * *shown : own;
}

// --- Changes -----------------------------------------------------------------------------------

void StriderMaster::Changed() {
  cacheValid_ = false;
  session_.scene.NotifyDependents(linkNodes_[kHorizontal][0], Interval::Forever());
}

void StriderMaster::HoldState() {
  if (session_.hold.Holding()) session_.hold.Put(std::make_unique<StriderMasterRest>(*this));
}

template <class Edit>
KeyRefusal StriderMaster::EditKeys(Edit edit) {
  KeyRefusal refusal = KeyRefusal::kNone;
  EditState([&] {
    refusal = edit(*core_);
    return refusal == KeyRefusal::kNone;
  });
  if (refusal == KeyRefusal::kNotFinite) {
    Tell(session_.messages, MessageId::kNotFinite, {"key"});
  }
  return refusal;
}

KeyRefusal StriderMaster::PutLimbKey(int id, TimeValue t, const LimbKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, id, t, key); });
}
KeyRefusal StriderMaster::PutChainKey(int id, TimeValue t, const ChainKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, id, t, key); });
}
KeyRefusal StriderMaster::PutHeadKey(TimeValue t, const HeadKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, t, key); });
}
KeyRefusal StriderMaster::PutPelvisKey(TimeValue t, const PelvisKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, t, key); });
}
KeyRefusal StriderMaster::PutVerticalKey(TimeValue t, const VerticalKey& key) {
  return EditKeys([&](MotionCore& core) {
    const KeyRefusal refusal = PutKey(core, t, key);
    if (refusal == KeyRefusal::kNone) FollowVerticalKey(core, t);
    return refusal;
  });
}
KeyRefusal StriderMaster::PutHorizontalKey(TimeValue t, const HorizontalKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, t, key); });
}
KeyRefusal StriderMaster::PutTurnKey(TimeValue t, const TurnKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, t, key); });
}
KeyRefusal StriderMaster::PutPropKey(int id, TimeValue t, const PropKey& key) {
  return EditKeys([&](MotionCore& core) { return PutKey(core, id, t, key); });
}
KeyRefusal StriderMaster::DeleteKey(int id, TimeValue t) {
  return EditKeys([&](MotionCore& core) {
    const KeyRefusal refusal = DeleteKeyAt(core, id, t);
    if (refusal == KeyRefusal::kNone && id == kVertical) FollowVerticalKey(core, t);
    return refusal;
  });
}

bool StriderMaster::SetIkTarget(int id, NodeHandle node) {
  const int index = TargetIndex(id);
  LimbRecord* limb = FindLimb(*core_, id);
  if (index < 0 || !limb || (node != kNoNode && !session_.scene.Exists(node))) return false;
  LimbTarget& target = limbTargets_[index];
  HoldState();
  evaluating_ = true;  // a node of this figure answers with the pose as it stands
  const auto frameOf = [this](NodeHandle object) {
    return [this, object](TimeValue t) {
      return object == kNoNode ? Matrix3{} : ObjectFrame(object, t);
    };
  };
  ChangeObjectSpace(*core_, id, frameOf(target.node), frameOf(node));
  evaluating_ = false;
  target.node = node;
  target.objectSpaceValid = Interval::Forever();
  limb->hasObject = node != kNoNode;
  if (!limb->hasObject) limb->objectFrame = {};
  CountTargets();
  Changed();
  return true;
}

NodeHandle StriderMaster::GetIkTarget(int id) const {
  const int index = TargetIndex(id);
  return index < 0 ? kNoNode : limbTargets_[index].node;
}

void StriderMaster::CountTargets() {
  hasTargets_ = headTarget_ != kNoNode;
  for (const LimbTarget& own : limbTargets_) hasTargets_ = hasTargets_ || own.node != kNoNode;
}

bool StriderMaster::SetHeadTarget(NodeHandle node) {
  if (node != kNoNode && !session_.scene.Exists(node)) return false;
  HoldState();
  headTarget_ = node;
  if (node == kNoNode) {
    core_->head.hasTarget = false;
    core_->head.targetPosition = {};
  }
  CountTargets();
  Changed();
  return true;
}

bool StriderMaster::SetEulerActive(int id, int order) {
  return EditState([&] { return strider::SetEulerActive(*core_, id, order); });
}
bool StriderMaster::SetQuaternionActive(int id) {
  return EditState([&] { return strider::SetQuaternionActive(*core_, id); });
}
int StriderMaster::GetEulerOrder(int id) const { return strider::GetEulerOrder(*core_, id); }
bool StriderMaster::SetSeparateTracks(int id, bool on) {
  return EditState([&] { return strider::SetSeparateTracks(*core_, id, on) == kDone; });
}

float StriderMaster::GetHeight() const { return CoreFigureHeight(*core_); }

bool StriderMaster::SetHeight(float height) {
  const bool done = EditState([&] {
    const bool scaleStrides = session_.modes.scaleStrideMode;
    LayerList layers;
    const auto change = [&](MotionCore& core) {
      return SetHeightOfMotion(core, height, scaleStrides, context_);
    };
    if (!ChangeLayers(change, layers) || change(*core_) == kRefused) return false;
    layers_.swap(layers);
    CoreForwardKinematics(*core_);
    return true;
  });
  if (!done) TellIllegal(session_, *FindStructureParameter("height"), height);
  return done;
}

// --- Nodes -------------------------------------------------------------------------------------

NodeHandle StriderMaster::GetNode(int id, int link) const {
  if (link < 0 || link >= kMaxLinks) return kNoNode;
  if (id >= 0 && id < kMaxNodes) return linkNodes_[id][link];
  if (IsTwist(id)) {
    return link < kMaxTwistLinks ? twistNodes_[id - kTwistStartId][link] : kNoNode;
  }
  for (const LinkNode& other : otherNodes_) {
    if (other.id == id && other.link == link) return other.node;
  }
  return kNoNode;
}

bool StriderMaster::GetIdLink(NodeHandle node, int& id, int& link) const {
  if (node == kNoNode) return false;
  const auto found = [&](int foundId, int foundLink) {
    id = foundId;
    link = foundLink;
    return true;
  };
  for (int i = 0; i < kMaxNodes; ++i) {
    for (int k = 0; k < kMaxLinks; ++k) {
      if (linkNodes_[i][k] == node) return found(i, k);
    }
  }
  for (int i = 0; i < kMaxTwistNodes; ++i) {
    for (int k = 0; k < kMaxTwistLinks; ++k) {
      if (twistNodes_[i][k] == node) return found(kTwistStartId + i, k);
    }
  }
  for (const LinkNode& other : otherNodes_) {
    if (other.node == node && IsXtra(other.id)) return found(other.id, other.link);
  }
  return false;
}

int StriderMaster::NumLinks(int id) const { return strider::NumLinks(*core_, id); }
int StriderMaster::NumFingers(int side) const {
  return side == kRight || side == kLeft ? strider::NumFingers(core_->structure) : 0;
}
int StriderMaster::NumToes(int side) const {
  return side == kRight || side == kLeft ? strider::NumToes(core_->structure) : 0;
}

Control* StriderMaster::GetVerticalControl() { return &body_->Vertical(); }
Control* StriderMaster::GetHorizontalControl() { return &body_->Horizontal(); }
Control* StriderMaster::GetTurnControl() { return &body_->Turn(); }

// --- Undo --------------------------------------------------------------------------------------

StriderMasterRest::StriderMasterRest(StriderMaster& master) : master_(master), before_(Read()) {}

StriderMasterRest::State StriderMasterRest::Read() const {
  State state;
  state.core = *master_.core_;
  std::copy(master_.limbTargets_, master_.limbTargets_ + 4, state.limbTargets);
  state.headTarget = master_.headTarget_;
  state.layers = master_.layers_;
  return state;
}

void StriderMasterRest::Write(const State& state) {
  *master_.core_ = state.core;
  std::copy(state.limbTargets, state.limbTargets + 4, master_.limbTargets_);
  master_.headTarget_ = state.headTarget;
  master_.layers_ = state.layers;
  master_.CountTargets();
  master_.RefreshNodes();
  master_.Changed();
}

void StriderMasterRest::Restore(bool isUndo) {
  if (isUndo) after_ = Read();
  Write(before_);
}

void StriderMasterRest::Redo() { Write(after_); }

// --- Exported ----------------------------------------------------------------------------------

TimeValue StriderGetTicksPerFrame(const Session& session) { return session.scene.TicksPerFrame(); }
TimeValue StriderGetTicksPerFrame() { return StriderGetTicksPerFrame(DefaultSession()); }

IStriderMaster17* CreateNewStrider(Session& session, const Structure& structure, float angle,
                                   const Point3& position) {
  std::unique_ptr<StriderMaster> master =
      StriderMaster::Create(session, structure, angle, position);
  return master ? session.Adopt(std::move(master)) : nullptr;
}

IStriderMaster* CreateNewStrider(float height, float angle, const Point3& position, bool arms,
                                 bool trianglePelvis, int neckLinks, int spineLinks, int legLinks,
                                 int tailLinks, int ponytail1Links, int ponytail2Links, int fingers,
                                 int fingerLinks, int toes, int toeLinks, float ankleAttach,
                                 bool prop1Exists, bool prop2Exists, bool prop3Exists,
                                 int forearmTwistLinks, int upperarmTwistLinks, int thighTwistLinks,
                                 int calfTwistLinks, int horseTwistLinks) {
  Structure s;
  s.height = height;
  s.arms = arms;
  s.trianglePelvis = trianglePelvis;
  s.neckLinks = neckLinks;
  s.spineLinks = spineLinks;
  s.legLinks = legLinks;
  s.tailLinks = tailLinks;
  s.ponytail1Links = ponytail1Links;
  s.ponytail2Links = ponytail2Links;
  // Digits of arms that do not exist are not asked about; their legal default stands.
  if (arms) {
    s.fingers = fingers;
    s.fingerLinks = fingerLinks;
  } else {
    s.fingers = 0;
  }
  s.toes = toes;
  s.toeLinks = toeLinks;
  s.ankleAttach = ankleAttach;
  s.prop1Exists = prop1Exists;
  s.prop2Exists = prop2Exists;
  s.prop3Exists = prop3Exists;
  const int twists[kNumTwistParts] = {forearmTwistLinks, upperarmTwistLinks, thighTwistLinks,
                                      calfTwistLinks, horseTwistLinks};
  for (int part = 0; part < kNumTwistParts; ++part) {
    s.twistLinks[part] = twists[part];
    s.twists = s.twists || twists[part] > 0;
  }
  return CreateNewStrider(DefaultSession(), s, angle, position);
}

}  // namespace strider
