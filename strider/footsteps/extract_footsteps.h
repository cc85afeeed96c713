// Footsteps out of feet: where a foot stands still, or is keyed as planted, it gets a footstep.
//
// Three steps that can be had one by one: samples of both feet at every frame, the runs of frames
// on which a foot stands, and the footsteps of those runs. Sides run right, left.
#pragma once

#include <vector>

#include "strider/core/eval_context.h"

namespace strider {

/// Frames of a motion, both included.
struct FreeFormRange {
  int first = 0, last = 0;

  friend bool operator==(const FreeFormRange&, const FreeFormRange&) = default;
};

/// What counts as standing, and as sliding.
struct ExtractionSettings {
  float fsExtractionTol = 0.07f;  // way of a standing foot in a frame, see ExtractionLegLength
  float fsSlidingDist = 25.0f;  // way within a footstep that counts as sliding, over 50 foot sizes
  float fsSlidingAngle = 0.0f;  // turn within a footstep above which it counts as sliding, degrees
  float fsVerticalTol = 0.5f;   // distance of an ankle from fsZLevel, see ExtractionLegLength
  float fsZLevel = 0.0f;        // height of the floor, scene units
  int fsUseVerticalTol = 0;     // a foot must also be within fsVerticalTol of fsZLevel
  int fsUseFlatten = 0;         // footsteps are put on fsZLevel
  int conversionFlag = 0;       // without it every footstep counts as sliding
  /// No footstep is looked for in these frames of the motion. As a gap in a contact a range of two
  /// frames and fewer is closed like any other.
  std::vector<FreeFormRange> freeForm;

  friend bool operator==(const ExtractionSettings&, const ExtractionSettings&) = default;
};

/// A foot at one frame, the core's space.
struct FootSample {
  Point3 ankle;       // by its way from frame to frame, and by its height, a foot stands or not
  Point3 print;       // where a footstep of this foot lies: under the ankle, the foot laid flat
  float heading = 0;  // radians, positive to the left
  bool planted = false;
};

/// The sample of a leg whose frames are up to date. A foot that is tipped is laid flat about the
/// end that is lower, so that its print stays while it rolls from the heel over the toes.
FootSample SampleFoot(const LimbRecord& leg);

/// Where the footstep of a foot that stands lies: at the point of the sole under the ankle. A foot
/// tipped by more than 30 degrees, as a dancer's on tiptoe, is laid flat first, or
/// its print would float.
Point3 PlaceOfPrint(const LimbRecord& leg);

/// Both feet, one sample a frame.
struct FootSamples {
  std::vector<FootSample> side[2];
};
/// Evaluates the core at `numFrames` frames from `firstFrame` on. With `fromKeys` a foot is planted
/// where its keys hold it on the ground for more than a frame, else all samples wait for
/// MarkStanding.
FootSamples SampleFeet(const MotionCore& core, int firstFrame, int numFrames, bool fromKeys,
                       const EvalContext& context);

/// Marks the frames on which a foot stands: within a step of the tolerance of the frame before or
/// after. `legLength` is the unit of the tolerances here and below.
void MarkStanding(std::vector<FootSample>& foot, const ExtractionSettings& settings,
                  float legLength);
/// Takes the mark off frames whose foot is not near the floor, if the settings ask for that.
void UnmarkRaised(std::vector<FootSample>& foot, const ExtractionSettings& settings,
                  float legLength);

/// Takes the mark off the frames of ranges; frame 0 of the samples is frame `firstFrame`.
void UnmarkRanges(std::vector<FootSample>& foot, const std::vector<FreeFormRange>& ranges,
                  int firstFrame);

/// Contact frames of one foot, both ends included.
struct PlantedRun {
  int side = 0;
  int first = 0, last = 0;

  int NumFrames() const { return last - first + 1; }
  friend bool operator==(const PlantedRun&, const PlantedRun&) = default;
};

/// The runs of both feet in order of their starts, the left foot's first where two start at once.
/// Up to two frames in the air within a contact are closed; contacts of three frames and fewer
/// between the ends count as none and are told in `dropped`. Where `leap` is above 0, a contact
/// also ends where the print moves further than that in a frame but its last, and only gaps are
/// closed over which it moves no further.
std::vector<PlantedRun> FindPlantedRuns(FootSamples& feet, float leap,
                                        std::vector<PlantedRun>& dropped);

/// A footstep found, as it was appended to the track.
struct ExtractedFootstep {
  int side = 0;
  TimeValue start = 0, duration = 0;
  int firstFrame = 0, lastFrame = 0;  // of the contact
  bool sliding = false;
  float moved = 0, turned = 0;  // furthest from where the foot stands in its middle; radians
};

struct ExtractionReport {
  std::vector<ExtractedFootstep> footsteps;  // in the order of the track
  std::vector<PlantedRun> dropped;           // contacts too short to count, frames of the motion

  int NumSliding() const;
};

/// What the tolerances are measured by: the length of the right thigh, and that of a foot.
float ExtractionLegLength(const MotionCore& core);
float ExtractionFootSize(const LimbRecord& leg);

/// Puts a footstep for each run at the end of an empty track; frame 0 of the samples is frame
/// `firstFrame`. A contact that begins before time 0 begins there. From keys the last frame of a
/// run is the lift, else the frame after it. kRefused, with some of them appended, where memory ran
/// out or a footstep would end past kFootstepTimeLimit.
[[nodiscard]] int AppendFootstepsOfRuns(MotionCore& target, const FootSamples& feet,
                                        const std::vector<PlantedRun>& runs,
                                        const ExtractionSettings& settings, int firstFrame,
                                        bool fromKeys, ExtractionReport& report);

/// All of it: `target` loses its footsteps and gets those that `source`, a motion on the same
/// figure, shows; all are active. Its keys stay as they are and it stays free-form: see
/// AdoptFootsteps. Between footsteps around a range of settings.freeForm it is marked to stay free.
/// 1 if there are footsteps; 0 for none, fewer than two frames, or where memory ran
/// out, and `target` then has none.
int ExtractFootsteps(MotionCore& target, const MotionCore& source,
                     const ExtractionSettings& settings, int firstFrame, int numFrames,
                     bool fromKeys, ExtractionReport& report, const EvalContext& context);

}  // namespace strider
