#include "exchange/body_solids.h"

#include <algorithm>

#include "strider/core/evaluate.h"

namespace strider {
namespace {

/// A ring of a link's body: where along the bone, and its share of half the width and depth.
struct Ring {
  float along, share;
};

Ellipsoid Ball(const Matrix3& frame, const Point3& place, const Point3& radii) {
  return {place * frame, {radii.x * frame.row[0], radii.y * frame.row[1], radii.z * frame.row[2]}};
}
Ellipsoid Ball(const Matrix3& frame, const Point3& place, float radius) {
  return Ball(frame, place, {radius, radius, radius});
}

/// Eight small ellipsoids at the corners of a box: their hull is the box with rounded edges.
void AddRoundedBox(Solid& solid, const Matrix3& frame, const Point3& low, const Point3& high,
                   const Point3& rounding) {
  for (int corner = 0; corner < 8; ++corner) {
    Point3 place;
    for (int i = 0; i < 3; ++i) {
      place[i] = (corner >> i & 1) != 0 ? high[i] - rounding[i] : low[i] + rounding[i];
    }
    solid.hull.push_back(Ball(frame, place, rounding));
  }
}

class BodyBuilder {
 public:
  explicit BodyBuilder(const MotionCore& core) : core_(core) {}

  Body Build() {
    AddTapering(kTail, 0.75f, 0.2f);
    AddPelvis();
    if (core_.structure.arms) {  // before the chest that they lie in
      for (int id : {kLeftArm, kRightArm}) AddShoulder(id, *FindLimb(core_, id));
    }
    AddTrunk();
    for (int k = 0; k < core_.neck.numLinks; ++k) AddLink(kNeck, k, {{0, 0.95f}, {1, 0.85f}});
    AddHead();
    AddTapering(kPony1, 0.55f, 0.15f);
    AddTapering(kPony2, 0.55f, 0.15f);
    for (int i = 0; i < static_cast<int>(core_.xtras.size()); ++i) {
      AddTapering(kXtraFirst + i, 0.6f, 0.2f);
    }
    for (int id : {kLeftLeg, kRightLeg}) AddLeg(id);
    if (core_.structure.arms) {
      for (int id : {kLeftArm, kRightArm}) AddArm(id);
    }
    for (int id : {kProp1, kProp2, kProp3}) AddProp(id);
    AddJoints();
    return std::move(body_);
  }

 private:
  Solid& Add(int id, int link) {
    Solid solid;
    solid.id = id;
    solid.link = link;
    const BodyPart* part = FindBodyPart(id);
    solid.side = part != nullptr ? part->side : kNoSide;
    frame_ = UnmirroredLinkTransform(core_, id, link);
    size_ = LinkDimensions(core_, id, link);
    solid.boneStart = frame_.Origin();
    solid.boneEnd = Point3{size_.x, 0, 0} * frame_;
    body_.solids.push_back(solid);
    return body_.solids.back();
  }

  /// A body round about its bone.
  void AddLink(int id, int link, std::initializer_list<Ring> rings) {
    Solid& solid = Add(id, link);
    for (const Ring& ring : rings) {
      const float width = 0.5f * ring.share * size_.y, depth = 0.5f * ring.share * size_.z;
      const Point3 radii{std::min(width, depth), width, depth};
      solid.hull.push_back(Ball(frame_, {ring.along * size_.x, 0, 0}, radii));
    }
  }

  /// A chain that grows thinner from its first link to its end.
  void AddTapering(int id, float from, float to) {
    const ChainRecord* chain = FindChain(core_, id);
    const int links = chain != nullptr ? chain->numLinks : 0;
    for (int k = 0; k < links; ++k) {
      const float step = (to - from) / static_cast<float>(links);
      const float share = from + step * static_cast<float>(k);
      AddLink(id, k, {{0, share}, {1, share + step}});
    }
  }

  /// The hips' bodies and, above them, where the spine begins. X ahead, Y left, Z up.
  void AddPelvis() {
    Solid& solid = Add(kPelvis, 0);
    solid.boneEnd = solid.boneStart;
    const float half = 0.5f * size_.x, width = 0.5f * size_.y, depth = 0.5f * size_.z;
    for (float side : {-1.0f, 1.0f}) {
      const Point3 hip = core_.pelvis.frame.row[2] * (side * half);
      const Point3 waist = core_.pelvis.frame.row[2] * (side * 0.45f * width) +
                           core_.pelvis.frame.row[1] * (0.8f * width);
      for (const auto& [place, radius] : {std::pair{hip, 0.62f}, std::pair{waist, 0.5f}}) {
        const Point3 centre = HostFromCore(core_.pelvis.frame.Origin() + place);
        Matrix3 frame = frame_;
        frame.row[3] = centre;
        solid.hull.push_back(Ball(frame, {}, radius * Point3{depth, width, width}));
      }
    }
  }

