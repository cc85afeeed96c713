#include "strider/storage/figure_draft.h"

#include <algorithm>
#include <cmath>

#include "strider/core/figure_layout.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

ChainDraft DraftOf(const ChainRecord& chain) {
  ChainDraft draft;
  for (int k = 0; k < chain.numLinks; ++k) draft.lengths.push_back(chain.dimensions[k].x);
  draft.rest = RowsOf(chain.baseRotation, chain.baseOffset);
  return draft;
}

std::vector<DigitDraft> DigitsOf(const LimbRecord& limb) {
  std::vector<DigitDraft> drafts;
  for (int d = 0; d < limb.numDigits; ++d) {
    const DigitRecord& digit = limb.digits[d];
    DigitDraft& draft = drafts.emplace_back();
    draft.rest = RowsOf(digit.baseRotation, digit.baseOffset);
    for (int k = 0; k < digit.numLinks; ++k) draft.lengths.push_back(digit.dimensions[k].x);
  }
  return drafts;
}

void Give(const ChainDraft& draft, ChainRecord& chain) {
  for (int k = 0; k < chain.numLinks; ++k) chain.dimensions[k].x = draft.lengths[At(k)];
  if (!draft.hasRest) return;
  chain.baseRotation = RotationOf(draft.rest);
  chain.baseOffset = OffsetOf(draft.rest);
}

void Give(const std::vector<DigitDraft>& drafts, LimbRecord& limb) {
  for (int d = 0; d < limb.numDigits; ++d) {
    const DigitDraft& draft = drafts[At(d)];
    DigitRecord& digit = limb.digits[d];
    digit.baseRotation = RotationOf(draft.rest);
    digit.baseOffset = OffsetOf(draft.rest);
    for (int k = 0; k < digit.numLinks && k < static_cast<int>(draft.lengths.size()); ++k) {
      digit.dimensions[k].x = draft.lengths[At(k)];
    }
  }
}

void Give(const LegDraft& draft, LimbRecord& leg) {
  leg.upperLength = draft.lengths[0];
  leg.lowerLength = draft.lengths[1];
  leg.endLength = draft.lengths[2];
  leg.toeLength = draft.toeLength;
  leg.baseOffset = draft.offset;
  leg.extremityHeight = draft.ankleHeight;
  leg.totalLength = leg.upperLength + leg.lowerLength + (leg.hasFourLinks ? leg.endLength : 0);
  Give(draft.toes, leg);
}

void Give(const ArmDraft& draft, LimbRecord& arm) {
  arm.upperLength = draft.lengths[0];
  arm.lowerLength = draft.lengths[1];
  arm.endLength = draft.lengths[2];
  arm.totalLength = arm.upperLength + arm.lowerLength;
  arm.toeLength = draft.hand[0];
  arm.extremityHeight = draft.hand[1];
  arm.extremityWidth = draft.sizes[0];
  arm.heelLength = draft.sizes[1];
  arm.dimensions[0] = {draft.clavicle[0], draft.clavicle[1], draft.sizes[2]};
  arm.baseOffset = {draft.base[0], draft.base[1], draft.base[2]};
  arm.baseSize = draft.base[3];
  Give(draft.fingers, arm);
}

int MostLinks(const std::vector<DigitDraft>& digits) {
  int links = 0;
  for (const DigitDraft& digit : digits) {
    links = std::max(links, static_cast<int>(digit.lengths.size()));
  }
  return links;
}

/// What the lists of links say of the structure's counts.
void CountLinks(const FigureDraft& draft, Structure& s) {
  const auto links = [](const ChainDraft& chain) { return static_cast<int>(chain.lengths.size()); };
  s.spineLinks = links(draft.spine);
  s.neckLinks = links(draft.neck);
  s.tailLinks = draft.hasTail ? links(draft.tail) : 0;
  s.ponytail1Links = links(draft.pony[0]);
  s.ponytail2Links = links(draft.pony[1]);
  s.legLinks = draft.leg[kRight].fourLinks ? 4 : 3;
  s.toes = static_cast<int>(draft.leg[kRight].toes.size());
  s.toeLinks = MostLinks(draft.leg[kRight].toes);
  if (s.arms) {
    s.fingers = static_cast<int>(draft.arm[kRight].fingers.size());
    const int most = MostLinks(draft.arm[kRight].fingers);
    // A hand of one short thumb shows one link fewer than it was asked for.
    const bool onlyThumb = s.shortThumb && s.fingers == 1 && s.fingerLinks == most + 1;
    if (s.fingers > 0 && !onlyThumb) s.fingerLinks = most;
  }
  const bool told = draft.ankleAttach >= 0 && draft.ankleAttach <= 1;
  s.ankleAttach = told ? draft.ankleAttach : Structure{}.ankleAttach;
}

