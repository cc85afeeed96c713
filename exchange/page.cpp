#include "exchange/page.h"

#include <charconv>
#include <cmath>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STRIDER_LEAKS_ARE_SOUGHT
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define STRIDER_LEAKS_ARE_SOUGHT
#endif
#ifdef STRIDER_LEAKS_ARE_SOUGHT
// Cairo keeps the fonts that it found up to the end, in records of fontconfig whose pointers are
// offsets, so that a search for leaks takes them for lost.
extern "C" {
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
const char* __lsan_default_options();
const char* __lsan_default_options() { return "print_suppressions=0"; }
}
#endif

namespace strider {
namespace {

cairo_status_t AppendBytes(void* sink, const unsigned char* bytes, unsigned int count) {
  try {
    static_cast<std::string*>(sink)->append(reinterpret_cast<const char*>(bytes), count);
  } catch (const std::bad_alloc&) {  // Cairo is C: nothing may be thrown through it
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

void SetInk(cairo_t* page, const Ink& ink, double alpha) {
  cairo_set_source_rgba(page, ink.red, ink.green, ink.blue, alpha);
}

PageHandle NewPage(double width, double height) {
  cairo_surface_t* surface =
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width * kPixelsPerPoint),
                                 static_cast<int>(height * kPixelsPerPoint));
  PageHandle handle(cairo_create(surface));
  cairo_surface_destroy(surface);  // the page keeps it
  cairo_t* page = handle.get();
  cairo_scale(page, kPixelsPerPoint, kPixelsPerPoint);
  SetInk(page, kPaper);
  cairo_paint(page);
  // Glyphs must not depend on the settings of the screen that the program runs at.
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(page, options);
  cairo_font_options_destroy(options);
  return handle;
}

bool EncodePng(cairo_t* page, std::string& png, std::string& cause) {
  cairo_status_t status = cairo_status(page);
  std::string bytes;
  if (status == CAIRO_STATUS_SUCCESS) {
    status = cairo_surface_write_to_png_stream(cairo_get_target(page), AppendBytes, &bytes);
  }
  if (status != CAIRO_STATUS_SUCCESS) {
    cause = std::string("cannot be drawn: ") + cairo_status_to_string(status);
    return false;
  }
  png = std::move(bytes);
  return true;
}

void SetFont(cairo_t* page, double size, bool bold) {
  cairo_select_font_face(page, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(page, size);
}

double TextWidth(cairo_t* page, const std::string& text) {
  cairo_text_extents_t extents;
  cairo_text_extents(page, text.c_str(), &extents);
  return extents.x_advance;
}

void DrawText(cairo_t* page, double x, double y, const std::string& text, Align align) {
  if (align == Align::kCentre) x -= 0.5 * TextWidth(page, text);
  if (align == Align::kRight) x -= TextWidth(page, text);
  cairo_move_to(page, x, y);
  cairo_show_text(page, text.c_str());
}

std::string Written(float value) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

double RoundLength(double limit) {
  double length = std::pow(10.0, std::floor(std::log10(limit)));
  for (double step : {5.0, 2.0}) {
    if (step * length <= limit) return step * length;
  }
  return length;
}

void DrawScaleBar(cairo_t* page, double x, double y, double scale, double longest) {
  const double units = RoundLength(longest / scale), length = units * scale;
  SetInk(page, kText);
  cairo_set_line_width(page, 1);
  cairo_move_to(page, x, y - 3);
  cairo_line_to(page, x, y);
  cairo_line_to(page, x + length, y);
  cairo_line_to(page, x + length, y - 3);
  cairo_stroke(page);
  SetFont(page, 8.5);
  DrawText(page, x + 0.5 * length, y - 5, Written(static_cast<float>(units)) + " units",
           Align::kCentre);
}

}  // namespace strider
