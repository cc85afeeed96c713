// A folder of its own for a test, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace strider::test {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "strider-XXXXXX").string();
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

}  // namespace strider::test
