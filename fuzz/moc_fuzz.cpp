#include "fuzz/memory_bound.h"
#include "strider/capture/moc_file.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace strider;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  MocapParameters read, again;
  std::string cause;
  const std::size_t before = fuzz::HeapBytes();
  fuzz::ForgetPeak();
  const bool done = ReadMocText(input, "input", read, cause);
  fuzz::CheckPeak(before, input, 0);
  if (done != cause.empty()) fuzz::Stop("a refusal without a cause");
  if (!done && !(read == MocapParameters{})) fuzz::Stop("a refused file changed something");
  const std::string once = MocText(read);
  if (!ReadMocText(once, "input", again, cause)) fuzz::Stop("what was saved cannot be read");
  if (MocText(again) != once) fuzz::Stop("settings that change with every save");
  return 0;
}
