// Footsteps given as contacts in frames, and what every motion made from footsteps has to hold.
#pragma once

#include <algorithm>
#include <vector>

#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/generate.h"
#include "strider/footsteps/place.h"
#include "strider/footsteps/pose_sample.h"
#include "strider/footsteps/support.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {

inline constexpr TimeValue kFrame = kDynamicsFrame;

/// One contact from frame `touch` to frame `lift`.
struct Contact {
  int side = 0;
  int touch = 0, lift = 0;
  Point3 place = {};
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

/// The tracks that a motion from footsteps keys.
inline std::vector<const KeyTrack*> MotionTracks(const MotionCore& core) {
  return {&core.body.horizontal.track, &core.body.turn.track,    &core.body.vertical.track,
          &core.pelvis.table.track,    &core.spine.table.track,  &core.leg[0].table.track,
          &core.leg[1].table.track,    &core.arm[0].table.track, &core.arm[1].table.track};
}

/// Keys of both from `from` to `to` are the same to the last bit, and every track has some.
inline void ExpectSameKeys(const MotionCore& core, const MotionCore& other,
                           TimeValue from = kTimeMin, TimeValue to = kTimeMax) {
  const auto expect = [&](const char* name, const auto& table, const auto& others) {
    SCOPED_TRACE(name);
    const auto within = [&](const KeyTrack& track) {
      std::vector<TimeValue> times = TimesOf(track);
      std::erase_if(times, [&](TimeValue t) { return t < from || t > to; });
      return times;
    };
    const std::vector<TimeValue> times = within(table.track);
    EXPECT_FALSE(times.empty());
    ASSERT_EQ(times, within(others.track));
    for (const TimeValue t : times) {
      const int i = KeyAt(table.track, t), k = KeyAt(others.track, t);
      EXPECT_EQ(table[i], others[k]) << t;
      EXPECT_EQ(GetTcb(table.track, i, 0), GetTcb(others.track, k, 0)) << t;
    }
  };
  expect("horizontal", core.body.horizontal, other.body.horizontal);
  expect("turn", core.body.turn, other.body.turn);
  expect("vertical", core.body.vertical, other.body.vertical);
  expect("pelvis", core.pelvis.table, other.pelvis.table);
  expect("spine", core.spine.table, other.spine.table);
  for (int side = 0; side < 2; ++side) {
    expect("leg", core.leg[side].table, other.leg[side].table);
    if (core.structure.arms) expect("arm", core.arm[side].table, other.arm[side].table);
  }
}

/// Largest distance of any joint of the legs and the body over both motions.
inline float Apart(MotionCore a, MotionCore b) {
  float apart = 0;
  for (TimeValue t = 0; t <= a.endTime; t += kDynamicsFrame / 2) {
    CorePose(a, t, {});
    CorePose(b, t, {});
    apart = std::max(apart, Distance(a.body.bodyPosition, b.body.bodyPosition));
    for (int side = 0; side < 2; ++side) {
      for (int k = 0; k < 3; ++k) {
        apart =
            std::max(apart, Distance(a.leg[side].frame[k].Origin(), b.leg[side].frame[k].Origin()));
      }
    }
  }
  return apart;
}

/// Every foot that carries the figure alone stands on its footstep. Answers the share of them that
/// the leg reaches flat: a stretched one may be up on its toes.
inline float ExpectFeetOnFootsteps(MotionCore core) {
  const FootstepTrack& track = core.footsteps;
  int stances = 0, stood = 0;
  for (const SupportPhase& phase : track.phases) {
    if (!IsMidStance(phase)) continue;
    const int side = phase.rightLegState == kPlant ? kRight : kLeft;
    const auto footstep = static_cast<std::size_t>(PhaseFootstep(track, phase, side));
    const LegSample leg = TakePoseSample(core, RoundToFrame(phase.time, kFrame), {}).leg[side];
    ++stances;
    if (leg.reach > 0.997f) continue;
    ++stood;
    EXPECT_LT(Distance(leg.print, track.position[footstep]), 0.01f * core.leg[0].totalLength)
        << phase.time;
  }
  return stances > 0 ? static_cast<float>(stood) / static_cast<float>(stances) : 1;
}

}  // namespace strider::test
