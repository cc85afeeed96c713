#include "strider/storage/stream.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "strider/base/number_text.h"
#include "strider/storage/field_block.h"
#include "strider/storage/versions.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

static_assert(std::endian::native == std::endian::little, "the stream's bytes are little-endian");

/// Tags that stand as words in the text form.
struct TagWord {
  int tag;
  std::string_view word;
};
constexpr TagWord kTagWords[] = {{200, "STEPS"},          {201, "SCORE"}, {207, "SCOREW"},
                                 {202, "SCALE"},          {203, "END"},   {204, "KEYFF"},
                                 {kVersionTag, "VERSION"}};

/// An empty text would be a blank line, which readers pass over.
constexpr std::string_view kEmptyText = "\"\"";

std::string_view Trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Of a text's first characters, as it stands in a line of its own.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return text;
}

}  // namespace

Stream Stream::Reader(std::string_view bytes, StreamForm form) {
  Stream s;
  s.reading_ = true;
  s.form_ = form;
  s.in_ = bytes;
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (s.IsText() && bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    s.at_ = kByteOrderMark.size();
  }
  return s;
}

Stream Stream::Writer(StreamForm form, int version) {
  Stream s;
  s.form_ = form;
  s.version_ = version;
  return s;
}

StreamForm Stream::FormOf(std::string_view bytes) {
  std::int16_t tag = 0;
  if (bytes.size() >= sizeof tag) std::memcpy(&tag, bytes.data(), sizeof tag);
  return tag == kVersionTag ? StreamForm::kBinary : StreamForm::kText;
}

void Stream::Fail(const std::string& cause) {
  if (status_ == StreamStatus::kBroken) return;
  status_ = StreamStatus::kBroken;
  cause_ = IsText() ? "line " + std::to_string(line_) : "byte " + std::to_string(at_);
  if (tag_ != kNoTag) cause_ += ", tag " + std::to_string(tag_);
  cause_ += ": " + cause;
}

void Stream::FailAtEnd() { Fail("the file ends in the middle of a record"); }

void Stream::EndedInBlock() { Fail("the file ends before its block does"); }

bool Stream::Take(void* to, std::size_t size) {
  if (!Good()) return false;
  if (Left() < size) {
    FailAtEnd();
    return false;
  }
  std::memcpy(to, in_.data() + at_, size);
  at_ += size;
  return true;
}

void Stream::Put(const void* from, std::size_t size) {
  out_.append(static_cast<const char*>(from), size);
}

const char* Stream::TakeBlock(int fields) {
  const std::size_t size = sizeof(float) * static_cast<std::size_t>(fields);
  if (IsText() || !Good() || Left() < size) return nullptr;
  const char* bytes = in_.data() + at_;
  // Positive floats stand in the order of their bits. One word after the other, so that several
  // are compared at once.
  const std::uint32_t largest = __builtin_bit_cast(std::uint32_t, kLargestFloat);
  std::uint32_t past = 0;
  for (std::size_t i = 0; i < size; i += sizeof(float)) {
    std::uint32_t word;
    std::memcpy(&word, bytes + i, sizeof word);
    past |= static_cast<std::uint32_t>((word & 0x7fffffffu) > largest);
  }
  if (past != 0) return nullptr;
  at_ += size;
  return bytes;
}

std::string_view Stream::Line() {
  while (Good()) {
    if (at_ >= in_.size()) {
      FailAtEnd();
      break;
    }
    const std::size_t end = std::min(in_.find('\n', at_), in_.size());
    const std::string_view line = Trimmed(in_.substr(at_, end - at_));
    at_ = std::min(end + 1, in_.size());
    ++line_;
    if (!line.empty()) return line;
  }
  return {};
}

