// The settings by which captures are read and converted. One sitting has one of them.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "strider/capture/key_reduction_table.h"
#include "strider/capture/name_file.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {

/// Limbs in the order of their orientation settings.
enum OrientedLimb : int { kOrientKnee, kOrientElbow, kOrientFoot, kOrientHand, kNumOrientedLimbs };

inline constexpr int kWholeFile = -1;
inline constexpr std::size_t kLongestCapturePath = 255;

/// What the settings are. MocapManager is the way to them that checks and cuts.
struct MocapParameters {
  int upVector = 2;  // axis of the take that points up: 0 X, 1 Y, 2 Z
  float scaleFactor = 1;
  int startFrame = 0, endFrame = kWholeFile;  // of the scene, both included
  int loopFrameCount = 0, useLoopFrame = 0;
  int fsExtractionMode = 0;  // an FsExtractionMode
  ExtractionSettings extraction;
  int freeFormRanges = 0;  // how many parts of the motion stay free of footsteps
  std::array<int, kNumOrientedLimbs> limbOrientation = {1, 1, 1, 1};  // PlaneSource numbers
  KeyReductionTable keyReduction = kDefaultKeyReduction;
  std::string talentFigStrucFile, talentPoseAdjFile, markerNameFile, jointNameFile;
  int useTalentFigStrucFile = 0, useTalentPoseAdjFile = 0;
  int useMarkerNameFile = 0, useJointNameFile = 0;
  int dispKnownMarkers = 0, dispKnownMarkersType = 0;
  int dispUnKnownMarkers = 0, dispPropMarkers = 0;

  friend bool operator==(const MocapParameters&, const MocapParameters&) = default;
};

/// Whether footsteps are looked for in a take, or its motion is left free of them.
enum FsExtractionMode : int { kFsExtract = 0, kFsLeaveFree = 1 };

/// How footsteps come into a conversion.
enum FsConversionMode : int { kFsNone = 0, kFsConvert = 1, kFsFreeFormRanges = 2 };

class MocapManager {
 public:
  const MocapParameters& Parameters() const { return values_; }
  /// Takes all over. Name files that are in use are not read again.
  void SetParameters(const MocapParameters& parameters) { values_ = parameters; }

  int GetUpVector() const { return values_.upVector; }
  void SetUpVector(int axis) { values_.upVector = axis; }
  float GetScaleFactor() const { return values_.scaleFactor; }
  void SetScaleFactor(float factor) { values_.scaleFactor = factor; }
  int GetStartFrame() const { return values_.startFrame; }
  void SetStartFrame(int frame) { values_.startFrame = frame; }
  int GetEndFrame() const { return values_.endFrame; }
  void SetEndFrame(int frame) { values_.endFrame = frame; }
  int GetLoopFrameCount() const { return values_.loopFrameCount; }
  void SetLoopFrameCount(int count) { values_.loopFrameCount = count; }
  int GetUseLoopFrame() const { return values_.useLoopFrame; }
  void SetUseLoopFrame(int on) { values_.useLoopFrame = on; }

  int GetFSExtractionMode() const { return values_.fsExtractionMode; }
  void SetFSExtractionMode(int mode) { values_.fsExtractionMode = mode; }
  /// An FsConversionMode. The conversion flag goes before ranges.
  int GetFSConversionMode() const;
  void SetFSConversionMode(int mode);
  float GetFSExtractionTol() const { return values_.extraction.fsExtractionTol; }
  void SetFSExtractionTol(float tol) { values_.extraction.fsExtractionTol = tol; }
  float GetFSSlidingDist() const { return values_.extraction.fsSlidingDist; }
  void SetFSSlidingDist(float dist) { values_.extraction.fsSlidingDist = dist; }
  float GetFSSlidingAngle() const { return values_.extraction.fsSlidingAngle; }
  void SetFSSlidingAngle(float degrees) { values_.extraction.fsSlidingAngle = degrees; }
  float GetFSVerticalTol() const { return values_.extraction.fsVerticalTol; }
  void SetFSVerticalTol(float tol) { values_.extraction.fsVerticalTol = tol; }
  float GetFSZLevel() const { return values_.extraction.fsZLevel; }
  void SetFSZLevel(float height) { values_.extraction.fsZLevel = height; }
  int GetFSUseVerticalTol() const { return values_.extraction.fsUseVerticalTol; }
  void SetFSUseVerticalTol(int on) { values_.extraction.fsUseVerticalTol = on; }
  int GetFSUseFlatten() const { return values_.extraction.fsUseFlatten; }
  void SetFSUseFlatten(int on) { values_.extraction.fsUseFlatten = on; }

