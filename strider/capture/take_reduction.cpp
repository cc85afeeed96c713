#include "strider/capture/take_reduction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "strider/base/trig.h"
#include "strider/capture/dense_motion.h"
#include "strider/core/evaluate.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/flights.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

// Tolerances grow by this factor at a time, to so many degrees, and only while joints are off by
// less than this share of the leg on average.
constexpr float kGrowth = 1.2f, kLargestTolerance = 30, kMostOff = 0.0285f;
constexpr float kCarrierTolerance = 2;  // to which those of pelvis and spine shrink meanwhile
// A take of fewer frames has little but its ends to keep.
constexpr int kLeastFrames = 30;
// Limbs that keep less than this of their share stay as they are.
constexpr float kGrowShare = 0.5f;
// A knee jerks whose speed changes by more than this multiple of what it does in the take within a
// few frames, and so many radians a frame on top.
constexpr float kJerkFactor = 1.45f, kJerkRadians = 0.03f;
constexpr int kFramesAround = 2;
constexpr int kLongContact = 10;  // frames
constexpr int kContactSlack = 1;  // frames that a contact may be found longer at either end
constexpr int kMostRounds = 8;    // of keeping keys for knees

constexpr int kLimbs[] = {kLeftArm, kRightArm, kLeftLeg, kRightLeg};
// What carries a hip, and so opens a knee whose foot stands.
constexpr int kCarriers[] = {kVertical, kHorizontal, kTurn, kPelvis};

/// What a motion shows, frame by frame.
struct Shown {
  std::vector<JointPlaces> places;
  std::vector<float> knees[2];  // opening, radians
};

Shown Show(const MotionCore& motion, int numFrames, const EvalContext& context) {
  Shown shown;
  MotionCore posed = motion;
  for (int f = 0; f < numFrames; ++f) {
    CorePose(posed, Later(0, std::int64_t{f} * motion.ticksPerFrame), context);
    shown.places.push_back(PlacesOfFigure(posed));
    for (int side = 0; side < 2; ++side) {
      const Point3* leg = shown.places.back().place + 6 * side;  // hip, knee, ankle
      const Point3 thigh = leg[0] - leg[1], shin = leg[2] - leg[1];
      shown.knees[side].push_back(Atan2(Length(Cross(thigh, shin)), Dot(thigh, shin)));
    }
  }
  return shown;
}

/// The mean distance of joints, in leg lengths.
float OffOf(const Shown& shown, const Shown& take, float leg) {
  double sum = 0;
  for (std::size_t f = 0; f < shown.places.size(); ++f) {
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      sum += static_cast<double>(Length(shown.places[f].place[i] - take.places[f].place[i]));
    }
  }
  const auto count = static_cast<double>(JointPlaces::kCount * shown.places.size());
  return leg > 0 && count > 0 ? static_cast<float>(sum / count) / leg : 0;
}

/// Change of a knee's speed at each frame.
std::vector<float> JerksOf(const std::vector<float>& knees) {
  std::vector<float> jerks(knees.size());
  for (std::size_t f = 1; f + 1 < knees.size(); ++f) {
    jerks[f] = std::fabs(knees[f - 1] - 2 * knees[f] + knees[f + 1]);
  }
  return jerks;
}

/// Sets the mark that keeps a key at a time; false if there is none, or it has the mark.
bool MarkKey(MotionCore& core, int id, TimeValue t) {
  KeyTrack* track = FindTrack(core, id);
  const int key = track != nullptr ? KeyAt(*track, t) : -1;
  if (key < 0 || track->times[At(key)].flag != 0) return false;
  track->times[At(key)].flag = 1;
  return true;
}

void ClearMarks(MotionCore& core) {
  const auto clear = [&core](int id) {
    if (KeyTrack* track = FindTrack(core, id)) {
      for (KeyTimeRecord& record : track->times) record.flag = 0;
    }
  };
  for (const int id : kLimbs) clear(id);
  for (const int id : kCarriers) clear(id);
}

/// Marks a key of a leg and of what carries it; false if there is none left to mark.
bool MarkLeg(MotionCore& dense, int side, int frame) {
  const TimeValue t = Later(0, std::int64_t{frame} * dense.ticksPerFrame);
  bool marked = MarkKey(dense, LimbId(dense.leg[side]), t);
  for (const int id : kCarriers) marked = MarkKey(dense, id, t) || marked;
  return marked;
}

