#include "exchange/motion_sheet.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "exchange/motion_shots.h"
#include "exchange/page.h"
#include "strider/base/trig.h"

namespace strider {
namespace {

constexpr double kWidth = 1000, kMargin = 30, kContent = kWidth - 2 * kMargin;
constexpr double kHeader = 58;                        // title and key
constexpr double kMostFigure = 210;                   // a figure's height on the page
constexpr double kMostStrip = 380;                    // a strip's
constexpr double kMostPlan = 330;                     // the top view's
constexpr double kStripAbove = 18, kStripBelow = 26;  // frame numbers; footstep numbers
constexpr double kPlanRoom = 20;                      // for the numbers around a top view
constexpr double kTimeLine = 84;
constexpr Ink kPathInk{0.62, 0.20, 0.45}, kFlightInk{0.42, 0.62, 0.45};

Ink Darker(const Ink& ink, double u) {
  return {ink.red * (1 - u), ink.green * (1 - u), ink.blue * (1 - u)};
}
Ink InkOfSide(int side) { return InkOf(side == 0 ? kRight : kLeft); }

/// A footstep as the sheet shows it. Host space.
struct Footprint {
  int index = 0, side = 0;
  Point3 place, ahead, left;  // unit, level
  double toe = 0, heel = 0, half = 0;
  double start = 0, end = 0;  // frames

  bool TouchesWithin(double first, double last) const { return start <= last && end >= first; }
};

/// The footprints with contact in the frames that are shown.
std::vector<Footprint> FootprintsIn(const MotionCore& core, const FrameRange& shown) {
  std::vector<Footprint> prints;
  const FootstepTrack& track = core.footsteps;
  const double frame = core.ticksPerFrame;
  for (int i = 0; i < track.numFootsteps; ++i) {
    const auto k = static_cast<std::size_t>(i);
    Footprint print;
    print.index = i;
    print.side = track.side[k];
    const FootstepSpan& span =
        track.spans[print.side][static_cast<std::size_t>(track.sideIndex[k])];
    print.start = span.start / frame;
    print.end = span.Lift() / frame;
    if (print.start > static_cast<double>(shown.last)) break;  // they ascend in time
    if (!print.TouchesWithin(static_cast<double>(shown.first), static_cast<double>(shown.last))) {
      continue;
    }
    print.place = HostFromCore(track.position[k]);
    const SinCosD heading = SinCosOf(track.angle[k]);
    print.ahead = {static_cast<float>(heading.cos), static_cast<float>(heading.sin), 0};
    print.left = {-print.ahead.y, print.ahead.x, 0};
    const LimbRecord& leg = core.leg[print.side];
    print.toe = leg.toeLength;
    print.heel = leg.heelLength;
    print.half = 0.5 * leg.extremityWidth;
    prints.push_back(print);
  }
  return prints;
}

Point3 OnSole(const Footprint& print, double ahead, double left) {
  return print.place + static_cast<float>(ahead) * print.ahead +
         static_cast<float>(left) * print.left;
}

// --- Extents ---------------------------------------------------------------------------------

struct Bounds {
  double left = HUGE_VAL, top = HUGE_VAL, right = -HUGE_VAL, bottom = -HUGE_VAL;

