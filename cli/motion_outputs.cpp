#include "cli/motion_outputs.h"

#include "cli/progress.h"
#include "cli/text_option.h"
#include "exchange/motion_bvh.h"
#include "exchange/motion_glb.h"
#include "exchange/motion_npz.h"
#include "exchange/motion_page.h"
#include "exchange/motion_sampler.h"
#include "exchange/motion_sheet.h"
#include "exchange/motion_table.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"
#include "strider/storage/motion_file.h"

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

bool WriteGlb(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
              std::string& cause) {
  GlbOptions glb;
  glb.range = options.range;
  glb.fps = options.fps;
  glb.metresPerUnit = options.metresPerUnit;
  glb.bodyType = options.bodyType;
  glb.atKeys = options.atKeys;
  glb.rootMotion = options.rootMotion;
  glb.inPlace = options.inPlace;
  return WriteMotionGlb(core, {}, glb, path, cause);
}
bool WriteMotionFile(const MotionCore& core, const MotionOutputOptions&, const std::string& path,
                     std::string& cause) {
  return SaveMotion(path, {&core}, {}, cause);
}
bool WriteFootstepFile(const MotionCore& core, const MotionOutputOptions&, const std::string& path,
                       std::string& cause) {
  return SaveFootsteps(path, core, cause);
}
bool WriteFigureFile(const MotionCore& core, const MotionOutputOptions&, const std::string& path,
                     std::string& cause) {
  return SaveFigure(path, core, cause);
}

bool WritePage(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
               std::string& cause) {
  const MotionPageOptions page = {options.metresPerUnit, options.range, options.fps,
                                  options.bodyType};
  Progress progress(path.c_str());
  return WriteMotionPage(core, {}, page, path, cause,
                         [&progress](std::int64_t n, std::int64_t all) { progress.Tell(n, all); });
}

/// Options that a format may have a use for.
enum Use : unsigned {
  kFps = 1,
  kAtKeys = 2,
  kRootMotion = 4,
  kInPlace = 8,
  kOnlyKnown = 16,
  kWithFootsteps = 32,
  kMetres = 64,
  kBodies = 128,
  kFrames = 256,
};

struct MotionFormat {
  const char* extension;
  unsigned uses;
  bool (*write)(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
                std::string& cause);
};
constexpr MotionFormat kFormats[] = {
    {"bvh", kFrames | kFps | kOnlyKnown | kMetres, WriteBvh},
    {"csv", kFrames | kFps | kAtKeys | kWithFootsteps, WriteTable},
    {"fig", 0, WriteFigureFile},
    {"glb", kFrames | kFps | kAtKeys | kRootMotion | kInPlace | kMetres | kBodies, WriteGlb},
    {"html", kFrames | kFps | kMetres | kBodies, WritePage},
    {"npz", kFrames | kFps | kAtKeys | kMetres, WriteArrays},
    {"png", kFrames, WriteSheet},
    {"sdr", kFrames, WriteMotionFile},
    {"stp", kFrames, WriteFootstepFile},
};

const MotionFormat* FindFormat(const std::string& extension) {
  for (const MotionFormat& format : kFormats) {
    if (extension == format.extension) return &format;
  }
  return nullptr;
}

}  // namespace

void AddMotionOutputOptions(CLI::App& verb, MotionOutputWords& words, bool withFps) {
  constexpr const char* kGroup = "Output";
  if (withFps) {
    AddTextOption(verb, "--fps", words.fps, "F",
                  "poses a second; default those of the motion's own frames")
        ->group(kGroup);
  }
  verb.add_flag("--at-keys", words.atKeys, "poses only where a track has a key")->group(kGroup);
  verb.add_flag("--root-motion", words.rootMotion,
                "the way over the ground and the heading on a node of their own")
      ->group(kGroup);
  verb.add_flag("--in-place", words.inPlace, "no way over the ground")->group(kGroup);
  verb.add_flag("--only-known", words.onlyKnown,
                "without the links that captured motion has no name for")
      ->group(kGroup);
  verb.add_flag("--with-footsteps", words.withFootsteps,
                "also NAME.footsteps.csv and NAME.contacts.csv beside NAME.csv")
      ->group(kGroup);
}

bool ReadMotionOutputOptions(const MotionOutputWords& words, const std::string& format,
                             MotionOutputOptions& options, std::string& refusal) {
  const struct {
    const char* option;
    Use use;
    bool given;
  } rows[] = {{"--fps", kFps, words.fps.has_value()},
              {"--at-keys", kAtKeys, words.atKeys},
              {"--root-motion", kRootMotion, words.rootMotion},
              {"--in-place", kInPlace, words.inPlace},
              {"--only-known", kOnlyKnown, words.onlyKnown},
              {"--with-footsteps", kWithFootsteps, words.withFootsteps}};
  const MotionFormat* target = FindFormat(format);
  for (const auto& row : rows) {
    if (!row.given || (target != nullptr && (target->uses & row.use) != 0)) continue;
    refusal = std::string(row.option) + " has no meaning for ." + format;
    return false;
  }
  if (words.fps && words.atKeys) {
    refusal = "--fps has no meaning with --at-keys";
    return false;
  }
  if (words.fps) {
    // A pose for every tick is the most that there is.
    options.fps = ReadNumber(*words.fps);
    if (!options.fps || !(*options.fps > 0 && *options.fps <= kTicksPerSecond)) {
      refusal = "--fps must be a number above 0 and up to 4800, given \"" + *words.fps + "\"";
      return false;
    }
  }
  options.atKeys = words.atKeys;
  options.rootMotion = words.rootMotion;
  options.inPlace = words.inPlace;
  options.onlyKnown = words.onlyKnown;
  options.withFootsteps = words.withFootsteps;
  return true;
}

std::vector<std::string> MotionFormats() {
  std::vector<std::string> extensions;
  for (const MotionFormat& format : kFormats) extensions.emplace_back(format.extension);
  return extensions;
}

namespace {

bool Uses(const std::string& format, Use use) {
  const MotionFormat* row = FindFormat(format);
  return row != nullptr && (row->uses & use) != 0;
}

}  // namespace

bool CountsInMetres(const std::string& format) { return Uses(format, kMetres); }
void TellUnit(const std::string& format, double metresPerUnit, MotionOutputOptions& options) {
  if (format != "bvh" && CountsInMetres(format)) options.metresPerUnit = metresPerUnit;
}
bool DrawsBodies(const std::string& format) { return Uses(format, kBodies); }
bool HoldsMotion(const std::string& format) { return Uses(format, kFrames); }

bool WriteMotionAs(const std::string& format, const MotionCore& core,
                   const MotionOutputOptions& options, const std::string& path,
                   std::string& cause) {
  const MotionFormat* row = FindFormat(format);
  if (row != nullptr) return row->write(core, options, path, cause);
  cause = "unknown format";
  return false;
}

}  // namespace strider
