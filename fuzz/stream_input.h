// What every stream input goes through, whatever it holds: it is read, played, and saved.
#pragma once

#include <string_view>

#include "strider/storage/stream.h"

namespace strider::fuzz {

void PlayStream(std::string_view input, StreamForm form);

}  // namespace strider::fuzz
