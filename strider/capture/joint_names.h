// The joints that a take can have, by name: what readers map a file's names to.
#pragma once

#include <string>
#include <string_view>

#include "strider/capture/capture_scene.h"

namespace strider {

/// A joint's first name and, where it has one, its second; both are accepted, compared exactly.
const std::string& FirstNameOf(int joint);
std::string_view SecondNameOf(int joint);

/// The joint of either name; kNoJoint for all others.
int FindCaptureJoint(std::string_view name);

/// Whether a take without the joint is refused.
bool IsRequiredJoint(int joint);

/// The joint whose place an end site marks: toes for an ankle, the next link for a finger. kNoJoint
/// for joints that end their chain, and for those that only carry others.
int JointAtEndSite(int joint);

}  // namespace strider
