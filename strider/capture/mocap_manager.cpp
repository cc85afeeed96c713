#include "strider/capture/mocap_manager.h"

#include <utility>

#include "strider/capture/moc_file.h"
#include "strider/capture/mocap_parameters.h"

namespace strider {
namespace {

constexpr const char* kNoPath = "a path is a line of UTF-8 text without blanks at its ends";

bool IsRow(int row) { return row >= 0 && row < kNumKeyReductionRows; }
bool IsLimb(int limb) { return limb >= 0 && limb < kNumOrientedLimbs; }
std::string NameOfRow(int row, const char* value) {
  return kKeyReductionNames[row] + std::string(value);
}

}  // namespace

int ConversionModeOf(const MocapParameters& parameters) {
  if (parameters.extraction.conversionFlag != 0) return kFsConvert;
  return parameters.freeFormRanges.empty() ? kFsNone : kFsFreeFormRanges;
}

bool SetConversionMode(MocapParameters& parameters, int mode) {
  if (mode != kFsNone && mode != kFsConvert && mode != kFsFreeFormRanges) return false;
  if (mode == kFsFreeFormRanges && parameters.freeFormRanges.empty()) return false;
  parameters.extraction.conversionFlag = mode == kFsConvert ? 1 : 0;
  if (mode == kFsNone) parameters.freeFormRanges.clear();
  return true;
}

bool MocapManager::Set(std::string_view name, double value) {
  const MocapParameter* parameter = FindMocapParameter(name);
  if (parameter->kind == MocapParameter::kSwitch) value = value != 0 ? 1 : 0;
  if (!IsWithin(*parameter, value)) return false;
  parameter->set(values_, parameter->index, value);
  return true;
}

bool MocapManager::SetPath(std::string& to, std::string_view path) {
  std::string_view cut = path.substr(0, kLongestCapturePath);
  const auto goesOn = [&path](std::size_t at) {  // within a character of several bytes
    return at < path.size() && (static_cast<unsigned char>(path[at]) & 0xc0) == 0x80;
  };
  while (goesOn(cut.size()) && !cut.empty()) cut.remove_suffix(1);
  if (!IsPathText(cut)) return false;
  to = cut;
  return true;
}

void MocapManager::SetParameters(const MocapParameters& parameters) {
  const MocapParameters before = std::exchange(values_, parameters);
  for (const MocapParameter& p : AllMocapParameters()) {
    if (p.kind == MocapParameter::kPath) {
      std::string& path = values_.*p.path;
      if (!SetPath(path, std::string(path))) path = before.*p.path;
    } else if (p.kind == MocapParameter::kRanges) {
      if (!AreRanges(values_.freeFormRanges)) values_.freeFormRanges = before.freeFormRanges;
    } else if (p.kind == MocapParameter::kSwitch) {
      p.set(values_, p.index, p.get(values_, p.index) != 0 ? 1 : 0);
    } else if (!IsWithin(p, p.get(values_, p.index))) {
      p.set(values_, p.index, p.get(before, p.index));
    }
  }
  values_.extraction.conversionFlag = values_.extraction.conversionFlag != 0 ? 1 : 0;
  values_.extraction.freeForm.clear();  // freeFormRanges is the setting
}

bool MocapManager::SetFreeFormRanges(const std::vector<FreeFormRange>& ranges) {
  if (!AreRanges(ranges)) return false;
  values_.freeFormRanges = ranges;
  return true;
}

int MocapManager::GetLimbOrientation(int limb) const {
  return IsLimb(limb) ? values_.limbOrientation[static_cast<std::size_t>(limb)] : 0;
}
bool MocapManager::SetLimbOrientation(int limb, int orientation) {
  return IsLimb(limb) && Set(kOrientedLimbNames[limb], orientation);
}

int MocapManager::GetKeyReductionFilter(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].filter : 0;
}
bool MocapManager::SetKeyReductionFilter(int row, int on) {
  return IsRow(row) && Set(NameOfRow(row, "Filter"), on);
}
float MocapManager::GetKeyReductionTol(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].tolerance : 0;
}
bool MocapManager::SetKeyReductionTol(int row, float tolerance) {
  return IsRow(row) && Set(NameOfRow(row, "Tol"), static_cast<double>(tolerance));
}
int MocapManager::GetKeyReductionSpacing(int row) const {
  return IsRow(row) ? values_.keyReduction[static_cast<std::size_t>(row)].spacing : 0;
}
bool MocapManager::SetKeyReductionSpacing(int row, float frames) {
  return IsRow(row) && Set(NameOfRow(row, "Spacing"), static_cast<double>(frames));
}

bool MocapManager::LoadMarkerNameFile(std::string_view path) {
  cause_ = kNoPath;
  const bool read = SetMarkerNameFile(path) &&
                    ReadNameFile(NameKind::kMarkers, std::string(path), markers_, cause_);
  if (read) cause_.clear();
  SetUseMarkerNameFile(read);
  return read;
}

bool MocapManager::LoadJointNameFile(std::string_view path) {
  cause_ = kNoPath;
  const bool read =
      SetJointNameFile(path) && ReadNameFile(NameKind::kJoints, std::string(path), joints_, cause_);
  if (read) cause_.clear();
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
