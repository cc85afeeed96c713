#include "exchange/picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>

#include "exchange/figure_drawing.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::MakeFigure;

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

Image Picture(const Structure& structure) {
  std::string png, cause;
  EXPECT_TRUE(FigurePicture(MakeFigure(structure), png, cause)) << cause;
  return Image(png);
}

TEST(FigurePicture, ShowsBothSidesFromAheadAndTheRightSideFromThere) {
  const Image image = Picture({});
  ASSERT_EQ(image.Width(), 1400);
  ASSERT_EQ(image.Height(), 1000);
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
  test::Random random(3);
  for (int i = 0; i < 12; ++i) {
    Structure structure = RandomStructure(random);
    structure.height = std::pow(10.0f, random.Between(-3, 6));
    const Image image = Picture(structure);
    const std::uint32_t paper = image.At(0, 0);
    bool outside = false;
    for (int x = 0; x < image.Width(); ++x) {
      outside |= image.At(x, 20) != paper || image.At(x, image.Height() - 20) != paper;
    }
    for (int y = 0; y < image.Height(); ++y) {
      outside |= image.At(20, y) != paper || image.At(image.Width() - 20, y) != paper;
    }
    EXPECT_FALSE(outside) << i;
    EXPECT_GT(image.Warm(0, image.Width()), 1000) << i;
  }
}

TEST(FigurePicture, RefusesAFigureWithoutExtent) {
  MotionCore core = MakeFigure();
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
    EXPECT_TRUE(FigureSheet({figures, {"as default", MakeFigure()}}, png, cause)) << cause;
    return Image(png);
  };
  const Image three = sheetOf(3), four = sheetOf(4);
  EXPECT_EQ(three.Width(), four.Width());
  EXPECT_GT(four.Height(), 3 * three.Height() / 2) << "the key needs a second row";
  for (int cell = 0; cell < 3; ++cell) {
    EXPECT_GT(three.Warm(three.Width() * cell / 4, three.Width() * (cell + 1) / 4), 2000) << cell;
  }
}

TEST(FigureDrawing, MeasuresWhatItDraws) {
  const MotionCore core = MakeFigure();
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
}

}  // namespace
}  // namespace strider
