#include "exchange/glb_body.h"

#include <cstdint>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/host/skel_link.h"

namespace strider {
namespace {

/// The colours of the pictures, as linear light.
struct Tint {
  const char* name;
  float red, green, blue;
};
constexpr Tint kTints[] = {{"right", 0.77f, 0.23f, 0.095f},
                           {"left", 0.105f, 0.296f, 0.604f},
                           {"middle", 0.65f, 0.60f, 0.51f},
                           {"prop", 0.16f, 0.15f, 0.14f}};
constexpr int kMiddleTint = 2, kPropTint = 3;

int TintOf(int id) {
  const BodyPart& part = *FindBodyPart(id);
  if (part.kind == PartKind::kProp) return kPropTint;
  return part.side == kRight ? 0 : part.side == kLeft ? 1 : kMiddleTint;
}

/// The corners of all links that share a material.
struct Surface {
  std::vector<float> places, normals;
  std::vector<std::uint16_t> joints;   // four a corner
  std::vector<std::uint8_t> weights;   // four a corner
  std::vector<std::uint32_t> corners;  // three a triangle
};

void Append(std::vector<float>& numbers, const Point3& p) {
  numbers.insert(numbers.end(), {Plain(p.x), Plain(p.y), Plain(p.z)});
}

void AddLink(Surface& surface, const ShadedMesh& mesh, const Frame& frame, int joint,
             float metres) {
  const auto first = static_cast<std::uint32_t>(surface.places.size() / 3);
  for (std::size_t i = 0; i < mesh.places.size(); ++i) {
    const Point3 place = frame.origin + Rotate(frame.rotation, mesh.places[i]);
    Append(surface.places, metres * place);
    Append(surface.normals, Normalized(Rotate(frame.rotation, mesh.normals[i])));
    surface.joints.insert(surface.joints.end(), {static_cast<std::uint16_t>(joint), 0, 0, 0});
    surface.weights.insert(surface.weights.end(), {255, 0, 0, 0});
  }
  for (const std::uint32_t corner : mesh.triangles) surface.corners.push_back(first + corner);
}

Json AddPrimitive(GlbFile& file, const Surface& surface, const Tint& tint) {
  Json material;
  material["name"] = tint.name;
  material["pbrMetallicRoughness"] = {
      {"baseColorFactor", Json::array({tint.red, tint.green, tint.blue, 1.0f})},
      {"metallicFactor", 0.0f},
      {"roughnessFactor", 0.7f}};
  Json primitive;
  Json& attributes = primitive["attributes"];
  const auto vertices = GlbTarget::kVertices;
  attributes["POSITION"] = file.AddFloats(surface.places, 3, "VEC3", vertices, true);
  attributes["NORMAL"] = file.AddFloats(surface.normals, 3, "VEC3", vertices);
  attributes["JOINTS_0"] = file.AddNumbers(std::span<const std::uint16_t>(surface.joints), 4,
                                           "VEC4", GlbComponent::kShort, vertices);
  const int weights = file.AddNumbers(std::span<const std::uint8_t>(surface.weights), 4, "VEC4",
                                      GlbComponent::kByte, vertices);
  file.Document()["accessors"][static_cast<std::size_t>(weights)]["normalized"] = true;
  attributes["WEIGHTS_0"] = weights;
  primitive["indices"] = file.AddNumbers(std::span<const std::uint32_t>(surface.corners), 1,
                                         "SCALAR", GlbComponent::kInt, GlbTarget::kIndices);
  primitive["material"] = file.Add("materials", std::move(material));
  return primitive;
}

/// What takes a place of the stance into the frame of each joint, column after column.
int AddSkin(GlbFile& file, const GlbFigure& figure) {
  std::vector<float> matrices;
  Json joints = Json::array();
  for (std::size_t i = 0; i < figure.joints.size(); ++i) {
    const int link = figure.joints[i].link;
    const Frame frame = link < 0 ? Frame{} : figure.stance[static_cast<std::size_t>(link)];
    const Quat back = Conjugate(Normalized(frame.rotation));
    for (const Point3& axis : {Point3{1, 0, 0}, Point3{0, 1, 0}, Point3{0, 0, 1}}) {
      Append(matrices, Rotate(back, axis));
      matrices.push_back(0);
    }
    Append(matrices, Rotate(back, -figure.metres * frame.origin));
    matrices.push_back(1);
    joints.push_back(static_cast<int>(i));
  }
  Json skin;
  skin["inverseBindMatrices"] = file.AddFloats(matrices, 16, "MAT4");
  skin["skeleton"] = 0;
  skin["joints"] = std::move(joints);
  return file.Add("skins", std::move(skin));
}

}  // namespace

std::vector<GlbJoint> JointsOf(const std::vector<SkeletonLink>& skeleton, bool rootMotion) {
  std::vector<GlbJoint> joints;
  if (rootMotion) joints.push_back({-1, -1, skeleton.front().name + "_RootMotion"});
  std::vector<int> jointOf(skeleton.size(), -1);
  for (std::size_t i = 0; i < skeleton.size(); ++i) {
    if (skeleton[i].id == kFootprints) continue;
    jointOf[i] = static_cast<int>(joints.size());
    const int parent = skeleton[i].parent;
    joints.push_back(
        {static_cast<int>(i),
         parent < 0 ? (rootMotion ? 0 : -1) : jointOf[static_cast<std::size_t>(parent)],
         skeleton[i].name});
  }
  return joints;
}

std::vector<Frame> StanceFrames(const MotionCore& core, const std::vector<SkeletonLink>& skeleton) {
  MotionCore figure = core;
  PlaceFigure(figure, {}, 0);
  CoreForwardKinematics(figure);
  std::vector<Frame> frames;
  for (const SkeletonLink& link : skeleton) {
    const Matrix3 frame = LinkFrame(figure, link.id, link.link);
    frames.push_back({RotationOf(Orthogonalized(frame)), frame.Origin()});
  }
  return frames;
}

Frame LocalFrame(const std::vector<Frame>& frames, const SkeletonLink& link, int index) {
  const Frame& own = frames[static_cast<std::size_t>(index)];
  if (link.parent < 0) return own;
  const Frame& parent = frames[static_cast<std::size_t>(link.parent)];
  const Quat back = Conjugate(parent.rotation);
  return {back * own.rotation, Rotate(back, own.origin - parent.origin)};
}

int AddGlbBody(GlbFile& file, const MotionCore& core, const GlbFigure& figure, int bodyType) {
  Surface surfaces[std::size(kTints)];
  for (std::size_t i = 0; i < figure.joints.size(); ++i) {
    const int place = figure.joints[i].link;
    if (place < 0) continue;
    const SkeletonLink& link = figure.skeleton[static_cast<std::size_t>(place)];
    const ShadedMesh mesh = Shaded(LinkMesh(core, link.id, link.link, bodyType));
    AddLink(surfaces[TintOf(link.id)], mesh, figure.stance[static_cast<std::size_t>(place)],
            static_cast<int>(i), figure.metres);
  }
  Json mesh;
  mesh["name"] = core.name + "_Body";
  for (std::size_t i = 0; i < std::size(kTints); ++i) {
    if (surfaces[i].corners.empty()) continue;
    mesh["primitives"].push_back(AddPrimitive(file, surfaces[i], kTints[i]));
  }
  Json node;
  node["name"] = core.name + "_Body";
  node["mesh"] = file.Add("meshes", std::move(mesh));
  node["skin"] = AddSkin(file, figure);
  return file.Add("nodes", std::move(node));
}

}  // namespace strider
