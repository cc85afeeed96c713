#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "strider/storage/motion_file.h"
#include "tests/cli/run_program.h"
#include "tests/exchange/motion_fixture.h"

namespace strider {
namespace {

using test::ReadFile;
using test::RunProgram;
using test::RunResult;
using test::ScratchFolder;

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(ViewVerb, MakesAPageOfEveryKindOfFile) {
  const ScratchFolder scratch;
  const MotionCore core = test::SteppingMotion(6, {30, 0, 0});
  std::string cause;
  ASSERT_TRUE(SaveMotion(scratch.File("walk.sdr"), {&core}, {}, cause)) << cause;
  ASSERT_TRUE(SaveFootsteps(scratch.File("walk.stp"), core, cause)) << cause;
  ASSERT_TRUE(SaveFigure(scratch.File("walk.fig"), core, cause)) << cause;
  const struct {
    const char* file;
    const char* holds;
  } rows[] = {{"walk.sdr", "\"footsteps\": [\n  {\"index\":0"},
              {"walk.stp", "\"footsteps\": [\n  {\"index\":0"},
              {"walk.fig", "\"frameRange\": [0,0]"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const std::string page = scratch.File("page.html");
    const RunResult result = RunProgram({"view", scratch.File(row.file), "-o", page, "--no-open"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, page + "\n");
    const std::string text = ReadFile(page);
    EXPECT_TRUE(Contains(text, "<!doctype html>"));
    EXPECT_TRUE(Contains(text, row.holds));
    std::filesystem::remove(page);
  }
}

TEST(ViewVerb, NamesThePageThatItMakesByItself) {
  const ScratchFolder scratch;
  const MotionCore core = test::SteppingMotion(4, {30, 0, 0});
  std::string cause;
  ASSERT_TRUE(SaveMotion(scratch.File("my walk.sdr"), {&core}, {}, cause)) << cause;
  const RunResult result = RunProgram({"view", scratch.File("my walk.sdr"), "--no-open"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::filesystem::path page = result.out.substr(0, result.out.size() - 1);
  EXPECT_EQ(page.filename(), "my walk.html");
  EXPECT_TRUE(Contains(ReadFile(page.string()), "<!doctype html>"));
  std::filesystem::remove_all(page.parent_path());
}

/// An environment variable for the time of a test.
class Setting {
 public:
  Setting(const char* name, const std::string& value) : name_(name) {
    const char* before = std::getenv(name);
    if (before != nullptr) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~Setting() {
    if (before_) {
      setenv(name_, before_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

TEST(ViewVerb, HandsThePageToTheDesktopWhereThereIsOne) {
  const ScratchFolder scratch;
  const MotionCore core = test::MakeFigure();
  std::string cause;
  ASSERT_TRUE(SaveFigure(scratch.File("a.fig"), core, cause)) << cause;
  const std::string opener = scratch.File("xdg-open"), opened = scratch.File("opened");
  std::ofstream(opener) << "#!/bin/sh\necho \"$1\" > '" << opened << ".part'\n"
                        << "mv '" << opened << ".part' '" << opened << "'\n";
  std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
  const std::string folder = std::filesystem::path(opener).parent_path();
  const Setting path("PATH", folder + ":" + std::getenv("PATH")), wayland("WAYLAND_DISPLAY", "");
  const std::string page = scratch.File("a.html");
  {
    const Setting display("DISPLAY", "");
    EXPECT_EQ(RunProgram({"view", scratch.File("a.fig"), "-o", page}).status, 0);
  }
  const Setting display("DISPLAY", ":7");
  EXPECT_EQ(RunProgram({"view", scratch.File("a.fig"), "-o", page, "--no-open"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(opened));
  EXPECT_EQ(RunProgram({"view", scratch.File("a.fig"), "-o", page}).status, 0);
  for (int i = 0; i < 500 && !std::filesystem::exists(opened); ++i) usleep(10'000);
  EXPECT_EQ(ReadFile(opened), page + "\n");
}

TEST(ViewVerb, RefusesAndWritesNothing) {
  const ScratchFolder scratch;
  const std::string notes = scratch.File("notes.sdr");
  std::ofstream(notes) << "no motion";
  const struct {
    std::vector<std::string> words;
    const char* says;
  } rows[] = {{{"view", scratch.File("none.sdr"), "--no-open"}, "none.sdr"},
              {{"view", notes, "--no-open", "-o", scratch.File("a.html")}, "notes.sdr"},
              {{"view", notes, "--no-open", "-o", scratch.File("a.png")}, "must end in .html"}};
  for (const auto& row : rows) {
    const RunResult result = RunProgram(row.words);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(Contains(result.err, row.says)) << result.err;
  }
  EXPECT_EQ(scratch.CountFiles(), 1);
}

}  // namespace
}  // namespace strider
