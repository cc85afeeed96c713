#include "strider/base/whole_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;

struct WholeFile : ::testing::Test {
  test::ScratchFolder scratch;
  std::string cause;
};

TEST_F(WholeFile, ReplacesWhatStoodThereAndLeavesNothingBeside) {
  const std::string file = scratch.File(std::string(255, 'n'));  // all that a folder holds
  for (const std::string& content : {std::string(100000, 'x'), std::string("a\0b", 3)}) {
    ASSERT_TRUE(WriteWholeFile(file, content, cause)) << cause;
    EXPECT_EQ(ReadFile(file), content);
  }
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST_F(WholeFile, KeepsTheRightsAndTheLinkOfWhatItReplaces) {
  const std::string file = scratch.File("real"), link = scratch.File("link");
  ASSERT_TRUE(WriteWholeFile(file, "old", cause)) << cause;
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("real", link);
  ASSERT_TRUE(WriteWholeFile(link, "new", cause)) << cause;
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(file), "new");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(WholeFile, RefusesWhatCannotBeWrittenAndSaysWhy) {
  ASSERT_TRUE(WriteWholeFile(scratch.File("plain"), "old", cause));
  fs::create_directory(scratch.File("folder"));
  const struct {
    std::string path;
    const char* cause;
  } rows[] = {{scratch.File("missing/figure.json"), "No such file"},
              {scratch.File("plain/figure.json"), "Not a directory"},
              {scratch.File("folder"), "is a folder"},
              {"/dev/null", "is not a plain file"},
              {"", ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_FALSE(WriteWholeFile(row.path, "new", cause));
    EXPECT_NE(cause.find(row.cause), std::string::npos) << cause;
  }
  EXPECT_EQ(ReadFile(scratch.File("plain")), "old");
  EXPECT_EQ(scratch.CountFiles(), 2);
}

TEST_F(WholeFile, LeavesTheOldContentAndNoRestWhenTheDiskIsFull) {
  const std::string file = scratch.File("figure.png");
  ASSERT_TRUE(WriteWholeFile(file, "old", cause)) << cause;
  // A limit on the size of files stands in for the end of the disk.
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {1000, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool written = WriteWholeFile(file, std::string(5000, 'n'), cause);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);
  EXPECT_NE(cause.find("too large"), std::string::npos) << cause;
  EXPECT_EQ(ReadFile(file), "old");
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST_F(WholeFile, NothingStaysOfAProgramThatIsStopped) {
  const std::string folder = fs::path(scratch.File("x")).parent_path().string();
  const int probe = open(folder.c_str(), O_WRONLY | O_TMPFILE, 0600);
  if (probe < 0) GTEST_SKIP() << "files need a name here";
  close(probe);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    strider::WholeFile file;
    if (!file.Open(scratch.File("table.csv"), cause)) _exit(1);
    file.Write(std::string(1 << 20, 'x'));
    std::raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(scratch.CountFiles(), 0);
}

}  // namespace
}  // namespace strider
