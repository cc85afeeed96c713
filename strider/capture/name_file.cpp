#include "strider/capture/name_file.h"

#include <algorithm>

#include "strider/capture/joint_names.h"
#include "strider/capture/marker_names.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

static_assert(kNumCaptureJoints <= kNumNameRows && kNumMarkers <= kNumNameRows);

int FindInVocabulary(NameKind kind, std::string_view name) {
  return kind == NameKind::kJoints ? FindCaptureJoint(name) : FindCaptureMarker(name);
}

/// The next word of a line, taken off it.
std::string_view TakeWord(std::string_view& line) {
  constexpr std::string_view kBlanks = " \t\r\v\f";
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  return word;
}

/// Why a line cannot be taken into the table; empty once it has been.
std::string TakeLine(NameKind kind, std::string_view line, NameTable& table) {
  if (line.size() >= kLongestNameLine) return "the line is longer than 255 characters";
  if (line.find('\0') != std::string_view::npos) return "this is no text";
  const std::string_view known = TakeWord(line), other = TakeWord(line);
  if (known.empty()) return "";
  const int row = FindInVocabulary(kind, known);
  if (row < 0) {
    return "\"" + std::string(known) + "\" is no " +
           (kind == NameKind::kJoints ? "joint" : "marker");
  }
  if (other.empty()) return "\"" + std::string(known) + "\" stands alone; a name belongs behind it";
  table.rows[row] = other;
  return "";
}

}  // namespace

int NameTable::Find(std::string_view name) const {
  if (name.empty()) return -1;
  const auto found = std::find(rows.begin(), rows.end(), name);
  return found == rows.end() ? -1 : static_cast<int>(found - rows.begin());
}

bool NameTable::Empty() const {
  return std::all_of(rows.begin(), rows.end(), [](const auto& row) { return row.empty(); });
}

int FindNamed(NameKind kind, const NameTable* table, std::string_view name) {
  const int row = table != nullptr ? table->Find(name) : -1;
  return row >= 0 ? row : FindInVocabulary(kind, name);
}

bool ReadNames(NameKind kind, std::string_view text, const std::string& name, NameTable& table,
               std::string& cause) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  table = {};
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::string why = TakeLine(kind, line, table);
    if (why.empty()) continue;
    cause = name + ":" + std::to_string(number) + ": " + why;
    table = {};
    return false;
  }
  return true;
}

bool ReadNameFile(NameKind kind, const std::string& path, NameTable& table, std::string& cause) {
  std::string text;
  table = {};
  if (!ReadNamedFile(path, text, cause)) return false;
  return ReadNames(kind, text, path, table, cause);
}

std::string NameFileText(NameKind kind, const NameTable& table) {
  const int count = kind == NameKind::kJoints ? int{kNumCaptureJoints} : kNumMarkers;
  std::string text;
  for (int row = 0; row < count; ++row) {
    if (table.rows[row].empty()) continue;
    text += kind == NameKind::kJoints ? std::string_view(FirstNameOf(row)) : MarkerNameOf(row);
    text += ' ' + table.rows[row] + '\n';
  }
  return text;
}

}  // namespace strider
