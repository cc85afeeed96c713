#include "strider/capture/marker_reader.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <span>

#include "strider/base/number_text.h"
#include "strider/capture/bvh_file.h"
#include "strider/capture/marker_columns.h"
#include "strider/capture/marker_names.h"
#include "strider/capture/marker_text.h"
#include "strider/capture/thin.h"
#include "strider/storage/motion_file.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

constexpr float kUnmeasured = 50;
constexpr float kInchesAMillimetre = 0.03937f;
constexpr std::string_view kMeasures[kNumTalentMeasures] = {
    "HEA", "NEC", "CLA", "UPP", "FOR", "THI", "CAL", "SPI", "PELVH", "PELVL", "FOOTH", "FOOTL"};

struct MarkerRun {
  std::string_view text;
  const std::string& path;
  const MarkerSettings& settings;
  CaptureReport& report;
  CaptureScene scene;
  MarkerColumns columns{settings, scene, report};
  double rate = 0;  // frames a second; 0 where the file doesn't say

  std::string Place(std::size_t at) const {
    return path + ":" + std::to_string(LineAt(text, at)) + ": ";
  }
  int Refuse(std::size_t at, const std::string& cause) const {
    report.message = Place(at) + cause;
    return 0;
  }
};

/// Seconds that a frame of the scene takes, for files that tell no rate.
double SceneFrameTime(const MarkerSettings& settings) {
  const TimeValue ticks = settings.ticksPerFrame > 0 ? settings.ticksPerFrame : kDynamicsFrame;
  return static_cast<double>(ticks) / kTicksPerSecond;
}

int CheckMarkers(MarkerRun& run, std::size_t at) {
  run.report.missingNames = MissingMarkers(run.scene.markers);
  if (run.report.missingNames.empty()) return 1;
  std::string missing;
  for (const std::string& name : run.report.missingNames) {
    missing += (missing.empty() ? "" : ", ") + name;
  }
  run.report.message = run.Place(at) + "these markers are missing: " + missing;
  return -1;
}

// --- Sections opened by words that begin with $
// ---------------------------------------------------

/// The number behind a section's word; none where there is no number.
std::optional<double> TakeNumber(MarkerWords& words) {
  const auto number = ReadNumber(words.Peek());
  if (number) (void)words.Next();
  return number;
}

int ReadTalent(MarkerRun& run, MarkerWords& words) {
  const auto measureOf = [](std::string_view word) {
    const auto* found = std::find_if(std::begin(kMeasures), std::end(kMeasures),
                                     [word](auto letters) { return BeginsWith(word, letters); });
    return static_cast<std::size_t>(found - std::begin(kMeasures));
  };
  run.scene.hasTalent = true;
  run.scene.talent.fill(kUnmeasured);
  run.scene.measured.fill(false);
  const bool millimetres = BeginsWith(words.Peek(), "MIL");
  if (measureOf(words.Peek()) == kNumTalentMeasures && words.Peek().substr(0, 1) != "$") {
    (void)words.Next();  // the unit
  }
  while (!words.Peek().empty() && words.Peek()[0] != '$') {
    const std::size_t measure = measureOf(words.Next());
    const std::string_view word = words.Next();
    const auto number = ReadFloat(word);
    if (!number || !(std::abs(*number) <= kLargestCaptureValue)) {
      return run.Refuse(words.at, Quoted(word) + " is no measure of the talent");
    }
    if (measure == kNumTalentMeasures) continue;
    run.scene.talent[measure] = *number;
    run.scene.measured[measure] = true;
  }
  for (float& measure : run.scene.talent) measure *= millimetres ? kInchesAMillimetre : 1;
  return 1;
}

/// Up to the word that opens the data.
int ReadHead(MarkerRun& run, MarkerWords& words) {
  std::optional<double> first, last;
  bool skipping = false;
  while (true) {
    const std::string_view word = words.Next();
    if (word.empty()) return run.Refuse(words.at, "the file ends before its points do begin");
    if (word[0] != '$') {
      if (!skipping && !run.columns.Add(word)) {
        return run.Refuse(words.at, "too many names of markers");
      }
      continue;
    }
    skipping = false;
    if (BeginsWith(word, "$P")) break;
    if (BeginsWith(word, "$R")) {
      run.rate = TakeNumber(words).value_or(0);
      if (!(run.rate > 0 && run.rate <= 1e6)) {
        return run.Refuse(words.at, "the rate must be a number of frames a second, more than 0");
      }
    } else if (BeginsWith(word, "$FIRS")) {
      first = TakeNumber(words);
    } else if (BeginsWith(word, "$L")) {
      last = TakeNumber(words);
    } else if (BeginsWith(word, "$S")) {
      (void)TakeNumber(words);
    } else if (BeginsWith(word, "$TAL")) {
      if (ReadTalent(run, words) == 0) return 0;
    } else {
      skipping = !BeginsWith(word, "$O");
    }
  }
  constexpr double kMostFrames = 1e15;
  if (first && last && *last >= *first && *last - *first < kMostFrames) {
    run.report.framesStated = static_cast<std::int64_t>(*last - *first) + 1;
  }
  return CheckMarkers(run, words.at);
}

