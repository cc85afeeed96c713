// What the views of a contact sheet draw: footprints, ground, figures and the path of the centre of
// mass, from the side and from above. Knows nothing of the sheet's layout.
#pragma once

#include <cmath>
#include <vector>

#include "exchange/motion_shots.h"
#include "exchange/page.h"

namespace strider {

inline constexpr Ink kPathInk{0.62, 0.20, 0.45};

Ink Darker(const Ink& ink, double u);
Ink InkOfSide(int side);

/// A footstep as a sheet shows it. Host space.
struct Footprint {
  int index = 0, side = 0;
  Point3 place, ahead, left;  // unit, level
  double toe = 0, heel = 0, half = 0;
  double start = 0, end = 0;  // frames

  bool TouchesWithin(double first, double last) const { return start <= last && end >= first; }
};

/// The footprints with contact in the frames that are shown.
std::vector<Footprint> FootprintsIn(const MotionCore& core, const FrameRange& shown);

/// What is covered so far, in the units of a view.
struct Bounds {
  double left = HUGE_VAL, top = HUGE_VAL, right = -HUGE_VAL, bottom = -HUGE_VAL;

  void Cover(const PagePoint& p) { Cover({p.x, p.y, p.x, p.y}); }
  void Cover(const Extent& e);
  double Width() const { return right - left; }
  double Height() const { return bottom - top; }
};

/// Views along a level direction, which runs to the right on the page.
View SideViewAlong(const Point3& along);
View TopViewAlong(const Point3& along);

/// A strip from its side with the footprints under it.
void CoverStrip(Bounds& bounds, const Strip& strip, const std::vector<const Footprint*>& prints,
                const View& view);
/// The ground runs from `left` to `right` of the page; frame numbers stand over the figures,
/// footstep numbers under the ground.
void DrawStrip(cairo_t* page, const Strip& strip, const std::vector<const Footprint*>& prints,
               const View& view, double left, double right);

/// The path and the footprints from above, without the figures.
void CoverPlan(Bounds& bounds, const Strip& strip, const std::vector<const Footprint*>& prints,
               const View& view);
void DrawTopPrints(cairo_t* page, const std::vector<const Footprint*>& prints, const View& view);
/// The footprints' numbers, clear of footprints and the strips' paths where they can be.
void DrawTopNumbers(cairo_t* page, const std::vector<const Footprint*>& prints,
                    const std::vector<const Strip*>& strips, const View& view);
void DrawTopPath(cairo_t* page, const Strip& strip, const View& view);

void DrawSpot(cairo_t* page, const PagePoint& p, double radius, const Ink& ink);

}  // namespace strider
