// The settings by which captures are read and converted. One sitting has one of them.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/key_reduction_table.h"
#include "strider/capture/name_file.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {

/// Limbs in the order of their orientation settings.
enum OrientedLimb : int { kOrientKnee, kOrientElbow, kOrientFoot, kOrientHand, kNumOrientedLimbs };
inline constexpr const char* kOrientedLimbNames[kNumOrientedLimbs] = {"kneeOrient", "elbowOrient",
                                                                      "footOrient", "handOrient"};

inline constexpr int kWholeFile = -1;
inline constexpr std::size_t kLongestCapturePath = 255;

/// What the settings are. MocapManager is the way to them that checks.
struct MocapParameters {
  int upVector = 2;  // axis of the take that points up: 0 X, 1 Y, 2 Z
  float scaleFactor = 1;
  int startFrame = 0, endFrame = kWholeFile;  // of the scene, both included
  int loopFrameCount = 0, useLoopFrame = 0;
  int fsExtractionMode = 0;  // an FsExtractionMode
  ExtractionSettings extraction;
  std::vector<FreeFormRange> freeFormRanges;  // stay free of footsteps; frames as startFrame counts
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

/// Follows from two settings, the conversion flag before the ranges; either works by itself.
int ConversionModeOf(const MocapParameters& parameters);
/// kFsConvert sets the flag and leaves the ranges, kFsFreeFormRanges takes the flag off, kFsNone
/// both. False, and nothing changed, for other modes, and for kFsFreeFormRanges without ranges.
bool SetConversionMode(MocapParameters& parameters, int mode);

/// So many ranges at most are a setting.
inline constexpr std::size_t kMostRanges = 100;

class MocapManager {
 public:
  const MocapParameters& Parameters() const { return values_; }
  /// Takes all over but what a setting cannot be, which stays as it was. Name files that are in use
  /// are not read again.
  void SetParameters(const MocapParameters& parameters);

  // A setter answers whether it took the value: whatever it takes can be saved and read again. What
  // a setting cannot be is refused and changes nothing; of a switch anything but 0 is 1.
  int GetUpVector() const { return values_.upVector; }
  bool SetUpVector(int axis) { return Set("upVector", axis); }
  float GetScaleFactor() const { return values_.scaleFactor; }
  bool SetScaleFactor(float factor) { return Set("scaleFactor", static_cast<double>(factor)); }
  int GetStartFrame() const { return values_.startFrame; }
  bool SetStartFrame(int frame) { return Set("startFrame", frame); }
  int GetEndFrame() const { return values_.endFrame; }
  bool SetEndFrame(int frame) { return Set("endFrame", frame); }
  int GetLoopFrameCount() const { return values_.loopFrameCount; }
  bool SetLoopFrameCount(int count) { return Set("loopFrameCount", count); }
  int GetUseLoopFrame() const { return values_.useLoopFrame; }
  bool SetUseLoopFrame(int on) { return Set("useLoopFrame", on); }

  int GetFSExtractionMode() const { return values_.fsExtractionMode; }
  bool SetFSExtractionMode(int mode) { return Set("fsExtractionMode", mode); }
  /// An FsConversionMode: see ConversionModeOf.
  int GetFSConversionMode() const { return ConversionModeOf(values_); }
  bool SetFSConversionMode(int mode) { return SetConversionMode(values_, mode); }
  /// Parts of the take in which no footstep is looked for: its motion stays free there. Refused
  /// for ranges that end before they begin, begin before frame 0, or are more than kMostRanges.
  const std::vector<FreeFormRange>& GetFreeFormRanges() const { return values_.freeFormRanges; }
  bool SetFreeFormRanges(const std::vector<FreeFormRange>& ranges);
  float GetFSExtractionTol() const { return values_.extraction.fsExtractionTol; }
  bool SetFSExtractionTol(float tol) { return Set("fsExtractionTol", static_cast<double>(tol)); }
  float GetFSSlidingDist() const { return values_.extraction.fsSlidingDist; }
  bool SetFSSlidingDist(float dist) { return Set("fsSlidingDist", static_cast<double>(dist)); }
  float GetFSSlidingAngle() const { return values_.extraction.fsSlidingAngle; }
  bool SetFSSlidingAngle(float degrees) {
    return Set("fsSlidingAngle", static_cast<double>(degrees));
  }
  float GetFSVerticalTol() const { return values_.extraction.fsVerticalTol; }
  bool SetFSVerticalTol(float tol) { return Set("fsVerticalTol", static_cast<double>(tol)); }
  float GetFSZLevel() const { return values_.extraction.fsZLevel; }
  bool SetFSZLevel(float height) { return Set("fsZLevel", static_cast<double>(height)); }
  int GetFSUseVerticalTol() const { return values_.extraction.fsUseVerticalTol; }
  bool SetFSUseVerticalTol(int on) { return Set("fsUseVerticalTol", on); }
  int GetFSUseFlatten() const { return values_.extraction.fsUseFlatten; }
  bool SetFSUseFlatten(int on) { return Set("fsUseFlatten", on); }

