// Figures evaluated on several threads at once, each figure by one thread at a time: in sessions
// of their own, in one session, and as bare cores under one context. Built with the thread
// sanitizer too, which sees every shared write.
#include <functional>
#include <thread>

#include "strider/host/strider_master.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Random;

constexpr int kFigures = 8, kThreads = 4;
using Frames = std::vector<Matrix3>;

Structure StructureOf(int figure) {
  Structure s = figure % 2 ? test::FullStructure() : Structure{};
  s.height = 60 + 10 * static_cast<float>(figure);
  return s;
}

std::vector<TimeValue> TimesOf(int figure) {
  Random random(200 + static_cast<unsigned>(figure));
  std::vector<TimeValue> times;
  for (int i = 0; i < 25; ++i) times.push_back(random.Int(-1000, 9000));
  return times;
}

void KeyFigure(MotionCore& core, int figure) {
  Random random(100 + static_cast<unsigned>(figure));
  test::KeyAllTracks(core, random, {0, 1600, 4800, 8000});
}

/// Runs work(figure) for all figures on four threads, the figures dealt out in turn.
void OnThreads(const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&work, thread] {
      for (int figure = thread; figure < kFigures; figure += kThreads) work(figure);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

/// Everything a host would ask of a figure, through the scene.
Frames Shown(const Session& session, const StriderMaster& master, int figure) {
  const std::vector<NodeInfo> tree = BuildNodeTree(master.Core());
  Frames frames;
  for (TimeValue t : TimesOf(figure)) {
    for (const NodeInfo& node : tree) {
      frames.push_back(session.scene.NodeTransform(master.GetNode(node.id, node.link), t));
    }
  }
  return frames;
}

StriderMaster& AddFigure(Session& session, int figure) {
  auto& master = static_cast<StriderMaster&>(*CreateNewStrider(session, StructureOf(figure)));
  KeyFigure(master.EditCore(), figure);
  master.Changed();
  return master;
}

/// What a figure's limbs and head follow.
void GiveTargets(StriderMaster& master, NodeHandle target) {
  ASSERT_TRUE(master.SetHeadTarget(target));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, target));
  ASSERT_TRUE(master.SetIkTarget(kLeftLeg, target));
}

NodeHandle AddTarget(Session& session) {
  const NodeHandle target = session.scene.AddNode("Target");
  EXPECT_TRUE(session.scene.SetMover(target, [](TimeValue t) {
    return FrameOf(AboutZ(static_cast<float>(t) / 4000), {20, static_cast<float>(t) / 300, 40});
  }));
  return target;
}

Frames Alone(int figure, bool targets) {
  Session session;
  const NodeHandle target = AddTarget(session);
  StriderMaster& master = AddFigure(session, figure);
  if (targets) GiveTargets(master, target);
  return Shown(session, master, figure);
}

TEST(Threads, FiguresOfTheirOwnSessionsShowWhatTheyShowAlone) {
  Frames together[kFigures];
  OnThreads([&](int figure) { together[figure] = Alone(figure, true); });
  for (int figure = 0; figure < kFigures; ++figure) {
    EXPECT_TRUE(together[figure] == Alone(figure, true)) << figure;
  }
}

TEST(Threads, FiguresOfOneSessionShowWhatTheyShowAlone) {
  for (bool targets : {false, true}) {
    Session session;
    const NodeHandle target = AddTarget(session);
    std::vector<StriderMaster*> masters;
    for (int figure = 0; figure < kFigures; ++figure) {
      masters.push_back(&AddFigure(session, figure));
      if (targets) GiveTargets(*masters.back(), target);
    }
    Frames together[kFigures];
    OnThreads([&](int figure) {
      together[figure] = Shown(session, *masters[static_cast<std::size_t>(figure)], figure);
    });
    for (int figure = 0; figure < kFigures; ++figure) {
      EXPECT_TRUE(together[figure] == Alone(figure, targets)) << figure << " targets " << targets;
    }
  }
}

TEST(Threads, BareCoresShareOneContext) {
  EvalContext context;
  context.tiltFourLinkSwivel = true;
  const auto posesOf = [&context](int figure) {
    MotionCore core = test::MakeFigure(StructureOf(figure));
    KeyFigure(core, figure);
    Frames frames;
    for (TimeValue t : TimesOf(figure)) {
      CorePose(core, t, context);
      const Frames now = test::AllTransforms(core);
      frames.insert(frames.end(), now.begin(), now.end());
    }
    return frames;
  };
  Frames together[kFigures];
  OnThreads([&](int figure) { together[figure] = posesOf(figure); });
  for (int figure = 0; figure < kFigures; ++figure) {
    EXPECT_TRUE(together[figure] == posesOf(figure)) << figure;
  }
}

/// Footsteps of a gait, their motion, an edit that the motion follows, and every frame of it.
Frames Walked(int figure) {
  Session session;
  auto& master = static_cast<StriderMaster&>(*CreateNewStrider(session, StructureOf(figure)));
  session.gaits.fsGaitMode = figure % 3 + 1;
  MultFprintParams params = *master.GetMultFprintParams(figure % 3 + 1);
  params.numFootsteps = 8;
  EXPECT_TRUE(master.AddMultipleFootprints(params).Done());
  EXPECT_TRUE(master.NewFootprintKeys());
  Matrix3 place = master.Core().footsteps.transform[4];
  place.row[3].y += 2;
  EXPECT_TRUE(master.SetFootstepTransform(4, place));
  Frames frames;
  const std::vector<NodeInfo> tree = BuildNodeTree(master.Core());
  for (TimeValue t = 0; t <= master.Core().endTime; t += 3 * 160) {
    for (const NodeInfo& node : tree) {
      frames.push_back(session.scene.NodeTransform(master.GetNode(node.id, node.link), t));
    }
  }
  return frames;
}

TEST(Threads, FiguresWalkAsTheyWalkAlone) {
  Frames together[kFigures];
  OnThreads([&](int figure) { together[figure] = Walked(figure); });
  for (int figure = 0; figure < kFigures; ++figure) {
    EXPECT_TRUE(together[figure] == Walked(figure)) << figure;
  }
}

}  // namespace
}  // namespace strider
