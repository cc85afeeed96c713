// Turns a take of a walking person into a motion with footsteps, moves one of them aside, and
// prints where that foot stands before and after: the captured motion follows. It is saved as
// moved.sdr.
//
//   import_a_take examples/takes/walk_cmu_12_01.bvh

#include <cstdio>
#include <string>

#include "strider/capture/import_take.h"
#include "strider/storage/motion_file.h"
#include "strider/strider.h"

namespace {

using namespace strider;

/// Index of the first whole footstep of a foot; -1 if there is none.
int FirstOf(const FootstepTrack& track, int side) {
  for (int i = 1; i < track.numFootsteps; ++i) {
    if (track.side[static_cast<std::size_t>(i)] == side) return i;
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "which take?\n");
    return 2;
  }
  std::string cause;
  ImportResult take;
  if (!ImportTake(argv[1], {}, {}, take, cause)) {
    std::fprintf(stderr, "%s\n", cause.c_str());
    return 1;
  }
  std::printf("%d frames, %d footsteps\n", take.take.frames, take.motion.footsteps.numFootsteps);

  // A session's figure takes the motion over from a file; undo and messages come with it.
  Session session;
  auto* figure = CreateNewStrider(session, Structure{});
  if (!figure || !SaveMotion("take.sdr", {&take.motion}, {}, cause)) return 1;
  if (!figure->LoadMotion("take.sdr")) return 1;

  const FootstepTrack& track = figure->Core().footsteps;
  const int step = FirstOf(track, kRight);
  if (step < 0) return 1;
  const FootstepSpan span = *SpanOf(track, step);
  const TimeValue standing = span.start + span.duration / 2;
  const auto print = [&](const char* when) {
    const Point3 ankle = LinkTransform(*figure, kRightLeg, 2, standing).row[3];
    std::printf("%-7s ankle %7.2f %7.2f %6.2f\n", when, static_cast<double>(ankle.x),
                static_cast<double>(ankle.y), static_cast<double>(ankle.z));
  };
  print("before");
  // Eight centimetres to the footstep's own right. Rows of a footstep's transform are its axes.
  Matrix3 place = track.transform[static_cast<std::size_t>(step)];
  place.row[3] -= 8 * place.row[1];
  if (!figure->SetFootstepTransform(step, place)) return 1;
  print("after");
  return figure->SaveMotion("moved.sdr") ? 0 : 1;
}
