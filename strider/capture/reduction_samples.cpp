#include "strider/capture/reduction_samples.h"

#include <algorithm>

#include "strider/core/evaluate.h"
#include "strider/core/motion_range.h"

namespace strider {
namespace {

/// Id and link whose frame tells of a section.
struct LastLink {
  int id, link;
};

std::vector<LastLink> LastLinks(const MotionCore& core) {
  std::vector<LastLink> links{{kPelvis, 0}, {kHead, 0}};
  for (const int id : {kSpine, kTail, kPony1, kPony2}) {
    const ChainRecord* chain = FindChain(core, id);
    if (chain != nullptr && chain->numLinks > 0) links.push_back({id, chain->numLinks - 1});
  }
  for (std::size_t i = 0; i < core.xtras.size(); ++i) {
    const int count = core.xtras[i].chain.numLinks;
    if (count > 0) links.push_back({kXtraFirst + static_cast<int>(i), count - 1});
  }
  for (const int id : {kRightLeg, kLeftLeg, kRightArm, kLeftArm}) {
    const LimbRecord* limb = FindLimb(core, id);
    if (limb != nullptr) links.push_back({id, NumLimbLinks(*limb) - 1});
  }
  return links;
}

}  // namespace

int ReductionSamples::At(TimeValue t) const {
  const std::int64_t since = std::int64_t{t} - first;
  if (since < 0 || since % step != 0 || since / step >= count) return -1;
  return static_cast<int>(since / step);
}

const std::vector<Matrix3>* ReductionSamples::FramesOf(int id) const {
  const auto found = std::find_if(sections.begin(), sections.end(),
                                  [id](const Section& section) { return section.id == id; });
  return found == sections.end() ? nullptr : &found->frames;
}

ReductionSamples SampleForReduction(const MotionCore& core, const EvalContext& context) {
  ReductionSamples samples;
  Interval range = Interval::Never();
  ForEachTable(core, [&range](int, const auto& table) {
    if (table.Empty()) return;
    const TimeValue first = table.TimeOf(0), last = table.TimeOf(table.track.numKeys - 1);
    if (range.start > range.end) range = {first, last};
    range = {std::min(range.start, first), std::max(range.end, last)};
  });
  samples.step = std::max<TimeValue>(core.ticksPerFrame, 1);
  samples.first = range.start;
  // Keys far from all others ask for no more than a motion may have.
  const std::int64_t frames = (std::int64_t{range.end} - range.start) / samples.step + 1;
  samples.count = range.start > range.end
                      ? 0
                      : static_cast<int>(std::min<std::int64_t>(frames, kMaxSampledFrames));
  const std::vector<LastLink> links = LastLinks(core);
  for (const LastLink& last : links) {
    samples.sections.push_back({last.id, {}});
    samples.sections.back().frames.reserve(static_cast<std::size_t>(samples.count));
  }
  samples.body.reserve(static_cast<std::size_t>(samples.count));
  MotionCore posed = core;
  posed.inPlace = false;
  for (int i = 0; i < samples.count; ++i) {
    CorePose(posed, Later(samples.first, std::int64_t{i} * samples.step), context);
    samples.body.push_back(posed.body.bodyPosition);
    for (std::size_t k = 0; k < links.size(); ++k) {
      samples.sections[k].frames.push_back(LinkFrame(posed, links[k].id, links[k].link));
    }
  }
  return samples;
}

}  // namespace strider
