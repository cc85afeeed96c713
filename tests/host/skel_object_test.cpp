#include "strider/host/skel_object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/node_tree.h"
#include "strider/host/skel_link.h"

namespace strider {
namespace {

const Point3& At(const SkelMesh& mesh, int vertex) {
  return mesh.vertices[static_cast<std::size_t>(vertex)];
}

SkelMesh MeshOf(int kind, int bodyShape) {
  SkelObject object;
  object.kind = kind;
  object.bodyShape = bodyShape;
  object.width = 0.8f;
  object.depth = 0.6f;
  UpdateMesh(object, 0);
  return object.mesh;
}

/// What a mesh looks like as a surface.
struct Surface {
  int pieces = 0, openEdges = 0, foldedEdges = 0;
  int flatFaces = 0;  // without an area
  double volume = 0;  // positive where faces look outward
};
Surface SurfaceOf(const SkelMesh& mesh) {
  Surface surface;
  std::map<std::pair<int, int>, int> edges;  // in the direction that a face walks them
  std::vector<int> piece(mesh.vertices.size());
  for (std::size_t i = 0; i < piece.size(); ++i) piece[i] = static_cast<int>(i);
  const auto find = [&piece](int v) {
    while (piece[static_cast<std::size_t>(v)] != v) v = piece[static_cast<std::size_t>(v)];
    return v;
  };
  for (const SkelFace& face : mesh.faces) {
    for (int i = 0; i < 3; ++i) {
      const int from = face.corner[i], to = face.corner[(i + 1) % 3];
      ++edges[{from, to}];
      piece[static_cast<std::size_t>(find(from))] = find(to);
    }
    const Point3 a = At(mesh, face.corner[0]), b = At(mesh, face.corner[1]);
    const Point3 c = At(mesh, face.corner[2]);
    surface.volume += Dot(a, Cross(b, c)) / 6.0;
    if (Length(Cross(b - a, c - a)) < 1e-7f) ++surface.flatFaces;
  }
  for (const auto& [edge, count] : edges) {
    if (count != 1) ++surface.foldedEdges;
    if (!edges.contains({edge.second, edge.first})) ++surface.openEdges;
  }
  std::set<int> roots;
  for (std::size_t i = 0; i < piece.size(); ++i) roots.insert(find(static_cast<int>(i)));
  surface.pieces = static_cast<int>(roots.size());
  return surface;
}

TEST(SkelObject, HasTheCornersAndFacesOfItsKind) {
  struct Count {
    int vertices, faces;
  };
  const struct {
    std::vector<int> kinds;
    Count boxes, smooth;  // 0 where the kind may have any
  } rows[] = {
      {{0, 14, 23}, {8, 12}, {8, 12}},
      {{1}, {37, 70}, {87, 170}},
      {{2}, {16, 28}, {}},
      {{3, 41}, {8, 12}, {45, 86}},
      {{5, 6, 7, 8, 9}, {16, 24}, {}},
      {{10}, {9, 8}, {9, 8}},
      {{11}, {8, 12}, {23, 42}},
      {{15, 16}, {16, 28}, {31, 58}},
      {{17, 18}, {12, 20}, {44, 84}},
      {{19, 20}, {16, 28}, {41, 78}},
      {{21, 22}, {12, 20}, {37, 70}},
      {{24, 28, 29}, {}, {18, 32}},
      {{25}, {}, {21, 38}},
      {{26, 27}, {}, {28, 52}},
      {{30, 38}, {8, 12}, {16, 28}},
      {{32}, {}, {38, 72}},
      {{33, 34}, {}, {10, 16}},
      {{36, 37}, {}, {44, 84}},
  };
  for (const auto& row : rows) {
    for (const int kind : row.kinds) {
      SCOPED_TRACE(kind);
      for (const int shape : {3, 1}) {
        const Count& count = shape == 3 ? row.boxes : row.smooth;
        if (count.vertices == 0) continue;
        const SkelMesh mesh = MeshOf(kind, shape);
        EXPECT_EQ(static_cast<int>(mesh.vertices.size()), count.vertices) << "shape " << shape;
        EXPECT_EQ(static_cast<int>(mesh.faces.size()), count.faces) << "shape " << shape;
      }
    }
  }
  for (int shape = 0; shape < kNumBodyShapes; ++shape) EXPECT_TRUE(MeshOf(42, shape).Empty());
}

TEST(SkelObject, IsAClosedSolidSeenFromOutsideButForTheOpenCone) {
  for (int kind = 0; kind < kNumSkelKinds; ++kind) {
    for (int shape = 0; shape < kNumBodyShapes; ++shape) {
      SCOPED_TRACE("kind " + std::to_string(kind) + ", shape " + std::to_string(shape));
      const SkelMesh mesh = MeshOf(kind, shape);
      const Surface surface = SurfaceOf(mesh);
      EXPECT_EQ(surface.openEdges, kind == 10 ? 8 : 0);
      EXPECT_EQ(surface.foldedEdges, 0);
      EXPECT_EQ(surface.flatFaces, 0);
      EXPECT_GT(surface.volume, 0);
      // Spheres all: each face has half an edge more than two faces have corners.
      const auto vertices = static_cast<int>(mesh.vertices.size());
      const auto faces = static_cast<int>(mesh.faces.size());
      if (kind != 10) {
        EXPECT_EQ(2 * vertices - faces, 4 * surface.pieces);
      }
      // No coarser body takes more than a finer one.
      if (shape > 0) {
        EXPECT_LE(mesh.faces.size(), MeshOf(kind, shape - 1).faces.size());
      }
    }
  }
}

TEST(SkelObject, IsBuiltAnewOnlyWhereItHasGoneStale) {
  SkelObject object;
  object.kind = 41;
  object.bodyShape = 3;
  object.width = 2;
  object.depth = 3;
  UpdateMesh(object, 160);
  for (const Point3& p : object.mesh.vertices) {
    EXPECT_TRUE(p.x == 0 || p.x == 1);
    EXPECT_EQ(std::fabs(p.y), 2);
    EXPECT_EQ(std::fabs(p.z), 3);
  }
  const int version = object.geometryVersion;
  object.width = 5;
  UpdateMesh(object, -kTimeMax);
  EXPECT_EQ(object.geometryVersion, version);
  EXPECT_EQ(std::fabs(object.mesh.vertices[0].y), 2) << "still what was built";

  const SkelObject clone = Clone(object);
  EXPECT_TRUE(clone.mesh.Empty());
  const SkelMesh converted = ConvertToMesh(clone, 0);
  EXPECT_EQ(std::fabs(converted.vertices[0].y), 5);
  Invalidate(object);
  UpdateMesh(object, 0);
  EXPECT_EQ(object.mesh.vertices, converted.vertices);
  EXPECT_EQ(object.geometryVersion, version + 1);
}

TEST(SkelObject, LeftIsTheMirrorImageOfRight) {
  for (const int kind : {5, 7, 12, 15, 17, 19, 21, 26, 28, 36}) {
    for (int shape = 0; shape < kNumBodyShapes; ++shape) {
      SCOPED_TRACE("kind " + std::to_string(kind) + ", shape " + std::to_string(shape));
      const SkelMesh right = MeshOf(kind, shape), left = MeshOf(kind + 1, shape);
      ASSERT_EQ(right.vertices.size(), left.vertices.size());
      for (std::size_t i = 0; i < right.vertices.size(); ++i) {
        const Point3 p = right.vertices[i];
        EXPECT_EQ(left.vertices[i], (Point3{p.x, p.y, -p.z}));
      }
    }
  }
}

TEST(Shaded, SmoothsWithinGroupsAlone) {
  // A box is flat on six sides: three normals at each corner.
  const ShadedMesh box = Shaded(MeshOf(0, 3));
  EXPECT_EQ(box.places.size(), 24u);
  EXPECT_EQ(box.triangles.size(), 36u);
  std::set<std::tuple<float, float, float>> normals;
  for (const Point3& n : box.normals) normals.insert({n.x, n.y, n.z});
  EXPECT_EQ(normals.size(), 6u);
  // A smooth solid needs no corner twice, and its normals look away from its axis.
  const SkelMesh tail = MeshOf(25, 0);
  const ShadedMesh smooth = Shaded(tail);
  EXPECT_EQ(smooth.places.size(), tail.vertices.size());
  for (std::size_t i = 0; i < smooth.places.size(); ++i) {
    const Point3& p = smooth.places[i];
    EXPECT_NEAR(Length(smooth.normals[i]), 1, 1e-5);
    EXPECT_GT(Dot(smooth.normals[i], p - Point3{0.5f, 0, 0}), 0);
  }
}

TEST(AddCone, ClosesItsRingWithASecondFan) {
  SkelMesh mesh;
  AddCone(mesh, {.sides = 7, .scale = 2, .firstVertex = 0});
  const Surface surface = SurfaceOf(mesh);
  EXPECT_EQ(surface.openEdges, 0);
  EXPECT_EQ(mesh.vertices.size(), 8u);
  for (std::size_t i = 1; i < mesh.vertices.size(); ++i) {
    EXPECT_NEAR(Length(mesh.vertices[i]), 10, 1e-5);
    EXPECT_EQ(mesh.vertices[i].z, 0);
  }
  // A third of base times height, the base a polygon of seven sides.
  EXPECT_NEAR(surface.volume, 0.5 * 7 * 100 * std::sin(2 * 3.14159265 / 7) * 20 / 3, 1e-2);
}

/// The box around a figure's body, in the core's space.
struct Bounds {
  Point3 low{1e9f, 1e9f, 1e9f}, high{-1e9f, -1e9f, -1e9f};
};
Bounds BodyBounds(const MotionCore& core, int bodyShape) {
  Bounds bounds;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    const Matrix3 frame = LinkFrame(core, node.id, node.link);
    for (const Point3& vertex : LinkMesh(core, node.id, node.link, bodyShape).vertices) {
      const Point3 p = vertex * frame;
      for (int i = 0; i < 3; ++i) {
        bounds.low[i] = std::fmin(bounds.low[i], p[i]);
        bounds.high[i] = std::fmax(bounds.high[i], p[i]);
      }
    }
  }
  return bounds;
}

TEST(LinkMesh, FillsTheFigureFromSoleToCrown) {
  for (const float height : {1.8f, 80.0f}) {
    for (int shape = 0; shape < kNumBodyShapes; ++shape) {
      for (const int change : {0, 1, 2}) {
        SCOPED_TRACE("shape " + std::to_string(shape) + ", change " + std::to_string(change));
        Structure structure;
        structure.height = height;
        if (change == 1) {
          structure.spineLinks = 1;
          structure.fingers = structure.toes = 5;
          structure.fingerLinks = 3;
          structure.ankleAttach = 0.5f;
        }
        if (change == 2) {
          structure.legLinks = 4;
          structure.spineLinks = 5;
          structure.neckLinks = 3;
          structure.trianglePelvis = false;
        }
        MotionCore core;
        LayOutFigure(core, structure);
        CoreForwardKinematics(core);
        const Bounds bounds = BodyBounds(core, shape);
        // Knees are bent, so the crown is a little lower than the height.
        EXPECT_NEAR(bounds.low.y / height, 0, 0.004);
        EXPECT_GT(bounds.high.y / height, 0.97);
        EXPECT_LT(bounds.high.y / height, 1.0);
        EXPECT_NEAR(bounds.low.z, -bounds.high.z, 1e-3f * height) << "the two sides";
        EXPECT_GT(bounds.high.z / height, 0.12);
        EXPECT_LT(bounds.high.z / height, 0.17);
      }
    }
  }
}

TEST(LinkMesh, ShowsEveryLinkOfABodyAndNoMarker) {
  Structure structure;
  structure.tailLinks = structure.ponytail1Links = structure.neckLinks = 3;
  structure.fingers = structure.toes = 3;
  structure.fingerLinks = 2;
  structure.prop1Exists = structure.twists = true;
  structure.twistLinks[kForearmTwistPart] = 2;
  MotionCore core;
  LayOutFigure(core, structure);
  for (const NodeInfo& node : BuildNodeTree(core)) {
    const PartKind kind = FindBodyPart(node.id)->kind;
    const bool marker =
        kind == PartKind::kBody || kind == PartKind::kFootprints || kind == PartKind::kNub;
    EXPECT_EQ(LinkMesh(core, node.id, node.link, 0).Empty(), marker) << node.name;
  }
  EXPECT_TRUE(LinkMesh(core, kTail, 3, 0).Empty()) << "no such link";
}

}  // namespace
}  // namespace strider
