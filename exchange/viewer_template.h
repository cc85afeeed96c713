// The page of web/viewer/dist/viewer.html, carried in the program. The build makes its source.
#pragma once

#include <string>

namespace strider {

/// The page as it is before a motion is put into it.
std::string ViewerTemplate();

}  // namespace strider
