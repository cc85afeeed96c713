// Files that were written once and are kept: what this version of the format means stays so.
#include "tests/exchange/scratch_folder.h"
#include "tests/storage/storage_fixture.h"

namespace strider {
namespace {

std::string Kept(const char* name) {
  const std::string bytes = test::ReadFile(std::string("tests/data/") + name);
  EXPECT_FALSE(bytes.empty()) << name;
  return bytes;
}

TEST(GoldenFiles, LoadAndSaveToTheSameBytes) {
  for (const char* name : {"walk.sdr", "walk_text.sdr", "walk.stp", "walk.fig"}) {
    SCOPED_TRACE(name);
    const std::string bytes = Kept(name);
    const StreamForm form = Stream::FormOf(bytes);
    const StreamContents contents = test::Back(bytes, form);
    EXPECT_EQ(contents.version, 54);
    ASSERT_EQ(contents.motions.size(), 1u);
    const MotionCore& core = *contents.motions.front();
    const std::string saved = contents.kind == FileKind::kMotion ? WriteMotionStream({&core}, form)
                              : contents.kind == FileKind::kFootsteps ? WriteFootstepStream(core)
                                                                      : WriteFigureStream(core);
    EXPECT_TRUE(saved == bytes);
  }
}

TEST(GoldenFiles, HoldTheWalkThatWasWritten) {
  StreamContents binary = test::Back(Kept("walk.sdr"), StreamForm::kBinary);
  StreamContents text = test::Back(Kept("walk_text.sdr"), StreamForm::kText);
  ASSERT_EQ(binary.motions.size() + text.motions.size(), 2u);
  const MotionCore& core = binary.Base();
  EXPECT_EQ(core.structure.height, 80);
  ASSERT_EQ(core.footsteps.numFootsteps, 4);
  // Two strides of three quarters of a leg of 38.554 units, 15 frames from one touch to the next.
  EXPECT_NEAR(core.footsteps.position[3].x, 2 * 0.75f * 38.554f, 0.01f);
  EXPECT_EQ(SpanOf(core.footsteps, 3)->start - SpanOf(core.footsteps, 2)->start,
            15 * kDynamicsFrame);
  EXPECT_EQ(test::Back(Kept("walk.stp"), StreamForm::kText).Base().footsteps.numFootsteps, 4);

  // Six decimals can take a span between keys over the edge where its mixing changes.
  const std::vector<Matrix3> one = test::Played(core), other = test::Played(text.Base());
  ASSERT_EQ(one.size(), other.size());
  for (std::size_t i = 0; i < one.size(); ++i) {
    ASSERT_LT(test::Distance(one[i].Origin(), other[i].Origin()), 1e-4f * 80) << i;
  }
}

}  // namespace
}  // namespace strider