int Stream::ReadTag() {
  if (!Good()) return kNoTag;
  if (!IsText()) {
    std::int16_t tag = 0;
    if (Left() == 0) {
      status_ = StreamStatus::kEnd;
      return kNoTag;
    }
    if (!Take(&tag, sizeof tag)) return kNoTag;
    return tag_ = tag;
  }
  if (Trimmed(in_.substr(at_)).find_first_not_of("\r\n") == std::string_view::npos) {
    status_ = StreamStatus::kEnd;
    return kNoTag;
  }
  const std::string_view word = Line();
  for (const TagWord& row : kTagWords) {
    if (word == row.word) return tag_ = row.tag;
  }
  const auto number = ReadInteger(word);
  if (!number || *number < 0 || *number > std::numeric_limits<std::int16_t>::max()) {
    tag_ = kNoTag;
    Fail("\"" + OneLine(std::string(word.substr(0, 20))) + "\" is no tag");
    return kNoTag;
  }
  return tag_ = static_cast<int>(*number);
}

void Stream::WriteTag(int tag) {
  tag_ = tag;
  if (!IsText()) {
    const auto small = static_cast<std::int16_t>(tag);
    Put(&small, sizeof small);
    return;
  }
  const auto word = std::find_if(std::begin(kTagWords), std::end(kTagWords),
                                 [tag](const TagWord& row) { return row.tag == tag; });
  const bool named = word != std::end(kTagWords) &&
                     (tag != kVersionTag || version_ >= kFirstVersionWithVersionWord);
  if (named) {
    out_ += word->word;
  } else {
    AppendInteger(out_, tag);
  }
  out_ += "\r\n";
}

void Stream::Int(int& value) {
  if (!reading_) {
    if (IsText()) {
      AppendInteger(out_, value);
      out_ += "\r\n";
    } else {
      Put(&value, sizeof value);
    }
    return;
  }
  if (!IsText()) {
    (void)Take(&value, sizeof value);
    return;
  }
  const std::string_view line = Line();
  if (!Good()) return;
  const auto number = ReadInteger(line);
  if (!number || *number < std::numeric_limits<int>::min() ||
      *number > std::numeric_limits<int>::max()) {
    Fail("\"" + std::string(line.substr(0, 20)) + "\" is no whole number");
    return;
  }
  value = static_cast<int>(*number);
}

bool Stream::ParseFloat(std::string_view text, float& value) {
  const auto number = ReadFloat(text);
  if (!number) {
    Fail("\"" + std::string(text.substr(0, 20)) + "\" is no number");
    return false;
  }
  value = *number;
  return true;
}

void Stream::Check(const float* values, int count) {
  bool good = true;
  for (int i = 0; i < count; ++i) good &= std::fabs(values[i]) <= kLargestFloat;
  if (!good) Fail("a number that no figure can hold");
}

void Stream::Float(float& value) { Floats(&value, 1); }

void Stream::Floats(float* values, int count) {
  if (!reading_) {
    if (!IsText()) return Put(values, sizeof *values * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      AppendFixed(out_, static_cast<double>(values[i]));
      out_ += "\r\n";
    }
    return;
  }
  if (!IsText()) {
    if (Take(values, sizeof *values * static_cast<std::size_t>(count))) Check(values, count);
    if (!Good()) std::fill_n(values, count, 0.0f);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const std::string_view line = Line();
    if (!Good() || !ParseFloat(line, values[i])) break;
    Check(values + i, 1);
  }
  if (!Good()) std::fill_n(values, count, 0.0f);
}

void Stream::Four(float* values) {
  if (!IsText()) return Floats(values, 4);
  if (!reading_) {
    for (int i = 0; i < 4; ++i) {
      AppendFixed(out_, static_cast<double>(values[i]));
      out_ += i < 3 ? " " : "\r\n";
    }
    return;
  }
  std::string_view line = Line();
  for (int i = 0; i < 4 && Good(); ++i) {
    line = Trimmed(line);
    const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
    if (!ParseFloat(line.substr(0, end), values[i])) break;
    line.remove_prefix(end);
  }
  if (Good() && !Trimmed(line).empty()) Fail("four numbers are meant to stand here");
  if (Good()) Check(values, 4);
  if (!Good()) std::fill_n(values, 4, 0.0f);
}

