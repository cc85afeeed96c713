#include "strider/storage/header_info.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

constexpr int kTextLimit = 256;

template <class Item, class Walk>
void WalkList(Stream& s, std::vector<Item>& items, int fields, Walk walk) {
  int count = static_cast<int>(items.size());
  if (!s.Count(count, fields)) return;
  if (!s.Reading()) {
    for (Item& item : items) walk(item);
    return;
  }
  items.clear();
  for (int i = 0; i < count && s.Good(); ++i) walk(items.emplace_back());
}

void WalkInfo(Stream& s, HeaderInfo& info, bool wide) {
  WalkList(s, info.names, 1, [&](std::string& name) { s.Text(name, kTextLimit, wide); });
  WalkList(s, info.maps, 4, [&](HeaderInfo::Map& map) {
    for (int& number : map.numbers) s.Int(number);
    s.Text(map.name, kTextLimit, wide);
  });
  WalkList(s, info.images, 1, [&](std::string& image) { s.Blob(image); });
}

}  // namespace

void WriteVersion(Stream& s) {
  s.WriteTag(kVersionTag);
  s.Skip(s.Version());
}

void WriteHeaderInfo(Stream& s, HeaderInfo& info) {
  s.WriteTag(kHeaderInfoTag);
  WalkInfo(s, info, true);
}

bool ReadHeaderTag(Stream& s, StreamHeader& header, int tag) {
  if (tag == kVersionTag) {
    int version = 0;
    s.Int(version);
    if (!s.Good()) return true;
    if (version > kStreamVersion) {
      s.Fail("version " + std::to_string(version) +
             " is newer than this program, which reads up to " + std::to_string(kStreamVersion));
    } else if (version < 1) {
      s.Fail("version " + std::to_string(version) + " does not exist");
    } else {
      s.SetVersion(version);
    }
    return true;
  }
  if (tag != kHeaderInfoTag && tag != kNarrowHeaderInfoTag) return false;
  if (s.Version() < kFirstWithHeaderInfo) {
    s.Fail("a tag that version " + std::to_string(s.Version()) + " does not have");
    return true;
  }
  header.hasInfo = true;
  WalkInfo(s, header.info, tag == kHeaderInfoTag);
  return true;
}

}  // namespace strider
