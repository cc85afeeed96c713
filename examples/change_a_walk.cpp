// Makes a walk, moves one of its footsteps aside and a little later, and prints where the right
// foot stands on it before and after: the motion follows.

#include <cstdio>

#include "strider/footsteps/footstep_edit.h"
#include "strider/strider.h"

int main() {
  using namespace strider;

  Session session;
  auto* figure = CreateNewStrider(session, Structure{});
  if (!figure) return 1;

  MultFprintParams params = *figure->GetMultFprintParams(kWalk);
  params.numFootsteps = 12;
  if (!figure->AddMultipleFootprints(params).Done()) return 1;
  if (!figure->NewFootprintKeys()) return 1;

  constexpr int kStep = 5;  // a right one: the left foot goes first
  constexpr TimeValue kFrame = 160;
  const FootstepTrack& track = figure->Core().footsteps;
  const FootstepSpan span = *SpanOf(track, kStep);
  const TimeValue standing = span.Lift() - 6 * kFrame;
  const auto print = [&](const char* when) {
    const Point3 ankle = LinkTransform(*figure, kRightLeg, 2, standing).row[3];
    std::printf("%-7s ankle %6.2f %6.2f %6.2f\n", when, ankle.x, ankle.y, ankle.z);
  };
  print("before");

  Matrix3 place = track.transform[kStep];
  place.row[3].y -= 5;  // to the right: the host's space has +Y to the left
  if (!figure->SetFootstepTransform(kStep, place)) return 1;
  // Touches three frames later and lifts as before.
  if (!figure->SetFootstepTimes(kStep, span.start + 3 * kFrame, span.duration - 3 * kFrame)) {
    return 1;
  }
  print("after");
  return 0;
}
