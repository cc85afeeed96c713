#include "strider/core/figure_layout.h"

#include <algorithm>

#include "strider/core/limb_solver.h"

namespace strider {
namespace {

// The nominal figure: 400 units and 15 for each neck link. All numbers below are in its units.
constexpr float kNominalNeckLink = 15;
constexpr double kNominalHeight = 400;
constexpr float kSpineLength = 104;
constexpr float kChainLink = 26;
constexpr Point3 kHeadDimensions{47, 43.5f, 47};
constexpr float kChinDrop = 8;
constexpr float kPelvisSize = 50;
constexpr float kHipOffset = 20;
constexpr float kLegSegment = 100, kFourLinkSegment = 80, kFootSegment = 40;
constexpr float kToeSide = 29, kHeelSide = 8, kFootHeight = 23, kFootWidth = 19;
constexpr float kArmSegment = 60, kHandSegment = 30;
constexpr Point3 kClavicle{65, 26, 50};
constexpr float kShoulderHeight = 7;
constexpr float kHandSize = 25;
constexpr Point3 kKnuckleHand{5, 12.5f, 12.5f};
constexpr float kLimbBase = 15;
constexpr float kUpperArmWidth = 20, kForearmWidth = 16, kThighWidth = 28, kCalfWidth = 20;
constexpr Point3 kProp{80, 5, 5};

// Where chains start in their parent's frame: ahead and up.
constexpr Point3 kSpineBase{0, 23, 0};
constexpr Point3 kTailBase{-15, -15, 0};
constexpr Point3 kPonyBase{-15, 15, 0};
// The two ponytails leave the head side by side.
constexpr float kPonySide = 10;

// The stance. A knee or an elbow is bent by 0.2; the upper segment leans by half of it, so that
// the limb's end stands under its base.
constexpr float kRestHinge = 3.1415927f - 0.2f;
constexpr float kRestLean = -0.1f;
constexpr float kRestThirdPitch = 0.3f;
constexpr float kClavicleDroop = 0.2f;
constexpr float kFingerCurl = 0.7f;
constexpr float kKnuckleSpread = 0.2f;
// Tail down and back along its own offset; ponytails nearly straight down.
constexpr float kTailPitch = 0.75f * kPi;
constexpr float kPonyPitch = 0.92f * kPi;
// Gravity of a figure, units per frame squared, per unit of its scale.
constexpr float kGravityPerScale = 2.6f;

// Axes of the parts' frames in the core's space at heading 0.
constexpr Point3 kAhead{1, 0, 0}, kUp{0, 1, 0}, kAside{0, 0, 1};

Quat AxesToQuat(const Point3& x, const Point3& y) {
  return RotationOf(Matrix3{{x, y, Cross(x, y), {}}});
}
// Spine, neck and head: X up, Y back, Z right.
Quat UprightAxes() { return AxesToQuat(kUp, -kAhead); }
// Legs: X down, Y back, Z left; arms: X down, Y ahead, Z right. Knees then point ahead and
// elbows back, since a hinge bends towards Y.
Quat LegAxes() { return AxesToQuat(-kUp, -kAhead); }
Quat ArmAxes() { return AxesToQuat(-kUp, kAhead); }
// Foot: X down to the sole, Y to the toes.
Quat FootAxes() { return AxesToQuat(-kUp, kAhead); }
Quat ClavicleAxes(Side side) { return AxesToQuat(side == kRight ? kAside : -kAside, kAhead); }

float SideSign(Side side) { return side == kRight ? 1.0f : -1.0f; }

void LayDigitPose(DigitRecord& digit, const Quat& base, const Quat (&links)[kMaxDigitLinks],
                  const float (&bends)[kMaxDigitLinks]) {
  digit.pose = {};
  digit.pose.base = base;
  for (int k = 0; k < kMaxDigitLinks; ++k) {
    digit.pose.link[k] = links[k];
    digit.pose.bend[k] = bends[k];
  }
}

/// Length of a finger's links: the middle finger is the longest.
float FingerSize(int finger, int count) {
  const float middle = static_cast<float>(count) * 0.5f - 0.5f;
  const float f = static_cast<float>(finger);
  return f < middle ? f + 5.0f : (middle + 5.0f) - (f - middle);
}

void LayFingers(LimbRecord& arm, const Structure& s, float scale) {
  arm.numDigits = s.fingers;
  arm.digitLinks = s.fingers > 0 ? s.fingerLinks : 0;
  const int id = arm.side == kRight ? kRightFingers : kLeftFingers;
  for (int f = 0; f < arm.numDigits; ++f) {
    DigitRecord& digit = arm.digits[f];
    digit = {};
    digit.numLinks = NumDigitLinks(s, id, f);
    const float size = FingerSize(f, s.fingers);
    for (int k = 0; k < digit.numLinks; ++k) {
      float length = size;
      if (s.knuckles) {
        const bool thumb = f == 0 && s.fingers >= 2;
        if (thumb) length = k == 0 ? 12.5f : 0.8f * size;
        if (!thumb && k == 0) length = 15;
      }
      digit.dimensions[k] = scale * Point3{length, size, size};
    }
    // Fingers lie side by side over the hand's width, the first in front. A fore foot's digits
    // leave it like toes, side by side across, the first on the inside.
    const float place = (static_cast<float>(s.fingers) - 1) / 2 - static_cast<float>(f);
    const float step = arm.extremityWidth / static_cast<float>(s.fingers);
    if (s.foreFeet) {
      digit.baseOffset = {arm.toeLength - 0.5f * scale * size, 0.5f * arm.extremityWidth,
                          -SideSign(arm.side) * place * step};
      digit.baseRotation = AxesToQuat(Point3{0, 1, 0}, Point3{-1, 0, 0});
    } else {
      digit.baseOffset = {arm.toeLength, place * step, 0};
      digit.baseRotation = {};
    }
    // A curl bends towards the palm, which faces the body; with knuckles the fingers fan out.
    const float curl = s.foreFeet ? 0 : kFingerCurl / static_cast<float>(s.fingerLinks);
    Quat links[kMaxDigitLinks];
    float bends[kMaxDigitLinks] = {};
    for (int k = 1; k < digit.numLinks; ++k) links[k] = AboutY(SideSign(arm.side) * curl);
    const float half = std::max((static_cast<float>(s.fingers) - 1) / 2, 1.0f);
    const float fan = s.knuckles && s.fingers > 1 ? kKnuckleSpread * place / half : 0;
    LayDigitPose(digit, AboutZ(fan), links, bends);
  }
}

void LayToes(LimbRecord& leg, const Structure& s, float scale) {
  leg.numDigits = s.toes;
  leg.digitLinks = s.toeLinks;
  for (int i = 0; i < s.toes; ++i) {
    DigitRecord& digit = leg.digits[i];
    digit = {};
    digit.numLinks = s.toeLinks;
    const float size = scale * (3 + 0.2f * static_cast<float>(i));
    const float bend = kFingerCurl / static_cast<float>(s.toeLinks);
    // The links bend down in turn; the toe starts so high that its tip's lower edge touches the
    // ground that the sole stands on.
    float drop = 0;
    Quat links[kMaxDigitLinks];
    float bends[kMaxDigitLinks] = {};
    for (int k = 0; k < s.toeLinks; ++k) {
      digit.dimensions[k] = {size, size, size};
      bends[k] = bend;
      drop += size * Sin(bend * static_cast<float>(k + 1));
    }
    const float edge = 0.5f * size * Cos(kFingerCurl);
    const float place = static_cast<float>(i) - (static_cast<float>(s.toes) - 1) / 2;
    digit.baseOffset = {
        leg.extremityHeight - drop - edge, leg.toeLength,
        SideSign(leg.side) * place * leg.extremityWidth / static_cast<float>(s.toes)};
    digit.baseRotation = AxesToQuat(Point3{0, 1, 0}, Point3{-1, 0, 0});
    LayDigitPose(digit, {}, links, bends);
  }
}

/// What every limb shares once its segments are known: the stance as a key.
void LayLimbRest(LimbRecord& limb, const Quat& baseInBody, const Quat& endInBody) {
  LimbKey& rest = limb.rest;
  rest = {};
  rest.jointAngles[kHinge] = kRestHinge;
  rest.jointAngles[kThirdPitch] = kRestThirdPitch;
  rest.limbRotation = AboutZ(kRestLean);
  const SegmentLengths lengths = LengthsOf(limb);
  LimbShape shape = ForwardLimb(lengths, rest.jointAngles, rest.limbRotation);
  // A third segment carries the end ahead; the limb leans back until it is under the base again.
  rest.limbRotation = AboutZ(kRestLean - Atan2(shape.end.y, shape.end.x));
  shape = ForwardLimb(lengths, rest.jointAngles, rest.limbRotation);
  rest.bodyTarget = shape.end;
  rest.clavicle[1] = limb.isLeg ? 0 : kClavicleDroop;
  rest.endRotation = Conjugate(baseInBody * shape.lastRotation) * endInBody;
  for (int d = 0; d < limb.numDigits; ++d) rest.digits[d] = limb.digits[d].pose;
}

void LayLeg(LimbRecord& leg, Side side, const Structure& s, float scale) {
  leg.side = side;
  leg.isLeg = true;
  leg.hasFourLinks = s.legLinks == 4;
  const float segment = leg.hasFourLinks ? kFourLinkSegment : kLegSegment;
  leg.upperLength = leg.lowerLength = scale * segment;
  leg.endLength = scale * kFootSegment;
  leg.totalLength = leg.upperLength + leg.lowerLength + (leg.hasFourLinks ? leg.endLength : 0);
  const float footLength = scale * (kToeSide + kHeelSide);
  leg.heelLength = footLength * s.ankleAttach;
  leg.toeLength = footLength - leg.heelLength;
  leg.extremityHeight = scale * kFootHeight;
  leg.extremityWidth = scale * kFootWidth;
  const int foot = NumLimbLinks(leg) - 1;
  leg.dimensions[0] = {leg.upperLength, scale * kThighWidth, scale * kThighWidth};
  leg.dimensions[1] = {leg.lowerLength, scale * kCalfWidth, scale * kCalfWidth};
  if (leg.hasFourLinks) {
    leg.dimensions[2] = {leg.endLength, scale * kForearmWidth, scale * kForearmWidth};
  }
  leg.dimensions[foot] = {footLength, leg.extremityWidth, leg.extremityHeight};
  leg.baseSize = scale * kLimbBase;
  leg.baseOffset = {0, 0, SideSign(side) * scale * kHipOffset};
  leg.baseRotation = LegAxes();
  LayToes(leg, s, scale);
  LayLimbRest(leg, leg.baseRotation, FootAxes());
}

void LayArm(LimbRecord& arm, Side side, const Structure& s, float scale) {
  arm.side = side;
  arm.isLeg = false;
  arm.hasFourLinks = false;
  arm.upperLength = arm.lowerLength = scale * kArmSegment;
  arm.endLength = scale * kHandSegment;
  arm.totalLength = arm.upperLength + arm.lowerLength;
  const Point3 hand = s.knuckles ? kKnuckleHand : Point3{kHandSize, kHandSize, kHandSize};
  arm.toeLength = scale * hand.x;
  arm.heelLength = 0;
  arm.extremityHeight = scale * hand.y;
  arm.extremityWidth = scale * hand.z;
  arm.dimensions[0] = scale * kClavicle;
  arm.dimensions[1] = {arm.upperLength, scale * kUpperArmWidth, scale * kUpperArmWidth};
  arm.dimensions[2] = {arm.lowerLength, scale * kForearmWidth, scale * kForearmWidth};
  arm.dimensions[3] = {arm.toeLength, arm.extremityWidth, arm.extremityHeight};
  arm.baseSize = scale * kLimbBase;
  // The clavicles overlap like a yoke: each starts past the middle by the limb's base offset, so
  // that their length puts the shoulders a quarter of the height apart. In the neck's base X is up.
  arm.baseOffset = {scale * kShoulderHeight, 0, -SideSign(side) * scale * kLimbBase};
  arm.clavicleRotation = Conjugate(UprightAxes()) * ClavicleAxes(side);
  const Quat droop = AboutY(SideSign(side) * kClavicleDroop);
  arm.baseRotation = Conjugate(ClavicleAxes(side) * droop) * ArmAxes();
  LayFingers(arm, s, scale);
  LayLimbRest(arm, ArmAxes(), ArmAxes());
}

void LayChain(ChainRecord& chain, int links, const Point3& dimensions, const Point3& base,
              const Quat& rotation) {
  chain.numLinks = links;
  chain.baseOffset = base;
  chain.baseRotation = rotation;
  for (int k = 0; k < kMaxLinks; ++k) chain.dimensions[k] = k < links ? dimensions : Point3{};
  chain.rest = {};
}

void LayProps(MotionCore& core, float scale) {
  const Structure& s = core.structure;
  const bool exists[3] = {s.prop1Exists, s.prop2Exists, s.prop3Exists};
  // The first two props lie in the hands, the third floats at the figure's right; without hands
  // all are held by the body.
  for (int i = 0; i < 3; ++i) {
    PropRecord& prop = core.props[i];
    prop.exists = exists[i];
    prop.dimensions = scale * kProp;
    prop.rest = {};
    const int space = i == 2 || !s.arms ? kBodyProp : i == 0 ? kRightHandProp : kLeftHandProp;
    prop.rest.posSpace = prop.rest.rotSpace = space;
    prop.rest.position[kBodyProp] =
        scale * Point3{30, 0, 60 * (i == 1 ? -1.0f : 1.0f + 0.3f * static_cast<float>(i))};
    const Quat ahead = AxesToQuat(Point3{0, 1, 0}, Point3{-1, 0, 0});
    for (int hand : {kRightHandProp, kLeftHandProp}) {
      prop.rest.position[hand] = {core.arm[kRight].toeLength / 2, 0, 0};
      prop.rest.rotation[hand] = ahead;
    }
  }
}

float LegHeight(const LimbRecord& leg) { return leg.rest.bodyTarget.x + leg.extremityHeight; }

void ScaleChain(ChainRecord& chain, float factor) {
  chain.baseOffset *= factor;
  for (Point3& dimensions : chain.dimensions) dimensions *= factor;
}

void ScaleLimb(LimbRecord& limb, float factor) {
  for (Point3& dimensions : limb.dimensions) dimensions *= factor;
  for (float* length :
       {&limb.upperLength, &limb.lowerLength, &limb.endLength, &limb.totalLength, &limb.toeLength,
        &limb.heelLength, &limb.extremityHeight, &limb.extremityWidth, &limb.baseSize}) {
    *length *= factor;
  }
  limb.baseOffset *= factor;
  limb.rest.bodyTarget *= factor;
  for (DigitRecord& digit : limb.digits) {
    digit.baseOffset *= factor;
    for (Point3& dimensions : digit.dimensions) dimensions *= factor;
  }
}

}  // namespace

float SumOfLengths(const MotionCore& core) {
  double sum = static_cast<double>(core.spine.baseOffset.y) + core.head.sizes[1];
  for (int k = 0; k < core.spine.numLinks; ++k) sum += core.spine.dimensions[k].x;
  for (int k = 0; k < core.neck.numLinks; ++k) sum += core.neck.dimensions[k].x;
  sum += std::min(core.leg[0].totalLength, core.leg[1].totalLength);
  sum += std::min(core.leg[0].extremityHeight, core.leg[1].extremityHeight);
  return static_cast<float>(sum);
}

void RefreshFootstepMeasures(MotionCore& core) {
  FootstepTrack& footsteps = core.footsteps;
  footsteps.scaleAnkleHeight = AnkleSize(core);
  footsteps.scaleFigureHeight = core.structure.height;
  footsteps.scaleLegLength = core.leg[kRight].totalLength;
  footsteps.scaleHipWidth = core.pelvis.hipOffset;
}

void RefreshBodyLaws(MotionCore& core) {
  core.figureScale = FigureScale(core.structure.height, core.structure.neckLinks);
  core.body.gravAccel = kGravityPerScale * core.figureScale;
  for (LimbRecord& leg : core.leg) {
    leg.totalLength = leg.upperLength + leg.lowerLength + (leg.hasFourLinks ? leg.endLength : 0);
  }
  core.footsteps.gravity = core.body.gravAccel;
  core.footsteps.ticksPerFrame = core.ticksPerFrame;
  RefreshFootstepMeasures(core);
}

float FigureScale(float height, int neckLinks) {
  return static_cast<float>(static_cast<double>(height) /
                            (static_cast<double>(kNominalNeckLink) * neckLinks + kNominalHeight));
}

float StanceHeight(const MotionCore& core) {
  return std::min(LegHeight(core.leg[kRight]), LegHeight(core.leg[kLeft]));
}

float AnkleSize(const MotionCore& core) {
  const LimbRecord& leg = core.leg[kRight];
  return leg.heelLength * 1.33f + leg.extremityHeight;
}

float FootstepLength(const MotionCore& core) {
  const LimbRecord& leg = core.leg[kRight];
  return leg.toeLength * 1.33f + leg.heelLength;
}

void LayOutFigure(MotionCore& core, const Structure& structure) {
  core.structure = structure;
  const Structure& s = core.structure;
  const float scale = FigureScale(s.height, s.neckLinks);
  core.figureScale = scale;

  core.pelvis.width = core.pelvis.depth = scale * kPelvisSize;
  core.pelvis.hipOffset = scale * kHipOffset;
  core.pelvis.rest = {};
  for (Side side : {kRight, kLeft}) {
    LayLeg(core.leg[side], side, s, scale);
    LayArm(core.arm[side], side, s, scale);
  }
  const float spineLink = scale * (kSpineLength / static_cast<float>(s.spineLinks));
  LayChain(core.spine, s.spineLinks, {spineLink, spineLink, spineLink}, scale * kSpineBase,
           UprightAxes());
  const Point3 chainLink = scale * Point3{kChainLink, kChainLink, kChainLink};
  LayChain(core.tail, s.tailLinks, chainLink, scale * kTailBase,
           AboutZ(kTailPitch) * UprightAxes());
  LayChain(core.neck, s.neckLinks, scale * Point3{kNominalNeckLink, kChainLink, kChainLink}, {},
           {});
  const int ponyLinks[2] = {s.ponytail1Links, s.ponytail2Links};
  for (int i = 0; i < 2; ++i) {
    // The head's frame has X up and Y back: ahead is -Y, up is X. The first ponytail lies left.
    const float side = i == 0 ? -kPonySide : kPonySide;
    LayChain(core.pony[i], ponyLinks[i], chainLink, scale * Point3{kPonyBase.y, -kPonyBase.x, side},
             AboutZ(kPonyPitch));
  }
  for (XtraChain& xtra : core.xtras) {
    LayChain(xtra.chain, xtra.chain.numLinks, chainLink, scale * kPonyBase,
             AboutZ(kTailPitch) * UprightAxes());
  }
  core.head.sizes[0] = scale * kChinDrop;
  core.head.sizes[1] = scale * kHeadDimensions.x;
  core.head.sizes[2] = scale * kHeadDimensions.y;
  core.head.sizes[3] = scale * kHeadDimensions.z;
  core.head.rest = {};
  core.body.defaultBalance = s.dynamicsType == 0 && !core.freeForm ? 1.0f : 0.0f;
  LayProps(core, scale);
  RefreshBodyLaws(core);
  core.laidOutLengths = SumOfLengths(core);
  ConfigureTracks(core);
  PlaceFigure(core, {}, 0);
}

void PlaceFigure(MotionCore& core, const Point3& groundPosition, float heading) {
  core.body.figurePosition = groundPosition;
  core.body.figurePosition.y += StanceHeight(core);
  core.body.figureRotation = AboutY(heading);
  TakeStance(core);
}

void TakeStance(MotionCore& core) {
  BodyRecord& body = core.body;
  body.bodyPosition = body.figurePosition;
  body.bodyRotation = body.figureRotation;
  core.pelvis.pose = core.pelvis.rest.rotation;
  const auto restChain = [](ChainRecord& chain) {
    for (int k = 0; k < chain.numLinks; ++k) chain.pose[k] = chain.rest.rotation[k];
  };
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.pony[0], &core.pony[1]}) {
    restChain(*chain);
  }
  for (XtraChain& xtra : core.xtras) restChain(xtra.chain);
  for (int k = 0; k < core.neck.numLinks; ++k) core.neck.pose[k] = core.head.rest.chain.rotation[k];
  core.head.headBlend = core.head.rest.headBlend;
  core.head.pose = core.head.rest.chain.rotation[core.neck.numLinks];
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    TakeLimbRest(*limb);
  }
  for (PropRecord& prop : core.props) prop.pose = RestPose(prop);
}

