// Reads a BVH file and places its joints, for the tests of what writes it.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "strider/base/quat.h"

namespace strider::test {

struct BvhRead {
  struct Joint {
    std::string name;  // of an end site its joint's name and "/End"
    int parent = -1;
    Point3 offset;
    std::vector<std::string> channels;
    std::size_t firstNumber = 0;  // of its channels in a frame
  };
  std::vector<Joint> joints;
  double frameTime = 0;
  std::vector<std::vector<double>> frames;

  int Find(const std::string& name) const {
    for (std::size_t i = 0; i < joints.size(); ++i) {
      if (joints[i].name == name) return static_cast<int>(i);
    }
    return -1;
  }
  /// Where all joints stand at a frame: each channel moves or turns in the space that those before
  /// it have left.
  std::vector<std::pair<Point3, Quat>> Place(std::size_t frame) const {
    std::vector<std::pair<Point3, Quat>> world;
    for (const Joint& joint : joints) {
      Point3 at = joint.offset;
      Quat turn;
      for (std::size_t c = 0; c < joint.channels.size(); ++c) {
        const auto value = static_cast<float>(frames[frame][joint.firstNumber + c]);
        const float angle = DegreesToRadians(value);
        const std::string& channel = joint.channels[c];
        if (channel == "Xposition") at.x += value;
        if (channel == "Yposition") at.y += value;
        if (channel == "Zposition") at.z += value;
        if (channel == "Xrotation") turn = turn * AboutX(angle);
        if (channel == "Yrotation") turn = turn * AboutY(angle);
        if (channel == "Zrotation") turn = turn * AboutZ(angle);
      }
      if (joint.parent >= 0) {
        const auto& [from, frameTurn] = world[static_cast<std::size_t>(joint.parent)];
        at = from + Rotate(frameTurn, at);
        turn = frameTurn * turn;
      }
      world.emplace_back(at, turn);
    }
    return world;
  }
};

inline BvhRead ReadBvh(const std::string& text) {
  BvhRead bvh;
  std::istringstream in(text);
  std::string word;
  std::vector<int> open;
  std::size_t numbers = 0;
  in >> word;
  EXPECT_EQ(word, "HIERARCHY");
  while (in >> word && word != "MOTION") {
    if (word == "ROOT" || word == "JOINT" || word == "End") {
      BvhRead::Joint joint;
      in >> joint.name;
      joint.parent = open.empty() ? -1 : open.back();
      if (word == "End") {
        EXPECT_EQ(joint.name, "Site");
        joint.name = bvh.joints[static_cast<std::size_t>(joint.parent)].name + "/End";
      }
      EXPECT_EQ(bvh.Find(joint.name), -1) << joint.name << " twice";
      bvh.joints.push_back(joint);
      in >> word;
      EXPECT_EQ(word, "{");
      open.push_back(static_cast<int>(bvh.joints.size()) - 1);
    } else if (word == "}") {
      if (open.empty()) return ADD_FAILURE() << "a brace too many", bvh;
      open.pop_back();
    } else if (word == "OFFSET") {
      Point3& offset = bvh.joints.back().offset;
      in >> offset.x >> offset.y >> offset.z;
    } else if (word == "CHANNELS") {
      BvhRead::Joint& joint = bvh.joints.back();
      std::size_t count = 0;
      in >> count;
      joint.channels.resize(count);
      for (std::string& channel : joint.channels) in >> channel;
      joint.firstNumber = numbers;
      numbers += count;
    } else {
      ADD_FAILURE() << "unexpected " << word;
    }
  }
  EXPECT_TRUE(open.empty());
  std::size_t count = 0;
  in >> word >> count;
  EXPECT_EQ(word, "Frames:");
  in >> word >> word >> bvh.frameTime;
  EXPECT_EQ(word, "Time:");
  std::vector<double> frame(numbers);
  for (std::size_t f = 0; f < count; ++f) {
    for (double& number : frame) in >> number;
    EXPECT_TRUE(in) << "frame " << f;
    bvh.frames.push_back(frame);
  }
  EXPECT_FALSE(in >> word) << word;
  return bvh;
}

}  // namespace strider::test
