#include "exchange/whole_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace strider {
namespace {

namespace fs = std::filesystem;

class WholeFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "strider-whole-file-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
  }
  void TearDown() override {
    fs::permissions(folder, fs::perms::owner_all);
    fs::remove_all(folder);
  }
  static std::string Content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::ptrdiff_t FilesInFolder() const {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  }

  fs::path folder;
  std::string cause;
};

TEST_F(WholeFile, ReplacesWhatStoodThereAndLeavesNothingBeside) {
  const fs::path file = folder / "figure.json";
  const std::string longer(100000, 'x');
  ASSERT_TRUE(WriteWholeFile(file.string(), longer, cause)) << cause;
  EXPECT_EQ(Content(file), longer);
  ASSERT_TRUE(WriteWholeFile(file.string(), std::string("a\0b", 3), cause)) << cause;
  EXPECT_EQ(Content(file), std::string("a\0b", 3));
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFile, KeepsTheRightsAndTheLinkOfWhatItReplaces) {
  const fs::path file = folder / "real", link = folder / "link";
  ASSERT_TRUE(WriteWholeFile(file.string(), "old", cause)) << cause;
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("real", link);
  ASSERT_TRUE(WriteWholeFile(link.string(), "new", cause)) << cause;
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(Content(file), "new");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(WholeFile, RefusesWhatCannotBeWrittenAndSaysWhy) {
  ASSERT_TRUE(WriteWholeFile((folder / "plain").string(), "old", cause));
  fs::create_directory(folder / "folder");
  const struct {
    const char* name;
    const char* cause;
  } rows[] = {{"missing/figure.json", "No such file"},
              {"plain/figure.json", "Not a directory"},
              {"folder", "is a folder"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_FALSE(WriteWholeFile((folder / row.name).string(), "new", cause));
    EXPECT_NE(cause.find(row.cause), std::string::npos) << cause;
  }
  EXPECT_FALSE(WriteWholeFile("", "new", cause));
  EXPECT_FALSE(WriteWholeFile("/dev/null", "new", cause));
  EXPECT_EQ(Content(folder / "plain"), "old");
  EXPECT_EQ(FilesInFolder(), 2);
}

TEST_F(WholeFile, LeavesTheOldContentAndNoRestWhenTheDiskIsFull) {
  const fs::path file = folder / "figure.png";
  ASSERT_TRUE(WriteWholeFile(file.string(), "old", cause)) << cause;
  // A limit on the size of files stands in for the end of the disk.
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = before;
  small.rlim_cur = 1000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool written = WriteWholeFile(file.string(), std::string(5000, 'n'), cause);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);
  EXPECT_NE(cause.find("too large"), std::string::npos) << cause;
  EXPECT_EQ(Content(file), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFile, FillsANameAsLongAsAFolderHolds) {
  const fs::path file = folder / std::string(255, 'n');
  ASSERT_TRUE(WriteWholeFile(file.string(), "new", cause)) << cause;
  EXPECT_EQ(Content(file), "new");
}

}  // namespace
}  // namespace strider
