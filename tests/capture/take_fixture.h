// Takes for the tests of what reads and converts them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "strider/capture/bvh_reader.h"
#include "tests/exchange/scratch_folder.h"

namespace strider::test {

/// One of those that the project ships.
inline std::string TakePath(const std::string& name) { return "examples/takes/" + name; }

inline int ReadText(CaptureScene& scene, const std::string& text, CaptureReport& report,
                    const BvhSettings& settings = {}) {
  return ReadBvhText(scene, text, "take.bvh", settings, report);
}

/// The least hierarchy that is taken: a stick figure of the required joints, one unit a link, with
/// three rotations each and places of the hips. `under` puts more into the head's braces.
inline std::string Hierarchy(const std::string& under = "") {
  std::string text =
      "HIERARCHY\nROOT Hips\n{\n OFFSET 0 0 0\n CHANNELS 6 Xposition Yposition "
      "Zposition Zrotation Xrotation Yrotation\n";
  const std::string rotations = " CHANNELS 3 Zrotation Xrotation Yrotation\n";
  const auto open = [&](const std::string& name, const char* offset) {
    text += "JOINT " + name + "\n{\n OFFSET " + offset + "\n" + rotations;
  };
  const std::string end = "End Site\n{\n OFFSET 0 0 1\n}\n";
  for (const std::string side : {"Left", "Right"}) {
    open(side + "Hip", side == "Left" ? "1 0 0" : "-1 0 0");
    open(side + "Knee", "0 -1 0");
    open(side + "Ankle", "0 -1 0");
    text += end + "}\n}\n}\n";
  }
  open("Chest", "0 1 0");
  for (const std::string side : {"Left", "Right"}) {
    const char* out = side == "Left" ? "1 0 0" : "-1 0 0";
    for (const char* part : {"Collar", "Shoulder", "Elbow", "Wrist"}) open(side + part, out);
    text += end + "}\n}\n}\n}\n";
  }
  open("Neck", "0 1 0");
  open("Head", "0 1 0");
  return text + under + "}\n}\n}\n}\n";
}
/// Numbers a frame of it, without what is put under the head.
inline constexpr int kHierarchyColumns = 6 + 3 * 17;

/// A motion of frames whose numbers are frame * 100 + column.
inline std::string Motion(int frames, int columns, const std::string& frameTime = "0.0333333") {
  std::string text =
      "MOTION\nFrames: " + std::to_string(frames) + "\nFrame Time: " + frameTime + "\n";
  for (int f = 0; f < frames; ++f) {
    for (int c = 0; c < columns; ++c) text += std::to_string(100 * f + c) + " ";
    text += "\n";
  }
  return text;
}

}  // namespace strider::test
