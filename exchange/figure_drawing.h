// Draws a posed figure into a Cairo context, seen from any side: for a page with one figure as for
// a sheet with a pose in every cell. Knows nothing of pages.
#pragma once

#include <cairo.h>

#include "exchange/body_solids.h"

namespace strider {

/// A parallel view of the host's space. The three directions are unit and square, with
/// right x up = toward, which points at the viewer.
struct View {
  Point3 right{0, 1, 0}, up{0, 0, 1}, toward{1, 0, 0};
  double scale = 1;             // units of the page for one scene unit
  double pageX = 0, pageY = 0;  // where the host's origin appears, Y down
};
/// From ahead: the figure at heading 0 looks at the viewer, its left is on the viewer's right.
View FrontView();
/// From its right: the figure at heading 0 looks to the viewer's right.
View SideView();

struct PagePoint {
  double x = 0, y = 0;
};
PagePoint Project(const View& view, const Point3& world);
/// Height over the page towards the viewer, in scene units.
double Nearness(const View& view, const Point3& world);

/// What a body covers: page units.
struct Extent {
  double left = 0, top = 0, right = 0, bottom = 0;
};
Extent ExtentOf(const Body& body, const View& view);

/// Colours of the sides, each 0 to 1.
struct Ink {
  double red = 0, green = 0, blue = 0;
};
Ink InkOf(Side side);
inline constexpr Ink kOutlineInk{0.15, 0.17, 0.21};

/// Draws the bodies, the far ones first. Leaves the context as it was but for its path.
void DrawBody(cairo_t* page, const Body& body, const View& view);
/// The same for the figure as its frames stand.
void DrawFigure(cairo_t* page, const MotionCore& core, const View& view);

}  // namespace strider
