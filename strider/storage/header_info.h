// What may stand at any place of a stream: its version, and what a save dialog notes for a file
// browser to show.
#pragma once

#include <string>
#include <vector>

#include "strider/storage/stream.h"
#include "strider/storage/versions.h"

namespace strider {

/// Notes about a motion for who looks through files. Images are kept as they are and not decoded.
struct HeaderInfo {
  struct Map {
    int numbers[3] = {};
    std::string name;
    friend bool operator==(const Map&, const Map&) = default;
  };
  std::vector<std::string> names;
  std::vector<Map> maps;
  std::vector<std::string> images;

  friend bool operator==(const HeaderInfo&, const HeaderInfo&) = default;
};

struct StreamHeader {
  bool hasInfo = false;
  HeaderInfo info;
};

inline constexpr int kHeaderInfoTag = 359, kNarrowHeaderInfoTag = 344;

void WriteVersion(Stream& s);
void WriteHeaderInfo(Stream& s, HeaderInfo& info);
/// Reads the record of a tag that may stand anywhere; false for any other tag. A version that is
/// newer than ours breaks the stream.
bool ReadHeaderTag(Stream& s, StreamHeader& header, int tag);

}  // namespace strider
