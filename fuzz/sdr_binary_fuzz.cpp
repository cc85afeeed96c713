#include "fuzz/stream_input.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  strider::fuzz::PlayStream(input, strider::StreamForm::kBinary);
  return 0;
}
