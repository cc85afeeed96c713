// What do loading and saving a binary motion cost? Beside the least that any reader has to do: take
// the same file in and test every float for finite. And whether the cost grows with the keys alone.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "bench/keyed_figure.h"
#include "bench/timing.h"
#include "strider/core/motion_range.h"
#include "strider/storage/motion_file.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 21;

/// Keeps the compiler from dropping work whose results nobody reads.
void Observe(const void* p) { asm volatile("" : : "g"(p) : "memory"); }

/// A motion of every track with as many keys, in memory and in a file.
class KeptMotion {
 public:
  explicit KeptMotion(int numKeys)
      : core_(std::make_unique<MotionCore>()),
        path_((std::filesystem::temp_directory_path() /
               ("strider_bench_" + std::to_string(numKeys) + ".sdr"))
                  .string()) {
    KeyFigure(*core_, numKeys, 5);
    Save();
    ForEachTable(*core_, [this](int, const auto& table) { keys_ += table.track.numKeys; });
  }
  ~KeptMotion() { std::filesystem::remove(path_); }
  KeptMotion(const KeptMotion&) = delete;
  KeptMotion& operator=(const KeptMotion&) = delete;

  void Save() const {
    std::string cause;
    if (!SaveMotion(path_, {core_.get()}, {}, cause)) std::printf("%s\n", cause.c_str());
  }
  void Write() const {
    const std::string bytes = WriteMotionStream({core_.get()}, StreamForm::kBinary);
    Observe(bytes.data());
  }
  void Load() const {
    StreamContents contents;
    std::string cause;
    if (!ReadMotionFile(path_, {}, contents, cause)) std::printf("%s\n", cause.c_str());
    Observe(&contents);
  }
  void TestFloats() const {
    std::string bytes, cause;
    if (!ReadWholeFile(path_, bytes, cause)) std::printf("%s\n", cause.c_str());
    long finite = 0;
    for (std::size_t at = 0; at + sizeof(float) <= bytes.size(); at += sizeof(float)) {
      float value;
      std::memcpy(&value, bytes.data() + at, sizeof value);
      finite += std::isfinite(value);
    }
    Observe(&finite);
  }
  double Megabytes() const { return static_cast<double>(std::filesystem::file_size(path_)) / 1e6; }
  int Keys() const { return keys_; }

 private:
  std::unique_ptr<MotionCore> core_;
  std::string path_;
  int keys_ = 0;
};

void Print(const char* what, const Sample& s, const KeptMotion& motion) {
  std::printf("%-34s %.0f MB/s, %.0f ns a key (%.1f ms; %.1f to %.1f)\n", what,
              motion.Megabytes() * 1e3 / (s.median / 1e6), s.median / motion.Keys(), s.median / 1e6,
              s.low / 1e6, s.high / 1e6);
}

void Speed(const KeptMotion& motion) {
  std::printf("a file of %.1f MB, %d keys\n", motion.Megabytes(), motion.Keys());
  const auto floor = [&] { motion.TestFloats(); };
  const Comparison load = Compare(
      kRounds, [&] { motion.Load(); }, floor);
  const Comparison save = Compare(
      kRounds, [&] { motion.Save(); }, floor);
  const Comparison write = Compare(
      kRounds, [&] { motion.Write(); }, floor);
  Print("reading and testing every float", load.second, motion);
  Print("load", load.first, motion);
  Print("save, flushed to the disk", save.first, motion);
  Print("save, into memory", write.first, motion);
  std::printf("times of load, save, into memory   %.2f, %.2f, %.2f of the first\n",
              load.ratio.median, save.ratio.median, write.ratio.median);
}

void ManyKeys(const KeptMotion& few, const KeptMotion& many) {
  const Comparison load = Compare(
      kRounds, [&] { many.Load(); }, [&] { few.Load(); });
  const Comparison write = Compare(
      kRounds, [&] { many.Write(); }, [&] { few.Write(); });
  std::printf(
      "20,000 keys a track against 2,000  load %.2f (%.2f to %.2f), save %.2f (%.2f to %.2f)\n",
      load.ratio.median, load.ratio.low, load.ratio.high, write.ratio.median, write.ratio.low,
      write.ratio.high);
}

}  // namespace
}  // namespace strider::bench

int main() {
  const strider::bench::KeptMotion few(2000), many(20000);
  strider::bench::Speed(few);
  strider::bench::Speed(many);
  strider::bench::ManyKeys(few, many);
}
