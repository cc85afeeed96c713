#include "fuzz/stream_input.h"

#include <algorithm>

#include "fuzz/memory_bound.h"
#include "strider/core/evaluate.h"
#include "strider/core/motion_range.h"
#include "strider/storage/motion_stream.h"

namespace strider::fuzz {
namespace {

/// Poses within the motion and beyond both ends, and the frames that others are handed.
void Play(MotionCore& core) {
  const Interval range = MotionRange(core);
  const TimeValue middle = range.start + (Later(range.end, 0) / 2 - range.start / 2);
  for (const TimeValue t : {range.start, middle, range.end, Later(range.end, kDynamicsFrame)}) {
    CorePose(core, t, {});
    for (int id = 0; id < kXtraFirst + 2; ++id) {
      Matrix3 frame;
      CoreLinkTransform(core, id, 0, frame);
    }
  }
}

/// A file that was loaded is written the same every time from its first save on.
void SaveTwice(const StreamContents& contents, StreamForm form) {
  const auto write = [form](const StreamContents& from) {
    if (from.kind == FileKind::kFigure) return WriteFigureStream(*from.motions.front(), form);
    if (from.kind == FileKind::kFootsteps) return WriteFootstepStream(*from.motions.front(), form);
    std::vector<const MotionCore*> motions;
    for (const auto& motion : from.motions) motions.push_back(motion.get());
    WriteOptions options;
    if (from.hasHeaderInfo) options.headerInfo = &from.headerInfo;
    if (from.hasAttachments) options.attachments = from.attachments;
    return WriteMotionStream(motions, form, options);
  };
  StreamContents once, twice;
  std::string cause;
  const std::string first = write(contents);
  if (!ReadStream(first, form, {}, once, cause)) Stop(("a save is refused: " + cause).c_str());
  const std::string second = write(once);
  if (!ReadStream(second, form, {}, twice, cause)) Stop(("a save is refused: " + cause).c_str());
  if (form == StreamForm::kBinary && write(twice) != second) Stop("a save that changes");
}

}  // namespace

void PlayStream(std::string_view input, StreamForm form) {
  const std::size_t before = HeapBytes();
  ForgetPeak();
  StreamContents contents;
  std::string cause;
  const bool good = ReadStream(input, form, {}, contents, cause);
  // A refused file may have held as many motions as it has room for, two tags each, and as many
  // extra chains, which every motion has for itself.
  const std::size_t motions = good ? contents.motions.size() : input.size() / 4;
  const std::size_t chains = good ? contents.Top().xtras.size() : input.size() / 300;
  const std::size_t record = sizeof(MotionCore) + chains * sizeof(XtraChain);
  CheckPeak(before, input, (std::min<std::size_t>(motions, kMaxMotions) + 2) * record);
  if (!good) {
    if (cause.empty() || cause.find('\n') != cause.npos) Stop("a refusal that is not one line");
    return;
  }
  SaveTwice(contents, form);
  for (const auto& motion : contents.motions) Play(*motion);
}

}  // namespace strider::fuzz
