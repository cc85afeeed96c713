#include "exchange/motion_npz.h"

#include <algorithm>

#include "exchange/motion_range.h"
#include "exchange/motion_sampler.h"
#include "exchange/npy_array.h"
#include "exchange/zip_writer.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/exchange/motion_fixture.h"
#include "tests/exchange/npz_reader.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

using test::NpyArrayRead;
using Shape = std::vector<std::uint64_t>;

TEST(ZipWriter, FilesCanBeFoundWithNarrowAndWideFields) {
  EXPECT_EQ(test::PlainCrc("123456789"), 0xCBF43926u);  // the check value that the sum is known by
  const test::ScratchFolder scratch;
  std::string zips[2], cause;
  for (const bool wide : {false, true}) {
    WholeFile file;
    const std::string path = scratch.File("a.zip");
    ASSERT_TRUE(file.Open(path, cause));
    ZipWriter zip(file, wide ? 4 : 0xFFFFFFFF);
    zip.Add("none", "");
    zip.Add("some", "123456789");
    zip.Begin("pieces", 5, test::PlainCrc("abcde"));
    zip.Write("ab");
    zip.Write("cde");
    zip.Finish();
    ASSERT_TRUE(file.Commit(cause)) << cause;
    zips[wide] = test::ReadFile(path);
    EXPECT_EQ(test::ReadZip(zips[wide]),
              (std::map<std::string, std::string>{
                  {"none", ""}, {"pieces", "abcde"}, {"some", "123456789"}}));
  }
  EXPECT_EQ(zips[0].find("PK\6\6"), std::string::npos);
  EXPECT_NE(zips[1].find("PK\6\6"), std::string::npos);
}

TEST(NpyArray, TextsAreCharacters) {
  const NpyArrayRead array = test::ReadNpy(NpyTexts(
      {"a\xC3\xA4\xE2\x82\xAC", "\xF0\x9F\x98\x80", "", "\xFF\xC3", "\xC0\x80\xED\xA0\x80"}));
  EXPECT_EQ(array.type, "<U5");
  EXPECT_EQ(array.shape, Shape{5});
  const std::vector<std::uint32_t> expected = {
      'a', 0xE4, 0x20AC, 0,      0, 0x1F600, 0, 0,      0,      0,      0,      0,     0,
      0,   0,    0xFFFD, 0xFFFD, 0, 0,       0, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(array.At<std::uint32_t>(i), expected[i]) << i;
  }
  EXPECT_EQ(test::ReadNpy(NpyTexts({})).type, "<U1");
}

std::map<std::string, NpyArrayRead> Written(const MotionCore& core,
                                            const MotionNpzOptions& options = {}) {
  const test::ScratchFolder scratch;
  std::string cause;
  EXPECT_TRUE(WriteMotionNpz(core, {}, options, scratch.File("m.npz"), cause)) << cause;
  return test::ReadNpz(test::ReadFile(scratch.File("m.npz")));
}

TEST(MotionNpz, HoldsEveryLinkAtEveryTimeAsItIsEvaluated) {
  MotionCore core = test::SteppingMotion(4, {25, 0, 0});
  const auto arrays = Written(core);
  const std::vector<SkeletonLink> skeleton = SkeletonOf(core);
  const std::size_t links = skeleton.size();
  const NpyArrayRead &positions = arrays.at("positions"), &rotations = arrays.at("rotations");
  ASSERT_EQ(positions.shape, (Shape{64, links, 3}));
  ASSERT_EQ(rotations.shape, (Shape{64, links, 4}));
  EXPECT_EQ(positions.type, "<f4");
  for (const std::size_t frame : {0u, 20u, 63u}) {
    test::Evaluate(core, static_cast<TimeValue>(160 * frame));
    EXPECT_EQ(arrays.at("times").At<double>(frame), static_cast<double>(frame) / 30);
    EXPECT_EQ(arrays.at("frames").At<double>(frame), static_cast<double>(frame));
    for (std::size_t i = 0; i < links; ++i) {
      SCOPED_TRACE(skeleton[i].name);
      const Matrix3 world = UnmirroredLinkTransform(core, skeleton[i].id, skeleton[i].link);
      const std::size_t at = frame * links + i;
      for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(positions.At<float>(3 * at + static_cast<std::size_t>(k)), world.Origin()[k]);
      }
      const Quat q{rotations.At<float>(4 * at), rotations.At<float>(4 * at + 1),
                   rotations.At<float>(4 * at + 2), rotations.At<float>(4 * at + 3)};
      EXPECT_GE(q.w, 0);
      EXPECT_LT(test::Distance(Rotate(q, {1, 0, 0}), world.row[0]), 1e-5f);
      EXPECT_LT(test::Distance(Rotate(q, {0, 1, 0}), world.row[1]), 1e-5f);
    }
    const NpyArrayRead& root = arrays.at("root_positions");
    EXPECT_EQ(root.At<float>(3 * frame), core.body.bodyPosition.x);
    EXPECT_EQ(root.At<float>(3 * frame + 2), core.body.bodyPosition.y);
  }
  for (std::size_t i = 0; i < links; ++i) {
    EXPECT_EQ(arrays.at("link_names").Text(i), skeleton[i].name);
    EXPECT_EQ(arrays.at("parents").At<std::int32_t>(i), skeleton[i].parent);
    EXPECT_EQ(arrays.at("link_ids").At<std::int32_t>(i), skeleton[i].id);
    EXPECT_EQ(arrays.at("link_numbers").At<std::int32_t>(i), skeleton[i].link);
  }
}

