// make_seeds FOLDER: small good inputs for every target, in a folder of its name each, from which a
// fuzzer sets out.
#include <cstdio>
#include <filesystem>

#include "strider/base/whole_file.h"
#include "strider/capture/moc_file.h"
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

/// A take with a joint that nobody knows, and two forms of markers.
bool WriteTakes(const std::filesystem::path& folder) {
  const auto joint = [](const std::string& name, const std::string& under) {
    return "JOINT " + name + "{OFFSET 1 0 0\nCHANNELS 3 Zrotation Xrotation Yrotation\n" + under +
           "}\n";
  };
  std::string bvh =
      "HIERARCHY\nROOT Hips{OFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition "
      "Zrotation Xrotation Yrotation\n";
  std::string spine = joint("Neck", joint("Head", "End Site{OFFSET 0 1 0}"));
  int joints = 4;  // the chest, what is in `spine`, and the one without a name
  for (const std::string side : {"Left", "Right"}) {
    const std::string leg = joint(side + "Knee", joint(side + "Ankle", "End Site{OFFSET 0 0 1}"));
    bvh += side == "Left" ? joint("Buttock", joint("LeftHip", leg)) : joint(side + "Hip", leg);
    const std::string hand = joint(side + "Elbow", joint(side + "Wrist", ""));
    spine += joint(side + "Collar", joint(side + "Shoulder", hand));
    joints += 7;
  }
  bvh += joint("Chest", spine) + "}\nMOTION\nFrames: 2\nFrame Time: .008333\n";
  const int columns = 6 + 3 * joints;
  for (int i = 0; i < 2 * columns; ++i)
    bvh += std::to_string(i % 7) + (i % columns == 0 ? "\n" : " ");
  bool good = Write(folder / "bvh" / "unknown_joint", bvh);

  const std::string names = "LFWT RFWT LBWT RBWT LKNE RKNE LANK RANK LWRA LWRB HAT";
  std::string row, dropped;
  for (int i = 0; i < 33; ++i) row += " " + std::to_string(3 * i) + ".5";
  for (int i = 0; i < 11; ++i) dropped += " D";
  good &= Write(folder / "mkr" / "keywords",
                "$COMMENTS none\n$RATE 120\n$FIRSTFRAME 1\n$LASTFRAME 3\n$TALENT MILLIMETERS HEAD "
                "200 PELVH 1\n$ORDER\n" +
                    names + "\n$POINTS\n1" + row + "\n2" + dropped + "\n3" + row + "\n");
  good &= Write(folder / "mkr" / "table",
                "FILE x\n1 " + names + "\n1 0.0" + row + "\n2 0.01" + row + "\n");
  return good;
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
  good &= Write(folder / "moc" / "defaults", MocText({}));
  good &= Write(folder / "mnm" / "joints", "LeftHip lThigh\nChest2 chest\nHead head\n");
  good &= Write(folder / "mnm" / "markers", "LHEL LHEE\r\nRHEL\tRHEE\r\n");
  return good && WriteTakes(folder);
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
