#include "exchange/picture.h"

#include <gtest/gtest.h>

#include "exchange/figure_drawing.h"
#include "tests/core/figure_fixture.h"
#include "tests/exchange/image.h"

namespace strider {
namespace {

using test::Image;
using test::MakeFigure;

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
