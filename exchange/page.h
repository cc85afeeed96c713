// A page to draw on and its way to PNG bytes, with the text, inks and scale bar that all pictures
// share. Laid out in points, each two pixels both ways; the same drawing gives the same bytes.
#pragma once

#include <cairo.h>

#include <memory>
#include <string>

#include "exchange/figure_drawing.h"

namespace strider {

inline constexpr double kPixelsPerPoint = 2;
inline constexpr Ink kPaper{0.985, 0.98, 0.97}, kText{0.15, 0.17, 0.21}, kFaint{0.45, 0.46, 0.48};
inline constexpr Ink kGround{0.62, 0.60, 0.56}, kShadow{0.35, 0.33, 0.30};

struct DestroyPage {
  void operator()(cairo_t* page) const { cairo_destroy(page); }
};
using PageHandle = std::unique_ptr<cairo_t, DestroyPage>;

/// A part of the page, in points.
struct Box {
  double x = 0, y = 0, width = 0, height = 0;
  double Right() const { return x + width; }
  double Bottom() const { return y + height; }
};

/// An empty page of so many points.
PageHandle NewPage(double width, double height);
/// The page as PNG. False, `png` unchanged, if Cairo failed or memory ran out; `cause` says which.
[[nodiscard]] bool EncodePng(cairo_t* page, std::string& png, std::string& cause);

void SetInk(cairo_t* page, const Ink& ink, double alpha = 1);

enum class Align { kLeft, kCentre, kRight };
void SetFont(cairo_t* page, double size, bool bold = false);
double TextWidth(cairo_t* page, const std::string& text);
void DrawText(cairo_t* page, double x, double y, const std::string& text,
              Align align = Align::kLeft);

/// The shortest decimal that reads back as the same float.
std::string Written(float value);

/// The largest of 1, 2 and 5 times a power of ten that is not above `limit`.
double RoundLength(double limit);
/// A round length of the scene, at most `longest` points of a page with `scale` points a unit.
void DrawScaleBar(cairo_t* page, double x, double y, double scale, double longest);

}  // namespace strider
