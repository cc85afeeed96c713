#include "strider/capture/convert.h"

#include <new>
#include <utility>

#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/change_figure.h"
#include "strider/footsteps/convert_motion.h"

namespace strider {
namespace {

int Refuse(ConversionReport& report, const char* cause) {
  report.message = cause;
  return kRefused;
}

/// Footsteps, figure and reduction, in place.
int Finish(const ConversionSettings& settings, const MotionCore& dense, MotionCore& motion,
           ConversionReport& report, const EvalContext& context) {
  if (settings.footsteps) {
    ExtractionSettings extraction = settings.extraction;
    extraction.freeForm.insert(extraction.freeForm.end(), settings.freeFormRanges.begin(),
                               settings.freeFormRanges.end());
    const int found = ExtractFootsteps(motion, dense, extraction, 0, report.numFrames, false,
                                       report.extraction, context);
    if (found == 1 && AdoptFootsteps(motion, 0, context) == kRefused) {
      return Refuse(report, "the footsteps found cannot carry the motion");
    }
  }
  // After the footsteps were found: the figure keeps the talent's contacts whatever its legs do.
  if (settings.figure != nullptr &&
      SetFigureOfMotion(motion, *settings.figure, true, context) == kRefused) {
    return Refuse(report, "the figure cannot take the motion over");
  }
  if (settings.reduce) {
    TakeReductionSettings reduction = settings.reduction;
    reduction.firmFeet = settings.figure != nullptr;
    // Another figure's feet go other ways.
    if (settings.keepContacts && settings.figure == nullptr) {
      reduction.contacts = &settings.extraction;
    }
    const MotionCore full = motion;
    const MotionCore& take = settings.figure != nullptr ? full : dense;
    if (ReduceTakeKeys(motion, reduction, take, report.numFrames, context, report.rows,
                       report.reduction) == kRefused) {
      return Refuse(report, "memory ran out");
    }
  } else if (settings.figure != nullptr && !motion.freeForm &&
             HoldFeetAnew(motion, true, context) == kRefused) {
    return Refuse(report, "memory ran out");
  }
  // Last: whatever finds and holds feet puts the footsteps where the feet are.
  const float floor = settings.floor.value_or(settings.extraction.fsZLevel);
  if (settings.extraction.fsUseFlatten != 0 && motion.footsteps.numFootsteps > 0 &&
      FlattenFootsteps(motion, floor, context) == kRefused) {
    return Refuse(report, "memory ran out");
  }
  return kDone;
}

}  // namespace

TalentStructure StructureOfFigure(const MotionCore& figure) {
  const Structure& s = figure.structure;
  return {s, s.spineLinks, s.neckLinks, false};
}

int FinishDenseMotion(const ConversionSettings& settings, const DenseMotion& dense,
                      MotionCore& motion, ConversionReport& report, const EvalContext& context) {
  report = {};
  report.numFrames = static_cast<int>(dense.captured.poses.size());
  report.legLength = dense.legLength;
  report.fit = dense.fit;
  try {
    MotionCore made = dense.motion;
    if (Finish(settings, dense.motion, made, report, context) == kRefused) return kRefused;
    if (settings.figure == nullptr) report.fit = MeasureFit(dense, made, context);
    motion = std::move(made);
  } catch (const std::bad_alloc&) {
    return Refuse(report, "memory ran out");
  }
  return kDone;
}

int Convert(const CaptureScene& scene, const ConversionSettings& settings, MotionCore& target,
            ConversionReport& report, const EvalContext& context) {
  report = {};
  DenseMotion dense;
  if (MakeDenseMotion(scene, settings.dense, dense, report.message) == kRefused) return kRefused;
  return FinishDenseMotion(settings, dense, target, report, context);
}

}  // namespace strider
