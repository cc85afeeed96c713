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

TEST(ScanFloat, ReadsWhatReadFloatReadsBitForBit) {
  const auto check = [](const std::string& text) {
    for (const char* behind : {"", " 7", "\r\n 123456789"}) {
      const std::string all = text + behind;
      float value = 7;
      const char* end = ScanFloat(all.data(), all.data() + all.size(), value);
      const auto read = ReadFloat(text);
      ASSERT_EQ(end != nullptr, read.has_value()) << text;
      if (!read) continue;
      ASSERT_EQ(end, all.data() + text.size()) << text;
      ASSERT_EQ(std::bit_cast<std::uint32_t>(value), std::bit_cast<std::uint32_t>(*read)) << text;
    }
  };
  for (const char* text :
       {"0", "-0", "-0.0", ".5", "5.", "-.5e-3", "+1.5", "1e5", "1E+2", "5.57603e-15", "1.0e-400",
        "12345678901234567890.123", "0.000000000000000000000000000001", "16777217", "16777217.0",
        "16777219.000000000", "33554431.5", "0.1000000014901161", "nan", "-inf", "1e39", "3.4e38",
        // none of these is a number
        "-", ".", "e5", "1e", "1e-", "1.5x", "1,5", "--1", "0x10", "1.2.3"}) {
    check(text);
  }
  std::mt19937 random(5);
  for (int i = 0; i < 100000; ++i) {
    std::string text = random() % 2 == 0 ? "-" : "";
    for (unsigned n = random() % 12; n > 0; --n) text += static_cast<char>('0' + random() % 10);
    text += '.';
    for (unsigned n = random() % 14; n > 0; --n) text += static_cast<char>('0' + random() % 10);
    if (random() % 8 == 0) text += "e-" + std::to_string(random() % 30);
    check(text);
  }
  // Half way between two floats, and next to it.
  for (int i = 0; i < 2000; ++i) {
    const auto bits = static_cast<std::uint32_t>(0x3f800000 + random() % 0x08000000);
    const double low = static_cast<double>(std::bit_cast<float>(bits));
    const double high = static_cast<double>(std::bit_cast<float>(bits + 1));
    std::string text;
    AppendFixed(text, low / 2 + high / 2, 12);
    check(text);
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
