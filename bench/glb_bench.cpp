// What does a motion cost to write as .glb? Two lengths of a walk, on the disk that holds the
// system's temporary files, and how much of it is posing the figure.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "bench/timing.h"
#include "exchange/motion_glb.h"
#include "exchange/motion_sampler.h"
#include "strider/core/figure_layout.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/place.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 11;

std::unique_ptr<MotionCore> Walk(int footsteps) {
  auto core = std::make_unique<MotionCore>();
  core->name = "Strider01";
  Structure structure;
  structure.fingers = structure.toes = 5;
  structure.fingerLinks = 3;
  LayOutFigure(*core, structure);
  GaitSettings settings;
  MultFprintParams params = settings.params[0];
  params.numFootsteps = footsteps;
  if (!PlaceMultiple(*core, settings, params, 0).Done()) std::puts("placing failed");
  if (NewFootprintKeys(*core, {}) != ActivationResult::kDone) std::puts("no motion");
  return core;
}

void WriteWalk(const MotionCore& core, const GlbOptions& options, const std::string& path) {
  std::string cause;
  if (!WriteMotionGlb(core, {}, options, path, cause)) std::puts(cause.c_str());
}

/// A sum over the file's bytes: a faster file that says something else shows.
unsigned HashOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  unsigned hash = 2166136261u;
  for (auto it = std::istreambuf_iterator<char>(file); it != std::istreambuf_iterator<char>();
       ++it) {
    hash = (hash ^ static_cast<unsigned char>(*it)) * 16777619u;
  }
  return hash;
}

void Run() {
  const auto walk = Walk(66);  // 994 frames
  const std::string path =
      (std::filesystem::temp_directory_path() / "strider_glb_bench.glb").string();
  const FrameRange all = FrameRangeOf(*walk);
  GlbOptions tenth;
  tenth.range = FrameRange{all.first, all.first + all.Count() / 10 - 1};
  const Comparison c = Compare(
      kRounds, [&] { WriteWalk(*walk, {}, path); }, [&] { WriteWalk(*walk, tenth, path); });
  WriteWalk(*walk, {}, path);
  std::printf("%d frames of %d links             %.1f ms (%.1f to %.1f), %.2f MB, hash %08x\n",
              static_cast<int>(all.Count()), static_cast<int>(SkeletonOf(*walk).size()),
              c.first.median / 1e6, c.first.low / 1e6, c.first.high / 1e6,
              static_cast<double>(std::filesystem::file_size(path)) / 1e6, HashOf(path));
  std::printf("a tenth of them                    %.1f ms\n", c.second.median / 1e6);
  const Comparison pose = Compare(
      kRounds, [&] { WriteWalk(*walk, {}, path); },
      [&] {
        MotionSampler sampler(*walk);
        for (const TimeValue t : TimesAtFrames(*walk, all)) sampler.Pose(t);
      });
  std::printf("of that posing the figure          %.1f ms\n", pose.second.median / 1e6);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace strider::bench

int main() { strider::bench::Run(); }
