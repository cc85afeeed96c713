// Spine, tail, ponytails, neck and extra chains: the turn of every link at a time, and the frames
// that follow. The head is the last link of the neck's keys.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// The turns of a chain's links at `t`; the stance's without keys.
void EvaluateChain(ChainRecord& chain, TimeValue t);

/// Turns of the neck's links and the head at `t`, with the head's blend towards its target.
void EvaluateHeadAndNeck(MotionCore& core, TimeValue t);

/// Frames of a chain's links on a parent's frame; answers where the next part would start.
Frame ComputeChainFrames(ChainRecord& chain, const Frame& parent);

/// Frame of the head on the end of the neck; where a target is set, by headBlend turned to face
/// it. Ponytails follow.
void ComputeHeadFrames(MotionCore& core);

/// Centre of the spine from its first joint to its end for the turns now set, measured from the
/// body in the core's space.
Point3 SpineCentre(const MotionCore& core, const Quat& pelvisRotation);

}  // namespace strider
