#include "strider/host/footprint_mouse.h"

#include <cmath>

#include "strider/host/strider_master.h"

namespace strider {
namespace {

// A pointer flatter to the plane than this, as a sine, hits nothing that a user could mean.
constexpr float kFlattest = 1e-4f;

}  // namespace

bool FprintAddMouseProc::HitOf(const ViewRay& ray, Point3& hit) const {
  Point3 place, normal{0, 0, 1};
  if (plane_) {
    place = plane_->Origin();
    normal = Normalized(Cross(plane_->row[0], plane_->row[1]));
  } else {
    place = master_.UnmirroredTransform(kFootprints, 0, master_.OwnSession().scene.Time()).Origin();
  }
  const Point3 ahead = Normalized(ray.direction);
  const float slope = Dot(ahead, normal), height = Dot(place - ray.origin, normal);
  if (!(std::fabs(slope) >= kFlattest)) return false;
  const float distance = height / slope;
  const Point3 met = ray.origin + distance * ahead;
  if (!(distance >= 0) || !IsFinite(met)) return false;
  hit = met;
  return true;
}

int FprintAddMouseProc::Proc(MouseMessage message, const ViewRay& ray) {
  Point3 hit;
  if (message != MouseMessage::kPress || !HitOf(ray, hit)) return 0;
  Hold& hold = master_.OwnSession().hold;
  hold.Begin();
  const int code = master_.AddFootstepNow(hit);
  (void)hold.Accept("Add Footstep");
  return code;
}

bool FprintAddCMode::EnterMode() {
  active_ = active_ || master_.FootstepsCanChange();
  return active_;
}

int FprintAddCMode::Mouse(MouseMessage message, const ViewRay& ray) {
  if (!active_) return 0;
  if (message == MouseMessage::kAbort) ExitMode();
  return proc_.Proc(message, ray);
}

std::unique_ptr<FootprintControl> FootprintClassDesc::Create(StriderMaster& master) const {
  return std::make_unique<FootprintControl>(master);
}

}  // namespace strider
