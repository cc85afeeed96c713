#include "strider/storage/preferences.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "strider/base/euler.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"
#include "strider/core/body_id.h"

namespace strider {
namespace {

using P = Preferences;
using T = PreferenceType;

constexpr const char* kBody = "figures";
constexpr const char* kTracks = "keys";
constexpr const char* kPaths = "trajectories";
constexpr const char* kFiles = "motion files";
constexpr const char* kCapture = "capture";
constexpr const char* kDisplay = "display";
constexpr const char* kWorkbench = "workbench";
constexpr const char* kMixer = "mixer";

constexpr double kFarthest = 1e9;

constexpr PreferenceKey Other(const char* name, T type, const char* area, double low = 0,
                              double high = 1) {
  return {name, type, area, {}, low, high, true};
}

const PreferenceKey kKeys[] = {
    {"IniVersionNumber", T::kInt, "this file", &P::iniVersionNumber, kIniVersion, kIniVersion},
    {"BoneBase", T::kSwitch, "body shapes", &P::boneBase},
    {"BeforeTraj", T::kInt, kPaths, &P::beforeTraj, 0, 100000},
    {"AfterTraj", T::kInt, kPaths, &P::afterTraj, 0, 100000},
    {"SlidingAngle", T::kInt, kTracks, &P::slidingAngle, 0, 360},
    {"SlidingDist", T::kInt, kTracks, &P::slidingDist, 0, kFarthest},
    {"ShowWholeTraj", T::kSwitch, kPaths, &P::showWholeTraj},
    {"ShowTimeInPlayback", T::kSwitch, kDisplay, &P::showTimeInPlayback},
    {"LayerKeyHilite", T::kSwitch, "layers", &P::layerKeyHilite},
    {"MessageBoxesStatus", T::kLetters, "this file", &P::messageBoxesStatus},
    {"FigureFile", T::kText, "figure files", &P::figureFile},
    {"KneeKinematics", T::kSwitch, "limbs", &P::kneeKinematics},
    {"MocapVariableDynamics", T::kSwitch, kCapture, &P::mocapVariableDynamics},
    {"MocapUseLegIK", T::kSwitch, kCapture, &P::mocapUseLegIK},
    {"MocapUseArmIK", T::kSwitch, kCapture, &P::mocapUseArmIK},
    {"MocapHeightSmoothing", T::kInt, kCapture, &P::mocapHeightSmoothing, 0, 100000},
    {"MocapBodyHorzSmoothing", T::kInt, kCapture, &P::mocapBodyHorzSmoothing, 0, 100000},
    {"MocapBodyRotSmoothing", T::kInt, kCapture, &P::mocapBodyRotSmoothing, 0, 100000},
    {"MocapSpineSmoothing", T::kInt, kCapture, &P::mocapSpineSmoothing, 0, 100000},
    {"MocapHeadSmoothing", T::kInt, kCapture, &P::mocapHeadSmoothing, 0, 100000},
    {"ShowObsoleteFileMsg", T::kSwitch, kFiles, &P::showObsoleteFileMsg},
    {"FlipClassicThighs", T::kSwitch, kBody, &P::flipClassicThighs},
    {"ZeroFootHeight", T::kSwitch, kFiles, &P::zeroFootHeight},
    {"SaveSegment", T::kSwitch, kFiles, &P::saveSegment},
    {"BetaNeckLegacy", T::kSwitch, kBody, &P::betaNeckLegacy},
    {"SaveLinkedObjectsInSnapshot", T::kSwitch, kFiles, &P::saveLinkedObjectsInSnapshot},
    {"ShowDialogMissingMapsSave", T::kSwitch, kFiles, &P::showDialogMissingMapsSave},
    {"ShowAllTracksInTV", T::kSwitch, kDisplay, &P::showAllTracksInTV},
    {"TakeSnapshot", T::kSwitch, "copies", &P::takeSnapshot},
    {"SaveOutStridersParent", T::kSwitch, kFiles, &P::saveOutStridersParent},
    {"SaveOutStridersParentChildren", T::kSwitch, kFiles, &P::saveOutStridersParentChildren},
    {"UseTcbIkDefaults", T::kSwitch, kTracks, &P::useTcbIkDefaults},
    {"PlantedTension", T::kFloat, kTracks, &P::plantedTension, 0, 50},
    {"PlantedContinuity", T::kFloat, kTracks, &P::plantedContinuity, 0, 50},
    {"PlantedBias", T::kFloat, kTracks, &P::plantedBias, 0, 50},
    {"SlidingTension", T::kFloat, kTracks, &P::slidingTension, 0, 50},
    {"SlidingContinuity", T::kFloat, kTracks, &P::slidingContinuity, 0, 50},
    {"SlidingBias", T::kFloat, kTracks, &P::slidingBias, 0, 50},
    {"FreeTension", T::kFloat, kTracks, &P::freeTension, 0, 50},
    {"FreeContinuity", T::kFloat, kTracks, &P::freeContinuity, 0, 50},
    {"FreeBias", T::kFloat, kTracks, &P::freeBias, 0, 50},
    {"ManipQuatIO", T::kSwitch, kTracks, &P::manipQuatIO},
    {"AllowBirdLimbs", T::kSwitch, kBody, &P::allowBirdLimbs},
    {"Euler", T::kTrackFlags, kTracks, {}, INT32_MIN, UINT32_MAX},
    {"EulerOrder", T::kTrackOrders, kTracks, {}, 0, kNumEulerOrders - 1},
    {"ExtraEuler", T::kChainFlags, kTracks, {}, INT32_MIN, UINT32_MAX},
    {"ExtraEulerOrder", T::kChainOrders, kTracks, {}, 0, kNumEulerOrders - 1},
    {"XRefMergeTransformSwitch", T::kSwitch, "host", &P::xRefMergeTransformSwitch},

    Other("DetourAngle", T::kFloat, "crowd", -kFarthest, kFarthest),
    Other("MoFlowDir", T::kText, "flow"),
    Other("MixerDir", T::kText, kMixer),
    Other("AWB_ShowBadKeyReduceDlg", T::kSwitch, kWorkbench),
    Other("AWB_ShowTangents", T::kSwitch, kWorkbench),
    Other("AWB_EnableTangentsOnOpen", T::kSwitch, kWorkbench),
    Other("AWB_CreateAllCurvesOnOpen", T::kSwitch, kWorkbench),
    Other("AWB_LimitCurvesToAnimRange", T::kSwitch, kWorkbench),
    Other("AWB_DrawWhileMoving", T::kSwitch, kWorkbench),
    Other("AWB_LocalCurves", T::kSwitch, kWorkbench),
    Other("AWB_StepSizeFraction", T::kFloat, kWorkbench, 0, kFarthest),
    Other("MXR_ShowTgRangebars", T::kSwitch, kMixer),
    Other("MXR_ShowWgtCurves", T::kSwitch, kMixer),
    Other("MXR_ShowTimeWarps", T::kSwitch, kMixer),
    Other("MXR_ShowClipBounds", T::kSwitch, kMixer),
    Other("MXR_ShowGlobal", T::kSwitch, kMixer),
    Other("MXR_ShowClipNames", T::kSwitch, kMixer),
    Other("MXR_ShowClipScale", T::kSwitch, kMixer),
    Other("MXR_ShowTransStart", T::kSwitch, kMixer),
    Other("MXR_ShowTransEnd", T::kSwitch, kMixer),
    Other("MXR_ShowBalance", T::kSwitch, kMixer),
    Other("MXR_MaxKneeAngle", T::kFloat, kMixer, 0, 180),
    Other("MXR_ContinuityRange", T::kInt, kMixer, 0, 100000),
    Other("MXR_FilterHyperExtLegs", T::kSwitch, kMixer),
    Other("MXR_KeyPerFrame", T::kSwitch, kMixer),
    Other("MXR_PreserveIK", T::kSwitch, kMixer),
    Other("MXR_ShowMixdownOpts", T::kSwitch, kMixer),
    Other("MXR_ShowAutoFixClipMapsDlg", T::kSwitch, kMixer),
    Other("MXR_AutoFixClipMaps", T::kSwitch, kMixer),
};

// A misspelling that older files hold. It is read for good, and written right.
constexpr std::string_view kOldFlipThighs = "FlipClasicThighs", kFlipThighs = "FlipClassicThighs";

// --- Lines ---------------------------------------------------------------------------------------

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameKey(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

struct Line {
  bool hasValue = false;
  std::string_view key, value;  // the value up to the line's end, blanks included
};

Line SplitLine(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return {};
  return {true, Trimmed(text.substr(0, equals)), text.substr(equals + 1)};
}

/// Calls `use` for every line, its end taken off.
template <class Use>
void ForEachLine(std::string_view bytes, Use use) {
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    std::string_view line = bytes.substr(0, end);
    // All of them: a line has to come out of its next reading as it is now.
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    use(line);
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
}

std::string_view UpToLineEnd(std::string_view text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

// --- Keys ----------------------------------------------------------------------------------------

/// A key of the table, with the number that it ends on where it stands for several lines.
struct KeyMatch {
  const PreferenceKey* key = nullptr;
  int number = 0;
};

/// How many numbered lines a key stands for; 0 for a key without numbers.
int NumLines(T type) {
  switch (type) {
    case T::kTrackOrders: return kNumEulerTracks;
    case T::kChainFlags: return (kMaxExtraEulerTracks + 31) / 32;
    case T::kChainOrders: return kMaxExtraEulerTracks;
    default: return 0;
  }
}

KeyMatch FindKey(std::string_view name) {
  if (SameKey(name, kOldFlipThighs)) name = kFlipThighs;
  for (const PreferenceKey& key : kKeys) {
    const std::string_view own = key.name;
    if (name.size() < own.size() || !SameKey(name.substr(0, own.size()), own)) continue;
    const std::string_view rest = name.substr(own.size());
    const int lines = NumLines(key.type);
    if (rest.empty() && (lines == 0 || key.type == T::kChainFlags)) return {&key, 0};
    if (lines == 0 || rest.empty() || rest[0] < '0' || rest[0] > '9') continue;
    const std::optional<std::int64_t> number = ReadInteger(rest);
    if (number && *number < lines) return {&key, static_cast<int>(*number)};
  }
  return {};
}

void SetExtraFlags(Preferences& preferences, int word, std::uint32_t flags) {
  std::vector<EulerPreference>& extra = preferences.extraEuler;
  for (int bit = 0; bit < 32; ++bit) {
    const auto track = static_cast<std::size_t>(32 * word + bit);
    if (track >= kMaxExtraEulerTracks) break;
    const bool on = (flags >> bit & 1) != 0;
    if (on && track >= extra.size()) extra.resize(track + 1);
    if (track < extra.size()) extra[track].active = on;
  }
}

void SetWhole(Preferences& preferences, const KeyMatch& match, std::int64_t value) {
  const auto number = static_cast<std::size_t>(match.number);
  const auto flags = static_cast<std::uint32_t>(value);
  switch (match.key->type) {
    case T::kTrackFlags:
      for (int i = 0; i < kNumEulerTracks; ++i) preferences.euler[i].active = (flags >> i & 1) != 0;
      return;
    case T::kTrackOrders: preferences.euler[number].order = static_cast<int>(value); return;
    case T::kChainFlags: SetExtraFlags(preferences, match.number, flags); return;
    case T::kChainOrders:
      if (number >= preferences.extraEuler.size()) preferences.extraEuler.resize(number + 1);
      preferences.extraEuler[number].order = static_cast<int>(value);
      return;
    default: preferences.*std::get<int Preferences::*>(match.key->field) = static_cast<int>(value);
  }
}

bool IsLetter(char c) { return Lower(c) >= 'a' && Lower(c) <= 'z'; }

/// What a text is as a value of a key: a number, or none and it is text.
struct ReadValue {
  bool ok = false;
  double number = 0;
};

/// `strict` asks for what a user may set; without it whatever the record can hold will do.
ReadValue ReadAs(const PreferenceKey& key, std::string_view value, bool strict) {
  const auto within = [&](double number, double low, double high) -> ReadValue {
    if (strict) low = key.low, high = key.high;
    return {number >= low && number <= high, number};
  };
  switch (key.type) {
    case T::kText: return {!strict || UpToLineEnd(value) == value, 0};
    case T::kLetters:
      return {!strict || (value.size() == kNumMessageBoxes &&
                          std::all_of(value.begin(), value.end(), IsLetter)),
              0};
    case T::kFloat: {
      const std::optional<float> number = ReadFloat(Trimmed(value));
      if (!number || !std::isfinite(*number)) return {};
      return within(static_cast<double>(*number), -HUGE_VAL, HUGE_VAL);
    }
    default: break;
  }
  const std::optional<std::int64_t> number = ReadInteger(Trimmed(value));
  if (!number) return {};
  const bool isSetting = key.type == T::kSwitch || key.type == T::kInt;
  return within(static_cast<double>(*number), isSetting ? INT_MIN : key.low,
                isSetting ? INT_MAX : key.high);
}

/// False, nothing changed, for a value that the key of ours cannot take.
bool SetOwn(Preferences& preferences, const KeyMatch& match, std::string_view value, bool strict) {
  const PreferenceKey& key = *match.key;
  const ReadValue read = ReadAs(key, value, strict);
  if (!read.ok) return false;
  if (const auto* text = std::get_if<std::string Preferences::*>(&key.field)) {
    if (key.type == T::kText) {
      preferences.** text = value;
    } else {
      for (std::size_t i = 0; i < std::min<std::size_t>(value.size(), kNumMessageBoxes); ++i) {
        if (IsLetter(value[i])) (preferences.**text)[i] = value[i];
      }
    }
  } else if (const auto* number = std::get_if<float Preferences::*>(&key.field)) {
    preferences.** number = static_cast<float>(read.number);
  } else {
    SetWhole(preferences, match, static_cast<std::int64_t>(read.number));
  }
  return true;
}

// --- Text ----------------------------------------------------------------------------------------

void AppendLine(std::string& text, std::string_view name, std::int64_t value) {
  text += name;
  text += '=';
  AppendInteger(text, value);
  text += '\n';
}

void AppendNumbered(std::string& text, const char* name, std::size_t number, std::int64_t value) {
  AppendLine(text, name + std::to_string(number), value);
}

std::int32_t FlagsOf(std::span<const EulerPreference> tracks) {
  std::uint32_t flags = 0;
  for (std::size_t i = 0; i < tracks.size() && i < 32; ++i) {
    if (tracks[i].active) flags |= std::uint32_t{1} << i;
  }
  return static_cast<std::int32_t>(flags);
}

void AppendEuler(std::string& text, const PreferenceKey& key,
                 std::span<const EulerPreference> tracks) {
  if (key.type == T::kTrackOrders || key.type == T::kChainOrders) {
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      AppendNumbered(text, key.name, i, tracks[i].order);
    }
    return;
  }
  AppendLine(text, key.name, FlagsOf(tracks));
  for (std::size_t first = 32; first < tracks.size(); first += 32) {
    const std::int32_t flags = FlagsOf(tracks.subspan(first));
    if (flags != 0) AppendNumbered(text, key.name, first / 32, flags);
  }
}

void AppendOwn(std::string& text, const PreferenceKey& key, const Preferences& preferences) {
  const std::span<const EulerPreference> extra = preferences.extraEuler;
  switch (key.type) {
    case T::kTrackFlags:
    case T::kTrackOrders: AppendEuler(text, key, preferences.euler); return;
    case T::kChainFlags:
    case T::kChainOrders:
      AppendEuler(text, key,
                  extra.first(std::min<std::size_t>(extra.size(), kMaxExtraEulerTracks)));
      return;
    default: break;
  }
  if (key.low == key.high) {  // the version, which is the writer's
    AppendLine(text, key.name, static_cast<std::int64_t>(key.low));
  } else if (const auto* whole = std::get_if<int Preferences::*>(&key.field)) {
    AppendLine(text, key.name, preferences.**whole);
  } else {
    text += key.name;
    text += '=';
    if (const auto* number = std::get_if<float Preferences::*>(&key.field)) {
      AppendFixed(text, static_cast<double>(preferences.**number));
    } else if (const auto* words = std::get_if<std::string Preferences::*>(&key.field)) {
      std::string line(UpToLineEnd(preferences.**words));
      if (key.type == T::kLetters) line.resize(kNumMessageBoxes, 'n');
      text += line;
    }
    text += '\n';
  }
}

void AppendOther(std::string& text, const std::pair<std::string, std::string>& change) {
  text += change.first + "=" + change.second + "\n";
}

void AppendOthers(std::string& text, const Preferences& preferences) {
  const auto& changes = preferences.otherChanges;
  std::vector<bool> written(changes.size(), false);
  ForEachLine(preferences.otherLines, [&](std::string_view line) {
    const std::string_view key = SplitLine(line).key;
    for (std::size_t i = 0; i < changes.size(); ++i) {
      if (!SameKey(changes[i].first, key)) continue;
      if (!written[i]) AppendOther(text, changes[i]);
      written[i] = true;
      return;
    }
    text += line;
    text += '\n';
  });
  for (std::size_t i = 0; i < changes.size(); ++i) {
    if (!written[i]) AppendOther(text, changes[i]);
  }
}

/// What a key takes, in words.
std::string Takes(const PreferenceKey& key) {
  std::string bounds = " from ";
  AppendNumber(bounds, key.low);
  bounds += " to ";
  AppendNumber(bounds, key.high);
  switch (key.type) {
    case T::kSwitch: return "0 or 1";
    case T::kFloat: return "a number" + bounds;
    case T::kText: return "on one line";
    case T::kLetters: return std::to_string(kNumMessageBoxes) + " letters";
    case T::kTrackFlags:
    case T::kChainFlags: return "a whole number of 32 bits";
    default: return "a whole number" + bounds;
  }
}

}  // namespace

std::span<const PreferenceKey> PreferenceKeys() { return kKeys; }

Preferences ReadPreferences(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  Preferences preferences;
  ForEachLine(bytes, [&preferences](std::string_view text) {
    const Line line = SplitLine(text);
    const KeyMatch match = line.hasValue ? FindKey(line.key) : KeyMatch{};
    if (match.key != nullptr && !match.key->otherOwner) {
      (void)SetOwn(preferences, match, line.value, false);
    } else {
      preferences.otherLines += text;
      preferences.otherLines += '\n';
    }
  });
  return preferences;
}

std::string PreferencesText(const Preferences& preferences) {
  std::string text;
  for (const PreferenceKey& key : kKeys) {
    if (!key.otherOwner) AppendOwn(text, key, preferences);
  }
  AppendOthers(text, preferences);
  return text;
}

bool SetPreference(Preferences& preferences, std::string_view key, std::string_view value,
                   std::string& cause) {
  const KeyMatch match = FindKey(key);
  if (match.key == nullptr) {
    cause = "no preference is called \"" + std::string(key) + "\"";
    return false;
  }
  const PreferenceKey& known = *match.key;
  const bool done =
      known.otherOwner ? ReadAs(known, value, true).ok : SetOwn(preferences, match, value, true);
  if (!done) {
    cause =
        std::string(key) + " must be " + Takes(known) + ", given \"" + std::string(value) + "\"";
  } else if (known.otherOwner) {
    SetOtherPreference(preferences, known.name, value);
  }
  return done;
}

std::string_view OtherPreference(const Preferences& preferences, std::string_view key) {
  for (const auto& change : preferences.otherChanges) {
    if (SameKey(change.first, key)) return change.second;
  }
  std::string_view value;
  ForEachLine(preferences.otherLines, [&](std::string_view text) {
    const Line line = SplitLine(text);
    if (line.hasValue && SameKey(line.key, key)) value = line.value;
  });
  return value;
}

void SetOtherPreference(Preferences& preferences, std::string_view key, std::string_view value) {
  key = UpToLineEnd(key);
  value = UpToLineEnd(value);
  for (auto& change : preferences.otherChanges) {
    if (!SameKey(change.first, key)) continue;
    change.second = value;
    return;
  }
  preferences.otherChanges.emplace_back(key, value);
}

bool SetEulerForTrack(Preferences& preferences, int id, const EulerPreference& euler) {
  if (euler.order < 0 || euler.order >= kNumEulerOrders) return false;
  if (IsXtra(id)) {
    const auto track = static_cast<std::size_t>(id - kXtraFirst);
    if (track >= preferences.extraEuler.size()) preferences.extraEuler.resize(track + 1);
    preferences.extraEuler[track] = euler;
    return true;
  }
  if (id < 0 || id >= kNumEulerTracks) return false;
  struct Role {
    int id;
    int follow[2];
  };
  static constexpr Role kRoles[] = {{kLeftToes, {kRightToes, kRightToes}},
                                    {kRightToes, {kLeftToes, kLeftToes}},
                                    {kVertical, {kHorizontal, kHorizontal}},
                                    {kHorizontal, {kVertical, kTurn}},
                                    {kTurn, {kHorizontal, kHorizontal}}};
  preferences.euler[id] = euler;
  for (const Role& role : kRoles) {
    if (role.id != id) continue;
    for (const int other : role.follow) preferences.euler[other] = euler;
  }
  return true;
}

// --- Files ---------------------------------------------------------------------------------------

PreferencesFile ReadPreferencesFile(const std::string& path, Preferences& preferences,
                                    std::string& cause) {
  using Result = PreferencesFile;
  const auto fail = [&cause](int error) {
    cause = std::strerror(error);
    return error == ENOENT || error == ENOTDIR ? Result::kMissing : Result::kUnreadable;
  };
  struct stat there = {};
  if (stat(path.c_str(), &there) != 0) return fail(errno);
  if (!S_ISREG(there.st_mode)) {
    cause = S_ISDIR(there.st_mode) ? "is a folder" : "is not a plain file";
    return Result::kUnreadable;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             &std::fclose);
  if (!file) return fail(errno);
  std::string bytes;
  char piece[1 << 14];
  while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get())) {
    bytes.append(piece, count);
  }
  if (std::ferror(file.get()) != 0) return fail(EIO);
  preferences = ReadPreferences(bytes);
  return Result::kRead;
}