TEST(MotionNpz, HoldsFootstepsContactsFlightsAndKeys) {
  const MotionCore core = MakeSample(SampleMotion::kRun, 180);
  const auto arrays = Written(core);
  const FootstepTrack& track = core.footsteps;
  const auto count = static_cast<std::uint64_t>(track.numFootsteps);
  for (const char* name : {"sides", "starts", "durations", "headings", "active"}) {
    EXPECT_EQ(arrays.at(std::string("footstep_") + name).shape, Shape{count}) << name;
  }
  EXPECT_EQ(arrays.at("footstep_positions").shape, (Shape{count, 3}));
  // The contacts, joined from frame to frame, are the footsteps again.
  const NpyArrayRead &contacts = arrays.at("contacts"), &states = arrays.at("leg_states");
  const std::uint64_t frames = arrays.at("times").shape[0];
  EXPECT_EQ(contacts.shape, (Shape{frames, 2}));
  EXPECT_EQ(states.shape, (Shape{frames, 2}));
  for (std::size_t f = 0; f < frames; ++f) {
    for (std::size_t side = 0; side < 2; ++side) {
      const double t = arrays.at("times").At<double>(f);
      bool down = false;
      for (std::size_t i = 0; i < count; ++i) {
        const double start = arrays.at("footstep_starts").At<double>(i);
        const double end = start + arrays.at("footstep_durations").At<double>(i);
        const auto own = static_cast<std::size_t>(arrays.at("footstep_sides").At<std::int8_t>(i));
        down = down || (own == side && start <= t + 1e-9 && t <= end + 1e-9);
      }
      EXPECT_EQ(contacts.At<std::uint8_t>(2 * f + side) != 0, down) << f << " " << side;
      EXPECT_EQ(states.At<std::int8_t>(2 * f + side) < kMove, down) << f << " " << side;
    }
  }
  ASSERT_FALSE(core.body.flights.empty());
  const FlightPeriod& flight = core.body.flights[0];
  const double airTime = arrays.at("flight_land_times").At<double>(0) -
                         arrays.at("flight_takeoff_times").At<double>(0);
  EXPECT_NEAR(airTime, flight.duration / 4800.0, 1e-12);
  // What goes up comes down: the two speeds together are gravity's work over the flight.
  const double speeds = arrays.at("flight_takeoff_speeds").At<double>(0) +
                        arrays.at("flight_land_speeds").At<double>(0);
  EXPECT_NEAR(speeds / (arrays.at("gravity").At<double>(0) * airTime), 1, 1e-3);
  const NpyArrayRead& names = arrays.at("key_tracks");
  bool found = false;
  for (std::size_t i = 0; i < names.Count(); ++i) {
    const NpyArrayRead& times = arrays.at("key_times_" + names.Text(i));
    if (names.Text(i) != "lleg") continue;
    found = true;
    const LimbRecord& leg = core.leg[kLeft];
    ASSERT_EQ(times.shape, Shape{static_cast<std::uint64_t>(leg.table.track.numKeys)});
    for (int k = 0; k < leg.table.track.numKeys; ++k) {
      EXPECT_EQ(times.At<double>(static_cast<std::size_t>(k)), leg.table.TimeOf(k) / 4800.0);
    }
  }
  EXPECT_TRUE(found);
}

TEST(MotionNpz, TakesTimesAndUnits) {
  const MotionCore core = test::SteppingMotion(4, {25, 0, 0});
  MotionNpzOptions options;
  const auto plain = Written(core);
  EXPECT_EQ(plain.at("fps").At<double>(0), 30);
  EXPECT_EQ(plain.at("fps").shape, Shape{});
  // A figure of default proportions stands 1.74 m high where its gravity is the earth's.
  EXPECT_NEAR(plain.at("metres_per_unit").At<double>(0) * 80, 1.74, 0.005);
  options.times = TimesAtFrames(core, {0, 10}, 24);
  options.fps = 24;
  options.metresPerUnit = 0.01;
  const auto chosen = Written(core, options);
  EXPECT_EQ(chosen.at("frames").At<double>(1), 1.25);
  EXPECT_EQ(chosen.at("positions").shape[0], 9u);  // 1600 ticks by 200
  EXPECT_EQ(chosen.at("fps").At<double>(0), 24);
  EXPECT_EQ(chosen.at("metres_per_unit").At<double>(0), 0.01);
}

TEST(MotionNpz, TheSameMotionGivesTheSameBytes) {
  Structure full = test::FullStructure();
  MotionCore core = test::MakeFigure(full);  // no footsteps: their arrays are empty
  core.name = "a \xC3\xA4";
  const test::ScratchFolder scratch;
  std::string files[2], cause;
  for (std::string& file : files) {
    const std::string path = scratch.File("m.npz");
    ASSERT_TRUE(WriteMotionNpz(core, {}, {}, path, cause));
    file = test::ReadFile(path);
  }
  EXPECT_TRUE(files[0] == files[1]);
  EXPECT_EQ(test::ReadNpz(files[0]).at("footstep_positions").shape, (Shape{0, 3}));
  EXPECT_FALSE(WriteMotionNpz(core, {}, {}, scratch.File("no/m.npz"), cause));
  EXPECT_EQ(scratch.CountFiles(), 1);
}

}  // namespace
}  // namespace strider
