#include "strider/host/messages.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace strider {
namespace {

struct CatalogueRow {
  MessageId id;
  const char* text;
};

// In rising order of the numbers, which the search relies on.
constexpr CatalogueRow kCatalogue[] = {
    {MessageId::kDoubleSupportTooLong,
     "These footsteps cannot be placed: with two double supports as long as the time on the "
     "ground, "
     "the other foot has no time to swing."},
    {MessageId::kOutsideInactiveFootsteps,
     "The current time is too far from the footsteps that have no keys yet. Make keys for those "
     "first, or place the new ones beside them."},
    {MessageId::kFootstepDoesNotFit, "%1 %2."},
    {MessageId::kBatchCannotBePlaced,
     "These footsteps cannot be placed. There is no footstep to go on from, or the steps are too "
     "short in time for the figure to leave the ground."},
    {MessageId::kNegativeTimeWithFootsteps,
     "A figure with footsteps has no motion before time 0. Move to time 0 or later."},
    {MessageId::kNotInFigureMode, "This is not possible in figure mode. Leave figure mode first."},
    {MessageId::kNoFootsteps, "A key needs footsteps to belong to, and there are none yet."},
    {MessageId::kBeforeFirstFootstep,
     "The current time is before the first footstep. Keys can be set only while there are "
     "footsteps."},
    {MessageId::kAfterLastFootstep,
     "The current time is after the last footstep. Keys can be set only while there are "
     "footsteps."},
    {MessageId::kFootstepsNotComputed,
     "The footsteps have no motion yet. Make keys for the footsteps first."},
    {MessageId::kNotInMotionMode, "This is not possible in motion mode. Leave motion mode first."},
    {MessageId::kFootstepsFound, "The conversion is done. Footsteps found: %1."},
    {MessageId::kAnimationLocked, "The animation of this figure is locked."},
    {MessageId::kLimbFollowsObjectOnLayer,
     "No key was set for %1: it follows an IK object, which rules it on a layer too."},
    {MessageId::kStructureNeedsFigureMode,
     "The figure's structure can change only in figure mode or while the figure is created."},
    {MessageId::kLayerNotActive, "This layer is not active. Activate it before setting keys."},
    {MessageId::kOutsideLimits, "%1 must be between %2 and %3, but was given as %4."},
    {MessageId::kUnknownBodyPart, "The figure has no body part %1 with a link %2."},
    {MessageId::kNotFinite, "The value given for %1 is not a finite number."},
    {MessageId::kFootstepRefused, "Footstep %1 cannot be placed: %2."},
    {MessageId::kBadFootstepValues,
     "These footsteps cannot be placed: a value is not a finite number, names no gait or side, or "
     "is a cycle shorter than a frame."},
    {MessageId::kOutOfMemory, "There is not enough memory."},
    {MessageId::kFootstepTimesRefused,
     "A footstep cannot move there: it would pass another one, meet the same foot's next contact, "
     "last less than a frame or leave the time that footsteps may take."},
    {MessageId::kNotInMixerMode, "This is not possible in mixer mode. Leave mixer mode first."},
    {MessageId::kTwistPoseRefused, "Twist pose %1 was left as it is: %2."},
    {MessageId::kLinkCountRefused, "Body part %1 cannot have %2 links."},
    {MessageId::kFigureRefused,
     "The figure was not taken over: its sizes cannot make a figure that stands, or there is not "
     "enough memory."},
    {MessageId::kFileNotOpened, "%1 cannot be opened: %2."},
    {MessageId::kFileNotRead, "%1 cannot be read: %2."},
    {MessageId::kFileTooNew, "%1 was saved by a newer program and cannot be read: %2."},
    {MessageId::kFileOfOldVersion,
     "%1 is of version %2 and was converted to version %3 while it was loaded. Save it to keep the "
     "conversion."},
    {MessageId::kFileOfManyMotions,
     "%1 holds %2 motions. Only a file with one motion can be loaded into a layer."},
    {MessageId::kFileOfOtherKind, "%1 holds no %2."},
    {MessageId::kFileNotTaken, "%1 was read but not taken over: %2."},
    {MessageId::kFilePartlyTaken, "%1 was loaded, but %2."},
    {MessageId::kFileNotSaved, "%1 was not saved: %2."},
    {MessageId::kUnknownNames, "%1 has names that are not known; they were passed over:\n%2\n"},
    {MessageId::kNamesMissing, "%1 cannot be taken over: the figure needs %2."},
    {MessageId::kHasNoFootsteps, "The motion has no footsteps that could be taken off."},
    {MessageId::kHasFootsteps, "The motion has footsteps already."},
};

constexpr bool NumbersRise() {
  for (std::size_t i = 1; i < std::size(kCatalogue); ++i) {
    if (!(kCatalogue[i - 1].id < kCatalogue[i].id)) return false;
  }
  return true;
}
static_assert(NumbersRise(), "a message stands out of order or twice in the catalogue");

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

const char* MessageTemplate(MessageId id) {
  const auto* const row =
      std::lower_bound(std::begin(kCatalogue), std::end(kCatalogue), id,
                       [](const CatalogueRow& a, MessageId b) { return a.id < b; });
  return row != std::end(kCatalogue) && row->id == id ? row->text : nullptr;
}

std::string FormatMessage(MessageId id, std::initializer_list<std::string> args) {
  const char* const text = MessageTemplate(id);
  if (!text) return "Message " + std::to_string(static_cast<int>(id)) + ".";

  // One pass over the template alone, so that a % in a node's name stays one.
  std::string result;
  for (const char* c = text; *c != '\0';) {
    if (*c != '%' || (c[1] != '%' && !IsDigit(c[1]))) {
      result += *c++;
    } else if (c[1] == '%') {
      result += '%';
      c += 2;
    } else {
      const char* const place = c++;
      std::size_t number = 0;
      for (; IsDigit(*c); ++c) number = number * 10 + static_cast<std::size_t>(*c - '0');
      const bool given = number >= 1 && number <= args.size();
      result += given ? args.begin()[number - 1] : std::string(place, c);
    }
  }
  return result;
}

void Tell(const MessageSink& sink, MessageId id, std::initializer_list<std::string> args) {
  if (sink) sink(id, FormatMessage(id, args));
}

}  // namespace strider