void Stream::Four(float a, float b, float c, float d) {
  float values[4] = {a, b, c, d};
  Four(values);
}

void Stream::Vector(Point3& p) {
  float values[3] = {p.x, p.y, p.z};
  Floats(values, 3);
  if (reading_) p = {values[0], values[1], values[2]};
}

void Stream::Rotation(Quat& q) {
  float values[4] = {q.x, q.y, q.z, q.w};
  Four(values);
  if (!reading_) return;
  q = ReadRotation({values[0], values[1], values[2], values[3]});
}

bool Stream::Count(int& count, int fields) {
  Int(count);
  if (!reading_ || !Good()) return Good();
  // In text a field is a digit and the end of its line at least.
  const std::size_t size = static_cast<std::size_t>(fields) * (IsText() ? 2 : 4);
  if (count < 0 ||
      static_cast<std::size_t>(count) > (Left() + 1) / std::max<std::size_t>(size, 1)) {
    Fail("a count of " + std::to_string(count) + " is more than the file holds");
    count = 0;
  }
  return Good();
}

void Stream::Text(std::string& text, int limit, bool wide) {
  if (form_ == StreamForm::kChunk && version_ < kFirstChunkVersionWithText) return;
  if (IsText()) {
    if (!reading_) {
      const std::string line = OneLine(NarrowText(WideText(text, limit)));
      out_ += Trimmed(line).empty() ? std::string(kEmptyText) : line;
      out_ += "\r\n";
      return;
    }
    const std::string read = NarrowText(WideText(Line(), limit));
    // Once more: what is cut off at a null or at the limit may leave blanks that no line ends with.
    const std::string_view line = Trimmed(read);
    if (Good()) text = line == kEmptyText ? "" : line;
    return;
  }
  if (!reading_) {
    const std::u16string units = WideText(text, limit);
    int length = static_cast<int>(units.size());
    Int(length);
    if (wide) return Put(units.data(), units.size() * sizeof(char16_t));
    for (const char16_t unit : units) out_ += unit < 0x100 ? static_cast<char>(unit) : '?';
    return;
  }
  int length = 0;
  Int(length);
  if (!Good()) return;
  const std::size_t unit = wide ? 2 : 1;
  if (length < 0 || length > limit || static_cast<std::size_t>(length) * unit > Left()) {
    return Fail("a text of " + std::to_string(length) + " characters");
  }
  std::u16string units(static_cast<std::size_t>(length), u' ');
  for (char16_t& to : units) {
    unsigned char narrow = 0;
    if (wide ? Take(&to, 2) : Take(&narrow, 1)) to = wide ? to : narrow;
  }
  if (Good()) text = NarrowText(units);
}

void Stream::Blob(std::string& bytes) {
  int size = static_cast<int>(bytes.size());
  Int(size);
  if (!reading_) return Put(bytes.data(), bytes.size());
  if (!Good()) return;
  if (size < 0 || static_cast<std::size_t>(size) > Left()) return FailAtEnd();
  bytes.assign(in_.substr(at_, static_cast<std::size_t>(size)));
  line_ += static_cast<int>(std::count(bytes.begin(), bytes.end(), '\n'));
  at_ += static_cast<std::size_t>(size);
}

void Stream::Caption(std::string_view line) {
  if (!IsText()) return;
  if (reading_) {
    (void)Line();
  } else {
    out_ += line;
    out_ += "\r\n";
  }
}

void Stream::Skip(int written) { Int(written); }

void Stream::SkipFloat(float written) {
  if (!reading_) return Float(written);
  if (IsText()) {
    (void)Line();
  } else {
    (void)Take(&written, sizeof written);
  }
}

}  // namespace strider
