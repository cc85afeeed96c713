#include "fuzz/memory_bound.h"
#include "strider/storage/preferences.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace strider;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t before = fuzz::HeapBytes();
  fuzz::ForgetPeak();
  const Preferences read = ReadPreferences(input);
  fuzz::CheckPeak(before, input, 0);
  // What has been read and written once stays as it is.
  const std::string once = PreferencesText(read);
  const std::string twice = PreferencesText(ReadPreferences(once));
  if (once != twice) fuzz::Stop("preferences that change with every save");
  return 0;
}
