#include "exchange/motion_sheet.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "exchange/motion_drawing.h"
#include "strider/footsteps/flights.h"

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
constexpr Ink kFlightInk{0.42, 0.62, 0.45};

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
  for (const FlightPeriod& flight : FlightsShown(core)) {
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
  (void)std::snprintf(text, sizeof text, "%d footstep%s, frames %lld to %lld (%.2f s)", footsteps,
                      footsteps == 1 ? "" : "s", static_cast<long long>(shots.all.first),
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
  if (!FlightsShown(core).empty()) DrawKeyEntry(page, keyX, y, kFlightInk, 0.35, "flight");
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
    CoverStrip(here.side, strip, here.prints, side);
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
  DrawTopNumbers(page, here.prints, {here.strip}, top);
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
  std::vector<const Strip*> strips;
  for (const Strip& strip : shots.strips) strips.push_back(&strip);
  DrawTopPrints(page, all, whole);
  // Where the whole is too small to be read, numbers stand in the strips' own views alone.
  if (!layout.plansInStrips) DrawTopNumbers(page, all, strips, whole);
  for (const Strip& strip : shots.strips) DrawTopPath(page, strip, whole);
  DrawScaleBar(page, kWidth - kMargin - 90, layout.timeY - 14, whole.scale, 90);
  DrawTimeLine(page, core, shots, prints, layout.timeY);
  return EncodePng(page, png, cause);
}

}  // namespace strider
