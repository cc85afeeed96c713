#include "strider/core/evaluate.h"

#include <functional>
#include <limits>
#include <set>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AddFootsteps;
using test::AllTransforms;
using test::Distance;
using test::Evaluate;
using test::FullStructure;
using test::KeyAllTracks;
using test::MakeFigure;
using test::Random;
using test::RandomStructure;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kHuge = std::numeric_limits<float>::max();

MotionCore Moving(const Structure& structure, unsigned seed,
                  const std::vector<TimeValue>& times = {0, 1600, 2400, 4800, 8000}) {
  Random random(seed);
  MotionCore core = MakeFigure(structure);
  KeyAllTracks(core, random, times);
  return core;
}

void MarkAllDirty(MotionCore& core) {
  for (int id : {kVertical, kHorizontal, kTurn, kPelvis, kHead, kSpine, kTail, kPony1, kPony2,
                 kLeftArm, kRightArm, kLeftLeg, kRightLeg, kProp1, kProp2, kProp3}) {
    KeyTrack* track = FindTrack(core, id);
    if (track && track->numKeys > 0) MarkDirty(*track, 0, track->numKeys - 1);
  }
}

// --- What is handed out ----------------------------------------------------------------------

TEST(CoreLinkTransform, MirrorsJustTheListedLinks) {
  Random random(81);
  for (int legLinks : {3, 4}) {
    Structure s = FullStructure();
    s.legLinks = legLinks;
    MotionCore core = MakeFigure(s);
    test::BendFigure(core, random);
    std::set<std::pair<int, int>> mirrored = {
        {kLeftArm, 0}, {kRightArm, 1}, {kRightArm, 2}, {kRightArm, 3}};
    for (int k = 0; k + 1 < legLinks; ++k) mirrored.insert({kRightLeg, k});
    for (int k = 0; k < 15; ++k) mirrored.insert({{kRightFingers, k}, {kRightToes, k}});
    for (const NodeInfo& node : BuildNodeTree(core)) {
      SCOPED_TRACE(node.name);
      Matrix3 handed;
      CoreLinkTransform(core, node.id, node.link, handed);
      const Matrix3 own = UnmirroredLinkTransform(core, node.id, node.link);
      const bool flipped = mirrored.count({node.id, node.link}) > 0;
      ASSERT_TRUE(test::RightHanded(own));
      ASSERT_EQ(test::RightHanded(handed), !flipped);
      ASSERT_EQ(IsMirroredLink(core, node.id, node.link), flipped);
      Matrix3 back = handed;
      if (flipped) back.row[2] = -back.row[2];
      ASSERT_EQ(back, own);
    }
  }
}

TEST(CoreLinkTransform, StandsUprightInTheHostsSpace) {
  const MotionCore core = MakeFigure();
  const auto at = [&](int id, int link) {
    Matrix3 m;
    CoreLinkTransform(core, id, link, m);
    return m;
  };
  // Ahead is the host's X, left its Y, up its Z.
  EXPECT_GT(at(kLeftArm, 1).Origin().y, 5);
  EXPECT_LT(at(kRightArm, 1).Origin().y, -5);
  EXPECT_GT(at(kHead, 0).Origin().z, at(kPelvis, 0).Origin().z);
  EXPECT_LT(Distance(at(kHead, 0).row[1], {-1, 0, 0}), 1e-4f) << "the face looks ahead";
  EXPECT_LT(Distance(at(kLeftLeg, 2).row[0], {0, 0, -1}), 1e-4f) << "a foot's X goes to the sole";
  EXPECT_LT(Distance(at(kLeftLeg, 2).row[1], {1, 0, 0}), 1e-4f) << "and its Y to the toes";
  // The centre of mass answers three ids; the footprints lie flat under it.
  EXPECT_EQ(at(kVertical, 0), at(kHorizontal, 0));
  EXPECT_EQ(at(kTurn, 0), at(kHorizontal, 0));
  const Matrix3 prints = at(kFootprints, 0);
  EXPECT_NEAR(prints.Origin().z, 0, 1e-4f);
  EXPECT_EQ(prints.row[2], (Point3{0, 0, 1}));
}