  /// The spine's links carry the breadth of a trunk, whatever their number: a waist, a chest, and
  /// shoulders. In halves of the pelvis's width and depth.
  void AddTrunk() {
    struct Section {
      float along, width, depth;
    };
    static constexpr Section kSections[] = {
        {0, 0.98f, 0.66f}, {0.22f, 0.94f, 0.62f}, {0.75f, 1.36f, 0.8f}, {1, 1.2f, 0.62f}};
    const auto sectionAt = [](float along) {
      int i = 0;
      while (i < 2 && along > kSections[i + 1].along) ++i;
      const Section &a = kSections[i], &b = kSections[i + 1];
      const float u = (along - a.along) / (b.along - a.along);
      return Section{along, a.width + u * (b.width - a.width), a.depth + u * (b.depth - a.depth)};
    };
    const int links = core_.spine.numLinks;
    const float width = 0.5f * core_.pelvis.width, depth = 0.5f * core_.pelvis.depth;
    for (int k = 0; k < links; ++k) {
      Solid& solid = Add(kSpine, k);
      const float from = static_cast<float>(k) / static_cast<float>(links);
      const float to = static_cast<float>(k + 1) / static_cast<float>(links);
      const auto addSection = [&](const Section& s) {
        const float x = (s.along - from) / (to - from) * size_.x;
        // Spine frames: X up, Y back, Z right.
        solid.hull.push_back(
            Ball(frame_, {x, 0, 0}, {0.16f * width, s.depth * depth, s.width * width}));
      };
      addSection(sectionAt(from));
      for (const Section& s : kSections) {
        if (s.along > from && s.along < to) addSection(s);
      }
      addSection(sectionAt(to));
    }
  }

  /// Skull and jaw, from the chin under the joint to the crown, and a nose that tells where the
  /// face is. X up, Y back, Z right.
  void AddHead() {
    Solid& solid = Add(kHead, 0);
    solid.boneEnd = solid.boneStart;
    const float chin = core_.head.sizes[0], crown = core_.head.sizes[1];
    const float width = 0.5f * core_.head.sizes[2], depth = 0.5f * core_.head.sizes[3];
    const float skull = 0.38f * (crown + chin);
    solid.hull.push_back(
        Ball(frame_, {crown - skull, 0.06f * depth, 0}, {skull, 0.94f * depth, 0.9f * width}));
    const float jaw = 0.22f * (crown + chin);
    solid.hull.push_back(
        Ball(frame_, {jaw - chin, -0.26f * depth, 0}, {jaw, 0.62f * depth, 0.62f * width}));
    Solid& nose = Add(kHead, 0);
    nose.boneEnd = nose.boneStart;
    const float bridge = 0.35f * (crown + chin) - chin;
    nose.hull.push_back(Ball(frame_, {bridge + 0.28f * depth, -0.84f * depth, 0}, 0.06f * depth));
    nose.hull.push_back(Ball(frame_, {bridge, -0.93f * depth, 0}, 0.13f * depth));
  }

  void AddLeg(int id) {
    const LimbRecord& leg = *FindLimb(core_, id);
    const int foot = NumLimbLinks(leg) - 1;
    AddFoot(id, foot, leg);
    if (leg.hasFourLinks) AddLink(id, 2, {{0, 0.85f}, {1, 0.75f}});
    AddLink(id, 1, {{0, 0.95f}, {0.3f, 1}, {1, leg.hasFourLinks ? 0.68f : 0.6f}});
    AddLink(id, 0, {{0, 1}, {0.25f, 1}, {1, 0.7f}});
    AddDigits(leg.side == kRight ? kRightToes : kLeftToes, leg);
  }

  /// The foot on its true sole. X down to the sole, Y ahead, Z right.
  void AddFoot(int id, int link, const LimbRecord& leg) {
    Solid& solid = Add(id, link);
    const float height = leg.extremityHeight, half = 0.5f * leg.extremityWidth;
    const float ankle = std::min(0.62f * half, 0.5f * height);
    solid.hull.push_back(Ball(frame_, {}, ankle));
    const float round = 0.12f * height;
    const auto addSoleCorners = [&](float y, float inset, float thickness, float breadth) {
      const float end = y > 0 ? y - inset : y + inset;
      for (float side : {-1.0f, 1.0f}) {
        solid.hull.push_back(Ball(frame_, {height - thickness, end, side * (breadth - round)},
                                  {thickness, inset, round}));
      }
    };
    const float length = leg.toeLength + leg.heelLength;
    addSoleCorners(leg.toeLength, 0.05f * length, round, half);
    addSoleCorners(-leg.heelLength, 0.05f * length, 2 * round, 0.85f * half);
    // The bone of a foot is its sole.
    solid.boneStart = Point3{height, -leg.heelLength, 0} * frame_;
    solid.boneEnd = Point3{height, leg.toeLength, 0} * frame_;
  }