int LoadPreferences(Preferences& preferences, const std::string& path) {
  if (path.empty()) return 0;
  std::string cause;
  const PreferencesFile result = ReadPreferencesFile(path, preferences, cause);
  if (result == PreferencesFile::kRead) return 1;
  if (result == PreferencesFile::kMissing) {
    preferences = {};
    (void)SavePreferences(preferences, path, cause);
  }
  return 0;
}

bool SavePreferences(const Preferences& preferences, const std::string& path, std::string& cause) {
  Preferences merged = preferences, now;
  switch (ReadPreferencesFile(path, now, cause)) {
    case PreferencesFile::kRead: merged.otherLines = std::move(now.otherLines); break;
    case PreferencesFile::kMissing: break;
    case PreferencesFile::kUnreadable: return false;
  }
  std::error_code ignored;  // a folder that cannot be made shows when the file is opened
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  return WriteWholeFile(path, PreferencesText(merged), cause);
}

std::string PreferencesPath(const std::string& folder) {
  return folder.empty() ? "" : folder + "/STRIDER.INI";
}

std::string UserPreferencesFolder() {
  // A relative path there means nothing: it would depend on where the program was started.
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return std::string(config) + "/strider";
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/') return "";
  return std::string(home) + "/.config/strider";
}

}  // namespace strider