/// Notes the first frame whose number does not follow as the others do: lines mean nothing, so
/// that a row with a value too many or too few shifts all that follow.
class FrameNumbers {
 public:
  void Take(MarkerRun& run, std::size_t at, std::string_view word) {
    const auto read = ReadNumber(word);
    constexpr double kMost = 1e12;  // sums of two stay far within 64 bits
    std::optional<std::int64_t> number;
    if (read && std::abs(*read) < kMost && *read == std::floor(*read)) {
      number = static_cast<std::int64_t>(*read);
    }
    if (noted_) return;
    if (number && last_ && !step_ && *number > *last_) step_ = *number - *last_;
    noted_ = !number || (last_ && number != *last_ + step_.value_or(1));
    if (noted_) {
      run.report.NoteDamage(run.Place(at) + Quoted(word) +
                            " where the number of a frame should stand; a row may have values "
                            "too many or too few");
    }
    last_ = number;
  }

 private:
  std::optional<std::int64_t> last_, step_;
  bool noted_ = false;
};

/// Frames up to the end of the file, the next section or the first word that is no number.
void ReadPoints(MarkerRun& run, MarkerWords& words) {
  std::string why;
  FrameNumbers numbers;
  while (why.empty() && run.scene.numFrames < INT_MAX) {
    const std::string_view number = words.Next();
    if (number.empty() || number[0] == '$') return;
    if (ReadNumber(number)) {
      numbers.Take(run, words.at, number);
    } else {
      why = Quoted(number) + " is no number of a frame";
    }
    for (int column = 0; why.empty() && column < run.columns.Count(); ++column) {
      std::string_view word;
      bool ended = false;
      const bool good = run.columns.Read(column, [&] {
        word = words.Next();
        ended = word.empty();
        return word;
      });
      if (ended) {
        why = "the file ends within a frame";
      } else if (!good) {
        why = Quoted(word) + " is no number";
      }
    }
    if (why.empty()) run.columns.EndFrame();
  }
  run.report.NoteDamage(run.Place(words.at) + why + "; " + std::to_string(run.scene.numFrames) +
                        " frames were read");
}

int ReadKeywordForm(MarkerRun& run) {
  MarkerWords words{run.text};
  const int status = ReadHead(run, words);
  if (status != 1) return status;
  ReadPoints(run, words);
  run.report.framesInFile = run.scene.numFrames;
  if (run.rate == 0) {
    run.report.notes.push_back(run.path + ": the file tells no rate; it is taken for the scene's");
  }
  run.scene.frameTime = run.rate > 0 ? 1 / run.rate : SceneFrameTime(run.settings);
  return 1;
}

// --- A table with a row a frame
// -------------------------------------------------------------------

/// The rows of a text.
struct Rows {
  std::string_view text;
  std::size_t at = 0, rowAt = 0;

  bool Next(std::string_view& row) {
    if (at >= text.size()) return false;
    rowAt = at;
    const std::size_t end = std::min(text.find('\n', at), text.size());
    row = text.substr(at, end - at);
    if (!row.empty() && row.back() == '\r') row.remove_suffix(1);
    at = end + 1;
    return true;
  }
};

bool IsTitle(std::string_view word) {
  return BeginsWith(word, "FRAME") || BeginsWith(word, "TIME");
}

bool AddNames(MarkerRun& run, std::span<const std::string_view> words) {
  for (const std::string_view word : words) {
    if (!word.empty() && !IsTitle(word) && !run.columns.Add(word)) return false;
  }
  return true;
}

