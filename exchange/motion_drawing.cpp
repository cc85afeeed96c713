#include "exchange/motion_drawing.h"

#include <algorithm>

#include "strider/base/trig.h"

namespace strider {

Ink Darker(const Ink& ink, double u) {
  return {ink.red * (1 - u), ink.green * (1 - u), ink.blue * (1 - u)};
}
Ink InkOfSide(int side) { return InkOf(side == 0 ? kRight : kLeft); }

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

void Bounds::Cover(const Extent& e) {
  left = std::min(left, e.left);
  top = std::min(top, e.top);
  right = std::max(right, e.right);
  bottom = std::max(bottom, e.bottom);
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

void DrawSpot(cairo_t* page, const PagePoint& p, double radius, const Ink& ink) {
  cairo_new_path(page);
  cairo_arc(page, p.x, p.y, radius, 0, 2 * kPi);
  SetInk(page, ink);
  cairo_fill(page);
}

namespace {

Point3 OnSole(const Footprint& print, double ahead, double left) {
  return print.place + static_cast<float>(ahead) * print.ahead +
         static_cast<float>(left) * print.left;
}

void CoverPrint(Bounds& bounds, const Footprint& print, const View& view) {
  for (const double ahead : {-print.heel, print.toe}) {
    for (const double left : {-print.half, print.half}) {
      bounds.Cover(Project(view, OnSole(print, ahead, left)));
    }
  }
}

/// The view of a strip's frame: moved on with the figures.
View ShiftedView(const View& view, const Strip& strip, std::int64_t frame) {
  View shifted = view;
  shifted.pageX += view.scale * strip.ShiftAt(frame);
  return shifted;
}

void StrokePath(cairo_t* page) {
  SetInk(page, kPathInk, 0.9);
  cairo_set_line_width(page, 0.9);
  cairo_stroke(page);
}

}  // namespace

void CoverStrip(Bounds& bounds, const Strip& strip, const std::vector<const Footprint*>& prints,
                const View& view) {
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
}

void CoverPlan(Bounds& bounds, const Strip& strip, const std::vector<const Footprint*>& prints,
               const View& view) {
  for (const Point3& place : strip.path) bounds.Cover(Project(view, place));
  for (const Footprint* print : prints) CoverPrint(bounds, *print, view);
}

namespace {

bool Overlap(const Extent& a, const Extent& b) {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

/// Numbers that would stand on one that is there already are left out.
class Labels {
 public:
  explicit Labels(cairo_t* page) : page_(page) {}
  /// Something that a number had better not stand on.
  void Avoid(const PagePoint& p, double radius) {
    avoided_.push_back({p.x - radius, p.y - radius, p.x + radius, p.y + radius});
  }
  /// A number in the middle over a line. False if it was left out.
  bool Draw(double x, double y, const std::string& text) {
    const Extent here = ExtentOf(x, y, text);
    if (MeetsAny(here, taken_)) return false;
    taken_.push_back(here);
    DrawText(page_, here.left + 1, y, text);
    return true;
  }
  /// The same where nothing is that it had better not stand on; false otherwise.
  bool DrawClear(double x, double y, const std::string& text) {
    return !MeetsAny(ExtentOf(x, y, text), avoided_) && Draw(x, y, text);
  }

 private:
  Extent ExtentOf(double x, double y, const std::string& text) const {
    constexpr double kHeight = 7;
    const double half = 0.5 * TextWidth(page_, text) + 1;
    return {x - half, y - kHeight, x + half, y + 1};
  }
  static bool MeetsAny(const Extent& here, const std::vector<Extent>& others) {
    return std::any_of(others.begin(), others.end(),
                       [&here](const Extent& other) { return Overlap(here, other); });
  }

  cairo_t* page_;
  std::vector<Extent> taken_, avoided_;
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
  (void)labels.Draw(0.5 * (heel.x + toe.x), heel.y + (print.side == 1 ? 11 : 19),
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

}  // namespace

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
    (void)frames.Draw(p.x, ExtentOf(shot.body, here).top - 4, std::to_string(shot.frame));
  }
}

namespace {

// --- Top view --------------------------------------------------------------------------------

/// A sole: round heel and broader, round toes.
void DrawTopPrint(cairo_t* page, const Footprint& print, const View& view) {
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
}

/// The number of a footprint stands behind its heel, where neither the path nor the next foot is as
/// long as both go straight on; else at its outer side, before its toes, on the inside, or further
/// off.
void DrawTopNumber(const Footprint& print, const View& view, Labels& labels) {
  constexpr double kBaseLine = 2.5;  // under the middle of a number
  const std::string number = std::to_string(print.index);
  const double aside = print.side == 1 ? 1 : -1;
  const auto draw = [&](double ahead, double left, bool clear) {
    const PagePoint p = Project(view, OnSole(print, ahead, left));
    return clear ? labels.DrawClear(p.x, p.y + kBaseLine, number)
                 : labels.Draw(p.x, p.y + kBaseLine, number);
  };
  constexpr double kRoom = 6, kMoreRoom = 10;
  for (const double points : {kRoom, kMoreRoom}) {
    const double room = points / view.scale, beside = aside * (print.half + room);
    if (draw(-print.heel - room, 0, true) || draw(0, beside, true) ||
        draw(print.toe + 0.9 * print.half + room, 0, true) || draw(0, -beside, true)) {
      return;
    }
  }
  (void)draw(-print.heel - kRoom / view.scale, 0, false);
}

}  // namespace

void DrawTopPrints(cairo_t* page, const std::vector<const Footprint*>& prints, const View& view) {
  for (const Footprint* print : prints) DrawTopPrint(page, *print, view);
}

void DrawTopNumbers(cairo_t* page, const std::vector<const Footprint*>& prints,
                    const std::vector<const Strip*>& strips, const View& view) {
  SetFont(page, 6.5);
  Labels numbers(page);
  for (const Footprint* print : prints) {
    for (const double ahead : {0.75 * print->half - print->heel, print->toe - print->half}) {
      numbers.Avoid(Project(view, OnSole(*print, ahead, 0)), 0.9 * view.scale * print->half);
    }
  }
  for (const Strip* strip : strips) {
    for (const Point3& place : strip->path) numbers.Avoid(Project(view, place), 1.5);
  }
  for (const Footprint* print : prints) {
    SetInk(page, Darker(InkOfSide(print->side), 0.45));
    DrawTopNumber(*print, view, numbers);
  }
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

}  // namespace strider