TEST(CoreLinkTransform, FootprintsOfAFreeFigureLieUnderItsLowerFoot) {
  MotionCore core = MakeFigure();
  PlaceFigure(core, {30, 12, -7}, 1);
  Evaluate(core, 0);
  EXPECT_NEAR(LinkFrame(core, kFootprints, 0).Origin().y, 12, 1e-3);
  LimbKey raised = core.leg[kRight].rest;
  raised.limbRotation = AboutZ(0.9f) * raised.limbRotation;
  ASSERT_EQ(PutKey(core, kRightLeg, 0, raised), KeyRefusal::kNone);
  Evaluate(core, 0);
  EXPECT_NEAR(LinkFrame(core, kFootprints, 0).Origin().y, 12, 1e-3) << "one leg raised";
  ASSERT_EQ(PutKey(core, kLeftLeg, 0, raised), KeyRefusal::kNone);
  Evaluate(core, 0);
  const float ankle = std::fmin(core.leg[0].frame[2].Origin().y, core.leg[1].frame[2].Origin().y);
  EXPECT_GT(ankle - core.leg[0].extremityHeight, 14);
  EXPECT_NEAR(LinkFrame(core, kFootprints, 0).Origin().y, ankle - core.leg[0].extremityHeight,
              1e-3);
}

TEST(CoreLinkTransform, AnswersTheIdentityForWhatDoesNotExist) {
  for (bool arms : {true, false}) {
    Structure s;
    s.fingers = s.fingerLinks = 3;
    s.shortThumb = true;
    s.arms = arms;
    const MotionCore core = MakeFigure(s);
    std::set<std::pair<int, int>> nodes = {{kVertical, 0}, {kTurn, 0}};
    for (const NodeInfo& node : BuildNodeTree(core)) nodes.insert({node.id, node.link});
    for (int id = -3; id < 620; ++id) {
      for (int link = -2; link < 80; ++link) {
        if (nodes.count({id, link})) continue;
        Matrix3 m = Translation({1, 2, 3});
        CoreLinkTransform(core, id, link, m);
        ASSERT_EQ(m, Matrix3{}) << id << " " << link;
        ASSERT_EQ(LinkDimensions(core, id, link), Point3{}) << id << " " << link;
      }
    }
  }
}

TEST(CoreLinkTransform, UnitShapesCarryTheLinksSizes) {
  MotionCore core = MakeFigure(FullStructure());
  const std::vector<Matrix3> plain = AllTransforms(core);
  core.unitShapeLinks = true;
  const std::vector<Matrix3> shaped = AllTransforms(core);
  std::size_t i = 0;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    SCOPED_TRACE(node.name);
    Point3 size;
    for (int k = 0; k < 3; ++k) {
      size[k] = Length(shaped[i].row[k]);
      ASSERT_LT(Distance(shaped[i].row[k], size[k] * plain[i].row[k]), 1e-4f * size[k]);
    }
    ASSERT_EQ(shaped[i].Origin(), plain[i].Origin());
    const float scale = core.figureScale;
    if (node.id == kPelvis) {
      ASSERT_LT(Distance(size, scale * Point3{50, 50, 40}), 1e-3f);  // depth, width, hip to hip
    } else if (node.id == kHorizontal || node.id == kFootprints) {
      ASSERT_LT(Distance(size, scale * Point3{1, 1, 1}), 1e-4f);
    } else if (const Point3 own = LinkDimensions(core, node.id, node.link); own != Point3{}) {
      ASSERT_LT(Distance(size, own), 1e-3f);
    }
    ++i;
  }
}

TEST(CoreLinkTransform, TwistLinksLieEvenlyAlongTheirSegment) {
  Random random(82);
  Structure s = FullStructure();
  for (int& links : s.twistLinks) links = 4;
  MotionCore core = MakeFigure(s);
  test::BendFigure(core, random);
  for (int id = kLeftForearmTwist; id <= kRightHorseTwist; ++id) {
    const TwistSegment segment = TwistSegmentOf(id);
    const Matrix3 bone = LinkFrame(core, segment.limbId, segment.limbLink);
    const float length = LinkDimensions(core, segment.limbId, segment.limbLink).x;
    for (int k = 0; k < 4; ++k) {
      SCOPED_TRACE(testing::Message() << id << " " << k);
      const Matrix3 twist = LinkFrame(core, id, k);
      const float along = 0.25f * static_cast<float>(k) * length;
      EXPECT_LT(Distance(twist.Origin(), Point3{along, 0, 0} * bone), 1e-3f);
      EXPECT_EQ(twist.row[0], bone.row[0]);
    }
  }
}

// --- Poses -------------------------------------------------------------------------------------

