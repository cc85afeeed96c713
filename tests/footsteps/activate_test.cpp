#include "strider/footsteps/activate.h"

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
  test::ExpectSameKeys(core, before, kTimeMin, 93 * kFrame);
  MotionCore whole = test::WithContacts(WalkPart(0, 14));
  Activate(whole);
  test::ExpectSameKeys(core, whole, 93 * kFrame + 1);
  for (const KeyTrack* track : test::MotionTracks(core)) EXPECT_TRUE(CheckTrack(*track));
  EXPECT_EQ(test::ExpectFeetOnFootsteps(core), 1);
}

TEST(NewFootprintKeys, FootstepsBeforeOthersAreFittedIn) {
  for (const bool beforeAll : {true, false}) {
    SCOPED_TRACE(beforeAll);
    Contacts there = WalkPart(8, 14);
    const Contacts start = WalkPart(0, 2);
    if (!beforeAll) there.insert(there.begin(), start.begin(), start.end());
    MotionCore core = test::WithContacts(there);
    Activate(core);
    EditKeys(core);
    const MotionCore before = core;
    Add(core, WalkPart(beforeAll ? 0 : 2, 8));
    Activate(core);
    test::ExpectSameKeys(core, before, 120 * kFrame + 1);
    MotionCore whole = test::WithContacts(WalkPart(0, 14));
    Activate(whole);
    test::ExpectSameKeys(core, whole, 20 * kFrame, 100 * kFrame);
    EXPECT_GT(test::ExpectFeetOnFootsteps(core), 0.8f);
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
  test::ExpectSameKeys(core, before);
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
