// `strider batch` as it is run: many takes of which some are bad, sittings that were broken off,
// parts for several machines.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>

#include "tests/cli/program_fixture.h"

namespace strider {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::RunResult;

const char* const kTakes[] = {"walk_cmu_02_01", "walk_cmu_12_01", "jump_cmu_13_39"};

/// A folder of three takes, one of them in a folder of its own.
struct BatchVerb : test::ProgramTest {
  BatchVerb() {
    fs::create_directories(File("in/more"));
    for (const char* take : kTakes) {
      const std::string name = std::string(take) + ".bvh";
      const bool deeper = take == kTakes[2];
      fs::copy_file("examples/takes/" + name, File((deeper ? "in/more/" : "in/") + name));
    }
  }
  /// All files below a folder, by their paths in it.
  std::set<std::string> Files(const std::string& folder) const {
    std::set<std::string> files;
    if (!fs::exists(File(folder))) return files;
    for (const auto& entry : fs::recursive_directory_iterator(File(folder))) {
      if (entry.is_regular_file()) files.insert(entry.path().lexically_relative(File(folder)));
    }
    return files;
  }
  void ExpectCounts(const std::string& line, const std::string& counts) const {
    const RunResult result = Run("batch " + line);
    EXPECT_EQ(result.out.rfind(counts, 0), 0u) << result.out << result.err;
  }
};

TEST_F(BatchVerb, TellsOfDamageAndOfWhatIsNotThere) {
  const std::string take = ReadFile(File("in/walk_cmu_02_01.bvh"));
  Put("in/walk_cmu_02_01.bvh", take.substr(0, 9 * take.size() / 10));
  ExpectCounts("@in -o @out", "3 converted, 1 of them with doubts, 0 up to date, 0 failed,");
  const std::string log = ReadFile(File("out/ErrLog.txt"));
  EXPECT_EQ(log.rfind(File("in/walk_cmu_02_01.bvh") + ":", 0), 0u) << log;
  EXPECT_NE(log.find("frames were read"), std::string::npos) << log;

  const RunResult noFigure = Run("batch @in -o @out --force --figure @no.fig");
  EXPECT_EQ(noFigure.status, 1);
  EXPECT_EQ(noFigure.err, "strider batch: " + File("no.fig") + ": No such file or directory\n");
  EXPECT_NE(Run("batch @none.bvh -o @out").err.find("none.bvh: No such file"), std::string::npos);
}

TEST_F(BatchVerb, OneBadTakeStopsNoOther) {
  Put("in/broken.bvh", "HIERARCHY\nROOT Hips\n");
  const RunResult result = Run("batch @in -o @out");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "3 converted, 0 up to date, 1 failed, see " + File("out/ErrLog.txt") + "\n");
  const std::set<std::string> made = {"ErrLog.txt", "more/jump_cmu_13_39.sdr", "walk_cmu_02_01.sdr",
                                      "walk_cmu_12_01.sdr"};
  EXPECT_EQ(Files("out"), made);
  const std::string log = ReadFile(File("out/ErrLog.txt"));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
  EXPECT_EQ(log.rfind(File("in/broken.bvh") + ":3: ", 0), 0u) << log;
  EXPECT_EQ(result.err, "strider batch: " + log);

  // The log tells of this sitting alone.
  fs::remove(File("in/broken.bvh"));
  ExpectCounts("@in -o @out", "0 converted, 3 up to date, 0 failed\n");
  EXPECT_FALSE(fs::exists(File("out/ErrLog.txt")));
}

TEST_F(BatchVerb, GoesOnWhereItWasBrokenOff) {
  ExpectCounts("@in -o @out --to sdr,csv", "3 converted, 0 up to date, 0 failed\n");
  const std::string walk = File("out/walk_cmu_02_01.sdr"), before = ReadFile(walk);
  Put("out/walk_cmu_02_01.sdr", "mine");  // newer than its take: kept
  ExpectCounts("@in -o @out --to sdr,csv", "0 converted, 3 up to date, 0 failed\n");
  EXPECT_EQ(ReadFile(walk), "mine");

  fs::last_write_time(File("in/walk_cmu_02_01.bvh"),
                      fs::last_write_time(walk) + std::chrono::seconds(5));
  ExpectCounts("@in -o @out --to sdr,csv", "1 converted, 2 up to date, 0 failed\n");
  EXPECT_TRUE(ReadFile(walk) == before);

  fs::remove(File("out/walk_cmu_12_01.csv"));  // one of its files is not there
  fs::last_write_time(walk, fs::last_write_time(walk) + std::chrono::seconds(10));
  fs::last_write_time(File("out/walk_cmu_02_01.csv"), fs::last_write_time(walk));
  ExpectCounts("@in -o @out --to sdr,csv", "1 converted, 2 up to date, 0 failed\n");
  ExpectCounts("@in -o @out --to sdr,csv --force", "3 converted, 0 up to date, 0 failed\n");
}

