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
constexpr double kMostStrip = 330;                    // a strip's
constexpr double kMostPlan = 330;                     // the top view's
constexpr double kStripAbove = 18, kStripBelow = 26;  // frame numbers; footstep numbers
constexpr double kTimeLine = 118;
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

Bounds StripBounds(const Strip& strip, const std::vector<Footprint>& prints) {
  Bounds bounds;
  const View view = SideViewAlong(strip.along);
  for (const Shot& shot : strip.shots) bounds.Cover(ExtentOf(shot.body, view));
  for (const Point3& place : strip.path) bounds.Cover(Project(view, place));
  for (const Footprint& print : prints) {
    if (print.TouchesWithin(static_cast<double>(strip.first), static_cast<double>(strip.last))) {
      CoverPrint(bounds, print, view);
    }
  }
  return bounds;
}

Bounds PlanBounds(const MotionShots& shots, const std::vector<Footprint>& prints) {
  Bounds bounds;
  const View view = TopViewAlong(shots.along);
  for (const Strip& strip : shots.strips) {
    for (const Point3& place : strip.path) bounds.Cover(Project(view, place));
  }
  for (const Footprint& print : prints) CoverPrint(bounds, print, view);
  return bounds;
}

// --- What both views draw --------------------------------------------------------------------

void DrawPath(cairo_t* page, const std::vector<Point3>& path, const View& view) {
  cairo_new_path(page);
  for (const Point3& place : path) {
    const PagePoint p = Project(view, place);
    cairo_line_to(page, p.x, p.y);
  }
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

void DrawStrip(cairo_t* page, const Strip& strip, const std::vector<Footprint>& prints,
               const View& view) {
  std::vector<const Footprint*> here;
  for (const Footprint& print : prints) {
    if (print.TouchesWithin(static_cast<double>(strip.first), static_cast<double>(strip.last))) {
      here.push_back(&print);
    }
  }
  DrawSideGround(page, here, view, kMargin, kWidth - kMargin);
  for (const Shot& shot : strip.shots) DrawBody(page, shot.body, view);
  DrawPath(page, strip.path, view);
  SetFont(page, 6.5);
  Labels numbers(page);
  for (const Footprint* print : here) DrawSidePrint(page, *print, view, numbers);
  Labels frames(page);
  for (const Shot& shot : strip.shots) {
    const PagePoint p = Project(view, shot.centre);
    DrawSpot(page, p, 1.5, kPathInk);
    SetInk(page, kFaint);
    frames.Draw(p.x, ExtentOf(shot.body, view).top - 4, std::to_string(shot.frame));
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
  // The number stands beside the foot, on the outer side.
  const double side = print.side == 1 ? 1 : -1;
  const PagePoint edge = at(0, side * print.half);
  const double away = std::hypot(edge.x - ankle.x, edge.y - ankle.y);
  if (away <= 0) return;
  constexpr double kRoom = 6;
  labels.Draw(edge.x + kRoom * (edge.x - ankle.x) / away,
              edge.y + kRoom * (edge.y - ankle.y) / away + 2.5, std::to_string(print.index));
}

void DrawPlan(cairo_t* page, const MotionShots& shots, const std::vector<Footprint>& prints,
              const View& view) {
  SetFont(page, 6.5);
  Labels labels(page);
  for (const Footprint& print : prints) DrawTopPrint(page, print, view, labels);
  for (const Strip& strip : shots.strips) DrawPath(page, strip.path, view);
  for (const Strip& strip : shots.strips) {
    for (const Shot& shot : strip.shots) DrawSpot(page, Project(view, shot.centre), 1.5, kPathInk);
  }
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
  DrawText(page, keyX, y, "over the figures their frames, at the footprints their numbers");
}

bool CanBeDrawn(const Bounds& bounds) {
  const double size = bounds.Width() + bounds.Height();
  return std::isfinite(size) && size > 1e-30;
}

}  // namespace

bool MotionSheet(const MotionCore& core, const EvalContext& context, std::string& png,
                 std::string& cause) {
  const MotionShots shots = TakeShots(core, context);
  const std::vector<Footprint> prints = FootprintsIn(core, shots.shown);

  // One scale for all strips; the top view at the same, or smaller where it is larger than a strip.
  std::vector<Bounds> bounds;
  const Bounds plan = PlanBounds(shots, prints);
  bool canBeDrawn = std::isfinite(plan.Width() + plan.Height());
  double scale = HUGE_VAL;
  for (const Strip& strip : shots.strips) {
    bounds.push_back(StripBounds(strip, prints));
    canBeDrawn = canBeDrawn && CanBeDrawn(bounds.back());
    scale =
        std::min({scale, kContent / bounds.back().Width(), kMostStrip / bounds.back().Height()});
    for (const Shot& shot : strip.shots) {
      const Extent extent = ExtentOf(shot.body, SideViewAlong(strip.along));
      scale = std::min(scale, kMostFigure / (extent.bottom - extent.top));
    }
  }
  if (!canBeDrawn) {
    cause = "the motion is too small or too large for a picture";
    return false;
  }
  const double planScale =
      std::min({scale, kContent / plan.Width(), (kMostPlan - 40) / plan.Height()});
  double height = kHeader + kMargin;
  for (const Bounds& strip : bounds) height += scale * strip.Height() + kStripAbove + kStripBelow;
  height += planScale * plan.Height() + 40 + kTimeLine;

  const PageHandle handle = NewPage(kWidth, std::ceil(height));
  cairo_t* page = handle.get();
  DrawTitle(page, core, shots);
  double y = kHeader;
  for (std::size_t i = 0; i < shots.strips.size(); ++i) {
    View view = SideViewAlong(shots.strips[i].along);
    view.scale = scale;
    view.pageX = kMargin + 0.5 * (kContent - scale * bounds[i].Width()) - scale * bounds[i].left;
    view.pageY = y + kStripAbove - scale * bounds[i].top;
    DrawStrip(page, shots.strips[i], prints, view);
    y += scale * bounds[i].Height() + kStripAbove + kStripBelow;
  }
  View view = TopViewAlong(shots.along);
  view.scale = planScale;
  view.pageX = kMargin + 0.5 * (kContent - planScale * plan.Width()) - planScale * plan.left;
  view.pageY = y + 20 - planScale * plan.top;
  DrawPlan(page, shots, prints, view);
  y += planScale * plan.Height() + 40;
  DrawScaleBar(page, kWidth - kMargin - 90, y, planScale, 90);
  DrawTimeLine(page, core, shots, prints, y + 22);
  return EncodePng(page, png, cause);
}

}  // namespace strider
