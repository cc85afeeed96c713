// Pages with figures on them, as PNG: one figure from ahead and from its side, and the contact
// sheet of several.
#pragma once

#include <string>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// The figure as its frames stand, front and side view at one scale, with the structure parameters
/// that are not the default. 1400 x 1000 pixels. The same figure always gives the same bytes.
/// False, `png` unchanged, if the figure's extent cannot be drawn or memory runs out; `cause` says
/// which.
[[nodiscard]] bool FigurePicture(const MotionCore& core, std::string& png, std::string& cause);

struct CaptionedFigure {
  std::string caption;
  MotionCore core;
};

/// All figures at one scale, each with both views and its caption, and a key to the colours.
[[nodiscard]] bool FigureSheet(const std::vector<CaptionedFigure>& figures, std::string& png,
                               std::string& cause);

}  // namespace strider
