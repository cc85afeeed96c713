#include "strider/storage/motion_stream.h"

#include <new>
#include <utility>

#include "strider/core/figure_layout.h"
#include "strider/core/motion_range.h"
#include "strider/core/node_tree.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/storage/figure_block.h"
#include "strider/storage/footstep_block.h"
#include "strider/storage/layer_block.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

constexpr int kAttachmentsTag = 349;
constexpr int kNumMotionsTag = 205;
constexpr int kFirstFigureTag = 10, kLastFigureTag = 34;
constexpr int kFirstPoseTag = 600, kLastPoseTag = 621;

bool IsObjectTag(int tag) { return (tag >= 336 && tag <= 348) || (tag >= 361 && tag <= 371); }

// --- Reading -----------------------------------------------------------------------------------

/// One motion as it was read: keys that no figure has taken up yet.
struct RawMotion {
  FootstepBlock footsteps;
  std::unique_ptr<MotionCore> keys;
};

class Reader {
 public:
  Reader(std::string_view bytes, StreamForm form, const ReadOptions& options,
         StreamContents& contents)
      : s_(Stream::Reader(bytes, form)), options_(options), contents_(contents) {
    contents_.form = form;
  }

  void Read() {
    const int tag = ReadHead();
    if (!s_.Good()) return;
    contents_.version = s_.Version();
    contents_.hasHeaderInfo = header_.hasInfo;
    contents_.headerInfo = std::move(header_.info);
    if (options_.headerOnly) {
      if (s_.Version() < kFirstWithPreview)
        s_.Fail("a file this old has nothing to show before it is loaded");
      return;
    }
    if (kFirstFigureTag <= tag && tag <= kLastFigureTag) {
      ReadFigureFile(tag);
    } else {
      ReadMotions(tag);
    }
  }

  /// A block may end with the file before it is whole, without a word that is wrong.
  void CheckWhole() {
    if (options_.headerOnly || s_.Status() == StreamStatus::kBroken) return;
    if (contents_.motions.empty()) s_.EndedInBlock();
  }

  const Stream& stream() const { return s_; }

 private:
  /// Version, header, attachments and count, as they come. The tag after them.
  int ReadHead() {
    int tag = s_.ReadTag();
    if (tag != kVersionTag) {
      s_.Fail("no motion, footstep or figure file: it does not begin with its version");
      return Stream::kNoTag;
    }
    while (s_.Good() && tag != Stream::kNoTag) {
      if (ReadHeaderTag(s_, header_, tag)) {
        // taken
      } else if (tag == kAttachmentsTag && s_.Version() >= kFirstWithMotionCount) {
        ReadAttachments();
      } else if (tag == kNumMotionsTag && s_.Version() >= kFirstWithMotionCount) {
        s_.Int(numMotions_);
        if (s_.Good() && (numMotions_ < 1 || numMotions_ > kMaxMotions)) {
          s_.Fail(std::to_string(numMotions_) + " motions");
        }
      } else {
        return tag;
      }
      tag = s_.ReadTag();
    }
    if (s_.Status() == StreamStatus::kEnd) s_.EndedInBlock();
    return tag;
  }

  void ReadAttachments() {
    contents_.hasAttachments = true;
    for (LimbAttachment& attachment : contents_.attachments) {
      s_.Int(attachment.id);
      s_.Int(attachment.link);
      if (attachment.id < 0 || attachment.link < 0) attachment = {};
    }
  }

  void ReadFigureFile(int tag) {
    contents_.kind = FileKind::kFigure;
    auto core = std::make_unique<MotionCore>();
    ReadFigure(*core, tag);
    if (!s_.Good()) return;
    FixOldFigure(*core);
    core->name = kFirstFigureName;
    contents_.hasFigure = true;
    contents_.motions.push_back(std::move(core));
  }

  /// What the figures of older versions meant otherwise.
  void FixOldFigure(MotionCore& core) const {
    const int v = s_.Version();
    if (v < kFirstWithXtras) core.xtras.clear();
    if (v >= kFirstBetaNeck && v < kLastBetaNeck && !options_.betaNeckLegacy) {
      core.neck.baseRotation = {};
    }
    if (v < kFirstWithNeckKeys) MoveHead(core.head.rest, core.neck.numLinks);
    TakeStance(core);
  }

