#include "strider/capture/talent.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "strider/capture/flat_feet.h"
#include "strider/capture/solve_pose.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/node_tree.h"

namespace strider {
namespace {

// Of the leg's length, hip to ankle. Segments shorter than the first are taken as none; the least
// that a link of a chain has; the foot's own shares are those of the figure of default proportions.
constexpr float kNoLength = 0.02f, kLeastLink = 0.03f;
constexpr float kAnkleHeight = 23.0f / 200, kToeSide = 29.0f / 200;
constexpr float kLowestAnkle = 0.05f, kHighestAnkle = 0.17f;
// A spine whose last joint has no way of its own up to the neck takes this share of it.
constexpr float kShareOfNeck = 0.25f;
// A first chest joint higher over the hips than this leaves a waist that the pelvis carries; the
// spine then starts at the height of the figure of default proportions.
constexpr float kWaist = 0.16f, kSpineBase = 23.0f / 200;
// Of the foot's width and height, for toes that turn as one; of the foot before them, for the
// length of toes that no joint turns.
constexpr float kToesWidth = 0.9f, kToesDepth = 0.3f, kStillToes = 0.3f;
// Of the height of the default head: an end that is lower is not the crown.
constexpr float kLowCrown = 0.8f;
// Of the forearm's length.
constexpr float kHandLength = 0.42f;
// Of a finger's link before.
constexpr float kFingerTip = 0.8f;
// A foot whose bone falls steeper than this, tangent, is posed on its toes in the reference.
constexpr float kSteepFoot = 1.7f;

/// The fitting of one figure: the reference in the body's own axes, X ahead, Y up, Z right, from
/// the middle of the hips.
class Fitting {
 public:
  Fitting(const CapturedMotion& motion, const TalentStructure& wanted, Talent& talent)
      : motion_(motion), wanted_(wanted), talent_(talent) {}

  bool Fit() {
    if (!Measure()) return false;
    PlanTrunk();
    LayOut();
    FitTrunk();
    for (const Side side : {kRight, kLeft}) FitLeg(side);
    FitHead();
    // The arms hang from the spine, which has to stand as the reference has it.
    SolveTrunk(talent_, motion_.reference, talent_.figure);
    if (talent_.figure.structure.arms) {
      for (const Side side : {kRight, kLeft}) FitArm(side);
    }
    return Settle();
  }

 private:
  bool Has(int joint) const { return motion_.present[static_cast<std::size_t>(joint)]; }
  const Frame& Reference(int joint) const {
    return motion_.reference[static_cast<std::size_t>(joint)];
  }
  /// A joint's place in the body's axes.
  Point3 Place(int joint) const {
    return Rotate(Conjugate(heading_), Reference(joint).origin - middle_);
  }
  /// The end that follows a joint, in the body's axes; the way from it.
  Point3 EndWay(int joint) const {
    const Point3& end = motion_.end[static_cast<std::size_t>(joint)];
    return Rotate(Conjugate(heading_) * Reference(joint).rotation, end);
  }
  /// From the joint's axes to those of a part that stands as `part` (body's axes).
  Quat TurnTo(int joint, const Quat& part) const {
    return Normalized(Conjugate(Reference(joint).rotation) * heading_ * part);
  }
  /// The stance's axes turned the least way that leads their X along `direction`.
  static Quat Along(const Quat& stance, const Point3& direction) {
    return ShortestTurn(Rotate(stance, {1, 0, 0}), direction) * stance;
  }

  bool Measure();
  void PlanTrunk();
  void LayOut();
  void FitTrunk();
  void FitChain(ChainRecord& chain, const std::vector<ChainLink>& links, float straight) const;
  void FitLeg(Side side);
  void FitFoot(LimbRecord& leg, int ankle, int toe);
  void FitHead();
  void FitArm(Side side);
  void FitHand(LimbRecord& arm, int wrist, const Quat& forearm);
  void FitFinger(LimbRecord& arm, int d, int chain, const Quat& hand, const Point3& wrist);
  void ListFingers();
  bool Settle();