/// Sizes that a figure can stand on.
std::string FaultOf(const FigureDraft& draft) {
  for (const LegDraft& leg : draft.leg) {
    for (const float length : {leg.lengths[0], leg.lengths[1], leg.toeLength, leg.ankleHeight}) {
      if (!(length > 0)) return "a leg without a length";
    }
    if (leg.fourLinks && !(leg.lengths[2] > 0)) return "a leg without a length";
    if (leg.toes.size() != draft.leg[kRight].toes.size()) return "feet with different toes";
    if (leg.fourLinks != draft.leg[kRight].fourLinks) return "legs with different links";
  }
  if (draft.structure.arms) {
    for (const ArmDraft& arm : draft.arm) {
      if (!(arm.lengths[0] > 0) || !(arm.lengths[1] > 0)) return "an arm without a length";
      if (arm.fingers.size() != draft.arm[kRight].fingers.size()) {
        return "hands with different fingers";
      }
    }
  }
  float spine = 0;
  for (const float length : draft.spine.lengths) spine += length;
  if (!(spine > 0)) return "a spine without a length";
  return "";
}

}  // namespace

RestRows RowsOf(const Quat& rotation, const Point3& offset) {
  const Matrix3 m = FrameOf(rotation, offset);
  const float column[4] = {rotation.x, rotation.y, rotation.z, rotation.w};
  RestRows rows;
  for (int i = 0; i < 4; ++i) {
    rows.row[i][0] = m.row[i].x;
    rows.row[i][1] = m.row[i].y;
    rows.row[i][2] = m.row[i].z;
    rows.row[i][3] = column[i];
  }
  return rows;
}

Quat RotationOf(const RestRows& rows) {
  constexpr float kSame = 1e-4f;  // six decimals leave less than that
  const auto& r = rows.row;
  const Quat q{r[0][3], r[1][3], r[2][3], r[3][3]};
  const Matrix3 told{
      {{r[0][0], r[0][1], r[0][2]}, {r[1][0], r[1][1], r[1][2]}, {r[2][0], r[2][1], r[2][2]}, {}}};
  if (std::fabs(Dot(q, q) - 1) <= kSame) {
    const Matrix3 own = FrameOf(q, {});
    bool same = true;
    for (int i = 0; i < 3; ++i) same = same && Length(own.row[i] - told.row[i]) <= 10 * kSame;
    if (same) return q;
  }
  // Rows that are no rotation at all stand for none.
  constexpr float kSquare = 0.01f;
  for (int i = 0; i < 3; ++i) {
    if (std::fabs(Length(told.row[i]) - 1) > kSquare) return {};
    if (std::fabs(Dot(told.row[i], told.row[(i + 1) % 3])) > kSquare) return {};
  }
  if (Dot(Cross(told.row[0], told.row[1]), told.row[2]) < 0) return {};
  return RotationOf(told);
}

FigureDraft DraftOf(const MotionCore& core) {
  FigureDraft draft;
  draft.structure = core.structure;
  draft.hasTail = core.tail.numLinks > 0;
  draft.spine = DraftOf(core.spine);
  draft.neck = DraftOf(core.neck);
  draft.tail = DraftOf(core.tail);
  for (int i = 0; i < 2; ++i) draft.pony[i] = DraftOf(core.pony[i]);
  draft.pelvisWidth = core.pelvis.width;
  for (int side = 0; side < 2; ++side) {
    const LimbRecord& leg = core.leg[side];
    LegDraft& to = draft.leg[side];
    to.fourLinks = leg.hasFourLinks;
    to.hipWidth = core.pelvis.hipOffset;
    to.lengths[0] = leg.upperLength;
    to.lengths[1] = leg.lowerLength;
    to.lengths[2] = leg.endLength;
    to.toeLength = leg.toeLength;
    to.offset = leg.baseOffset;
    to.ankleHeight = leg.extremityHeight;
    to.toes = DigitsOf(leg);

    const LimbRecord& arm = core.arm[side];
    ArmDraft& hand = draft.arm[side];
    hand.lengths[0] = arm.upperLength;
    hand.lengths[1] = arm.lowerLength;
    hand.lengths[2] = arm.endLength;
    hand.clavicle[0] = arm.dimensions[0].x;
    hand.clavicle[1] = arm.dimensions[0].y;
    hand.sizes[2] = arm.dimensions[0].z;
    hand.hand[0] = arm.toeLength;
    hand.hand[1] = arm.extremityHeight;
    hand.sizes[0] = arm.extremityWidth;
    hand.sizes[1] = arm.heelLength;
    hand.base[0] = arm.baseOffset.x;
    hand.base[1] = arm.baseOffset.y;
    hand.base[2] = arm.baseOffset.z;
    hand.base[3] = arm.baseSize;
    hand.fingers = DigitsOf(arm);
  }
  for (int i = 0; i < 3; ++i) {
    const Point3& size = core.props[i].dimensions;
    draft.prop[i][0] = size.x;
    draft.prop[i][1] = size.y;
    draft.prop[i][2] = size.z;
  }
  for (const XtraChain& xtra : core.xtras) {
    XtraDraft& to = draft.xtras.emplace_back();
    to.chain = DraftOf(xtra.chain);
    to.numbers[0] = xtra.parentId;
    to.numbers[1] = xtra.parentLink;
    to.name = xtra.name;
  }
  draft.unitShapeLinks = core.unitShapeLinks;
  draft.defaultBalance = core.body.defaultBalance;
  draft.height = core.structure.height;
  draft.laidOutLengths = core.laidOutLengths;
  draft.ankleAttach = core.structure.ankleAttach;
  return draft;
}

