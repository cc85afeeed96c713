#include "exchange/picture.h"

#include <algorithm>
#include <cmath>

#include "exchange/figure_drawing.h"
#include "exchange/page.h"
#include "strider/core/figure_layout.h"

namespace strider {
namespace {

/// Joins words to lines no wider than `width`; a word that is wider has a line of its own.
std::vector<std::string> Wrap(cairo_t* page, const std::vector<std::string>& words,
                              const std::string& separator, double width) {
  std::vector<std::string> lines;
  for (const std::string& word : words) {
    const std::string longer = lines.empty() ? word : lines.back() + separator + word;
    if (!lines.empty() && TextWidth(page, longer) <= width) {
      lines.back() = longer;
    } else {
      lines.push_back(word);
    }
  }
  return lines;
}

/// "tailLinks 5" for each parameter that a user would have to set to get this figure.
std::vector<std::string> ChangedParameters(const Structure& structure) {
  std::vector<std::string> changed;
  for (const StructureParameter& parameter : StructureParameters()) {
    const double value = parameter.get(structure);
    if (value == parameter.get(Structure{})) continue;
    const bool isFlag = parameter.type == ParameterType::kBoolean;
    const std::string text =
        isFlag ? (value != 0 ? "true" : "false") : Written(static_cast<float>(value));
    changed.push_back(std::string(parameter.name) + " " + text);
  }
  return changed;
}

// --- Ground, views ----------------------------------------------------------------------------

/// The ground under a figure that reaches from `left` to `right`.
void DrawGround(cairo_t* page, double left, double right, double margin, double y) {
  // A soft shadow where the figure stands, then the line that its soles rest on.
  const double half = 0.62 * (right - left);
  constexpr double kShadowDepth = 5;
  if (half > 0) {
    cairo_save(page);
    cairo_translate(page, 0.5 * (left + right), y);
    cairo_scale(page, half, kShadowDepth);
    cairo_pattern_t* shade = cairo_pattern_create_radial(0, 0, 0, 0, 0, 1);
    cairo_pattern_add_color_stop_rgba(shade, 0, kShadow.red, kShadow.green, kShadow.blue, 0.35);
    cairo_pattern_add_color_stop_rgba(shade, 1, kShadow.red, kShadow.green, kShadow.blue, 0);
    cairo_set_source(page, shade);
    cairo_rectangle(page, -1, 0, 2, 1);
    cairo_fill(page);
    cairo_pattern_destroy(shade);
    cairo_restore(page);
  }
  SetInk(page, kGround);
  cairo_set_line_width(page, 0.8);
  cairo_move_to(page, left - margin, y);
  cairo_line_to(page, right + margin, y);
  cairo_stroke(page);
}

/// Both views of a figure side by side, at scale 1 from the origin of the page.
struct FigureViews {
  Body body;
  View views[2];
  Extent extents[2];

  explicit FigureViews(const MotionCore& core) : body(BodySolids(core)) {
    views[0] = FrontView();
    views[1] = SideView();
    for (int i = 0; i < 2; ++i) extents[i] = ExtentOf(body, views[i]);
  }
  double Width(int i) const { return extents[i].right - extents[i].left; }
  /// The ground is in the picture also where nothing touches it.
  double Above() const { return std::max({0.0, -extents[0].top, -extents[1].top}); }
  double Below() const { return std::max({0.0, extents[0].bottom, extents[1].bottom}); }

