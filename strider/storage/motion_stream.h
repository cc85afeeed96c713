// Whole files over a stream: motions with their layers and their figure (.sdr), footsteps alone
// (.stp), figures alone (.fig). What is read comes into records of its own; whoever wants it in a
// figure takes it from there.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "strider/core/motion_core.h"
#include "strider/storage/header_info.h"

namespace strider {

enum class FileKind { kMotion, kFootsteps, kFigure };

/// Motions of one file at most.
inline constexpr int kMaxMotions = 256;

/// The link of the figure that a limb's IK reference follows, in the order left arm, right arm,
/// left leg, right leg; -1 for none.
struct LimbAttachment {
  int id = -1, link = -1;
  friend bool operator==(const LimbAttachment&, const LimbAttachment&) = default;
};

using MotionList = std::vector<std::unique_ptr<MotionCore>>;

/// What a file holds.
struct StreamContents {
  FileKind kind = FileKind::kMotion;
  StreamForm form = StreamForm::kBinary;
  int version = kStreamVersion;
  bool hasHeaderInfo = false;
  HeaderInfo headerInfo;
  bool hasAttachments = false;
  LimbAttachment attachments[4];
  /// The base, then each layer upward. Each stands on the file's figure, or on the one that
  /// stood in where the file has none, and is whole: keys, footsteps, flights.
  MotionList motions;
  bool hasFigure = false;
  bool hasPose = false;  // a snapshot: the top motion stands in the pose that was saved
  /// What the reader passed over, in words; empty for nothing.
  std::string warning;

  MotionCore& Base() { return *motions.front(); }
  MotionCore& Top() { return *motions.back(); }
};

struct ReadOptions {
  /// The figure of a file that has none; by default the default figure.
  const MotionCore* figure = nullptr;
  bool twists = true;           // read the twist poses
  bool headerOnly = false;      // stop after the header: what a file browser shows
  bool betaNeckLegacy = false;  // necks of versions 29 to 32 keep the base they were saved with
};

/// Reads a file's bytes. False: `cause` says where and why, and `contents` is of no use.
[[nodiscard]] bool ReadStream(std::string_view bytes, StreamForm form, const ReadOptions& options,
                              StreamContents& contents, std::string& cause);

struct WriteOptions {
  const HeaderInfo* headerInfo = nullptr;
  const LimbAttachment* attachments = nullptr;  // four
  bool snapshot = false;                        // with the pose that the top motion stands in
  int version = kStreamVersion;                 // older ones for tests
};

/// The bytes of a motion with its layers, the base first; of footsteps; of a figure.
std::string WriteMotionStream(const std::vector<const MotionCore*>& motions, StreamForm form,
                              const WriteOptions& options = {});
std::string WriteFootstepStream(const MotionCore& core, StreamForm form = StreamForm::kText);
std::string WriteFigureStream(const MotionCore& core, StreamForm form = StreamForm::kText);

}  // namespace strider
