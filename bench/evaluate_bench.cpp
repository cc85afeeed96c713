// What does a pose cost? A full evaluation at a new time beside a plain forward-kinematics pass
// over 60 matrices; the same with many keys against few; and a read at an unchanged time.

#include <cinttypes>
#include <cstdio>
#include <memory>

#include "bench/keyed_figure.h"
#include "bench/timing.h"
#include "strider/strider.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 301;
constexpr int kPosesPerRound = 200;
constexpr int kPlainJoints = 60;

/// The yardstick: local matrices of 60 joints composed with their parents', parent before child.
struct PlainChain {
  float local[kPlainJoints][12], world[kPlainJoints][12];
  int parent[kPlainJoints];

  PlainChain() {
    Dice dice(7);
    for (int i = 0; i < kPlainJoints; ++i) {
      parent[i] = i == 0 ? -1 : (i * 2) / 3;
      if (parent[i] == i) parent[i] = i - 1;
      const Matrix3 m = FrameOf(dice.Turn(1), {dice(), dice(), dice()});
      for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 3; ++c) local[i][r * 3 + c] = m.row[r][c];
      }
    }
  }
  void Pass() {
    for (int i = 0; i < kPlainJoints; ++i) {
      const float* a = local[i];
      float* w = world[i];
      if (parent[i] < 0) {
        for (int k = 0; k < 12; ++k) w[k] = a[k];
        continue;
      }
      const float* p = world[parent[i]];
      for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 3; ++c) {
          w[r * 3 + c] = a[r * 3] * p[c] + a[r * 3 + 1] * p[3 + c] + a[r * 3 + 2] * p[6 + c] +
                         (r == 3 ? p[9 + c] : 0.0f);
        }
      }
    }
  }
};

/// Keeps the compiler from dropping or moving work whose results nobody reads.
void Observe(const void* p) { asm volatile("" : : "g"(p) : "memory"); }

class Player {
 public:
  Player(int numKeys, std::uint32_t seed) : core_(std::make_unique<MotionCore>()) {
    KeyFigure(*core_, numKeys, seed);
    last_ = (numKeys - 1) * kKeyDistance;
  }
  /// Poses frame after frame, from the start again at the end. A frame lies between two keys nine
  /// times in ten.
  void PlayForward(int count) {
    for (int i = 0; i < count; ++i) {
      time_ += kDynamicsFrame;
      if (time_ > last_) time_ = kDynamicsFrame / 2;
      Pose(time_);
    }
  }
  void PlayAtRandom(int count) {
    for (int i = 0; i < count; ++i) {
      Pose(static_cast<TimeValue>((dice_() * 0.5f + 0.5f) * static_cast<float>(last_)));
    }
  }
  std::uint64_t Hash() {
    std::uint64_t hash = 14695981039346656037ull;
    for (TimeValue t = 0; t < 100 * kDynamicsFrame; t += 97) {
      Pose(t);
      hash = PoseHash(*core_, hash);
    }
    return hash;
  }

 private:
  void Pose(TimeValue t) {
    CorePose(*core_, t, context_);
    Observe(core_.get());
  }
  std::unique_ptr<MotionCore> core_;
  EvalContext context_;
  TimeValue time_ = 0, last_ = 0;
  Dice dice_{11};
};

void FullEvaluation() {
  Player player(100, 1);
  PlainChain plain;
  constexpr int kPlainPasses = kPosesPerRound * 5;
  const Comparison c = Compare(
      kRounds, [&] { player.PlayForward(kPosesPerRound); },
      [&] {
        for (int i = 0; i < kPlainPasses; ++i) {
          plain.Pass();
          Observe(plain.world);
        }
      });
  const double pose = c.first.median / kPosesPerRound, pass = c.second.median / kPlainPasses;
  std::printf("full evaluation at a new time   %.2f us (%.2f to %.2f)\n", pose / 1000,
              c.first.low / kPosesPerRound / 1000, c.first.high / kPosesPerRound / 1000);
  std::printf("plain pass over %d matrices     %.3f us\n", kPlainJoints, pass / 1000);
  std::printf("ratio                           %.2f (%.2f to %.2f)\n", c.ratio.median * 5,
              c.ratio.low * 5, c.ratio.high * 5);
  std::printf("pose hash                       %016" PRIx64 "\n", player.Hash());
}

void ManyKeys() {
  Player few(10, 2), many(10000, 2);
  const Comparison forward = Compare(
      kRounds, [&] { many.PlayForward(kPosesPerRound); }, [&] { few.PlayForward(kPosesPerRound); });
  std::printf("10,000 keys against 10, forward %.3f (%.3f to %.3f)\n", forward.ratio.median,
              forward.ratio.low, forward.ratio.high);
  const Comparison random = Compare(
      kRounds, [&] { many.PlayAtRandom(kPosesPerRound); },
      [&] { few.PlayAtRandom(kPosesPerRound); });
  std::printf("10,000 keys against 10, random  %.3f (%.3f to %.3f)\n", random.ratio.median,
              random.ratio.low, random.ratio.high);
}

void CachedRead() {
  Session session;
  auto* figure = static_cast<StriderMaster*>(CreateNewStrider(session, Structure{}));
  const std::vector<NodeInfo> nodes = BuildNodeTree(figure->Core());
  constexpr int kSweeps = 200;
  std::vector<double> samples;
  for (int round = 0; round < kRounds; ++round) {
    samples.push_back(TimeOnce([&] {
      for (int sweep = 0; sweep < kSweeps; ++sweep) {
        for (const NodeInfo& node : nodes) {
          Matrix3 value;
          Interval valid;
          figure->GetValue(node.id, node.link, 480, &value, &valid, GetMethod::kAbsolute);
          Observe(&value);
        }
      }
    }));
  }
  const Sample s = Summarise(samples);
  const double links = static_cast<double>(nodes.size()) * kSweeps;
  std::printf("read at an unchanged time       %.1f ns a link (%.1f to %.1f)\n", s.median / links,
              s.low / links, s.high / links);
}

}  // namespace
}  // namespace strider::bench

int main() {
  strider::bench::FullEvaluation();
  strider::bench::ManyKeys();
  strider::bench::CachedRead();
}
