#include "strider/capture/dense_motion.h"

#include "strider/capture/capture_loop.h"
#include "strider/capture/convert.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "tests/capture/body_fixture.h"

namespace strider {
namespace {

using test::BodyPlan;
using test::BodyScene;
using test::Fitted;

MotionCore PosedAt(const DenseMotion& dense, int frame) {
  MotionCore core = dense.motion;
  CorePose(core, frame * core.ticksPerFrame, {});
  return core;
}

TEST(DenseMotion, PutsEveryJointWhereTheTakeHasIt) {
  const struct {
    const char* name;
    BodyPlan plan;
    int spine, neck;
  } rows[] = {{"two chests", {}, 2, 1},
              {"one chest", {1, 1}, 1, 1},
              {"collars below the top", {4, 2}, 2, 3},
              {"as many as there can be", {8, 8}, 5, 1},
              {"toes and fingers", {3, 3, true, 5}, 3, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const BodyScene body(row.plan);
    const DenseMotion dense = Fitted(body.scene);
    const MotionCore& figure = dense.talent.figure;
    EXPECT_EQ(figure.spine.numLinks, row.spine);
    EXPECT_EQ(figure.neck.numLinks, row.neck);
    EXPECT_EQ(figure.structure.fingers, row.plan.fingers > 0 ? row.plan.fingers : 1);
    EXPECT_NEAR(dense.legLength, 80, 1e-3);
    EXPECT_NEAR(CoreFigureHeight(figure), 180, 35);
    // A spine of fewer links than the take's bends in other places, and a nearly straight arm whose
    // plane turns at once follows within a frame.
    EXPECT_LT(dense.fit.mean, row.plan.chests > 5 ? 0.004 : 0.001);
    EXPECT_LT(MeasureFit(dense, dense.motion, {}).most, 0.04);
  }
}

TEST(DenseMotion, TurnsHandsFeetAndHeadAsTheTakeDoes) {
  const BodyScene body({2, 2, true, 2});
  const DenseMotion dense = Fitted(body.scene);
  const struct {
    int joint, id, link;
  } rows[] = {{kHeadJoint, kHead, 0},
              {kLeftWristJoint, kLeftArm, 3},
              {kRightAnkleJoint, kRightLeg, 2},
              {kLeftToeJoint, kLeftToes, 0},
              {kRightFingerJoint + 4, kRightFingers, 4}};
  const MotionCore start = PosedAt(dense, 0);
  for (const int frame : {7, 20, 33}) {
    const MotionCore now = PosedAt(dense, frame);
    for (const auto& row : rows) {
      const auto joint = static_cast<std::size_t>(row.joint);
      const auto turned = [&](const Quat& from, const Quat& to) { return to * Conjugate(from); };
      const Quat take =
          turned(dense.captured.poses[0][joint].rotation,
                 dense.captured.poses[static_cast<std::size_t>(frame)][joint].rotation);
      const Quat figure = turned(RotationOf(LinkFrame(start, row.id, row.link)),
                                 RotationOf(LinkFrame(now, row.id, row.link)));
      EXPECT_GT(std::fabs(Dot(take, figure)), 0.9999f) << FirstNameOf(row.joint) << " " << frame;
    }
  }
}

TEST(DenseMotion, StandsUprightInWhateverAxesTheTakeHas) {
  BodyPlan still;
  still.swing = 0;
  const Quat turns[] = {{}, AboutZ(-kPi / 2), AboutX(kPi / 2)};  // of Y to X, Y and Z
  const UpAxis axes[] = {UpAxis::kY, UpAxis::kX, UpAxis::kZ};
  for (int i = 0; i < 3; ++i) {
    BodyScene body(still);
    for (JointRecord& joint : body.scene.joints) {
      joint.offset = Rotate(turns[i], joint.offset);
      joint.endOffset = Rotate(turns[i], joint.endOffset);
    }
    DenseSettings settings;
    settings.toYUp = TurnToYUp(axes[i]);
    const DenseMotion dense = Fitted(body.scene, settings);
    const MotionCore core = PosedAt(dense, 0);
    EXPECT_GT(core.head.frame.row[0].y, 0.99f) << i;
    for (const LimbRecord& leg : core.leg) {
      EXPECT_LT(leg.frame[2].row[0].y, -0.99f) << i;  // the sole looks down
      EXPECT_GT(leg.frame[2].row[1].y, -0.01f) << i;
    }
    // Arms out to the sides, palms down: thumbs ahead.
    EXPECT_GT(Dot(core.arm[kLeft].frame[3].row[1], core.head.frame.row[1]), -1.01f);
    EXPECT_GT(Dot(core.arm[kLeft].frame[3].row[1], -core.head.frame.row[1]), 0.99f) << i;
  }
}

TEST(DenseMotion, TakesAStandingFrameForReferenceWhereNoTurnsGiveNoPose) {
  // Bones along each joint's own Y; the first frame turns them into a T pose.
  BodyPlan plan;
  plan.stick = true;
  plan.swing = 0;
  plan.frames = 3;
  BodyScene body(plan);
  const auto turn = [&](int joint, Point3 degrees) {
    for (Point3& sample : body.scene.joints[static_cast<std::size_t>(joint)].rotations.samples) {
      sample = degrees;
    }
  };
  for (int step = 0; step < 2; ++step) {
    const float side = step == 0 ? 1.0f : -1.0f;
    JointRecord& hip = body.scene.joints[static_cast<std::size_t>(kLeftHipJoint + step)];
    hip.offset = {9 * side, -3, 0};
    turn(kLeftHipJoint + step, {0, 0, 180});
    body.scene.joints[static_cast<std::size_t>(kLeftCollarJoint + step)].offset = {3 * side, 10, 0};
    turn(kLeftCollarJoint + step, {0, 0, -90 * side});
  }
  const DenseMotion dense = Fitted(body.scene);
  EXPECT_GT(StandingScore(dense.captured.reference), 0.9f);
  EXPECT_LT(dense.fit.most, 1e-3);
  const MotionCore core = PosedAt(dense, 1);
  EXPECT_GT(core.head.frame.row[0].y, 0.99f);
  for (const LimbRecord& leg : core.leg) EXPECT_LT(leg.frame[2].row[0].y, -0.9f);
}

TEST(DenseMotion, RefusesTakesThatMakeNoFigure) {
  DenseMotion dense;
  std::string cause;
  const auto refused = [&](const CaptureScene& scene, const DenseSettings& settings = {}) {
    cause.clear();
    return MakeDenseMotion(scene, settings, dense, cause) == kRefused && !cause.empty();
  };
  EXPECT_TRUE(refused({}));
  BodyScene body({});
  DenseSettings none;
  none.frames = {50, 60, 1};
  EXPECT_TRUE(refused(body.scene, none));
  body.scene.joints[kLeftKneeJoint].offset = {};
  EXPECT_TRUE(refused(body.scene));
  body.scene.joints[kLeftKneeJoint].offset = {0, std::nanf(""), 0};
  EXPECT_TRUE(refused(body.scene));
}

TEST(DenseMotion, FindsKneesThatOverstretchAndPlanesOfStraightLimbs) {
  // The knee passes from bent through straight to a little too far, and back.
  BodyPlan plan;
  plan.swing = 0;
  BodyScene body(plan);
  for (int f = 0; f < plan.frames; ++f) {
    const float bend = 25 * std::cos(0.3f * static_cast<float>(f)) + 15;
    body.scene.joints[kLeftKneeJoint].rotations.samples[static_cast<std::size_t>(f)] = {bend, 0, 0};
  }
  const DenseMotion dense = Fitted(body.scene);
  EXPECT_LT(dense.fit.most, 1e-3);
  Quat before;
  for (int f = 0; f < plan.frames; ++f) {
    const MotionCore core = PosedAt(dense, f);
    const float hinge = core.leg[kLeft].pose.jointAngles[kHinge];
    const float bend = 25 * std::cos(0.3f * static_cast<float>(f)) + 15;
    EXPECT_NEAR(kPi - hinge, bend * kPi / 180, 0.02f) << f;
    const Quat thigh = RotationOf(core.leg[kLeft].frame[0]);
    if (f > 0) {
      EXPECT_GT(std::fabs(Dot(thigh, before)), 0.999f) << f;  // no knee turns over
    }
    before = thigh;
  }
}

TEST(DenseMotion, AFigureOfAnotherStructureFollowsWithItsEnds) {
  const BodyScene body({3, 3, false, 0, false, 20});
  for (const auto& [spine, neck, legs] :
       {std::array{1, 1, 3}, std::array{5, 3, 3}, std::array{4, 1, 4}}) {
    DenseSettings settings;
    settings.talent.spineLinks = spine;
    settings.talent.neckLinks = neck;
    settings.talent.structure.legLinks = legs;
    const DenseMotion dense = Fitted(body.scene, settings);
    EXPECT_EQ(dense.talent.figure.spine.numLinks, spine);
    // A leg of three segments has its knee elsewhere.
    EXPECT_LT(dense.fit.mean, legs == 4 ? 0.03 : 0.01) << spine << " " << neck << " " << legs;
  }
}

TEST(Convert, MakesOfATakeTheMotionOfAFigure) {
  BodyPlan plan;
  plan.swing = 5;
  const BodyScene body(plan);
  ConversionSettings settings;
  settings.dense.frames = {10, 29, 1};
  settings.footsteps = false;
  settings.reduce = false;
  MotionCore target;
  ConversionReport report;
  ASSERT_EQ(Convert(body.scene, settings, target, report, {}), kDone) << report.message;
  EXPECT_EQ(report.numFrames, 20);
  EXPECT_EQ(target.leg[kLeft].table.track.numKeys, 20);
  EXPECT_LT(report.fit.most, 0.04);
  // Time 0 is frame 10.
  const CapturedPose pose = Fitted(body.scene).captured.poses[29];
  CorePose(target, 19 * target.ticksPerFrame, {});
  EXPECT_LT(Length(target.head.frame.Origin() - pose[kHeadJoint].origin), 0.5f);

  const TimeValue end = target.body.horizontal.TimeOf(19);
  settings.dense.frames = {50, 60, 1};
  EXPECT_EQ(Convert(body.scene, settings, target, report, {}), kRefused);
  EXPECT_EQ(report.message, "no frames to convert");
  EXPECT_EQ(target.body.horizontal.TimeOf(19), end);
}

TEST(CaptureLoop, ClosesOnTheFirstFrameInAllParts) {
  const BodyScene body({2, 2, true, 1});
  const DenseMotion open = Fitted(body.scene);
  for (const int over : {1, 10, 1000}) {
    DenseSettings settings;
    settings.loopFrames = over;
    const DenseMotion loop = Fitted(body.scene, settings);
    const int last = static_cast<int>(loop.captured.poses.size()) - 1;
    const MotionCore first = PosedAt(loop, 0), end = PosedAt(loop, last);
    for (const auto& [id, link] :
         {std::pair{kPelvis, 0}, {kHead, 0}, {kLeftArm, 3}, {kRightLeg, 2}, {kLeftFingers, 1}}) {
      const Matrix3 a = LinkFrame(first, id, link), b = LinkFrame(end, id, link);
      EXPECT_LT(Length(a.Origin() - b.Origin()), 0.02f) << over << " " << id;
      EXPECT_LT(Length(a.row[0] - b.row[0]), 1e-3f) << over << " " << id;
    }
    const int untouched = std::max(last - over, 0);
    const JointPlaces a = PlacesOfFigure(PosedAt(open, untouched));
    const JointPlaces b = PlacesOfFigure(PosedAt(loop, untouched));
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      EXPECT_LT(Length(a.place[i] - b.place[i]), 1e-3f) << over;
    }
  }
}

TEST(CaptureLoop, GoesOnThroughTheSeamAsFastAsTheTake) {
  // Every joint swings once in 38 frames, so that frame 38 is the first again but for a drift.
  for (const float drift : {0.0f, 0.03f}) {
    BodyPlan plan;
    plan.frames = 39;
    BodyScene body(plan);
    for (const int id : body.scene.jointOrder) {
      JointRecord& joint = body.scene.joints[static_cast<std::size_t>(id)];
      for (int f = 0; f < plan.frames; ++f) {
        const float swing = 25 * std::sin(2 * kPi * static_cast<float>(f + id) / 38);
        const float turn = swing + drift * static_cast<float>(f);
        joint.rotations.samples[static_cast<std::size_t>(f)] = {turn, 0.3f * turn, 0.2f * turn};
        if (id != kHipsJoint) continue;
        joint.positions.samples[static_cast<std::size_t>(f)] = {swing, 0,
                                                                10 * drift * static_cast<float>(f)};
      }
    }
    const DenseMotion open = Fitted(body.scene);
    DenseSettings settings;
    settings.loopFrames = 20;
    const DenseMotion loop = Fitted(body.scene, settings);
    const auto places = [](const DenseMotion& dense, int frame) {
      return PlacesOfFigure(PosedAt(dense, frame));
    };
    const JointPlaces first = places(loop, 0), ends = places(loop, 38), before = places(loop, 37);
    const JointPlaces took = places(open, 38), tookBefore = places(open, 37);
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      const Point3 way = ends.place[i] - before.place[i];
      const Point3 takesWay = took.place[i] - tookBefore.place[i];
      EXPECT_LT(Length(ends.place[i] - first.place[i]), 0.02f) << drift << " " << i;
      EXPECT_GT(Length(takesWay), 1) << i;
      // The last of twenty frames adds 0.7 % of what is missing, and all of it turns the way.
      const float most = drift > 0 ? 0.1f + 0.15f * Length(takesWay) : 0.02f;
      EXPECT_LT(Length(way - takesWay), most) << i;
    }
    for (int f = 0; f <= 18; ++f) {
      const JointPlaces a = places(open, f), b = places(loop, f);
      for (int i = 0; i < JointPlaces::kCount; ++i) {
        EXPECT_EQ(Length(a.place[i] - b.place[i]), 0) << f;
      }
    }
  }
}

TEST(CaptureLoop, BendsNoKneeTheWrongWay) {
  MotionCore figure = Fitted(BodyScene({}).scene).talent.figure;
  const auto with = [&](float hinge) {
    MotionCore core = figure;
    core.leg[kLeft].pose.jointAngles[kHinge] = hinge;
    return core;
  };
  const struct {
    float from, to, now, share, then;
  } rows[] = {{2.5f, 3, 2, 1, 2.5f},      // half a radian straighter
              {2.5f, 3, 2, 0.5f, 2.25f},  // half of it
              {2, 3, 3, 1, kPi},          // no further than straight
              {2, 3, 3.2f, 1, 3.2f},      // a take's own overstretch stays
              {3, 2, 0.5f, 1, 0}};
  for (const auto& row : rows) {
    MotionCore moved = with(row.now);
    AddDifference(moved, with(row.from), with(row.to), row.share);
    EXPECT_NEAR(moved.leg[kLeft].pose.jointAngles[kHinge], row.then, 1e-5f) << row.now;
  }
}

TEST(CaptureLoop, IsNotJudgedByFramesThatItBends) {
  const BodyScene body({2, 2, true, 1});
  DenseSettings settings;
  settings.loopFrames = 20;
  const DenseMotion loop = Fitted(body.scene, settings);
  const FitError open = Fitted(body.scene).fit;
  EXPECT_EQ(loop.judged.size(), 20u);
  EXPECT_LT(loop.fit.most, open.most + 1e-6);
  EXPECT_LT(MeasureFit(loop, loop.motion, {}).most, 0.04);
}

TEST(PoseAdjustment, TurnsThePartsThatThePoseHasOtherwiseAndNoOthers) {
  const BodyScene body({2, 2, false, 0, false, 25});
  const DenseMotion plain = Fitted(body.scene);
  MotionCore pose = PoseInReference(plain, {});
  DenseSettings settings;
  settings.pose = &pose;
  const DenseMotion same = Fitted(body.scene, settings);
  for (const int frame : {0, 11, 39}) {
    const JointPlaces a = PlacesOfFigure(PosedAt(plain, frame));
    const JointPlaces b = PlacesOfFigure(PosedAt(same, frame));
    for (int i = 0; i < JointPlaces::kCount; ++i) {
      EXPECT_LT(Length(a.place[i] - b.place[i]), 1e-3f) << i;
    }
  }

  // The head nods by a tenth of a turn; one elbow is straighter.
  const Quat nod = AboutZ(0.2f * kPi);
  Quat& head = pose.head.table.keys[0].chain.rotation[pose.neck.numLinks];
  head = head * nod;
  pose.arm[kLeft].table.keys[0].jointAngles[kHinge] += 0.3f;
  RefreshTracks(pose);
  const DenseMotion turned = Fitted(body.scene, settings);
  // What was asked for is no error.
  EXPECT_LT(MeasureFit(turned, turned.motion, {}).most, 0.04);
  for (const int frame : {0, 11, 39}) {
    const MotionCore a = PosedAt(plain, frame), b = PosedAt(turned, frame);
    EXPECT_GT(std::fabs(Dot(RotationOf(a.head.frame) * nod, RotationOf(b.head.frame))), 0.9999f);
    EXPECT_NEAR(b.arm[kLeft].pose.jointAngles[kHinge], a.arm[kLeft].pose.jointAngles[kHinge] + 0.3f,
                1e-3f);
    EXPECT_NEAR(b.arm[kRight].pose.jointAngles[kHinge], a.arm[kRight].pose.jointAngles[kHinge],
                1e-4f);
    EXPECT_LT(Length(a.leg[kRight].frame[2].Origin() - b.leg[kRight].frame[2].Origin()), 1e-3f);
  }
}

TEST(PoseAdjustment, TurnsAFootThatStaysAsItIsOnceAndNotWithEachFrame) {
  const BodyScene body({2, 2, false, 0, false, 25});
  DenseSettings settings;
  settings.orientation.foot = PlaneSource::kAsStands;
  MotionCore pose = PoseInReference(Fitted(body.scene, settings), settings);
  Quat& foot = pose.leg[kRight].table.keys[0].endRotation;
  foot = Normalized(foot * AboutZ(0.1f));
  RefreshTracks(pose);
  settings.pose = &pose;
  const DenseMotion dense = Fitted(body.scene, settings);
  const Quat first = PosedAt(dense, 0).leg[kRight].pose.endRotation;
  EXPECT_GT(std::fabs(Dot(first, PosedAt(dense, 39).leg[kRight].pose.endRotation)), 0.9999f);
}

}  // namespace
}  // namespace strider
