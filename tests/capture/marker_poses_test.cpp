#include "strider/capture/marker_poses.h"

#include <algorithm>
#include <map>

#include "strider/capture/import_take.h"
#include "strider/capture/marker_names.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/capture/take_fixture.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Random;

constexpr Point3 kGone = {kDroppedMarker, kDroppedMarker, kDroppedMarker};

/// A figure's own motion and the places of markers that are stuck on it.
struct MarkedFigure {
  float leg = 0;
  CaptureScene scene;
  std::vector<JointPlaces> joints;
  std::vector<Point3> toes[2];  // directions from heel to toe
};

Point3 Axis(const Matrix3& frame, const Point3& v) { return TransformVector(v, frame); }

/// Markers of one pose. Outsides of joints lie on the joints' own axes, half a joint's width off,
/// and the waist's markers where a hip joint is 36, 30 and 19 hundredths of their distance away.
std::map<std::string, Point3> MarkersOn(const MotionCore& figure) {
  std::map<std::string, Point3> at;
  const float leg = figure.leg[kRight].totalLength;
  const JointPlaces joints = PlacesOfFigure(figure);
  const Point3 hips = 0.5f * (joints.place[0] + joints.place[6]);
  const float width = Length(joints.place[0] - joints.place[6]) / 0.72f;
  const Frame& trunk = figure.spineEnd;  // X up, Y back, Z right
  const auto onTrunk = [&](float ahead, float up, float right) {
    return trunk.origin + leg * Rotate(trunk.rotation, {up, -ahead, right});
  };
  at["C7"] = onTrunk(-0.08f, 0, 0);
  at["CLAV"] = onTrunk(0.12f, 0, 0);
  at["STRN"] = onTrunk(0.12f, -0.2f, 0);
  at["T10"] = onTrunk(-0.12f, -0.25f, 0.01f);
  const float shoulders = Length(joints.place[3] - joints.place[9]);
  for (const int side : {kRight, kLeft}) {
    const std::string s = side == kRight ? "R" : "L";
    const float out = side == kRight ? 1.0f : -1.0f;
    const LimbRecord& l = figure.leg[side];
    const LimbRecord& a = figure.arm[side];
    const Quat& body = figure.body.bodyRotation;
    const Point3 front = hips + width * Rotate(body, {0.19f, 0.3f, 0.5f * out});
    at[s + "FWT"] = front;
    at[s + "BWT"] = front + width * Rotate(body, {-0.7f, 0.05f, -0.3f * out});
    const Matrix3& foot = l.frame[NumLimbLinks(l) - 1];  // X down, Y ahead, Z right
    const auto onFoot = [&](float ahead, float down, float aside) {
      return foot.Origin() + leg * Axis(foot, {down, ahead, aside * out});
    };
    at[s + "KNE"] = l.frame[1].Origin() - 0.06f * leg * out * l.frame[0].row[2];
    at[s + "ANK"] = onFoot(0, 0, 0.045f);
    at[s + "HEL"] = onFoot(-0.06f, 0.06f, 0);
    at[s + "TOE"] = onFoot(0.16f, 0.08f, 0);
    at[s + "MT5"] = onFoot(0.12f, 0.09f, 0.05f);
    at[s + "SHO"] = a.frame[1].Origin() + 0.17f * shoulders * Rotate(trunk.rotation, {1, 0, 0});
    at[s + "ELB"] = a.frame[2].Origin() + 0.045f * leg * out * a.frame[1].row[2];
    const Matrix3& hand = a.frame[3];  // X to the fingers, Y to the thumb, Z right
    const auto onHand = [&](float fingers, float thumb, float outward) {
      return hand.Origin() + leg * Axis(hand, {fingers, thumb, outward * out});
    };
    at[s + "WRA"] = at[s + "WRE"] = onHand(0, 0.04f, 0);
    at[s + "WRB"] = at[s + "WRI"] = onHand(0, -0.04f, 0);
    at[s + "FIN"] = onHand(0.1f, 0, 0.018f);
    for (const auto& [name, ahead] : {std::pair{"FHD", 0.09f}, {"BHD", -0.09f}}) {
      at[s + name] = figure.head.frame.Origin() +
                     leg * Axis(figure.head.frame, {0.11f, -0.022f - ahead, 0.08f * out});
    }
  }
  at["SACR"] = 0.5f * (at["LBWT"] + at["RBWT"]);
  return at;
}

