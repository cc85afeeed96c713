#include "strider/capture/carry.h"

#include <algorithm>
#include <cmath>

#include "strider/capture/rotation_order.h"

namespace strider {
namespace {

/// Below it a rotation is none: what converters leave of 0, degrees.
constexpr float kStillDegrees = 1e-5f;
/// So many first frames tell whether places hold the offset.
constexpr int kFramesLookedAt = 10;

/// One node's numbers: in which column of a frame's row each component stands, -1 for none.
struct NodeColumns {
  int position[3] = {-1, -1, -1}, rotation[3] = {-1, -1, -1};
  bool hasPositions = false, hasRotations = false;
};

class Filler {
 public:
  Filler(const BvhFile& file, std::vector<MappedNode>& nodes, float scale, CaptureScene& scene)
      : file_(file), nodes_(nodes), scale_(scale), scene_(scene) {}

  bool Fill(bool carry);

 private:
  const BvhNode& Node(int i) const { return file_.nodes[static_cast<std::size_t>(i)]; }
  MappedNode& Mapped(int i) const { return nodes_[static_cast<std::size_t>(i)]; }
  const float* Row(int frame) const {
    return file_.values.get() + static_cast<std::int64_t>(frame) * file_.numColumns;
  }
  std::span<const CaptureChannel> ChannelsOf(int i) const {
    return std::span(file_.channels)
        .subspan(static_cast<std::size_t>(Node(i).firstChannel),
                 static_cast<std::size_t>(Node(i).numChannels));
  }
  const NodeColumns& ColumnsOf(int i) const {
    return columns_[static_cast<std::size_t>(columnsOf_[static_cast<std::size_t>(i)])];
  }
  void FindColumns();
  void LookAtNode(int i);
  bool HoldsOffset(int i) const;
  void CopyAll();
  bool CarryInto(int node);
  /// Where a node lies from its parent in a frame, and how it is turned; file units.
  Place3 PlaceOf(int i, const float* row) const;
  Point3 AnglesOf(int i, const float* row) const;
  bool Reserve(CaptureSamples& samples);

