#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cli/output.h"
#include "cli/verbs.h"
#include "strider/footsteps/sample_motions.h"

namespace strider {
namespace {

constexpr const char* kName = "measure";
constexpr int kNumHeights = static_cast<int>(std::size(kSampleHeights));

std::string Number(float value) {
  // To two decimals or three digits, whichever is shorter; nothing is shown as minus nought.
  char text[32];
  std::snprintf(text, sizeof text, std::fabs(value) < 10 ? "%.2f" : "%.1f",
                static_cast<double>(value));
  return std::string(text) == "-0.00" ? "0.00" : text;
}

/// What a bound looks at: the end of the range that is limited, or both.
std::string Shown(const MotionBound& bound, const MeasuredRange& m) {
  if (m.count == 0) return "-";
  if (std::isinf(bound.low)) return Number(m.high);
  if (std::isinf(bound.high)) return Number(m.low);
  return Number(m.low) + " to " + Number(m.high);
}

struct MeasuredSample {
  const SampleMotionInfo* info = nullptr;
  MotionMeasures at[kNumHeights];
};

/// Broken bounds stand in bold.
std::string TableOf(const MeasuredSample& sample) {
  std::string text = std::string("## ") + sample.info->caption + "\n\n| measure | unit | bound |";
  for (const float height : kSampleHeights) text += " " + Number(height) + " high |";
  text += "\n|---|---|---|";
  for (int h = 0; h < kNumHeights; ++h) text += "---:|";
  text += "\n";
  std::vector<BoundCheck> checks[kNumHeights];
  for (int h = 0; h < kNumHeights; ++h) checks[h] = CheckBounds(sample.at[h], sample.info->kind);
  std::size_t asked = 0;
  for (const MotionBound& bound : MotionBounds()) {
    const bool asks = AsksOf(bound, sample.info->kind);
    const bool measured = (sample.at[0].*bound.measure).count > 0;
    if (!asks && !measured) continue;
    text += std::string("| ") + bound.name + " | " + bound.unit + " | " +
            (asks ? DescribeLimits(bound) : "") + " |";
    for (int h = 0; h < kNumHeights; ++h) {
      const std::string value = Shown(bound, sample.at[h].*bound.measure);
      const bool broken = asks && !checks[h][asked].ok;
      text += broken ? " **" + value + "** |" : " " + value + " |";
    }
    text += "\n";
    if (asks) ++asked;
  }
  return text + "\n";
}

constexpr const char* kHead =
    "# How good the motions are\n\n"
    "Written by `strider measure`. Lengths are per cent of the leg's length (% leg); what is per\n"
    "frame is per frame of 1/30 s; accelerations are second differences a frame squared. Each\n"
    "number is the worst of its motion; a broken bound stands in bold. Measures without a bound\n"
    "are shown for what they are. Rows whose bound is a range of values describe how people walk.\n"
    "\n"
    "Heights are in scene units. Below about 8 the handles of the curves between flights, which\n"
    "are fitted to 0.2 units a frame whatever the figure's size, are too coarse.\n\n";

ExitStatus Run(const std::string& output) {
  if (ExtensionOf(output) != "md") return RefuseFormat(kName, output, {"md"});
  std::string text = kHead;
  std::vector<std::string> violations;
  for (const SampleMotionInfo& info : SampleMotions()) {
    MeasuredSample sample{&info, {}};
    for (int h = 0; h < kNumHeights; ++h) {
      sample.at[h] = MeasureMotion(MakeSample(info.sample, kSampleHeights[h]), {});
      for (const BoundCheck& check : CheckBounds(sample.at[h], info.kind)) {
        if (check.ok) continue;
        violations.push_back(std::string(info.name) + ", " + Number(kSampleHeights[h]) +
                             " high: " + Describe(check));
      }
    }
    text += TableOf(sample);
  }
  const ExitStatus status = WriteOutput(kName, output, text);
  if (status != kExitDone) return status;
  for (const std::string& line : violations) std::cout << line << "\n";
  std::cout << violations.size() << " of the bounds broken\n";
  return kExitDone;
}

}  // namespace

Verb AddMeasureVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName, "Measures the sample motions and writes the table that the documentation shows.");
  parser->group("Verbs");
  const auto output = std::make_shared<std::string>();
  parser->add_option("-o,--output", *output, "file to write, .md")->type_name("FILE")->required();
  return {parser, [output] { return Run(*output); }};
}

}  // namespace strider
