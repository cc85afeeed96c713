// Writes a file whole or not at all: whoever reads the name finds either what was there before or
// everything that was written.
#pragma once

#include <string>
#include <string_view>

namespace strider {

/// Puts `bytes` under `path`, through a file beside it that takes the name once its content has
/// reached the disk. A link is followed, so that what it names is replaced and not the link.
/// True if done; else false, what stood there untouched, and `cause` says why in a few words.
[[nodiscard]] bool WriteWholeFile(const std::string& path, std::string_view bytes,
                                  std::string& cause);

}  // namespace strider
