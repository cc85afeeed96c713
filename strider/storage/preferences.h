// The settings that outlive a run of the program, in one text file that all figures of a session
// share: a line `key=value` each. The file also holds lines of other owners; whatever the table
// here does not own passes through a save as it was. Nothing is read or written unless asked.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace strider {

inline constexpr int kIniVersion = 40;
inline constexpr int kNumMessageBoxes = 31;
inline constexpr int kNumEulerTracks = 22;  // body-part ids 0 to 21
inline constexpr int kMaxExtraEulerTracks = 200;

/// How new keys of a track interpolate.
struct EulerPreference {
  bool active = false;  // in Euler angles
  int order = 0;        // 0 to 5
  friend bool operator==(const EulerPreference&, const EulerPreference&) = default;
};

/// Switches are 0 or 1 but any other number from a file counts as on.
struct Preferences {
  int iniVersionNumber = kIniVersion;   // of the file last read; a save writes kIniVersion
  int boneBase = 0;                     // bones are drawn from their base
  int beforeTraj = 50, afterTraj = 50;  // frames of trajectory shown before and after now
  int slidingAngle = 360, slidingDist = 100;
  int showWholeTraj = 1, showTimeInPlayback = 1;
  int layerKeyHilite = 0;
  /// A letter for each warning: n shows it again. Always kNumMessageBoxes letters after a read.
  std::string messageBoxesStatus = std::string(kNumMessageBoxes, 'n');
  std::string figureFile;  // the last one used
  int kneeKinematics = 1;
  int mocapVariableDynamics = 1, mocapUseLegIK = 1, mocapUseArmIK = 1;
  int mocapHeightSmoothing = 0, mocapBodyHorzSmoothing = 0, mocapBodyRotSmoothing = 0;
  int mocapSpineSmoothing = 0, mocapHeadSmoothing = 0;
  int showObsoleteFileMsg = 1;
  int flipClassicThighs = 0;
  int zeroFootHeight = 1;
  int saveSegment = 0;
  int betaNeckLegacy = 0;
  int saveLinkedObjectsInSnapshot = 0;
  int showDialogMissingMapsSave = 0;
  int showAllTracksInTV = 1;
  int takeSnapshot = 1;
  int saveOutStridersParent = 1, saveOutStridersParentChildren = 1;
  int useTcbIkDefaults = 1;  // new keys take the shapes below, 0 to 50 each
  float plantedTension = 25, plantedContinuity = 25, plantedBias = 25;
  float slidingTension = 25, slidingContinuity = 25, slidingBias = 25;
  float freeTension = 25, freeContinuity = 25, freeBias = 25;
  int manipQuatIO = 0;
  int allowBirdLimbs = 1;
  EulerPreference euler[kNumEulerTracks];   // by body-part id
  std::vector<EulerPreference> extraEuler;  // by extra chain, at most kMaxExtraEulerTracks
  int xRefMergeTransformSwitch = 0;

  /// The lines of other owners as they were read, each with its end.
  std::string otherLines;
  /// What their owners have set since, key and value. A save puts these over what the file holds
  /// then, so that lines which another program changed meanwhile stay changed.
  std::vector<std::pair<std::string, std::string>> otherChanges;

  friend bool operator==(const Preferences&, const Preferences&) = default;
};

enum class PreferenceType {
  kSwitch,
  kInt,
  kFloat,
  kText,         // up to the line's end
  kLetters,      // kNumMessageBoxes of them
  kTrackFlags,   // a bit for each track, 32 a line; the second line ends on 1
  kTrackOrders,  // a line for each track, the key ends on its number
  kChainFlags,   // as above, of the extra chains
  kChainOrders,  // as above, of the extra chains
};

struct PreferenceKey {
  const char* name;
  PreferenceType type;
  const char* area;  // whose setting it is
  /// Where it stands in the record. None for the lines of other owners, which stand in
  /// `otherLines`, and for the Euler tables.
  std::variant<std::monostate, int Preferences::*, float Preferences::*, std::string Preferences::*>
      field;
  double low = 0, high = 1;  // what a user may set, both included
  bool otherOwner = false;
};

/// All known keys: first ours in the order in which they are written, then those of other owners.
/// Keys compare without case.
std::span<const PreferenceKey> PreferenceKeys();

/// The defaults with what the lines say. Lines that cannot be understood change nothing.
Preferences ReadPreferences(std::string_view bytes);
/// The file's text: our keys in their order, then the lines of other owners in theirs.
std::string PreferencesText(const Preferences& preferences);

/// Sets one known key, ours or another owner's, as a user writes it. False, nothing changed, for an
/// unknown key or a value that the key cannot take; `cause` says which.
[[nodiscard]] bool SetPreference(Preferences& preferences, std::string_view key,
                                 std::string_view value, std::string& cause);

/// Value of another owner's line, the last one of that key; empty if there is none.
std::string_view OtherPreference(const Preferences& preferences, std::string_view key);
/// Sets it. Key and value end where a line would.
void SetOtherPreference(Preferences& preferences, std::string_view key, std::string_view value);

/// Sets flag and order of a body part's track (0 to 21, 200 to 399 for extra chains), and of the
/// tracks that go along: both feet's toes together, and of the body's three tracks the neighbours.
/// False, nothing changed, for another id or an order that there is not.
[[nodiscard]] bool SetEulerForTrack(Preferences& preferences, int id, const EulerPreference& euler);

enum class PreferencesFile { kRead, kMissing, kUnreadable };
/// Reads a file and leaves it alone. Only kRead changes the record; else `cause` says why not.
[[nodiscard]] PreferencesFile ReadPreferencesFile(const std::string& path, Preferences& preferences,
                                                  std::string& cause);
/// 1 if the file was read. 0 otherwise; where there is none yet, the record becomes the defaults
/// and they are written. An empty path is a folder not known: 0, nothing done.
int LoadPreferences(Preferences& preferences, const std::string& path);
/// Writes the file whole, its folder too where it is missing, over the lines that other owners
/// have in it by now. False, the file as it was, if it cannot be read or written; `cause` says why.
[[nodiscard]] bool SavePreferences(const Preferences& preferences, const std::string& path,
                                   std::string& cause);

/// The file within a folder; empty for an empty folder.
std::string PreferencesPath(const std::string& folder);
/// The folder of the user who runs the program: strider in $XDG_CONFIG_HOME or else in ~/.config.
/// Empty where neither is known.
std::string UserPreferencesFolder();

}  // namespace strider
