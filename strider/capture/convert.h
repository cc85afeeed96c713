// From a take to a motion on a figure: a talent is fitted, every frame becomes keys, footsteps are
// found, and keys that say nothing of their own go.
#pragma once

#include <optional>
#include <vector>

#include "strider/capture/dense_motion.h"
#include "strider/capture/take_reduction.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {

struct ConversionSettings {
  DenseSettings dense;
  const MotionCore* figure = nullptr;  // who is to move so; null for the talent's own figure
  bool footsteps = true;
  ExtractionSettings extraction;
  std::vector<FreeFormRange> freeFormRanges;  // of the motion, besides extraction.freeForm
  std::optional<float> floor;  // where fsUseFlatten puts the footsteps; else on fsZLevel
  bool reduce = true;
  TakeReductionSettings reduction;
  bool keepContacts = false;  // the reduction lets no foot on its way seem to stand
};

struct ConversionReport {
  std::string message;  // why there is no motion; empty if there is one
  int numFrames = 0;
  float legLength = 0;  // of the talent, hip to ankle
  FitError fit;
  ExtractionReport extraction;
  ReductionReport reduction;
  KeyReductionTable rows = kDefaultKeyReduction;  // as they were used
};

/// The stages after the first: footsteps, the other figure, the reduction. Where the figure stays
/// the talent's the report tells how well the end fits the take, else how well the talent did.
[[nodiscard]] int FinishDenseMotion(const ConversionSettings& settings, const DenseMotion& dense,
                                    MotionCore& motion, ConversionReport& report,
                                    const EvalContext& context);

/// All stages: a take, as a reader has left it, becomes the motion of `target`, a figure of the
/// talent's own or settings.figure's measures whatever it was before. kRefused, `target` as it was,
/// and why in the report. Settings of a MocapManager: ReadConversionSettings.
[[nodiscard]] int Convert(const CaptureScene& scene, const ConversionSettings& settings,
                          MotionCore& target, ConversionReport& report, const EvalContext& context);

/// What a talent has to be made of for `figure` to take his motion over: they may differ in nothing
/// but sizes, so that every link moves.
TalentStructure StructureOfFigure(const MotionCore& figure);

}  // namespace strider
