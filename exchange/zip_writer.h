// Writes an archive of files that are stored as they are, without compression. The same content
// gives the same bytes on every run: no time and no user is in it. Files and archives past 4 GiB
// take the wide fields of the format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "strider/base/whole_file.h"

namespace strider {

/// The check sum of an archive's files, added piece by piece.
class Crc32 {
 public:
  void Add(std::string_view bytes);
  std::uint32_t Value() const { return ~state_; }

 private:
  std::uint32_t state_ = 0xFFFFFFFF;
};

/// The archive stands in the file once Finish has been called; failures are the file's to tell.
class ZipWriter {
 public:
  /// Sizes and places from `wideFrom` on take wide fields; tests set it low.
  explicit ZipWriter(WholeFile& file, std::uint64_t wideFrom = 0xFFFFFFFF)
      : file_(file), wideFrom_(wideFrom) {}

  /// Adds a file at once.
  void Add(std::string_view name, std::string_view bytes);
  /// Begins a file whose `size` bytes with this check sum come in pieces through Write.
  void Begin(std::string_view name, std::uint64_t size, std::uint32_t crc);
  void Write(std::string_view bytes);
  void Finish();

 private:
  struct Entry {
    std::string name;
    std::uint64_t size = 0, offset = 0;
    std::uint32_t crc = 0;
  };
  bool IsWide(std::uint64_t value) const { return value >= wideFrom_; }
  /// The field of a size or place: all ones where it stands in the wide fields instead.
  std::uint32_t Narrow(std::uint64_t value) const;
  void AppendCommon(std::string& bytes, const Entry& entry, bool wide) const;
  std::string DirectoryEntry(const Entry& entry) const;
  std::string DirectoryEnd(std::uint64_t size) const;

  WholeFile& file_;
  std::uint64_t wideFrom_, written_ = 0;
  std::vector<Entry> entries_;
};

}  // namespace strider
