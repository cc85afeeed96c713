#include "strider/storage/motion_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>

#include "strider/base/large_block.h"
#include "strider/base/whole_file.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/support.h"
#include "strider/storage/load_changes.h"

namespace strider {

bool ReadWholeFile(const std::string& path, std::string& bytes, std::string& cause) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      std::fopen(path.c_str(), "rb"), [](std::FILE* f) { return f ? std::fclose(f) : 0; });
  if (!file) {
    cause = std::strerror(errno);
    return false;
  }
  // Streams count in 32 bits, and nothing that people record comes near this.
  constexpr std::size_t kLargest = std::size_t{1} << 31;
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  try {
    bytes.clear();
    // Room at once for what there is to be read, where that is known.
    std::error_code unknown;
    const std::uintmax_t whole = std::filesystem::file_size(path, unknown);
    if (!unknown && whole <= kLargest) {
      ReserveForUse(bytes, static_cast<std::size_t>(whole) + kPiece);
    }
    while (true) {
      const std::size_t size = bytes.size();
      bytes.resize(size + kPiece);
      const std::size_t got = std::fread(bytes.data() + size, 1, kPiece, file.get());
      bytes.resize(size + got);
      if (std::ferror(file.get())) {
        cause = std::strerror(errno);
        return false;
      }
      if (got == 0) return true;
      if (bytes.size() > kLargest) {
        cause = "is larger than 2 GiB";
        return false;
      }
    }
  } catch (const std::bad_alloc&) {
    cause = "memory ran out";
    return false;
  }
}

bool ReadNamedFile(const std::string& path, std::string& bytes, std::string& cause) {
  if (ReadWholeFile(path, bytes, cause)) return true;
  cause = path + ": " + cause;
  return false;
}

bool ReadMotionFile(const std::string& path, const ReadOptions& options, StreamContents& contents,
                    std::string& cause) {
  std::string bytes;
  bool done = ReadWholeFile(path, bytes, cause);
  if (done && bytes.empty()) {
    cause = "the file is empty";
    done = false;
  }
  done = done && ReadStream(bytes, Stream::FormOf(bytes), options, contents, cause);
  if (!done) cause = path + ": " + cause;
  return done;
}

namespace {

/// Keys for footsteps that came alone.
bool MakeMotionOfFootsteps(MotionCore& core, const EvalContext& context) {
  core.footsteps.active.ClearAll();
  core.footstepsPending = core.footsteps.numFootsteps > 0;
  return core.footsteps.numFootsteps == 0 ||
         NewFootprintKeys(core, context) == ActivationResult::kDone;
}

}  // namespace

bool LoadMotion(const std::string& path, const LoadOptions& options, const EvalContext& context,
                StreamContents& contents, std::string& cause) {
  ReadOptions reading;
  reading.figure = options.figure;
  if (!ReadMotionFile(path, reading, contents, cause)) return false;
  if (contents.kind == FileKind::kFigure) return true;
  bool done = true;
  if (contents.kind == FileKind::kFootsteps) {
    done = FitFootstepsToFigure(contents.Base()) && MakeMotionOfFootsteps(contents.Base(), context);
  }
  for (const auto& motion : contents.motions) {
    done = done && ApplyLoadOptions(*motion, options, context) == kDone;
  }
  if (!done) cause = path + ": memory ran out";
  return done;
}

bool LoadMotionFile(const std::string& path, MotionCore& core, std::string& cause) {
  StreamContents contents;
  if (!LoadMotion(path, {}, {}, contents, cause)) return false;
  core = std::move(contents.Base());
  return true;
}

int ApplyLoadOptions(MotionCore& core, const LoadOptions& options, const EvalContext& context) {
  try {
    MotionCore changed = core;
    if (!options.matchFileStruct && options.figure != nullptr &&
        RetargetMotion(changed, *options.figure, options, context) == kRefused) {
      return kRefused;
    }
    if (options.flattenToZ && FlattenFootsteps(changed, context) == kRefused) return kRefused;
    if (options.zeroHgt) ZeroHeight(changed, context);
    if (options.keyPerFrame) {
      const Interval range = MotionRange(changed);
      const TimeValue first = RoundToFrame(range.start, changed.ticksPerFrame);
      if (BakeKeys(changed, FramesBetween(changed, first, range.end), true, context) == kRefused) {
        return kRefused;
      }
    }
    core = std::move(changed);
    return kDone;
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

bool SaveMotion(const std::string& path, const std::vector<const MotionCore*>& motions,
                const WriteOptions& options, std::string& cause) {
  return WriteWholeFile(path, WriteMotionStream(motions, StreamForm::kBinary, options), cause);
}

bool SaveMotionSegment(const std::string& path, const MotionCore& core, TimeValue first,
                       TimeValue last, bool keyPerFrame, const HeaderInfo* header,
                       const EvalContext& context, std::string& cause) {
  MotionCore segment;
  if (CutSegment(core, first, last, keyPerFrame, context, segment) == kRefused) {
    cause = "no motion lies between the two times";
    return false;
  }
  WriteOptions options;
  options.headerInfo = header;
  return SaveMotion(path, {&segment}, options, cause);
}

bool SaveFootsteps(const std::string& path, const MotionCore& core, std::string& cause) {
  if (core.footsteps.numFootsteps == 0) {
    cause = "the motion has no footsteps to write";
    return false;
  }
  return WriteWholeFile(path, WriteFootstepStream(core), cause);
}

bool SaveFigure(const std::string& path, const MotionCore& core, std::string& cause) {
  return WriteWholeFile(path, WriteFigureStream(core), cause);
}

}  // namespace strider
