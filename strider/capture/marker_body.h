// The parts of the body that several markers show at once: pelvis, thorax, head and feet, each
// with axes in the body's own sense (X ahead, Y up, Z right) and the joints that stand still in it.
#pragma once

#include "strider/capture/marker_segment.h"

namespace strider {

struct MarkerBody {
  float leg = 0;          // hip to ankle, about; what all guessed shares are taken of
  MarkerSegment pelvis;   // origin midway between the hip joints
  float hipHalf = 0;      // from there to a hip joint
  MarkerSegment thorax;   // origin where the neck begins
  MarkerSegment head;     // origin where it sits on the neck
  float crown = 0;        // from there up
  MarkerSegment foot[2];  // origin in the ankle; Side
  Point3 ball[2];         // of the toes, in the foot's axes; zero where no marker shows it
};

/// The markers of one side.
struct SideMarkers {
  int shoulder, elbow, innerElbow, wrist, innerWrist, finger;
  int knee, innerKnee, ankle, innerAnkle, heel, toe, outerToe, innerToe;
};
const SideMarkers& MarkersOf(Side side);

/// How far to the right of the body a side lies: 1 or -1.
inline float RightOf(Side side) { return side == kRight ? 1.0f : -1.0f; }

/// False where the markers show no pelvis or no leg. Markers that are missing for a while are put
/// into `tracks` where others of their part show where they are.
bool FindBody(MarkerTracks& tracks, MarkerBody& body);

}  // namespace strider
