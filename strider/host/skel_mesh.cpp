#include "strider/host/skel_mesh.h"

#include <algorithm>
#include <array>

#include "strider/base/trig.h"

namespace strider {
namespace {

Point3 CornerPlace(const SkelMesh& mesh, const SkelFace& face, int i) {
  return mesh.vertices[static_cast<std::size_t>(face.corner[i])];
}

/// The angle of a face at its corner: what it weighs in a mean of normals, however it is cut up.
float AngleAt(const SkelMesh& mesh, const SkelFace& face, int i) {
  const Point3 here = CornerPlace(mesh, face, i);
  const Point3 a = Normalized(CornerPlace(mesh, face, (i + 1) % 3) - here);
  const Point3 b = Normalized(CornerPlace(mesh, face, (i + 2) % 3) - here);
  return Acos(Dot(a, b));
}

/// One corner of a face where it meets a vertex.
struct Meeting {
  std::size_t face;
  int corner;
};

}  // namespace

ShadedMesh Shaded(const SkelMesh& mesh) {
  std::vector<Point3> faceNormals;
  std::vector<std::vector<Meeting>> meetings(mesh.vertices.size());
  for (std::size_t f = 0; f < mesh.faces.size(); ++f) {
    const SkelFace& face = mesh.faces[f];
    const Point3 a = CornerPlace(mesh, face, 0);
    const Point3 normal =
        Normalized(Cross(CornerPlace(mesh, face, 1) - a, CornerPlace(mesh, face, 2) - a));
    faceNormals.push_back(normal);
    if (normal == Point3{}) continue;
    for (int i = 0; i < 3; ++i) {
      meetings[static_cast<std::size_t>(face.corner[i])].push_back({f, i});
    }
  }

  ShadedMesh shaded;
  std::vector<std::array<std::uint32_t, 3>> corners(mesh.faces.size());
  for (std::size_t v = 0; v < meetings.size(); ++v) {
    const std::size_t first = shaded.places.size();
    for (const Meeting& own : meetings[v]) {
      const std::uint32_t group = mesh.faces[own.face].smoothing;
      Point3 sum;
      for (const Meeting& other : meetings[v]) {
        const SkelFace& face = mesh.faces[other.face];
        if (other.face != own.face && (face.smoothing & group) == 0) continue;
        sum += AngleAt(mesh, face, other.corner) * faceNormals[other.face];
      }
      const Point3 normal = Normalized(sum, faceNormals[own.face]);
      std::size_t i = first;
      while (i < shaded.places.size() && shaded.normals[i] != normal) ++i;
      if (i == shaded.places.size()) {
        shaded.places.push_back(mesh.vertices[v]);
        shaded.normals.push_back(normal);
      }
      corners[own.face][static_cast<std::size_t>(own.corner)] = static_cast<std::uint32_t>(i);
    }
  }
  for (std::size_t f = 0; f < mesh.faces.size(); ++f) {
    if (faceNormals[f] == Point3{}) continue;
    shaded.triangles.insert(shaded.triangles.end(), corners[f].begin(), corners[f].end());
  }
  return shaded;
}

void AddCone(SkelMesh& mesh, const Cone& cone) {
  if (cone.sides < 3 || cone.firstVertex < 0) return;
  const int ring = cone.firstVertex + 1;
  const std::size_t needed = static_cast<std::size_t>(ring + cone.sides);
  if (mesh.vertices.size() < needed) mesh.vertices.resize(needed);
  mesh.vertices[static_cast<std::size_t>(cone.firstVertex)] = {0, 0, 10 * cone.scale};
  const float step = kTwoPi / static_cast<float>(cone.sides), radius = 5 * cone.scale;
  for (int i = 0; i < cone.sides; ++i) {
    const float angle = step * static_cast<float>(i);
    mesh.vertices[static_cast<std::size_t>(ring + i)] = {radius * Cos(angle), radius * Sin(angle),
                                                         0};
  }
  for (int i = 0; i < cone.sides; ++i) {
    const int next = ring + (i + 1) % cone.sides;
    mesh.faces.push_back({{ring + i, next, cone.firstVertex}, cone.sideGroup});
  }
  if (!cone.closed) return;
  for (int i = 1; i + 1 < cone.sides; ++i) {
    mesh.faces.push_back(
        {{ring, ring + i + 1, ring + i}, cone.baseGroup, {i + 2 == cone.sides, true, i == 1}});
  }
}

}  // namespace strider
