#include "strider/capture/take_guess.h"

#include <algorithm>
#include <fstream>

#include "strider/capture/import_take.h"
#include "strider/capture/marker_names.h"
#include "strider/capture/marker_reader.h"
#include "strider/capture/name_sets.h"
#include "tests/capture/take_fixture.h"

namespace strider {
namespace {

/// A shipped take with all its frames.
CaptureScene Take(const std::string& file, float scale = 1) {
  const std::string text = test::ReadFile(test::TakePath(file));
  const NameGuess guess = GuessNameSet(JointNamesOfBvh(text));
  BvhSettings settings;
  settings.names = &guess.table;
  settings.ticksPerFrame = 0;
  settings.scaleFactor = scale;
  CaptureScene scene;
  CaptureReport report;
  EXPECT_EQ(test::ReadText(scene, text, report, settings), 1) << report.message;
  return scene;
}

TEST(TakeGuess, FindsUnitUpAndTPoseOfRealTakes) {
  const struct {
    const char* file;
    double unit;
  } rows[] = {
      {"walk_cmu_06_01.bvh", 0.01},     {"walk_cmu_02_01.bvh", 0.056444},
      {"walk_cmu_12_01.bvh", 0.056444}, {"run_cmu_09_01.bvh", 0.01},
      {"jump_cmu_13_39.bvh", 0.01},     {"dance_cmu_05_03.bvh", 0.01},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    CaptureScene scene = Take(row.file);
    const UnitGuess unit = GuessUnit(scene);
    EXPECT_EQ(unit.metresPerUnit, row.unit);
    EXPECT_TRUE(unit.plausible);
    EXPECT_NEAR(unit.height, 1.7, 0.12);  // grown people
    const UpGuess up = GuessUpAxis(scene);
    EXPECT_EQ(up.axis, 1);
    EXPECT_FALSE(up.downwards);
    EXPECT_TRUE(FirstFrameStandsAlone(scene));
  }
}

TEST(TakeGuess, KnowsTheSamePersonInOtherUnits) {
  const struct {
    float scale;
    double unit;
  } rows[] = {{0.01f, 1}, {10, 0.001}, {1 / 2.54f, 0.0254}, {1 / 30.48f, 0.3048}, {1, 0.01}};
  for (const auto& row : rows) {
    EXPECT_EQ(GuessUnit(Take("walk_cmu_06_01.bvh", row.scale)).metresPerUnit, row.unit);
  }
  EXPECT_FALSE(GuessUnit(Take("walk_cmu_06_01.bvh", 1e-5f)).plausible);
}

TEST(TakeGuess, TakesAFirstFrameForPartOfTheMotionThatItBegins) {
  // A take that begins in its second frame, and one that stands in a T pose for a while.
  CaptureScene scene = Take("walk_cmu_06_01.bvh");
  CaptureScene still = scene;
  for (JointRecord& joint : scene.joints) {
    for (CaptureSamples* samples : {&joint.positions, &joint.rotations}) {
      if (samples->Count() > 0) samples->samples.erase(samples->samples.begin());
    }
  }
  --scene.numFrames;
  EXPECT_FALSE(FirstFrameStandsAlone(scene));
  for (JointRecord& joint : still.joints) {
    for (CaptureSamples* samples : {&joint.positions, &joint.rotations}) {
      for (int f = 1; f < 5 && f < samples->Count(); ++f) samples->samples[f] = samples->samples[0];
    }
  }
  EXPECT_FALSE(FirstFrameStandsAlone(still));
}

TEST(TakeGuess, FindsUnitAndUpOfMarkersHoweverTheyWereRead) {
  for (const int upVector : {kUpIsX, kUpIsY, kUpIsZ}) {
    MarkerSettings settings;
    settings.upVector = upVector;
    CaptureScene scene;
    CaptureReport report;
    ASSERT_EQ(ReadMarkers(scene, test::TakePath("walk_cmu_06_01.mkr"), settings, report), 1)
        << report.message;
    EXPECT_EQ(GuessUnit(scene).metresPerUnit, 0.001);
    EXPECT_EQ(GuessUpAxis(scene, upVector).axis, 2);
    EXPECT_FALSE(GuessUpAxis(scene, upVector).downwards);
  }
}

TEST(TakeGuess, KnowsUpOfEachAxisOfMarkers) {
  for (int up = 0; up < 3; ++up) {
    for (const float sign : {1.0f, -1.0f}) {
      // Ankles at the origin, knees at 40, the waist at 90 along the axis.
      std::string text = "$RATE 30 $ORDER LANK RANK LKNE RKNE LFWT RFWT LBWT RBWT $POINTS 1";
      for (const int height : {0, 0, 40, 40, 90, 90, 90, 90}) {
        for (int axis = 0; axis < 3; ++axis) {
          text += " " + std::to_string(axis == up ? sign * static_cast<float>(height) : 1.0f);
        }
      }
      for (int upVector = 0; upVector < 3; ++upVector) {
        MarkerSettings settings;
        settings.upVector = upVector;
        CaptureScene scene;
        CaptureReport report;
        ASSERT_EQ(ReadMarkersText(scene, text, "take.mkr", settings, report), 1) << report.message;
        const UpGuess guess = GuessUpAxis(scene, upVector);
        EXPECT_EQ(guess.axis, up);
        EXPECT_EQ(guess.downwards, sign < 0) << up << " read as " << upVector;
      }
    }
  }
}

TEST(TakeGuess, TurnsMarkersOverWhoseUpAxisPointsDown) {
  CaptureScene scene;
  CaptureReport report;
  MarkerSettings settings;
  ASSERT_EQ(ReadMarkers(scene, test::TakePath("walk_cmu_06_01.mkr"), settings, report), 1);
  // The same walk by Z up and by Z down, the front axis kept.
  test::ScratchFolder folder;
  ImportResult walks[2];
  for (const bool down : {false, true}) {
    std::string order = "$RATE 30 $ORDER", points = "$POINTS";
    for (int f = 0; f < scene.numFrames; ++f) {
      points += " " + std::to_string(f + 1);
      for (int m = 0; m < kNumMarkers; ++m) {
        const MarkerRecord& marker = scene.markers[static_cast<std::size_t>(m)];
        if (!marker.present) continue;
        if (f == 0) order += " " + std::string(MarkerNameOf(m));
        const Point3& at = marker.positions.samples[static_cast<std::size_t>(f)];
        const bool dropped = at.x == kDroppedMarker;
        const float sign = down ? -1.0f : 1.0f;
        for (const float value : {at.x, sign * -at.z, sign * at.y}) {
          points += " " + std::to_string(dropped ? at.x : value);
        }
      }
    }
    const std::string path = folder.File(down ? "down.mkr" : "up.mkr");
    std::ofstream(path) << order << " " << points;
    std::string cause;
    ASSERT_TRUE(ImportTake(path, {}, {}, walks[down ? 1 : 0], cause)) << cause;
  }
  const auto turned = [](const ImportResult& walk) {
    return std::count(walk.notes.begin(), walk.notes.end(),
                      "the take's up axis points down; it was turned over");
  };
  EXPECT_EQ(turned(walks[0]), 0);
  EXPECT_EQ(turned(walks[1]), 1);
  ASSERT_GT(walks[0].motion.footsteps.numFootsteps, 4);
  EXPECT_EQ(walks[1].motion.footsteps.position, walks[0].motion.footsteps.position);
}

TEST(SceneRates, AreThoseNearest30ThatATakeIsAWholeMultipleOf) {
  const struct {
    double frameTime;
    double rate;
    int thinning;
  } rows[] = {
      {1 / 24., 24, 1},   {1 / 48., 24, 2},    {1 / 25., 25, 1},   {1 / 50., 25, 2},
      {1 / 100., 25, 4},  {1 / 125., 25, 5},   {1 / 250., 25, 10}, {1 / 60., 30, 2},
      {1 / 120., 30, 4},  {1 / 240., 30, 8},   {1 / 30., 30, 1},   {1 / 72., 24, 3},
      {1 / 90., 30, 3},   {1 / 144., 24, 6},   {1 / 200., 25, 8},  {1 / 15., 15, 1},
      {.0083333, 30, 4},  {.0083, 30, 4},      {.010000, 25, 4},   {1 / 29.97, 30, 1},
      {0.0333333, 30, 1}, {1.001 / 24, 24, 1}, {0.0166667, 30, 2}, {0.004, 25, 10},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(1 / row.frameTime);
    const SceneRate scene = GuessSceneRate(row.frameTime);
    EXPECT_EQ(scene.rate, row.rate);
    EXPECT_EQ(scene.thinning, row.thinning);
    EXPECT_EQ(scene.ticksPerFrame, 4800 / row.rate);
    EXPECT_LT(std::abs(scene.speedChange), 0.6);
  }
  // 70 a second is no multiple of anything near: at 24, three of its frames make one, and 72 would
  // be right.
  EXPECT_EQ(GuessSceneRate(1 / 70.).rate, 24);
  EXPECT_NEAR(GuessSceneRate(1 / 70.).speedChange, 100 * (72 / 70. - 1), 1e-9);
  // 100 a second at 30: three hundredths of a second are shown in a thirtieth.
  EXPECT_EQ(SceneRateAt(0.01, 30).thinning, 3);
  EXPECT_NEAR(SceneRateAt(0.01, 30).speedChange, -10, 1e-9);
}

}  // namespace
}  // namespace strider
