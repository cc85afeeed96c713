#include <gtest/gtest.h>

#include <algorithm>

#include "tests/cli/run_program.h"

namespace strider::test {
namespace {

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// Every run names a file of its own or a configuration folder of its own: nothing here may reach
// the user's.
TEST(PreferencesVerb, ShowsAndChangesAFile) {
  const ScratchFolder scratch;
  const std::string path = scratch.File("STRIDER.INI");
  const RunResult defaults = RunProgram({"preferences", "--file", path});
  EXPECT_EQ(defaults.status, 0);
  EXPECT_TRUE(Contains(defaults.out, "IniVersionNumber=40\nBoneBase=0\n"));
  EXPECT_EQ(scratch.CountFiles(), 0) << "showing writes nothing";

  const RunResult set = RunProgram(
      {"preferences", "--set", "BoneBase=1", "--set", "figurefile=a=b.fig", "--file", path});
  EXPECT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(set.out, path + "\n");
  const std::string written = ReadFile(path);
  EXPECT_TRUE(Contains(written, "BoneBase=1\n"));
  EXPECT_TRUE(Contains(written, "FigureFile=a=b.fig\n"));
  EXPECT_EQ(RunProgram({"preferences", "--file", path}).out, written);

  for (const char* word : {"Unknown=1", "BoneBase", "BoneBase=x", "FreeBias=-1"}) {
    const RunResult refused =
        RunProgram({"preferences", "--set", "AfterTraj=9", "--set", word, "--file", path});
    EXPECT_EQ(refused.status, 1) << word;
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
  }
  EXPECT_EQ(ReadFile(path), written);
  EXPECT_EQ(RunProgram({"preferences", "--file", scratch.File("")}).status, 1) << "a folder";
}

TEST(PreferencesVerb, KeepsTheUsersFileInTheConfigurationFolder) {
  const ScratchFolder scratch;
  const char* old = getenv("XDG_CONFIG_HOME");
  const std::string before = old ? old : "";
  setenv("XDG_CONFIG_HOME", scratch.File("config").c_str(), 1);
  const RunResult shown = RunProgram({"preferences"});
  const RunResult figure = RunProgram({"figure"});
  EXPECT_EQ(scratch.CountFiles(), 0);
  const RunResult set = RunProgram({"preferences", "--set", "BoneBase=1"});
  old ? setenv("XDG_CONFIG_HOME", before.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(shown.status + figure.status + set.status, 0);
  EXPECT_EQ(set.out, scratch.File("config/strider/STRIDER.INI") + "\n");
  EXPECT_TRUE(Contains(ReadFile(scratch.File("config/strider/STRIDER.INI")), "BoneBase=1\n"));
}

}  // namespace
}  // namespace strider::test
