#include "cli/motion_outputs.h"

#include "cli/progress.h"
#include "exchange/motion_sheet.h"
#include "exchange/motion_table.h"
#include "strider/base/whole_file.h"

namespace strider {
namespace {

bool WriteTable(const MotionCore& core, const MotionOutputOptions& /*options*/,
                const std::string& path, std::string& cause) {
  Progress progress(path.c_str());
  return WriteMotionTable(core, {}, path, cause,
                          [&progress](std::int64_t n, std::int64_t all) { progress.Tell(n, all); });
}

bool WriteSheet(const MotionCore& core, const MotionOutputOptions& /*options*/,
                const std::string& path, std::string& cause) {
  std::string png;
  return MotionSheet(core, {}, png, cause) && WriteWholeFile(path, png, cause);
}

struct MotionFormat {
  const char* extension;
  bool (*write)(const MotionCore& core, const MotionOutputOptions& options, const std::string& path,
                std::string& cause);
};
constexpr MotionFormat kFormats[] = {
    {"csv", WriteTable},
    {"png", WriteSheet},
};

}  // namespace

std::vector<std::string> MotionFormats() {
  std::vector<std::string> extensions;
  for (const MotionFormat& format : kFormats) extensions.emplace_back(format.extension);
  return extensions;
}

bool WriteMotionAs(const std::string& format, const MotionCore& core,
                   const MotionOutputOptions& options, const std::string& path,
                   std::string& cause) {
  for (const MotionFormat& row : kFormats) {
    if (format == row.extension) return row.write(core, options, path, cause);
  }
  cause = "unknown format";
  return false;
}

}  // namespace strider