bool HeightOfLengths(const MotionCore& core, float& height) {
  const double links = 15.0 * core.neck.numLinks;
  const double rest = static_cast<double>(SumOfLengths(core)) - core.head.sizes[1];
  height = static_cast<float>(rest * ((400 + links) / (350 + links)));
  Structure trial = core.structure;
  // Lengths that are each within their bounds can still sum up past what a figure may be.
  return SetParameter(trial, *FindStructureParameter("height"), height);
}

std::string BuildFigure(const FigureDraft& draft, MotionCore& core) {
  const std::string fault = FaultOf(draft);
  if (!fault.empty()) return fault;
  Structure s = draft.structure;
  CountLinks(draft, s);
  s.height = draft.height > 0 ? draft.height : Structure{}.height;
  if (const StructureParameter* bad = FindIllegalParameter(s)) {
    return std::string(bad->name) + " outside its limits";
  }
  core.xtras.clear();
  for (const XtraDraft& draftXtra : draft.xtras) {
    XtraChain& xtra = core.xtras.emplace_back();
    xtra.name = draftXtra.name;
    xtra.parentId = draftXtra.numbers[0];
    xtra.parentLink = draftXtra.numbers[1];
    xtra.chain.numLinks = static_cast<int>(draftXtra.chain.lengths.size());
  }
  LayOutFigure(core, s);
  core.pelvis.width = draft.pelvisWidth;
  core.pelvis.hipOffset = draft.leg[kRight].hipWidth;
  Give(draft.spine, core.spine);
  Give(draft.neck, core.neck);
  if (draft.hasTail) Give(draft.tail, core.tail);
  for (int i = 0; i < 2; ++i) Give(draft.pony[i], core.pony[i]);
  for (int side = 0; side < 2; ++side) {
    Give(draft.leg[side], core.leg[side]);
    if (s.arms) Give(draft.arm[side], core.arm[side]);
  }
  for (int i = 0; i < 3; ++i) {
    if (core.props[i].exists) {
      core.props[i].dimensions = {draft.prop[i][0], draft.prop[i][1], draft.prop[i][2]};
    }
  }
  for (std::size_t i = 0; i < core.xtras.size(); ++i) {
    XtraChain& xtra = core.xtras[i];
    Give(draft.xtras[i].chain, xtra.chain);
    // A chain whose parent is no link of the figure hangs from the pelvis.
    if (!HasLink(core, xtra.parentId, xtra.parentLink) || IsXtra(xtra.parentId)) {
      xtra.parentId = kPelvis;
      xtra.parentLink = 0;
    }
  }
  core.unitShapeLinks = draft.unitShapeLinks;
  core.body.defaultBalance = draft.defaultBalance;
  // The height that the user gave counts as long as the lengths do not say something else.
  constexpr float kLeast = 0.2f, kMost = 5;
  const float share = SumOfLengths(core) / draft.laidOutLengths;
  if (draft.height > 0 && share > kLeast && share < kMost) {
    core.laidOutLengths = draft.laidOutLengths;
  } else {
    // The head's size is not told by this block: by the others the next save says the same height.
    if (!HeightOfLengths(core, core.structure.height)) return "lengths that make no height";
    for (float& size : core.head.sizes) size *= core.structure.height / s.height;
    core.laidOutLengths = SumOfLengths(core);
  }
  RefreshBodyLaws(core);
  PlaceFigure(core, {}, 0);
  return "";
}

}  // namespace strider
