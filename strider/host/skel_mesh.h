// A triangle mesh as a host shows it: corners, faces with their smoothing groups, and which edges
// are drawn. Faces wind counter-clockwise seen from outside.
#pragma once

#include <cstdint>
#include <vector>

#include "strider/base/point3.h"

namespace strider {

struct SkelFace {
  int corner[3] = {};                        // indices of vertices
  std::uint32_t smoothing = 0;               // a bit for each group; 0 is flat on its own
  bool edgeVisible[3] = {true, true, true};  // edge i runs from corner i to the next
};

struct SkelMesh {
  std::vector<Point3> vertices;
  std::vector<SkelFace> faces;
  bool showEdges = true;  // a host draws the visible edges over the faces

  bool Empty() const { return faces.empty(); }
};

/// A corner of a face as those draw it who know no smoothing groups: a place and one normal.
/// Corners that agree in both are one, so that the buffer stays small.
struct ShadedMesh {
  std::vector<Point3> places, normals;   // of equal length
  std::vector<std::uint32_t> triangles;  // three a face, into the two above
};

/// The normal of a corner is the mean, by angle, over the faces at its vertex that share a
/// smoothing group with its own face. Faces without an area are left out.
ShadedMesh Shaded(const SkelMesh& mesh);

/// A pointed cap over a ring in the X-Y plane.
struct Cone {
  int sides = 8;
  float scale = 1;      // the ring's radius is 5 of it, the apex stands 10 of it along Z
  int firstVertex = 0;  // the apex; the ring follows it
  std::uint32_t sideGroup = 1, baseGroup = 2;
  bool closed = true;  // a second fan of faces closes the ring
};
/// Adds it; vertices are made up to where it needs them. Nothing for less than three sides.
void AddCone(SkelMesh& mesh, const Cone& cone);

}  // namespace strider
