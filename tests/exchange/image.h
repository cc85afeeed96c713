// A picture as those who look at it have it.
#pragma once

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

namespace strider::test {

/// A decoded PNG.
class Image {
 public:
  explicit Image(const std::string& png) {
    std::istringstream source(png);
    surface_.reset(cairo_image_surface_create_from_png_stream(Read, &source));
    EXPECT_EQ(cairo_surface_status(surface_.get()), CAIRO_STATUS_SUCCESS);
  }
  int Width() const { return cairo_image_surface_get_width(surface_.get()); }
  int Height() const { return cairo_image_surface_get_height(surface_.get()); }
  std::uint32_t At(int x, int y) const {
    std::uint32_t pixel;
    const unsigned char* data = cairo_image_surface_get_data(surface_.get());
    std::memcpy(&pixel, data + y * cairo_image_surface_get_stride(surface_.get()) + 4 * x, 4);
    return pixel & 0xffffff;
  }
  /// Pixels of a column range whose red is clearly over their blue, and the other way about.
  int Warm(int from, int to) const { return Count(from, to, 1); }
  int Cool(int from, int to) const { return Count(from, to, -1); }

 private:
  struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  };
  static cairo_status_t Read(void* source, unsigned char* bytes, unsigned int count) {
    auto& in = *static_cast<std::istringstream*>(source);
    return in.read(reinterpret_cast<char*>(bytes), count) ? CAIRO_STATUS_SUCCESS
                                                          : CAIRO_STATUS_READ_ERROR;
  }
  int Count(int from, int to, int sign) const {
    int count = 0;
    for (int y = 0; y < Height(); ++y) {
      for (int x = from; x < to; ++x) {
        const std::uint32_t pixel = At(x, y);
        const int red = static_cast<int>(pixel >> 16), blue = static_cast<int>(pixel & 0xff);
        count += sign * (red - blue) > 60 ? 1 : 0;
      }
    }
    return count;
  }

  std::unique_ptr<cairo_surface_t, Destroy> surface_;
};

}  // namespace strider::test