  /// An OrientedLimb's, a PlaneSource number; of others 0, and nothing is set.
  int GetLimbOrientation(int limb) const;
  bool SetLimbOrientation(int limb, int orientation);
  /// A KeyReductionTrack's; of others 0, and nothing is set.
  int GetKeyReductionFilter(int row) const;
  bool SetKeyReductionFilter(int row, int on);
  float GetKeyReductionTol(int row) const;
  bool SetKeyReductionTol(int row, float tolerance);
  int GetKeyReductionSpacing(int row) const;
  bool SetKeyReductionSpacing(int row, float frames);  // whole ones

  // Paths are cut at 255 characters and hold no control characters. Setting one reads nothing.
  const std::string& GetTalentFigStrucFile() const { return values_.talentFigStrucFile; }
  bool SetTalentFigStrucFile(std::string_view path) {
    return SetPath(values_.talentFigStrucFile, path);
  }
  int GetUseTalentFigStrucFile() const { return values_.useTalentFigStrucFile; }
  bool SetUseTalentFigStrucFile(int on) { return Set("useTalentFigStrucFile", on); }
  const std::string& GetTalentPoseAdjFile() const { return values_.talentPoseAdjFile; }
  bool SetTalentPoseAdjFile(std::string_view path) {
    return SetPath(values_.talentPoseAdjFile, path);
  }
  int GetUseTalentPoseAdjFile() const { return values_.useTalentPoseAdjFile; }
  bool SetUseTalentPoseAdjFile(int on) { return Set("useTalentPoseAdjFile", on); }
  const std::string& GetMarkerNameFile() const { return values_.markerNameFile; }
  bool SetMarkerNameFile(std::string_view path) { return SetPath(values_.markerNameFile, path); }
  int GetUseMarkerNameFile() const { return values_.useMarkerNameFile; }
  bool SetUseMarkerNameFile(int on) { return Set("useMarkerNameFile", on); }
  const std::string& GetJointNameFile() const { return values_.jointNameFile; }
  bool SetJointNameFile(std::string_view path) { return SetPath(values_.jointNameFile, path); }
  int GetUseJointNameFile() const { return values_.useJointNameFile; }
  bool SetUseJointNameFile(int on) { return Set("useJointNameFile", on); }

  int GetDispKnownMarkers() const { return values_.dispKnownMarkers; }
  bool SetDispKnownMarkers(int on) { return Set("dispKnownMarkers", on); }
  int GetDispKnownMarkersType() const { return values_.dispKnownMarkersType; }
  bool SetDispKnownMarkersType(int type) { return Set("dispKnownMarkersType", type); }
  int GetDispUnKnownMarkers() const { return values_.dispUnKnownMarkers; }
  bool SetDispUnKnownMarkers(int on) { return Set("dispUnKnownMarkers", on); }
  int GetDispPropMarkers() const { return values_.dispPropMarkers; }
  bool SetDispPropMarkers(int on) { return Set("dispPropMarkers", on); }

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
  bool Set(std::string_view name, double value);
  static bool SetPath(std::string& to, std::string_view path);

  MocapParameters values_;
  NameTable markers_, joints_;
  std::string cause_;
};

}  // namespace strider
