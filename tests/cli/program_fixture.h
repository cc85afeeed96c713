// A folder, and the program run on files in it by lines as a user types them.
#pragma once

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "tests/cli/run_program.h"

namespace strider::test {

struct ProgramTest : ::testing::Test {
  ScratchFolder scratch;

  std::string File(const std::string& name) const { return scratch.File(name); }
  void Put(const std::string& name, const std::string& bytes) const {
    std::ofstream(File(name), std::ios::binary) << bytes;
  }
  /// `strider` with the words of a line; a word that begins with @ is a file of the folder.
  RunResult Run(const std::string& line) const {
    std::istringstream in(line);
    std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    for (std::string& word : words) {
      if (word.front() == '@') word = File(word.substr(1));
    }
    return RunProgram(words);
  }
};

}  // namespace strider::test
