#include "strider/core/body_id.h"

#include <gtest/gtest.h>

namespace strider {
namespace {

TEST(BodyId, ScriptNamesStandForTheNumbersThatFilesHold) {
  const struct {
    int id;
    const char* name;
  } rows[] = {
      {0, "larm"},          {1, "rarm"},          {2, "lfingers"},      {3, "rfingers"},
      {4, "lleg"},          {5, "rleg"},          {6, "ltoes"},         {7, "rtoes"},
      {8, "spine"},         {9, "tail"},          {10, "head"},         {11, "pelvis"},
      {12, "vertical"},     {13, "horizontal"},   {14, "turn"},         {15, "footprints"},
      {16, "neck"},         {17, "pony1"},        {18, "pony2"},        {19, "prop1"},
      {20, "prop2"},        {21, "prop3"},        {100, "lfarmtwist"},  {101, "rfarmtwist"},
      {102, "luparmtwist"}, {103, "ruparmtwist"}, {104, "lthightwist"}, {105, "rthightwist"},
      {106, "lcalftwist"},  {107, "rcalftwist"},  {108, "lhorsetwist"}, {109, "rhorsetwist"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(BodyIdOfName(row.name), row.id);
    ASSERT_NE(FindBodyPart(row.id), nullptr);
    EXPECT_STREQ(FindBodyPart(row.id)->scriptName, row.name);
  }
  for (const char* none : {"", "Spine", "arm"}) EXPECT_EQ(BodyIdOfName(none), kNoBodyId);
  EXPECT_EQ(BodyIdOfName(nullptr), kNoBodyId);
}

TEST(BodyId, PartsThatShareASectionShareItsTrack) {
  const int tracks[] = {0,  1,  0,  1,  4,         5,  4,  5,  8,  9,  10,
                        11, 12, 13, 14, kNoBodyId, 10, 17, 18, 19, 20, 21};
  for (int id = 0; id < 22; ++id) EXPECT_EQ(FindBodyPart(id)->track, tracks[id]) << id;
  for (int id = 0; id < 700; ++id) {
    const bool exists = id < 30 || (id >= 100 && id < 110) || (id >= 200 && id < 600);
    const BodyPart* part = FindBodyPart(id);
    ASSERT_EQ(part != nullptr, exists) << id;
    if (!part) continue;
    // Footprints, nubs and twists are not keyed.
    const bool keyed = (id < 22 && id != 15) || (id >= 200 && id < 400);
    EXPECT_EQ(part->track != kNoBodyId, keyed) << id;
  }
  EXPECT_EQ(FindBodyPart(-1), nullptr);
}

TEST(BodyId, SidesAndOppositesPairUp) {
  for (const int id : {0, 2, 4, 6, 23, 24, 100, 102, 104, 106, 108}) {
    const BodyPart* left = FindBodyPart(id);
    const BodyPart* right = FindBodyPart(left->opposite);
    EXPECT_EQ(left->side, kLeft) << id;
    EXPECT_EQ(right->side, kRight) << id;
    EXPECT_EQ(right->opposite, id);
    EXPECT_EQ(right->kind, left->kind);
  }
  for (const int id : {8, 9, 10, 11, 16, 17, 21, 26, 27}) {
    EXPECT_EQ(FindBodyPart(id)->side, kNoSide);
    EXPECT_EQ(FindBodyPart(id)->opposite, id);
  }
}

TEST(BodyId, TwistsLieAlongTheirSegments) {
  const int segments[kMaxTwistNodes][2] = {{0, 2}, {1, 2}, {0, 1}, {1, 1}, {4, 0},
                                           {5, 0}, {4, 1}, {5, 1}, {4, 2}, {5, 2}};
  for (int i = 0; i < kMaxTwistNodes; ++i) {
    EXPECT_EQ(TwistSegmentOf(100 + i).limbId, segments[i][0]);
    EXPECT_EQ(TwistSegmentOf(100 + i).limbLink, segments[i][1]);
  }
  EXPECT_EQ(TwistSegmentOf(110).limbId, kNoBodyId);
  EXPECT_TRUE(IsTwist(100) && IsTwist(109) && IsXtra(200) && IsXtra(399));
  EXPECT_FALSE(IsTwist(110) || IsTwist(99) || IsXtra(199) || IsXtra(400));
}

}  // namespace
}  // namespace strider
