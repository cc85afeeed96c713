#include "strider/capture/mocap_manager.h"

#include <cmath>

#include "strider/capture/moc_file.h"

namespace strider {
namespace {

bool IsRow(int row) { return row >= 0 && row < kNumKeyReductionRows; }
bool IsLimb(int limb) { return limb >= 0 && limb < kNumOrientedLimbs; }

}  // namespace

int MocapManager::GetFSConversionMode() const {
  if (values_.extraction.conversionFlag != 0) return kFsConvert;
  return values_.freeFormRanges > 0 ? kFsFreeFormRanges : kFsNone;
}

void MocapManager::SetFSConversionMode(int mode) {
  values_.extraction.conversionFlag = mode == kFsConvert;
  if (mode == kFsNone) values_.freeFormRanges = 0;
  if (mode == kFsFreeFormRanges) values_.freeFormRanges = std::max(values_.freeFormRanges, 1);
}

int MocapManager::GetLimbOrientation(int limb) const {
  return IsLimb(limb) ? values_.limbOrientation[static_cast<std::size_t>(limb)] : 0;
}
void MocapManager::SetLimbOrientation(int limb, int orientation) {
  if (IsLimb(limb)) values_.limbOrientation[static_cast<std::size_t>(limb)] = orientation;
}

int MocapManager::GetKeyReductionFilter(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].filter : 0;
}
void MocapManager::SetKeyReductionFilter(int row, int on) {
  if (IsRow(row)) values_.keyReduction[static_cast<std::size_t>(row)].filter = on;
}
float MocapManager::GetKeyReductionTol(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].tolerance : 0;
}
void MocapManager::SetKeyReductionTol(int row, float tolerance) {
  if (IsRow(row)) values_.keyReduction[static_cast<std::size_t>(row)].tolerance = tolerance;
}
int MocapManager::GetKeyReductionSpacing(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].spacing : 0;
}
void MocapManager::SetKeyReductionSpacing(int row, float frames) {
  constexpr double kMost = 99999999;
  if (!IsRow(row) || !(std::abs(static_cast<double>(frames)) <= kMost)) return;
  values_.keyReduction[static_cast<std::size_t>(row)].spacing = static_cast<int>(frames);
}

bool MocapManager::LoadMarkerNameFile(std::string_view path) {
  SetMarkerNameFile(path);
  const bool read = ReadNameFile(NameKind::kMarkers, std::string(path), markers_, cause_);
  SetUseMarkerNameFile(read);
  return read;
}

bool MocapManager::LoadJointNameFile(std::string_view path) {
  SetJointNameFile(path);
  const bool read = ReadNameFile(NameKind::kJoints, std::string(path), joints_, cause_);
  SetUseJointNameFile(read);
  return read;
}

int MocapManager::LoadMocapParameters(const std::string& path) {
  MocapParameters read;
  cause_.clear();
  if (!ReadMocFile(path, read, cause_)) return 0;
  values_ = read;
  if (values_.useMarkerNameFile) (void)LoadMarkerNameFile(std::string(values_.markerNameFile));
  if (values_.useJointNameFile) (void)LoadJointNameFile(std::string(values_.jointNameFile));
  return 1;
}

int MocapManager::SaveMocapParameters(const std::string& path) {
  cause_.clear();
  return WriteMocFile(path, values_, cause_) ? 1 : 0;
}

}  // namespace strider
