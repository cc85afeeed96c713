#include "exchange/motion_sheet.h"

#include "exchange/motion_shots.h"
#include "tests/exchange/image.h"
#include "tests/exchange/motion_fixture.h"

namespace strider {
namespace {

using test::Image;
using test::SteppingMotion;

Image Sheet(const MotionCore& core) {
  std::string png, cause;
  EXPECT_TRUE(MotionSheet(core, {}, png, cause)) << cause;
  return Image(png);
}

/// Pixels of the time line's row of a side: `warm` for the right. The lowest rows of the picture.
int InTimeLine(const Image& image, bool warm) {
  int count = 0;
  for (int y = image.Height() - 230; y < image.Height(); ++y) {
    for (int x = 0; x < image.Width(); ++x) {
      const std::uint32_t pixel = image.At(x, y);
      const int red = static_cast<int>(pixel >> 16), blue = static_cast<int>(pixel & 0xff);
      count += (warm ? red - blue : blue - red) > 60 ? 1 : 0;
    }
  }
  return count;
}

TEST(MotionSheet, ShowsBothSidesOfAnyPath) {
  const struct {
    const char* what;
    int count;
    Point3 step;
    float heading;
  } rows[] = {
      {"ahead", 8, {25, 0, 0}, 0},      {"to the side", 6, {0, 6, 0}, 0},
      {"backwards", 6, {-15, 0, 0}, 0}, {"up", 8, {25, 0, 8}, 0},
      {"on the spot", 4, {0, 0, 0}, 0}, {"askew", 5, {18, 18, 0}, 0.785f},
      {"long", 60, {25, 0, 0}, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Image image = Sheet(SteppingMotion(row.count, row.step, row.heading));
    EXPECT_EQ(image.Width(), 2000);
    EXPECT_LT(image.Height(), 4000);
    EXPECT_GT(image.Warm(0, image.Width()), 5000);
    EXPECT_GT(image.Cool(0, image.Width()), 5000);
    EXPECT_GT(InTimeLine(image, true), 2000);
    EXPECT_GT(InTimeLine(image, false), 2000);
    // Nothing is cut off at the edges.
    for (int y = 0; y < image.Height(); ++y) {
      ASSERT_EQ(image.At(10, y), image.At(0, 0)) << y;
      ASSERT_EQ(image.At(image.Width() - 10, y), image.At(0, 0)) << y;
    }
  }
}

// Footprints are what colours a sheet besides the figures: a track with one side's spans alone has
// none of the other's in its time line.
TEST(MotionSheet, DrawsTheSpansOfTheSideThatHasThem) {
  MotionCore core = test::MakeFigure();
  for (int i = 0; i < 3; ++i) {
    const Point3 place{30.0f * static_cast<float>(i), 0, 0};
    ASSERT_EQ(InsertFootstep(core.footsteps, i, {1, 2400 * i, 1600, place, 0}), kDone);
  }
  core.endTime = 6400;
  const Image image = Sheet(core);
  EXPECT_GT(InTimeLine(image, false), 20000);
  EXPECT_LT(InTimeLine(image, true), 300) << "the word alone";
}

TEST(MotionSheet, RefusesWhatCannotBeDrawn) {
  MotionCore core = SteppingMotion(3, {20, 0, 0});
  core.footsteps.position[1].x = HUGE_VALF;
  std::string png = "as before", cause;
  EXPECT_FALSE(MotionSheet(core, {}, png, cause));
  EXPECT_EQ(png, "as before");
  EXPECT_FALSE(cause.empty());
}

TEST(MotionShots, CutsLongMotionsAndSaysWhatIsShown) {
  const MotionShots all = TakeShots(SteppingMotion(12, {25, 0, 0}), {});
  ASSERT_EQ(all.strips.size(), 1u);
  EXPECT_EQ(all.shown.last, all.all.last);
  EXPECT_NEAR(all.along.x, 1, 1e-5) << "straight ahead";
  EXPECT_EQ(all.strips[0].drift, 0);

  const MotionShots part = TakeShots(SteppingMotion(200, {25, 0, 0}), {});
  EXPECT_EQ(part.strips.size(), static_cast<std::size_t>(kMostStrips));
  EXPECT_LT(part.shown.last, part.all.last);
  EXPECT_EQ(part.strips.back().last, part.shown.last);
  for (std::size_t i = 1; i < part.strips.size(); ++i) {
    EXPECT_EQ(part.strips[i].first, part.strips[i - 1].last);
  }
}

// Strides whose natural spacing is about a step would all be shown at a touch.
TEST(MotionShots, GoThroughTheStepAndEndWhereTheMotionEnds) {
  for (const float stride : {5.0f, 12.0f, 20.0f, 21.5f, 25.0f, 44.0f}) {
    SCOPED_TRACE(stride);
    const MotionShots shots = TakeShots(SteppingMotion(12, {stride, 0, 0}), {});
    constexpr std::int64_t kStep = 15;
    bool phaseSeen[3] = {};
    for (const Strip& strip : shots.strips) {
      EXPECT_EQ(strip.shots.back().frame, strip.last);
      ASSERT_GE(strip.shots.size(), 2u);
      const Point3 way = strip.shots.back().centre - strip.shots[strip.shots.size() - 2].centre;
      EXPECT_TRUE(strip.drift != 0 || Length(way) > 0.12f * 80) << "the last hides another";
      for (const Shot& shot : strip.shots) phaseSeen[shot.frame % kStep * 3 / kStep] = true;
    }
    EXPECT_TRUE(phaseSeen[0] && phaseSeen[1] && phaseSeen[2]);
  }
}

TEST(MotionShots, TurningBackBeginsOneNewStrip) {
  MotionCore core = test::MakeFigure();
  std::vector<NewFootstep> plan;
  for (int i = 0; i < 16; ++i) {
    const float ahead = 25.0f * static_cast<float>(i < 8 ? i : 15 - i);
    plan.push_back({1 - i % 2, 2400 * i, 2880, {ahead, 0, i % 2 == 0 ? -4.0f : 4.0f}, 0});
  }
  ASSERT_TRUE(PlaceFootsteps(core, plan).Done());
  ASSERT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  const MotionShots shots = TakeShots(core, {});
  EXPECT_EQ(shots.strips.size(), 2u);
  for (const Strip& strip : shots.strips) EXPECT_GT(strip.last - strip.first, 60);
}

TEST(MotionShots, MovesFiguresApartThatWouldHideEachOther) {
  for (const Point3& step : {Point3{0, 0, 0}, Point3{0, 6, 0}}) {
    const MotionShots shots = TakeShots(SteppingMotion(6, step), {});
    ASSERT_EQ(shots.strips.size(), 1u);
    const Strip& strip = shots.strips[0];
    ASSERT_GE(strip.shots.size(), 6u);
    // One after the other along the strip, but for the last, which ends the motion.
    for (std::size_t i = 1; i + 1 < strip.shots.size(); ++i) {
      const auto at = [&](std::size_t k) {
        return Dot(strip.shots[k].centre, strip.along) + strip.ShiftAt(strip.shots[k].frame);
      };
      EXPECT_GT(at(i) - at(i - 1), 0.2 * 80) << i;
    }
  }
}

}  // namespace
}  // namespace strider
