// Starts the program as a user does, and takes down what it says.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "tests/exchange/scratch_folder.h"

namespace strider::test {

struct RunResult {
  int status = -1;  // the exit status; -1 if the program did not end by itself
  std::string out, err;
};

/// Runs STRIDER_PROGRAM, without a shell. `outTo` is a file for its standard output, else taken.
inline RunResult RunProgram(std::vector<std::string> words, const std::string& outTo = "") {
  const ScratchFolder scratch;
  const std::string out = outTo.empty() ? scratch.File("out") : outTo, err = scratch.File("err");
  std::vector<char*> argv = {const_cast<char*>(STRIDER_PROGRAM)};
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const pid_t child = fork();
  if (child == 0) {
    if (freopen(out.c_str(), "w", stdout) == nullptr ||
        freopen(err.c_str(), "w", stderr) == nullptr) {
      _exit(126);
    }
    execv(STRIDER_PROGRAM, argv.data());
    _exit(127);
  }
  RunResult result;
  int status = 0;
  if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  }
  if (outTo.empty()) result.out = ReadFile(out);
  result.err = ReadFile(err);
  return result;
}

}  // namespace strider::test
