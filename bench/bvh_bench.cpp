// How fast is a .bvh file read, beside a loop that does nothing but turn its numbers into floats
// over the mapped file? And does a take ten times as long take ten times as long?

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>

#include "bench/timing.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"
#include "strider/capture/bvh_reader.h"
#include "strider/capture/joint_names.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 21;

/// A take of all joints but the fingers, with numbers as captures have them.
std::string Take(int frames) {
  std::string text =
      "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition Zrotation "
      "Xrotation Yrotation\n";
  int columns = 6;
  for (int joint = 1; joint < kLeftFingerJoint; ++joint) {
    text += "JOINT " + FirstNameOf(joint) +
            "\n{\nOFFSET 1.5 2.5 3.5\nCHANNELS 3 Zrotation Xrotation Yrotation\n}\n";
    columns += 3;
  }
  text += "}\nMOTION\nFrames: " + std::to_string(frames) + "\nFrame Time: 0.0333333\n";
  std::mt19937 random(1);
  for (int f = 0; f < frames; ++f) {
    for (int c = 0; c < columns; ++c) {
      AppendFixed(text, static_cast<double>(random() % 360000000) / 1e6 - 180);
      text += ' ';
    }
    text += '\n';
  }
  return text;
}

/// All that looks like a number, and a sum of them so that nothing is left out.
float SumOfMappedFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY);
  struct stat about = {};
  if (file < 0 || fstat(file, &about) != 0) return 0;
  const auto size = static_cast<std::size_t>(about.st_size);
  void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
  close(file);
  if (memory == MAP_FAILED) return 0;
  const std::string_view text(static_cast<const char*>(memory), size);
  const char* at = text.data() + text.find("Frame Time:") + 12;
  const char* const end = text.data() + size;
  float sum = 0;
  while (true) {
    while (at != end && (*at == ' ' || *at == '\n')) ++at;
    float value = 0;
    const auto [stop, error] = std::from_chars(at, end, value);
    if (error != std::errc{}) break;
    sum += value;
    at = stop;
  }
  munmap(memory, size);
  return sum;
}

double SumOfTake(const std::string& path) {
  CaptureScene scene;
  CaptureReport report;
  BvhSettings settings;
  settings.ticksPerFrame = 0;
  if (ReadBvh(scene, path, settings, report) != 1) std::puts(report.message.c_str());
  double sum = 0;
  for (const int joint : scene.jointOrder) {
    const JointRecord& record = scene.joints[static_cast<std::size_t>(joint)];
    for (const CaptureSamples* samples : {&record.positions, &record.rotations}) {
      for (const Point3& p : samples->samples) sum += static_cast<double>(p.x + p.y + p.z);
    }
  }
  return sum;
}

void Run() {
  const auto folder = std::filesystem::temp_directory_path();
  const std::string small = (folder / "strider_bvh_bench_2000.bvh").string();
  const std::string large = (folder / "strider_bvh_bench_20000.bvh").string();
  std::string cause;
  if (!WriteWholeFile(small, Take(2000), cause) || !WriteWholeFile(large, Take(20000), cause)) {
    std::puts(cause.c_str());
    return;
  }
  volatile double sink = 0;
  const Comparison c = Compare(
      kRounds, [&] { sink = static_cast<double>(SumOfMappedFile(large)); },
      [&] { sink = SumOfTake(large); });
  const double megabytes = static_cast<double>(std::filesystem::file_size(large)) / 1e6;
  std::printf("20,000 frames, %.1f MB\n", megabytes);
  std::printf("mapped, from_chars alone           %.1f ms (%.1f to %.1f)\n", c.first.median / 1e6,
              c.first.low / 1e6, c.first.high / 1e6);
  std::printf("read into a take                   %.1f ms (%.1f to %.1f), %.0f MB/s, sum %.1f\n",
              c.second.median / 1e6, c.second.low / 1e6, c.second.high / 1e6,
              1e3 * megabytes / (c.second.median / 1e6), SumOfTake(large));
  std::printf("speed beside from_chars            %.2f (%.2f to %.2f); floor 0.6\n", c.ratio.median,
              c.ratio.low, c.ratio.high);
  const Comparison length = Compare(
      kRounds, [&] { sink = SumOfTake(large); }, [&] { sink = SumOfTake(small); });
  std::printf("20,000 frames over 2,000           %.1f times (%.1f to %.1f); at most 11\n",
              length.ratio.median, length.ratio.low, length.ratio.high);
  std::filesystem::remove(small);
  std::filesystem::remove(large);
}

}  // namespace
}  // namespace strider::bench

int main() { strider::bench::Run(); }
