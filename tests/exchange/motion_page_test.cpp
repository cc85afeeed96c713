#include "exchange/motion_page.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "exchange/base64.h"
#include "exchange/viewer_template.h"
#include "tests/exchange/motion_fixture.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

using Json = nlohmann::json;

Json DataOf(const MotionCore& core, const MotionPageOptions& options = {}) {
  return Json::parse(MotionPageData(core, {}, options));
}

std::string Decoded(const std::string& text) {
  const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    bits = bits << 6 | static_cast<unsigned>(letters.find(c));
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xff);
  }
  return bytes;
}

int Integer(const std::string& bytes, std::size_t i, std::size_t size) {
  unsigned value = 0;
  for (std::size_t k = 0; k < size; ++k) {
    value |= static_cast<unsigned>(static_cast<unsigned char>(bytes[i * size + k])) << (8 * k);
  }
  return size == 2 ? static_cast<std::int16_t>(value) : static_cast<int>(value);
}

TEST(Base64, WritesTheKnownVectors) {
  const struct {
    const char* bytes;
    const char* text;
  } rows[] = {{"", ""},        {"f", "Zg=="},          {"fo", "Zm8="},
              {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {"\xff\xef\xbe", "/+++"}};
  for (const auto& row : rows) EXPECT_EQ(Base64(row.bytes), row.text);
}

TEST(MotionPage, HoldsWhatTheMotionIsMadeOf) {
  const MotionCore core = test::SteppingMotion(6, {30, 0, 0});
  const Json data = DataOf(core);
  const FrameRange range = FrameRangeOf(core);
  const auto frames = static_cast<std::size_t>(range.Count());
  const std::size_t links = data["links"].size();
  EXPECT_EQ(data["motion"]["footsteps"].size(), 6u);
  EXPECT_EQ(data["motion"]["tracks"]["lleg"]["numKeys"], core.leg[1].table.track.numKeys);
  // Gravity is 9.81 m/s2 for a figure as high as a person.
  EXPECT_NEAR(data["metresPerUnit"].get<double>() * core.structure.height, 1.74, 0.005);

  const std::string times = Decoded(data["times"]);
  ASSERT_EQ(times.size(), 4 * frames);
  EXPECT_EQ(Integer(times, 0, 4), range.first * 160);
  EXPECT_EQ(Integer(times, frames - 1, 4), range.last * 160);
  EXPECT_EQ(Decoded(data["frames"]["roots"]).size(), 12 * frames);
  EXPECT_EQ(Decoded(data["frames"]["poses"]).size(), 14 * frames * links);

  for (std::size_t i = 0; i < links; ++i) {
    const Json& link = data["links"][i];
    EXPECT_LT(link["parent"].get<int>(), static_cast<int>(i));
    EXPECT_NE(link["id"], kFootprints);
  }
  ASSERT_EQ(data["bodies"].size(), 4u);
  for (const Json& body : data["bodies"]) {
    EXPECT_GT(body.size(), 20u);
    for (const Json& shape : body) {
      const auto corners = static_cast<int>(Decoded(shape["points"]).size() / 12);
      const std::string faces = Decoded(shape["faces"]);
      EXPECT_EQ(Decoded(shape["normals"]).size(), static_cast<std::size_t>(3 * corners));
      for (std::size_t k = 0; k < faces.size() / 2; ++k) EXPECT_LT(Integer(faces, k, 2), corners);
    }
  }
}

TEST(MotionPage, TakesRangeRateScaleAndBody) {
  MotionCore core = test::SteppingMotion(6, {30, 0, 0});
  const Json data = DataOf(core, {0.0254, FrameRange{10, 20}, 10, 3});
  EXPECT_NEAR(data["metresPerUnit"].get<double>(), 0.0254, 1e-6);
  EXPECT_EQ(data["bodyType"], 3);
  const std::string times = Decoded(data["times"]);
  ASSERT_EQ(times.size(), 5u * 4);  // every third frame, and the last
  EXPECT_EQ(Integer(times, 1, 4), 13 * 160);
  EXPECT_EQ(Integer(times, 4, 4), 20 * 160);

  // A strider without keys or footsteps is one frame.
  EXPECT_EQ(Decoded(DataOf(test::MakeFigure())["times"]).size(), 4u);
  core.body.gravAccel = 0;
  EXPECT_EQ(DataOf(core)["metresPerUnit"], 1);
}

TEST(MotionPage, NoNameBreaksOutOfItsElement) {
  const test::ScratchFolder scratch;
  MotionCore core = test::MakeFigure();
  const struct {
    std::string name, read;
  } rows[] = {{"</script><script>alert(1)</script>", "</script><script>alert(1)</script>"},
              {"<!--<script>", "<!--<script>"},
              {"\"\\\n\x01", "\"\\\n\x01"},
              {"\xff not UTF-8", "\xef\xbf\xbd not UTF-8"}};
  for (const auto& row : rows) {
    core.name = row.name;
    const std::string text = MotionPageData(core, {}, {});
    EXPECT_EQ(text.find('<'), std::string::npos);
    const std::string path = scratch.File("page.html");
    std::string cause;
    ASSERT_TRUE(WriteMotionPage(core, {}, {}, path, cause)) << cause;
    // The page is the template with the motion where it had none.
    const std::string page = test::ReadFile(path), before = ViewerTemplate();
    const std::size_t place = page.find(text);
    ASSERT_NE(place, std::string::npos);
    EXPECT_EQ(page.substr(0, place) + "null" + page.substr(place + text.size()), before);
    EXPECT_EQ(Json::parse(text)["name"], row.read);
  }
}

TEST(MotionPage, StaysSmall) {
  MotionCore core = test::SteppingMotion(66, {20, 0, 0});  // of half a second each
  const FrameRange range{0, 999};
  const std::size_t size = MotionPageData(core, {}, {{}, range, {}, {}}).size();
  EXPECT_LT(size, 1'500'000u);
}

TEST(MotionPage, RefusesWhatNoPageCanBe) {
  const test::ScratchFolder scratch;
  const MotionCore core = test::MakeFigure();
  const struct {
    const char* what;
    MotionPageOptions options;
  } rows[] = {
      {"too many frames", {{}, FrameRange{0, kMaxPageFrames}, {}, {}}},
      {"too many a second", {{}, FrameRange{0, 30'000}, 4800, {}}},
      {"no scale", {0, {}, {}, {}}},
      {"no rate", {{}, {}, -24, {}}},
      {"no number", {NAN, {}, {}, {}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::string cause;
    EXPECT_FALSE(WriteMotionPage(core, {}, row.options, scratch.File("page.html"), cause));
    EXPECT_FALSE(cause.empty());
  }
  std::string cause;
  EXPECT_FALSE(WriteMotionPage(core, {}, {}, scratch.File("no/such/folder.html"), cause));
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
