#include "cli/motion_outputs.h"

#include "cli/progress.h"
#include "exchange/motion_bvh.h"
#include "exchange/motion_npz.h"
#include "exchange/motion_sampler.h"
#include "exchange/motion_sheet.h"
#include "exchange/motion_table.h"
#include "strider/base/whole_file.h"

namespace strider {
namespace {

std::vector<TimeValue> TimesOf(const MotionCore& core, const MotionOutputOptions& options) {
  const FrameRange range = options.range.value_or(FrameRangeOf(core));
  return options.atKeys ? TimesAtKeys(core, range) : TimesAtFrames(core, range, options.fps);
}

/// Calls write(progress) while a person at the terminal sees how far it is.
template <class Write>
bool WithProgress(const std::string& path, Write write) {
  Progress progress(path.c_str());
  return write([&progress](std::int64_t n, std::int64_t all) { progress.Tell(n, all); });
}

bool WriteTable(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
                std::string& cause) {
  const MotionTableOptions table = {TimesOf(core, options), options.withFootsteps};
  return WithProgress(path, [&](const ProgressSink& progress) {
    return WriteMotionTable(core, {}, table, path, cause, progress);
  });
}

bool WriteArrays(const MotionCore& core, const MotionOutputOptions& options,
                 const std::string& path, std::string& cause) {
  const MotionNpzOptions arrays = {TimesOf(core, options), options.fps, options.metresPerUnit};
  return WithProgress(path, [&](const ProgressSink& progress) {
    return WriteMotionNpz(core, {}, arrays, path, cause, progress);
  });
}

bool WriteBvh(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
              std::string& cause) {
  if (options.atKeys) {
    cause = "frames of a .bvh are evenly spaced, and keys are not";
    return false;
  }
  const MotionBvhOptions bvh = {TimesOf(core, options), options.fps, options.metresPerUnit,
                                options.onlyKnown};
  return WithProgress(path, [&](const ProgressSink& progress) {
    return WriteMotionBvh(core, {}, bvh, path, cause, progress);
  });
}

bool WriteSheet(const MotionCore& core, const MotionOutputOptions& /*options*/,
                const std::string& path, std::string& cause) {
  std::string png;
  return MotionSheet(core, {}, png, cause) && WriteWholeFile(path, png, cause);
}

struct MotionFormat {
  const char* extension;
  bool (*write)(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
                std::string& cause);
};
constexpr MotionFormat kFormats[] = {
    {"bvh", WriteBvh},
    {"csv", WriteTable},
    {"npz", WriteArrays},
    {"png", WriteSheet},
};

}  // namespace

std::vector<std::string> MotionFormats() {
  std::vector<std::string> extensions;
  for (const MotionFormat& format : kFormats) extensions.emplace_back(format.extension);
  return extensions;
}

bool WriteMotionAs(const std::string& format, const MotionCore& core,
                   const MotionOutputOptions& options, const std::string& path,
                   std::string& cause) {
  for (const MotionFormat& row : kFormats) {
    if (format == row.extension) return row.write(core, options, path, cause);
  }
  cause = "unknown format";
  return false;
}

}  // namespace strider
