#include "exchange/motion_json.h"

#include <nlohmann/json.hpp>

#include "tests/exchange/motion_fixture.h"

namespace strider {
namespace {

using Json = nlohmann::ordered_json;

/// Right foot 0 to 960 ticks, left 480 to 1600, with a flight after them, by hand.
MotionCore MotionByHand() {
  MotionCore core = test::MakeFigure();
  FootstepTrack& track = core.footsteps;
  EXPECT_EQ(InsertFootstep(track, 0, {0, 0, 960, {1, 2, 3}, 0.5f}), kDone);
  EXPECT_EQ(InsertFootstep(track, 1, {1, 480, 1120, {4, 5, -6}, -kHalfPi}), kDone);
  track.active.Set(1);
  track.transitions = {{0, 0, 0, 640, 1}, {0, 0, 480, 520, 3}};
  track.phases = {{480, 0, 0, 0, kPlant, kTouch, 240, 3}};
  FlightPeriod flight;
  flight.takeoffTime = 1600;
  flight.landTime = 2080;
  flight.takeoffSpeed = 0.25f;
  flight.landSpeed = 0.3f;
  core.body.flights = {flight};
  SetFreeForm(core, false);
  core.endTime = 1600;
  for (const TimeValue t : {0, 480}) {
    EXPECT_EQ(PutKey(core, t, CurrentPelvisKey(core)), KeyRefusal::kNone);
  }
  return core;
}

TEST(MotionJson, SaysWhatAMotionIsMadeOf) {
  const MotionCore core = MotionByHand();
  const Json json = Json::parse(MotionJson(core));
  std::vector<std::string> names;
  for (const auto& [name, value] : json.items()) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"figure", "frameRange", "ticksPerFrame", "footsteps",
                                             "transitions", "phases", "flights", "tracks"}));
  EXPECT_EQ(json["figure"]["height"], 80);
  EXPECT_EQ(json["figure"]["structure"]["spineLinks"], 4);
  EXPECT_FALSE(json["figure"].contains("nodes"));
  EXPECT_EQ(json["frameRange"], Json::array({0, 10}));
  EXPECT_EQ(json["ticksPerFrame"], 160);

  Json steps = json["footsteps"];
  // Radians came from a float: degrees to its precision.
  EXPECT_NEAR(steps[0]["heading"].get<double>(), 28.64789, 1e-4);
  EXPECT_NEAR(steps[1]["heading"].get<double>(), -90, 1e-4);
  for (Json& step : steps) step.erase("heading");
  EXPECT_EQ(steps, Json::parse(R"([
    {"index": 0, "side": "right", "start": 0, "duration": 960, "position": [1.0, -3.0, 2.0],
     "active": false},
    {"index": 1, "side": "left", "start": 480, "duration": 1120, "position": [4.0, 6.0, 5.0],
     "active": true}])"));
  EXPECT_EQ(json["transitions"], Json::parse(R"([{"time": 0, "length": 640, "support": 1},
                                                 {"time": 480, "length": 520, "support": 3}])"));
  EXPECT_EQ(json["phases"], Json::parse(R"([
    {"time": 480, "support": 3, "rightLegState": 1, "leftLegState": 0}])"));
  EXPECT_EQ(json["flights"], Json::parse(R"([{"takeoffTime": 1600, "landTime": 2080,
    "takeoffSpeed": 0.25, "landSpeed": 0.3}])"));
  EXPECT_EQ(json["tracks"]["pelvis"], Json::parse(R"({"numKeys": 2, "times": [0, 480]})"));
  EXPECT_EQ(json["tracks"]["lleg"]["numKeys"], 0);
}

TEST(MotionJson, NamesEveryTrackThatTheFigureHas) {
  Structure structure;
  const auto tracksOf = [&structure] {
    const Json json = Json::parse(MotionJson(test::MakeFigure(structure)));
    std::vector<std::string> names;
    for (const auto& [name, track] : json["tracks"].items()) names.push_back(name);
    return names;
  };
  EXPECT_EQ(tracksOf(), (std::vector<std::string>{"larm", "rarm", "lleg", "rleg", "spine", "head",
                                                  "pelvis", "vertical", "horizontal", "turn"}));
  structure.arms = false;
  structure.tailLinks = structure.ponytail2Links = 2;
  structure.prop1Exists = true;
  EXPECT_EQ(tracksOf(),
            (std::vector<std::string>{"lleg", "rleg", "spine", "tail", "head", "pelvis", "vertical",
                                      "horizontal", "turn", "pony2", "prop1"}));
}

}  // namespace
}  // namespace strider
