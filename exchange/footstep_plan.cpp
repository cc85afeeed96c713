#include "exchange/footstep_plan.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "strider/base/number_text.h"
#include "strider/base/trig.h"
#include "strider/core/footstep_track.h"

namespace strider {
namespace {

constexpr std::size_t kNumColumns = 7;
constexpr const char* kColumns[kNumColumns] = {"side",    "x",     "y",       "z",
                                               "heading", "start", "duration"};
enum Column { kSide, kX, kY, kZ, kHeading, kStart, kDuration };

// Past this many scene units a float no longer tells one footstep of a figure from the next.
constexpr double kFarthest = 1e9;
// A plan of this many bytes holds more footsteps than there is time for.
constexpr std::size_t kLongestFile = std::size_t{1} << 30;

using Fields = std::array<std::string_view, kNumColumns>;

std::string_view Trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Splits a row at its commas; how many fields it has, also past the columns that there are.
std::size_t Split(std::string_view row, Fields& fields) {
  std::size_t count = 0;
  while (true) {
    const std::size_t comma = row.find(',');
    if (count < kNumColumns) fields[count] = Trimmed(row.substr(0, comma));
    ++count;
    if (comma == std::string_view::npos) return count;
    row.remove_prefix(comma + 1);
  }
}

/// What was given, short enough for a line.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 40;
  const bool cut = text.size() > kLongest;
  return "\"" + std::string(text.substr(0, kLongest)) + (cut ? "...\"" : "\"");
}

std::string Seconds(TimeValue t) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.6g s", static_cast<double>(t) / kTicksPerSecond);
  return text;
}

class PlanReader {
 public:
  explicit PlanReader(const PlanSettings& settings) : settings_(settings) {}

