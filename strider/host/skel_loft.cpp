#include "strider/host/skel_loft.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "strider/base/trig.h"

namespace strider {
namespace {

float StartOf(const Profile& profile) { return profile.sections.front().along; }
float EndOf(const Profile& profile) { return profile.sections.back().along; }

/// A cubic through values at four places in order, between the middle two.
float Through(const float (&x)[4], const float (&v)[4], float u) {
  const float span = x[2] - x[1];
  const float before = x[2] > x[0] ? (v[2] - v[0]) / (x[2] - x[0]) * span : 0;
  const float after = x[3] > x[1] ? (v[3] - v[1]) / (x[3] - x[1]) * span : 0;
  const float u2 = u * u, u3 = u2 * u;
  return (2 * u3 - 3 * u2 + 1) * v[1] + (u3 - 2 * u2 + u) * before + (3 * u2 - 2 * u3) * v[2] +
         (u3 - u2) * after;
}

/// What an end that rounds off leaves of the outline: a quarter of an ellipse.
float Rounding(float fromEnd, float round) {
  if (!(round > 0) || fromEnd >= round) return 1;
  const float inward = 1 - std::max(fromEnd, 0.0f) / round;
  return Sqrt(1 - inward * inward);
}

Section SectionAt(const Profile& profile, float along) {
  const std::span<const Section> all = profile.sections;
  const auto count = static_cast<int>(all.size());
  int i = 0;
  while (i + 2 < count && along > all[static_cast<std::size_t>(i) + 1].along) ++i;
  const Section* near[4];
  for (int k = 0; k < 4; ++k) {
    near[k] = &all[static_cast<std::size_t>(std::clamp(i - 1 + k, 0, count - 1))];
  }
  const float x[4] = {near[0]->along, near[1]->along, near[2]->along, near[3]->along};
  const float u = std::clamp((along - x[1]) / (x[2] - x[1]), 0.0f, 1.0f);
  const auto at = [&](float Section::*field) {
    return Through(x, {near[0]->*field, near[1]->*field, near[2]->*field, near[3]->*field}, u);
  };
  Section section{along,
                  at(&Section::centreA),
                  at(&Section::halfA),
                  at(&Section::centreB),
                  at(&Section::halfB),
                  at(&Section::square)};
  const float left = Rounding(along - StartOf(profile), profile.startRound) *
                     Rounding(EndOf(profile) - along, profile.endRound);
  section.halfA *= left;
  section.halfB *= left;
  return section;
}

class Lofter {
 public:
  Lofter(SkelMesh& mesh, const Profile& profile, const LoftPlan& plan, const LoftFrame& frame)
      : mesh_(mesh), profile_(profile), plan_(plan), frame_(frame) {}

  void Add() {
    for (const Ring& ring : plan_.rings) AddRing(ring);
    for (int k = 0; k + 1 < NumRings(); ++k) AddBand(k);
    AddEnd(0, plan_.startPole, true);
    AddEnd(NumRings() - 1, plan_.endPole, false);
    if (plan_.noseRing >= 0) AddNose();
  }

 private:
  int NumRings() const { return static_cast<int>(plan_.rings.size()); }
  int Sides(int ring) const { return plan_.rings[static_cast<std::size_t>(ring)].sides; }
  int Corner(int ring, int i) const {
    return firsts_[static_cast<std::size_t>(ring)] + i % Sides(ring);
  }

  /// Corners of four sides lie at the corners of a box, others symmetrically about the middle.
  static float AngleOf(int i, int sides) {
    const float step = kTwoPi / static_cast<float>(sides);
    return step * (static_cast<float>(i) + (sides == 4 ? 0.5f : 0.0f));
  }

  Point3 Place(float along, float a, float b, float centreA) const {
    if (a < centreA) {
      for (const Bump& bump : profile_.bumps) {
        const float x = (along - bump.along) / bump.alongRadius;
        const float y = (std::fabs(b) - bump.b) / bump.bRadius;
        const float within = 1 - x * x - y * y;
        if (within > 0) a -= bump.push * within * within;
      }
    }
    if (profile_.flatSole) a = std::max(a, -1.0f);
    const float z = (frame_.mirrored ? -b : b) * frame_.depth;
    if (profile_.axis == LoftAxis::kX) return {along, a * frame_.width, z};
    return {0.5f - 0.5f * a, (2 * along - 1) * frame_.width, z};
  }