  /// Where the head's turn was the only one of its key, it is the last of its section now.
  static void MoveHead(HeadKey& key, int neckLinks) {
    if (neckLinks < 1) return;
    std::swap(key.chain.rotation[0], key.chain.rotation[neckLinks]);
    std::swap(key.chain.euler[0], key.chain.euler[neckLinks]);
    key.chain.rotation[0] = {};
    key.chain.euler[0] = {};
  }

  void ReadFigure(MotionCore& core, int tag) {
    if (options_.twists) {
      ReadFigureBlocks(s_, core, header_, tag);
    } else {
      ReadFigureBlocksNoTwists(s_, core, header_, tag);
    }
  }

  void ReadMotions(int tag) {
    std::vector<RawMotion> raw;
    for (int i = 0; i < numMotions_; ++i) {
      if (tag == Stream::kNoTag) return s_.EndedInBlock();
      RawMotion motion;
      ReadFootstepBlock(s_, motion.footsteps, header_, tag);
      if (!s_.Good()) return;
      tag = s_.ReadTag();
      if (tag == Stream::kNoTag && s_.Status() == StreamStatus::kEnd && raw.empty()) {
        contents_.kind = FileKind::kFootsteps;
        return BuildMotions(std::move(motion));
      }
      motion.keys = std::make_unique<MotionCore>();
      ReadLayerBlock(s_, *motion.keys, header_, tag);
      if (!s_.Good()) return;
      raw.push_back(std::move(motion));
      tag = s_.ReadTag();
    }
    if (s_.Status() == StreamStatus::kBroken) return;
    std::unique_ptr<MotionCore> figure;
    if (s_.Version() >= kFirstWithFigure) {
      if (tag == Stream::kNoTag) return s_.EndedInBlock();
      figure = std::make_unique<MotionCore>();
      ReadFigure(*figure, tag);
      if (!s_.Good()) return;
      FixOldFigure(*figure);
      contents_.hasFigure = true;
      tag = s_.ReadTag();
    } else {
      figure = OwnFigure();
    }
    for (RawMotion& motion : raw) BuildMotion(*figure, motion, &motion == &raw.front());
    if (!s_.Good() && s_.Status() != StreamStatus::kEnd) return;
    ReadRest(tag);
  }

  /// What follows the figure: a pose, objects of the scene.
  void ReadRest(int tag) {
    if (kFirstPoseTag <= tag && tag <= kLastPoseTag) {
      MotionCore& top = contents_.Top();
      ReadPoseBlock(s_, top, header_, tag);
      contents_.hasPose = s_.Good();
      if (!s_.Good()) return;
      tag = s_.ReadTag();
    }
    if (IsObjectTag(tag)) {
      contents_.warning = "the file also holds objects of a scene (tag " + std::to_string(tag) +
                          "), which are not loaded";
      return;
    }
    if (tag != Stream::kNoTag) s_.Fail("a tag that has no place here");
  }

  std::unique_ptr<MotionCore> OwnFigure() const {
    auto figure = std::make_unique<MotionCore>();
    if (options_.figure != nullptr) {
      *figure = *options_.figure;
    } else {
      LayOutFigure(*figure, Structure{});
    }
    return figure;
  }

  void BuildMotions(RawMotion motion) {
    const std::unique_ptr<MotionCore> figure = OwnFigure();
    BuildMotion(*figure, motion, true);
  }

