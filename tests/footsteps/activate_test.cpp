#include "strider/footsteps/activate.h"

#include "strider/footsteps/pose_sample.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::kFrame;

void Activate(MotionCore& core) {
  ASSERT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  EXPECT_FALSE(AnyInactive(core.footsteps));
  EXPECT_FALSE(core.footstepsPending);
  EXPECT_TRUE(core.bodyKeysComputed);
  EXPECT_FALSE(core.freeForm);
  EXPECT_EQ(core.endTime, LastFootstepTime(core.footsteps));
}

/// Adds footsteps to those that have their motion.
void Add(MotionCore& core, const Contacts& contacts) {
  std::vector<NewFootstep> plan;
  for (const auto& c : contacts) {
    plan.push_back({c.side, c.touch * kFrame, (c.lift - c.touch) * kFrame, c.place, c.angle});
  }
  ASSERT_TRUE(PlaceFootsteps(core, plan).Done());
}

/// Turns every key of body, arms and spine a little off what generation makes.
void EditKeys(MotionCore& core) {
  for (HorizontalKey& key : core.body.horizontal.keys) key.balanceFactor = 0.875f;
  for (VerticalKey& key : core.body.vertical.keys) key.ballisticTension = 0.25f;
  for (PelvisKey& key : core.pelvis.table.keys) key.rotation = AboutX(0.01f);
  for (ChainKey& key : core.spine.table.keys) key.rotation[0] = AboutX(0.02f);
  for (LimbRecord& limb : core.arm) {
    for (LimbKey& key : limb.table.keys) key.forwardBend = 0.5f;
  }
  for (LimbRecord& limb : core.leg) {
    for (LimbKey& key : limb.table.keys) key.ikAnkleTension = 0.125f;
  }
}

/// Keys of `core` from `from` to `to` are those of `other`, to the last bit, and there are some.
void ExpectSameKeys(const MotionCore& core, const MotionCore& other, TimeValue from, TimeValue to) {
  const auto expect = [&](const char* name, const auto& table, const auto& others) {
    int same = 0;
    for (int i = 0; i < others.track.numKeys; ++i) {
      const TimeValue t = others.TimeOf(i);
      if (t < from || t > to) continue;
      const int k = KeyAt(table.track, t);
      ASSERT_GE(k, 0) << name << " " << t;
      EXPECT_EQ(table[k], others[i]) << name << " " << t;
      EXPECT_EQ(GetTcb(table.track, k, 0), GetTcb(others.track, i, 0)) << name << " " << t;
      ++same;
    }
    EXPECT_GT(same, 1) << name;
    int within = 0;
    for (const TimeValue t : test::TimesOf(table.track)) within += from <= t && t <= to;
    EXPECT_EQ(within, same) << name;
  };
  expect("horizontal", core.body.horizontal, other.body.horizontal);
  expect("turn", core.body.turn, other.body.turn);
  expect("pelvis", core.pelvis.table, other.pelvis.table);
  expect("spine", core.spine.table, other.spine.table);
  for (int side = 0; side < 2; ++side) {
    expect("leg", core.leg[side].table, other.leg[side].table);
    expect("arm", core.arm[side].table, other.arm[side].table);
  }
  expect("vertical", core.body.vertical, other.body.vertical);
}

/// Every foot on the ground alone stands on its footstep.
void ExpectFeetOnFootsteps(MotionCore& core) {
  for (const SupportPhase& phase : core.footsteps.phases) {
    if (!IsMidStance(phase)) continue;
    const int side = phase.rightLegState == kPlant ? kRight : kLeft;
    const auto footstep = static_cast<std::size_t>(PhaseFootstep(core.footsteps, phase, side));
    const PoseSample pose = TakePoseSample(core, RoundToFrame(phase.time, kFrame), {});
    EXPECT_LT(test::Distance(pose.leg[side].underAnkle, core.footsteps.position[footstep]), 0.4f)
        << phase.time;
  }
}

Contacts WalkPart(int first, int last) {
  const Contacts walk = test::Gait(12, 30, 18, 22, 4);
  return {walk.begin() + first, walk.begin() + last};
}

