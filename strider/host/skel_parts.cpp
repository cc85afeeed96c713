#include "strider/host/skel_parts.h"

#include <utility>

namespace strider {
namespace {

// Fields of a section: along; centre and half along A; centre and half along B; how square. Limbs
// and chains round off about their joints, and the next one starts with as much: so a bend has no
// gap. What lies where across is told at each.

constexpr Section kPlainForm[] = {{0, 0, 1, 0, 1, 0.6f}, {1, 0, 1, 0, 1, 0.6f}};
constexpr Section kBoxForm[] = {{0, 0, 1, 0, 1, 1}, {1, 0, 1, 0, 1, 1}};

// From the chin to the crown. A back, B right.
constexpr Section kHeadForm[] = {
    {0, -0.47f, 0.27f, 0, 0.30f, 0.1f},      {0.06f, -0.42f, 0.38f, 0, 0.44f, 0.1f},
    {0.16f, -0.29f, 0.53f, 0, 0.58f, 0.12f}, {0.30f, -0.12f, 0.73f, 0, 0.69f, 0.1f},
    {0.45f, -0.01f, 0.86f, 0, 0.75f, 0.06f}, {0.62f, 0.05f, 0.92f, 0, 0.79f, 0},
    {0.80f, 0.07f, 0.93f, 0, 0.80f, 0},      {1, 0.08f, 0.90f, 0, 0.78f, 0}};
constexpr Bump kFace[] = {{0.40f, 0.10f, 0, 0.20f, 0.20f},        // the nose, and its bridge
                          {0.50f, 0.10f, 0, 0.14f, 0.09f},        //
                          {0.50f, 0.09f, 0.33f, 0.24f, -0.075f},  // the eyes' hollows
                          {0.58f, 0.07f, 0.30f, 0.34f, 0.035f},   // brows
                          {0.21f, 0.045f, 0, 0.26f, 0.045f},      // the mouth
                          {0.055f, 0.08f, 0, 0.26f, 0.05f},       // the chin
                          {0.36f, 0.12f, 0.48f, 0.22f, 0.035f}};  // cheeks

// From the crotch up to the waist. A back, B right.
constexpr Section kTrianglePelvisForm[] = {
    {0, -0.02f, 0.34f, 0, 0.26f, 0.1f},    {0.16f, 0, 0.50f, 0, 0.56f, 0.1f},
    {0.36f, 0.05f, 0.68f, 0, 0.94f, 0.1f}, {0.60f, 0.03f, 0.67f, 0, 0.95f, 0.12f},
    {0.84f, 0, 0.62f, 0, 0.80f, 0.12f},    {1.04f, 0, 0.60f, 0, 0.70f, 0.12f}};
constexpr Section kPelvisForm[] = {
    {0, 0, 0.46f, 0, 0.62f, 0.3f},          {0.18f, 0.02f, 0.60f, 0, 0.84f, 0.3f},
    {0.40f, 0.05f, 0.68f, 0, 0.96f, 0.25f}, {0.62f, 0.03f, 0.67f, 0, 0.95f, 0.2f},
    {0.84f, 0, 0.62f, 0, 0.80f, 0.15f},     {1.04f, 0, 0.60f, 0, 0.70f, 0.12f}};

// A back, B right; the trunk's own outline is in how the links are fitted.
constexpr Section kSpineForm[] = {{-0.14f, 0, 0.97f, 0, 0.98f, 0.12f},
                                  {0.5f, 0, 1.02f, 0, 1.01f, 0.12f},
                                  {1.14f, 0, 0.97f, 0, 0.98f, 0.12f}};
constexpr Section kChestForm[] = {{-0.14f, 0, 0.98f, 0, 0.98f, 0.12f},
                                  {0.35f, -0.03f, 1.03f, 0, 1.0f, 0.14f},
                                  {0.75f, 0, 0.98f, 0, 0.99f, 0.18f},
                                  {1.16f, 0.05f, 0.86f, 0, 0.96f, 0.2f}};
// A back, B right.
constexpr Section kNeckForm[] = {{-0.35f, 0.08f, 0.92f, 0, 0.98f},
                                 {0, 0.05f, 0.80f, 0, 0.80f},
                                 {0.6f, 0.02f, 0.72f, 0, 0.70f},
                                 {1.35f, 0, 0.72f, 0, 0.70f}};

// From inside the chest to the shoulder's ball. A ahead, B up on the right.
constexpr Section kClavicleForm[] = {{0.22f, -0.1f, 0.42f, -0.12f, 0.26f, 0},
                                     {0.45f, -0.08f, 0.58f, -0.12f, 0.32f, 0},
                                     {0.75f, -0.02f, 0.74f, -0.03f, 0.38f, 0},
                                     {1, 0, 0.84f, 0, 0.43f, 0},
                                     {1.165f, 0, 0.84f, 0, 0.43f, 0}};
// A ahead, B right.
constexpr Section kUpperArmForm[] = {
    {-0.17f, 0, 1.02f, 0, 1.0f, 0},    {0, 0, 1.03f, 0, 1.0f, 0},
    {0.2f, 0.02f, 1.0f, 0, 0.98f, 0},  {0.5f, 0.06f, 0.90f, 0, 0.84f, 0},
    {0.8f, 0.01f, 0.74f, 0, 0.73f, 0}, {0.95f, 0, 0.71f, 0, 0.71f, 0},
    {1.12f, 0, 0.71f, 0, 0.71f, 0}};
constexpr Section kForearmForm[] = {
    {-0.12f, 0, 0.88f, 0, 0.88f, 0},   {0, 0, 0.90f, 0, 0.88f, 0},
    {0.2f, 0.05f, 1.02f, 0, 0.94f, 0}, {0.5f, 0.02f, 0.86f, 0, 0.78f, 0},
    {0.8f, 0, 0.66f, 0, 0.56f, 0.05f}, {1, 0, 0.58f, 0, 0.48f, 0.1f},
    {1.06f, 0, 0.56f, 0, 0.46f, 0.1f}};
// The width across the palm along A, thumb ahead; B right, which is the back of a right hand.
constexpr Section kPalmForm[] = {
    {-0.14f, 0, 0.36f, 0, 0.30f, 0.1f},         {0.08f, 0, 0.38f, 0, 0.31f, 0.15f},
    {0.32f, 0.02f, 0.66f, -0.02f, 0.37f, 0.3f}, {0.62f, 0.02f, 0.90f, -0.03f, 0.38f, 0.4f},
    {0.88f, 0, 0.98f, 0, 0.32f, 0.45f},         {1.06f, 0, 0.98f, 0.01f, 0.26f, 0.45f}};
constexpr Section kMittenForm[] = {
    {-0.14f, 0, 0.36f, 0, 0.30f, 0.1f},         {0.08f, 0, 0.38f, 0, 0.31f, 0.15f},
    {0.32f, 0.05f, 0.62f, -0.03f, 0.38f, 0.3f}, {0.6f, 0.03f, 0.76f, -0.05f, 0.40f, 0.35f},
    {0.9f, -0.04f, 0.74f, -0.04f, 0.34f, 0.4f}, {1.1f, -0.05f, 0.70f, -0.04f, 0.28f, 0.4f}};
constexpr Section kMittenThumbForm[] = {{0.06f, 0.34f, 0.20f, -0.06f, 0.22f, 0},
                                        {0.32f, 0.66f, 0.24f, -0.12f, 0.24f, 0},
                                        {0.6f, 0.90f, 0.21f, -0.16f, 0.22f, 0},
                                        {0.82f, 0.98f, 0.19f, -0.18f, 0.20f, 0},
                                        {1.0f, 1.0f, 0.17f, -0.18f, 0.18f, 0}};

// A back, B left: the inner side of a right leg.
constexpr Section kThighForm[] = {
    {-0.14f, 0.03f, 1.08f, 0, 0.98f, 0},    {0, 0.03f, 1.12f, 0, 1.0f, 0},
    {0.2f, 0, 1.10f, 0.02f, 1.0f, 0},       {0.5f, -0.06f, 0.94f, 0.03f, 0.86f, 0},
    {0.8f, -0.04f, 0.75f, 0, 0.70f, 0.05f}, {0.95f, -0.03f, 0.70f, 0, 0.66f, 0.08f},
    {1.09f, -0.02f, 0.68f, 0, 0.64f, 0.08f}};
constexpr Section kCalfForm[] = {
    {-0.09f, -0.02f, 0.92f, 0, 0.88f, 0.05f}, {0, -0.01f, 0.94f, 0, 0.90f, 0.05f},
    {0.12f, 0.06f, 0.98f, 0, 0.92f, 0},       {0.28f, 0.18f, 1.03f, -0.02f, 0.96f, 0},
    {0.5f, 0.13f, 0.84f, -0.02f, 0.80f, 0},   {0.75f, 0.04f, 0.58f, 0, 0.56f, 0},
    {0.93f, 0.02f, 0.50f, 0, 0.48f, 0},       {1.06f, 0, 0.50f, 0, 0.50f, 0}};
constexpr Section kHorseLinkForm[] = {{-0.2f, 0, 0.84f, 0, 0.82f, 0},
                                      {0, 0, 0.84f, 0, 0.80f, 0},
                                      {0.5f, 0.05f, 0.66f, 0, 0.62f, 0},
                                      {0.9f, 0, 0.62f, 0, 0.62f, 0},
                                      {1.14f, 0, 0.62f, 0, 0.62f, 0}};
// From the heel to the toes, the ankle over a fifth of the way. A up, its sole at -1; B right.
constexpr Section kFootForm[] = {
    {-0.02f, -0.62f, 0.56f, 0, 0.50f, 0.25f},    {0.05f, -0.38f, 0.86f, 0, 0.62f, 0.25f},
    {0.13f, -0.16f, 1.10f, 0, 0.66f, 0.2f},      {0.22f, -0.07f, 1.18f, 0, 0.66f, 0.15f},
    {0.34f, -0.27f, 0.98f, 0.02f, 0.70f, 0.15f}, {0.5f, -0.50f, 0.74f, 0.04f, 0.80f, 0.2f},
    {0.7f, -0.70f, 0.55f, 0.04f, 0.93f, 0.25f},  {0.88f, -0.81f, 0.44f, 0, 0.97f, 0.3f},
    {1.01f, -0.86f, 0.38f, -0.03f, 0.90f, 0.3f}};

constexpr Section kDigitForm[] = {{-0.22f, 0, 0.94f, 0, 0.90f, 0.2f},
                                  {0.5f, 0, 0.92f, 0, 0.88f, 0.2f},
                                  {1.2f, 0, 0.88f, 0, 0.84f, 0.2f}};
constexpr Section kTipForm[] = {{-0.22f, 0, 0.92f, 0, 0.88f, 0.2f},
                                {0.5f, 0, 0.90f, 0, 0.86f, 0.2f},
                                {1.12f, 0, 0.82f, 0, 0.78f, 0.2f}};
constexpr Section kToeTipForm[] = {{-0.22f, 0, 0.94f, 0, 0.94f, 0.3f},
                                   {0.5f, 0, 0.94f, 0, 0.94f, 0.3f},
                                   {1.1f, 0, 0.90f, 0, 0.90f, 0.3f}};
constexpr Section kTailForm[] = {
    {-0.25f, 0, 1, 0, 1, 0}, {0.5f, 0, 1, 0, 1, 0}, {1.2f, 0, 1, 0, 1, 0}};
constexpr Section kPonytailForm[] = {
    {-0.15f, 0, 0.9f, 0, 0.9f, 0}, {0.4f, 0, 1.04f, 0, 1.04f, 0}, {1.1f, 0, 0.94f, 0, 0.94f, 0}};
constexpr Section kPropForm[] = {{0, 0, 1, 0, 1, 0.85f}, {1, 0, 1, 0, 1, 0.85f}};

/// A form with what its kind is called.
struct Part {
  SkelKind kind;
  bool paired;
  Profile profile;
};

constexpr Part kParts[] = {
    {kSkelPlain, false, {.sections = kPlainForm, .startRound = 0.15f, .endRound = 0.15f}},
    {kSkelHead,
     false,
     {.sections = kHeadForm, .startRound = 0.06f, .endRound = 0.42f, .bumps = kFace}},
    {kSkelPelvis,
     false,
     {.sections = kPelvisForm, .startRound = 0.2f, .endRound = 0.1f, .axis = LoftAxis::kY}},
    {kSkelTrianglePelvis,
     false,
     {.sections = kTrianglePelvisForm,
      .startRound = 0.14f,
      .endRound = 0.1f,
      .axis = LoftAxis::kY}},
    {kSkelChest, false, {.sections = kChestForm, .startRound = 0.13f, .endRound = 0.42f}},
    {kSkelSpine, false, {.sections = kSpineForm, .startRound = 0.13f, .endRound = 0.13f}},
    {kSkelNeck, false, {.sections = kNeckForm, .startRound = 0.3f, .endRound = 0.3f}},
    {kSkelClavicle, true, {.sections = kClavicleForm, .startRound = 0.12f, .endRound = 0.165f}},
    {kSkelUpperArm, true, {.sections = kUpperArmForm, .startRound = 0.17f, .endRound = 0.12f}},
    {kSkelForearm, true, {.sections = kForearmForm, .startRound = 0.12f, .endRound = 0.07f}},
    {kSkelMitten, true, {.sections = kMittenForm, .startRound = 0.14f, .endRound = 0.2f}},
    {kSkelPalm, true, {.sections = kPalmForm, .startRound = 0.14f, .endRound = 0.13f}},
    {kSkelThigh, true, {.sections = kThighForm, .startRound = 0.14f, .endRound = 0.09f}},
    {kSkelCalf, true, {.sections = kCalfForm, .startRound = 0.09f, .endRound = 0.05f}},
    {kSkelHorseLink, true, {.sections = kHorseLinkForm, .startRound = 0.18f, .endRound = 0.12f}},
    {kSkelFoot,
     true,
     {.sections = kFootForm,
      .startRound = 0.07f,
      .endRound = 0.09f,
      .axis = LoftAxis::kY,
      .flatSole = true}},
    {kSkelThumb, true, {.sections = kDigitForm, .startRound = 0.3f, .endRound = 0.3f}},
    {kSkelDigit, false, {.sections = kDigitForm, .startRound = 0.3f, .endRound = 0.3f}},
    {kSkelFingerTip, false, {.sections = kTipForm, .startRound = 0.3f, .endRound = 0.5f}},
    {kSkelToeTip, false, {.sections = kToeTipForm, .startRound = 0.3f, .endRound = 0.5f}},
    {kSkelTail, false, {.sections = kTailForm, .startRound = 0.28f, .endRound = 0.25f}},
    {kSkelPonytail, false, {.sections = kPonytailForm, .startRound = 0.25f, .endRound = 0.25f}},
    {kSkelXtra, false, {.sections = kTailForm, .startRound = 0.28f, .endRound = 0.25f}},
    {kSkelTwist, false, {.sections = kBoxForm}},
    {kSkelProp, false, {.sections = kPropForm, .startRound = 0.01f, .endRound = 0.01f}},
};

const Part& PartOf(int kind) {
  for (const Part& part : kParts) {
    if (part.kind == kind || (part.paired && part.kind + 1 == kind)) return part;
  }
  return kParts[0];
}

}  // namespace

bool IsLeftKind(int kind) {
  const Part& part = PartOf(kind);
  return part.paired && part.kind + 1 == kind;
}

const Profile& ProfileOf(int kind) { return PartOf(kind).profile; }

const Profile& MittenThumb() {
  static constexpr Profile kThumb{
      .sections = kMittenThumbForm, .startRound = 0.1f, .endRound = 0.16f};
  return kThumb;
}

LoftFrame LoftFrameOf(const SkelObject& object) {
  return {object.width, object.depth, object.sided != 0 && IsLeftKind(object.kind)};
}

void AddBodyMarker(SkelObject& object) {
  // A post upright in a bar, so that heading and tilt can be told.
  static constexpr Section kPost[] = {{0, 0, 0.4f, 0, 0.4f, 1}, {1, 0, 0.4f, 0, 0.4f, 1}};
  static constexpr Section kBar[] = {{0.35f, 0, 0.3f, 0, 1, 1}, {0.65f, 0, 0.3f, 0, 1, 1}};
  const LoftFrame frame = LoftFrameOf(object);
  for (const std::span<const Section> form : {std::span<const Section>(kPost), {kBar}}) {
    const Profile profile{.sections = form};
    LoftPlan plan;
    plan.rings = {{form.front().along, 4}, {form.back().along, 4}};
    plan.shading = Shading::kFacets;
    AddLoft(object.mesh, profile, plan, frame);
  }
}

void AddThumb(SkelObject& object) {
  // A tip at either end and three rings of four; the inner side of a right thumb is flatter.
  static constexpr Point3 kCorners[14] = {
      {-0.241733f, 0.021846f, -0.038514f}, {-0.052418f, 0.618273f, 0.604912f},
      {-0.052418f, -0.634107f, 0.596375f}, {-0.052418f, -0.640285f, -0.521466f},
      {-0.052418f, 0.627914f, -0.530118f}, {0.468531f, 0.713642f, 0.681207f},
      {0.468531f, -0.702915f, 0.668054f},  {0.468531f, -0.711836f, -0.574329f},
      {0.468531f, 0.722187f, -0.588741f},  {0.974106f, 0.542618f, 0.507733f},
      {0.974106f, -0.531274f, 0.498216f},  {0.974106f, -0.538862f, -0.417785f},
      {0.974106f, 0.549027f, -0.429604f},  {1.136482f, 0.014529f, 0.028147f}};
  const LoftFrame frame = LoftFrameOf(object);
  SkelMesh& mesh = object.mesh;
  for (const Point3& p : kCorners) {
    mesh.vertices.push_back({p.x, p.y * frame.width, (frame.mirrored ? -p.z : p.z) * frame.depth});
  }
  const auto add = [&](int a, int b, int c, bool closing) {
    SkelFace face{{a, b, c}, 1, {true, true, true}};
    face.edgeVisible[1] = !closing;
    if (frame.mirrored) {
      std::swap(face.corner[1], face.corner[2]);
    }
    mesh.faces.push_back(face);
  };
  for (int i = 0; i < 4; ++i) {
    const int next = (i + 1) % 4;
    add(0, 1 + next, 1 + i, false);
    for (int ring = 1; ring < 9; ring += 4) {
      add(ring + i, ring + next, ring + 4 + i, true);
      add(ring + 4 + next, ring + 4 + i, ring + next, true);
    }
    add(13, 9 + i, 9 + next, false);
  }
}

}  // namespace strider
