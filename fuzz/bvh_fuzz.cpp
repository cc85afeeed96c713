#include "fuzz/capture_input.h"
#include "strider/capture/bvh_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace strider;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  for (const bool carry : {true, false}) {
    BvhSettings settings;
    settings.carry = carry;
    settings.ticksPerFrame = carry ? 0 : 160;
    fuzz::PlayCapture(input, [&](CaptureScene& scene, CaptureReport& report) {
      return ReadBvhText(scene, input, "input", settings, report);
    });
  }
  return 0;
}
