// Arms and legs by markers: how far their joints are apart and how they are turned.
#pragma once

#include "strider/capture/marker_body.h"

namespace strider {

/// One limb at all frames, in the core's axes: places as the markers show them.
struct MarkerLimb {
  std::vector<Point3> root, mid, end;  // hip, knee and ankle; shoulder, elbow and wrist
  std::vector<Point3> axis;            // about which knee or elbow turns, to the body's right; unit
  std::vector<unsigned char> rootSeen, midSeen, endSeen;
  float upper = 0, lower = 0;  // between the joints, as a rule
  std::vector<Quat> hand;      // of an arm
  float handLength = 0;        // wrist to the finger's marker; 0 for none
};

MarkerLimb LegOf(const MarkerTracks& tracks, const MarkerBody& body, Side side);
MarkerLimb ArmOf(const MarkerTracks& tracks, const MarkerBody& body, Side side);

/// Turns of a limb's two segments at a frame.
struct LimbBend {
  Quat upper, lower;
};
/// The limb of constant lengths `upper` and `lower` that reaches the end as nearly as the bend that
/// the markers show allows. A nearly straight limb whose lengths are off by a trifle would bend by
/// a lot for the end's sake; so its end gives way instead.
LimbBend BendOf(const MarkerLimb& limb, std::size_t frame, bool isLeg, float upper, float lower);

}  // namespace strider