MarkedFigure MarkedSample(SampleMotion sample) {
  MotionCore figure = MakeSample(sample, 180);
  MarkedFigure marked;
  CaptureScene& scene = marked.scene;
  scene.kind = CaptureKind::kMarkers;
  marked.leg = figure.leg[kRight].totalLength;
  for (TimeValue t = 0; t <= figure.endTime; t += kDynamicsFrame) {
    CorePose(figure, t, {});
    marked.joints.push_back(PlacesOfFigure(figure));
    for (int side = 0; side < 2; ++side) {
      const LimbRecord& leg = figure.leg[side];
      marked.toes[side].push_back(leg.frame[NumLimbLinks(leg) - 1].row[1]);
    }
    for (const auto& [name, place] : MarkersOn(figure)) {
      const int marker = FindCaptureMarker(name);
      if (marker < 0 && scene.extraMarkers.empty()) scene.extraMarkers.emplace_back();
      MarkerRecord& record =
          marker < 0 ? scene.extraMarkers[0] : scene.markers[static_cast<std::size_t>(marker)];
      record.name = name;
      record.present = true;
      record.positions.samples.push_back(place);
    }
    ++scene.numFrames;
  }
  return marked;
}

void Remove(CaptureScene& scene, const std::vector<const char*>& names) {
  for (const char* name : names) {
    const int marker = FindCaptureMarker(name);
    if (marker < 0) scene.extraMarkers.clear();
    if (marker >= 0) scene.markers[static_cast<std::size_t>(marker)] = {};
  }
}

struct Misses {
  double mean = 0, most = 0, legs = 0;  // of the leg; of all joints, of hips, knees and ankles
};
Misses MissesOf(const std::vector<JointPlaces>& figure, const CapturedMotion& motion, float leg) {
  Misses misses;
  EXPECT_EQ(figure.size(), motion.poses.size());
  for (std::size_t f = 0; f < figure.size(); ++f) {
    const JointPlaces places = PlacesOfTake(motion.poses[f]);
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      const double miss = static_cast<double>(Length(places.place[i] - figure[f].place[i])) / leg;
      EXPECT_TRUE(miss < 10) << "joint " << i << " frame " << f;
      misses.mean += miss / (JointPlaces::kCount * static_cast<double>(figure.size()));
      misses.most = std::max(misses.most, miss);
      if (i % 6 < 3 && i < 12) misses.legs = std::max(misses.legs, miss);
    }
  }
  return misses;
}

float BoneOf(const CapturedMotion& motion, const CapturedPose& pose, int joint) {
  const auto at = static_cast<std::size_t>(joint);
  return Length(pose[at].origin - pose[static_cast<std::size_t>(motion.parent[at])].origin);
}

TEST(PosesOfMarkers, FindTheJointsOfTheFigureThatTheyAreOn) {
  for (const SampleMotion sample :
       {SampleMotion::kWalk, SampleMotion::kCircle, SampleMotion::kStairs, SampleMotion::kRun}) {
    SCOPED_TRACE(static_cast<int>(sample));
    const MarkedFigure marked = MarkedSample(sample);
    CapturedMotion motion;
    ASSERT_EQ(PosesOfMarkers(marked.scene, {}, motion), kDone);
    const Misses misses = MissesOf(marked.joints, motion, marked.leg);
    EXPECT_LT(misses.mean, 0.005);
    EXPECT_LT(misses.most, 0.025);
    EXPECT_TRUE(motion.held.empty());
    EXPECT_GT(StandingScore(motion.reference), 0.9f);
    for (std::size_t f = 0; f < motion.poses.size(); ++f) {
      for (const Side side : {kRight, kLeft}) {
        const int ankle = side == kRight ? kRightAnkleJoint : kLeftAnkleJoint;
        const Point3 toes =
            Rotate(motion.poses[f][static_cast<std::size_t>(ankle)].rotation, {1, 0, 0});
        EXPECT_GT(Dot(toes, marked.toes[side][f]), 0.98f) << f;
      }
      for (int joint = 0; joint < kNumCaptureJoints; ++joint) {
        const auto at = static_cast<std::size_t>(joint);
        if (!motion.present[at] || motion.parent[at] == kNoJoint) continue;
        EXPECT_NEAR(BoneOf(motion, motion.poses[f], joint), BoneOf(motion, motion.reference, joint),
                    1e-3f * marked.leg);
      }
    }
  }
}

