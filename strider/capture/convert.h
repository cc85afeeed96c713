// From a take to a motion on a figure: a talent is fitted, every frame becomes keys, footsteps are
// found, and keys that say nothing of their own go.
#pragma once

#include "strider/capture/dense_motion.h"
#include "strider/capture/key_reduction.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {

struct ConversionSettings {
  DenseSettings dense;
  const MotionCore* figure = nullptr;  // who is to move so; null for the talent's own figure
  bool footsteps = true;
  ExtractionSettings extraction;
  bool reduce = true;
  KeyReductionTable reduction = kDefaultKeyReduction;
};

struct ConversionReport {
  std::string message;  // why there is no motion; empty if there is one
  int numFrames = 0;
  float legLength = 0;                        // of the talent, hip to ankle
  double fitErrorMean = 0, fitErrorMost = 0;  // see DenseMotion; before footsteps and reduction
  ExtractionReport extraction;
  ReductionReport reduction;
};

/// All stages. kRefused, `motion` unchanged and the cause in the report, for a take that gives no
/// figure, and if memory ran out.
[[nodiscard]] int ConvertCapture(const CaptureScene& scene, const ConversionSettings& settings,
                                 MotionCore& motion, ConversionReport& report,
                                 const EvalContext& context);

/// The stages after the first: footsteps, the other figure, the reduction. `motion` is dense and
/// free-form.
[[nodiscard]] int FinishConversion(const ConversionSettings& settings, MotionCore& motion,
                                   ConversionReport& report, const EvalContext& context);

}  // namespace strider
