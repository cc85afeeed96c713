#include "fuzz/memory_bound.h"
#include "strider/capture/name_sets.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace strider;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  for (const NameKind kind : {NameKind::kJoints, NameKind::kMarkers}) {
    NameTable table, again;
    std::string cause;
    const std::size_t before = fuzz::HeapBytes();
    fuzz::ForgetPeak();
    const bool read = ReadNames(kind, input, "input", table, cause);
    fuzz::CheckPeak(before, input, 0);
    if (read != cause.empty() || (!read && !table.Empty())) fuzz::Stop("a refusal left names");
    // What was read stays as it is when it is written and read again.
    if (read &&
        (!ReadNames(kind, NameFileText(kind, table), "input", again, cause) || !(again == table))) {
      fuzz::Stop("names that change with a save");
    }
    (void)GuessNameSet(std::vector<std::string>(table.rows.begin(), table.rows.end()));
  }
  return 0;
}
