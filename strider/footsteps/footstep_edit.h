// What changes the footstep track: footsteps put in and taken out, their order, their free-form
// intervals, and the two views of a footstep's place (its transform in the host's space, and the
// position and heading that motion is made from).
#pragma once

#include "strider/core/footstep_track.h"
#include "strider/core/key_track.h"

namespace strider {

/// What a footstep is made from. Ticks; the core's axes; radians about the up axis, positive to
/// the left: heading 0 looks along +X, forward is (cos a, 0, -sin a).
struct NewFootstep {
  int side = 0;  // 0 right, 1 left
  TimeValue start = 0, duration = 0;
  Point3 position;
  float angle = 0;
};

/// Unit vectors of a heading, the core's axes: ahead, and sideways to the left.
Point3 ForwardOf(float angle);
Point3 LeftOf(float angle);

/// Room for `count` footsteps in all tables. kRefused, nothing changed, if memory ran out.
[[nodiscard]] int EnsureCapacity(FootstepTrack& track, int count);

/// Puts a footstep in at `index`, 0 to numFootsteps; the caller has seen to it that its span fits.
/// It is not active and not selected; its transform is the identity until TransformsFromPositions.
/// The free-form period that the latest earlier footstep opened ends. Appending many costs each
/// no more than a constant. kRefused, nothing changed, for an index outside or without memory.
[[nodiscard]] int InsertFootstep(FootstepTrack& track, int index, const NewFootstep& footstep);
/// Takes a footstep out. kRefused for an index outside.
int DeleteFootstep(FootstepTrack& track, int index);
/// Takes those out whose bit is set, in one pass. How many that were.
int DeleteFootsteps(FootstepTrack& track, const BitArray& which);
/// Takes all out: the track is empty and free-form.
void ClearFootsteps(FootstepTrack& track);
/// Copies tables, spans, transitions and phases; of a track without footsteps an empty, free-form
/// one. kRefused, nothing changed, if memory ran out.
[[nodiscard]] int CopyFootsteps(FootstepTrack& to, const FootstepTrack& from);

/// Whether a new span from `start` to its last frame's time `last` fits as footstep `index`.
/// A frame is ticksPerFrame of the track.
bool SpanFits(const FootstepTrack& track, int index, int side, TimeValue start, TimeValue last);

/// The span of a footstep; a null pointer for an index outside.
const FootstepSpan* SpanOf(const FootstepTrack& track, int footstep);
FootstepSpan* SpanOf(FootstepTrack& track, int footstep);

/// Sets side and sideIndex of every footstep from the span tables, the left one first.
void RebuildSides(FootstepTrack& track);

/// The free-form interval that footstep `i` would open, or does if its freeFormAfter bit is set:
/// from its lift to a frame before the next touch. False where none can be.
bool FreeFormInterval(const FootstepTrack& track, int i, TimeValue& start, TimeValue& end);
/// Fills freeFormStart and freeFormEnd of all footsteps from the freeFormAfter bits.
void RefreshFreeFormIntervals(FootstepTrack& track);
/// Opens (closes) the free-form interval after a footstep. kRefused where none can be.
[[nodiscard]] int SetFreeFormAfter(FootstepTrack& track, int footstep, bool on);

/// First and last footstep without keys; false if all are active.
bool RangeOfInactive(const FootstepTrack& track, int& first, int& last);
bool AnyInactive(const FootstepTrack& track);
/// First and last of the first run of selected footsteps from `from` on; both numFootsteps if none
/// is selected.
void SelectionRange(const FootstepTrack& track, int& first, int& last, int from = 0);
bool IsSelected(const FootstepTrack& track, int footstep);
void SelectFootstep(FootstepTrack& track, int footstep, bool on);
void ClearFootstepSelection(FootstepTrack& track);

/// Brings the spans to another number of ticks a frame: whole frames of the old stay whole frames.
void RetimeToTicksPerFrame(FootstepTrack& track, TimeValue ticksPerFrame);

/// Brings every heading within half a turn of the one before it, the first within half a turn of
/// 0. Headings that are not finite or past any count of turns become 0.
void NormalizeAngles(FootstepTrack& track);
/// `angle` by whole turns as near to `near` as it comes; one within half a turn keeps its bits.
float UnwrapTo(float near, float angle);

/// Heading of a transform of the host's space, radians in [-pi, pi].
float HeadingOf(const Matrix3& transform);
/// Writes the transforms from position and angle, keeping the tilt of each against its heading.
void TransformsFromPositions(FootstepTrack& track);
void TransformFromPosition(FootstepTrack& track, int footstep);
/// Reads position and angle of one footstep from its transform.
void PositionFromTransform(FootstepTrack& track, int footstep);

/// Checks lengths, order, indices and the invariant of the record, for tests and fuzzers.
bool CheckFootsteps(const FootstepTrack& track);

}  // namespace strider