// In any pose: frames are square, and every bone ends where its child starts.
TEST(CoreForwardKinematics, KeepsBonesTogetherInAnyPose) {
  Random random(83);
  for (int i = 0; i < 60; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = MakeFigure(RandomStructure(random));
    test::BendFigure(core, random);
    const float close = 2e-5f * core.structure.height;
    for (const NodeInfo& node : BuildNodeTree(core)) {
      SCOPED_TRACE(node.name);
      const Matrix3 frame = LinkFrame(core, node.id, node.link);
      ASSERT_LT(test::OffSquare(frame), 2e-5f);
      if (node.parentId != node.id) continue;
      const Matrix3 parent = LinkFrame(core, node.parentId, node.parentLink);
      const float length = LinkDimensions(core, node.parentId, node.parentLink).x;
      ASSERT_LT(Distance(frame.Origin(), Point3{length, 0, 0} * parent), close);
    }
    // Hips keep their distance, the spine starts over the pelvis, the head ends the neck.
    const Matrix3 pelvis = core.pelvis.frame;
    ASSERT_NEAR(Distance(core.leg[0].frame[0].Origin(), core.leg[1].frame[0].Origin()),
                2 * core.pelvis.hipOffset, close);
    ASSERT_LT(Distance(core.leg[0].frame[0].Origin(), core.leg[0].baseOffset * pelvis), close);
    ASSERT_LT(Distance(core.spine.frame[0].Origin(), core.spine.baseOffset * pelvis), close);
    const int neck = core.neck.numLinks - 1;
    ASSERT_LT(Distance(core.head.frame.Origin(),
                       Point3{core.neck.dimensions[neck].x, 0, 0} * core.neck.frame[neck]),
              close);
  }
}

// The pose at a time is the keys' alone: what was asked before leaves no trace in it, not a bit.
TEST(CoreEvaluate, AnswersTheSameWhateverWasAskedBefore) {
  Structure plain;
  plain.prop1Exists = plain.prop2Exists = true;
  for (const Structure& structure : {plain, FullStructure()}) {
    for (bool footsteps : {false, true}) {
      for (bool tilt : {false, true}) {
        SCOPED_TRACE(testing::Message() << structure.legLinks << " links, footsteps " << footsteps);
        EvalContext context;
        context.tiltFourLinkSwivel = tilt;
        MotionCore fresh = Moving(structure, 84);
        for (int id : {kTail, kLeftFingers, kRightToes}) {
          if (NumLinks(fresh, id) == 0) continue;
          ASSERT_EQ(SetSeparateTracks(fresh, id, true), kDone);
        }
        if (footsteps) AddFootsteps(fresh, 0, 7000);
        const MotionCore start = fresh;
        MotionCore used = fresh;
        Random random(85);
        for (int i = 0; i < 60; ++i) {
          const TimeValue t = i % 5 == 0 ? 1600 * random.Int(-1, 6) : random.Int(-2000, 10000);
          SCOPED_TRACE(t);
          Evaluate(used, t, context);
          MotionCore once = start;
          Evaluate(once, t, context);
          ASSERT_EQ(AllTransforms(used), AllTransforms(once));
          CorePose(used, t + 40, context);
          CorePose(used, t, context);
          ASSERT_EQ(AllTransforms(used), AllTransforms(once)) << "pose and frames in one";
        }
      }
    }
  }
}

// What is derived from keys is refreshed where edits touched it, and that must be enough.
TEST(CoreEvaluate, AfterEditsAnswersAsIfAllWereDerivedAnew) {
  Random random(86);
  MotionCore edited = Moving(FullStructure(), 87);
  for (int i = 0; i < 20; ++i) {
    SCOPED_TRACE(i);
    for (int id : {kVertical, kHorizontal, kTurn, kPelvis, kHead, kSpine, kTail, kLeftArm,
                   kRightArm, kLeftLeg, kRightLeg, kProp1}) {
      const KeyTrack& track = *FindTrack(edited, id);
      if (track.numKeys < 2 || random.Int(0, 2) > 0) continue;
      const int key = random.Int(0, track.numKeys - 1);
      ASSERT_EQ(DeleteKeyAt(edited, id, track.times[static_cast<std::size_t>(key)].time),
                KeyRefusal::kNone);
    }
    KeyAllTracks(edited, random, {400 * random.Int(-1, 22)});
    MotionCore anew = edited;
    MarkAllDirty(anew);
    for (TimeValue t = -300; t < 9000; t += 371) {
      Evaluate(edited, t);
      Evaluate(anew, t);
      ASSERT_EQ(AllTransforms(edited), AllTransforms(anew)) << t;
    }
  }
}