TEST_F(BatchVerb, ThreadsGiveTheSameBytes) {
  ExpectCounts("@in -o @one --to sdr,glb -j 1", "3 converted");
  ExpectCounts("@in -o @two --to sdr,glb -j 2", "3 converted");
  ASSERT_EQ(Files("one").size(), 6u);
  ASSERT_EQ(Files("one"), Files("two"));
  for (const std::string& name : Files("one")) {
    EXPECT_TRUE(ReadFile(File("one/" + name)) == ReadFile(File("two/" + name))) << name;
  }
  // And what one import makes.
  ASSERT_EQ(Run("import @in/walk_cmu_02_01.bvh -o @alone.glb").status, 0);
  EXPECT_TRUE(ReadFile(File("alone.glb")) == ReadFile(File("one/walk_cmu_02_01.glb")));
}

TEST_F(BatchVerb, ShardsAreDisjointAndComplete) {
  ExpectCounts("@in -o @whole", "3 converted");
  Put("in/bad1.bvh", "junk");
  Put("in/bad2.bvh", "junk");
  std::set<std::string> all;
  std::size_t sum = 0;
  std::string logs;
  for (const std::string part : {"1", "2"}) {
    EXPECT_EQ(Run("batch @in -o @out" + part + " --shard " + part + "/2").status, 1);
    std::set<std::string> files = Files("out" + part);
    const std::string log = "Shard" + part + "of2-ErrLog.txt";
    EXPECT_EQ(files.erase(log), 1u);
    logs += ReadFile(File("out" + part + "/" + log));
    sum += files.size();
    all.merge(files);
  }
  EXPECT_EQ(all, Files("whole"));
  EXPECT_EQ(sum, all.size());
  EXPECT_EQ(std::count(logs.begin(), logs.end(), '\n'), 2) << logs;
  // More parts than takes leave some with nothing to do.
  EXPECT_EQ(Run("batch @in -o @out --shard 9/9").out, "0 converted, 0 up to date, 0 failed\n");
}

TEST_F(BatchVerb, OptionsOfTheImport) {
  ExpectCounts("@in/walk_cmu_02_01.bvh -o @out --free-form --scale 2 --to sdr,html", "1 converted");
  ASSERT_EQ(Run("import @in/walk_cmu_02_01.bvh -o @alone.sdr --free-form --scale 2").status, 0);
  EXPECT_TRUE(ReadFile(File("alone.sdr")) == ReadFile(File("out/walk_cmu_02_01.sdr")));
  // Motions are takes where they are named, and nowhere else.
  ExpectCounts("@out @alone.sdr -o @again", "1 converted");
}

TEST_F(BatchVerb, OutputWithinTheInputIsNoInput) {
  ExpectCounts("@in -o @in/out --to bvh", "3 converted");
  ExpectCounts("@in -o @in/out --to bvh", "0 converted, 3 up to date");
}

TEST_F(BatchVerb, RefusesInOneLine) {
  Put("in/walk_cmu_02_01.mkr", "junk");
  fs::create_directory(File("empty"));
  fs::create_directory(File("other"));
  Put("other/walk_cmu_12_01.bvh", "junk");
  Put("file", "");
  const std::set<std::string> files = Files("");
  const struct {
    const char *line, *cause;
  } rows[] = {
      {"@in -o @out", "would both become"},
      {"@in/walk_cmu_12_01.bvh @other/walk_cmu_12_01.bvh -o @out", "would both become"},
      {"@empty -o @out", "no takes"},
      {"@in/more -o @in/more --to bvh", "is the take itself"},
      {"@in/more -o @out --to sdr,c3d", "given \"c3d\""},
      {"@in/more -o @out -j 0", "given \"0\""},
      {"@in/more -o @out --shard 3/2", "given \"3/2\""},
      {"@in/more -o @out --shard 1", "given \"1\""},
      {"@in/more -o @out --scale x", "given \"x\""},
      {"@in/more -o @file/out", "file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const RunResult result = Run(std::string("batch ") + row.line);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(row.cause), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(Files(""), files);
  }
  // A name that is no file is one bad take among others.
  EXPECT_EQ(Run("batch @none.bvh @in/more -o @out").status, 1);
  EXPECT_TRUE(fs::exists(File("out/jump_cmu_13_39.sdr")));
  EXPECT_EQ(Run("batch @in/more -o @out --from 3").status, 2);  // of a single take
}

}  // namespace
}  // namespace strider
