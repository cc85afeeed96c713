// Runs a target over kept inputs, files or folders of them: what was found once stays mended, with
// any compiler.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

int main(int count, char** words) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < count; ++i) {
    if (!fs::is_directory(words[i])) {
      files.emplace_back(words[i]);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(words[i])) files.push_back(entry.path());
  }
  for (const fs::path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      std::fprintf(stderr, "cannot read %s\n", file.c_str());
      return 1;
    }
    const std::string bytes((std::istreambuf_iterator<char>(stream)), {});
    std::fprintf(stderr, "%s\n",
                 file.c_str());  // before the run: the last one named is the fault's
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  }
  std::fprintf(stderr, "%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