TEST(PosesOfMarkers, FollowABodyThatLiesOrHeadsElsewhere) {
  const MarkedFigure marked = MarkedSample(SampleMotion::kWalk);
  for (const Quat& turn : {AboutY(2.5f), AboutX(kHalfPi), AboutZ(-kHalfPi), AboutZ(kPi)}) {
    CaptureScene scene = marked.scene;
    const auto turnAll = [&turn](MarkerRecord& record) {
      for (Point3& place : record.positions.samples) place = Rotate(turn, place);
    };
    for (MarkerRecord& record : scene.markers) turnAll(record);
    for (MarkerRecord& record : scene.extraMarkers) turnAll(record);
    std::vector<JointPlaces> joints = marked.joints;
    for (JointPlaces& places : joints) {
      for (Point3& place : places.place) place = Rotate(turn, place);
    }
    CapturedMotion motion;
    ASSERT_EQ(PosesOfMarkers(scene, {}, motion), kDone);
    EXPECT_LT(MissesOf(joints, motion, marked.leg).most, 0.06);
  }
}

TEST(PosesOfMarkers, DoWithoutMarkersThatATakeLacks) {
  const MarkedFigure marked = MarkedSample(SampleMotion::kWalk);
  const struct {
    std::vector<const char*> without;
    double mean, legs;
  } rows[] = {
      {{"LFWT", "SACR"}, 0.005, 0.02},
      {{"RBWT", "SACR"}, 0.005, 0.02},
      {{"LBWT", "RBWT"}, 0.005, 0.02},
      {{"RFWT", "LBWT"}, 0.005, 0.02},
      {{"C7"}, 0.012, 0.02},
      {{"C7", "STRN", "T10"}, 0.012, 0.02},
      {{"C7", "STRN", "T10", "CLAV"}, 0.012, 0.02},
      {{"C7", "STRN", "T10", "CLAV", "LSHO", "RSHO"}, 0.02, 0.02},
      {{"LFHD", "RFHD", "LBHD"}, 0.01, 0.02},
      {{"LHEL", "RHEL"}, 0.007, 0.025},
      {{"LHEL", "RHEL", "LMT5", "RMT5"}, 0.007, 0.025},
      {{"LHEL", "RHEL", "LMT5", "RMT5", "LTOE", "RTOE"}, 0.005, 0.02},
      {{"LFIN", "LWRB", "LWRI", "RELB"}, 0.02, 0.02},
      {{"LFIN", "LWRA", "LWRB", "LWRE", "LWRI"}, 0.025, 0.02},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.without[0]) +
                 " and others: " + std::to_string(row.without.size()));
    CaptureScene scene = marked.scene;
    Remove(scene, row.without);
    CapturedMotion motion;
    ASSERT_EQ(PosesOfMarkers(scene, {}, motion), kDone);
    const Misses misses = MissesOf(marked.joints, motion, marked.leg);
    EXPECT_LT(misses.mean, row.mean);
    EXPECT_LT(misses.legs, row.legs);
    DenseMotion dense;
    std::string cause;
    EXPECT_EQ(MakeDenseMotion(scene, {}, dense, cause), kDone) << cause;
    EXPECT_LT(dense.fit.mean, 0.01);
  }
  for (const auto& needed : std::vector<std::vector<const char*>>{
           {"LFWT", "RFWT", "SACR"}, {"RKNE"}, {"LANK", "LHEL"}}) {
    CaptureScene scene = marked.scene;
    Remove(scene, needed);
    CapturedMotion motion;
    EXPECT_EQ(PosesOfMarkers(scene, {}, motion), kRefused) << needed[0];
    EXPECT_TRUE(motion.poses.empty());
  }
  CapturedMotion motion;
  EXPECT_EQ(PosesOfMarkers(marked.scene, {1'000'000, 2'000'000, 1}, motion), kRefused);
}

