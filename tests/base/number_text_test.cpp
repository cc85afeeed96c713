#include "strider/base/number_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <limits>
#include <random>

namespace strider {
namespace {

TEST(NumberText, ReadsWhatPeopleWrite) {
  const struct {
    const char* text;
    double value;
  } good[] = {{"0", 0},
              {"+1.5", 1.5},
              {"-2.25e2", -225},
              {".5", 0.5},
              {"7.", 7},
              {"1e-400", 0},
              {"-1e-999999999999", 0},
              {"0.00000e99", 0},
              {"123456789", 123456789}};
  for (const auto& row : good) {
    ASSERT_TRUE(ReadNumber(row.text)) << row.text;
    EXPECT_EQ(*ReadNumber(row.text), row.value) << row.text;
  }
  for (const char* bad : {"", " 1", "1 ", "1,5", "0x10", "+-1", "++1", "1e", "e5", "1e400", "-",
                          "1e99999999999999999999", "--1"}) {
    EXPECT_FALSE(ReadNumber(bad)) << bad;
  }
  EXPECT_FALSE(ReadFloat("1e39"));
  EXPECT_EQ(ReadFloat("1e-60"), 0.0f);
  EXPECT_TRUE(std::signbit(*ReadFloat("-1e-60")));
  EXPECT_EQ(ReadInteger("-12"), -12);
  for (const char* bad : {"", "1.0", "1e3", "9223372036854775808", "0x1", " 1"}) {
    EXPECT_FALSE(ReadInteger(bad)) << bad;
  }
}

TEST(NumberText, AnyFloatComesBackFromItsText) {
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isfinite(value)) continue;
    std::string text;
    AppendNumber(text, value);
    ASSERT_EQ(ReadFloat(text), value) << text;
  }
}

TEST(NumberText, FixedDecimalsAreThoseOfTheCLocale) {
  const char* before = std::setlocale(LC_NUMERIC, nullptr);
  const std::string kept = before;
  (void)std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // where it is installed it has a comma
  const struct {
    double value;
    const char* text;
  } rows[] = {{0, "0.000000"},
              {-1.5, "-1.500000"},
              {1.0000005, "1.000001"},
              {2.5e-7, "0.000000"},
              {1e20, "100000000000000000000.000000"}};
  for (const auto& row : rows) {
    std::string text;
    AppendFixed(text, row.value);
    EXPECT_EQ(text, row.text);
  }
  std::string largest;
  AppendFixed(largest, std::numeric_limits<double>::max(), 2);
  EXPECT_EQ(largest.size(), 312u);
  (void)std::setlocale(LC_NUMERIC, kept.c_str());
}

}  // namespace
}  // namespace strider
