// Starts the program as a user does, and takes down what it says.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace strider {

/// A folder of its own for a test, gone with it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "strider-cli-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string File(const std::string& name) const { return (path_ / name).string(); }
  std::ptrdiff_t CountFiles() const {
    return std::distance(std::filesystem::directory_iterator(path_),
                         std::filesystem::directory_iterator());
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct RunResult {
  int status = -1;  // the exit status; -1 if the program did not end by itself
  std::string out, err;
};

/// Runs STRIDER_PROGRAM, without a shell. `outTo` is a file for its standard output, else taken.
inline RunResult RunProgram(const std::vector<std::string>& arguments,
                            const std::string& outTo = "") {
  const ScratchFolder scratch;
  const std::string out = outTo.empty() ? scratch.File("out") : outTo, err = scratch.File("err");
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), STRIDER_PROGRAM);
  std::vector<char*> argv;
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

}  // namespace strider