TEST(CoreEvaluate, HoldsFootstepMotionsToTheirSpanAndWaitsForTheirMotion) {
  MotionCore core = Moving(Structure{}, 89);
  AddFootsteps(core, 1000, 5000);
  const auto at = [&](TimeValue t) {
    Evaluate(core, t);
    return AllTransforms(core);
  };
  EXPECT_EQ(at(-3000), at(1000));
  EXPECT_EQ(at(kTimeMin), at(1000));
  EXPECT_EQ(at(7777), at(5000));
  EXPECT_NE(at(1000), at(1500));

  // New footsteps whose motion nobody has made: the last pose stays.
  const std::vector<Matrix3> last = at(2000);
  core.footstepsPending = true;
  EXPECT_EQ(at(3000), last);
  core.bodyKeysComputed = true;
  EXPECT_NE(at(3000), last);

  // Neither footsteps nor free-form: a standing figure.
  core.footsteps = {};
  core.footsteps.freeForm = 0;
  EXPECT_EQ(at(4000), at(0));
  SetFreeForm(core, true);
  EXPECT_NE(at(4000), at(0));
}

TEST(CoreEvaluate, PlacesPropsInTheSpaceOfTheKeyBefore) {
  Structure s;
  s.prop1Exists = true;
  MotionCore core = MakeFigure(s);
  Random random(90);
  const Quat turn = random.Rotation();
  const Point3 place{3, -2, 5};
  const struct {
    int space;
    std::function<Matrix3(const MotionCore&)> frame;
  } rows[] = {
      {kWorldProp, [](const MotionCore&) { return Matrix3{}; }},
      {kBodyProp, [](const MotionCore& c) { return c.body.bodyMatrix; }},
      {kRightHandProp, [](const MotionCore& c) { return c.arm[kRight].frame[3]; }},
      {kLeftHandProp, [](const MotionCore& c) { return c.arm[kLeft].frame[3]; }},
  };
  KeyAllTracks(core, random, {0, 4000});
  core.props[0].table = {};
  ConfigureTracks(core);
  TimeValue t = 0;
  for (const auto& row : rows) {
    PropKey key;
    key.posSpace = key.rotSpace = row.space;
    for (Quat& rotation : key.rotation) rotation = turn;
    for (Point3& position : key.position) position = place;
    key.scale = {2, 1, 1};
    ASSERT_EQ(PutKey(core, kProp1, t, key), KeyRefusal::kNone);
    t += 1000;
  }
  for (int k = 0; k < 4; ++k) {
    for (TimeValue at : {1000 * k, 1000 * k + 999}) {
      SCOPED_TRACE(at);
      Evaluate(core, at);
      Matrix3 wanted = FrameOf(turn, place) * rows[k].frame(core);
      wanted.row[0] *= 2;
      const Matrix3 frame = LinkFrame(core, kProp1, 0);
      for (int i = 0; i < 4; ++i) EXPECT_LT(Distance(frame.row[i], wanted.row[i]), 1e-3f);
    }
  }
}

TEST(TakeStance, BringsBackTheFigureAsItWasLaidOut) {
  Structure s = FullStructure();
  MotionCore core = MakeFigure(s);
  const std::vector<Matrix3> stance = AllTransforms(core);
  Random random(91);
  KeyAllTracks(core, random, {0, 2000});
  Evaluate(core, 700);
  EXPECT_NE(AllTransforms(core), stance);
  TakeStance(core);
  CoreForwardKinematics(core);
  EXPECT_EQ(AllTransforms(core), stance) << "props included";
}

// --- Bad input ----------------------------------------------------------------------------------

TEST(CoreEvaluate, StaysFiniteAtTheEndsOfTime) {
  for (bool footsteps : {false, true}) {
    for (const std::vector<TimeValue>& keys : {std::vector<TimeValue>{kTimeMin, kTimeMax},
                                               {kTimeMin, 0, kTimeMax - 1, kTimeMax},
                                               {kTimeMax},
                                               {kTimeMin, kTimeMin + 1}}) {
      MotionCore core = Moving(FullStructure(), 92, keys);
      if (footsteps) {
        AddFootsteps(core, 0, kTimeMax);
        core.body.flights = {{0, kTimeMin, 0, 0, kTimeMax, 1, 1, 1},
                             {kTimeMax, kTimeMax - 1, 0, 1, kTimeMax, 1, 1, 1}};
      }
      for (TimeValue t : {kTimeMin, kTimeMin + 1, 0, kTimeMax - 1, kTimeMax}) {
        SCOPED_TRACE(t);
        Evaluate(core, t);
        ASSERT_TRUE(test::AllFinite(AllTransforms(core)));
      }
    }
  }
}

