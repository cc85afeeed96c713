// The text of a .bvh file: a hierarchy of joints with any channels, and a row of numbers for each
// frame. What the joints stand for is bvh_reader.h's matter.
//
// The file is a row of words between blanks; line ends are blanks like others.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/capture_scene.h"

namespace strider {

/// A joint as it stands in the file. Names and places lie in the text.
struct BvhNode {
  std::string_view name;
  int parent = -1;
  int firstChannel = 0, numChannels = 0;  // in BvhFile::channels
  Point3 offset, endOffset;
  bool isRoot = false, hasEnd = false;
};

struct BvhFile {
  std::string_view text;  // outlives the record
  std::size_t at = 0;     // how far it has been read

  std::deque<BvhNode> nodes;  // in the file's order; a parent comes before its children
  std::vector<CaptureChannel> channels;
  std::int64_t numColumns = 0;  // numbers a frame: the channels of all nodes, in their order

  std::int64_t framesStated = 0;
  double frameTime = 0;  // seconds

  int numFrames = 0;  // whole ones that were read
  std::unique_ptr<float[]> values;
  bool hasMore = false;  // words follow the last frame

  std::string cause;        // why it is refused, with no place
  std::size_t causeAt = 0;  // where in the text
  std::string frameEnd;     // why the frames end before their stated number; empty if they don't
  std::size_t frameEndAt = 0;
  // What is read as it stands, since lines and spare words mean nothing, but looks like a wrong
  // count: the first such place of the hierarchy and of the frames.
  struct Oddity {
    std::string what;
    std::size_t at = 0;
  };
  std::vector<Oddity> oddities;
};

/// No length, place or angle of a figure comes near it; numbers beyond are taken for damage.
inline constexpr float kLargestCaptureValue = 1e9f;

/// The hierarchy, up to the word MOTION. False with a cause.
[[nodiscard]] bool ReadBvhHierarchy(BvhFile& file);
/// The number of frames and their time. False with a cause.
[[nodiscard]] bool ReadBvhMotionHead(BvhFile& file);
/// The numbers, up to the stated frames, the file's end or the first word that is no number: what
/// was read stays. May throw std::bad_alloc.
void ReadBvhFrames(BvhFile& file);

/// Line of a place in a text, from 1.
int LineAt(std::string_view text, std::size_t at);

}  // namespace strider