TEST(NewFootprintKeys, ANewTailLeavesTheMotionBeforeItAlone) {
  MotionCore core = test::WithContacts(WalkPart(0, 8));
  Activate(core);
  EditKeys(core);
  const MotionCore before = core;
  Add(core, WalkPart(8, 14));
  Activate(core);
  // The new footstep's swing begins where its foot lifts, at frame 93.
  ExpectSameKeys(core, before, kTimeMin, 93 * kFrame);
  MotionCore whole = test::WithContacts(WalkPart(0, 14));
  Activate(whole);
  ExpectSameKeys(core, whole, 93 * kFrame + 1, kTimeMax);
  test::ForTracks(core, [](const char* name, const KeyTrack& track, bool finite) {
    EXPECT_TRUE(finite && CheckTrack(track)) << name;
  });
  ExpectFeetOnFootsteps(core);
}

TEST(NewFootprintKeys, FootstepsBeforeOthersAreFittedIn) {
  // A walk that waits for its first eight footsteps, and one that waits for four in its middle.
  const struct {
    const char* name;
    Contacts there, added;
    int keptFrom;
  } rows[] = {
      {"before all", WalkPart(8, 14), WalkPart(0, 8), 120},
      {"after two",
       [] {
         Contacts there = WalkPart(0, 2);
         const Contacts rest = WalkPart(8, 14);
         there.insert(there.end(), rest.begin(), rest.end());
         return there;
       }(),
       WalkPart(2, 8), 120},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    MotionCore core = test::WithContacts(row.there);
    Activate(core);
    EditKeys(core);
    const MotionCore before = core;
    Add(core, row.added);
    Activate(core);
    ExpectSameKeys(core, before, row.keptFrom * kFrame + 1, kTimeMax);
    MotionCore whole = test::WithContacts(WalkPart(0, 14));
    Activate(whole);
    ExpectSameKeys(core, whole, 20 * kFrame, 100 * kFrame);
    ExpectFeetOnFootsteps(core);
  }
}

TEST(NewFootprintKeys, FindsTheFlightsOfTheWholeMotion) {
  const Contacts run = test::Gait(10, 30, 7, 30, 3);
  MotionCore core = test::WithContacts({run.begin(), run.begin() + 7});
  Activate(core);
  Add(core, {run.begin() + 7, run.end()});
  Activate(core);
  MotionCore whole = test::WithContacts(run);
  Activate(whole);
  ASSERT_EQ(core.body.flights.size(), whole.body.flights.size());
  for (std::size_t i = 0; i < core.body.flights.size(); ++i) {
    EXPECT_EQ(core.body.flights[i].takeoffTime, whole.body.flights[i].takeoffTime);
    EXPECT_EQ(core.body.flights[i].landKey, whole.body.flights[i].landKey);
  }
}

TEST(NewFootprintKeys, DoesNothingWhereNothingWaits) {
  MotionCore core = test::MakeFigure();
  EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kNoFootsteps);
  EXPECT_TRUE(core.freeForm);
  core = test::WithContacts(WalkPart(0, 4));
  Activate(core);
  EditKeys(core);
  const MotionCore before = core;
  EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kNothingPending);
  ExpectSameKeys(core, before, kTimeMin, kTimeMax);
}

TEST(NewFootprintKeys, StartsNewKeysByTheKindOfDynamics) {
  for (const int dynamicsType : {0, 1}) {
    Structure structure;
    structure.dynamicsType = dynamicsType;
    MotionCore core = test::WithContacts(WalkPart(0, 6), structure);
    core.leg[0].hold = core.arm[1].hold = true;
    Activate(core);
    const float share = dynamicsType == 0 ? 1.0f : 0.0f;
    EXPECT_EQ(core.body.defaultBalance, share);
    for (const HorizontalKey& key : core.body.horizontal.keys) EXPECT_EQ(key.balanceFactor, share);
    EXPECT_FALSE(core.leg[0].hold || core.arm[1].hold);
  }
}

}  // namespace
}  // namespace strider
