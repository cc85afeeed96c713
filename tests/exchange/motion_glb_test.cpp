#include "exchange/motion_glb.h"

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "exchange/motion_sampler.h"
#include "tests/exchange/motion_fixture.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

/// A file taken apart: the document, and the floats that its accessors point at.
class Reader {
 public:
  explicit Reader(const std::string& bytes) {
    EXPECT_EQ(bytes.substr(0, 4), "glTF");
    EXPECT_EQ(WordAt(bytes, 4), 2u);
    EXPECT_EQ(WordAt(bytes, 8), bytes.size());
    const std::uint32_t json = WordAt(bytes, 12);
    EXPECT_EQ(bytes.substr(16, 4), "JSON");
    document = nlohmann::json::parse(bytes.substr(20, json));
    EXPECT_EQ(bytes.substr(20 + json + 4, 4), std::string("BIN\0", 4));
    buffer_ = bytes.substr(20 + json + 8);
    EXPECT_EQ(WordAt(bytes, 20 + json), buffer_.size());
    EXPECT_EQ(buffer_.size() % 4, 0u);
  }

  std::vector<float> Floats(std::size_t accessor) const {
    const auto& entry = document["accessors"][accessor];
    EXPECT_EQ(entry["componentType"], 5126);
    const auto& view = document["bufferViews"][entry["bufferView"].get<std::size_t>()];
    const std::size_t offset = view["byteOffset"], length = view["byteLength"];
    EXPECT_EQ(offset % 4, 0u);
    std::vector<float> floats(length / sizeof(float));
    std::memcpy(floats.data(), buffer_.data() + offset, length);
    return floats;
  }

  nlohmann::json document;

 private:
  static std::uint32_t WordAt(const std::string& bytes, std::size_t at) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    return word;
  }
  std::string buffer_;
};

std::string Bytes(const MotionCore& core, const GlbOptions& options) {
  const test::ScratchFolder scratch;
  const std::string path = scratch.File("motion.glb");
  std::string cause;
  EXPECT_TRUE(WriteMotionGlb(core, {}, options, path, cause)) << cause;
  return test::ReadFile(path);
}

TEST(MotionGlb, BindsTheBodyToTheStanceOfItsNodes) {
  Structure structure;
  structure.tailLinks = 2;
  MotionCore core = test::MakeFigure(structure);
  PlaceFigure(core, {30, 0, 20}, 1);  // where it stands now is not where it is bound
  GlbOptions options;
  options.metresPerUnit = 0.02;
  options.rootMotion = true;
  const Reader reader(Bytes(core, options));
  const auto& nodes = reader.document["nodes"];
  const auto& skin = reader.document["skins"][0];
  const std::vector<float> back = reader.Floats(skin["inverseBindMatrices"]);
  ASSERT_EQ(skin["joints"].size(), SkeletonOf(core).size());  // less the footprints, and a root

  // Down the tree: each joint's place, taken back by its matrix, is its own origin.
  std::vector<Frame> world(nodes.size());
  std::size_t seen = 0;
  const auto descend = [&](auto&& self, std::size_t node, const Frame& parent) -> void {
    const auto& t = nodes[node]["translation"];
    const auto& r = nodes[node]["rotation"];
    const Frame& frame = world[node] =
        ChildFrame(parent, {r[0], r[1], r[2], r[3]}, Point3{t[0], t[1], t[2]});
    const float* m = &back[16 * node];
    const Point3 p = frame.origin;
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(m[i] * p.x + m[4 + i] * p.y + m[8 + i] * p.z + m[12 + i], 0, 1e-6) << node;
      // Its columns are turned by the joint onto the axes of the world.
      const Point3 column = Rotate(frame.rotation, {m[4 * i], m[4 * i + 1], m[4 * i + 2]});
      EXPECT_NEAR(column[i], 1, 1e-6) << node;
    }
    ++seen;
    if (!nodes[node].contains("children")) return;
    for (const auto& child : nodes[node]["children"]) self(self, child, frame);
  };
  descend(descend, 0, Frame{});
  EXPECT_EQ(seen, skin["joints"].size());
  EXPECT_EQ(world[0].origin, Point3{});
  // The root over the middle of the feet, where the stance has it.
  EXPECT_NEAR(world[1].origin.y, 0.02f * StanceHeight(core), 1e-6);
  EXPECT_NEAR(world[1].origin.x, 0, 1e-6);
}

TEST(MotionGlb, AFigureThatStandsInItsStanceIsNotAnimated) {
  const Reader stance(Bytes(test::MakeFigure(), {}));
  EXPECT_FALSE(stance.document.contains("animations"));
  MotionCore aside = test::MakeFigure();
  PlaceFigure(aside, {10, 0, 0}, 0);
  const Reader reader(Bytes(aside, {}));
  const auto& animation = reader.document["animations"][0];
  ASSERT_EQ(animation["channels"].size(), 1u);  // the root alone stands elsewhere, and stays
  EXPECT_EQ(animation["channels"][0]["target"]["path"], "translation");
  EXPECT_EQ(reader.Floats(animation["samplers"][0]["input"]), std::vector<float>{0});
}

TEST(MotionGlb, TimesCountFromTheFirstFrameOfTheRange) {
  const MotionCore core = test::SteppingMotion(6, {30, 0, 0});
  GlbOptions options;
  options.range = FrameRange{20, 50};
  const Reader reader(Bytes(core, options));
  const auto& animation = reader.document["animations"][0];
  const std::vector<float> times = reader.Floats(animation["samplers"][0]["input"]);
  ASSERT_EQ(times.size(), 31u);
  EXPECT_EQ(times.front(), 0);
  EXPECT_EQ(times.back(), 1);
  const auto& extras = reader.document["scenes"][0]["extras"]["strider"];
  EXPECT_EQ(extras["firstFrame"], 20);
  // The second footstep touches at 2400 ticks, before the range; the third at 4800, 1600 into it.
  EXPECT_NEAR(extras["footsteps"][1]["start"].get<double>(), -800.0 / 4800, 1e-6);
  EXPECT_NEAR(extras["footsteps"][2]["start"].get<double>(), 1600.0 / 4800, 1e-6);
  EXPECT_EQ(Bytes(core, options), Bytes(core, options));
}

TEST(MotionGlb, TakesANameOfAnyBytes) {
  MotionCore core = test::MakeFigure();
  core.name = "\xff\"\\\n";
  const Reader reader(Bytes(core, {}));
  EXPECT_EQ(reader.document["scenes"][0]["name"], "\xef\xbf\xbd\"\\\n");
}

TEST(MotionGlb, LeavesWhatStoodThereWhereItCannotWrite) {
  const test::ScratchFolder scratch;
  std::string cause;
  EXPECT_FALSE(WriteMotionGlb(test::MakeFigure(), {}, {}, scratch.File("no/motion.glb"), cause));
  EXPECT_NE(cause.find("No such file"), std::string::npos);
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