float CoreFigureHeight(const MotionCore& core) {
  const float lengths = SumOfLengths(core);
  if (lengths == core.laidOutLengths || !(core.laidOutLengths > 0)) return core.structure.height;
  return static_cast<float>(static_cast<double>(core.structure.height) * lengths /
                            core.laidOutLengths);
}

int SettleFigure(MotionCore& core, float height) {
  for (LimbRecord& leg : core.leg) {
    leg.totalLength = leg.upperLength + leg.lowerLength + (leg.hasFourLinks ? leg.endLength : 0);
  }
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    LimbKey& rest = limb->rest;
    rest.bodyTarget = ForwardLimb(LengthsOf(*limb), rest.jointAngles, rest.limbRotation).end;
  }
  const float lengths = SumOfLengths(core);
  if (height == 0) {
    // The parts of a nominal figure sum up to a little less than its nominal height.
    const double links = static_cast<double>(kNominalNeckLink) * core.neck.numLinks;
    const double parts = static_cast<double>(kSpineLength) + kSpineBase.y + kHeadDimensions.x +
                         2 * kLegSegment + kFootHeight;
    height = static_cast<float>(lengths * ((kNominalHeight + links) / (parts + links)));
  }
  Structure trial = core.structure;
  if (!SetParameter(trial, *FindStructureParameter("height"), height)) return kRefused;
  for (const LimbRecord& leg : core.leg) {
    if (!IsFinite(leg.totalLength) || !IsFinite(LegHeight(leg))) return kRefused;
  }
  core.structure = trial;
  core.body.figurePosition.y = StanceHeight(core);
  RefreshBodyLaws(core);
  core.laidOutLengths = lengths;
  ConfigureTracks(core);
  TakeStance(core);
  return kDone;
}