  const CapturedMotion& motion_;
  const TalentStructure& wanted_;
  Talent& talent_;
  Quat heading_;
  Point3 middle_, spineBase_;
  float leg_ = 0;  // hip to ankle
  Quat upright_, legAxes_, armAxes_, footAxes_;
};

bool Fitting::Measure() {
  const CapturedPose& reference = motion_.reference;
  heading_ = RotationOf(HeadingFrame(reference));
  middle_ = HipsMiddle(reference);
  const auto way = [&](int a, int b) { return Length(Reference(a).origin - Reference(b).origin); };
  const float segments[] = {
      way(kLeftHipJoint, kLeftKneeJoint),         way(kRightHipJoint, kRightKneeJoint),
      way(kLeftKneeJoint, kLeftAnkleJoint),       way(kRightKneeJoint, kRightAnkleJoint),
      way(kLeftHipJoint, kRightHipJoint),         way(kLeftShoulderJoint, kLeftElbowJoint),
      way(kRightShoulderJoint, kRightElbowJoint), way(kLeftElbowJoint, kLeftWristJoint),
      way(kRightElbowJoint, kRightWristJoint)};
  leg_ = 0.5f * (segments[0] + segments[1] + segments[2] + segments[3]);
  if (!IsFinite(leg_) || !(leg_ > 1e-6f)) return false;
  for (const float segment : segments) {
    if (!(segment > kNoLength * leg_) || !IsFinite(segment)) return false;
  }
  return way(kHeadJoint, kHipsJoint) > kNoLength * leg_;
}

/// Which joint carries which link. The spine goes up to the joint that the collars hang from; what
/// follows it belongs to the neck, so that the shoulders do not nod with the head.
void Fitting::PlanTrunk() {
  const std::vector<int> chest = ChestJoints(motion_);
  std::size_t top = 0;
  for (const int collar : {kLeftCollarJoint, kRightCollarJoint}) {
    const int parent = motion_.parent[static_cast<std::size_t>(collar)];
    const auto at = std::find(chest.begin(), chest.end(), parent);
    if (at != chest.end()) top = std::max(top, static_cast<std::size_t>(at - chest.begin()));
    if (parent == kNeckJoint || parent == kHeadJoint) top = chest.size() - 1;
  }
  std::vector<int> joints = chest;
  joints.push_back(kNeckJoint);
  joints.push_back(kHeadJoint);
  const float none = kNoLength * leg_;
  spineBase_ = Place(joints[0]);
  if (Length(spineBase_) > kWaist * leg_ && top < 4) {
    const Point3 way = spineBase_;
    spineBase_ = (kSpineBase * leg_ / Length(way)) * way;
    talent_.spine.push_back({kHipsJoint, joints[0], {}, 0});
  }
  Point3 end = Place(joints[0]);
  const auto add = [&](std::vector<ChainLink>& chain, std::size_t i, bool needed) {
    const int joint = joints[i], next = joints[i + 1];
    const float length = Length(Place(next) - end);
    if (length > none) {
      chain.push_back({joint, next, {}, length});
      end = Place(next);
    } else if (needed) {
      const float rest = Length(Place(kNeckJoint) - end);
      chain.push_back({joint, kNoJoint, {}, std::max(kShareOfNeck * rest, kLeastLink * leg_)});
      end += Point3{0, chain.back().length, 0};
    }
  };
  for (std::size_t i = 0; i <= top; ++i) add(talent_.spine, i, i == top);
  for (std::size_t i = top + 1; i + 1 < joints.size(); ++i) {
    add(talent_.neck, i, i + 2 == joints.size() && talent_.neck.empty());
  }
}

void Fitting::ListFingers() {
  Structure& s = talent_.figure.structure;
  for (int& finger : talent_.finger) finger = -1;
  if (!s.arms) return;
  int count = 0, links = 0, chains[kMaxDigits] = {};
  for (int chain = 0; chain < kMaxDigits; ++chain) {
    const int left = kLeftFingerJoint + 3 * chain, right = kRightFingerJoint + 3 * chain;
    if (!Has(left) || !Has(right)) continue;
    chains[count++] = chain;
    for (int k = 0; k < 3; ++k) {
      if (Has(left + k) || Has(right + k)) links = std::max(links, k + 1);
    }
  }
  if (count == 0) return;
  if (wanted_.digitsOfTake) {
    s.fingers = count;
    s.fingerLinks = links;
    s.shortThumb = false;
  }
  // Of fewer fingers than the take has the first stays the thumb, and those behind it come next.
  for (int d = 0; d < std::min(count, s.fingers); ++d) talent_.finger[d] = chains[d];
}

void Fitting::LayOut() {
  MotionCore& figure = talent_.figure;
  Structure& s = figure.structure;
  s = wanted_.structure;
  s.height = 2 * leg_;
  const auto counted = [](int wantedLinks, std::size_t own) {
    return std::clamp(wantedLinks > 0 ? wantedLinks : static_cast<int>(own), 1, 5);
  };
  s.spineLinks = counted(wanted_.spineLinks, talent_.spine.size());
  s.neckLinks = counted(wanted_.neckLinks, talent_.neck.size());
  ListFingers();
  talent_.movesToes = Has(kLeftToeJoint) && Has(kRightToeJoint);
  if (wanted_.digitsOfTake) s.toes = s.toeLinks = 1;
  figure.name = kFirstFigureName;
  SetFreeForm(figure, true);
  const Structure laid = s;
  LayOutFigure(figure, laid);
  // Everything that the take does not measure keeps the proportion to the leg that it has.
  const float factor = leg_ / figure.leg[kRight].totalLength;
  LayOutFigure(figure, laid);
  (void)SetHeight(figure, laid.height * factor);
  CoreForwardKinematics(figure);
  upright_ = figure.spine.baseRotation;
  legAxes_ = figure.leg[kRight].base.rotation;
  armAxes_ = figure.arm[kRight].base.rotation;
  footAxes_ = RotationOf(LinkFrame(figure, kRightLeg, NumLimbLinks(figure.leg[kRight]) - 1));
}

void Fitting::FitChain(ChainRecord& chain, const std::vector<ChainLink>& links,
                       float straight) const {
  const bool own = chain.numLinks == static_cast<int>(links.size());
  for (int k = 0; k < chain.numLinks; ++k) {
    const float length = own ? links[static_cast<std::size_t>(k)].length
                             : straight / static_cast<float>(chain.numLinks);
    chain.dimensions[k].x = length;
  }
}

void Fitting::FitTrunk() {
  MotionCore& figure = talent_.figure;
  talent_.pelvis = TurnTo(kHipsJoint, {});
  Point3 end = figure.spine.baseOffset = spineBase_;
  const auto turn = [&](std::vector<ChainLink>& links) {
    const Point3 start = end;
    for (ChainLink& link : links) {
      Point3 way = link.target == kNoJoint ? Point3{0, link.length, 0} : Place(link.target) - end;
      link.length = Length(way);
      link.turn = TurnTo(link.joint, Along(upright_, way));
      end += way;
    }
    return Length(end - start);
  };
  FitChain(figure.spine, talent_.spine, turn(talent_.spine));
  FitChain(figure.neck, talent_.neck, turn(talent_.neck));
  figure.pelvis.hipOffset = 0.5f * Length(Place(kRightHipJoint) - Place(kLeftHipJoint));
}

void Fitting::FitLeg(Side side) {
  const bool right = side == kRight;
  const int hip = right ? kRightHipJoint : kLeftHipJoint;
  const int knee = right ? kRightKneeJoint : kLeftKneeJoint;
  const int ankle = right ? kRightAnkleJoint : kLeftAnkleJoint;
  LimbRecord& leg = talent_.figure.leg[side];
  leg.baseOffset = Place(hip);
  const Point3 thigh = Place(knee) - Place(hip), calf = Place(ankle) - Place(knee);
  leg.upperLength = Length(thigh);
  leg.lowerLength = Length(calf);
  if (leg.hasFourLinks) {
    // Three segments of the default's shares that bend between hip and ankle as the take's two.
    const float whole = leg.upperLength + leg.lowerLength;
    leg.upperLength = leg.lowerLength = 0.4f * whole;
    leg.endLength = 0.21f * whole;
    leg.dimensions[2].x = leg.endLength;
  }
  leg.dimensions[0].x = leg.upperLength;
  leg.dimensions[1].x = leg.lowerLength;
  LimbTurns& turns = talent_.leg[side];
  turns.upper = TurnTo(hip, Along(legAxes_, thigh));
  turns.lower = TurnTo(knee, Along(legAxes_, calf));
  FitFoot(leg, ankle, right ? kRightToeJoint : kLeftToeJoint);
}

void Fitting::FitFoot(LimbRecord& leg, int ankle, int toe) {
  LimbTurns& turns = talent_.leg[leg.side];
  const bool joint = Has(toe);
  const std::optional<FlatFoot> flat = FindFlatFoot(motion_, static_cast<Side>(leg.side));
  // How a part that would lie flat stands in the reference.
  const auto raised = [&](int carrier, const Point3& upright) {
    return ShortestTurn({0, 1, 0},
                        Rotate(Conjugate(heading_) * Reference(carrier).rotation, upright));
  };
  const Quat footRaised = flat ? raised(ankle, flat->ankle) : Quat{};
  const Point3 asPosed = joint ? Place(toe) - Place(ankle) : EndWay(ankle);
  const Point3 way = Rotate(Conjugate(footRaised), asPosed);
  const float level = std::sqrt(way.x * way.x + way.z * way.z), length = Length(way);
  const bool points = length > kLowestAnkle * leg_;
  Quat foot = footAxes_;
  float reach = kToeSide * leg_;
  if (points && std::fabs(way.y) < kSteepFoot * level) {
    foot = ShortestTurn({1, 0, 0}, {way.x, 0, way.z}) * footAxes_;
    reach = level;
  } else if (points) {
    // On its toes: a foot's bone falls by half a right angle's third when it is flat.
    foot = ShortestTurn({0.87f, -0.5f, 0}, way) * footAxes_;
    reach = 0.87f * length;
  }
  turns.end = TurnTo(ankle, footRaised * foot);
  const float share = leg.heelLength / leg.toeLength;
  leg.toeLength = std::clamp(reach, 0.08f * leg_, 0.3f * leg_);
  leg.heelLength = share * leg.toeLength;
  const float stands = StandingAnkleHeight(motion_), laidHeight = leg.extremityHeight;
  // Where the take's floor seems to be at 0 the ankles tell how high they are over it.
  leg.extremityHeight =
      stands > kLowestAnkle * leg_ && stands < kHighestAnkle * leg_ ? stands : kAnkleHeight * leg_;
  leg.dimensions[NumLimbLinks(leg) - 1] = {leg.toeLength + leg.heelLength, leg.extremityWidth,
                                           leg.extremityHeight};
  if (points) {
    turns.pointsAt = joint ? toe : kNoJoint;
    turns.pointsAlong = Rotate(Conjugate(Reference(ankle).rotation) * heading_, asPosed);
  }
  for (int d = 0; d < leg.numDigits; ++d) {
    // As far over the ground as they were laid out.
    leg.digits[d].baseOffset.x += leg.extremityHeight - laidHeight;
    leg.digits[d].baseOffset.y = leg.toeLength;
  }
  // Whom the take shows no toes of has them as one, a short end of the foot.
  if (leg.numDigits == 0 || !(talent_.movesToes || wanted_.digitsOfTake)) return;
  DigitRecord& digit = leg.digits[0];
  float tip = kStillToes * leg.toeLength;
  if (talent_.movesToes) {
    const Quat toesRaised = flat ? raised(toe, flat->toe) : Quat{};
    turns.digit[0][0] = TurnTo(toe, toesRaised * foot * digit.baseRotation);
    const Point3 end = EndWay(toe);
    tip = Length(end) > kNoLength * leg_ ? Length(end) : 0.5f * leg.toeLength;
  }
  for (int k = 0; k < digit.numLinks; ++k) {
    digit.dimensions[k].x = tip / static_cast<float>(digit.numLinks);
    if (leg.numDigits == 1) {  // the whole front of the foot
      digit.dimensions[k].y = kToesWidth * leg.extremityWidth;
      digit.dimensions[k].z = kToesDepth * leg.extremityHeight;
    }
    digit.pose.bend[k] = leg.rest.digits[0].bend[k] = 0;
  }
  // A toe that lies level touches the ground with its lower side.
  digit.baseOffset.x = leg.extremityHeight - 0.5f * digit.dimensions[0].z;
}

void Fitting::FitHead() {
  MotionCore& figure = talent_.figure;
  talent_.head = TurnTo(kHeadJoint, upright_);
  const float crown = Length(motion_.end[kHeadJoint]);
  if (crown > kLowCrown * figure.head.sizes[1]) figure.head.sizes[1] = crown;
}

void Fitting::FitArm(Side side) {
  const bool right = side == kRight;
  const int collar = right ? kRightCollarJoint : kLeftCollarJoint;
  const int shoulder = right ? kRightShoulderJoint : kLeftShoulderJoint;
  const int elbow = right ? kRightElbowJoint : kLeftElbowJoint;
  const int wrist = right ? kRightWristJoint : kLeftWristJoint;
  LimbRecord& arm = talent_.figure.arm[side];
  // Collars that lie on the shoulders, or far past the middle, give no bone to turn.
  Point3 start = Reference(collar).origin;
  const Point3 end = Reference(shoulder).origin;
  if (Length(end - start) < 2 * kLeastLink * leg_) {
    const Frame& neck = talent_.figure.spineEnd;
    start = Lerp(neck.origin, end, 0.3f);
  }
  arm.dimensions[0].x = Length(end - start);
  const Frame& spine = talent_.figure.spineEnd;
  arm.baseOffset = Rotate(Conjugate(spine.rotation), start - spine.origin);
  const Point3 upper = Place(elbow) - Place(shoulder), lower = Place(wrist) - Place(elbow);
  arm.upperLength = Length(upper);
  arm.lowerLength = Length(lower);
  arm.totalLength = arm.upperLength + arm.lowerLength;
  arm.dimensions[1].x = arm.upperLength;
  arm.dimensions[2].x = arm.lowerLength;
  LimbTurns& turns = talent_.arm[side];
  turns.upper = TurnTo(shoulder, Along(armAxes_, upper));
  turns.lower = TurnTo(elbow, Along(armAxes_, lower));
  FitHand(arm, wrist, Along(armAxes_, lower));
}

void Fitting::FitHand(LimbRecord& arm, int wrist, const Quat& forearm) {
  LimbTurns& turns = talent_.arm[arm.side];
  const int first = arm.side == kRight ? kRightFingerJoint : kLeftFingerJoint;
  // A hand leads to its fingers but the thumb, else to the end of the wrist, else on as the
  // forearm does.
  Point3 way;
  for (int chain = 1; chain < kMaxDigits; ++chain) {
    if (!Has(first + 3 * chain)) continue;
    if (turns.pointsAt == kNoJoint || chain == 2) turns.pointsAt = first + 3 * chain;
  }
  if (turns.pointsAt != kNoJoint) way = Place(turns.pointsAt) - Place(wrist);
  const bool fingers = Length(way) > kLeastLink * leg_;
  if (!fingers) {
    turns.pointsAt = kNoJoint;
    way = EndWay(wrist);
  }
  const bool points = Length(way) > kLeastLink * leg_;
  const Quat hand = points ? ShortestTurn(Rotate(forearm, {1, 0, 0}), way) * forearm : forearm;
  turns.pointsAlong = Rotate(Conjugate(Reference(wrist).rotation) * heading_, way);
  turns.end = TurnTo(wrist, hand);
  arm.toeLength = fingers ? Length(way) : kHandLength * arm.lowerLength;
  arm.dimensions[3] = {arm.toeLength, arm.extremityWidth, arm.extremityHeight};
  for (int d = 0; d < arm.numDigits; ++d) {
    DigitRecord& digit = arm.digits[d];
    digit.baseOffset.x = arm.toeLength;
    if (talent_.finger[d] >= 0) FitFinger(arm, d, talent_.finger[d], hand, Place(wrist));
  }
}

void Fitting::FitFinger(LimbRecord& arm, int d, int chain, const Quat& hand, const Point3& wrist) {
  const int first = (arm.side == kRight ? kRightFingerJoint : kLeftFingerJoint) + 3 * chain;
  DigitRecord& digit = arm.digits[d];
  digit.baseOffset = Rotate(Conjugate(hand), Place(first) - wrist);
  Quat before = hand;
  for (int k = 0; k < digit.numLinks; ++k) {
    const int joint = first + std::min(k, 2);
    const bool own = k < 3 && Has(joint);
    const bool next = own && k < 2 && Has(joint + 1);
    const Point3 way = !own ? Point3{} : next ? Place(joint + 1) - Place(joint) : EndWay(joint);
    const bool points = Length(way) > 0.1f * kLeastLink * leg_;
    const float last = k > 0 ? kFingerTip * digit.dimensions[k - 1].x : 0.3f * arm.toeLength;
    const Quat turn = points ? ShortestTurn(Rotate(before, {1, 0, 0}), way) * before : before;
    digit.dimensions[k].x = points ? Length(way) : last;
    if (k == 0) digit.baseRotation = Normalized(Conjugate(hand) * turn);
    talent_.arm[arm.side].digit[d][k] = own ? TurnTo(joint, turn) : Quat{};
    before = turn;
  }
  arm.rest.digits[d].base = digit.pose.base = {};
}

bool Fitting::Settle() {
  MotionCore& figure = talent_.figure;
  PlaceFigure(figure, {}, 0);
  if (SettleFigure(figure) == kRefused) return false;
  CoreForwardKinematics(figure);
  return IsFinite(figure.head.frame);
}

}  // namespace

int FitTalent(const CapturedMotion& motion, const TalentStructure& wanted, Talent& talent) {
  try {
    Talent made;
    if (!Fitting(motion, wanted, made).Fit()) return kRefused;
    talent = std::move(made);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
