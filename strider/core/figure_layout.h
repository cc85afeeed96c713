// Turns structure parameters into a figure: the size and place of every link, and the stance in
// which it stands when nothing else is asked.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// Height over the nominal figure's: height / (15 neckLinks + 400), in double, rounded once.
float FigureScale(float height, int neckLinks);

/// Lays the whole figure out anew: default proportions, stance, body laws, track forms. Keys stay
/// only if the structure's link counts do; a figure with keys goes through SetHeight instead.
void LayOutFigure(MotionCore& core, const Structure& structure);

/// Puts the stance at a ground point (the core's space) with a heading in radians about the up
/// axis, positive to the left; the soles stand at the point's height.
void PlaceFigure(MotionCore& core, const Point3& groundPosition, float heading);

/// Sets the current pose of every part to its stance.
void TakeStance(MotionCore& core);

/// The figure's height now. A figure laid out for a height answers just that; where dimensions
/// were edited since, it follows the sum of spine, neck, head, leg and foot.
float CoreFigureHeight(const MotionCore& core);

/// Spine, its base, neck, head, the smaller leg, the smaller foot.
float SumOfLengths(const MotionCore& core);
/// Notes the figure's measures with the footsteps, which are then taken to fit it.
void RefreshFootstepMeasures(MotionCore& core);
/// Makes what the laws of motion and the footsteps keep of a figure's size follow its dimensions.
void RefreshBodyLaws(MotionCore& core);

/// Scales all dimensions of the figure to stand `height` high. The stance keeps its ground point.
/// kRefused, nothing changed, for a height that is not positive and finite.
[[nodiscard]] int SetHeight(MotionCore& core, float height);

/// Settles a figure whose links were given sizes from outside: totals of the legs, ends of the
/// limbs in the stance, laws of motion, the footsteps' copies and the forms of the tracks follow
/// from them, and the stance stands on the ground at height 0. The figure then is `height` high;
/// for a height of 0 as high as its parts make it, which for default proportions is what they were
/// laid out for, but for rounding. kRefused, and only the totals are new, for sizes or a height
/// that are not finite or make no height.
[[nodiscard]] int SettleFigure(MotionCore& core, float height = 0);

/// Height of the body over its soles in the stance.
float StanceHeight(const MotionCore& core);

/// What footsteps keep of the ankle: 1.33 times its distance from the heel plus its height.
float AnkleSize(const MotionCore& core);
/// Length the footsteps are drawn with: 1.33 times the foot's toe side plus its heel side.
float FootstepLength(const MotionCore& core);

}  // namespace strider
