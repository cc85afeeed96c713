// Files that a figure saves for the host and its scripts, and its layers as they see them.

#include <new>
#include <string>
#include <utility>

#include "strider/core/limb_keys.h"
#include "strider/host/strider_master.h"
#include "strider/storage/layer_block.h"

namespace strider {

template <class Save>
bool StriderMaster::SaveStep(const std::string& path, Save save) {
  std::string cause;
  bool done = false;
  try {
    done = save(cause);
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
  }
  if (!done) Tell(session_.messages, MessageId::kFileNotSaved, {path, cause});
  return done;
}

/// Brings the limb's keys out of the space of what it follows.
void StriderMaster::FreeFromTarget(MotionCore& copy, int limb) const {
  LimbRecord* record = FindLimb(copy, kTargetLimbs[limb]);
  const NodeHandle node = limbTargets_[limb].node;
  if (!record || node == kNoNode) return;
  record->hasObject = false;
  record->objectFrame = {};
  ChangeObjectSpace(
      copy, kTargetLimbs[limb], [&](TimeValue t) { return ObjectFrame(node, t); },
      [](TimeValue) { return Matrix3{}; });
}

/// True if a limb follows a node of this figure, which a file can name. Other nodes it can't.
bool StriderMaster::CopyForSaving(MotionCore& copy, LimbAttachment (&attachments)[4]) const {
  copy = *core_;
  bool attached = false;
  for (int i = 0; i < 4; ++i) {
    int id = 0, link = 0;
    if (GetIdLink(limbTargets_[i].node, id, link)) {
      attachments[i] = {id, link};
      attached = true;
    } else {
      FreeFromTarget(copy, i);
    }
  }
  return attached;
}

/// The base with layers. A file has the figure and its pose with the top motion: that one is
/// written on the present figure, in the present pose.
std::vector<const MotionCore*> StriderMaster::MotionsToSave(const MotionCore& base,
                                                            const LayerList& layers,
                                                            MotionCore& top) {
  std::vector<const MotionCore*> motions = {&base};
  for (const auto& layer : layers) motions.push_back(layer.get());
  if (layers.empty()) return motions;
  top = base;
  MotionCore keys = *layers.back();
  AdoptKeys(top, keys);
  top.footsteps = std::move(keys.footsteps);
  motions.back() = &top;
  return motions;
}

/// An object that has been edited takes the keys of its limbs along once anyone asks for a pose.
void StriderMaster::BringTargetsUpToDate() const {
  if (hasTargets_) {
    session_.scene.NodeTransform(linkNodes_[kHorizontal][0], session_.scene.Time());
  }
}

bool StriderMaster::SaveMotion(const std::string& path, const SaveOptions& options) {
  return SaveStep(path, [&](std::string& cause) {
    BringTargetsUpToDate();
    MotionCore base, top;
    LimbAttachment attachments[4];
    WriteOptions writing;
    if (CopyForSaving(base, attachments)) writing.attachments = attachments;
    writing.headerInfo = options.headerInfo;
    return strider::SaveMotion(path, MotionsToSave(base, layers_, top), writing, cause);
  });
}

bool StriderMaster::SaveMotionSegment(const std::string& path, TimeValue first, TimeValue last,
                                      bool keyPerFrame, const HeaderInfo* header) {
  return SaveStep(path, [&](std::string& cause) {
    BringTargetsUpToDate();
    MotionCore whole = *core_, base, top;
    for (int i = 0; i < 4; ++i) FreeFromTarget(whole, i);
    if (CutSegment(whole, first, last, keyPerFrame, context_, base) == kRefused) {
      cause = "no motion lies between the two times";
      return false;
    }
    LayerList layers;
    for (const auto& layer : layers_) {
      auto part = std::make_shared<MotionCore>();
      if (CutSegment(*layer, first, last, keyPerFrame, context_, *part) == kDone) {
        layers.push_back(std::move(part));
      }
    }
    WriteOptions writing;
    writing.headerInfo = header;
    return strider::SaveMotion(path, MotionsToSave(base, layers, top), writing, cause);
  });
}

bool StriderMaster::SaveFootsteps(const std::string& path) {
  return SaveStep(path,
                  [&](std::string& cause) { return strider::SaveFootsteps(path, *core_, cause); });
}

bool StriderMaster::SaveFigure(const std::string& path) {
  const bool done =
      SaveStep(path, [&](std::string& cause) { return strider::SaveFigure(path, *core_, cause); });
  if (done) session_.preferences.figureFile = path;
  return done;
}

bool StriderMaster::SaveToChunk(std::string& chunk) {
  return SaveStep(kChunkName, [&](std::string&) {
    MotionCore top;
    WriteOptions writing;
    writing.snapshot = true;
    LimbAttachment attachments[4];
    for (int i = 0; i < 4; ++i) {
      int id = 0, link = 0;
      if (!GetIdLink(limbTargets_[i].node, id, link)) continue;
      attachments[i] = {id, link};
      writing.attachments = attachments;
    }
    chunk = WriteMotionStream(MotionsToSave(*core_, layers_, top), StreamForm::kChunk, writing);
    return true;
  });
}

// --- Layers --------------------------------------------------------------------------------------

std::string StriderMaster::GetLayerName(int index) const {
  if (index < 0 || index > NumLayers()) return "";
  return index == 0 ? core_->layerName : layers_[static_cast<std::size_t>(index) - 1]->layerName;
}

bool StriderMaster::GetLayerActive(int index) const {
  if (index < 0 || index > NumLayers()) return false;
  return index == 0 ? core_->layerActive
                    : layers_[static_cast<std::size_t>(index) - 1]->layerActive;
}

}  // namespace strider
