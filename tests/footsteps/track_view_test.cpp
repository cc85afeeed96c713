#include "strider/footsteps/track_view.h"

#include <gtest/gtest.h>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;
using Part = TrackHitPart;

/// Two pixels a frame from column 100 on; left from row 5 to 19, right from 20 to 35.
TrackView View() { return {2, 100, 1000, {0, 0, 2000, 40}, 20}; }

/// Left 0 to 20 (columns 100 to 140), right 15 to 35 (130 to 170), left 60 to 80 (220 to 260).
FootstepTrack Track() {
  FootstepTrack track;
  const int starts[] = {0, 15, 60};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(InsertFootstep(track, i, {1 - i % 2, starts[i] * kFrame, 20 * kFrame, {}, 0}), kDone);
  }
  SelectFootstep(track, 1, true);
  return track;
}

PixelBox Click(int x, int y) { return {x - 5, y - 5, x + 5, y + 5}; }

TEST(TrackView, MeetsThePartNearestToAClick) {
  const FootstepTrack track = Track();
  const struct {
    const char* what;
    PixelBox pick;
    std::vector<TrackHit> hits;
  } rows[] = {
      {"start edge", Click(105, 10), {{0, Part::kStartEdge}}},
      {"a quarter: as near to the start as to the middle", Click(110, 10), {{0, Part::kStartEdge}}},
      {"just past the quarter", Click(111, 10), {{0, Part::kWhole}}},
      {"middle", Click(120, 10), {{0, Part::kWhole}}},
      {"as near to the end as to the middle", Click(130, 10), {{0, Part::kEndEdge}}},
      {"end edge", Click(140, 10), {{0, Part::kEndEdge}}},
      {"past the end", Click(141, 10), {}},
      {"the other foot's band at the same time", Click(135, 25), {{1, Part::kStartEdge}}},
      {"above the bands", Click(120, 4), {}},
      {"11 pixels are a region, and none lies in it", {115, 5, 126, 10}, {}},
      {"a region takes whole boxes only",
       {100, 5, 170, 35},
       {{0, Part::kWhole}, {1, Part::kWhole}}},
      {"a corner outside", {101, 5, 169, 40}, {}},
      {"drawn from right to left", {150, 30, 90, 0}, {{0, Part::kWhole}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(HitFootsteps(View(), track, row.pick), row.hits);
  }
}

TEST(TrackView, FiltersAndStopsWhereAsked) {
  const FootstepTrack track = Track();
  const PixelBox all{0, 0, 2000, 40};
  const auto count = [&](const PickOptions& options, const TrackView& view) {
    return HitFootsteps(view, track, all, options).size();
  };
  EXPECT_EQ(count({}, View()), 3u);
  EXPECT_EQ(count({true, false, false}, View()), 1u);
  EXPECT_EQ(count({false, true, false}, View()), 1u);
  EXPECT_EQ(count({false, false, true}, View()), 2u);
  TrackView narrow = View();
  narrow.rightEdge = 219;  // the third starts past it
  EXPECT_EQ(count({}, narrow), 2u);
}

// From the lift at 35 to a frame before the touch at 60, met from 34 to 60: columns 168 to 220.
TEST(TrackView, MeetsFreeFormIntervalsAFrameBeyondTheirEnds) {
  const FootstepTrack track = Track();
  for (int x : {168, 220}) EXPECT_EQ(HitFreeForm(View(), track, Click(x, 20)).size(), 1u) << x;
  for (int x : {167, 221}) EXPECT_TRUE(HitFreeForm(View(), track, Click(x, 20)).empty()) << x;
  EXPECT_EQ(HitFreeForm(View(), track, Click(194, 20)), (std::vector<TrackHit>{{1, Part::kWhole}}));
}

}  // namespace
}  // namespace strider