/// How many keys are marked, by the row that their track is thinned by.
std::array<int, kNumKeyReductionRows> MarksOf(const MotionCore& core) {
  std::array<int, kNumKeyReductionRows> marks{};
  const auto count = [&](int id) {
    const KeyTrack* track = FindTrack(core, id);
    if (track == nullptr) return;
    for (const KeyTimeRecord& record : track->times) marks[At(ReductionRowOf(id))] += record.flag;
  };
  for (const int id : kLimbs) count(id);
  for (const int id : kCarriers) count(id);
  return marks;
}

/// Marks keys of `dense` that keep the knees of the thinned motion from jerking: at each jerk the
/// frame that is furthest off. False if there is nothing left to be done.
bool KeepForKnees(MotionCore& dense, const Shown& shown, const Shown& take) {
  bool any = false;
  for (int side = 0; side < 2; ++side) {
    const std::vector<float>& knees = shown.knees[side];
    const std::vector<float> is = JerksOf(knees), was = JerksOf(take.knees[side]);
    const int last = static_cast<int>(is.size()) - 1;
    for (int f = 1; f < last; ++f) {
      const auto from = was.begin() + std::max(f - kFramesAround, 0);
      const auto to = was.begin() + std::min(f + kFramesAround, last) + 1;
      if (is[At(f)] <= kJerkFactor * *std::max_element(from, to) + kJerkRadians) continue;
      int frames[] = {f - 1, f, f + 1};
      std::sort(frames, frames + 3, [&](int a, int b) {
        return std::fabs(knees[At(a)] - take.knees[side][At(a)]) >
               std::fabs(knees[At(b)] - take.knees[side][At(b)]);
      });
      for (const int frame : frames) {
        if (!MarkLeg(dense, side, frame)) continue;
        any = true;
        break;
      }
    }
  }
  return any;
}

/// On which frames the feet of a motion are found to stand.
struct Standing {
  std::vector<char> side[2];
};
Standing FindStanding(const MotionCore& motion, const ExtractionSettings& settings, int numFrames,
                      const EvalContext& context) {
  FootSamples feet = SampleFeet(motion, 0, numFrames, false, context);
  for (auto& foot : feet.side) MarkStanding(foot, settings, ExtractionLegLength(motion));
  std::vector<PlantedRun> dropped;
  (void)FindPlantedRuns(feet, 0, dropped);
  Standing stands;
  for (int side = 0; side < 2; ++side) {
    for (const FootSample& sample : feet.side[side]) stands.side[side].push_back(sample.planted);
  }
  return stands;
}

/// The same for feet on their way that seem to stand, and for those that seem not to while they
/// stand and with all keys do: of each stretch of such frames the one that is furthest off.
bool KeepForContacts(MotionCore& dense, const MotionCore& thinned,
                     const ExtractionSettings& settings, const Standing& full, const Shown& shown,
                     const Shown& take, const EvalContext& context) {
  const int numFrames = static_cast<int>(shown.places.size());
  const Standing stands = FindStanding(thinned, settings, numFrames, context);
  bool any = false;
  for (int side = 0; side < 2; ++side) {
    std::vector<char> wrong(At(numFrames));
    for (int f = 0; f < numFrames; ++f) wrong[At(f)] = stands.side[side][At(f)];
    for (const FootstepSpan& span : thinned.footsteps.spans[side]) {
      const int from = span.start / dense.ticksPerFrame - kContactSlack;
      const int to = span.Lift() / dense.ticksPerFrame + kContactSlack;
      for (int f = std::max(from, 0); f < std::min(to, numFrames); ++f) {
        wrong[At(f)] = full.side[side][At(f)] != 0 && wrong[At(f)] == 0;
      }
    }
    const auto off = [&](int f) {
      const int ankle = 6 * side + 2;
      return Length(shown.places[At(f)].place[ankle] - take.places[At(f)].place[ankle]);
    };
    for (int f = 0; f < numFrames; ++f) {
      if (wrong[At(f)] == 0) continue;
      int worst = f;
      for (; f < numFrames && wrong[At(f)] != 0; ++f) {
        if (off(f) > off(worst)) worst = f;
      }
      any = MarkLeg(dense, side, worst) || any;
    }
  }
  return any;
}

/// The same for a long contact without a key around its middle: a foot between two keys follows
/// its knee, which footsteps moved later would take too far.
bool KeepMiddles(MotionCore& dense, const MotionCore& thinned) {
  bool any = false;
  for (int side = 0; side < 2; ++side) {
    const KeyTrack& track = thinned.leg[side].table.track;
    for (const FootstepSpan& span : thinned.footsteps.spans[side]) {
      const int frames = span.duration / dense.ticksPerFrame;
      if (frames < kLongContact) continue;
      const TimeValue from = Later(span.start, span.duration / 4);
      const int key = InsertionIndex(track, from);
      if (key < track.numKeys &&
          track.times[At(key)].time <= Later(span.Lift(), -span.duration / 4))
        continue;
      const TimeValue middle = Later(span.start, frames / 2 * dense.ticksPerFrame);
      any = MarkKey(dense, LimbId(dense.leg[side]), middle) || any;
    }
  }
  return any;
}

