// What the engine says to its user: numbers in the code, words in one catalogue. Only commands and
// scripts speak; a look-up or a fit answers with its status.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>

namespace strider {

/// The numbers are known to scripts and stay. Those from 50000 on are this engine's own.
enum class MessageId : int {
  kDoubleSupportTooLong = 110,
  kOutsideInactiveFootsteps = 111,
  kFootstepDoesNotFit = 114,  // %1 the refusal in words, %2 number of the footstep
  kBatchCannotBePlaced = 147,
  kNegativeTimeWithFootsteps = 148,
  kNotInFigureMode = 152,
  kNoFootsteps = 153,
  kBeforeFirstFootstep = 154,
  kAfterLastFootstep = 155,
  kFootstepsNotComputed = 156,
  kNotInMotionMode = 270,
  kFootstepsFound = 324,  // %1 how many
  kAnimationLocked = 581,
  kLimbFollowsObjectOnLayer = 590,  // %1 the limb
  kStructureNeedsFigureMode = 40075,
  kLayerNotActive = 40076,
  kOutsideLimits = 50000,    // %1 name of the value, %2 lowest, %3 highest, %4 given
  kUnknownBodyPart = 50001,  // %1 body part id, %2 link
  kNotFinite = 50002,        // %1 name of the value
  kFootstepRefused = 50003,  // %1 number of the footstep, %2 cause
  kBadFootstepValues = 50004,
  kOutOfMemory = 50005,
  kFootstepTimesRefused = 50006,
  kNotInMixerMode = 50007,
  kTwistPoseRefused = 50020,  // %1 number of the pose, %2 cause
  kLinkCountRefused = 50021,  // %1 body part id, %2 number of links
  kFigureRefused = 50022,
  // Of all these %1 is the file.
  kFileNotOpened = 50030,      // %2 cause
  kFileNotRead = 50031,        // %2 place and cause
  kFileTooNew = 50032,         // %2 place and cause
  kFileOfOldVersion = 50033,   // %2 its version, %3 the present one
  kFileOfManyMotions = 50034,  // %2 how many
  kFileOfOtherKind = 50035,    // %2 what it should hold
  kFileNotTaken = 50036,       // %2 cause
  kFilePartlyTaken = 50037,    // %2 what was left out
  kFileNotSaved = 50038,       // %2 cause
  kUnknownNames = 50039,       // %2 the names
  kNamesMissing = 50040,       // %2 the names
  kHasNoFootsteps = 50041,
  kHasFootsteps = 50042,
};

/// Where messages go: a window, a terminal, a list in a test.
using MessageSink = std::function<void(MessageId, const std::string& text)>;

/// Words of a message, with places %1, %2 and so on for what it speaks of; null for an unknown id.
const char* MessageTemplate(MessageId id);

/// The message with its places filled in. A place without an argument stays as it is, so that the
/// gap shows; %% gives a percent sign. An unknown id gives a text with its number.
std::string FormatMessage(MessageId id, std::initializer_list<std::string> args = {});

/// Formats the message and sends it; an empty sink swallows it.
void Tell(const MessageSink& sink, MessageId id, std::initializer_list<std::string> args = {});

}  // namespace strider
