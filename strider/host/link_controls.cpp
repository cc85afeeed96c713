#include "strider/host/link_controls.h"

#include "strider/host/strider_master.h"

namespace strider {

int StriderSlaveControl::GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) {
  return master_.GetValue(id_, link_, t, value, valid, method);
}

const KeyTrack* StriderSlaveControl::Track() const { return FindTrack(master_.Core(), id_); }

int StriderSlaveControl::NumKeys() const {
  const KeyTrack* track = Track();
  if (!track) return -1;
  if (!track->separate) return track->numKeys;
  const std::uint32_t mask = SubTrackMask(master_.Core(), id_, link_);
  int count = 0;
  for (const KeyTimeRecord& record : track->times) count += (record.linkMask & mask) != 0;
  return count;
}

TimeValue StriderSlaveControl::GetKeyTime(int index) const {
  const KeyTrack* track = Track();
  if (!track || index < 0) return kTimeMin;
  const std::uint32_t mask = SubTrackMask(master_.Core(), id_, link_);
  for (const KeyTimeRecord& record : track->times) {
    if (track->separate && !(record.linkMask & mask)) continue;
    if (index-- == 0) return record.time;
  }
  return kTimeMin;
}

int StriderSlaveControl::GetKeyIndex(TimeValue t) const {
  const KeyTrack* track = Track();
  if (!track || master_.Core().figureMode) return -1;
  const std::uint32_t mask = SubTrackMask(master_.Core(), id_, link_);
  const int index = KeyAt(*track, t, mask);
  if (index < 0 || !track->separate) return index;
  int own = 0;
  for (int i = 0; i < index; ++i) {
    own += (track->times[static_cast<std::size_t>(i)].linkMask & mask) != 0;
  }
  return own;
}

StriderBodyControl::StriderBodyControl(StriderMaster& master)
    : vertical_(master, kVertical, 0),
      horizontal_(master, kHorizontal, 0),
      turn_(master, kTurn, 0) {}

int StriderBodyControl::GetValue(TimeValue t, Matrix3* value, Interval* valid, GetMethod method) {
  return horizontal_.GetValue(t, value, valid, method);
}

}  // namespace strider
