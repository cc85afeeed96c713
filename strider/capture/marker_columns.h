// The columns of a marker file: which record each goes to, and a row of places at a time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/capture_report.h"
#include "strider/capture/marker_reader.h"

namespace strider {

class MarkerColumns {
 public:
  /// `settings` and `scene` outlive it.
  MarkerColumns(const MarkerSettings& settings, CaptureScene& scene, CaptureReport& report)
      : settings_(settings), scene_(scene), report_(report) {}

  /// A column of this name behind the others. False if there are too many.
  [[nodiscard]] bool Add(std::string_view name);
  int Count() const { return static_cast<int>(columns_.size()); }

  /// Reads one marker's place in the frame being read. False for a word that is no number.
  /// `next` gives the next word.
  template <class Next>
  bool Read(int column, const Next& next) {
    Point3 file;
    bool dropped = false;
    for (int i = 0; i < 3 && !dropped; ++i) {
      if (!ReadValue(next(), file[i], dropped)) return false;
    }
    Put(column, file, dropped);
    return true;
  }
  /// The frame being read is whole.
  void EndFrame() { ++scene_.numFrames; }
  /// Takes off what was read of a frame that is not, and binds records to others.
  void Finish();

 private:
  /// False for a word that is no number. A word that begins with D drops the marker, and so does
  /// one that is no finite number; an empty one is 0.
  static bool ReadValue(std::string_view word, float& value, bool& dropped);
  void Put(int column, const Point3& file, bool dropped);
  CaptureSamples& SamplesOf(int column);

  const MarkerSettings& settings_;
  CaptureScene& scene_;
  CaptureReport& report_;
  std::vector<int> columns_;  // a marker, or -1 and below for an extra one
};

}  // namespace strider
