#include "strider/capture/key_reduction.h"

#include "strider/capture/capture_report.h"
#include "strider/capture/dense_motion.h"
#include "strider/capture/name_sets.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/capture/take_fixture.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;

/// Rows of which only one does something.
struct Rows {
  KeyReductionTable row;
  Rows() {
    for (KeyReductionRow& each : row) each.filter = 0;
  }
  static Rows Default() {
    Rows rows;
    for (KeyReductionRow& each : rows.row) each = {1, 6, 3};
    rows.row[kReduceAll] = {0, 0, 3};
    rows.row[kReduceHorizontal] = rows.row[kReduceTurn] = {1, 1, 3};
    rows.row[kReduceVertical] = {1, 1, 4};
    return rows;
  }
};

std::vector<int> FramesOfKeys(const KeyTrack& track) {
  std::vector<int> frames;
  for (const KeyTimeRecord& record : track.times) frames.push_back(record.time / kFrame);
  return frames;
}

MotionCore WithTurns(const std::vector<int>& frames) {
  MotionCore core = MakeFigure();
  for (const int frame : frames) {
    TurnKey key;
    key.rotation = AboutY(0.1f * static_cast<float>(frame));
    EXPECT_EQ(PutKey(core, frame * kFrame, key), KeyRefusal::kNone);
  }
  return core;
}

