// Files that a figure loads for the host and its scripts, with undo and messages.

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/limb_keys.h"
#include "strider/core/motion_range.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/support.h"
#include "strider/host/load_step.h"
#include "strider/storage/layer_block.h"
#include "strider/storage/load_changes.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

constexpr const char* kNoMemory = "memory ran out";

/// The version that a stream says it has, whether it can be read or not; 0 if it says none.
int VersionOf(std::string_view bytes, StreamForm form) {
  Stream s = Stream::Reader(bytes, form);
  int version = 0;
  if (s.ReadTag() == kVersionTag) s.Int(version);
  return version;
}

/// Footsteps keep their frames, not their times, and the motion goes with them. A motion without
/// footsteps keeps its times.
bool RetimeToScene(MotionCore& core, TimeValue ticksPerFrame, const AdaptLocks& locks,
                   const EvalContext& context) {
  FootstepTrack& track = core.footsteps;
  core.ticksPerFrame = ticksPerFrame;
  if (track.ticksPerFrame == ticksPerFrame) return true;
  FootstepTrack before = track;
  RetimeToTicksPerFrame(track, ticksPerFrame);
  const int last = track.numFootsteps - 1;
  if (last < 0) return true;
  if (RefreshSupport(track) == kRefused) return false;
  RefreshMotionSpan(core);
  return AdaptMotion(core, std::move(before), 0, last, locks, context) != AdaptResult::kOutOfMemory;
}

/// Footsteps that came without keys.
bool MakeMotion(MotionCore& core, const EvalContext& context) {
  if (!FitFootstepsToFigure(core)) return false;
  core.footsteps.active.ClearAll();
  core.footstepsPending = core.footsteps.numFootsteps > 0;
  return !core.footstepsPending || NewFootprintKeys(core, context) == ActivationResult::kDone;
}

/// Brings the keys of limbs that follow links of the figure out of the spaces of those, or back
/// into them; `base` is the motion that moves the links.
void ChangeAttachedKeys(StreamContents& contents, const MotionCore& base, bool intoLinks,
                        const EvalContext& context) {
  MotionCore posed = base;
  for (int i = 0; i < 4; ++i) {
    const LimbAttachment& to = contents.attachments[i];
    if (to.id < 0 || !HasNode(posed, to.id, to.link)) continue;
    const auto ofLink = [&](TimeValue t) {
      CorePose(posed, t, context);
      Matrix3 frame;
      CoreLinkTransform(posed, to.id, to.link, frame);
      return CoreFromHostTransform(Orthogonalized(frame));
    };
    const auto none = [](TimeValue) { return Matrix3{}; };
    for (const auto& motion : contents.motions) {
      if (!FindLimb(*motion, kTargetLimbs[i])) continue;
      if (intoLinks) {
        ChangeObjectSpace(*motion, kTargetLimbs[i], none, ofLink);
      } else {
        ChangeObjectSpace(*motion, kTargetLimbs[i], ofLink, none);
      }
    }
  }
}

/// The base, standing in the pose that only the top motion has been read with.
MotionCore BaseInPoseOfTop(StreamContents& contents) {
  if (contents.motions.size() == 1 || !contents.hasPose) return std::move(contents.Base());
  MotionCore base = std::move(contents.Base());
  MotionCore core = contents.Top();
  AdoptKeys(core, base);
  core.footsteps = std::move(base.footsteps);
  core.body.flights = std::move(base.body.flights);
  core.body.gravAccel = base.body.gravAccel;
  core.ticksPerFrame = base.ticksPerFrame;
  core.freeForm = base.freeForm;
  core.footstepsPending = base.footstepsPending;
  core.bodyKeysComputed = base.bodyKeysComputed;
  core.startTime = base.startTime;
  core.endTime = base.endTime;
  core.layerNumber = 0;
  RefreshTracks(core);
  return core;
}