  bool Read(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, 3) == kByteOrderMark) text.remove_prefix(3);
    bool headerRead = false;
    for (row_ = 1; !text.empty(); ++row_) {
      const std::size_t end = text.find('\n');
      const std::string_view line = Trimmed(text.substr(0, end));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
      if (line.empty()) continue;
      if (!(headerRead ? ReadRow(line) : ReadHeader(line))) return false;
      headerRead = true;
    }
    if (!headerRead) cause = "is empty: the first row must be " + Header();
    if (headerRead && plan.empty()) cause = "has no footsteps after its header";
    return !plan.empty();
  }

  std::vector<PlannedFootstep> plan;
  std::string cause;

 private:
  static std::string Header() {
    std::string header;
    for (const char* column : kColumns) header += (header.empty() ? "" : ",") + std::string(column);
    return header;
  }

  bool Refuse(const std::string& what) {
    cause = "row " + std::to_string(row_) + ": " + what;
    return false;
  }

  bool ReadHeader(std::string_view line) {
    Fields fields;
    bool fits = Split(line, fields) == kNumColumns;
    for (std::size_t i = 0; i < kNumColumns && fits; ++i) fits = fields[i] == kColumns[i];
    return fits || Refuse("the header must be " + Header() + ", given " + Quoted(line));
  }

  bool ReadRow(std::string_view line) {
    Fields fields;
    const std::size_t count = Split(line, fields);
    if (count != kNumColumns) {
      return Refuse("must have " + std::to_string(kNumColumns) + " fields, has " +
                    std::to_string(count));
    }
    PlannedFootstep step;
    if (!ReadSide(fields[kSide], step.side)) return false;
    double numbers[kNumColumns] = {};
    for (std::size_t i = kX; i < kNumColumns; ++i) {
      const std::optional<double> number = ReadNumber(fields[i]);
      if (!number || !std::isfinite(*number)) {
        return Refuse(std::string(kColumns[i]) + " must be a number, given " + Quoted(fields[i]));
      }
      numbers[i] = *number;
    }
    if (!ReadPlace(fields, numbers, step)) return false;
    if (!ReadTimes(fields, numbers, step) || !FitsItsTime(step)) return false;
    lastOf_[step.side] = static_cast<int>(plan.size());
    plan.push_back(step);
    lastRow_[step.side] = row_;
    return true;
  }

  bool ReadSide(std::string_view field, int& side) {
    if (field != "left" && field != "right") {
      return Refuse("side must be left or right, given " + Quoted(field));
    }
    side = field == "left" ? 1 : 0;
    return true;
  }

  bool ReadPlace(const Fields& fields, const double* numbers, PlannedFootstep& step) {
    for (int i = 0; i < 3; ++i) {
      const auto column = static_cast<std::size_t>(kX + i);
      const double value = numbers[column] * settings_.unitsPerLength;
      if (!(std::fabs(value) <= kFarthest)) {
        return Refuse(std::string(kColumns[column]) + " is too far away, given " +
                      Quoted(fields[column]));
      }
      step.place[i] = static_cast<float>(value);
    }
    // Whole turns come off before the degrees lose digits to them.
    const double degrees = std::remainder(numbers[kHeading], 360.0);
    step.heading = static_cast<float>(degrees * (kPiD / 180));
    return true;
  }

  /// Seconds to whole frames. Compared as doubles first: a huge value never becomes a time.
  bool ReadTimes(const Fields& fields, const double* numbers, PlannedFootstep& step) {
    const double start = numbers[kStart], duration = numbers[kDuration];
    if (start < 0) return Refuse("start must not be negative, given " + Quoted(fields[kStart]));
    if (duration <= 0) {
      return Refuse("duration must be above 0, given " + Quoted(fields[kDuration]));
    }
    const auto inTime = [](double seconds) {
      return seconds * kTicksPerSecond < kFootstepTimeLimit;
    };
    if (inTime(start) && inTime(duration)) {
      step.start = RoundedToFrame(start);
      step.duration = RoundedToFrame(duration);
      if (step.duration == 0) {
        return Refuse("duration is less than half a frame, given " + Quoted(fields[kDuration]));
      }
      if (Later(step.start, step.duration) < kFootstepTimeLimit) return true;
    }
    return Refuse("ends too late: a footstep must end before " + Seconds(kFootstepTimeLimit));
  }

  TimeValue RoundedToFrame(double seconds) const {
    return RoundToFrame(static_cast<TimeValue>(std::llround(seconds * kTicksPerSecond)),
                        settings_.ticksPerFrame);
  }

  bool FitsItsTime(const PlannedFootstep& step) {
    if (!plan.empty() && step.start < plan.back().start) {
      return Refuse("rows must be in order of start: starts at " + Seconds(step.start) +
                    ", before the row above it at " + Seconds(plan.back().start));
    }
    const int last = lastOf_[step.side];
    if (last < 0) return true;
    const PlannedFootstep& before = plan[static_cast<std::size_t>(last)];
    const TimeValue lift = before.start + before.duration;
    // A foot that lifts at one place cannot touch at another in the same instant.
    if (step.start > lift) return true;
    return Refuse(std::string("overlaps row ") + std::to_string(lastRow_[step.side]) +
                  ": starts at " + Seconds(step.start) + ", but the " +
                  (step.side == 1 ? "left" : "right") + " foot is down until " + Seconds(lift));
  }

  PlanSettings settings_;
  std::size_t row_ = 0;
  int lastOf_[2] = {-1, -1};     // index of the last footstep of a side
  std::size_t lastRow_[2] = {};  // and its row
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

bool ReadFile(const std::string& path, std::string& text, std::string& cause) {
  errno = 0;
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    cause = std::strerror(errno);
    return false;
  }
  char piece[1 << 16];
  std::size_t read = 0;
  while ((read = std::fread(piece, 1, sizeof piece, file.get())) > 0) {
    text.append(piece, read);
    if (text.size() > kLongestFile) {
      cause = "is too long for a plan";
      return false;
    }
  }
  if (std::ferror(file.get()) == 0) return true;
  cause = std::strerror(errno);
  return false;
}

}  // namespace

bool ParseFootstepPlan(std::string_view text, const PlanSettings& settings,
                       std::vector<PlannedFootstep>& plan, std::string& cause) {
  PlanReader reader(settings);
  if (!reader.Read(text)) {
    cause = reader.cause;
    return false;
  }
  plan = std::move(reader.plan);
  return true;
}

bool ReadFootstepPlan(const std::string& path, const PlanSettings& settings,
                      std::vector<PlannedFootstep>& plan, std::string& cause) {
  std::string text;
  return ReadFile(path, text, cause) && ParseFootstepPlan(text, settings, plan, cause);
}

}  // namespace strider