  void AddArm(int id) {
    const LimbRecord& arm = *FindLimb(core_, id);
    AddLink(id, 1, {{0, 1.05f}, {0.3f, 0.95f}, {1, 0.8f}});
    AddLink(id, 2, {{0, 0.95f}, {0.25f, 1}, {1, 0.65f}});
    AddDigits(arm.side == kRight ? kRightFingers : kLeftFingers, arm);
    AddHand(id, arm);
  }

  /// From the neck to the shoulder joint, as thick there as the upper arm that it carries. The
  /// clavicle's own start lies across the middle, inside the chest.
  void AddShoulder(int id, const LimbRecord& arm) {
    Solid& solid = Add(id, 0);
    const float joint = 0.5f * arm.dimensions[1].y, length = arm.dimensions[0].x;
    const float middle = std::min(arm.baseSize, 0.5f * length);
    solid.hull.push_back(Ball(frame_, {middle + 0.3f * (length - middle), 0, 0}, 0.45f * joint));
    solid.hull.push_back(Ball(frame_, {length, 0, 0}, 1.15f * joint));
  }

  /// Wrist and palm: the width runs along Y, the thickness along Z.
  void AddHand(int id, const LimbRecord& arm) {
    Solid& solid = Add(id, 3);
    const float wrist = 0.34f * arm.dimensions[2].y;
    solid.hull.push_back(Ball(frame_, {}, std::min(wrist, 0.45f * arm.extremityWidth)));
    const float half = 0.42f * arm.extremityWidth;
    float front = half, thick = 0.24f * arm.extremityHeight;
    if (core_.structure.foreFeet) {  // digits leave a fore foot's front, side by side across it
      front = 0.5f * arm.extremityWidth;
      thick = 0.48f * arm.extremityHeight;
    }
    const Point3 rounding{0.18f * arm.toeLength, 0.2f * (front + half), 0.5f * thick};
    AddRoundedBox(solid, frame_, {0.25f * arm.toeLength, -half, -thick},
                  {arm.toeLength, front, thick}, rounding);
  }

  void AddDigits(int id, const LimbRecord& limb) {
    for (int d = 0; d < limb.numDigits; ++d) {
      for (int k = 0; k < limb.digits[d].numLinks; ++k) {
        AddLink(id, d * limb.digitLinks + k, {{0, 0.95f}, {1, 0.85f}});
      }
    }
  }

  void AddProp(int id) {
    const PropRecord& prop = core_.props[id - kProp1];
    if (!prop.exists) return;
    Solid& solid = Add(id, 0);
    solid.isProp = true;
    const float half = 0.5f * size_.y, depth = 0.5f * size_.z;
    AddRoundedBox(solid, frame_, {0, -half, -depth}, {size_.x, half, depth},
                  0.3f * Point3{half, half, depth});
  }

  int Find(int id, int link) const {
    for (int i = 0; i < static_cast<int>(body_.solids.size()); ++i) {
      const Solid& solid = body_.solids[static_cast<std::size_t>(i)];
      if (solid.id == id && solid.link == link) return i;
    }
    return -1;
  }

  /// A joint where a link hangs from the one before it in its limb or chain, and where limbs,
  /// chains and head start.
  void AddJoints() {
    for (int i = 0; i < static_cast<int>(body_.solids.size()); ++i) {
      const Solid& solid = body_.solids[static_cast<std::size_t>(i)];
      const BodyPart* part = FindBodyPart(solid.id);
      const bool firstOfItsLink = Find(solid.id, solid.link) == i;
      if (!firstOfItsLink || solid.isProp || part == nullptr || part->kind == PartKind::kPelvis) {
        continue;
      }
      if (part->kind == PartKind::kArm && solid.link == 0) continue;  // inside the chest
      const bool digit = part->kind == PartKind::kFingers || part->kind == PartKind::kToes;
      int parent = i;
      if (!digit && solid.link > 0) parent = Find(solid.id, solid.link - 1);
      const Point3 size = LinkDimensions(core_, solid.id, solid.link);
      const float reference = digit ? size.y : core_.arm[kRight].dimensions[2].y;
      const Point3 place = UnmirroredLinkTransform(core_, solid.id, solid.link).Origin();
      body_.joints.push_back({place, (digit ? 0.18f : 0.12f) * reference, i, parent});
    }
  }

  const MotionCore& core_;
  Body body_;
  Matrix3 frame_;  // of the link at work
  Point3 size_;
};

}  // namespace

Body BodySolids(const MotionCore& core) { return BodyBuilder(core).Build(); }

}  // namespace strider