/// What belongs to the figure in its scene and to no motion.
void KeepPlaceInScene(MotionCore& core, const MotionCore& own) {
  core.name = own.name;
  core.unitShapeLinks = own.unitShapeLinks;
  core.figureMode = own.figureMode;
  core.layerOffset = own.layerOffset;
  core.base = own.base;
  core.head.hasTarget = own.head.hasTarget;
  core.head.targetPosition = own.head.targetPosition;
}

}  // namespace

// --- Steps ---------------------------------------------------------------------------------------

bool StriderMaster::ReadFile(const std::string& path, const ReadOptions& reading,
                             StreamContents& contents) {
  std::string bytes, cause;
  if (!ReadWholeFile(path, bytes, cause)) {
    Tell(session_.messages, MessageId::kFileNotOpened, {path, cause});
    return false;
  }
  if (bytes.empty()) {
    Tell(session_.messages, MessageId::kFileNotRead, {path, "it is empty"});
    return false;
  }
  const StreamForm form = Stream::FormOf(bytes);
  if (ReadStream(bytes, form, reading, contents, cause)) return true;
  const bool newer = VersionOf(bytes, form) > kStreamVersion;
  Tell(session_.messages, newer ? MessageId::kFileTooNew : MessageId::kFileNotRead, {path, cause});
  return false;
}

void StriderMaster::TellAboutFile(const std::string& path, const StreamContents& contents) const {
  if (!contents.warning.empty()) {
    Tell(session_.messages, MessageId::kFilePartlyTaken, {path, contents.warning});
  }
  if (contents.version < kStreamVersion && session_.preferences.showObsoleteFileMsg != 0) {
    Tell(session_.messages, MessageId::kFileOfOldVersion,
         {path, std::to_string(contents.version), std::to_string(kStreamVersion)});
  }
}

bool StriderMaster::RefuseKind(const std::string& path, const char* wanted) const {
  Tell(session_.messages, MessageId::kFileOfOtherKind, {path, wanted});
  return false;
}

// --- Loading motions -----------------------------------------------------------------------------

/// This figure for motions to go onto: without keys, following nothing.
MotionCore StriderMaster::FigureAlone() const {
  MotionCore figure = FigureOf(*core_);
  figure.figureMode = false;
  for (const int id : kTargetLimbs) {
    if (LimbRecord* limb = FindLimb(figure, id)) {
      limb->hasObject = false;
      limb->objectFrame = {};
    }
  }
  figure.head.hasTarget = false;
  figure.head.targetPosition = {};
  return figure;
}

/// A file whose motions are to go onto `figure`.
bool StriderMaster::ReadForFigure(const std::string& path, const MotionCore& figure,
                                  StreamContents& contents) {
  ReadOptions reading;
  reading.figure = &figure;
  reading.betaNeckLegacy = session_.preferences.betaNeckLegacy != 0;
  return ReadFile(path, reading, contents);
}

bool StriderMaster::FinishMotions(const std::string& path, StreamContents& contents,
                                  const LoadOptions& options, const MotionCore& figure) const {
  LoadOptions own = options;
  own.figure = &figure;
  const TimeValue frame = StriderGetTicksPerFrame(session_);
  const bool changes = own.keyPerFrame || own.flattenToZ || own.zeroHgt || !own.matchFileStruct ||
                       contents.Base().ticksPerFrame != frame;
  // What changes the motion can't know what its limbs hold on to; untouched keys keep their bits.
  const bool detach = changes && contents.hasAttachments;
  if (detach) ChangeAttachedKeys(contents, contents.Base(), false, context_);
  for (const auto& motion : contents.motions) {
    if (!RetimeToScene(*motion, frame, session_.adaptLocks, context_) ||
        (contents.kind == FileKind::kFootsteps && !MakeMotion(*motion, context_)) ||
        ApplyLoadOptions(*motion, own, context_) == kRefused) {
      Tell(session_.messages, MessageId::kFileNotTaken, {path, kNoMemory});
      return false;
    }
  }
  if (detach) ChangeAttachedKeys(contents, contents.Base(), true, context_);
  return true;
}

