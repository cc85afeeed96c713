#include "fuzz/capture_input.h"
#include "strider/capture/marker_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace strider;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  fuzz::PlayCapture(input, [&](CaptureScene& scene, CaptureReport& report) {
    return ReadMarkersText(scene, input, "input", {}, report);
  });
  return 0;
}
