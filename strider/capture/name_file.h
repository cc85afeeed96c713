// Which names a take's file has for the joints or markers that we know: a table, and the small text
// files that hold one, .mnm.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace strider {

enum class NameKind { kJoints, kMarkers };

inline constexpr int kNumNameRows = 70;
inline constexpr std::size_t kLongestNameLine = 256;

/// The file's name for each row of a vocabulary: joints by CaptureJoint, markers by CaptureMarker.
/// An empty row stands for no other name.
struct NameTable {
  std::array<std::string, kNumNameRows> rows;

  /// The row that has the name; -1 where none has.
  int Find(std::string_view name) const;
  bool Empty() const;
  friend bool operator==(const NameTable&, const NameTable&) = default;
};

/// The joint or marker that a file's name stands for: by the table, else by the vocabulary's own
/// names; -1 for neither. `table` may be null.
int FindNamed(NameKind kind, const NameTable* table, std::string_view name);

/// Reads the lines of a name file: the vocabulary's name, then the file's. False where a first name
/// is unknown or a line is no pair: then `table` is empty and `cause` says "name:line: why".
[[nodiscard]] bool ReadNames(NameKind kind, std::string_view text, const std::string& name,
                             NameTable& table, std::string& cause);
/// The same from a file.
[[nodiscard]] bool ReadNameFile(NameKind kind, const std::string& path, NameTable& table,
                                std::string& cause);
/// A name file of a table.
std::string NameFileText(NameKind kind, const NameTable& table);

}  // namespace strider
