#include "strider/capture/bvh_file.h"

#include <algorithm>
#include <climits>

#include "strider/base/number_text.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void SkipBlanks(BvhFile& file) {
  while (file.at < file.text.size() && IsBlank(file.text[file.at])) ++file.at;
}

/// The next word; empty at the end of the file.
std::string_view NextWord(BvhFile& file) {
  SkipBlanks(file);
  const std::size_t start = file.at;
  while (file.at < file.text.size() && !IsBlank(file.text[file.at])) ++file.at;
  return file.text.substr(start, file.at - start);
}

bool Refuse(BvhFile& file, std::string cause) {
  SkipBlanks(file);
  file.cause = std::move(cause);
  file.causeAt = std::min(file.at, file.text.size());
  return false;
}

bool RefuseWord(BvhFile& file, std::string_view word, const std::string& wanted) {
  if (word.empty()) return Refuse(file, "the file ends where " + wanted + " should stand");
  file.cause = Quoted(word) + " stands where " + wanted + " should";
  file.causeAt = static_cast<std::size_t>(word.data() - file.text.data());
  return false;
}

bool ReadOffset(BvhFile& file, Point3& offset) {
  for (int i = 0; i < 3; ++i) {
    const std::string_view word = NextWord(file);
    const auto number = ReadFloat(word);
    if (!number || !(std::abs(*number) <= kLargestCaptureValue)) {
      return RefuseWord(file, word, "a number of an OFFSET");
    }
    offset[i] = *number;
  }
  return true;
}

/// False for what is no channel's name.
bool ChannelOf(std::string_view word, CaptureChannel& channel) {
  if (word.empty() || word[0] < 'X' || word[0] > 'Z') return false;
  channel.component = static_cast<unsigned char>(word[0] - 'X');
  const std::string_view kind = word.substr(1);
  channel.kind = kind == "rotation" ? CaptureChannel::kRotation : CaptureChannel::kPosition;
  return kind == "rotation" || kind == "position";
}

bool ReadChannels(BvhFile& file, BvhNode* node) {
  const std::string_view word = NextWord(file);
  const auto count = ReadInteger(word);
  if (!count || *count < 0) return RefuseWord(file, word, "the number of CHANNELS");
  const int first = static_cast<int>(file.channels.size());
  for (std::int64_t i = 0; i < *count; ++i) {
    const std::string_view name = NextWord(file);
    CaptureChannel channel;
    if (!ChannelOf(name, channel)) return RefuseWord(file, name, "the name of a channel");
    if (node != nullptr) file.channels.push_back(channel);
  }
  if (node != nullptr) {
    node->firstChannel = first;
    node->numChannels = static_cast<int>(file.channels.size()) - first;
  }
  return true;
}

/// Where the reader of the hierarchy stands. Depth costs no stack: open braces are a list.
struct Walk {
  std::vector<int> open;   // the node that each open brace belongs to
  int current = -1;        // the node being defined
  bool inEndSite = false;  // the next OFFSET is an end site's

  int Inner() const { return open.empty() ? 0 : open.back(); }
};

bool ReadJoint(BvhFile& file, Walk& walk, bool isRoot) {
  const std::string_view name = NextWord(file);
  if (name.empty()) return RefuseWord(file, name, "a joint's name");
  if (isRoot && !file.nodes.empty())
    return RefuseWord(file, name, "one figure only, no second ROOT");
  if (!isRoot && file.nodes.empty()) return RefuseWord(file, name, "a ROOT before each JOINT");
  BvhNode node;
  node.name = name;
  node.isRoot = isRoot;
  node.parent = isRoot ? -1 : walk.Inner();
  walk.current = static_cast<int>(file.nodes.size());
  walk.inEndSite = false;
  file.nodes.push_back(node);
  return true;
}

bool ReadWord(BvhFile& file, Walk& walk, std::string_view word) {
  BvhNode* node = walk.current >= 0 ? &file.nodes[static_cast<std::size_t>(walk.current)] : nullptr;
  if (word == "{") {
    if (node != nullptr) walk.open.push_back(walk.current);
  } else if (word == "}") {
    if (!walk.open.empty()) walk.open.pop_back();
    walk.inEndSite = false;
    if (node != nullptr) walk.current = walk.Inner();
  } else if (word == "ROOT" || word == "JOINT") {
    return ReadJoint(file, walk, word == "ROOT");
  } else if (word == "End") {
    const std::string_view site = NextWord(file);
    if (site != "Site") return RefuseWord(file, site, "the word Site behind End");
    walk.inEndSite = true;
  } else if (word == "OFFSET") {
    Point3 offset;
    if (!ReadOffset(file, offset)) return false;
    if (node == nullptr) return true;
    if (walk.inEndSite) node->hasEnd = true;
    (walk.inEndSite ? node->endOffset : node->offset) = offset;
  } else if (word == "CHANNELS") {
    return ReadChannels(file, walk.inEndSite ? nullptr : node);
  } else if (CaptureChannel spare; file.oddities.empty() && ChannelOf(word, spare)) {
    file.oddities.push_back({Quoted(word) + " is past the channels that CHANNELS counts",
                             static_cast<std::size_t>(word.data() - file.text.data())});
  }
  return true;
}

/// Letters from here on, as far as they are the word's, whatever their case.
bool TakeLetters(BvhFile& file, std::string_view word) {
  SkipBlanks(file);
  if (file.text.size() - file.at < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if ((file.text[file.at + i] | 0x20) != word[i]) return false;
  }
  file.at += word.size();
  return true;
}

