// Which modes a figure may switch when, what they report, and whom they reach.
#include <functional>

#include "strider/host/strider_master.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

using test::MakeStrider;

struct Fixture {
  Session session;
  StriderMaster& master = MakeStrider(session);
  MotionCore layer;

  Fixture() {
    SetFreeForm(master.EditCore(), false);
    session.modes.bufferExists = true;
  }
  ~Fixture() { master.EditCore().nextLayer = nullptr; }
};

TEST(CanSwitchMode, DependsOnTheRestOfTheState) {
  const struct {
    const char* what;
    std::function<void(Fixture&)> set;
  } states[] = {
      {"nothing else", [](Fixture&) {}},
      {"buffer mode", [](Fixture& f) { f.session.modes.bufferMode = true; }},
      {"talent figure mode", [](Fixture& f) { f.session.modes.talentFigMode = true; }},
      {"a layer above", [](Fixture& f) { f.master.EditCore().nextLayer = &f.layer; }},
      {"motion mode", [](Fixture& f) { f.master.motionFlowMode = true; }},
      {"motion mode, flow edit",
       [](Fixture& f) { f.master.motionFlowMode = f.master.flowEdit = true; }},
      {"free-form", [](Fixture& f) { SetFreeForm(f.master.EditCore(), true); }},
      {"figure mode", [](Fixture& f) { f.master.EditCore().figureMode = true; }},
      {"no buffer", [](Fixture& f) { f.session.modes.bufferExists = false; }},
      {"buffer locked", [](Fixture& f) { f.master.bufferLocked = true; }},
      {"motion mode, a layer above",
       [](Fixture& f) {
         f.master.motionFlowMode = true;
         f.master.EditCore().nextLayer = &f.layer;
       }},
  };
  // One column a state, in the order above.
  const struct {
    unsigned bit;
    const char* allowed;
  } rows[] = {
      {kFigureMode, "10001111110"},      {kFootstepMode, "11100101110"},
      {kMotionMode, "10001111111"},      {kBufferMode, "11110110000"},
      {kBendLinksMode, "11111111111"},   {kRubberBandMode, "00100001000"},
      {kScaleStrideMode, "11111111111"}, {kInPlaceMode, "11011110111"},
      {kInPlaceXMode, "11011110111"},    {kInPlaceYMode, "11011110111"},
      {kMixerMode, "10011111111"},       {kMoveAllMode, "10011111111"},
      {kTwistLinksMode, "11111111111"},  {kTwistIndMode, "11111111111"},
      {kSmoothTwistMode, "11111111111"},
  };
  for (std::size_t i = 0; i < std::size(states); ++i) {
    Fixture f;
    states[i].set(f);
    for (const auto& row : rows) {
      EXPECT_EQ(f.master.CanSwitchMode(row.bit), row.allowed[i] == '1')
          << "bit " << row.bit << ": " << states[i].what;
    }
  }
}

TEST(Modes, StartWithStridesScalingAndReportWhatIsOn) {
  Fixture f;
  EXPECT_EQ(f.master.GetActiveModes(), unsigned{kScaleStrideMode});
  for (unsigned bit : {kFigureMode, kFootstepMode, kMotionMode, kBufferMode, kBendLinksMode,
                       kInPlaceMode, kInPlaceXMode, kInPlaceYMode, kMixerMode, kMoveAllMode,
                       kTwistLinksMode, kTwistIndMode, kSmoothTwistMode}) {
    EXPECT_EQ(f.master.BeginModes(bit, false), bit);
    EXPECT_EQ(f.master.GetActiveModes(), kScaleStrideMode | bit);
    EXPECT_EQ(f.master.BeginModes(bit, false), 0u) << "it is on already";
    EXPECT_EQ(f.master.EndModes(bit, false), bit);
    EXPECT_EQ(f.master.GetActiveModes(), unsigned{kScaleStrideMode});
    EXPECT_EQ(f.master.EndModes(bit, false), 0u);
  }
}

TEST(Modes, OfOneGroupAreNeverOnTogether) {
  for (const std::vector<unsigned>& group :
       {std::vector<unsigned>{kBendLinksMode, kTwistLinksMode, kTwistIndMode, kSmoothTwistMode},
        {kInPlaceMode, kInPlaceXMode, kInPlaceYMode}}) {
    Fixture f;
    unsigned all = 0;
    for (unsigned bit : group) all |= bit;
    for (unsigned bit : group) {
      (void)f.master.BeginModes(bit, false);
      EXPECT_EQ(f.master.GetActiveModes() & all, bit);
    }
    // Switching one off that isn't on leaves the other.
    EXPECT_EQ(f.master.EndModes(group.front(), false), 0u);
    EXPECT_EQ(f.master.GetActiveModes() & all, group.back());
  }
}

TEST(Modes, ThatMayNotBeSwitchedArePassedOver) {
  Fixture f;
  EXPECT_EQ(f.master.BeginModes(kRubberBandMode | kMoveAllMode, false), unsigned{kMoveAllMode});
  EXPECT_EQ(f.master.BeginModes(1u << 30, false), 0u) << "no such mode";
  // Figure mode comes first among the bits and allows what needs it.
  EXPECT_EQ(f.master.BeginModes(kRubberBandMode | kFigureMode, false),
            unsigned{kRubberBandMode | kFigureMode});
  EXPECT_EQ(f.master.BeginModes(kInPlaceMode, false), 0u);
}

TEST(Modes, AreSharedOrAFiguresOwn) {
  Session session;
  session.modes.bufferExists = true;
  StriderMaster& one = MakeStrider(session);
  StriderMaster& other = MakeStrider(session);
  const unsigned shared = kBufferMode | kBendLinksMode | kMoveAllMode;
  const unsigned own = kFigureMode | kMotionMode | kMixerMode;
  EXPECT_EQ(one.BeginModes(kBendLinksMode | kMoveAllMode | own, false),
            (kBendLinksMode | kMoveAllMode | own));
  EXPECT_EQ(other.GetActiveModes(), kScaleStrideMode | kBendLinksMode | kMoveAllMode);
  EXPECT_EQ(other.BeginModes(kBufferMode, false), unsigned{kBufferMode});
  EXPECT_EQ(one.GetActiveModes() & shared, shared);
  Session elsewhere;
  EXPECT_EQ(MakeStrider(elsewhere).GetActiveModes(), unsigned{kScaleStrideMode});
}

TEST(Modes, TellTheSceneAndRedrawWhereAsked) {
  Fixture f;
  int changes = 0, redraws = 0;
  f.session.scene.RegisterChangeCallback([&](NodeHandle node, Interval when) {
    changes += node == f.master.GetNode(kHorizontal, 0);
    EXPECT_EQ(when.start, kTimeMin);
    EXPECT_EQ(when.end, kTimeMax);
  });
  f.session.scene.RegisterTimeCallback([&](TimeValue) { ++redraws; });
  (void)f.master.BeginModes(kInPlaceMode | kMoveAllMode, false);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(redraws, 0);
  (void)f.master.EndModes(kInPlaceMode, true);
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(redraws, 1);
  (void)f.master.EndModes(kInPlaceMode, true);
  EXPECT_EQ(changes + redraws, 3) << "nothing was switched";
}

}  // namespace
}  // namespace strider
