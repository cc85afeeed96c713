#include "exchange/picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "exchange/figure_drawing.h"
#include "tests/exchange/random_structures.h"

namespace strider {
namespace {

/// A decoded PNG.
class Image {
 public:
  explicit Image(const std::string& png) {
    Source source{&png, 0};
    surface_.reset(cairo_image_surface_create_from_png_stream(Read, &source));
    whole_ = source.place == png.size();
  }
  bool IsWhole() const {
    return whole_ && cairo_surface_status(surface_.get()) == CAIRO_STATUS_SUCCESS;
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
  struct Source {
    const std::string* bytes;
    std::size_t place;
  };
  struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  };

  static cairo_status_t Read(void* source, unsigned char* bytes, unsigned int count) {
    Source& from = *static_cast<Source*>(source);
    if (from.bytes->size() - from.place < count) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(bytes, from.bytes->data() + from.place, count);
    from.place += count;
    return CAIRO_STATUS_SUCCESS;
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
  bool whole_ = false;
};

std::string Picture(const Structure& structure) {
  std::string png, cause;
  EXPECT_TRUE(FigurePicture(Standing(structure), png, cause)) << cause;
  return png;
}

TEST(FigurePicture, ShowsBothSidesFromAheadAndTheRightSideFromThere) {
  const std::string png = Picture({});
  const Image image(png);
  ASSERT_TRUE(image.IsWhole());
  ASSERT_EQ(image.Width(), 1400);
  ASSERT_EQ(image.Height(), 1000);
  EXPECT_EQ(png, Picture({})) << "the same figure gives the same bytes";

  // From ahead, in the left half, the figure's warm right side is at the viewer's left.
  const int middle = image.Width() / 2;
  double warmPlace = 0, coolPlace = 0;
  for (int x = 0; x < middle; ++x) {
    warmPlace += static_cast<double>(x) * image.Warm(x, x + 1);
    coolPlace += static_cast<double>(x) * image.Cool(x, x + 1);
  }
  ASSERT_GT(image.Warm(0, middle), 5000);
  ASSERT_GT(image.Cool(0, middle), 5000);
  EXPECT_LT(warmPlace / image.Warm(0, middle), coolPlace / image.Cool(0, middle) - 50);
  // From its right, the right limbs hide the left ones.
  EXPECT_GT(image.Warm(middle, image.Width()), 20 * image.Cool(middle, image.Width()));
}

TEST(FigurePicture, KeepsAnyFigureWithinThePage) {
  for (const Structure& structure : RandomStructures(3, 12)) {
    const Image image(Picture(structure));
    ASSERT_TRUE(image.IsWhole());
    const std::uint32_t paper = image.At(0, 0);
    for (int x = 0; x < image.Width(); ++x) {
      EXPECT_EQ(image.At(x, 20), paper) << x;
      EXPECT_EQ(image.At(x, image.Height() - 20), paper) << x;
    }
    for (int y = 0; y < image.Height(); ++y) {
      EXPECT_EQ(image.At(20, y), paper) << y;
      EXPECT_EQ(image.At(image.Width() - 20, y), paper) << y;
    }
    EXPECT_GT(image.Warm(0, image.Width()), 1000);
  }
}

TEST(FigurePicture, RefusesAFigureWithoutExtent) {
  MotionCore core = Standing({});
  core.body.bodyPosition.x = HUGE_VALF;
  CoreForwardKinematics(core);
  std::string png = "as before", cause;
  EXPECT_FALSE(FigurePicture(core, png, cause));
  EXPECT_EQ(png, "as before");
  EXPECT_FALSE(cause.empty());
}

TEST(FigureSheet, HasACellForEachFigureAndOneForTheKey) {
  const auto sheetOf = [](std::size_t figures) {
    std::string png, cause;
    EXPECT_TRUE(FigureSheet({figures, {"as default", Standing({})}}, png, cause)) << cause;
    return Image(png);
  };
  const Image three = sheetOf(3), four = sheetOf(4);
  ASSERT_TRUE(three.IsWhole());
  ASSERT_TRUE(four.IsWhole());
  EXPECT_EQ(three.Width(), four.Width());
  EXPECT_GT(four.Height(), 3 * three.Height() / 2);
  // Each cell of the row holds a figure, the last one the key.
  for (int cell = 0; cell < 3; ++cell) {
    const int left = three.Width() * cell / 4, right = three.Width() * (cell + 1) / 4;
    EXPECT_GT(three.Warm(left, right), 2000) << cell;
  }
}

TEST(FigureDrawing, MeasuresWhatItDraws) {
  const MotionCore core = Standing({});
  View view = SideView();
  view.scale = 10;
  view.pageX = 100;
  view.pageY = 900;
  const Extent extent = ExtentOf(BodySolids(core), view);
  // The soles stand on the page's ground, the crown is as high as the marker on the head.
  const float crown = UnmirroredLinkTransform(core, kHeadNub, 0).Origin().z;
  EXPECT_NEAR(extent.bottom, 900, 0.5);
  EXPECT_NEAR(extent.top, 900 - 10 * crown, 0.5);
  // Sole and toe reach ahead as far as the foot's frame says, give or take half a toe.
  const float toe = UnmirroredLinkTransform(core, kRightToeNubs, 0).Origin().x;
  EXPECT_NEAR(extent.right, 100 + 10 * toe, 5);

  // Three times as near, three times as large about the origin's place.
  view.scale = 30;
  const Extent large = ExtentOf(BodySolids(core), view);
  EXPECT_NEAR(large.top - 900, 3 * (extent.top - 900), 1e-3);
  EXPECT_NEAR(large.right - 100, 3 * (extent.right - 100), 1e-3);
}

}  // namespace
}  // namespace strider
