#include "strider/core/structure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace strider {
namespace {

TEST(Structure, TakesWhatItsLimitsAllowAndNothingElse) {
  // Limits and what a figure has before anyone asks.
  const struct {
    const char* name;
    double low, high, first;
  } rows[] = {
      {"arms", 0, 1, 1},
      {"neckLinks", 1, 5, 1},
      {"spineLinks", 1, 5, 4},
      {"legLinks", 3, 4, 3},
      {"tailLinks", 0, 5, 0},
      {"ponytail1Links", 0, 5, 0},
      {"ponytail2Links", 0, 5, 0},
      {"fingers", 0, 5, 1},
      {"fingerLinks", 1, 3, 1},
      {"toes", 1, 5, 1},
      {"toeLinks", 1, 3, 3},
      {"prop1Exists", 0, 1, 0},
      {"prop2Exists", 0, 1, 0},
      {"prop3Exists", 0, 1, 0},
      {"trianglePelvis", 0, 1, 1},
      {"triangleNeck", 0, 1, 0},
      {"foreFeet", 0, 1, 0},
      {"knuckles", 0, 1, 0},
      {"shortThumb", 0, 1, 0},
      {"Twists", 0, 1, 0},
      {"forearmTwistLinks", 0, 10, 0},
      {"upperarmTwistLinks", 0, 10, 0},
      {"thighTwistLinks", 0, 10, 0},
      {"calfTwistLinks", 0, 10, 0},
      {"horseTwistLinks", 0, 10, 0},
      {"bodyType", 0, 3, 0},
      {"dynamicsType", 0, 1, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const StructureParameter* parameter = FindStructureParameter(row.name);
    ASSERT_NE(parameter, nullptr);
    Structure s;
    EXPECT_EQ(parameter->get(s), row.first);
    for (const double good : {row.low, row.high}) {
      EXPECT_TRUE(SetParameter(s, *parameter, good));
      EXPECT_EQ(parameter->get(s), good);
    }
    const Structure before = s;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double bad : {row.low - 1, row.high + 1, row.low + 0.5, nan, 1e300, -1e300}) {
      EXPECT_FALSE(SetParameter(s, *parameter, bad)) << bad;
      EXPECT_TRUE(s == before);
    }
  }
  const StructureParameter& height = *FindStructureParameter("height");
  Structure s;
  EXPECT_EQ(s.height, 80);
  EXPECT_EQ(s.ankleAttach, 0.2f);
  for (const double bad : {0.0, -1.0, 1e-60, 1e40})
    EXPECT_FALSE(SetParameter(s, height, bad)) << bad;
  EXPECT_TRUE(SetParameter(s, height, 0.001));
  EXPECT_EQ(FindStructureParameter("Height"), nullptr);
}

TEST(Structure, NamesTheFirstIllegalParameterOfARecord) {
  EXPECT_EQ(FindIllegalParameter(Structure{}), nullptr);
  Structure s;
  s.toes = 0;
  ASSERT_NE(FindIllegalParameter(s), nullptr);
  EXPECT_STREQ(FindIllegalParameter(s)->name, "toes");
  s.height = std::numeric_limits<float>::quiet_NaN();
  EXPECT_STREQ(FindIllegalParameter(s)->name, "height");
  // Every parameter is a field of its own: changing one is seen through no other.
  for (const StructureParameter& parameter : StructureParameters()) {
    Structure changed;
    const double value = parameter.get(changed);
    const double other = parameter.type == ParameterType::kFloat ? value / 2
                         : value == parameter.low                ? value + 1
                                                                 : value - 1;
    ASSERT_TRUE(SetParameter(changed, parameter, other)) << parameter.name;
    EXPECT_EQ(FindStructureParameter(parameter.name), &parameter);
    for (const StructureParameter& seen : StructureParameters()) {
      const bool differs = seen.get(changed) != seen.get(Structure{});
      EXPECT_EQ(differs, &seen == &parameter) << parameter.name << " in " << seen.name;
    }
  }
}

TEST(Structure, CountsTheLinksOfEveryPart) {
  Structure plain, full, armless, fingerless;
  full.legLinks = 4;
  full.tailLinks = 2;
  full.ponytail1Links = 5;
  full.ponytail2Links = 1;
  full.neckLinks = 3;
  full.fingers = 5;
  full.fingerLinks = 3;
  full.toes = 4;
  full.prop2Exists = true;
  full.twists = true;
  for (int part = 0; part < kNumTwistParts; ++part) full.twistLinks[part] = part + 1;
  armless = full;
  armless.arms = false;
  armless.legLinks = 3;
  fingerless = full;
  fingerless.fingers = 0;
  fingerless.twists = false;
  const struct {
    const char* what;
    int first, last;
    int plain, full, armless, fingerless;
  } rows[] = {
      {"arms", kLeftArm, kRightArm, 4, 4, 0, 4},
      {"fingers", kLeftFingers, kRightFingers, 1, 3, 0, 0},
      {"legs", kLeftLeg, kRightLeg, 3, 4, 3, 4},
      {"toes", kLeftToes, kRightToes, 3, 3, 3, 3},
      {"spine", kSpine, kSpine, 4, 4, 4, 4},
      {"tail", kTail, kTail, 0, 2, 2, 2},
      {"head, body, footprints", kHead, kFootprints, 1, 1, 1, 1},
      {"neck", kNeck, kNeck, 1, 3, 3, 3},
      {"first ponytail", kPony1, kPony1, 0, 5, 5, 5},
      {"second ponytail", kPony2, kPony2, 0, 1, 1, 1},
      {"first prop", kProp1, kProp1, 0, 0, 0, 0},
      {"second prop", kProp2, kProp2, 0, 1, 1, 1},
      {"finger nubs", kRightFingerNubs, kLeftFingerNubs, 1, 5, 0, 0},
      {"toe nubs", kLeftToeNubs, kRightToeNubs, 1, 4, 4, 4},
      {"tail nub", kTailNub, kTailNub, 0, 1, 1, 1},
      {"head nub", kHeadNub, kHeadNub, 1, 1, 1, 1},
      {"ponytail nubs", kPony1Nub, kPony2Nub, 0, 1, 1, 1},
      {"forearm twists", kLeftForearmTwist, kRightForearmTwist, 0, 1, 0, 0},
      {"upper arm twists", kLeftUpperArmTwist, kRightUpperArmTwist, 0, 2, 0, 0},
      {"thigh twists", kLeftThighTwist, kRightThighTwist, 0, 3, 3, 0},
      {"calf twists", kLeftCalfTwist, kRightCalfTwist, 0, 4, 4, 0},
      {"horse link twists", kLeftHorseTwist, kRightHorseTwist, 0, 5, 0, 0},
      {"what is no part", 30, 99, 0, 0, 0, 0},
      {"what is no part", 110, 700, 0, 0, 0, 0},
      {"what is no part", -5, -1, 0, 0, 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (int id = row.first; id <= row.last; ++id) {
      EXPECT_EQ(NumLinks(plain, id), row.plain) << id;
      EXPECT_EQ(NumLinks(full, id), row.full) << id;
      EXPECT_EQ(NumLinks(armless, id), row.armless) << id;
      EXPECT_EQ(NumLinks(fingerless, id), row.fingerless) << id;
    }
  }
  EXPECT_EQ(NumFingers(full), 5);
  EXPECT_EQ(NumFingers(armless), 0);
  EXPECT_EQ(NumToes(armless), 4);
}

TEST(Structure, AShortThumbLacksItsLastLinkUnlessThatIsItsOnlyOne) {
  Structure s;
  s.shortThumb = true;
  s.fingers = 3;
  for (const int links : {1, 2, 3}) {
    s.fingerLinks = links;
    for (const int id : {kLeftFingers, kRightFingers}) {
      EXPECT_EQ(NumDigitLinks(s, id, 0), links == 1 ? 1 : links - 1);
      EXPECT_EQ(NumDigitLinks(s, id, 1), links);
    }
  }
  EXPECT_EQ(NumDigitLinks(s, kLeftToes, 0), 3);
  s.arms = false;
  EXPECT_EQ(NumDigitLinks(s, kLeftFingers, 0), 0);
}

}  // namespace
}  // namespace strider