  /// An OrientedLimb's; of others 0, and nothing is set.
  int GetLimbOrientation(int limb) const;
  void SetLimbOrientation(int limb, int orientation);
  /// A KeyReductionTrack's; of others 0, and nothing is set.
  int GetKeyReductionFilter(int row) const;
  void SetKeyReductionFilter(int row, int on);
  float GetKeyReductionTol(int row) const;
  void SetKeyReductionTol(int row, float tolerance);
  int GetKeyReductionSpacing(int row) const;
  void SetKeyReductionSpacing(int row, float frames);

  // Paths are cut at 255 characters. Setting one reads nothing.
  const std::string& GetTalentFigStrucFile() const { return values_.talentFigStrucFile; }
  void SetTalentFigStrucFile(std::string_view path) { Cut(values_.talentFigStrucFile, path); }
  int GetUseTalentFigStrucFile() const { return values_.useTalentFigStrucFile; }
  void SetUseTalentFigStrucFile(int on) { values_.useTalentFigStrucFile = on; }
  const std::string& GetTalentPoseAdjFile() const { return values_.talentPoseAdjFile; }
  void SetTalentPoseAdjFile(std::string_view path) { Cut(values_.talentPoseAdjFile, path); }
  int GetUseTalentPoseAdjFile() const { return values_.useTalentPoseAdjFile; }
  void SetUseTalentPoseAdjFile(int on) { values_.useTalentPoseAdjFile = on; }
  const std::string& GetMarkerNameFile() const { return values_.markerNameFile; }
  void SetMarkerNameFile(std::string_view path) { Cut(values_.markerNameFile, path); }
  int GetUseMarkerNameFile() const { return values_.useMarkerNameFile; }
  void SetUseMarkerNameFile(int on) { values_.useMarkerNameFile = on; }
  const std::string& GetJointNameFile() const { return values_.jointNameFile; }
  void SetJointNameFile(std::string_view path) { Cut(values_.jointNameFile, path); }
  int GetUseJointNameFile() const { return values_.useJointNameFile; }
  void SetUseJointNameFile(int on) { values_.useJointNameFile = on; }

  int GetDispKnownMarkers() const { return values_.dispKnownMarkers; }
  void SetDispKnownMarkers(int on) { values_.dispKnownMarkers = on; }
  int GetDispKnownMarkersType() const { return values_.dispKnownMarkersType; }
  void SetDispKnownMarkersType(int type) { values_.dispKnownMarkersType = type; }
  int GetDispUnKnownMarkers() const { return values_.dispUnKnownMarkers; }
  void SetDispUnKnownMarkers(int on) { values_.dispUnKnownMarkers = on; }
  int GetDispPropMarkers() const { return values_.dispPropMarkers; }
  void SetDispPropMarkers(int on) { values_.dispPropMarkers = on; }

  /// Keeps the path, reads the names, and puts the table into use; out of use, and false, where the
  /// file cannot be read whole. LastCause says why.
  bool LoadMarkerNameFile(std::string_view path);
  bool LoadJointNameFile(std::string_view path);
  /// The names in use; null where none are.
  const NameTable* MarkerNames() const { return values_.useMarkerNameFile ? &markers_ : nullptr; }
  const NameTable* JointNames() const { return values_.useJointNameFile ? &joints_ : nullptr; }

  /// Parameter files, see moc_file.h: 1, or 0 and nothing changed. A load reads the name files that
  /// are in use too; one that cannot be read goes out of use.
  int LoadMocapParameters(const std::string& path);
  int SaveMocapParameters(const std::string& path);
  /// Why the last load or save was refused.
  const std::string& LastCause() const { return cause_; }

  /// Kept for programs that call it: it does nothing.
  int BatchConvert(std::string_view /*fromDir*/, std::string_view /*toDir*/,
                   std::string_view /*parameterFile*/) {
    return 0;
  }

 private:
  static void Cut(std::string& to, std::string_view path) {
    to = path.substr(0, kLongestCapturePath);
  }

  MocapParameters values_;
  NameTable markers_, joints_;
  std::string cause_;
};

}  // namespace strider