  int AddVertex(const Point3& place) {
    mesh_.vertices.push_back(place);
    return static_cast<int>(mesh_.vertices.size()) - 1;
  }

  void AddRing(const Ring& ring) {
    firsts_.push_back(static_cast<int>(mesh_.vertices.size()));
    const Section s = SectionAt(profile_, ring.along);
    for (int i = 0; i < ring.sides; ++i) {
      const Point3 out = OnUnitOutline(i, ring.sides, s.square);
      AddVertex(
          Place(ring.along, s.centreA + out.x * s.halfA, s.centreB + out.y * s.halfB, s.centreA));
    }
  }

  /// A corner on the outline between the unit circle and its box: x along A, y along B.
  static Point3 OnUnitOutline(int i, int sides, float square) {
    static constexpr Point3 kBox[4] = {{1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};
    if (sides == 4) return kBox[i];
    const float angle = AngleOf(i, sides);
    const Point3 onCircle{Cos(angle), Sin(angle), 0};
    const float toBox = 1 / std::max(std::fabs(onCircle.x), std::fabs(onCircle.y));
    return (1 + square * (toBox - 1)) * onCircle;
  }

  void AddFace(int a, int b, int c, std::uint32_t group, bool ab, bool bc, bool ca) {
    if (frame_.mirrored) {  // turned about, the face would look inward
      std::swap(b, c);
      std::swap(ab, ca);
    }
    if (plan_.shading == Shading::kSmooth && profile_.flatSole && OnSole(a) && OnSole(b) &&
        OnSole(c)) {
      group = 8;
    }
    mesh_.faces.push_back({{a, b, c}, group, {ab, bc, ca}});
  }
  bool OnSole(int vertex) const { return mesh_.vertices[static_cast<std::size_t>(vertex)].x >= 1; }

  /// Of facets that meet in a corner, no two are of one group.
  std::uint32_t GroupOf(int band, int side, int sides) const {
    if (plan_.shading == Shading::kSmooth) return 1;
    int turn = side % 2;
    if (sides == 4) turn = side;
    if (sides % 2 == 1 && side == sides - 1) turn = 2;
    return 1u << (4 * (band % 2) + turn);
  }

  void AddBand(int k) {
    const int low = Sides(k), high = Sides(k + 1);
    if (low == high) {
      for (int i = 0; i < low; ++i) {
        const std::uint32_t group = GroupOf(k, i, low);
        const int a = Corner(k, i), b = Corner(k, i + 1);
        const int c = Corner(k + 1, i), d = Corner(k + 1, i + 1);
        if (2 * i >= low) {
          AddFace(a, b, c, group, true, false, true);
          AddFace(b, d, c, group, true, true, false);
        } else {  // the other way round, so that the two halves are each other's mirror image
          AddFace(a, d, c, group, false, true, true);
          AddFace(a, b, d, group, true, true, false);
        }
      }
      return;
    }
    // Unlike rings: always on to the corner that comes first around.
    const std::uint32_t group = plan_.shading == Shading::kSmooth ? 1 : 0;
    for (int i = 0, j = 0; i < low || j < high;) {
      const float nextLow = AngleOf(i + 1, low), nextHigh = AngleOf(j + 1, high);
      if (j == high || (i < low && nextLow <= nextHigh)) {
        AddFace(Corner(k, i), Corner(k, i + 1), Corner(k + 1, j), group, true, true, true);
        ++i;
      } else {
        AddFace(Corner(k, i), Corner(k + 1, j + 1), Corner(k + 1, j), group, true, true, true);
        ++j;
      }
    }
  }

  void AddEnd(int ring, bool pole, bool start) {
    const int sides = Sides(ring);
    const auto add = [&](int tip, int i, std::uint32_t group, bool first, bool last) {
      const int a = Corner(ring, i), b = Corner(ring, i + 1);
      if (start) {
        AddFace(tip, b, a, group, last, true, first);
      } else {
        AddFace(tip, a, b, group, first, true, last);
      }
    };
    if (pole) {
      const float along = start ? StartOf(profile_) : EndOf(profile_);
      const Section s = SectionAt(profile_, along);
      const int tip = AddVertex(Place(along, s.centreA, s.centreB, s.centreA));
      const std::uint32_t group = plan_.shading == Shading::kSmooth ? 1 : 0;
      for (int i = 0; i < sides; ++i) add(tip, i, group, true, true);
      return;
    }
    const std::uint32_t group = start ? 1u << 8 : 1u << 9;
    for (int i = 1; i + 1 < sides; ++i) {
      add(Corner(ring, 0), i, group, i == 1, i + 2 == sides);
    }
  }

  /// Splits the edge that runs up the middle of the front, or across it where it has no middle.
  void AddNose() {
    const int sides = Sides(plan_.noseRing), middle = sides / 2;
    const int u = Corner(plan_.noseRing, sides == 4 ? middle - 1 : middle);
    const int v = Corner(plan_.noseRing + 1, middle);
    const Point3 low = mesh_.vertices[static_cast<std::size_t>(u)];
    const Point3 high = mesh_.vertices[static_cast<std::size_t>(v)];
    Point3 place = 0.5f * (low + high);
    place.x = low.x + 0.25f * (high.x - low.x);  // a long bridge over a short underside
    place.y -= plan_.nosePush * frame_.width;
    const int tip = AddVertex(place);
    const std::size_t count = mesh_.faces.size();
    for (std::size_t f = 0; f < count; ++f) {
      const SkelFace face = mesh_.faces[f];
      for (int i = 0; i < 3; ++i) {
        const int from = face.corner[i], to = face.corner[(i + 1) % 3];
        if ((from != u || to != v) && (from != v || to != u)) continue;
        SkelFace &first = mesh_.faces[f], second = face;
        first.corner[(i + 1) % 3] = tip;
        second.corner[i] = tip;
        for (SkelFace* half : {&first, &second}) {
          if (plan_.shading == Shading::kFacets) half->smoothing = 0;
          for (bool& visible : half->edgeVisible) visible = true;
        }
        mesh_.faces.push_back(second);
      }
    }
  }

  SkelMesh& mesh_;
  const Profile& profile_;
  const LoftPlan& plan_;
  const LoftFrame& frame_;
  std::vector<int> firsts_;  // of each ring's corners
};

/// Places of rings: over an end that rounds off at even angles, between the ends evenly.
std::vector<float> Spread(const Profile& profile, int count) {
  const float start = StartOf(profile), end = EndOf(profile);
  const auto overEnd = [count](float round) {
    return round > 0 ? std::max(1, static_cast<int>(0.28f * static_cast<float>(count))) : 1;
  };
  const int low = overEnd(profile.startRound), high = overEnd(profile.endRound);
  std::vector<float> places;
  const auto place = [](float round, int i, int rings) {
    const float angle = kHalfPi * static_cast<float>(i) / static_cast<float>(rings);
    return round * (1 - Cos(angle));
  };
  for (int i = 1; i <= low && static_cast<int>(places.size()) < count; ++i) {
    places.push_back(start + place(profile.startRound, i, low));
  }
  const float from = start + profile.startRound, to = end - profile.endRound;
  const int between = count - low - high;
  for (int i = 1; i <= between; ++i) {
    places.push_back(from + (to - from) * static_cast<float>(i) / static_cast<float>(between + 1));
  }
  for (int i = high; i >= 1 && static_cast<int>(places.size()) < count; --i) {
    places.push_back(end - place(profile.endRound, i, high));
  }
  return places;
}

}  // namespace

LoftPlan EvenPlan(const Profile& profile, std::span<const int> sides) {
  LoftPlan plan;
  const std::vector<float> places = Spread(profile, static_cast<int>(sides.size()));
  for (std::size_t i = 0; i < places.size(); ++i) plan.rings.push_back({places[i], sides[i]});
  plan.startPole = profile.startRound > 0;
  plan.endPole = profile.endRound > 0;
  return plan;
}

LoftPlan EvenPlan(const Profile& profile, int count, int sides) {
  return EvenPlan(profile, std::vector<int>(static_cast<std::size_t>(count), sides));
}

void AddLoft(SkelMesh& mesh, const Profile& profile, const LoftPlan& plan, const LoftFrame& frame) {
  if (profile.sections.size() < 2 || plan.rings.size() < 2) return;
  Lofter(mesh, profile, plan, frame).Add();
}

}  // namespace strider