/// Calls use(value) for each float that a key of any track holds.
void ForEachKeyFloat(MotionCore& core, const std::function<void(float&)>& use) {
  const auto point = [&](Point3& p) { use(p.x), use(p.y), use(p.z); };
  const auto quat = [&](Quat& q) { use(q.x), use(q.y), use(q.z), use(q.w); };
  const auto chainKey = [&](ChainKey& key) {
    for (Point3& euler : key.euler) point(euler);
    for (Quat& rotation : key.rotation) quat(rotation);
  };
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    for (LimbKey& key : limb->table.keys) {
      for (float& angle : key.jointAngles) use(angle);
      for (Point3* p : {&key.bodyTarget, &key.objectTarget, &key.limbEuler, &key.pivotPosition,
                        &key.joinedPivotPosition, &key.endEuler}) {
        point(*p);
      }
      for (float* f : {&key.forwardBend, &key.clavicle[0], &key.clavicle[1], &key.ikBlend,
                       &key.ikAnkleTension}) {
        use(*f);
      }
      for (Quat* q : {&key.limbRotation, &key.endRotation, &key.spaceRotation}) quat(*q);
      for (DigitKey& digit : key.digits) {
        quat(digit.base);
        point(digit.baseEuler);
        for (Quat& link : digit.link) quat(link);
        for (Point3& euler : digit.linkEuler) point(euler);
        for (float& bend : digit.bend) use(bend);
      }
    }
  }
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.pony[0], &core.pony[1]}) {
    for (ChainKey& key : chain->table.keys) chainKey(key);
  }
  for (HeadKey& key : core.head.table.keys) {
    chainKey(key.chain);
    point(key.targetPosition);
    use(key.headBlend);
  }
  for (PelvisKey& key : core.pelvis.table.keys) quat(key.rotation);
  for (TurnKey& key : core.body.turn.keys) quat(key.rotation), point(key.euler);
  for (HorizontalKey& key : core.body.horizontal.keys) {
    point(key.position);
    use(key.balanceFactor);
  }
  for (VerticalKey& key : core.body.vertical.keys) {
    for (float* f : {&key.footReach[0], &key.footReach[1], &key.height, &key.ballisticHeight,
                     &key.ballisticTension, &key.dynamicsBlend}) {
      use(*f);
    }
  }
  for (PropRecord& prop : core.props) {
    for (PropKey& key : prop.table.keys) {
      for (Quat& rotation : key.rotation) quat(rotation);
      for (Point3& position : key.position) point(position);
      point(key.scale);
    }
  }
}

// A damaged file or a script may leave anything in a record.
TEST(CoreEvaluate, HandsOutFiniteFramesWhateverTheRecordsHold) {
  for (bool euler : {false, true}) {
    Structure s = FullStructure();
    s.legLinks = euler ? 3 : 4;
    s.fingers = s.toes = 2;
    MotionCore sound = Moving(s, 93, {0, 1600, 3200});
    AddFootsteps(sound, 0, 100000);
    sound.body.flights = {{0, 0, 0, 1600, 1600, 1, 0.1f, 0.1f}};
    sound.head.hasTarget = true;
    sound.head.targetPosition = {50, 80, 9};
    if (euler) {
      for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg, kSpine, kTail, kHead, kTurn}) {
        ASSERT_TRUE(SetEulerActive(sound, id, 3));
      }
    }
    Evaluate(sound, 0);
    // From every float to about one in all keys.
    Random random(94);
    const float pool[] = {kNan, kInf, -kInf, kHuge, -kHuge, 0, 1e-38f, 1e20f};
    for (int i = 0; i < 2000; ++i) {
      SCOPED_TRACE(i);
      MotionCore core = sound;
      const int oneIn = 1 << (i % 13);
      ForEachKeyFloat(core, [&](float& value) {
        if (random.Int(1, oneIn) == 1) value = pool[random.Int(0, 7)];
      });
      if (i / 13 % 2 == 0) MarkAllDirty(core);
      for (bool freeForm : {true, false}) {
        SetFreeForm(core, freeForm);
        for (TimeValue t : {0, 777, 1600, 2000}) {
          Evaluate(core, t);
          ASSERT_TRUE(test::AllFinite(AllTransforms(core))) << t;
        }
      }
    }
  }
}

}  // namespace
}  // namespace strider