  void Cover(const PagePoint& p) { Cover({p.x, p.y, p.x, p.y}); }
  void Cover(const Extent& e) {
    left = std::min(left, e.left);
    top = std::min(top, e.top);
    right = std::max(right, e.right);
    bottom = std::max(bottom, e.bottom);
  }
  double Width() const { return right - left; }
  double Height() const { return bottom - top; }
};

void CoverPrint(Bounds& bounds, const Footprint& print, const View& view) {
  for (const double ahead : {-print.heel, print.toe}) {
    for (const double left : {-print.half, print.half}) {
      bounds.Cover(Project(view, OnSole(print, ahead, left)));
    }
  }
}

View SideViewAlong(const Point3& along) {
  View view;
  view.right = along;
  view.up = {0, 0, 1};
  view.toward = Cross(view.right, view.up);
  return view;
}
View TopViewAlong(const Point3& along) {
  View view;
  view.right = along;
  view.toward = {0, 0, 1};
  view.up = Cross(view.toward, view.right);
  return view;
}

/// The view of a strip's frame: moved on with the figures.
View ShiftedView(const View& view, const Strip& strip, std::int64_t frame) {
  View shifted = view;
  shifted.pageX += view.scale * strip.ShiftAt(frame);
  return shifted;
}

Bounds BoundsOf(const Strip& strip, const std::vector<const Footprint*>& prints, const View& view) {
  Bounds bounds;
  for (const Shot& shot : strip.shots) {
    bounds.Cover(ExtentOf(shot.body, ShiftedView(view, strip, shot.frame)));
  }
  for (std::size_t i = 0; i < strip.path.size(); ++i) {
    const auto frame = strip.first + static_cast<std::int64_t>(i);
    bounds.Cover(Project(ShiftedView(view, strip, frame), strip.path[i]));
  }
  if (strip.drift == 0) {
    for (const Footprint* print : prints) CoverPrint(bounds, *print, view);
  }
  return bounds;
}

/// The path and the footprints from above, without the figures.
void CoverPlan(Bounds& bounds, const Strip& strip, const std::vector<const Footprint*>& prints,
               const View& view) {
  for (const Point3& place : strip.path) bounds.Cover(Project(view, place));
  for (const Footprint* print : prints) CoverPrint(bounds, *print, view);
}

// --- What both views draw --------------------------------------------------------------------

void StrokePath(cairo_t* page) {
  SetInk(page, kPathInk, 0.9);
  cairo_set_line_width(page, 0.9);
  cairo_stroke(page);
}

void DrawSpot(cairo_t* page, const PagePoint& p, double radius, const Ink& ink) {
  cairo_new_path(page);
  cairo_arc(page, p.x, p.y, radius, 0, 2 * kPi);
  SetInk(page, ink);
  cairo_fill(page);
}

/// Numbers that would stand on one that is there already are left out.
class Labels {
 public:
  explicit Labels(cairo_t* page) : page_(page) {}
  void Draw(double x, double y, const std::string& text, Align align = Align::kCentre) {
    const double width = TextWidth(page_, text), height = 7;
    const double left = align == Align::kCentre ? x - 0.5 * width : x;
    const Extent here{left - 1, y - height, left + width + 1, y + 1};
    for (const Extent& other : taken_) {
      if (here.left < other.right && other.left < here.right && here.top < other.bottom &&
          other.top < here.bottom) {
        return;
      }
    }
    taken_.push_back(here);
    DrawText(page_, left, y, text);
  }

