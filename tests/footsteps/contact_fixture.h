// Footsteps given as contacts in frames, and what every motion made from footsteps has to hold.
#pragma once

#include <algorithm>
#include <vector>

#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/generate.h"
#include "strider/footsteps/place.h"
#include "strider/footsteps/support.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {

inline constexpr TimeValue kFrame = kDynamicsFrame;

/// One contact from frame `touch` to frame `lift`.
struct Contact {
  int side = 0;
  int touch = 0, lift = 0;
  Point3 place;
  float angle = 0;
};
using Contacts = std::vector<Contact>;

/// Puts the contacts in, whatever would be refused of them elsewhere.
inline void SetContacts(FootstepTrack& track, const Contacts& contacts) {
  for (const Contact& c : contacts) {
    const NewFootstep step{c.side, c.touch * kFrame, (c.lift - c.touch) * kFrame, c.place, c.angle};
    ASSERT_EQ(InsertFootstep(track, InsertPosition(track, step.start), step), kDone);
  }
  TransformsFromPositions(track);
  track.freeForm = 0;
  ASSERT_TRUE(CheckFootsteps(track));
}
inline FootstepTrack TrackOf(const Contacts& contacts) {
  FootstepTrack track;
  SetContacts(track, contacts);
  EXPECT_EQ(RefreshSupport(track), kDone);
  return track;
}

/// A figure with footsteps that wait for their motion.
inline MotionCore WithContacts(const Contacts& contacts, const Structure& structure = {}) {
  MotionCore core = MakeFigure(structure);
  SetContacts(core.footsteps, contacts);
  core.footstepsPending = true;
  return core;
}

/// A level walk ahead, `share` of a leg a step, with `ground` frames of contact every `cycle`
/// frames of one foot: walks overlap, runs leave gaps. Stands on both feet first.
inline Contacts Gait(int steps, int cycle, int ground, float stride, float aside) {
  Contacts contacts = {{kRight, 0, ground, {0, 0, aside}, 0},
                       {kLeft, 0, ground - cycle / 2, {0, 0, -aside}, 0}};
  contacts[1].lift = std::max(contacts[1].lift, 1);
  for (int k = 0; k < steps; ++k) {
    const int side = k % 2 == 0 ? kLeft : kRight, touch = (k + 1) * cycle / 2;
    contacts.push_back({side,
                        touch,
                        touch + ground,
                        {stride * static_cast<float>(k + 1), 0, side == kRight ? aside : -aside},
                        0});
  }
  return contacts;
}

/// Calls `use` with the name, the track and whether all records are finite of each body section.
template <class Use>
void ForTracks(const MotionCore& core, Use use) {
  const auto check = [&](const char* name, const auto& table, const auto& isFinite) {
    use(name, table.track, std::all_of(table.keys.begin(), table.keys.end(), isFinite));
  };
  const auto finite = [](const Quat& q) { return IsFinite(Dot(q, q)); };
  check("horizontal", core.body.horizontal,
        [](const HorizontalKey& k) { return IsFinite(k.position) && IsFinite(k.balanceFactor); });
  check("turn", core.body.turn, [&](const TurnKey& k) { return finite(k.rotation); });
  check("vertical", core.body.vertical, [](const VerticalKey& k) {
    return IsFinite(k.height) && IsFinite(k.ballisticHeight) && IsFinite(k.rangeFraction) &&
           IsFinite(k.legFraction) && IsFinite(k.footReach[0]) && IsFinite(k.footReach[1]);
  });
  check("pelvis", core.pelvis.table, [&](const PelvisKey& k) { return finite(k.rotation); });
  check("spine", core.spine.table,
        [&](const ChainKey& k) { return std::all_of(k.rotation, k.rotation + kMaxLinks, finite); });
  const auto limb = [&](const LimbKey& k) {
    return std::all_of(k.jointAngles, k.jointAngles + kNumJointAngles,
                       [](float a) { return IsFinite(a); }) &&
           IsFinite(k.bodyTarget) && IsFinite(k.objectTarget) && IsFinite(k.pivotPosition) &&
           IsFinite(k.joinedPivotPosition) && finite(k.limbRotation) && finite(k.endRotation) &&
           finite(k.spaceRotation);
  };
  check("right leg", core.leg[0].table, limb);
  check("left leg", core.leg[1].table, limb);
  check("right arm", core.arm[0].table, limb);
  check("left arm", core.arm[1].table, limb);
}

inline std::vector<TimeValue> TimesOf(const KeyTrack& track) {
  std::vector<TimeValue> times;
  for (const KeyTimeRecord& record : track.times) times.push_back(record.time);
  return times;
}
inline std::vector<int> FramesOf(const KeyTrack& track) {
  std::vector<int> frames;
  for (const TimeValue t : TimesOf(track)) frames.push_back(t / kFrame);
  return frames;
}

}  // namespace strider::test