  const BvhFile& file_;
  std::vector<MappedNode>& nodes_;
  float scale_;
  CaptureScene& scene_;
  std::vector<NodeColumns> columns_;  // of nodes with channels; one of none for the others
  std::vector<int> columnsOf_;        // by node
  std::size_t room_ = 0;              // bytes of samples that may still be taken
};

void Filler::FindColumns() {
  columns_.emplace_back();
  columnsOf_.assign(file_.nodes.size(), 0);
  int column = 0;
  for (int i = 0; i < static_cast<int>(file_.nodes.size()); ++i) {
    if (Node(i).numChannels == 0) continue;
    NodeColumns own;
    for (const CaptureChannel& channel : ChannelsOf(i)) {
      const bool turns = channel.kind == CaptureChannel::kRotation;
      (turns ? own.rotation : own.position)[channel.component] = column++;
      (turns ? own.hasRotations : own.hasPositions) = true;
    }
    columnsOf_[static_cast<std::size_t>(i)] = static_cast<int>(columns_.size());
    columns_.push_back(own);
  }
}

bool Filler::HoldsOffset(int i) const {
  const NodeColumns& own = ColumnsOf(i);
  const Point3& offset = Node(i).offset;
  const int count = Node(i).isRoot ? 1 : kFramesLookedAt;
  double fromOffset = 0, fromZero = 0, length = 0;
  for (int c = 0; c < 3; ++c) length += static_cast<double>(offset[c]) * offset[c];
  if (length == 0 || file_.numFrames == 0) return false;
  for (int f = 0; f < std::min(count, file_.numFrames); ++f) {
    double toOffset = 0, toZero = 0;
    for (int c = 0; c < 3; ++c) {
      if (own.position[c] < 0) continue;
      const double value = Row(f)[own.position[c]];
      toOffset += (value - offset[c]) * (value - offset[c]);
      toZero += value * value;
    }
    fromOffset += std::sqrt(toOffset);
    fromZero += std::sqrt(toZero);
  }
  // A root's place is anywhere: only one that begins at its offset can be meant to hold it.
  constexpr double kRootShare = 0.05;
  if (Node(i).isRoot) return fromOffset <= kRootShare * std::sqrt(length);
  return fromOffset < fromZero;
}

void Filler::LookAtNode(int i) {
  const NodeColumns& own = ColumnsOf(i);
  MappedNode& mapped = Mapped(i);
  if (own.hasPositions) mapped.holdsOffset = HoldsOffset(i);
  if (!own.hasRotations || mapped.joint != kNoJoint) return;
  for (int f = 0; f < file_.numFrames && !mapped.rotates; ++f) {
    for (const int column : own.rotation) {
      if (column >= 0 && std::abs(Row(f)[column]) > kStillDegrees) mapped.rotates = true;
    }
  }
}

bool Filler::Reserve(CaptureSamples& samples) {
  const auto count = static_cast<std::size_t>(file_.numFrames);
  if (samples.Count() == file_.numFrames) return true;
  if (room_ < count * sizeof(Point3)) return false;
  room_ -= count * sizeof(Point3);
  samples.samples.resize(count);
  samples.capacity = (file_.numFrames + 15) / 16 * 16;
  return true;
}

void Filler::CopyAll() {
  struct Copy {
    Point3* to;
    int column[3];
    float scale;
    Point3 missing;  // for components without a column
  };
  std::vector<Copy> copies;
  for (int i = 0; i < static_cast<int>(file_.nodes.size()); ++i) {
    const int joint = Mapped(i).joint;
    const NodeColumns& own = ColumnsOf(i);
    if (joint == kNoJoint) continue;
    JointRecord& record = scene_.joints[static_cast<std::size_t>(joint)];
    if (own.hasPositions) {
      Copy copy = {record.positions.samples.data(),
                   {own.position[0], own.position[1], own.position[2]},
                   scale_,
                   {}};
      if (record.positionsHoldOffset) copy.missing = record.offset;
      copies.push_back(copy);
    }
    if (own.hasRotations) {
      copies.push_back({record.rotations.samples.data(),
                        {own.rotation[0], own.rotation[1], own.rotation[2]},
                        1,
                        {}});
    }
  }
  // Frame by frame, so that a row of numbers is in the cache for all joints.
  for (int f = 0; f < file_.numFrames; ++f) {
    const float* row = Row(f);
    for (const Copy& copy : copies) {
      const auto value = [&](int c) {
        return copy.column[c] >= 0 ? row[copy.column[c]] * copy.scale : copy.missing[c];
      };
      copy.to[f] = {value(0), value(1), value(2)};
    }
  }
}

Place3 Filler::PlaceOf(int i, const float* row) const {
  const NodeColumns& own = ColumnsOf(i);
  const Point3& offset = Node(i).offset;
  double place[3] = {offset.x, offset.y, offset.z};
  for (int c = 0; c < 3; ++c) {
    if (own.position[c] < 0) continue;
    const double value = row[own.position[c]];
    place[c] = Mapped(i).holdsOffset ? value : place[c] + value;
  }
  return {place[0], place[1], place[2]};
}

Point3 Filler::AnglesOf(int i, const float* row) const {
  const NodeColumns& own = ColumnsOf(i);
  Point3 angles;
  for (int c = 0; c < 3; ++c) {
    if (own.rotation[c] >= 0) angles[c] = row[own.rotation[c]];
  }
  return angles;
}

/// Channels that can hold what is carried into a joint.
void WidenChannels(std::vector<CaptureChannel>& channels, bool places, bool turns) {
  const auto drop = [&channels](CaptureChannel::Kind kind) {
    std::erase_if(channels, [kind](const CaptureChannel& c) { return c.kind == kind; });
  };
  const auto add = [&channels](std::size_t at, CaptureChannel::Kind kind, int a, int b, int c) {
    const auto channel = [kind](int component) {
      return CaptureChannel{kind, static_cast<unsigned char>(component)};
    };
    channels.insert(channels.begin() + static_cast<std::ptrdiff_t>(at),
                    {channel(a), channel(b), channel(c)});
  };
  if (turns && !CanMakeAnyTurn(channels)) {
    drop(CaptureChannel::kRotation);
    add(channels.size(), CaptureChannel::kRotation, 2, 0, 1);
  }
  if (places) {
    drop(CaptureChannel::kPosition);
    add(0, CaptureChannel::kPosition, 0, 1, 2);
  }
}

bool Filler::CarryInto(int node) {
  std::vector<int> above;  // unknown nodes, the upper first
  for (int i = Node(node).parent; i >= 0 && Mapped(i).joint == kNoJoint; i = Node(i).parent) {
    above.push_back(i);
  }
  if (above.empty()) return true;
  std::reverse(above.begin(), above.end());

  // Nodes that never move are a way that is added to the next one that does.
  struct Step {
    Place3 way;
    int node;
  };
  std::vector<Step> steps;
  Place3 way, rest;
  bool places = false, turns = false;
  const auto isLong = [](const Point3& p) { return p.x != 0 || p.y != 0 || p.z != 0; };
  for (const int i : above) {
    const bool moves = ColumnsOf(i).hasPositions;
    places |= moves || (turns && isLong(Node(i).offset));
    turns |= Mapped(i).rotates;
    rest = rest + ToPlace(Node(i).offset);
    if (moves || Mapped(i).rotates) {
      steps.push_back({way, i});
      way = {};
    } else {
      way = way + ToPlace(Node(i).offset);
    }
  }
  JointRecord& record = scene_.joints[static_cast<std::size_t>(Mapped(node).joint)];
  places |= turns && (record.positions.Count() > 0 || isLong(Node(node).offset));
  record.offset += scale_ * ToPoint(rest);
  if (!places && !turns) {
    if (record.positionsHoldOffset) {
      for (Point3& place : record.positions.samples) place += scale_ * ToPoint(rest);
    }
    return true;
  }
  if ((places && !Reserve(record.positions)) || (turns && !Reserve(record.rotations))) return false;
  WidenChannels(record.channels, places, turns);
  if (places) record.positionsHoldOffset = true;
  Point3 before = file_.numFrames > 0 ? AnglesOf(node, Row(0)) : Point3{};
  for (int f = 0; f < file_.numFrames; ++f) {
    const float* row = Row(f);
    Place3 place;
    Turn3 turn;
    for (const Step& step : steps) {
      place = place + turn * (step.way + PlaceOf(step.node, row));
      turn = turn * TurnOfChannels(ChannelsOf(step.node), AnglesOf(step.node, row));
    }
    const auto frame = static_cast<std::size_t>(f);
    if (places) {
      place = place + turn * (way + PlaceOf(node, row));
      record.positions.samples[frame] = scale_ * ToPoint(place);
    }
    if (!turns) continue;
    turn = turn * TurnOfChannels(ChannelsOf(node), AnglesOf(node, row));
    before = AnglesOfChannels(record.channels, turn, before);
    record.rotations.samples[frame] = before;
  }
  return true;
}

bool Filler::Fill(bool carry) {
  // No file of people comes near it: many joints that hang from one unknown joint could otherwise
  // take a hundred times the file's size.
  constexpr std::size_t kRoomPerByte = 12, kLeastRoom = std::size_t{1} << 20;
  room_ = kLeastRoom + kRoomPerByte * file_.text.size();
  FindColumns();
  const int count = static_cast<int>(file_.nodes.size());
  for (int i = 0; i < count; ++i) {
    LookAtNode(i);
    if (Mapped(i).joint == kNoJoint) continue;
    JointRecord& record = scene_.joints[static_cast<std::size_t>(Mapped(i).joint)];
    record.positionsHoldOffset = Mapped(i).holdsOffset;
    if (ColumnsOf(i).hasPositions && !Reserve(record.positions)) return false;
    if (ColumnsOf(i).hasRotations && !Reserve(record.rotations)) return false;
  }
  CopyAll();
  for (int i = 0; carry && i < count; ++i) {
    if (Mapped(i).joint != kNoJoint && !CarryInto(i)) return false;
  }
  return true;
}

}  // namespace

bool FillRecords(const BvhFile& file, std::vector<MappedNode>& nodes, float scale, bool carry,
                 CaptureScene& scene) {
  return Filler(file, nodes, scale, scene).Fill(carry);
}

}  // namespace strider