int SetHeight(MotionCore& core, float height) {
  Structure trial = core.structure;
  if (!SetParameter(trial, *FindStructureParameter("height"), height)) return kRefused;
  const float current = CoreFigureHeight(core);
  const float ground = core.body.figurePosition.y - StanceHeight(core);
  if (height != current) {
    const float factor = static_cast<float>(static_cast<double>(height) / current);
    core.pelvis.width *= factor;
    core.pelvis.depth *= factor;
    core.pelvis.hipOffset *= factor;
    for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
      ScaleLimb(*limb, factor);
    }
    for (ChainRecord* chain : {&core.spine, &core.tail, &core.neck, &core.pony[0], &core.pony[1]}) {
      ScaleChain(*chain, factor);
    }
    for (XtraChain& xtra : core.xtras) ScaleChain(xtra.chain, factor);
    for (float& size : core.head.sizes) size *= factor;
    for (PropRecord& prop : core.props) {
      prop.dimensions *= factor;
      for (Point3& position : prop.rest.position) position *= factor;
    }
    core.body.fixedBalanceOffset *= factor;
  }
  core.structure.height = height;
  RefreshBodyLaws(core);
  core.laidOutLengths = SumOfLengths(core);  // of the totals that the line above sums anew
  if (height != current) core.body.figurePosition.y = ground + StanceHeight(core);
  TakeStance(core);
  return kDone;
}

}  // namespace strider
