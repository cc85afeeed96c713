// Closed solids drawn out along an axis: outlines at some places, rings of corners on them, and
// triangles between the rings.
#pragma once

#include <span>
#include <vector>

#include "strider/host/skel_mesh.h"

namespace strider {

/// The outline across a solid at one place along it, in halves of the solid's size: centre and
/// half extent along the two axes across, which are called `a` and `b`.
struct Section {
  float along;
  float centreA, halfA, centreB, halfB;
  float square = 0;  // 0 an ellipse, 1 its box
};

/// A place on the solid's front (towards -a), on both sides of its middle, that stands out.
struct Bump {
  float along, alongRadius;
  float b, bRadius;
  float push;  // outward, in halves of the size along `a`; negative for a hollow
};

/// Which way a solid lies in its object.
enum class LoftAxis {
  kX,  // along X from 0 to 1, a is Y, b is Z
  kY   // along Y from one side to the other, a is X from 1 back to 0, b is Z
};

/// The form of a solid, however finely it is cut.
struct Profile {
  std::span<const Section> sections;   // in order along
  float startRound = 0, endRound = 0;  // lengths along which the ends round off
  LoftAxis axis = LoftAxis::kX;
  bool flatSole = false;  // nothing reaches past a = -1: the solid stands there
  std::span<const Bump> bumps = {};
};

struct Ring {
  float along;
  int sides;
};

enum class Shading {
  kSmooth,  // one surface, its flat ends apart
  kFacets   // every side flat
};

/// How a profile is cut. A ring of n sides has n corners; an end without a pole is a flat face.
struct LoftPlan {
  std::vector<Ring> rings;
  bool startPole = false, endPole = false;
  Shading shading = Shading::kSmooth;
  /// Where a corner is put into the front between this ring and the next, the tip of a nose; -1
  /// for nowhere. Both rings have as many sides.
  int noseRing = -1;
  float nosePush = 0;
};

/// The size and side of the object that a solid belongs to.
struct LoftFrame {
  float width = 1, depth = 1;  // half sizes along Y and Z
  bool mirrored = false;       // Z turned about: a part of the left
};

/// `count` rings over a profile, closer where its ends round off, each with as many sides; with
/// poles at the ends that do.
LoftPlan EvenPlan(const Profile& profile, int count, int sides);
/// The same with a number of sides for each ring.
LoftPlan EvenPlan(const Profile& profile, std::span<const int> sides);

/// Adds the solid to the mesh.
void AddLoft(SkelMesh& mesh, const Profile& profile, const LoftPlan& plan, const LoftFrame& frame);

}  // namespace strider
