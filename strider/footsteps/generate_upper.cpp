// What arms and spine do by themselves while the legs walk.

#include <algorithm>

#include "strider/core/track_reader.h"
#include "strider/footsteps/generation.h"

namespace strider {
namespace {

constexpr int kArmFrames = 5, kSpineFrames = 6;  // least distance of two keys

// Shoulder: about the lateral axis, radians, ahead positive. Elbow: its bend.
constexpr float kArmRest = -0.1f, kArmSwing = 0.2f, kElbowSwing = 0.3f;
// An elbow never bends backwards.
constexpr float kLeastElbow = 0.05f;
// What varies with the number of the key.
constexpr float kForearmShift = -0.05f, kForearmVariation = -0.1f;
constexpr float kBlendRest = 0.3f, kBlendVariation = 0.3f;

// Spine, radians over all links: leaning sideways and ahead, and turning against the pelvis.
constexpr float kSway = 0.05f, kOddTwist = 0.06f, kEvenTwist = 0.03f, kRoll = 0.15f;

/// Keeps keys of a track a number of frames apart, but for the first and the last phase.
struct Spacing {
  TimeValue least;
  TimeValue last = 0;
  int count = 0;

  bool Takes(TimeValue t, bool atEnd) {
    if (count > 0 && !atEnd && t - last < least) return false;
    if (count > 0 && t <= last) return false;
    last = t;
    ++count;
    return true;
  }
};

/// 1 where the arm of `side` is ahead, -1 where it is behind, 0 in between: arms go with the
/// opposite foot, so at a touch the other side's arm is ahead, and at a lift this side's. A jump
/// off both feet takes both arms ahead, and coming down brings them back.
float SwingOf(const SupportPhase& phase, int side) {
  if (phase.rightLegState == phase.leftLegState) {
    return phase.rightLegState == kLift ? 1.0f : phase.rightLegState == kTouch ? -1.0f : 0.0f;
  }
  for (int foot = 0; foot < 2; ++foot) {
    const float same = foot == side ? 1.0f : -1.0f;
    if (StateOf(phase, foot) == kTouch) return -same;
  }
  for (int foot = 0; foot < 2; ++foot) {
    const float same = foot == side ? 1.0f : -1.0f;
    if (StateOf(phase, foot) == kLift) return same;
  }
  return 0;
}

LimbKey ArmKey(const LimbRecord& arm, float swing, float wave) {
  LimbKey key = arm.rest;
  key.limbRotation = AboutZ(kArmRest + swing * kArmSwing);
  const float restBend = kPi - arm.rest.jointAngles[kHinge];
  const float forearm = kForearmShift + kForearmVariation * wave;
  const float bend = restBend + swing * kElbowSwing - forearm;
  key.jointAngles[kHinge] = kPi - std::max(bend, kLeastElbow);
  key.forwardBend = kBlendRest + kBlendVariation * wave;
  return key;
}

/// Where both legs do the same all along, the arms swing on between what comes before and after.
bool IsTaken(const SupportPhase& phase, bool atEnd) {
  const int r = phase.rightLegState, l = phase.leftLegState;
  return atEnd || !(r == l && (r == kPlant || r == kMove));
}

/// The loin bends against the rock of the pelvis, so that the trunk stays upright on it: a turn of
/// the first link in the spine's base.
Quat AgainstPelvis(const MotionCore& core, TimeValue t) {
  const KeyTable<PelvisKey>& pelvis = core.pelvis.table;
  const Quat rock = TrackReader<PelvisKey>(pelvis, t).Rotation(
      0, [](const PelvisKey& key) -> const Quat& { return key.rotation; });
  const Quat& base = core.spine.baseRotation;
  return Conjugate(base) * Conjugate(rock) * base;
}

}  // namespace

void MakeArmKeys(Generation& g) {
  MotionCore& core = g.core;
  if (!core.structure.arms) return;
  const auto& phases = g.Phases();
  Spacing spacing{kArmFrames * core.ticksPerFrame};
  for (std::size_t i = 0; i < phases.size(); ++i) {
    const SupportPhase& phase = phases[i];
    const bool atEnd = i == 0 || i + 1 == phases.size();
    if (InFreeForm(core.footsteps, phase.time) || !IsTaken(phase, atEnd)) continue;
    const TimeValue t = RoundToFrame(phase.time, core.ticksPerFrame);
    if (!spacing.Takes(t, atEnd)) continue;
    // A figure starts at ease, and ends so where it came to stand.
    const bool atEase = i == 0 || (atEnd && phase.rightLegState == phase.leftLegState);
    const float wave = g.options.variation ? Sin(2 * static_cast<float>(spacing.count)) : 0;
    for (int side = 0; side < 2; ++side) {
      const LimbRecord& arm = core.arm[side];
      const float swing = atEase ? 0 : SwingOf(phase, side);
      g.Check(PutKey(core, LimbId(arm), t, ArmKey(arm, swing, wave)));
    }
  }
}

namespace {

/// What the spine does at a time, radians over all its links.
struct SpineSwing {
  TimeValue time = 0;
  float sway = 0, lean = 0, roll = 0;
};

std::vector<SpineSwing> SpineSwings(const Generation& g) {
  const MotionCore& core = g.core;
  const auto& phases = g.Phases();
  std::vector<SpineSwing> swings;
  Spacing spacing{kSpineFrames * core.ticksPerFrame};
  for (std::size_t i = 0; i < phases.size(); ++i) {
    const SupportPhase& phase = phases[i];
    const bool atEnd = i == 0 || i + 1 == phases.size();
    if (InFreeForm(core.footsteps, phase.time) || !IsTaken(phase, atEnd)) continue;
    SpineSwing swing;
    swing.time = RoundToFrame(phase.time, core.ticksPerFrame);
    if (!spacing.Takes(swing.time, false)) continue;
    const int n = spacing.count;
    if (n % 3 == 0) swing.sway = -kSway;
    if (n % 5 == 0) swing.sway = kSway;
    swing.lean = n % 2 == 1 ? kOddTwist : kEvenTwist;
    if (!g.options.variation) {
      swing.sway = 0;
      swing.lean = 0.5f * (kOddTwist + kEvenTwist);
    }
    const bool rightMoves = phase.rightLegState == kMove, leftMoves = phase.leftLegState == kMove;
    swing.roll = rightMoves ? kRoll : leftMoves ? -kRoll : 0;
    swings.push_back(swing);
  }
  return swings;
}

SpineSwing Between(const SpineSwing& a, const SpineSwing& b, TimeValue t) {
  const float u = static_cast<float>(std::int64_t{t} - a.time) /
                  static_cast<float>(std::int64_t{b.time} - a.time);
  return {t, a.sway + u * (b.sway - a.sway), a.lean + u * (b.lean - a.lean),
          a.roll + u * (b.roll - a.roll)};
}

/// The swings, and where the pelvis is keyed between two of them what lies between: there the
/// trunk has to follow its rock.
std::vector<SpineSwing> WithPelvisKeys(const MotionCore& core,
                                       const std::vector<SpineSwing>& swings) {
  const KeyTable<PelvisKey>& pelvis = core.pelvis.table;
  std::vector<SpineSwing> all;
  int k = 0;
  for (std::size_t i = 0; i < swings.size(); ++i) {
    all.push_back(swings[i]);
    if (i + 1 == swings.size()) break;
    for (; k < pelvis.track.numKeys && pelvis.TimeOf(k) < swings[i + 1].time; ++k) {
      const TimeValue t = RoundToFrame(pelvis.TimeOf(k), core.ticksPerFrame);
      if (t <= all.back().time || t >= swings[i + 1].time) continue;
      if (InFreeForm(core.footsteps, t)) continue;
      all.push_back(Between(swings[i], swings[i + 1], t));
    }
  }
  return all;
}

}  // namespace

void MakeSpineKeys(Generation& g) {
  MotionCore& core = g.core;
  const int links = core.spine.numLinks;
  if (links == 0) return;
  RefreshTracks(core);
  for (const SpineSwing& swing : WithPelvisKeys(core, SpineSwings(g))) {
    // X up, Y back, Z right: the shoulders turn against the hip of the swinging leg.
    const float share = 1 / static_cast<float>(links);
    const Quat turn =
        AboutZ(-swing.lean * share) * AboutY(swing.sway * share) * AboutX(-swing.roll * share);
    ChainKey key = core.spine.rest;
    for (int k = 0; k < links; ++k) key.rotation[k] = turn * core.spine.rest.rotation[k];
    key.rotation[0] = AgainstPelvis(core, swing.time) * key.rotation[0];
    g.Check(PutKey(core, kSpine, swing.time, key));
  }
}

}  // namespace strider
