#include "strider/capture/convert.h"

#include <new>
#include <utility>

#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/change_figure.h"

namespace strider {
namespace {

int Refuse(ConversionReport& report, const char* cause) {
  report.message = cause;
  return kRefused;
}

/// Talent and target may differ in nothing but sizes, so that every link of the target moves.
TalentStructure StructureOf(const MotionCore& figure) {
  const Structure& s = figure.structure;
  return {s, s.spineLinks, s.neckLinks, false};
}

}  // namespace

int FinishConversion(const ConversionSettings& settings, MotionCore& motion,
                     ConversionReport& report, const EvalContext& context) {
  try {
    MotionCore made = motion;
    if (settings.footsteps) {
      const int found = ExtractFootsteps(made, motion, settings.extraction, 0, report.numFrames,
                                         false, report.extraction, context);
      if (found == 1 && AdoptFootsteps(made, true, context) == kRefused) {
        return Refuse(report, "the footsteps found cannot carry the motion");
      }
    }
    // After the footsteps were found: the figure keeps the talent's contacts whatever its legs do.
    if (settings.figure != nullptr &&
        SetFigureOfMotion(made, *settings.figure, true, context) == kRefused) {
      return Refuse(report, "the figure cannot take the motion over");
    }
    if (settings.reduce &&
        ReduceKeys(made, settings.reduction, {}, context, report.reduction) == kRefused) {
      return Refuse(report, "memory ran out");
    }
    motion = std::move(made);
  } catch (const std::bad_alloc&) {
    return Refuse(report, "memory ran out");
  }
  return kDone;
}

int ConvertCapture(const CaptureScene& scene, const ConversionSettings& settings,
                   MotionCore& motion, ConversionReport& report, const EvalContext& context) {
  report = {};
  DenseSettings dense = settings.dense;
  if (settings.figure != nullptr) dense.talent = StructureOf(*settings.figure);
  DenseMotion made;
  if (MakeDenseMotion(scene, dense, made, report.message) == kRefused) return kRefused;
  report.numFrames = static_cast<int>(made.captured.poses.size());
  report.legLength = made.legLength;
  report.fitErrorMean = made.fitErrorMean;
  report.fitErrorMost = made.fitErrorMost;
  if (FinishConversion(settings, made.motion, report, context) == kRefused) return kRefused;
  motion = std::move(made.motion);
  return kDone;
}

}  // namespace strider