/// The second difference of the joint that has the greatest there.
float LeapAt(const Shown& take, int frame) {
  float most = 0;
  for (int i = 0; i < JointPlaces::kCount; ++i) {
    const auto at = [&](int f) { return take.places[At(f)].place[i]; };
    most = std::max(most, Length(at(frame + 1) - 2 * at(frame) + at(frame - 1)));
  }
  return most;
}

/// The frame at which a take arrives that leads into its motion with a leap, from the pose in
/// which it was set up; 0 where none does. Nothing bends as much later on.
int FrameAfterLeap(const Shown& take) {
  constexpr int kLongestLead = 4;
  constexpr float kLeap = 2;
  const int numFrames = static_cast<int>(take.places.size());
  float most = 0;
  for (int f = kLongestLead + 1; f + 1 < numFrames; ++f) most = std::max(most, LeapAt(take, f));
  if (numFrames < 3 * kLongestLead) return 0;
  for (int f = kLongestLead; f > 0; --f) {
    if (LeapAt(take, f) > kLeap * most) return f;
  }
  return 0;
}

struct Reducing {
  const TakeReductionSettings& settings;
  const EvalContext& context;
  int numFrames;
  bool contacts = false;
  std::optional<Interval> range{};  // behind a leap at the start, whose keys stay
  Standing stands{};                // with all keys
  Shown take{};
  MotionCore dense{};  // its marks grow
  MotionCore thinned{};
  ReductionReport report{};
  Shown shown{};

  // What was thinned last, before feet were held, and by what.
  MotionCore last{};
  KeyReductionTable lastRows{};
  ReductionReport lastReport{};
  std::array<int, kNumKeyReductionRows> lastMarks{};

  int Once(const KeyReductionTable& rows) {
    const std::array<int, kNumKeyReductionRows> marks = MarksOf(dense);
    const auto isAsBefore = [&](int row) {
      return lastRows[At(kReduceAll)].filter == 0 && rows[At(kReduceAll)].filter == 0 &&
             !lastReport.tracks.empty() && rows[At(row)] == lastRows[At(row)] &&
             marks[At(row)] == lastMarks[At(row)];
    };
    const bool bodyIs = isAsBefore(kReduceVertical) && isAsBefore(kReduceHorizontal);
    const auto stays = [&](int id) {
      return id == kVertical || id == kHorizontal ? bodyIs : isAsBefore(ReductionRowOf(id));
    };
    KeyReductionTable redo = rows;
    for (int row = kReduceAll + 1; row < kNumKeyReductionRows; ++row) {
      const bool ofBody = row == kReduceVertical || row == kReduceHorizontal;
      if (ofBody ? bodyIs : isAsBefore(row)) redo[At(row)].filter = 0;
    }
    thinned = dense;
    if (ReduceKeys(thinned, redo, range, context, report) == kRefused) return kRefused;
    if (!lastReport.tracks.empty() && TakeOver(stays) == kRefused) return kRefused;
    last = thinned;
    lastRows = rows;
    lastMarks = marks;
    lastReport = report;
    // What was left of a contact's keys no longer says where the foot rolls over.
    if (!thinned.freeForm && HoldFeetAnew(thinned, settings.firmFeet, context) == kRefused) {
      return kRefused;
    }
    return kDone;
  }

