// make_seeds FOLDER: small good inputs for every target, in a folder of its name each, from which a
// fuzzer sets out.
#include <cstdio>
#include <filesystem>

#include "strider/base/whole_file.h"
#include "strider/core/figure_layout.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/change_figure.h"
#include "strider/footsteps/sample_motions.h"
#include "strider/storage/motion_file.h"
#include "strider/storage/preferences.h"

namespace strider {
namespace {

bool Write(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::string cause;
  if (WriteWholeFile(path.string(), bytes, cause)) return true;
  std::fprintf(stderr, "%s: %s\n", path.c_str(), cause.c_str());
  return false;
}

/// Two frames of a walk on a figure: all tables with few keys.
MotionCore ShortMotion(const Structure& structure, bool curves) {
  MotionCore core = MakeSample(SampleMotion::kWalk, structure.height);
  MotionCore cut;
  (void)CutSegment(core, 10 * kDynamicsFrame, 12 * kDynamicsFrame, false, {}, cut);
  MotionCore figure;
  LayOutFigure(figure, structure);
  if (SetFigureOfMotion(cut, figure, true, {}) == kRefused) return cut;
  if (curves) {
    ForEachTable(cut, [](int, auto& table) { (void)SetCurveMode(table.track, 1); });
    for (const int id : {kRightArm, kRightLeg, kSpine, kNeck}) {
      (void)SetSeparateTracks(cut, id, true);
    }
  }
  return cut;
}

bool WriteSeeds(const std::filesystem::path& folder) {
  Structure full;
  full.neckLinks = 3;
  full.tailLinks = 2;
  full.ponytail1Links = 2;
  full.fingers = 2;
  full.twists = true;
  full.twistLinks[0] = full.twistLinks[3] = 2;
  Structure small;
  small.arms = false;
  small.spineLinks = 1;
  const MotionCore walk = ShortMotion(full, true), still = ShortMotion(small, false);
  const MotionCore steps = MakeSample(SampleMotion::kRun, 80);
  bool good = true;
  for (const StreamForm form : {StreamForm::kBinary, StreamForm::kText}) {
    const std::string motions = form == StreamForm::kText ? "sdr_text" : "sdr_binary";
    const std::string name = form == StreamForm::kText ? "text" : "binary";
    WriteOptions options;
    HeaderInfo info;
    options.headerInfo = &info;
    options.snapshot = true;
    good &= Write(folder / motions / "layers", WriteMotionStream({&walk, &walk}, form, options));
    good &= Write(folder / motions / "small", WriteMotionStream({&still}, form));
    for (const int version : {7, 14, 24, 32, 44, 48}) {
      WriteOptions old;
      old.version = version;
      good &= Write(folder / motions / ("version" + std::to_string(version)),
                    WriteMotionStream({&still}, form, old));
    }
    good &= Write(folder / "stp" / name, WriteFootstepStream(steps, form));
    good &= Write(folder / "fig" / name, WriteFigureStream(walk, form));
    good &= Write(folder / "fig" / (name + "_small"), WriteFigureStream(still, form));
  }
  good &= Write(folder / "ini" / "defaults", PreferencesText({}));
  return good;
}

}  // namespace
}  // namespace strider

int main(int count, char** words) {
  if (count != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  return strider::WriteSeeds(words[1]) ? 0 : 1;
}