 private:
  cairo_t* page_;
  std::vector<Extent> taken_;
};

// --- Side view -------------------------------------------------------------------------------

/// The ground from footstep to footstep, with a riser half way where two differ in height.
void DrawSideGround(cairo_t* page, const std::vector<const Footprint*>& prints, const View& view,
                    double left, double right) {
  if (prints.empty()) return;
  std::vector<std::pair<double, double>> treads;  // place along the page, height on it
  for (const Footprint* print : prints) {
    const PagePoint p = Project(view, print->place);
    treads.emplace_back(p.x, p.y);
  }
  std::stable_sort(treads.begin(), treads.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  cairo_new_path(page);
  cairo_move_to(page, left, treads.front().second);
  for (std::size_t i = 1; i < treads.size(); ++i) {
    if (std::fabs(treads[i].second - treads[i - 1].second) < 1e-3) continue;
    const double middle = 0.5 * (treads[i - 1].first + treads[i].first);
    cairo_line_to(page, middle, treads[i - 1].second);
    cairo_line_to(page, middle, treads[i].second);
  }
  cairo_line_to(page, right, treads.back().second);
  SetInk(page, kGround);
  cairo_set_line_width(page, 0.8);
  cairo_stroke(page);
}

void DrawSidePrint(cairo_t* page, const Footprint& print, const View& view, Labels& labels) {
  PagePoint heel = Project(view, OnSole(print, -print.heel, 0));
  PagePoint toe = Project(view, OnSole(print, print.toe, 0));
  // Seen from behind a footprint is as long as it is wide.
  const double least = view.scale * print.half;
  if (std::fabs(toe.x - heel.x) < 2 * least) {
    const PagePoint middle = Project(view, print.place);
    heel.x = middle.x - least;
    toe.x = middle.x + least;
  }
  const Ink ink = InkOfSide(print.side);
  cairo_rectangle(page, std::min(heel.x, toe.x), heel.y + 0.6, std::fabs(toe.x - heel.x), 2.6);
  SetInk(page, ink);
  cairo_fill(page);
  SetInk(page, Darker(ink, 0.35));
  // Left and right have a line of numbers each: feet side by side are at one place here.
  labels.Draw(0.5 * (heel.x + toe.x), heel.y + (print.side == 1 ? 11 : 19),
              std::to_string(print.index));
}

void DrawSidePath(cairo_t* page, const Strip& strip, const View& view) {
  cairo_new_path(page);
  for (std::size_t i = 0; i < strip.path.size(); ++i) {
    const auto frame = strip.first + static_cast<std::int64_t>(i);
    const PagePoint p = Project(ShiftedView(view, strip, frame), strip.path[i]);
    cairo_line_to(page, p.x, p.y);
  }
  StrokePath(page);
}

/// Ground and footprints of figures that are moved apart: under each the feet that it stands on.
void DrawShiftedPrints(cairo_t* page, const Strip& strip,
                       const std::vector<const Footprint*>& prints, const View& view, double left,
                       double right) {
  SetFont(page, 6.5);
  std::vector<const Footprint*> under;
  for (std::size_t i = 0; i < strip.shots.size(); ++i) {
    const auto frame = static_cast<double>(strip.shots[i].frame);
    std::vector<const Footprint*> here;
    for (const Footprint* print : prints) {
      if (print->TouchesWithin(frame, frame)) here.push_back(print);
    }
    if (!here.empty()) under = here;  // in the air the ground stays as it was
    const View shifted = ShiftedView(view, strip, strip.shots[i].frame);
    const auto middle = [&](std::size_t a) {
      const auto at = [&](std::size_t k) {
        return Project(ShiftedView(view, strip, strip.shots[k].frame), strip.shots[k].centre).x;
      };
      return 0.5 * (at(a) + at(a + 1));
    };
    DrawSideGround(page, under, shifted, i == 0 ? left : middle(i - 1),
                   i + 1 == strip.shots.size() ? right : middle(i));
    Labels numbers(page);
    for (const Footprint* print : here) DrawSidePrint(page, *print, shifted, numbers);
  }
}

void DrawStrip(cairo_t* page, const Strip& strip, const std::vector<const Footprint*>& prints,
               const View& view, double left, double right) {
  if (strip.drift == 0) DrawSideGround(page, prints, view, left, right);
  for (const Shot& shot : strip.shots) {
    DrawBody(page, shot.body, ShiftedView(view, strip, shot.frame));
  }
  DrawSidePath(page, strip, view);
  SetFont(page, 6.5);
  if (strip.drift == 0) {
    Labels numbers(page);
    for (const Footprint* print : prints) DrawSidePrint(page, *print, view, numbers);
  } else {
    DrawShiftedPrints(page, strip, prints, view, left, right);
  }
  Labels frames(page);
  for (const Shot& shot : strip.shots) {
    const View here = ShiftedView(view, strip, shot.frame);
    const PagePoint p = Project(here, shot.centre);
    DrawSpot(page, p, 1.5, kPathInk);
    SetInk(page, kFaint);
    frames.Draw(p.x, ExtentOf(shot.body, here).top - 4, std::to_string(shot.frame));
  }
}

// --- Top view --------------------------------------------------------------------------------

/// A sole: round heel and broader, round toes.
void DrawTopPrint(cairo_t* page, const Footprint& print, const View& view, Labels& labels) {
  const auto at = [&](double ahead, double left) {
    return Project(view, OnSole(print, ahead, left));
  };
  const PagePoint ball = at(print.toe - print.half, 0);
  const PagePoint heel = at(0.75 * print.half - print.heel, 0);
  const PagePoint tip = at(print.toe, 0), mark = at(print.toe + 0.9 * print.half, 0);
  const double turn = std::atan2(tip.y - ball.y, tip.x - ball.x);
  cairo_new_path(page);
  cairo_arc(page, ball.x, ball.y, view.scale * print.half, turn - 0.5 * kPi, turn + 0.5 * kPi);
  cairo_arc(page, heel.x, heel.y, 0.75 * view.scale * print.half, turn + 0.5 * kPi,
            turn + 1.5 * kPi);
  cairo_close_path(page);
  const Ink ink = InkOfSide(print.side);
  SetInk(page, ink);
  cairo_fill_preserve(page);
  SetInk(page, Darker(ink, 0.45));
  cairo_set_line_width(page, 0.5);
  cairo_stroke(page);
  // The heading.
  const PagePoint ankle = at(0, 0);
  cairo_move_to(page, ankle.x, ankle.y);
  cairo_line_to(page, mark.x, mark.y);
  cairo_set_line_width(page, 0.8);
  cairo_stroke(page);
  // The number stands behind the heel, where neither the path nor the next foot is.
  constexpr double kRoom = 6;
  const PagePoint back = at(-print.heel, 0);
  labels.Draw(back.x - kRoom * std::cos(turn), back.y - kRoom * std::sin(turn) + 2.5,
              std::to_string(print.index));
}

void DrawTopPrints(cairo_t* page, const std::vector<const Footprint*>& prints, const View& view) {
  SetFont(page, 6.5);
  Labels labels(page);
  for (const Footprint* print : prints) DrawTopPrint(page, *print, view, labels);
}

void DrawTopPath(cairo_t* page, const Strip& strip, const View& view) {
  cairo_new_path(page);
  for (const Point3& place : strip.path) {
    const PagePoint p = Project(view, place);
    cairo_line_to(page, p.x, p.y);
  }
  StrokePath(page);
  for (const Shot& shot : strip.shots) DrawSpot(page, Project(view, shot.centre), 1.5, kPathInk);
}

// --- Time line -------------------------------------------------------------------------------

void DrawTimeLine(cairo_t* page, const MotionCore& core, const MotionShots& shots,
                  const std::vector<Footprint>& prints, double y) {
  constexpr double kNames = 44, kRow = 17;
  const double left = kMargin + kNames, width = kContent - kNames;
  const auto first = static_cast<double>(shots.shown.first);
  const double count = std::max(1.0, static_cast<double>(shots.shown.last) - first);
  const auto at = [&](double frame) {
    return left + width * std::clamp((frame - first) / count, 0.0, 1.0);
  };
  const double rows[] = {y + kRow + 4, y};  // right below left, as seen from above

  // Flights lie behind both rows.
  const double frame = core.ticksPerFrame;
  for (const FlightPeriod& flight : core.body.flights) {
    const double from = at(flight.takeoffTime / frame), to = at(flight.landTime / frame);
    if (to <= from) continue;
    cairo_rectangle(page, from, y - 3, to - from, 2 * kRow + 10);
    SetInk(page, kFlightInk, 0.3);
    cairo_fill(page);
  }
  SetFont(page, 7);
  for (int side = 0; side < 2; ++side) {
    SetInk(page, Darker(InkOfSide(side), 0.35));
    DrawText(page, left - 8, rows[side] + 11, side == 1 ? "left" : "right", Align::kRight);
    SetInk(page, kGround, 0.5);
    cairo_rectangle(page, left, rows[side] + 0.5 * kRow - 0.3, width, 0.6);
    cairo_fill(page);
  }
  for (const Footprint& print : prints) {
    const double from = at(print.start), to = at(print.end), row = rows[print.side];
    const Ink ink = InkOfSide(print.side);
    cairo_rectangle(page, from, row, std::max(to - from, 0.5), kRow);
    SetInk(page, ink);
    cairo_fill_preserve(page);
    SetInk(page, Darker(ink, 0.45));
    cairo_set_line_width(page, 0.5);
    cairo_stroke(page);
    const std::string number = std::to_string(print.index);
    SetInk(page, kText);
    if (TextWidth(page, number) + 2 < to - from) {
      DrawText(page, 0.5 * (from + to), row + 11.5, number, Align::kCentre);
    }
  }

  // Frames: a tick at round numbers, a mark at each frame that a figure is drawn at.
  const double axis = y + 2 * kRow + 12;
  SetInk(page, kText);
  cairo_set_line_width(page, 0.7);
  cairo_move_to(page, left, axis);
  cairo_line_to(page, left + width, axis);
  cairo_stroke(page);
  const double step = std::max(1.0, RoundLength(count / 8));
  for (double f = std::ceil(first / step) * step; f <= first + count; f += step) {
    cairo_move_to(page, at(f), axis);
    cairo_line_to(page, at(f), axis + 4);
    cairo_stroke(page);
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.0f", f);
    DrawText(page, at(f), axis + 12, text, Align::kCentre);
  }
  DrawText(page, left - 8, axis + 12, "frame", Align::kRight);
  for (const Strip& strip : shots.strips) {
    for (const Shot& shot : strip.shots) {
      DrawSpot(page, {at(static_cast<double>(shot.frame)), axis}, 1.8, kPathInk);
    }
  }
}

// --- Title and key ---------------------------------------------------------------------------

void DrawKeyEntry(cairo_t* page, double& x, double y, const Ink& ink, double alpha,
                  const char* text) {
  cairo_rectangle(page, x, y - 6.5, 9, 7);
  SetInk(page, ink, alpha);
  cairo_fill(page);
  SetInk(page, kText);
  DrawText(page, x + 13, y, text);
  x += 13 + TextWidth(page, text) + 16;
}

void DrawTitle(cairo_t* page, const MotionCore& core, const MotionShots& shots) {
  char text[160];
  const int footsteps = core.footsteps.numFootsteps;
  SetFont(page, 14, true);
  SetInk(page, kText);
  DrawText(page, kMargin, kMargin + 4, core.name);
  const double x = kMargin + TextWidth(page, core.name) + 10;
  SetFont(page, 9);
  SetInk(page, kFaint);
  const double seconds =
      static_cast<double>(shots.all.last - shots.all.first) * core.ticksPerFrame / kTicksPerSecond;
  (void)std::snprintf(text, sizeof text, "%d footsteps, frames %lld to %lld (%.2f s)", footsteps,
                      static_cast<long long>(shots.all.first),
                      static_cast<long long>(shots.all.last), seconds);
  DrawText(page, x, kMargin + 4, text);
  if (shots.shown.last < shots.all.last) {
    (void)std::snprintf(text, sizeof text, "only frames %lld to %lld are shown",
                        static_cast<long long>(shots.shown.first),
                        static_cast<long long>(shots.shown.last));
    SetFont(page, 9, true);
    SetInk(page, kPathInk);
    DrawText(page, kWidth - kMargin, kMargin + 4, text, Align::kRight);
  }
  SetFont(page, 8);
  double keyX = kMargin;
  const double y = kMargin + 20;
  DrawKeyEntry(page, keyX, y, InkOf(kRight), 1, "right");
  DrawKeyEntry(page, keyX, y, InkOf(kLeft), 1, "left");
  DrawKeyEntry(page, keyX, y, kPathInk, 1, "path of the centre of mass");
  if (!core.body.flights.empty()) DrawKeyEntry(page, keyX, y, kFlightInk, 0.35, "flight");
  SetInk(page, kFaint);
  const bool movedApart = shots.strips.front().drift != 0;
  DrawText(page, keyX, y,
           std::string("over the figures their frames, at the footprints their numbers") +
               (movedApart ? "; the figures are moved apart" : ""));
}

// --- Layout ----------------------------------------------------------------------------------

/// A strip with its place on the page. Bounds are at scale 1 from the host's origin.
struct StripLayout {
  const Strip* strip = nullptr;
  std::vector<const Footprint*> prints;  // with contact in the strip's frames
  Bounds side, plan;
  double x = 0, y = 0;  // on the page, of the left and upper edge
  double Left() const { return std::min(side.left, plan.left); }
  double Width() const { return std::max(side.right, plan.right) - Left(); }
};

struct Layout {
  std::vector<StripLayout> strips;
  double scale = HUGE_VAL;  // of all strips
  Bounds plan;              // of the whole path
  double planScale = 0, planY = 0;
  bool plansInStrips = false;  // the whole path is too long to be read from above
  double timeY = 0, height = 0;
};

/// Heights and widths of all that is shown, and the scale at which it fits.
bool Measure(Layout& layout, const MotionShots& shots, const std::vector<Footprint>& prints) {
  const View whole = TopViewAlong(shots.along);
  for (const Strip& strip : shots.strips) {
    StripLayout& here = layout.strips.emplace_back();
    here.strip = &strip;
    for (const Footprint& print : prints) {
      if (print.TouchesWithin(static_cast<double>(strip.first), static_cast<double>(strip.last))) {
        here.prints.push_back(&print);
      }
    }
    const View side = SideViewAlong(strip.along);
    here.side = BoundsOf(strip, here.prints, side);
    CoverPlan(here.plan, strip, here.prints, TopViewAlong(strip.along));
    CoverPlan(layout.plan, strip, here.prints, whole);
    double figure = 0;
    for (const Shot& shot : strip.shots) {
      const Extent extent = ExtentOf(shot.body, side);
      figure = std::max(figure, extent.bottom - extent.top);
    }
    const double size = here.Width() + here.side.Height() + here.plan.Height();
    if (!std::isfinite(size) || !(figure > 1e-30)) return false;
    layout.scale = std::min({layout.scale, kContent / here.Width(), kMostStrip / here.side.Height(),
                             kMostFigure / figure});
  }
  layout.planScale =
      std::min({layout.scale, kContent / layout.plan.Width(), kMostPlan / layout.plan.Height()});
  layout.plansInStrips = layout.planScale < 0.5 * layout.scale;
  return std::isfinite(layout.planScale) && layout.planScale > 0;
}

/// Puts strips side by side from the first one on as far as they fit, in the middle of the page;
/// how many.
std::size_t ArrangeRow(Layout& layout, std::size_t first, double y) {
  constexpr double kGap = 24;
  std::size_t end = first;
  double width = -kGap;
  while (end < layout.strips.size()) {
    const double wider = width + kGap + layout.scale * layout.strips[end].Width();
    if (end > first && wider > kContent) break;
    width = wider;
    ++end;
  }
  double x = kMargin + 0.5 * (kContent - width);
  for (std::size_t i = first; i < end; ++i) {
    layout.strips[i].x = x;
    layout.strips[i].y = y;
    x += layout.scale * layout.strips[i].Width() + kGap;
  }
  return end - first;
}

/// The strips in rows; then the whole path, then the time line.
void Arrange(Layout& layout) {
  double y = kHeader;
  for (std::size_t first = 0; first < layout.strips.size();) {
    const std::size_t count = ArrangeRow(layout, first, y);
    double rowHeight = 0;
    for (std::size_t i = first; i < first + count; ++i) {
      const StripLayout& strip = layout.strips[i];
      double height = kStripAbove + layout.scale * strip.side.Height() + kStripBelow;
      if (layout.plansInStrips) height += layout.scale * strip.plan.Height() + 2 * kPlanRoom;
      rowHeight = std::max(rowHeight, height);
    }
    y += rowHeight;
    first += count;
  }
  layout.planY = y + kPlanRoom;
  layout.timeY = layout.planY + layout.planScale * layout.plan.Height() + 2 * kPlanRoom;
  layout.height = layout.timeY + kTimeLine + kMargin;
}

void DrawStripLayout(cairo_t* page, const Layout& layout, const StripLayout& here) {
  const double scale = layout.scale;
  View side = SideViewAlong(here.strip->along);
  side.scale = scale;
  side.pageX = here.x - scale * here.Left();
  side.pageY = here.y + kStripAbove - scale * here.side.top;
  DrawStrip(page, *here.strip, here.prints, side, here.x, here.x + scale * here.Width());
  if (!layout.plansInStrips) return;
  View top = TopViewAlong(here.strip->along);
  top.scale = scale;
  top.pageX = side.pageX;
  top.pageY = here.y + kStripAbove + scale * here.side.Height() + kStripBelow + kPlanRoom -
              scale * here.plan.top;
  DrawTopPrints(page, here.prints, top);
  DrawTopPath(page, *here.strip, top);
}

}  // namespace

bool MotionSheet(const MotionCore& core, const EvalContext& context, std::string& png,
                 std::string& cause) {
  const MotionShots shots = TakeShots(core, context);
  const std::vector<Footprint> prints = FootprintsIn(core, shots.shown);
  Layout layout;
  if (!Measure(layout, shots, prints)) {
    cause = "the motion is too small or too large for a picture";
    return false;
  }
  Arrange(layout);

  const PageHandle handle = NewPage(kWidth, std::ceil(layout.height));
  cairo_t* page = handle.get();
  DrawTitle(page, core, shots);
  for (const StripLayout& strip : layout.strips) DrawStripLayout(page, layout, strip);

  View whole = TopViewAlong(shots.along);
  whole.scale = layout.planScale;
  whole.pageX = kMargin + 0.5 * (kContent - whole.scale * layout.plan.Width()) -
                whole.scale * layout.plan.left;
  whole.pageY = layout.planY - whole.scale * layout.plan.top;
  std::vector<const Footprint*> all;
  for (const Footprint& print : prints) all.push_back(&print);
  DrawTopPrints(page, all, whole);
  for (const Strip& strip : shots.strips) DrawTopPath(page, strip, whole);
  DrawScaleBar(page, kWidth - kMargin - 90, layout.timeY - 14, whole.scale, 90);
  DrawTimeLine(page, core, shots, prints, layout.timeY);
  return EncodePng(page, png, cause);
}

}  // namespace strider
