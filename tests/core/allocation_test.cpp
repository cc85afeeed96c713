// Counts what evaluating and reading poses takes from the heap: nothing. The operators here stand
// for the whole program, so this file is a binary of its own.
#include <cstdlib>
#include <functional>
#include <new>

#include "strider/footsteps/sample_motions.h"
#include "strider/host/strider_master.h"
#include "tests/core/figure_fixture.h"

namespace {
thread_local long allocations = 0;

void* Allocate(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}
void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
  ++allocations;
  const auto to = static_cast<std::size_t>(alignment);
  if (void* memory = std::aligned_alloc(to, (size + to - 1) / to * to)) return memory;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t a) { return AllocateAligned(size, a); }
void* operator new[](std::size_t size, std::align_val_t a) { return AllocateAligned(size, a); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace strider {
namespace {

using test::FullStructure;
using test::Random;

long AllocationsOf(const std::function<void()>& act) {
  const long before = allocations;
  act();
  return allocations - before;
}

std::vector<TimeValue> KeyTimes() {
  std::vector<TimeValue> times;
  for (TimeValue t = 0; t <= 9600; t += 1600) times.push_back(t);
  return times;
}

/// All tracks keyed; every limb key holds its target.
MotionCore KeyedFigure(const Structure& structure) {
  Random random(301);
  MotionCore core = test::MakeFigure(structure);
  test::KeyAllTracks(core, random, KeyTimes());
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    for (LimbKey& key : limb->table.keys) SetKeyKind(key, kSlidingKey);
    MarkDirty(limb->table.track, 0, limb->table.track.numKeys - 1);
  }
  return core;
}

TEST(Allocations, AreCounted) {
  // Asked for by name: a compiler may leave out a new expression that nobody sees.
  EXPECT_EQ(AllocationsOf([] { ::operator delete(::operator new(8)); }), 1);
  MotionCore core = test::MakeFigure();
  EXPECT_GT(AllocationsOf([&] { (void)PutKey(core, 0, TurnKey{}); }), 0);
  EXPECT_EQ(AllocationsOf([] {}), 0);
}

TEST(Allocations, OfAnEvaluationAreNone) {
  const struct {
    const char* what;
    Structure structure;
    std::function<void(MotionCore&)> prepare;
  } rows[] = {
      {"the default figure", Structure{}, [](MotionCore&) {}},
      {"every part", FullStructure(), [](MotionCore&) {}},
      {"links with keys of their own", FullStructure(),
       [](MotionCore& core) {
         for (int id : {kLeftArm, kLeftFingers, kRightLeg, kRightToes, kHead, kSpine, kPony1}) {
           EXPECT_EQ(SetSeparateTracks(core, id, true), kDone);
         }
       }},
      {"Euler angles and tangent curves", FullStructure(),
       [](MotionCore& core) {
         for (int id : {kLeftArm, kRightLeg, kHead, kSpine, kTurn}) {
           EXPECT_TRUE(SetEulerActive(core, id, 2));
         }
         for (int id : {kLeftArm, kLeftLeg, kSpine, kHorizontal, kVertical}) {
           EXPECT_EQ(SetCurveMode(*FindTrack(core, id), 1), kDone);
         }
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = KeyedFigure(row.structure);
    row.prepare(core);
    EvalContext context;
    Matrix3 sum;
    const std::vector<NodeInfo> tree = BuildNodeTree(core);
    const auto poseAll = [&] {
      for (TimeValue t = -400; t < 10000; t += 333) {
        CoreEvaluate(core, t, context);
        CoreForwardKinematics(core);
        CorePose(core, t + 100, context);
        for (const NodeInfo& node : tree) CoreLinkTransform(core, node.id, node.link, sum);
      }
    };
    // The first evaluation too, though it refreshes all that is derived from keys.
    EXPECT_EQ(AllocationsOf(poseAll), 0);
    const ChainKey bent = CurrentChainKey(core.spine);
    ASSERT_EQ(PutKey(core, kSpine, 4000, bent), KeyRefusal::kNone);
    EXPECT_EQ(AllocationsOf(poseAll), 0) << "after an edit";
  }
}

TEST(Allocations, OfAFootstepMotionAreNone) {
  for (const SampleMotion sample :
       {SampleMotion::kWalk, SampleMotion::kRun, SampleMotion::kStairs}) {
    MotionCore core = MakeSample(sample, 80);
    ASSERT_FALSE(core.freeForm);
    EXPECT_EQ(AllocationsOf([&] {
                for (TimeValue t = -400; t < core.endTime + 400; t += 97) CorePose(core, t, {});
              }),
              0);
  }
}

TEST(Allocations, OfAskingTheSceneAreNone) {
  Session session;
  auto& master = static_cast<StriderMaster&>(*CreateNewStrider(session, FullStructure()));
  master.EditCore() = KeyedFigure(FullStructure());
  const NodeHandle cart = session.scene.AddNode("Cart");
  const NodeHandle ball = session.scene.AddNode("Ball", master.GetNode(kLeftArm, 3));
  ASSERT_TRUE(session.scene.SetMover(cart, [](TimeValue t) {
    return Translation({static_cast<float>(t) / 100, 0, 0});
  }));
  const NodeHandle root = master.GetNode(kHorizontal, 0);
  ASSERT_TRUE(session.scene.SetParent(root, cart));
  ASSERT_TRUE(master.SetHeadTarget(ball));
  ASSERT_TRUE(master.SetIkTarget(kRightArm, ball));
  ASSERT_TRUE(master.SetIkTarget(kLeftLeg, cart));
  master.Changed();

  std::vector<NodeHandle> nodes;
  for (const NodeInfo& node : BuildNodeTree(master.Core())) {
    nodes.push_back(master.GetNode(node.id, node.link));
  }
  float sum = 0;
  const auto askAll = [&](TimeValue t) {
    for (NodeHandle node : nodes) sum += session.scene.NodeTransform(node, t).Origin().x;
  };
  askAll(-5);  // keys in object space follow their objects once
  for (TimeValue t = 0; t < 10000; t += 777) {
    EXPECT_EQ(AllocationsOf([&] { askAll(t); }), 0) << "a new time, " << t;
    EXPECT_EQ(AllocationsOf([&] { askAll(t); }), 0) << "the same time again, " << t;
  }
  master.Changed();
  EXPECT_EQ(AllocationsOf([&] { askAll(0); }), 0) << "after a change";
  EXPECT_TRUE(IsFinite(sum));
}

}  // namespace
}  // namespace strider