TEST(KeyReduction, SpacingEndsAndRange) {
  using Frames = std::vector<int>;
  const Frames tenKeys{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  struct Case {
    const char* what;
    Frames keys;
    float tolerance;
    int spacing;
    std::optional<Interval> range;  // frames
    Frames kept;
  };
  const Case cases[] = {
      {"three frames from both, spacing 3", {0, 3, 6}, 1, 3, {}, {0, 3, 6}},
      {"three frames from both, spacing 4", {0, 3, 6}, 1, 4, {}, {0, 6}},
      {"too near to the end", {0, 3, 5}, 1, 3, {}, {0, 5}},
      {"counted from the key kept before", tenKeys, 1, 3, {}, {0, 3, 6, 9}},
      {"wider than the track", tenKeys, 1, 20, {}, {0, 9}},
      {"no tolerance", tenKeys, 0, 3, {}, tenKeys},
      {"one key", {4}, 1, 3, {}, {4}},
      {"two keys", {4, 5}, 1, 3, {}, {4, 5}},
      {"a range on keys", tenKeys, 1, 9, Interval{2, 6}, {0, 1, 2, 6, 7, 8, 9}},
      {"a range past both ends", tenKeys, 1, 9, Interval{-5, 50}, {0, 9}},
      {"a range from the last key on", tenKeys, 1, 9, Interval{9, 20}, tenKeys},
      {"a range before the first key", tenKeys, 1, 9, Interval{-9, -1}, tenKeys},
      {"a range between keys", {0, 2, 4, 6, 8, 10}, 1, 9, Interval{3, 7}, {0, 2, 8, 10}},
  };
  for (const Case& c : cases) {
    MotionCore core = WithTurns(c.keys);
    std::optional<Interval> range = c.range;
    if (range) range = {range->start * kFrame, range->end * kFrame};
    TrackReduction report;
    const ReductionSamples samples = SampleForReduction(core, {});
    ASSERT_EQ(ReduceTrack(core, kTurn, {1, c.tolerance, c.spacing}, samples, range, report), kDone);
    EXPECT_EQ(FramesOfKeys(core.body.turn.track), c.kept) << c.what;
    EXPECT_EQ(report.keysBefore, static_cast<int>(c.keys.size())) << c.what;
    EXPECT_EQ(report.keysAfter, static_cast<int>(c.kept.size())) << c.what;
    EXPECT_TRUE(CheckTrack(core.body.turn.track)) << c.what;
  }
}

TEST(KeyReduction, TurnTestComparesTheWaysOfTheTwoLeadAxes) {
  // The second way at an angle to the first whose cosine is given, on one row.
  const auto turns = [](int row, float cosine, float first = 1, float second = 1) {
    Matrix3 a, b, c;
    b.row[row] = a.row[row] + Point3{first, 0, 0};
    c.row[row] = b.row[row] + second * Point3{cosine, std::sqrt(1 - cosine * cosine), 0};
    return TurnTest(a, b, c);
  };
  EXPECT_TRUE(turns(0, -1));
  EXPECT_TRUE(turns(1, -0.31f));
  EXPECT_TRUE(turns(0, -0.31f, 0.01f, 5));
  EXPECT_FALSE(turns(0, -0.29f));
  EXPECT_FALSE(turns(1, 0.5f));
  EXPECT_FALSE(turns(2, -1));
  EXPECT_FALSE(turns(0, -1, 0));
  EXPECT_FALSE(turns(0, -1, 1, 0));

  // A far point three frames wide counts, one that is back after a frame does not.
  const auto swing = [](std::initializer_list<float> places) {
    SampleWindow<Point3> window;
    std::size_t i = 0;
    for (const float place : places) window[i++] = {place, 0, 0};
    return LimbTest(window);
  };
  EXPECT_TRUE(swing({0, 1, 2, 3, 2, 1, 0}));
  EXPECT_FALSE(swing({0, 1, 2, 3, 2, 3, 4}));
  EXPECT_FALSE(swing({0, 1, 2, 3, 4, 5, 6}));
}

TEST(KeyReduction, FiltersAndTheRowOfAllTracks) {
  const auto dense = [] {
    MotionCore core = MakeFigure();
    Random random(3);
    std::vector<TimeValue> times;
    for (int i = 0; i < 20; ++i) times.push_back(i * kFrame);
    KeyAllTracks(core, random, times);
    SetFreeForm(core, true);
    RefreshTracks(core);
    return core;
  };
  MotionCore off = dense(), one = dense(), all = dense();
  ReductionReport report;
  ASSERT_EQ(ReduceKeys(off, Rows().row, {}, {}, report), kDone);
  EXPECT_EQ(report.KeysBefore(), report.KeysAfter());

  Rows rows;
  rows.row[kReducePelvis] = {1, 1000, 50};
  ASSERT_EQ(ReduceKeys(one, rows.row, {}, {}, report), kDone);
  EXPECT_EQ(one.pelvis.table.track.numKeys, 2);
  EXPECT_EQ(report.KeysBefore() - report.KeysAfter(), 18);

  // Then all but the ends go, whatever the rows of their own say.
  rows.row[kReduceAll] = {1, 1000, 50};
  rows.row[kReducePelvis] = {0, 0, 0};
  rows.row[kReduceTurn] = {1, 0, 0};
  ASSERT_EQ(ReduceKeys(all, rows.row, {}, {}, report), kDone);
  EXPECT_EQ(all.pelvis.table.track.numKeys, 2);
  EXPECT_EQ(all.body.turn.track.numKeys, 2);
  EXPECT_EQ(all.body.vertical.track.numKeys, 2);
  EXPECT_EQ(all.spine.table.track.numKeys, 2);
}

/// Smooth or rough turns of pelvis, spine, head, tail and arms, a key a frame.
MotionCore RandomMotion(Random& random, int frames, float roughness) {
  Structure structure;
  structure.tailLinks = 3;
  MotionCore core = MakeFigure(structure);
  struct Wave {
    Point3 axis;
    float size, speed, phase;
  };
  std::vector<Wave> waves;
  for (int i = 0; i < 24; ++i) {
    waves.push_back({random.Direction(), random.Between(0.1f, 0.6f), random.Between(0.05f, 0.4f),
                     random.Between(0, kTwoPi)});
  }
  for (int f = 0; f < frames; ++f) {
    const TimeValue t = f * kFrame;
    std::size_t next = 0;
    const auto turn = [&] {
      const Wave& wave = waves[next++ % waves.size()];
      const float angle = wave.size * Sin(wave.speed * static_cast<float>(f) + wave.phase);
      const Quat rough = random.SmallTurn(roughness);
      return AngleAxis(angle, wave.axis) * rough;
    };
    PelvisKey pelvis;
    pelvis.rotation = turn();
    EXPECT_EQ(PutKey(core, t, pelvis), KeyRefusal::kNone);
    for (const int id : {kSpine, kTail}) {
      ChainKey key;
      for (Quat& rotation : key.rotation) rotation = turn();
      EXPECT_EQ(PutKey(core, id, t, key), KeyRefusal::kNone);
    }
    HeadKey head;
    for (Quat& rotation : head.chain.rotation) rotation = turn();
    EXPECT_EQ(PutKey(core, t, head), KeyRefusal::kNone);
    for (const int id : {kRightArm, kLeftLeg}) {
      LimbKey key = FindLimb(core, id)->rest;
      SetKeyKind(key, kFreeKey);
      key.limbRotation = turn();
      key.endRotation = turn();
      key.jointAngles[kHinge] = 2 + 0.7f * Sin(0.2f * static_cast<float>(f));
      EXPECT_EQ(PutKey(core, id, t, key), KeyRefusal::kNone);
    }
    VerticalKey vertical;
    vertical.height = 90 + 5 * Sin(0.3f * static_cast<float>(f)) + random.Between(0, roughness);
    EXPECT_EQ(PutKey(core, t, vertical), KeyRefusal::kNone);
  }
  RefreshTracks(core);
  return core;
}

/// How far the poses of two cores are apart at a time: the largest angle that a section's links
/// point or turn apart against the section's start (degrees), and the body's height.
struct Apart {
  float degrees = 0, height = 0;
};
Apart PosesApart(MotionCore& a, MotionCore& b, TimeValue t) {
  Evaluate(a, t);
  Evaluate(b, t);
  Apart apart;
  const auto angle = [&apart](const Quat& p, const Quat& q) {
    apart.degrees = std::max(apart.degrees, RadiansToDegrees(AngleBetween(p, q)));
  };
  angle(a.pelvis.pose, b.pelvis.pose);
  const auto chain = [&](const ChainRecord& p, const ChainRecord& q, bool apartLinks) {
    Quat turnP, turnQ;
    for (int k = 0; k < p.numLinks; ++k) {
      turnP = apartLinks ? p.pose[k] : turnP * p.pose[k];
      turnQ = apartLinks ? q.pose[k] : turnQ * q.pose[k];
      angle(turnP, turnQ);
    }
  };
  chain(a.spine, b.spine, false);
  chain(a.neck, b.neck, false);
  chain(a.tail, b.tail, true);  // separate by default: each link is thinned by itself
  const auto limb = [&](LimbRecord& p, LimbRecord& q) {
    const LimbShape shapeP = ShapeOfPose(p), shapeQ = ShapeOfPose(q);
    const auto direction = [&](const Quat& x, const Quat& y) {
      const Point3 along{1, 0, 0};
      apart.degrees =
          std::max(apart.degrees, RadiansToDegrees(Acos(Dot(Rotate(x, along), Rotate(y, along)))));
    };
    direction(p.pose.limbRotation, q.pose.limbRotation);
    direction(shapeP.lowerRotation, shapeQ.lowerRotation);
    // Of hand and foot the turn against the limb or the one against the base.
    const float own = AngleBetween(p.pose.endRotation, q.pose.endRotation);
    const float whole = AngleBetween(shapeP.lastRotation * p.pose.endRotation,
                                     shapeQ.lastRotation * q.pose.endRotation);
    apart.degrees = std::max(apart.degrees, RadiansToDegrees(std::min(own, whole)));
  };
  limb(a.arm[kRight], b.arm[kRight]);
  limb(a.leg[kLeft], b.leg[kLeft]);
  apart.height = std::fabs(a.body.keyedHeight - b.body.keyedHeight);
  return apart;
}

TEST(KeyReduction, CurvesStayWithinTheToleranceOfEveryFrame) {
  Random random(11);
  constexpr int kFrames = 240;
  for (const float roughness : {0.0f, 0.05f}) {
    for (const float tolerance : {1.0f, 6.0f, 15.0f}) {
      MotionCore dense = RandomMotion(random, kFrames, roughness), thin = dense;
      Rows rows;
      rows.row[kReduceAll] = {1, tolerance, 1};  // every frame may have a key
      ReductionReport report;
      ASSERT_EQ(ReduceKeys(thin, rows.row, {}, {}, report), kDone);
      Apart most;
      for (int f = 0; f < kFrames; ++f) {
        const Apart apart = PosesApart(dense, thin, f * kFrame);
        most.degrees = std::max(most.degrees, apart.degrees);
        most.height = std::max(most.height, apart.height);
      }
      SCOPED_TRACE(tolerance);
      EXPECT_LE(most.degrees, tolerance * 1.01f + 0.05f);
      EXPECT_LE(most.height, tolerance * 1.01f);
      for (const TrackReduction& track : report.tracks) {
        EXPECT_LE(track.largestDeviation, tolerance * 1.01f) << track.id;
      }
      if (roughness == 0 && tolerance >= 6) {
        EXPECT_LT(report.KeysAfter() * 3, report.KeysBefore());
      }
      ForEachTable(thin,
                   [](int id, const auto& table) { EXPECT_TRUE(CheckTrack(table.track)) << id; });
    }
  }
}

TEST(KeyReduction, LinksWithKeysOfTheirOwnAreThinnedApart) {
  MotionCore core = MakeFigure();
  ASSERT_EQ(SetSeparateTracks(core, kSpine, true), kDone);
  for (int f = 0; f < 61; ++f) {
    ChainKey key;
    key.rotation[1] = AboutZ(0.5f * Sin(0.3f * static_cast<float>(f)));
    ASSERT_EQ(PutKey(core, kSpine, f * kFrame, key), KeyRefusal::kNone);
  }
  TrackReduction report;
  const ReductionSamples samples = SampleForReduction(core, {});
  ASSERT_EQ(ReduceTrack(core, kSpine, {1, 6, 3}, samples, {}, report), kDone);
  const KeyTrack& track = core.spine.table.track;
  int keysOf[2] = {};
  for (const KeyTimeRecord& record : track.times) {
    for (int link = 0; link < 2; ++link) keysOf[link] += record.linkMask >> link & 1;
  }
  EXPECT_LT(keysOf[1], 21);
  EXPECT_GT(keysOf[1], 6);  // three waves
  EXPECT_EQ(keysOf[0], 2);
  EXPECT_EQ(track.numKeys, keysOf[1]);
  EXPECT_TRUE(CheckTrack(track));
}

/// Before and after.
std::pair<int, int> KeysOfLimbs(const ReductionReport& report) {
  std::pair<int, int> keys;
  for (const TrackReduction& track : report.tracks) {
    const BodyPart* part = FindBodyPart(track.id);
    if (part->kind != PartKind::kArm && part->kind != PartKind::kLeg) continue;
    keys.first += track.keysBefore;
    keys.second += track.keysAfter;
  }
  return keys;
}

/// Whether the legs are on the ground at each frame.
std::vector<bool> Contacts(MotionCore core, const std::vector<TimeValue>& times) {
  std::vector<bool> contacts;
  for (const TimeValue t : times) {
    Evaluate(core, t);
    for (const LimbRecord& leg : core.leg) contacts.push_back(leg.keyState < kMove);
  }
  return contacts;
}

TEST(KeyReduction, DenseWalksKeepTheirContactsAndPlaces) {
  for (const bool freeForm : {false, true}) {
    MotionCore dense = MakeSample(SampleMotion::kWalk, 180);
    const Interval range = MotionRange(dense);
    const std::vector<TimeValue> times = FramesBetween(dense, range.start, range.end);
    ASSERT_EQ(BakeKeys(dense, times, true, {}), kDone);
    if (freeForm) {
      // The same poses without footsteps: no foot is held by anything.
      for (LimbRecord& leg : dense.leg) {
        for (LimbKey& key : leg.table.keys) SetKeyKind(key, kFreeKey);
      }
      SetFreeForm(dense, true);
    }
    MotionCore thin = dense;
    ReductionReport report;
    ASSERT_EQ(ReduceKeys(thin, Rows::Default().row, {}, {}, report), kDone);
    const auto [before, after] = KeysOfLimbs(report);
    EXPECT_LT(after * 5, before);
    EXPECT_EQ(Contacts(dense, times), Contacts(thin, times));

    const float leg = dense.leg[kRight].totalLength;
    const int links[][2] = {{kPelvis, 0},   {kHead, 0},    {kRightLeg, 1}, {kRightLeg, 2},
                            {kLeftLeg, 1},  {kLeftLeg, 2}, {kRightArm, 1}, {kRightArm, 2},
                            {kRightArm, 3}, {kLeftArm, 1}, {kLeftArm, 2},  {kLeftArm, 3}};
    float sum = 0;
    int count = 0;
    for (const TimeValue t : times) {
      Evaluate(dense, t);
      Evaluate(thin, t);
      for (const auto& [id, link] : links) {
        sum += Distance(LinkFrame(dense, id, link).row[3], LinkFrame(thin, id, link).row[3]);
        ++count;
      }
    }
    EXPECT_LT(sum / static_cast<float>(count), 0.03f * leg) << freeForm;
  }
}

/// A take with a key of every part at each of its 30 frames a second, in centimetres.
MotionCore DenseTake(const std::string& name, float& legLength) {
  const std::string text = ReadFile(TakePath(name));
  const NameGuess guess = GuessNameSet(JointNamesOfBvh(text));
  BvhSettings settings;
  settings.names = &guess.table;
  DenseMotion dense;
  for (int pass = 0; pass < 2; ++pass) {
    CaptureScene scene;
    CaptureReport report;
    EXPECT_EQ(ReadText(scene, text, report, settings), 1) << report.message;
    DenseSettings how;
    how.frames.first = 1;  // the one before is a pose to fit by
    std::string cause;
    EXPECT_EQ(MakeDenseMotion(scene, how, dense, cause), kDone) << cause;
    settings.scaleFactor *= 85 / dense.legLength;
  }
  legLength = dense.legLength;
  return dense.motion;
}

TEST(KeyReduction, TakesKeepAFifthOfTheirLimbKeysAndTheirPlaces) {
  for (const char* name : {"walk_cmu_06_01.bvh", "walk_cmu_02_01.bvh", "jump_cmu_13_39.bvh"}) {
    SCOPED_TRACE(name);
    float leg = 0;
    MotionCore dense = DenseTake(name, leg), thin = dense;
    ReductionReport report;
    ASSERT_EQ(ReduceKeys(thin, Rows::Default().row, {}, {}, report), kDone);
    const auto [before, after] = KeysOfLimbs(report);
    EXPECT_LT(after * 5, before);
    double sum = 0;
    int count = 0;
    for (const KeyTimeRecord& record : dense.pelvis.table.track.times) {
      Evaluate(dense, record.time);
      Evaluate(thin, record.time);
      const JointPlaces was = PlacesOfFigure(dense), is = PlacesOfFigure(thin);
      for (int i = 0; i < JointPlaces::kCount; ++i, ++count) {
        sum += Distance(was.place[i], is.place[i]);
      }
    }
    EXPECT_LT(sum / count, 0.02 * leg);
  }
}

}  // namespace
}  // namespace strider::test
