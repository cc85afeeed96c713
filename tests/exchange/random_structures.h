// Structures that a user could ask for, drawn at random.
#pragma once

#include <cmath>
#include <random>
#include <vector>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"

namespace strider {

/// Legal structures, every parameter anywhere within its limits; heights from a thousandth to a
/// million units.
inline std::vector<Structure> RandomStructures(unsigned seed, int count) {
  std::mt19937 random(seed);
  const auto share = [&random] { return static_cast<double>(random()) / 4294967296.0; };
  std::vector<Structure> structures;
  while (static_cast<int>(structures.size()) < count) {
    Structure structure;
    for (const StructureParameter& parameter : StructureParameters()) {
      double value = parameter.low + share() * (parameter.high - parameter.low);
      if (parameter.type != ParameterType::kFloat) {
        value = parameter.low + std::floor(share() * (parameter.high - parameter.low + 1));
      }
      if (parameter.high > 1e6) value = std::pow(10.0, -3 + 9 * share());
      if (!SetParameter(structure, parameter, value)) return {};
    }
    structures.push_back(structure);
  }
  return structures;
}

inline MotionCore Standing(const Structure& structure) {
  MotionCore core;
  core.name = "Strider01";
  LayOutFigure(core, structure);
  CoreForwardKinematics(core);
  return core;
}

}  // namespace strider