  /// Tracks that stay as they were thinned last.
  template <class Stays>
  int TakeOver(const Stays& stays) {
    ForEachTable(thinned, [&](int id, auto& table) {
      if (!stays(id)) return;
      ForEachTable(std::as_const(last), [&](int other, const auto& from) {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(table)>,
                                     std::remove_cvref_t<decltype(from)>>) {
          if (other == id) table = from;
        }
      });
    });
    for (TrackReduction& track : report.tracks) {
      if (!stays(track.id)) continue;
      for (const TrackReduction& before : lastReport.tracks) {
        if (before.id == track.id) track = before;
      }
    }
    // A flight names its keys by their numbers.
    if (!thinned.freeForm && BuildFlights(thinned) == kRefused) return kRefused;
    RefreshTracks(thinned);
    return kDone;
  }

  /// Knees are looked at once there are few enough keys, or `whatever` there are: those that they
  /// ask for come on top.
  int Fit(const KeyReductionTable& rows, bool whatever = false) {
    ClearMarks(dense);
    for (int round = 0;; ++round) {
      if (Once(rows) == kRefused) return kRefused;
      const bool keeps = settings.smoothKnees || contacts;
      if (!keeps && settings.limbKeysAtMost <= 0) return kDone;
      shown = Show(thinned, numFrames, context);
      if (!keeps || round >= kMostRounds || (TooMany() && !whatever)) return kDone;
      bool more = settings.smoothKnees && KeepForKnees(dense, shown, take);
      if (contacts && !thinned.freeForm) {
        more = KeepForContacts(dense, thinned, *settings.contacts, stands, shown, take, context) ||
               more;
        more = KeepMiddles(dense, thinned) || more;
      }
      if (!more) return kDone;
    }
  }

  int KeysOf(int id) const {
    const KeyTrack* track = FindTrack(thinned, id);
    return track != nullptr ? track->numKeys : 0;
  }

  int LimbKeys() const {
    int sum = 0;
    for (const int id : kLimbs) sum += KeysOf(id);
    return sum;
  }

  bool TooMany() const {
    int limbs = 0;
    for (const int id : kLimbs) limbs += KeysOf(id) > 0 ? 1 : 0;
    const float most = settings.limbKeysAtMost * static_cast<float>(limbs * numFrames);
    return settings.limbKeysAtMost > 0 && numFrames >= kLeastFrames &&
           static_cast<float>(LimbKeys()) > most;
  }

  /// Larger tolerances where limbs keep too many keys; false where they are few enough, or cannot
  /// grow.
  bool Grow(KeyReductionTable& rows) const {
    if (!TooMany()) return false;
    const float share = kGrowShare * settings.limbKeysAtMost * static_cast<float>(numFrames);
    bool grown = false;
    for (const int id : kLimbs) {
      KeyReductionRow& row = rows[At(ReductionRowOf(id))];
      const float tolerance = kGrowth * row.tolerance;
      if (row.filter == 0 || tolerance > kLargestTolerance) continue;
      if (static_cast<float>(KeysOf(id)) <= share) continue;
      row.tolerance = tolerance;
      grown = true;
    }
    // What carries the limbs is held the closer: all that is off there is off in them too.
    for (const int row : {kReducePelvis, kReduceSpine}) {
      float& tolerance = rows[At(row)].tolerance;
      if (grown) tolerance = std::max(tolerance / kGrowth, std::min(tolerance, kCarrierTolerance));
    }
    return grown;
  }

  /// By tolerances that grow from `rows`, which are left as they were used: to where there are few
  /// enough keys, else to where there are fewest.
  int FitGrowing(KeyReductionTable& rows) {
    if (Fit(rows) == kRefused) return kRefused;
    MotionCore fewest = thinned;
    ReductionReport fewestReport = report;
    int keys = LimbKeys();
    for (KeyReductionTable next = rows; Grow(next);) {
      if (Fit(next) == kRefused) return kRefused;
      if (OffOf(shown, take, dense.leg[kRight].totalLength) > kMostOff) break;
      if (LimbKeys() >= keys) continue;
      keys = LimbKeys();
      fewest = thinned;
      fewestReport = report;
      rows = next;
    }
    thinned = std::move(fewest);
    report = std::move(fewestReport);
    return kDone;
  }
};

}  // namespace

int ReduceTakeKeys(MotionCore& motion, const TakeReductionSettings& settings,
                   const MotionCore& take, int numFrames, const EvalContext& context,
                   KeyReductionTable& rows, ReductionReport& report) {
  try {
    rows = settings.rows;
    Reducing run{settings, context, numFrames};
    run.dense = motion;
    run.contacts = settings.contacts != nullptr;
    const bool judged =
        settings.smoothKnees || settings.limbKeysAtMost > 0 || settings.contacts != nullptr;
    if (judged) run.take = Show(take, numFrames, context);
    if (const int arrives = FrameAfterLeap(run.take); arrives > 0) {
      run.range = Interval{arrives * motion.ticksPerFrame, kTimeMax};
    }
    if (run.contacts) run.stands = FindStanding(motion, *settings.contacts, numFrames, context);
    if (run.FitGrowing(rows) == kRefused) return kRefused;
    if (run.TooMany() && run.contacts) {
      run.contacts = false;  // few keys are asked for first
      if (run.FitGrowing(rows) == kRefused) return kRefused;
    }
    if (run.TooMany() && run.Fit(rows, true) == kRefused) return kRefused;
    for (TrackReduction& track : run.report.tracks) {
      const KeyTrack* keys = FindTrack(run.thinned, track.id);
      if (keys != nullptr) track.keysAfter = keys->numKeys;
    }
    ClearMarks(run.thinned);
    motion = std::move(run.thinned);
    report = std::move(run.report);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
