// What the tests of masters share: figures in a session, and what the scene shows of them.
#pragma once

#include "strider/host/strider_master.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {

inline StriderMaster& MakeStrider(Session& session, const Structure& structure = {}) {
  return static_cast<StriderMaster&>(*CreateNewStrider(session, structure));
}

/// A figure with all tracks keyed.
inline StriderMaster& MakeMoving(Session& session, const Structure& structure = {},
                                 unsigned seed = 1) {
  StriderMaster& master = MakeStrider(session, structure);
  Random random(seed);
  KeyAllTracks(master.EditCore(), random, {0, 1600, 4800});
  master.Changed();
  return master;
}

inline Matrix3 Ask(StriderMaster& master, int id, int link, TimeValue t,
                   GetMethod method = GetMethod::kAbsolute, Matrix3 value = {}) {
  EXPECT_EQ(master.GetValue(id, link, t, &value, nullptr, method), 1);
  return value;
}

/// What the scene shows of a figure: the way a host asks, parents first.
inline std::vector<Matrix3> Shown(Session& session, StriderMaster& master, TimeValue t) {
  std::vector<Matrix3> all;
  for (const NodeInfo& node : BuildNodeTree(master.Core())) {
    all.push_back(session.scene.NodeTransform(master.GetNode(node.id, node.link), t));
  }
  return all;
}

inline constexpr TimeValue kTimes[] = {-300, 0, 900, 1600, 3000, 4800, 6000};

inline std::vector<std::vector<Matrix3>> ShownAtAllTimes(Session& session, StriderMaster& master) {
  std::vector<std::vector<Matrix3>> all;
  for (TimeValue t : kTimes) all.push_back(Shown(session, master, t));
  return all;
}

}  // namespace strider::test