bool StriderMaster::TakeMotionFile(const std::string& path, StreamContents& contents,
                                   const LoadOptions& options, const MotionCore& figure) {
  if (!FinishMotions(path, contents, options, figure)) return false;
  CommitMotions(contents, false);
  TellAboutFile(path, contents);
  return true;
}

void StriderMaster::CommitMotions(StreamContents& contents, bool keepTargets) {
  LayerList layers;
  for (std::size_t i = 1; i < contents.motions.size(); ++i) {
    layers.push_back(std::make_shared<MotionCore>(*contents.motions[i]));
  }
  MotionCore core = BaseInPoseOfTop(contents);
  KeepPlaceInScene(core, *core_);
  if (core.figureMode) {
    TakeStance(core);
    CoreForwardKinematics(core);
  } else {
    // Keys give their pose again to the bit; footsteps that wait for theirs keep the one read.
    CorePose(core, session_.scene.Time(), context_);
  }
  if (keepTargets) {
    for (const int id : kTargetLimbs) {
      LimbRecord* limb = FindLimb(core, id);
      const LimbRecord* own = FindLimb(*core_, id);
      if (!limb || !own) continue;
      limb->hasObject = own->hasObject;
      limb->objectFrame = own->objectFrame;
    }
  }
  *core_ = std::move(core);
  layers_.swap(layers);
  lastConversion_ = {};  // which knows nothing of this motion
  RefreshNodes();
  CommitTargets(contents, keepTargets);
}

/// Binds limbs to the figure's own nodes that the file names. Their keys are in the spaces of those
/// already.
void StriderMaster::CommitTargets(const StreamContents& contents, bool keepTargets) {
  for (int i = 0; i < 4; ++i) {
    LimbRecord* limb = FindLimb(*core_, kTargetLimbs[i]);
    LimbTarget& target = limbTargets_[i];
    int id = 0, link = 0;
    const bool keep = keepTargets && limb && !GetIdLink(target.node, id, link);
    if (!keep) target.node = kNoNode;
    const LimbAttachment& attachment = contents.attachments[i];
    if (contents.hasAttachments && limb && attachment.id >= 0) {
      const NodeHandle node = GetNode(attachment.id, attachment.link);
      if (node != kNoNode) target.node = node;
    }
    target.objectSpaceValid = target.node == kNoNode ? Interval::Never() : Interval::Forever();
    if (!limb) continue;
    limb->hasObject = target.node != kNoNode;
    if (!limb->hasObject) limb->objectFrame = {};
  }
  CountTargets();
}

bool StriderMaster::LoadMotion(const std::string& path, const LoadOptions& options) {
  return LoadStep("Load Motion", [&] {
    const MotionCore figure = FigureAlone();
    StreamContents contents;
    if (!ReadForFigure(path, figure, contents)) return false;
    if (contents.kind == FileKind::kFigure) return RefuseKind(path, "motion");
    return TakeMotionFile(path, contents, options, figure);
  });
}

bool StriderMaster::LoadFootsteps(const std::string& path) {
  return LoadStep("Load Footsteps", [&] {
    const MotionCore figure = FigureAlone();
    StreamContents contents;
    if (!ReadForFigure(path, figure, contents)) return false;
    if (contents.kind != FileKind::kFootsteps) return RefuseKind(path, "footsteps alone");
    return TakeMotionFile(path, contents, {}, figure);
  });
}