/// The word that a title of the motion's head ends with: past blanks and a colon.
std::string_view NumberAfterTitle(BvhFile& file) {
  SkipBlanks(file);
  if (file.at < file.text.size() && file.text[file.at] == ':') ++file.at;
  return NextWord(file);
}

}  // namespace

bool ReadBvhHierarchy(BvhFile& file) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (file.text.starts_with(kByteOrderMark)) file.at = kByteOrderMark.size();
  Walk walk;
  while (true) {
    const std::string_view word = NextWord(file);
    if (word.empty()) {
      const bool none = file.nodes.empty();
      return Refuse(file, none ? "this is no .bvh file: no ROOT stands in it"
                               : "the file ends before the word MOTION");
    }
    if (word == "MOTION") break;
    if (!ReadWord(file, walk, word)) return false;
  }
  if (file.nodes.empty()) return Refuse(file, "no ROOT stands before the word MOTION");
  for (const BvhNode& node : file.nodes) file.numColumns += node.numChannels;
  return true;
}

bool ReadBvhMotionHead(BvhFile& file) {
  if (!TakeLetters(file, "frames")) return RefuseWord(file, NextWord(file), "\"Frames:\"");
  const std::string_view count = NumberAfterTitle(file);
  const auto frames = ReadInteger(count);
  if (!frames || *frames < 0) return RefuseWord(file, count, "the number of frames");
  file.framesStated = *frames;

  if (!TakeLetters(file, "frame") || !(TakeLetters(file, "_time") || TakeLetters(file, "time"))) {
    return RefuseWord(file, NextWord(file), "\"Frame Time:\"");
  }
  const std::string_view time = NumberAfterTitle(file);
  const auto seconds = ReadNumber(time);
  constexpr double kShortest = 1e-6, kLongest = 1e4;
  if (!seconds || !(*seconds >= kShortest && *seconds <= kLongest)) {
    return RefuseWord(file, time, "the time of a frame, from 1e-6 to 10000 seconds,");
  }
  file.frameTime = *seconds;
  return true;
}

namespace {

/// True for a frame that goes over the end of a line which it shares with the frame before.
bool CrossesLines(const char* start, const char* end) {
  return start != nullptr && start < end && std::find(start, end, '\n') != end;
}

/// A row has a number too many or too few where frames cross lines and do not end as they should.
/// Frames that are broken over lines, or all in one line, come out even.
void NoteShiftedFrame(BvhFile& file, const char* start) {
  if (start == nullptr || (file.numFrames == file.framesStated && !file.hasMore)) return;
  file.oddities.push_back({"this row or the one before has not the " +
                               std::to_string(file.numColumns) +
                               " numbers of a frame; what follows may be shifted",
                           static_cast<std::size_t>(start - file.text.data())});
}

}  // namespace

void ReadBvhFrames(BvhFile& file) {
  const auto stop = [&file](std::string why) {
    file.frameEnd = std::move(why);
    file.frameEndAt = std::min(file.at, file.text.size());
  };
  if (file.numColumns == 0) return stop("no joint has channels");
  const char* const end = file.text.data() + file.text.size();
  const char* at = file.text.data() + file.at;
  // A number takes two characters at least, whatever the head says of frames.
  const auto most = static_cast<std::int64_t>((file.text.size() - file.at + 1) / 2);
  const std::int64_t wanted = std::min(most / file.numColumns + 1, file.framesStated);
  const auto columns = static_cast<std::size_t>(file.numColumns);
  const std::size_t stated = static_cast<std::size_t>(wanted) * columns;
  // Not cleared: each is written before it counts.
  file.values.reset(new float[stated]);
  std::size_t count = 0;
  const char* withinLine = nullptr;  // where a frame began that had no line of its own
  const char* shifted = nullptr;
  for (bool more = stated > 0; more;) {
    const char* const before = at;
    while (at != end && IsBlank(*at)) ++at;
    if (count > 0) {
      if (shifted == nullptr && CrossesLines(withinLine, before)) shifted = withinLine;
      withinLine = std::find(before, at, '\n') == at ? at : nullptr;
    }
    const std::size_t frameEnd = count + columns;
    while (true) {
      while (at != end && IsBlank(*at)) ++at;
      if (at == end) break;
      float& value = file.values[count];
      const char* const after = ScanFloat(at, end, value);
      if (after == nullptr || !(std::abs(value) <= kLargestCaptureValue)) break;
      at = after;
      if (++count == frameEnd) break;
    }
    more = count == frameEnd && count < stated;
  }
  const char* last = at;
  while (last > file.text.data() && IsBlank(last[-1])) --last;
  if (shifted == nullptr && CrossesLines(withinLine, last)) shifted = withinLine;
  file.at = static_cast<std::size_t>(at - file.text.data());
  file.numFrames = static_cast<int>(std::min<std::size_t>(count / columns, INT_MAX));
  const std::string_view word = NextWord(file);
  file.hasMore = !word.empty();
  NoteShiftedFrame(file, shifted);
  if (file.numFrames == file.framesStated) return;
  file.at =
      word.empty() ? file.text.size() : static_cast<std::size_t>(word.data() - file.text.data());
  stop(word.empty() ? "the file ends" : Quoted(word) + " is no number of a joint");
}

int LineAt(std::string_view text, std::size_t at) {
  return 1 + static_cast<int>(std::count(
                 text.begin(),
                 text.begin() + static_cast<std::ptrdiff_t>(std::min(at, text.size())), '\n'));
}

}  // namespace strider
