#include "strider/capture/marker_reader.h"

#include "strider/capture/bridge_markers.h"
#include "strider/capture/marker_names.h"
#include "tests/capture/take_fixture.h"

namespace strider {
namespace {

const std::string kNames = "LFWT RFWT LBWT LKNE RKNE LANK RANK";
constexpr Point3 kGone = {kDroppedMarker, kDroppedMarker, kDroppedMarker};

/// Places of seven markers: 1 2 3 for the first, 4 5 6 for the next.
std::string Row(int first = 1, const std::string& between = " ") {
  std::string row;
  for (int i = 0; i < 21; ++i) row += between + std::to_string(first + i);
  return row;
}

std::string Keywords(const std::string& head, const std::string& points) {
  return "$COMMENTS\nof a day\n" + head + "$ORDER\n" + kNames + "\n$POINTS\n" + points;
}

CaptureScene Read(const std::string& text, const MarkerSettings& settings = {}) {
  CaptureScene scene;
  CaptureReport report;
  EXPECT_EQ(ReadMarkersText(scene, text, "take.mkr", settings, report), 1) << report.message;
  return scene;
}

const std::vector<Point3>& Places(const CaptureScene& scene, int marker) {
  return scene.markers[static_cast<std::size_t>(marker)].positions.samples;
}

TEST(ReadMarkers, PutsPlacesIntoTheCoresAxes) {
  const struct {
    int upVector;
    Point3 first;
  } rows[] = {{kUpIsX, {-2, 1, 3}}, {kUpIsY, {1, 2, 3}}, {kUpIsZ, {1, 3, -2}}};
  for (const auto& row : rows) {
    MarkerSettings settings;
    settings.upVector = row.upVector;
    settings.scaleFactor = 10;
    const CaptureScene scene =
        Read(Keywords("$RATE 30\n", "1" + Row() + "\n2 D" + Row(101)), settings);
    EXPECT_EQ(Places(scene, kLFWT)[0], 10 * row.first);
    EXPECT_EQ(scene.kind, CaptureKind::kMarkers);
  }
  const CaptureScene dropped =
      Read(Keywords("$RATE 30\n", "1" + Row() + "\n2 dropped" + Row(4).substr(0, 44) + "\n"));
  EXPECT_EQ(dropped.numFrames, 1);
}

TEST(ReadMarkers, TakesOneWordForAMissingMarker) {
  // Of the first marker one word stands there, of the others three numbers.
  std::string row = "2 D";
  for (int i = 4; i < 22; ++i) row += " " + std::to_string(100 + i);
  const CaptureScene scene =
      Read(Keywords("$RATE 30\n", "1" + Row() + "\n" + row + "\n3 nan" + Row(2)));
  ASSERT_EQ(scene.numFrames, 3);
  EXPECT_EQ(Places(scene, kLFWT)[1], kGone);
  EXPECT_EQ(Places(scene, kRFWT)[1], (Point3{104, 106, -105}));
  EXPECT_EQ(Places(scene, kLFWT)[2], kGone);
}

TEST(ReadMarkers, ThinsByTheRate) {
  std::string points;
  for (int f = 0; f < 10; ++f) points += std::to_string(f) + Row(100 * f) + "\n";
  const CaptureScene scene = Read(Keywords("$RATE 120\n$FIRSTFRAME 1\n$LASTFRAME 10\n", points));
  EXPECT_EQ(scene.numFrames, 2);  // of ten, every fourth of two whole fours
  // A file that tells no rate has the scene's, and where that is open too the usual one.
  MarkerSettings whole;
  whole.ticksPerFrame = 0;
  EXPECT_EQ(Read(Keywords("", points), whole).frameTime, 1 / 30.0);
  EXPECT_EQ(scene.thinning, 4);
  EXPECT_DOUBLE_EQ(scene.frameTime, 1 / 120.0);
  EXPECT_EQ(Places(scene, kLFWT)[1].x, 400);
}

TEST(ReadMarkers, ReadsWhatTheTalentMeasures) {
  const CaptureScene inches =
      Read(Keywords("$RATE 30\n$TALENT MILLIMETERS HEAD 1000.0 footl 200 pelvh 10\n", "1" + Row()));
  EXPECT_TRUE(inches.hasTalent);
  EXPECT_NEAR(inches.talent[kTalentHead], 39.37f, 1e-4);
  EXPECT_NEAR(inches.talent[kTalentFootLength], 7.874f, 1e-4);
  EXPECT_NEAR(inches.talent[kTalentPelvisHeight], 0.3937f, 1e-5);
  EXPECT_NEAR(inches.talent[kTalentThigh], 1.9685f, 1e-4);  // not measured: 50 of the file's unit
  const CaptureScene plain = Read(Keywords("$TAL INCHES CALF 18\n", "1" + Row()));
  EXPECT_EQ(plain.talent[kTalentCalf], 18);
  EXPECT_EQ(Read(Keywords("$TAL CALF 18\n", "1" + Row())).talent[kTalentCalf], 18);
  EXPECT_FALSE(Read(Keywords("", "1" + Row())).hasTalent);
}

TEST(ReadMarkers, ReadsTablesHoweverTheirNamesStand) {
  const auto table = [](const std::string& head, const std::string& between) {
    std::string text = "File " + head;
    for (int f = 0; f < 3; ++f) {
      text +=
          std::to_string(f + 1) + between + std::to_string(0.01 * f) + Row(10 * f, between) + "\n";
    }
    return text;
  };
  std::string commas = kNames;
  std::replace(commas.begin(), commas.end(), ' ', ',');
  std::string tabs = "\t" + kNames;
  for (std::size_t at; (at = tabs.find(' ')) != std::string::npos;) tabs.replace(at, 1, "\t\t\t");
  const std::string texts[] = {
      table("1 " + kNames + "\n", " "),
      table("type\n120 120 3 7 mm\n1\n" + kNames + "\n", "\t"),
      table("x\r\n1," + commas + "\r\n", ","),
      table("x\nFrame#\tTime" + tabs + "\t\t\n\t\tX1\tY1\tZ1\n\n", "\t"),
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text.substr(0, 60));
    MarkerSettings settings;
    settings.ticksPerFrame = 0;
    const CaptureScene scene = Read(text, settings);
    ASSERT_EQ(scene.numFrames, 3);
    EXPECT_EQ(Places(scene, kRANK)[2], (Point3{38, 40, -39}));
    EXPECT_NEAR(scene.frameTime, 0.01, 1e-9);
    EXPECT_TRUE(scene.extraMarkers.empty());
    settings.ticksPerFrame = 96;  // 50 a second
    EXPECT_EQ(Read(text, settings).thinning, 2);
  }
  // Two commas hold a 0 between them.
  std::string text = texts[2];
  text.replace(text.find("0.000000,0,1"), 12, "0.000000,,1");
  EXPECT_TRUE(Places(Read(text), kRANK)[0] == Places(Read(texts[2]), kRANK)[0]);
}

TEST(ReadMarkers, NamesWhatItDoesNotKnow) {
  NameTable names;
  names.rows[kLHEL] = "LHEE";
  MarkerSettings settings;
  settings.names = &names;
  const std::string more =
      "$ORDER HAT LHEE LPRPT " + kNames + "\n$POINTS\n1 7 8 9 0 0 1 0 0 2" + Row();
  CaptureScene scene;
  CaptureReport report;
  ASSERT_EQ(ReadMarkersText(scene, more, "take.mkr", settings, report), 1) << report.message;
  EXPECT_EQ(report.unknownNames, (std::vector<std::string>{"HAT", "LPRPT"}));
  EXPECT_TRUE(scene.markers[kLHEL].present);
  EXPECT_FALSE(scene.markers[kLPRPT].present);
  ASSERT_EQ(scene.extraMarkers.size(), 2u);
  EXPECT_EQ(scene.extraMarkers[0].positions.samples[0], (Point3{7, 9, -8}));
  EXPECT_EQ(Places(scene, kLFWT)[0], (Point3{1, 3, -2}));
}

TEST(ReadMarkers, ReadsTheWalk) {
  NameTable names;
  std::string cause;
  ASSERT_TRUE(ReadNameFile(NameKind::kMarkers, test::TakePath("heel.mnm"), names, cause)) << cause;
  MarkerSettings settings;
  settings.names = &names;
  CaptureScene scene;
  CaptureReport report;
  ASSERT_EQ(ReadMarkers(scene, test::TakePath("walk_cmu_06_01.mkr"), settings, report), 1)
      << report.message;
  EXPECT_EQ(report.framesInFile, 494);
  EXPECT_EQ(report.framesStated, 494);
  EXPECT_EQ(scene.numFrames, 123);
  EXPECT_EQ(report.unknownNames.size(), 10u);
  EXPECT_EQ(Places(scene, kLWRE)[0], Places(scene, kLWRA)[0]);
  // He walks along X, at the height of a waist.
  EXPECT_NEAR(Places(scene, kLFWT)[0].y, 1016.775f, 1e-3);
  EXPECT_GT(Places(scene, kLFWT).back().x - Places(scene, kLFWT)[0].x, 4000);
}

TEST(ReadMarkers, RefusesWithFileLineAndCause) {
  const std::string good = Keywords("$RATE 30\n", "1" + Row());
  const auto without = [&](std::string text, const std::string& word, const std::string& by) {
    return text.replace(text.find(word), word.size(), by);
  };
  const struct {
    const char* what;
    std::string text;
    int status;
    const char* message;
  } rows[] = {
      {"nothing", "", 0, "take.mkr: the file is empty"},
      {"rubbish", std::string("\1\2\3\0\4\5", 6), 0, "ends before its points"},
      {"no points", "$ORDER\n" + kNames, 0, "take.mkr:2: the file ends before its points"},
      {"a rate of 0", without(good, "$RATE 30", "$RATE 0"), 0, "take.mkr:3: the rate"},
      {"no knee", without(good, "LKNE", "KNEE"), -1, "these markers are missing: LKNE"},
      {"two of the waist", without(good, "LBWT", "WAIST"), -1, "three of LFWT"},
      {"a measure in words", without(good, "$ORDER", "$TAL HEAD big $ORDER"), 0,
       "\"big\" is no measure"},
      {"a table cut in a row", "FILE\n1 " + kNames + "\n1 0" + Row() + "\n2 0.1 1 2 3", 0,
       "take.mkr:4: the frame lacks numbers"},
      {"a table without data", "FILE\n" + kNames, 0, "ends before its data"},
      {"a word in a table", "FILE\n1 " + kNames + "\n1 0 x" + Row(), 0, "take.mkr:3: \"x\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    CaptureScene scene;
    CaptureReport report;
    EXPECT_EQ(ReadMarkersText(scene, row.text, "take.mkr", {}, report), row.status);
    EXPECT_NE(report.message.find(row.message), std::string::npos) << report.message;
    EXPECT_EQ(scene.numFrames, 0);
  }
  // Three of the waist's markers, the sacrum's among them, are enough.
  EXPECT_EQ(Read(without(good, "LBWT", "SACR")).numFrames, 1);
}

TEST(ReadMarkers, KeepsTheWholeFramesBeforeDamage) {
  const std::string two = Keywords("$RATE 30\n", "1" + Row() + "\n2" + Row() + "\n");
  for (const char* more : {"3 1 2 3", "3 1 2 rubbish", "rubbish"}) {
    CaptureScene scene;
    CaptureReport report;
    ASSERT_EQ(ReadMarkersText(scene, two + more, "take.mkr", {}, report), 1);
    EXPECT_EQ(scene.numFrames, 2);
    EXPECT_EQ(Places(scene, kLFWT).size(), 2u);
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_NE(report.notes[0].find("2 frames were read"), std::string::npos);
  }
}

TEST(ReadMarkers, TellsOfRowsWithWrongCounts) {
  const struct {
    std::string rows;
    int noteLine;  // of the row whose frame does not begin with its number; 0 for no note
  } cases[] = {{"1" + Row() + "\n2" + Row() + "\n3" + Row() + "\n", 0},
               {"1" + Row() + "\n5" + Row() + "\n9" + Row() + "\n", 0},
               {"1" + Row() + "\n2" + Row() + " 7\n3" + Row() + "\n", 2},
               {"1" + Row() + "\n2" + Row() + "\n7" + Row() + "\n", 3}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.rows);
    const std::string text = Keywords("$RATE 30\n", row.rows);
    CaptureScene scene;
    CaptureReport report;
    ASSERT_EQ(ReadMarkersText(scene, text, "take.mkr", {}, report), 1);
    ASSERT_EQ(report.notes.empty(), row.noteLine == 0);
    if (row.noteLine == 0) continue;
    const auto before = text.begin() + static_cast<std::ptrdiff_t>(text.find(row.rows));
    const auto line = std::count(text.begin(), before, '\n') + row.noteLine;
    const std::string place = "take.mkr:" + std::to_string(line) + ":";
    EXPECT_EQ(report.notes[0].substr(0, place.size()), place) << report.notes[0];
  }
}

TEST(BridgeDroppedMarkers, ClosesShortGapsAlongTheMotion) {
  CaptureScene scene;
  scene.numFrames = 12;
  MarkerRecord& marker = scene.markers[kLKNE];
  marker.name = "LKNE";
  // A throw: height 20 t - t * t. A cubic holds it whole where the ways beside the gap are known.
  for (int t = 0; t < 12; ++t) {
    marker.positions.samples.push_back(
        {static_cast<float>(2 * t), static_cast<float>(20 * t - t * t), 0});
  }
  const std::vector<Point3> whole = marker.positions.samples;
  for (const int lost : {0, 4, 5, 8, 9, 10}) marker.positions.samples[lost] = kGone;
  const BridgeReport report = BridgeDroppedMarkers(scene, 2);
  EXPECT_EQ(report.bridged, 1);
  ASSERT_EQ(report.remain.size(), 2u);
  EXPECT_EQ(report.remain[1].name, "LKNE");
  EXPECT_EQ(report.remain[1].first, 8);
  EXPECT_EQ(report.remain[1].last, 10);
  for (const int t : {4, 5}) {
    EXPECT_NEAR(marker.positions.samples[t].x, whole[t].x, 1e-4);
    EXPECT_NEAR(marker.positions.samples[t].y, whole[t].y, 0.7);  // ways are of half a frame off
  }
  EXPECT_EQ(marker.positions.samples[9], kGone);
}

}  // namespace
}  // namespace strider
