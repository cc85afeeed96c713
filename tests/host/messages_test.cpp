#include "strider/host/messages.h"

#include <gtest/gtest.h>

#include <string>

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
  for (int id :
       {147, 148, 152, 153, 154, 155, 156, 270, 581, 590, 40075, 40076, 50000, 50001, 50002}) {
    EXPECT_NE(MessageTemplate(MessageId{id}), nullptr) << id;
  }
  int found = 0;
  for (int id = -1; id <= 60000; ++id) {
    const char* const text = MessageTemplate(MessageId{id});
    if (!text) continue;
    ++found;
    SCOPED_TRACE(text);
    const std::string full = FormatMessage(MessageId{id}, {"A", "B", "C", "D"});
    EXPECT_EQ(full.back(), '.');
    EXPECT_TRUE(full[0] >= 'A' && full[0] <= 'Z');
    EXPECT_EQ(full.find('%'), std::string::npos);
    EXPECT_EQ(full.find("  "), std::string::npos) << "two pieces joined with a blank too many";
  }
  EXPECT_GE(found, 15);
}

TEST(Messages, TellsTheSinkNumberAndWords) {
  std::string heard;
  const MessageSink sink = [&heard](MessageId id, const std::string& text) {
    heard += std::to_string(static_cast<int>(id)) + ": " + text;
  };
  Tell(sink, MessageId::kNotFinite, {"height"});
  EXPECT_EQ(heard, "50002: The value given for height is not a finite number.");
  Tell(MessageSink(), MessageId::kNotFinite, {"height"});  // nobody listens: not an error
}

}  // namespace
}  // namespace strider