bool StriderMaster::LoadMotionLayer(const std::string& path) {
  return LoadStep("Load Layer", [&] {
    const MotionCore figure = FigureAlone();
    StreamContents contents;
    if (!ReadForFigure(path, figure, contents)) return false;
    if (contents.kind != FileKind::kMotion) return RefuseKind(path, "motion");
    if (contents.motions.size() > 1) {
      Tell(session_.messages, MessageId::kFileOfManyMotions,
           {path, std::to_string(contents.motions.size())});
      return false;
    }
    if (NumLayers() + 2 > kMaxMotions) {
      Tell(session_.messages, MessageId::kFileNotTaken, {path, "the figure has all its layers"});
      return false;
    }
    LoadOptions onto;
    onto.matchFileStruct = false;
    if (!FinishMotions(path, contents, onto, figure)) return false;
    auto layer = std::make_shared<MotionCore>(std::move(contents.Base()));
    ClearFootsteps(layer->footsteps);
    SetFreeForm(*layer, true);
    RefreshMotionSpan(*layer);
    layer->footstepsPending = layer->bodyKeysComputed = false;
    layer->body.flights.clear();
    layer->layerNumber = NumLayers() + 1;
    if (layer->layerName.empty()) layer->layerName = "Layer " + std::to_string(layer->layerNumber);
    layers_.push_back(std::move(layer));
    TellAboutFile(path, contents);
    return true;
  });
}

// --- Figures -------------------------------------------------------------------------------------

bool StriderMaster::LoadFigureFile(const char* name, const std::string& path, bool twists) {
  const bool done = LoadStep(name, [&] {
    ReadOptions reading;
    reading.twists = twists;
    StreamContents contents;
    if (!ReadFile(path, reading, contents)) return false;
    if (contents.kind != FileKind::kFigure) return RefuseKind(path, "figure alone");
    MotionCore& figure = contents.Base();
    if (!twists || contents.version < kFirstWithLinkBlock) {
      figure.armTwistPoses = core_->armTwistPoses;
      figure.legTwistPoses = core_->legTwistPoses;
    }
    if (!ApplyFigure(figure)) {
      Tell(session_.messages, MessageId::kFigureRefused);
      return false;
    }
    TellAboutFile(path, contents);
    return true;
  });
  if (done) session_.preferences.figureFile = path;
  return done;
}

bool StriderMaster::LoadFigure(const std::string& path) {
  return LoadFigureFile("Load Figure", path, true);
}
bool StriderMaster::LoadFigNoTwists(const std::string& path) {
  return LoadFigureFile("Load Figure", path, false);
}

bool StriderMaster::LoadFigJustTwists(const std::string& path) {
  bool hasNone = false;
  const bool done = LoadStep("Load Twist Poses", [&] {
    StreamContents contents;
    if (!ReadFile(path, {}, contents)) return false;
    if (contents.kind != FileKind::kFigure) return RefuseKind(path, "figure alone");
    TellAboutFile(path, contents);
    hasNone = contents.version < kFirstWithLinkBlock;
    if (hasNone) return false;
    core_->armTwistPoses.swap(contents.Base().armTwistPoses);
    core_->legTwistPoses.swap(contents.Base().legTwistPoses);
    CoreForwardKinematics(*core_);
    return true;
  });
  return done || hasNone;
}

bool StriderMaster::LoadFromChunk(std::string_view chunk) {
  return LoadStep("Load Figure from Scene", [&] {
    StreamContents contents;
    std::string cause;
    ReadOptions reading;
    reading.betaNeckLegacy = session_.preferences.betaNeckLegacy != 0;
    if (!ReadStream(chunk, StreamForm::kChunk, reading, contents, cause)) {
      const bool newer = VersionOf(chunk, StreamForm::kChunk) > kStreamVersion;
      Tell(session_.messages, newer ? MessageId::kFileTooNew : MessageId::kFileNotRead,
           {kChunkName, cause});
      return false;
    }
    if (contents.kind != FileKind::kMotion) return RefuseKind(kChunkName, "motion");
    CommitMotions(contents, true);
    TellAboutFile(kChunkName, contents);
    return true;
  });
}

}  // namespace strider