TEST(PosesOfMarkers, CarryMarkersOverGaps) {
  const MarkedFigure marked = MarkedSample(SampleMotion::kCircle);
  CapturedMotion whole;
  ASSERT_EQ(PosesOfMarkers(marked.scene, {}, whole), kDone);
  Random random(7);
  for (int round = 0; round < 12; ++round) {
    CaptureScene scene = marked.scene;
    const bool short_ = round < 8;
    for (MarkerRecord& record : scene.markers) {
      if (!record.present) continue;
      const int first = random.Int(0, scene.numFrames - 1);
      const int length = random.Int(1, short_ ? 4 : scene.numFrames);
      for (int f = first; f < std::min(first + length, scene.numFrames); ++f) {
        record.positions.samples[static_cast<std::size_t>(f)] = kGone;
      }
    }
    CapturedMotion motion;
    const int status = PosesOfMarkers(scene, {}, motion);
    if (short_) {
      ASSERT_EQ(status, kDone);
    }
    if (status != kDone) continue;
    const Misses misses = MissesOf(marked.joints, motion, marked.leg);
    if (short_) {
      EXPECT_LT(misses.mean, 0.005);
      EXPECT_LT(misses.most, 0.08);
    }
    for (const HeldJoint& held : motion.held) {
      EXPECT_TRUE(0 <= held.first && held.first <= held.last && held.last < scene.numFrames);
    }
  }

  // A knee that is not seen from the start, and one other waist marker less at any time: the leg's
  // ends tell where the knee is.
  CaptureScene scene = marked.scene;
  for (std::size_t f = 0; f < 10; ++f) {
    scene.markers[kLKNE].positions.samples[f] = kGone;
    scene.markers[f % 2 == 0 ? kLFWT : kRBWT].positions.samples[f] = kGone;
  }
  CapturedMotion motion;
  ASSERT_EQ(PosesOfMarkers(scene, {}, motion), kDone);
  EXPECT_LT(MissesOf(marked.joints, motion, marked.leg).legs, 0.025);
  ASSERT_EQ(motion.held.size(), 1u);
  EXPECT_EQ(motion.held[0].joint, kLeftKneeJoint);
  EXPECT_EQ(motion.held[0].first, 0);
  EXPECT_EQ(motion.held[0].last, 9);
}

TEST(PosesOfMarkers, TakeLengthsThatTheFileMeasuredWhereTheyAreLikely) {
  const MarkedFigure marked = MarkedSample(SampleMotion::kWalk);
  CapturedMotion plain;
  ASSERT_EQ(PosesOfMarkers(marked.scene, {}, plain), kDone);
  const float thigh = BoneOf(plain, plain.reference, kRightKneeJoint);
  const float calf = BoneOf(plain, plain.reference, kRightAnkleJoint);
  const float arm = BoneOf(plain, plain.reference, kRightElbowJoint);
  for (const float unit : {1.0f, 2.54f}) {  // the scene's own, and inches in centimetres
    CaptureScene scene = marked.scene;
    scene.hasTalent = true;
    scene.talent.fill(0.9f * thigh);  // not measured
    for (const int measure : {kTalentThigh, kTalentCalf, kTalentUpperArm}) {
      scene.measured[static_cast<std::size_t>(measure)] = true;
    }
    scene.talent[kTalentThigh] = 1.06f * thigh / unit;
    scene.talent[kTalentCalf] = calf / unit;
    scene.talent[kTalentUpperArm] = 1.7f * arm / unit;
    CapturedMotion motion;
    ASSERT_EQ(PosesOfMarkers(scene, {}, motion), kDone);
    const CapturedPose& last = motion.poses.back();
    EXPECT_NEAR(BoneOf(motion, last, kRightKneeJoint), 1.06f * thigh, 0.01f * thigh);
    EXPECT_NEAR(BoneOf(motion, last, kLeftAnkleJoint), calf, 0.01f * calf);
    EXPECT_NEAR(BoneOf(motion, last, kRightElbowJoint), arm, 1e-3f * arm);
    // Longer legs lift the body, the feet stay on the ground; knees bend no more than before.
    EXPECT_GT(last[kHipsJoint].origin.y, plain.poses.back()[kHipsJoint].origin.y);
    float lowest[2] = {1e9f, 1e9f};
    for (std::size_t f = 0; f < motion.poses.size(); ++f) {
      lowest[0] = std::min(lowest[0], plain.poses[f][kRightAnkleJoint].origin.y);
      lowest[1] = std::min(lowest[1], motion.poses[f][kRightAnkleJoint].origin.y);
    }
    EXPECT_NEAR(lowest[1], lowest[0], 0.01f * marked.leg);
  }
}

