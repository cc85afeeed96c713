#include "strider/host/messages.h"

#include <gtest/gtest.h>

#include <vector>

namespace strider {
namespace {

TEST(Messages, FillsThePlacesOfAText) {
  const struct {
    const char* why;
    std::string given, expected;
  } rows[] = {
      {"all places", FormatMessage(MessageId::kOutsideLimits, {"ballisticTension", "0", "1", "2"}),
       "ballisticTension must be between 0 and 1, but was given as 2."},
      {"an argument is no template", FormatMessage(MessageId::kNotFinite, {"50%% of %1"}),
       "The value given for 50%% of %1 is not a finite number."},
      {"a missing argument shows", FormatMessage(MessageId::kUnknownBodyPart, {"23"}),
       "The figure has no body part 23 with a link %2."},
      {"one too many is left out", FormatMessage(MessageId::kNotFinite, {"x", "y"}),
       "The value given for x is not a finite number."},
      {"an unknown id can still be asked about", FormatMessage(MessageId{12345}, {"x"}),
       "Message 12345."},
  };
  for (const auto& row : rows) EXPECT_EQ(row.given, row.expected) << row.why;
}

// Scripts know messages by number, and every number has to bring a whole sentence.
TEST(Messages, TheCatalogueIsComplete) {
  std::vector<int> found;
  for (int id = -1; id <= 60000; ++id) {
    if (!MessageTemplate(MessageId{id})) continue;
    found.push_back(id);
    const std::string full = FormatMessage(MessageId{id}, {"A", "B", "C", "D"});
    // A list of names stands on a line of its own.
    EXPECT_TRUE(full[0] >= 'A' && full[0] <= 'Z' &&
                (full.back() == '.' || full.ends_with(":\nB\n")))
        << full;
    EXPECT_EQ(full.find('%'), std::string::npos) << full;
    EXPECT_EQ(full.find("  "), std::string::npos) << full;
  }
  EXPECT_EQ(found, (std::vector<int>{110,   111,   114,   147,   148,   152,   153,   154,
                                     155,   156,   270,   324,   581,   590,   40075, 40076,
                                     50000, 50001, 50002, 50003, 50004, 50005, 50006, 50007,
                                     50020, 50021, 50022, 50030, 50031, 50032, 50033, 50034,
                                     50035, 50036, 50037, 50038, 50039, 50040, 50041, 50042}));
}

}  // namespace
}  // namespace strider
