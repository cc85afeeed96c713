#include "exchange/zip_writer.h"

#include <algorithm>
#include <array>

#include "exchange/little_endian.h"

namespace strider {
namespace {

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    table[i] = crc;
  }
  return table;
}
constexpr std::array<std::uint32_t, 256> kCrcTable = MakeCrcTable();

constexpr std::uint16_t kVersion = 20, kWideVersion = 45;  // of the format, needed to read it
constexpr std::uint16_t kUtf8Names = 0x0800;
constexpr std::uint16_t kStored = 0;
// The first day that the format can tell, at midnight.
constexpr std::uint16_t kNoTime = 0, kNoDate = 1 << 5 | 1;
constexpr std::uint16_t kWideField = 1;

using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

}  // namespace

void Crc32::Add(std::string_view bytes) {
  for (const char c : bytes) {
    state_ = state_ >> 8 ^ kCrcTable[(state_ ^ static_cast<unsigned char>(c)) & 0xFF];
  }
}

std::uint32_t ZipWriter::Narrow(std::uint64_t value) const {
  return IsWide(value) ? 0xFFFFFFFF : static_cast<U32>(value);
}

/// What a file's header and its entry in the directory share.
void ZipWriter::AppendCommon(std::string& bytes, const Entry& entry, bool wide) const {
  AppendLittleEndian(bytes, wide ? kWideVersion : kVersion);
  AppendLittleEndian(bytes, kUtf8Names);
  AppendLittleEndian(bytes, kStored);
  AppendLittleEndian(bytes, kNoTime);
  AppendLittleEndian(bytes, kNoDate);
  AppendLittleEndian(bytes, entry.crc);
  AppendLittleEndian(bytes, Narrow(entry.size));  // packed
  AppendLittleEndian(bytes, Narrow(entry.size));
  AppendLittleEndian(bytes, static_cast<U16>(entry.name.size()));
}

void ZipWriter::Begin(std::string_view name, std::uint64_t size, std::uint32_t crc) {
  entries_.push_back({std::string(name), size, written_, crc});
  const bool wide = IsWide(size);
  std::string bytes;
  AppendLittleEndian(bytes, U32{0x04034b50});
  AppendCommon(bytes, entries_.back(), wide);
  AppendLittleEndian(bytes, U16{static_cast<U16>(wide ? 20 : 0)});
  bytes += name;
  if (wide) {
    AppendLittleEndian(bytes, kWideField);
    AppendLittleEndian(bytes, U16{16});
    AppendLittleEndian(bytes, U64{size});
    AppendLittleEndian(bytes, U64{size});
  }
  Write(bytes);
}

void ZipWriter::Write(std::string_view bytes) {
  file_.Write(bytes);
  written_ += bytes.size();
}

void ZipWriter::Add(std::string_view name, std::string_view bytes) {
  Crc32 crc;
  crc.Add(bytes);
  Begin(name, bytes.size(), crc.Value());
  Write(bytes);
}

std::string ZipWriter::DirectoryEntry(const Entry& entry) const {
  std::string wide;
  if (IsWide(entry.size)) {
    AppendLittleEndian(wide, U64{entry.size});
    AppendLittleEndian(wide, U64{entry.size});
  }
  if (IsWide(entry.offset)) AppendLittleEndian(wide, U64{entry.offset});

  std::string bytes;
  AppendLittleEndian(bytes, U32{0x02014b50});
  AppendLittleEndian(bytes, kWideVersion);  // of the writer; the system is the plainest
  AppendCommon(bytes, entry, !wide.empty());
  AppendLittleEndian(bytes, static_cast<U16>(wide.empty() ? 0 : wide.size() + 4));
  AppendLittleEndian(bytes, U16{0});  // comment
  AppendLittleEndian(bytes, U16{0});  // disk
  AppendLittleEndian(bytes, U16{0});  // kind of content: not told
  AppendLittleEndian(bytes, U32{0});  // rights
  AppendLittleEndian(bytes, Narrow(entry.offset));
  bytes += entry.name;
  if (!wide.empty()) {
    AppendLittleEndian(bytes, kWideField);
    AppendLittleEndian(bytes, static_cast<U16>(wide.size()));
    bytes += wide;
  }
  return bytes;
}

std::string ZipWriter::DirectoryEnd(std::uint64_t size) const {
  const U64 count = entries_.size(), start = written_ - size;
  const bool wide = count >= 0xFFFF || IsWide(size) || IsWide(start);
  std::string bytes;
  if (wide) {
    AppendLittleEndian(bytes, U32{0x06064b50});
    AppendLittleEndian(bytes, U64{44});  // bytes that follow
    AppendLittleEndian(bytes, kWideVersion);
    AppendLittleEndian(bytes, kWideVersion);
    AppendLittleEndian(bytes, U32{0});
    AppendLittleEndian(bytes, U32{0});
    AppendLittleEndian(bytes, count);  // on this disk
    AppendLittleEndian(bytes, count);
    AppendLittleEndian(bytes, U64{size});
    AppendLittleEndian(bytes, start);
    AppendLittleEndian(bytes, U32{0x07064b50});
    AppendLittleEndian(bytes, U32{0});
    AppendLittleEndian(bytes, U64{written_});  // where the wide end stands
    AppendLittleEndian(bytes, U32{1});
  }
  const U16 narrowCount = static_cast<U16>(std::min<U64>(count, 0xFFFF));
  AppendLittleEndian(bytes, U32{0x06054b50});
  AppendLittleEndian(bytes, U16{0});
  AppendLittleEndian(bytes, U16{0});
  AppendLittleEndian(bytes, narrowCount);
  AppendLittleEndian(bytes, narrowCount);
  AppendLittleEndian(bytes, Narrow(size));
  AppendLittleEndian(bytes, Narrow(start));
  AppendLittleEndian(bytes, U16{0});
  return bytes;
}

void ZipWriter::Finish() {
  U64 size = 0;
  for (const Entry& entry : entries_) {
    const std::string bytes = DirectoryEntry(entry);
    size += bytes.size();
    Write(bytes);
  }
  Write(DirectoryEnd(size));
}

}  // namespace strider
