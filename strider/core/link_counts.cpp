#include "strider/core/link_counts.h"

#include <algorithm>

#include "strider/core/figure_layout.h"
#include "strider/core/limb_solver.h"

namespace strider {
namespace {

/// Where a structure counts the links of an id; null where they are not to be chosen.
int* LinkCountOf(Structure& s, int id) {
  if (IsTwist(id)) return &s.twistLinks[(id - kTwistStartId) / 2];
  switch (id) {
    case kLeftFingers:
    case kRightFingers: return &s.fingerLinks;
    case kLeftLeg:
    case kRightLeg: return &s.legLinks;
    case kLeftToes:
    case kRightToes: return &s.toeLinks;
    case kSpine: return &s.spineLinks;
    case kTail: return &s.tailLinks;
    case kNeck: return &s.neckLinks;
    case kPony1: return &s.ponytail1Links;
    case kPony2: return &s.ponytail2Links;
    default: return nullptr;
  }
}

float LengthOf(const ChainRecord& chain) {
  float length = 0;
  for (int k = 0; k < chain.numLinks; ++k) length += chain.dimensions[k].x;
  return length;
}

void LayChainAnew(ChainRecord& chain, const ChainRecord& model, float length) {
  const float own = LengthOf(model);
  chain.numLinks = model.numLinks;
  for (int k = 0; k < kMaxLinks; ++k) {
    chain.dimensions[k] = model.dimensions[k];
    if (length > 0 && own > 0) chain.dimensions[k].x *= length / own;
  }
  for (int k = 0; k < kMaxLinks; ++k) {
    chain.rest.rotation[k] = k < chain.numLinks ? chain.rest.rotation[k] : Quat{};
    chain.rest.euler[k] = k < chain.numLinks ? chain.rest.euler[k] : Point3{};
  }
}

/// The stance of another leg for this one's lengths: the ankle under the hip, the foot as it was.
void LayLegRest(LimbRecord& leg, const LimbKey& model, const Quat& footInBase) {
  LimbKey& rest = leg.rest;
  std::copy(std::begin(model.jointAngles), std::end(model.jointAngles), rest.jointAngles);
  const SegmentLengths lengths = LengthsOf(leg);
  const Point3 end = ForwardLimb(lengths, rest.jointAngles, model.limbRotation).end;
  rest.limbRotation = AboutZ(-Atan2(end.y, end.x)) * model.limbRotation;
  const LimbShape shape = ForwardLimb(lengths, rest.jointAngles, rest.limbRotation);
  rest.bodyTarget = shape.end;
  rest.endRotation = Normalized(Conjugate(shape.lastRotation) * footInBase);
}

/// The leg as long as it was, thigh and calf in their old proportion; the foot stays.
void LayLegAnew(LimbRecord& leg, const LimbRecord& model) {
  const float total = leg.totalLength,
              upperShare = leg.upperLength / (leg.upperLength + leg.lowerLength);
  const float third = model.hasFourLinks ? total * (model.endLength / model.totalLength) : 0;
  const Point3 foot = leg.dimensions[NumLimbLinks(leg) - 1];
  const LimbShape shape = ForwardLimb(LengthsOf(leg), leg.rest.jointAngles, leg.rest.limbRotation);
  const Quat footInBase = shape.lastRotation * leg.rest.endRotation;
  leg.hasFourLinks = model.hasFourLinks;
  leg.upperLength = (total - third) * upperShare;
  leg.lowerLength = (total - third) - leg.upperLength;
  if (model.hasFourLinks) {
    leg.endLength = third;
    leg.dimensions[2] = model.dimensions[2];
    leg.dimensions[2].x = third;
  }
  leg.dimensions[0].x = leg.upperLength;
  leg.dimensions[1].x = leg.lowerLength;
  leg.dimensions[NumLimbLinks(leg) - 1] = foot;
  LayLegRest(leg, model.rest, footInBase);
}

void LayDigitsAnew(LimbRecord& limb, const LimbRecord& model) {
  limb.numDigits = model.numDigits;
  limb.digitLinks = model.digitLinks;
  for (int d = 0; d < kMaxDigits; ++d) {
    Point3 base = limb.digits[d].baseOffset;
    // A toe starts so high over this sole as the model's does over its own.
    if (limb.isLeg) {
      base.x = limb.extremityHeight - (model.extremityHeight - model.digits[d].baseOffset.x);
    }
    limb.digits[d] = model.digits[d];
    limb.digits[d].baseOffset = base;
    limb.rest.digits[d] = model.rest.digits[d];
  }
}

}  // namespace

int ChangeNumLinks(MotionCore& figure, int id, int numLinks) {
  Structure s = figure.structure;
  int* count = LinkCountOf(s, id);
  if (!count) return kRefused;
  *count = numLinks;
  if (FindIllegalParameter(s)) return kRefused;
  if (s == figure.structure) return kDone;
  // A model of default proportions in the figure's scale.
  MotionCore model;
  const float scale = FigureScale(CoreFigureHeight(figure), figure.structure.neckLinks);
  Structure plan = s;
  plan.height = scale / FigureScale(1, s.neckLinks);
  LayOutFigure(model, plan);

  const float height = CoreFigureHeight(figure), sumBefore = LengthOf(figure.neck);
  figure.structure = s;
  for (int side = 0; side < 2; ++side) {
    if (id == kLeftLeg || id == kRightLeg) LayLegAnew(figure.leg[side], model.leg[side]);
    if (id == kLeftToes || id == kRightToes) LayDigitsAnew(figure.leg[side], model.leg[side]);
    if (id == kLeftFingers || id == kRightFingers) {
      LayDigitsAnew(figure.arm[side], model.arm[side]);
    }
  }
  switch (id) {
    case kSpine: LayChainAnew(figure.spine, model.spine, LengthOf(figure.spine)); break;
    case kTail: LayChainAnew(figure.tail, model.tail, 0); break;
    case kPony1: LayChainAnew(figure.pony[0], model.pony[0], 0); break;
    case kPony2: LayChainAnew(figure.pony[1], model.pony[1], 0); break;
    case kNeck: {
      // The head is the neck's last column in the stance too.
      const Quat head = figure.head.rest.chain.rotation[figure.neck.numLinks];
      LayChainAnew(figure.neck, model.neck, 0);
      for (int k = 0; k < kMaxLinks; ++k) {
        if (k >= figure.neck.numLinks) figure.head.rest.chain.rotation[k] = {};
      }
      figure.head.rest.chain.rotation[figure.neck.numLinks] = head;
      break;
    }
    default: break;
  }
  // A longer neck makes a taller figure; nothing else changes its height.
  const Point3 stance = figure.body.figurePosition;
  const float gravity = figure.body.gravAccel;
  (void)SettleFigure(figure, height + (LengthOf(figure.neck) - sumBefore));
  figure.body.figurePosition = stance;
  figure.body.gravAccel = gravity;
  return kDone;
}

}  // namespace strider