TEST(PosesOfMarkers, StepAsTheSameWalkDoesByItsJoints) {
  ImportResult markers, joints;
  ImportOptions options;
  std::string cause;
  ASSERT_TRUE(ImportTake(test::TakePath("walk_cmu_06_01.bvh"), options, {}, joints, cause))
      << cause;
  options.names = test::TakePath("heel.mnm");
  ASSERT_TRUE(ImportTake(test::TakePath("walk_cmu_06_01.mkr"), options, {}, markers, cause))
      << cause;
  // When an ankle's marker is slow, seconds; the file of joints lacks the last contact.
  constexpr struct {
    Side side;
    double start, end;
  } kSlow[] = {{kLeft, 0, 0.2},     {kRight, 0.2, 0.83}, {kLeft, 0.8, 1.4},  {kRight, 1.4, 2},
               {kLeft, 2.07, 2.63}, {kRight, 2.6, 3.23}, {kLeft, 3.3, 3.87}, {kRight, 3.87, 4.1}};
  const auto& found = markers.conversion.extraction.footsteps;
  const auto& other = joints.conversion.extraction.footsteps;
  ASSERT_EQ(found.size(), std::size(kSlow));
  ASSERT_GE(other.size() + 1, found.size());
  const double slack = 0.071;
  for (std::size_t i = 0; i < found.size(); ++i) {
    SCOPED_TRACE(i);
    const double start = found[i].start / 4800.0;
    const double end = start + found[i].duration / 4800.0;
    EXPECT_EQ(found[i].side, kSlow[i].side);
    EXPECT_NEAR(start, kSlow[i].start, slack);
    EXPECT_NEAR(end, kSlow[i].end, slack);
    if (i >= other.size()) continue;
    EXPECT_EQ(found[i].side, other[i].side);
    EXPECT_NEAR(start, other[i].start / 4800.0, 0.15);
    EXPECT_NEAR(end, (other[i].start + other[i].duration) / 4800.0, slack);
  }
}

TEST(PosesOfMarkers, StayFiniteWhateverMarkersDo) {
  Random random(3);
  int made = 0;
  for (int round = 0; round < 300; ++round) {
    CaptureScene scene;
    scene.kind = CaptureKind::kMarkers;
    scene.numFrames = random.Int(1, 12);
    const float size = random.Int(0, 3) == 0 ? 9e6f : 100;
    const int flat = random.Int(0, 3);  // on a plane, a line or a point in some rounds
    for (int i = 0; i < kNumMarkers; ++i) {
      MarkerRecord& record = scene.markers[static_cast<std::size_t>(i)];
      const bool needed = ClassOf(i) == MarkerClass::kRequired || ClassOf(i) == MarkerClass::kWaist;
      record.present = needed || random.Int(0, 1) == 0;
      const int count = record.present ? random.Int(0, scene.numFrames) : 0;
      for (int f = 0; f < (needed ? scene.numFrames : count); ++f) {
        Point3 place = random.Inside(size);
        for (int k = 0; k < flat; ++k) place[k] = 1;
        record.positions.samples.push_back(random.Int(0, 9) == 0 ? kGone : place);
      }
    }
    CapturedMotion motion;
    if (PosesOfMarkers(scene, {}, motion) != kDone) continue;
    ++made;
    for (const CapturedPose& pose : motion.poses) {
      for (const Frame& frame : pose) {
        ASSERT_TRUE(IsFinite(frame.origin) && IsFinite(frame.rotation)) << round;
        ASSERT_LT(Length(frame.origin), 1e9f);
      }
    }
    DenseMotion dense;
    std::string cause;
    (void)MakeDenseMotion(scene, {}, dense, cause);
  }
  EXPECT_GT(made, 50);
}

}  // namespace
}  // namespace strider
