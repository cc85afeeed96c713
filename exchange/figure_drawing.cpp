#include "exchange/figure_drawing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "strider/base/trig.h"

namespace strider {
namespace {

constexpr Ink kRightInk{0.89, 0.52, 0.34}, kLeftInk{0.36, 0.58, 0.80}, kMiddleInk{0.83, 0.80, 0.74};
constexpr Ink kPropInk{0.55, 0.60, 0.42}, kPaperInk{0.96, 0.96, 0.95}, kWhite{1, 1, 1};
// Where the light comes from on the page: above, a little from the left. Y down.
constexpr PagePoint kLight{-0.55, -0.84};
// Corners of an outline: an arc of a hundredth of a turn is no longer seen as one.
constexpr int kCorners = 120;

Ink Mix(const Ink& a, const Ink& b, double u) {
  return {a.red + u * (b.red - a.red), a.green + u * (b.green - a.green),
          a.blue + u * (b.blue - a.blue)};
}

double DotD(const Point3& a, const Point3& b) {
  return static_cast<double>(a.x) * b.x + static_cast<double>(a.y) * b.y +
         static_cast<double>(a.z) * b.z;
}

/// The half axes of an ellipsoid as the page sees them.
struct Silhouette {
  PagePoint centre;
  PagePoint axes[3];
};

Silhouette SilhouetteOf(const Ellipsoid& ellipsoid, const View& view) {
  Silhouette shape;
  shape.centre = Project(view, ellipsoid.centre);
  for (int i = 0; i < 3; ++i) {
    shape.axes[i] = {view.scale * DotD(ellipsoid.halfAxes[i], view.right),
                     -view.scale * DotD(ellipsoid.halfAxes[i], view.up)};
  }
  return shape;
}

/// How far the silhouette reaches in a direction, and the point that does. The half axes a_i span
/// the points c + sum s_i a_i with |s| <= 1, so the farthest has s along (a_i . direction).
double Reach(const Silhouette& shape, const PagePoint& direction, PagePoint& point) {
  double along[3], squares = 0;
  for (int i = 0; i < 3; ++i) {
    along[i] = shape.axes[i].x * direction.x + shape.axes[i].y * direction.y;
    squares += along[i] * along[i];
  }
  const double length = std::sqrt(squares);
  point = shape.centre;
  for (int i = 0; i < 3 && length > 0; ++i) {
    point.x += shape.axes[i].x * along[i] / length;
    point.y += shape.axes[i].y * along[i] / length;
  }
  return shape.centre.x * direction.x + shape.centre.y * direction.y + length;
}

/// The outline of a hull: in each direction the farthest point of any of its ellipsoids.
std::vector<PagePoint> OutlineOf(const Solid& solid, const View& view) {
  std::vector<Silhouette> shapes;
  for (const Ellipsoid& ellipsoid : solid.hull) shapes.push_back(SilhouetteOf(ellipsoid, view));
  std::vector<PagePoint> outline;
  for (int corner = 0; corner < kCorners && !shapes.empty(); ++corner) {
    const SinCosD turn = SinCosOf(2.0 * kPi * corner / kCorners);
    const PagePoint direction{turn.cos, turn.sin};
    double best = -HUGE_VAL;
    PagePoint farthest;
    for (const Silhouette& shape : shapes) {
      PagePoint point;
      const double reach = Reach(shape, direction, point);
      if (reach > best) {
        best = reach;
        farthest = point;
      }
    }
    outline.push_back(farthest);
  }
  return outline;
}

double SolidNearness(const Solid& solid, const View& view) {
  double sum = 0;
  for (const Ellipsoid& ellipsoid : solid.hull) sum += Nearness(view, ellipsoid.centre);
  return solid.hull.empty() ? 0 : sum / static_cast<double>(solid.hull.size());
}

/// From light to shade the way across the bone, so that a limb looks round along its length.
PagePoint ShadeDirection(const Solid& solid, const View& view) {
  const PagePoint a = Project(view, solid.boneStart), b = Project(view, solid.boneEnd);
  const double x = b.x - a.x, y = b.y - a.y, length = std::hypot(x, y);
  PagePoint direction = kLight;
  if (length > 0) {
    constexpr double kAcross = 0.9;
    const double along = kAcross * (kLight.x * x + kLight.y * y) / (length * length);
    direction = {kLight.x - along * x, kLight.y - along * y};
  }
  const double size = std::hypot(direction.x, direction.y);
  return {direction.x / size, direction.y / size};
}

void SetInk(cairo_t* page, const Ink& ink, double alpha = 1) {
  cairo_set_source_rgba(page, ink.red, ink.green, ink.blue, alpha);
}

void AddStop(cairo_pattern_t* pattern, double offset, const Ink& ink) {
  cairo_pattern_add_color_stop_rgb(pattern, offset, ink.red, ink.green, ink.blue);
}

void DrawSolid(cairo_t* page, const Solid& solid, const View& view, double haze, double pen) {
  const std::vector<PagePoint> outline = OutlineOf(solid, view);
  if (outline.empty()) return;
  const PagePoint shade = ShadeDirection(solid, view);
  double low = HUGE_VAL, high = -HUGE_VAL;
  for (const PagePoint& p : outline) {
    cairo_line_to(page, p.x, p.y);
    const double along = p.x * shade.x + p.y * shade.y;
    low = std::min(low, along);
    high = std::max(high, along);
  }
  cairo_close_path(page);

  const Ink ink = Mix(solid.isProp ? kPropInk : InkOf(solid.side), kPaperInk, haze);
  const PagePoint c = outline.front();
  const double base = c.x * shade.x + c.y * shade.y;
  cairo_pattern_t* pattern =
      cairo_pattern_create_linear(c.x + (high - base) * shade.x, c.y + (high - base) * shade.y,
                                  c.x + (low - base) * shade.x, c.y + (low - base) * shade.y);
  AddStop(pattern, 0, Mix(ink, kWhite, 0.22));
  AddStop(pattern, 0.25, Mix(ink, kWhite, 0.38));
  AddStop(pattern, 0.6, ink);
  AddStop(pattern, 1, Mix(ink, kOutlineInk, 0.38));
  cairo_set_source(page, pattern);
  cairo_fill_preserve(page);
  cairo_pattern_destroy(pattern);
  SetInk(page, Mix(Mix(ink, kOutlineInk, 0.78), kPaperInk, 0.4 * haze));
  // A toe must not be all outline.
  constexpr double kMostOfABody = 0.12;
  cairo_set_line_width(page, std::min(pen, kMostOfABody * (high - low)));
  cairo_stroke(page);
}

void DrawJoint(cairo_t* page, const Joint& joint, const View& view, double haze) {
  const PagePoint p = Project(view, joint.place);
  cairo_new_path(page);
  cairo_arc(page, p.x, p.y, view.scale * joint.radius, 0, 2 * kPi);
  SetInk(page, Mix(kOutlineInk, kPaperInk, haze), 0.72);
  cairo_fill(page);
}

/// A body or a joint in the order of drawing.
struct Item {
  double nearness;
  bool isJoint;
  std::size_t index;
};

}  // namespace

View FrontView() { return {}; }
View SideView() {
  View view;
  view.right = {1, 0, 0};
  view.up = {0, 0, 1};
  view.toward = {0, -1, 0};
  return view;
}

PagePoint Project(const View& view, const Point3& world) {
  return {view.pageX + view.scale * DotD(world, view.right),
          view.pageY - view.scale * DotD(world, view.up)};
}

double Nearness(const View& view, const Point3& world) { return DotD(world, view.toward); }

Extent ExtentOf(const Body& body, const View& view) {
  Extent extent{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  for (const Solid& solid : body.solids) {
    for (const PagePoint& p : OutlineOf(solid, view)) {
      extent.left = std::min(extent.left, p.x);
      extent.right = std::max(extent.right, p.x);
      extent.top = std::min(extent.top, p.y);
      extent.bottom = std::max(extent.bottom, p.y);
    }
  }
  return body.solids.empty() ? Extent{} : extent;
}

Ink InkOf(Side side) { return side == kRight ? kRightInk : side == kLeft ? kLeftInk : kMiddleInk; }

void DrawBody(cairo_t* page, const Body& body, const View& view) {
  const Extent extent = ExtentOf(body, view);
  const double height = extent.bottom - extent.top;
  if (!(height > 0)) return;
  // In steps that no eye could tell apart, so that rounding does not choose what is drawn first.
  const double step = 1e-4 * height / view.scale;
  std::vector<Item> items;
  double nearest = -HUGE_VAL;
  for (std::size_t i = 0; i < body.solids.size(); ++i) {
    const double here = step * std::round(SolidNearness(body.solids[i], view) / step);
    items.push_back({here, false, i});
    nearest = std::max(nearest, here);
  }
  // A joint lies on the nearer of the two bodies that meet in it, under all that is nearer still.
  for (std::size_t i = 0; i < body.joints.size(); ++i) {
    const Joint& joint = body.joints[i];
    const double here = std::max(items[static_cast<std::size_t>(joint.solid)].nearness,
                                 items[static_cast<std::size_t>(joint.parentSolid)].nearness);
    items.push_back({here, true, i});
  }
  std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
    return a.nearness != b.nearness ? a.nearness < b.nearness : a.isJoint < b.isJoint;
  });

  cairo_save(page);
  cairo_set_line_join(page, CAIRO_LINE_JOIN_ROUND);
  const double pen = std::clamp(height / 380, 0.35, 1.2);
  for (const Item& item : items) {
    // What is far fades a little, so that near limbs stand out against it.
    constexpr double kHazePerHeight = 0.9, kMostHaze = 0.3;
    const double distance = (nearest - item.nearness) * view.scale / height;
    const double haze = std::min(kHazePerHeight * distance, kMostHaze);
    cairo_new_path(page);
    if (item.isJoint) {
      DrawJoint(page, body.joints[item.index], view, haze);
    } else {
      DrawSolid(page, body.solids[item.index], view, haze, pen);
    }
  }
  cairo_restore(page);
}

void DrawFigure(cairo_t* page, const MotionCore& core, const View& view) {
  DrawBody(page, BodySolids(core), view);
}

}  // namespace strider