  bool CanBeDrawn() const {
    const double size = Width(0) + Width(1) + Above() + Below();
    return std::isfinite(size) && size > 1e-30;
  }
};

// Between the two views, and from them to the box's sides, as parts of the box's width.
constexpr double kGap = 0.1, kSide = 0.03;

double LargestScale(const FigureViews& figure, const Box& box) {
  const double across = (1 - kGap - 2 * kSide) * box.width / (figure.Width(0) + figure.Width(1));
  return std::min(across, box.height / (figure.Above() + figure.Below()));
}

/// Draws both views on one ground line; answers where the line is.
double DrawViews(cairo_t* page, FigureViews figure, const Box& box, double scale) {
  const double ground = box.y + box.height - scale * figure.Below();
  const double used = scale * (figure.Width(0) + figure.Width(1));
  const double gap = std::max(kGap * box.width, (box.width - used) / 3);
  double x = box.x + 0.5 * (box.width - used - gap);
  for (int i = 0; i < 2; ++i) {
    View& view = figure.views[i];
    view.scale = scale;
    view.pageX = x - scale * figure.extents[i].left;
    view.pageY = ground;
    const double width = scale * figure.Width(i);
    DrawGround(page, x, x + width, 0.3 * gap, ground);
    DrawBody(page, figure.body, view);
    x += width + gap;
  }
  return ground;
}

constexpr const char* kCannotBeDrawn = "the figure is too small or too large for a picture";

}  // namespace

bool FigurePicture(const MotionCore& core, std::string& png, std::string& cause) {
  constexpr double kWidth = 700, kHeight = 500, kMargin = 36;
  const FigureViews figure(core);
  if (!figure.CanBeDrawn()) {
    cause = kCannotBeDrawn;
    return false;
  }
  const PageHandle handle = NewPage(kWidth, kHeight);
  cairo_t* page = handle.get();

  SetFont(page, 15, true);
  SetInk(page, kText);
  DrawText(page, kMargin, kMargin + 6, core.name);
  const double nameEnd = kMargin + TextWidth(page, core.name);
  SetFont(page, 10);
  SetInk(page, kFaint);
  DrawText(page, nameEnd + 10, kMargin + 6, Written(CoreFigureHeight(core)) + " units high");
  std::vector<std::string> words = ChangedParameters(core.structure);
  if (words.empty()) words = {"default structure"};
  // With many parameters the text grows smaller before it takes the figure's room.
  SetFont(page, words.size() > 14 ? 7.5 : 9);
  double y = kMargin + 23;
  for (const std::string& line : Wrap(page, words, "   ", kWidth - 2 * kMargin)) {
    DrawText(page, kMargin, y, line);
    y += words.size() > 14 ? 10 : 12;
  }

  const Box box{kMargin, y + 8, kWidth - 2 * kMargin, kHeight - kMargin - 34 - (y + 8)};
  const double scale = LargestScale(figure, box);
  DrawViews(page, figure, box, scale);
  SetFont(page, 8.5);
  SetInk(page, kFaint);
  DrawText(page, kMargin, kHeight - kMargin + 8, "from ahead, and from its right");
  DrawScaleBar(page, kWidth - kMargin - 110, kHeight - kMargin + 8, scale, 110);
  return EncodePng(page, png, cause);
}

namespace {

constexpr double kCellWidth = 250, kCellHeight = 260, kSheetMargin = 20, kCaptionRoom = 34;

void DrawKey(cairo_t* page, const Box& cell, double scale) {
  const struct {
    const char* text;
    Side side;
  } rows[] = {{"the figure's right", kRight}, {"the figure's left", kLeft}, {"middle", kNoSide}};
  double y = cell.y + 0.36 * cell.height;
  const double x = cell.x + 0.24 * cell.width;
  for (const auto& row : rows) {
    const Ink ink = InkOf(row.side);
    cairo_new_path(page);
    cairo_arc(page, x, y - 3.5, 6, 0, 2 * kPi);
    SetInk(page, ink);
    cairo_fill_preserve(page);
    SetInk(page, kOutlineInk);
    cairo_set_line_width(page, 0.7);
    cairo_stroke(page);
    SetFont(page, 10);
    SetInk(page, kText);
    DrawText(page, x + 16, y, row.text);
    y += 21;
  }
  DrawScaleBar(page, x - 6, y + 26, scale, 0.5 * cell.width);
}

}  // namespace

bool FigureSheet(const std::vector<CaptionedFigure>& figures, std::string& png,
                 std::string& cause) {
  constexpr std::size_t kColumns = 4;
  const std::size_t cells = figures.size() + 1;  // the last is the key's
  const std::size_t columns = std::min(cells, kColumns), rows = (cells + columns - 1) / columns;
  const auto cellBox = [columns](std::size_t i) {
    return Box{kSheetMargin + kCellWidth * static_cast<double>(i % columns),
               kSheetMargin + kCellHeight * static_cast<double>(i / columns), kCellWidth,
               kCellHeight};
  };
  const auto figureBox = [&cellBox](std::size_t i) {
    const Box cell = cellBox(i);
    return Box{cell.x + 8, cell.y + 8, cell.width - 16, cell.height - kCaptionRoom - 8};
  };

  std::vector<FigureViews> views;
  double scale = HUGE_VAL;
  for (std::size_t i = 0; i < figures.size(); ++i) {
    views.emplace_back(figures[i].core);
    if (!views.back().CanBeDrawn()) {
      cause = kCannotBeDrawn;
      return false;
    }
    scale = std::min(scale, LargestScale(views.back(), figureBox(i)));
  }
  if (figures.empty()) scale = 1;

  const PageHandle handle = NewPage(2 * kSheetMargin + kCellWidth * static_cast<double>(columns),
                                    2 * kSheetMargin + kCellHeight * static_cast<double>(rows));
  cairo_t* page = handle.get();
  for (std::size_t i = 0; i < figures.size(); ++i) {
    const double ground = DrawViews(page, views[i], figureBox(i), scale);
    const Box cell = cellBox(i);
    SetFont(page, 9.5);
    SetInk(page, kText);
    DrawText(page, cell.x + 0.5 * cell.width, std::max(ground, cell.y + cell.height - 26) + 16,
             figures[i].caption, Align::kCentre);
  }
  DrawKey(page, cellBox(figures.size()), scale);
  return EncodePng(page, png, cause);
}

}  // namespace strider