/// Finds the names: behind the word 1 that opens the data, on the row behind it where it stands
/// alone, and where it is a frame's number already on the last row before it that names markers.
int ReadTableHead(MarkerRun& run, Rows& rows) {
  const auto isKnown = [&run](std::string_view word) {
    return FindNamed(NameKind::kMarkers, run.settings.names, word) >= 0;
  };
  const auto isEmpty = [](std::string_view word) { return word.empty(); };
  std::string_view row, named;
  while (rows.Next(row)) {
    const std::vector<std::string_view> words = WordsOfRow(row);
    const auto one = std::find(words.begin(), words.end(), "1");
    const bool names = one != words.end() && std::any_of(one + 1, words.end(), isKnown);
    const bool opens = words.front() == "1" && rows.rowAt > 0;
    bool few = true;
    if (names) {
      few = AddNames(run,
                     std::span(words).subspan(static_cast<std::size_t>(one + 1 - words.begin())));
    } else if (!opens) {
      if (std::any_of(words.begin(), words.end(), isKnown)) named = row;
      continue;
    } else if (std::all_of(words.begin() + 1, words.end(), isEmpty)) {
      few = rows.Next(named) && AddNames(run, WordsOfRow(named));
    } else {
      few = AddNames(run, WordsOfRow(named));
      rows.at = rows.rowAt;
    }
    if (!few) return run.Refuse(rows.rowAt, "no names of markers stand where they should");
    return CheckMarkers(run, rows.rowAt);
  }
  return run.Refuse(rows.at, "the file ends before its data do begin");
}

int ReadTableForm(MarkerRun& run) {
  Rows rows{run.text};
  const int status = ReadTableHead(run, rows);
  if (status != 1) return status;
  double first = 0, last = 0;
  std::string_view row;
  while (rows.Next(row) && run.scene.numFrames < INT_MAX) {
    const std::vector<std::string_view> words = WordsOfRow(row);
    if (std::all_of(words.begin(), words.end(), [](auto w) { return w.empty(); })) continue;
    const auto number = ReadNumber(words[0]);
    const auto time = words.size() > 1 ? ReadNumber(words[1]) : std::nullopt;
    constexpr double kLongest = 1e9;
    if (!number || !time || !(std::abs(*time) < kLongest)) {
      return run.Refuse(rows.rowAt, "a frame begins with its number and its time");
    }
    last = *time;
    if (run.scene.numFrames == 0) first = last;
    std::size_t at = 2;
    for (int column = 0; column < run.columns.Count(); ++column) {
      bool ended = false;
      std::string_view word;
      const bool good = run.columns.Read(column, [&] {
        ended |= at >= words.size();
        word = at < words.size() ? words[at++] : std::string_view();
        return word;
      });
      if (ended) return run.Refuse(rows.rowAt, "the frame lacks numbers");
      if (!good) return run.Refuse(rows.rowAt, Quoted(word) + " is no number");
    }
    run.columns.EndFrame();
  }
  run.report.framesInFile = run.scene.numFrames;
  run.scene.frameTime =
      last > first ? (last - first) / (run.scene.numFrames - 1) : SceneFrameTime(run.settings);
  return 1;
}

int ReadAll(MarkerRun& run) {
  const float scale = run.settings.scaleFactor;
  constexpr float kLargestScale = 1e6f;
  if (!(scale > 0 && scale <= kLargestScale)) {
    run.report.message = "the scale factor must be more than 0, at most a million";
    return 0;
  }
  if (run.text.empty()) {
    run.report.message = run.path + ": the file is empty";
    return 0;
  }
  run.scene.talent.fill(kUnmeasured);
  const bool isTable = BeginsWith(MarkerWords{run.text}.Next(), "FILE");
  const int status = isTable ? ReadTableForm(run) : ReadKeywordForm(run);
  if (status != 1) return status;
  run.columns.Finish();
  run.scene.kind = CaptureKind::kMarkers;
  run.scene.path = run.path;
  run.scene.unknownNames = run.report.unknownNames;
  ThinCapture(run.scene, ThinningFor(run.scene.frameTime, run.settings.ticksPerFrame));
  return 1;
}

}  // namespace

Point3 FromMarkerAxes(const Point3& file, int upVector) {
  switch (upVector) {
    case kUpIsX: return {-file.y, file.x, file.z};
    case kUpIsY: return file;
    default: return {file.x, file.z, -file.y};
  }
}

int ReadMarkersText(CaptureScene& scene, std::string_view text, const std::string& path,
                    const MarkerSettings& settings, CaptureReport& report) {
  scene = {};
  report = {};
  try {
    MarkerRun run{text, path, settings, report, {}};
    report.status = ReadAll(run);
    if (report.status == 1) scene = std::move(run.scene);
  } catch (const std::bad_alloc&) {
    report.message = path + ": memory ran out";
    report.status = 0;
  }
  return report.status;
}

int ReadMarkers(CaptureScene& scene, const std::string& path, const MarkerSettings& settings,
                CaptureReport& report) {
  std::string text;
  scene = {};
  report = {};
  if (!ReadNamedFile(path, text, report.message)) return 0;
  return ReadMarkersText(scene, text, path, settings, report);
}

}  // namespace strider
