// Conversions between footsteps and free keys through a figure's master: undo, messages, refusals.

#include "strider/footsteps/footstep_edit.h"
#include "tests/host/master_fixture.h"

namespace strider {
namespace {

struct Conversion : testing::Test {
  Session session;
  StriderMaster& master = test::MakeStrider(session);
  std::vector<int> told;

  Conversion() {
    session.messages = [this](MessageId id, const std::string&) {
      told.push_back(static_cast<int>(id));
    };
    EXPECT_TRUE(master.AddMultipleFootprints(*master.GetMultFprintParams(kWalk)).Done());
    EXPECT_TRUE(master.NewFootprintKeys());
  }
  bool Held(const std::function<bool()>& step) {
    session.hold.Begin();
    const bool done = step();
    session.hold.Accept("step");
    return done;
  }
};

TEST_F(Conversion, GoesBothWaysAsUndoSteps) {
  const int count = master.Core().footsteps.numFootsteps;
  EXPECT_TRUE(Held([&] { return master.ConvertToFreeForm(false); }));
  EXPECT_TRUE(master.Core().freeForm);
  EXPECT_TRUE(told.empty());
  EXPECT_FALSE(master.ConvertToFreeForm(false));  // is free-form already
  EXPECT_EQ(told, std::vector<int>{static_cast<int>(MessageId::kHasNoFootsteps)});
  told.clear();
  EXPECT_TRUE(Held([&] { return master.ConvertToFootSteps(true, true); }));
  EXPECT_EQ(told, std::vector<int>{324});
  EXPECT_EQ(master.Core().footsteps.numFootsteps, count);
  EXPECT_FALSE(master.ConvertToFootSteps(false, false));  // has footsteps already
  EXPECT_EQ(told, (std::vector<int>{324, static_cast<int>(MessageId::kHasFootsteps)}));
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_TRUE(master.Core().freeForm);
  ASSERT_TRUE(session.hold.Undo());
  EXPECT_FALSE(master.Core().freeForm);
  EXPECT_EQ(master.Core().footsteps.numFootsteps, count);
}

TEST_F(Conversion, IsRefusedInModesThatRuleTheFigure) {
  master.mixerMode = true;
  EXPECT_FALSE(Held([&] { return master.ConvertToFreeForm(true); }));
  master.mixerMode = false;
  master.EditCore().figureMode = true;
  EXPECT_FALSE(Held([&] { return master.ConvertToFreeForm(true); }));
  EXPECT_FALSE(master.LastConversion().done);
  EXPECT_EQ(master.LastConversion().messages,
            std::vector<std::string>{FormatMessage(MessageId::kNotInFigureMode)});
  EXPECT_EQ(told, (std::vector<int>{static_cast<int>(MessageId::kNotInMixerMode),
                                    static_cast<int>(MessageId::kNotInFigureMode)}));
  EXPECT_FALSE(master.Core().freeForm);
  EXPECT_EQ(session.hold.UndoName(), "");
}

}  // namespace
}  // namespace strider
