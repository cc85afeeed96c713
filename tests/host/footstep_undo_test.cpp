// Undo and redo of what changes footsteps that have their motion.
#include <functional>

#include "strider/footsteps/footstep_edit.h"
#include "strider/host/footprint_control.h"
#include "tests/footsteps/contact_fixture.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::MakeStrider;

void ExpectSameCore(const MotionCore& a, const MotionCore& b) {
  const FootstepTrack &x = a.footsteps, &y = b.footsteps;
  EXPECT_TRUE(x.position == y.position && x.angle == y.angle && x.bodyAngle == y.bodyAngle);
  EXPECT_TRUE(x.side == y.side && x.sideIndex == y.sideIndex);
  EXPECT_TRUE(x.freeFormStart == y.freeFormStart && x.freeFormEnd == y.freeFormEnd);
  ASSERT_EQ(x.numFootsteps, y.numFootsteps);
  for (int i = 0; i < x.numFootsteps; ++i) {
    EXPECT_TRUE(x.transform[static_cast<std::size_t>(i)] ==
                y.transform[static_cast<std::size_t>(i)]);
    EXPECT_EQ(SpanOf(x, i)->start, SpanOf(y, i)->start);
    EXPECT_EQ(SpanOf(x, i)->duration, SpanOf(y, i)->duration);
    EXPECT_EQ(x.active.Get(i), y.active.Get(i));
    EXPECT_EQ(x.startEdgeSelected.Get(i), y.startEdgeSelected.Get(i));
  }
  EXPECT_EQ(x.transitions.size(), y.transitions.size());
  EXPECT_EQ(a.endTime, b.endTime);
  EXPECT_EQ(a.body.gravAccel, b.body.gravAccel);
  ASSERT_EQ(a.body.flights.size(), b.body.flights.size());
  for (std::size_t i = 0; i < a.body.flights.size(); ++i) {
    EXPECT_EQ(a.body.flights[i].takeoffTime, b.body.flights[i].takeoffTime);
    EXPECT_EQ(a.body.flights[i].takeoffSpeed, b.body.flights[i].takeoffSpeed);
  }
  test::ExpectSameKeys(a, b);
}

TEST(FootstepUndo, EditsOfARunComeBackAndGoOnBitForBit) {
  Session session;
  StriderMaster& master = MakeStrider(session);
  FootprintControl& control = *master.GetFootprintControl();
  session.gaits.fsGaitMode = kRun;
  MultFprintParams params = *master.GetMultFprintParams(kRun);
  params.numFootsteps = 8;
  ASSERT_TRUE(master.AddMultipleFootprints(params).Done());
  ASSERT_TRUE(master.NewFootprintKeys());
  const struct {
    const char* what;
    std::function<bool()> edit;
  } rows[] = {
      {"moved",
       [&] {
         Matrix3 place = control.Transform(4);
         place.row[3] += Point3{2, 1, 3};
         return master.SetFootstepTransform(4, place);
       }},
      {"retimed", [&] { return master.SetFootstepTimes(5, control.Start(5) + 160, 800); }},
      {"bent",
       [&] { return master.SelectFootstep(2, kBothEdges, false) && master.BendFootprints(0.2f); }},
      {"another height", [&] { return master.SetHeight(90); }},
      {"another height, the footsteps staying",
       [&] {
         session.modes.scaleStrideMode = false;
         return master.SetHeight(85);
       }},
      {"deleted", [&] { return master.DeleteFootstep(3); }},
      {"made anew",
       [&] {
         return master.InsertFootstep(control.NumKeys(), {0, 99999, 1600, {}, 0}).Done() &&
                master.NewFootprintKeys();
       }},
  };
  ASSERT_FALSE(master.Core().body.flights.empty());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const MotionCore before = master.Core();
    session.hold.Begin();
    EXPECT_TRUE(row.edit());
    ASSERT_TRUE(session.hold.Accept(row.what));
    const MotionCore after = master.Core();
    EXPECT_FALSE(after.leg[0].table.keys == before.leg[0].table.keys &&
                 after.leg[1].table.keys == before.leg[1].table.keys);
    ASSERT_TRUE(session.hold.Undo());
    ExpectSameCore(master.Core(), before);
    ASSERT_TRUE(session.hold.Redo());
    ExpectSameCore(master.Core(), after);
  }
}

}  // namespace
}  // namespace strider
