#include "strider/core/structure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace strider {
namespace {

TEST(Structure, TakesWhatItsLimitsAllowAndNothingElse) {
  // Limits of the counts and what a figure has before anyone asks; all else but sizes is a switch.
  const struct {
    const char* name;
    double low, high, first;
  } rows[] = {
      {"neckLinks", 1, 5, 1},        {"spineLinks", 1, 5, 4},     {"legLinks", 3, 4, 3},
      {"tailLinks", 0, 5, 0},        {"ponytail2Links", 0, 5, 0}, {"fingers", 0, 5, 1},
      {"fingerLinks", 1, 3, 1},      {"toes", 1, 5, 1},           {"toeLinks", 1, 3, 3},
      {"horseTwistLinks", 0, 10, 0}, {"bodyType", 0, 3, 0},       {"arms", 0, 1, 1},
      {"trianglePelvis", 0, 1, 1},   {"Twists", 0, 1, 0},
  };
  for (const auto& row : rows) {
    const StructureParameter* parameter = FindStructureParameter(row.name);
    ASSERT_NE(parameter, nullptr) << row.name;
    EXPECT_EQ(parameter->low, row.low) << row.name;
    EXPECT_EQ(parameter->high, row.high) << row.name;
    EXPECT_EQ(parameter->get(Structure{}), row.first) << row.name;
  }
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Structure s;
  for (const StructureParameter& parameter : StructureParameters()) {
    if (parameter.type == ParameterType::kFloat) continue;
    SCOPED_TRACE(parameter.name);
    for (const double good : {parameter.low, parameter.high}) {
      EXPECT_TRUE(SetParameter(s, parameter, good));
      EXPECT_EQ(parameter.get(s), good);
    }
    const Structure before = s;
    for (const double bad : {parameter.low - 1, parameter.high + 1, parameter.low + 0.5, nan}) {
      EXPECT_FALSE(SetParameter(s, parameter, bad)) << bad;
      EXPECT_TRUE(s == before);
    }
  }
  const StructureParameter& height = *FindStructureParameter("height");
  EXPECT_EQ(s.height, 80);
  EXPECT_EQ(s.ankleAttach, 0.2f);
  for (const double bad : {0.0, -1.0, 1e-60, 1e40}) EXPECT_FALSE(SetParameter(s, height, bad));
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
  Structure plain, full;
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
  Structure armless = full;
  armless.arms = false;
  armless.legLinks = 3;
  const struct {
    const char* what;
    int first, last;
    int plain, full, armless;
  } rows[] = {
      {"arms", kLeftArm, kRightArm, 4, 4, 0},
      {"fingers", kLeftFingers, kRightFingers, 1, 3, 0},
      {"legs", kLeftLeg, kRightLeg, 3, 4, 3},
      {"toes", kLeftToes, kRightToes, 3, 3, 3},
      {"tail", kTail, kTail, 0, 2, 2},
      {"head, body, footprints", kHead, kFootprints, 1, 1, 1},
      {"neck", kNeck, kNeck, 1, 3, 3},
      {"first ponytail", kPony1, kPony1, 0, 5, 5},
      {"second ponytail", kPony2, kPony2, 0, 1, 1},
      {"second prop", kProp2, kProp2, 0, 1, 1},
      {"finger nubs", kRightFingerNubs, kLeftFingerNubs, 1, 5, 0},
      {"toe nubs", kLeftToeNubs, kRightToeNubs, 1, 4, 4},
      {"thigh twists", kLeftThighTwist, kRightThighTwist, 0, 3, 3},
      {"horse link twists", kLeftHorseTwist, kRightHorseTwist, 0, 5, 0},
      {"what is no part", 30, 99, 0, 0, 0},
      {"what is no part", 110, 700, 0, 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (int id = row.first; id <= row.last; ++id) {
      EXPECT_EQ(NumLinks(plain, id), row.plain) << id;
      EXPECT_EQ(NumLinks(full, id), row.full) << id;
      EXPECT_EQ(NumLinks(armless, id), row.armless) << id;
    }
  }
  EXPECT_EQ(NumFingers(armless), 0);
  full.fingers = 0;
  EXPECT_EQ(NumLinks(full, kRightFingers), 0);
}

TEST(Structure, AShortThumbLacksItsLastLinkUnlessThatIsItsOnlyOne) {
  Structure s;
  s.shortThumb = true;
  s.fingers = 3;
  for (const int links : {1, 2, 3}) {
    s.fingerLinks = links;
    EXPECT_EQ(NumDigitLinks(s, kRightFingers, 0), links == 1 ? 1 : links - 1);
    EXPECT_EQ(NumDigitLinks(s, kRightFingers, 1), links);
  }
  EXPECT_EQ(NumDigitLinks(s, kLeftToes, 0), 3);
  s.arms = false;
  EXPECT_EQ(NumDigitLinks(s, kLeftFingers, 0), 0);
}

}  // namespace
}  // namespace strider