  /// Puts a motion together on a figure. Only the base has footsteps.
  void BuildMotion(const MotionCore& figure, RawMotion& motion, bool isBase) {
    auto core = std::make_unique<MotionCore>(figure);
    const FootstepTrack measures = core->footsteps;
    if (motion.keys) {
      if (s_.Version() < kFirstWithNeckKeys) {
        for (HeadKey& key : motion.keys->head.table.keys) MoveHead(key, core->neck.numLinks);
      }
      AdoptKeys(*core, *motion.keys);
      motion.keys.reset();  // a file of many motions never takes two records for each
    }
    FootstepTrack& track = motion.footsteps.track;
    if (!isBase) {
      ClearFootsteps(track);
      track.ticksPerFrame = contents_.Base().ticksPerFrame;
    }
    core->ticksPerFrame = track.ticksPerFrame;
    core->footsteps = std::move(track);
    if (!motion.footsteps.hasScale) {
      core->footsteps.scaleAnkleHeight = measures.scaleAnkleHeight;
      core->footsteps.scaleFigureHeight = measures.scaleFigureHeight;
      core->footsteps.scaleLegLength = measures.scaleLegLength;
      core->footsteps.scaleHipWidth = measures.scaleHipWidth;
      core->footsteps.gravity = measures.gravity;
    }
    if (core->footsteps.gravity > 0) core->body.gravAccel = core->footsteps.gravity;
    const bool hasFootsteps = core->footsteps.numFootsteps > 0;
    SetFreeForm(*core, !hasFootsteps);
    RefreshMotionSpan(*core);
    core->footstepsPending = hasFootsteps && AnyInactive(core->footsteps);
    core->bodyKeysComputed = hasFootsteps && !core->body.vertical.Empty();
    if (core->name.empty()) core->name = kFirstFigureName;
    core->layerNumber = static_cast<int>(contents_.motions.size());
    if (BuildFlights(*core) == kRefused) throw std::bad_alloc();
    RefreshTracks(*core);
    if (s_.Version() < kFirstWithAgreeingHeights && hasFootsteps && !core->body.vertical.Empty()) {
      // Such keys say only what share of their range the body stands at.
      RefreshHeights(*core, 0, core->body.vertical.track.numKeys - 1, HeightMode::kKeepRange,
                     GroundLevel::kTrue);
      if (BuildFlights(*core) == kRefused) throw std::bad_alloc();
      RefreshTracks(*core);
    }
    contents_.motions.push_back(std::move(core));
  }

  Stream s_;
  const ReadOptions& options_;
  StreamContents& contents_;
  StreamHeader header_;
  int numMotions_ = 1;
};

}  // namespace

bool ReadStream(std::string_view bytes, StreamForm form, const ReadOptions& options,
                StreamContents& contents, std::string& cause) {
  contents = {};
  try {
    Reader reader(bytes, form, options, contents);
    reader.Read();
    reader.CheckWhole();
    if (reader.stream().Status() != StreamStatus::kBroken) return true;
    cause = reader.stream().Cause();
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
  }
  return false;
}

// --- Writing -----------------------------------------------------------------------------------

std::string WriteMotionStream(const std::vector<const MotionCore*>& motions, StreamForm form,
                              const WriteOptions& options) {
  Stream s = Stream::Writer(form, options.version);
  // Binary records are about as large as those in memory, texts twice as large or more.
  std::size_t size = 0;
  for (const MotionCore* motion : motions) {
    ForEachTable(*motion, [&size](int, const auto& table) {
      constexpr std::size_t kTime = 64;
      size += table.keys.size() * (sizeof(table.keys[0]) + kTime);
    });
  }
  s.Reserve(form == StreamForm::kText ? 2 * size : size);
  WriteVersion(s);
  if (options.headerInfo != nullptr) {
    HeaderInfo info = *options.headerInfo;
    WriteHeaderInfo(s, info);
  }
  if (options.attachments != nullptr) {
    s.WriteTag(kAttachmentsTag);
    for (int i = 0; i < 4; ++i) {
      LimbAttachment attachment = options.attachments[i];
      s.Int(attachment.id);
      s.Int(attachment.link);
    }
  }
  if (s.Version() >= kFirstWithMotionCount) {
    s.WriteTag(kNumMotionsTag);
    s.Skip(static_cast<int>(motions.size()));
  }
  for (const MotionCore* motion : motions) {
    WriteFootstepBlock(s, *motion);
    WriteLayerBlock(s, *motion);
  }
  if (s.Version() >= kFirstWithFigure) WriteFigureBlocks(s, *motions.back());
  if (options.snapshot) WritePoseBlock(s, *motions.back());
  return s.TakeBytes();
}

std::string WriteFootstepStream(const MotionCore& core, StreamForm form) {
  Stream s = Stream::Writer(form);
  WriteVersion(s);
  WriteFootstepBlock(s, core);
  return s.TakeBytes();
}

std::string WriteFigureStream(const MotionCore& core, StreamForm form) {
  Stream s = Stream::Writer(form);
  WriteVersion(s);
  WriteFigureBlocks(s, core);
  return s.TakeBytes();
}

}  // namespace strider
