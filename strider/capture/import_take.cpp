#include "strider/capture/import_take.h"

#include <algorithm>
#include <cmath>

#include "strider/base/number_text.h"
#include "strider/capture/bridge_markers.h"
#include "strider/capture/bvh_reader.h"
#include "strider/capture/conversion_settings.h"
#include "strider/capture/joint_names.h"
#include "strider/capture/load_capture.h"
#include "strider/capture/marker_names.h"
#include "strider/capture/marker_reader.h"
#include "strider/capture/marker_tracks.h"
#include "strider/capture/moc_file.h"
#include "strider/capture/mocap_parameters.h"
#include "strider/capture/name_sets.h"
#include "strider/capture/scene_places.h"
#include "strider/capture/take_guess.h"
#include "strider/core/body_id.h"
#include "strider/core/evaluate.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/bake.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

// What a foot's ankle may move in a second and still stand, and how far it may be from where it
// stands lowest, in lengths from hip to ankle. The first is what measured contacts of walks and
// jumps agree with best.
constexpr float kStandingSpeed = 0.45f, kStandingHeight = 0.1f;
// A foot that turns more than this in a contact slides, degrees.
constexpr float kSlidingAngle = 15;
// Keys that limbs keep, of the frames: few enough to be edited by hand.
constexpr float kLimbKeys = 0.198f;
constexpr double kCentimetre = 0.01;
constexpr double kGravity = 9.81;  // metres per second squared
// The frames of the laws of motion are a thirtieth of a second.
constexpr double kLawFrames = 30.0 * 30.0;

constexpr const char* kTurnedOver = "the take's up axis points down; it was turned over";

class Import {
 public:
  Import(const std::string& path, const ImportOptions& options, const EvalContext& context,
         ImportResult& result, std::string& cause)
      : path_(path), options_(options), context_(context), result_(result), cause_(cause) {}

  bool Run() {
    const std::string format = EndingOf(path_);
    const std::vector<std::string>& known = TakeFormats();
    if (std::find(known.begin(), known.end(), format) == known.end()) {
      cause_ = path_ + ": takes end in .bvh, .mkr or .sdr";
      return false;
    }
    if (!ChooseParameters()) return false;
    if (format != "bvh") TellOfJointsAlone();
    if (format == "sdr") return FromMotion();
    return (format == "bvh" ? ReadJoints() : ReadMarkerFile()) && Convert();
  }

 private:
  bool Refuse(std::string why) {
    cause_ = path_ + ": " + why;
    return false;
  }
  bool Sets(const char* name) const {
    return std::any_of(options_.sets.begin(), options_.sets.end(),
                       [name](const auto& set) { return set.first == name; });
  }

  /// Of key reduction.
  bool SetsAnyTolerance() const {
    return std::any_of(options_.sets.begin(), options_.sets.end(), [](const auto& set) {
      return set.first.size() > 3 && set.first.compare(set.first.size() - 3, 3, "Tol") == 0 &&
             set.first.compare(0, 2, "fs") != 0;
    });
  }

  void TakeNotes(const CaptureReport& report) {
    result_.notes.insert(result_.notes.end(), report.notes.begin(), report.notes.end());
    result_.doubts = report.damage;
  }
  void Doubt(const std::string& what) {
    result_.notes.push_back(what);
    result_.doubts.push_back(what);
  }

  bool ChooseParameters();
  void TellOfJointsAlone();
  void TellTolerances();
  bool ReadJoints();
  bool ChooseNames(const std::string& text, BvhSettings& settings, NameTable& table);
  bool ReadMarkerFile();
  void ChooseUnit();
  UpAxis ChooseUp(const UpGuess& guess);
  void TurnUpright();
  bool ChooseFrames();
  void ChooseExtraction(const MotionCore& figure, float lowestAnkle);
  void TellHeld(const CapturedMotion& captured);
  void TellDropped();
  bool TellLoop(const DenseMotion& dense);
  bool Convert();
  bool GoesWithAMotion();
  bool FromMotion();

  const std::string& path_;
  const ImportOptions& options_;
  const EvalContext& context_;
  ImportResult& result_;
  std::string& cause_;
  NamedFigures figures_;
  CaptureScene scene_;
  ConversionSettings settings_;
};

bool Import::ChooseParameters() {
  MocapParameters& p = result_.parameters;
  if (!options_.parameterFile.empty()) {
    if (!ReadMocFile(options_.parameterFile, p, cause_)) return false;
  } else {
    p.extraction.conversionFlag = 1;
    p.extraction.fsSlidingAngle = kSlidingAngle;
    p.limbOrientation.fill(static_cast<int>(PlaneSource::kAuto));
  }
  for (const auto& [name, value] : options_.sets) {
    if (!SetMocapParameter(p, name, value, cause_)) {
      cause_ = "--set " + name + "=" + value + ": " + cause_;
      return false;
    }
  }
  if (options_.loopFrames) {
    p.loopFrameCount = *options_.loopFrames;
    p.useLoopFrame = p.loopFrameCount > 0;
  }
  if (options_.from) p.startFrame = *options_.from;
  if (options_.to) p.endFrame = *options_.to;
  if (!options_.figure.empty()) {
    p.talentFigStrucFile = options_.figure;
    p.useTalentFigStrucFile = 1;
  }
  if (!options_.pose.empty()) {
    p.talentPoseAdjFile = options_.pose;
    p.useTalentPoseAdjFile = 1;
  }
  if (options_.running) {
    if (Sets("fsExtractionTol")) {
      cause_ = "--running says what --set fsExtractionTol says: give one of them";
      return false;
    }
    p.extraction.fsExtractionTol = ExtractionSettings().fsExtractionTol;
  }
  if (options_.up) p.upVector = static_cast<int>(*options_.up);
  if (options_.footsteps) p.fsExtractionMode = *options_.footsteps ? kFsExtract : kFsLeaveFree;
  settings_.reduce = options_.reduce;
  settings_.reduction.smoothKnees = settings_.keepContacts = true;
  if (options_.parameterFile.empty() && !SetsAnyTolerance()) {
    settings_.reduction.limbKeysAtMost = kLimbKeys;
  }
  return ReadConversionSettings(p, figures_, settings_, cause_);
}

/// Options that a batch gives for all of its takes, of which these need none.
void Import::TellOfJointsAlone() {
  if (options_.strict)
    result_.notes.push_back("--strict changes nothing: it is of joints in a .bvh");
  if (options_.keepFirst) {
    result_.notes.push_back(
        "--keep-first changes nothing: only of a .bvh is a first frame left out");
  }
}

// --- Reading -----------------------------------------------------------------------------------

std::string NamesOfSets() {
  std::string text;
  for (const NameSet& set : NameSets()) {
    text += (text.empty() ? "" : ", ") + std::string(set.name);
  }
  return text;
}

bool Import::ChooseNames(const std::string& text, BvhSettings& settings, NameTable& table) {
  std::string& told = result_.take.nameSet;
  const MocapParameters& p = result_.parameters;
  if (!options_.names.empty() || p.useJointNameFile != 0) {
    const std::string& names = options_.names.empty() ? p.jointNameFile : options_.names;
    const NameSet* set = FindNameSet(names);
    if (set != nullptr) {
      table = FitNameSet(*set, JointNamesOfBvh(text)).table;
    } else if (!ReadNameFile(NameKind::kJoints, names, table, cause_)) {
      // A word without a dot was meant for a set.
      if (names.find_first_of("./") == std::string::npos) {
        cause_ = names + ": no set of names (" + NamesOfSets() + ") and no name file";
      }
      return false;
    }
    told = names;
  } else {
    const NameGuess guess = GuessNameSet(JointNamesOfBvh(text));
    if (guess.set == nullptr) return true;
    table = guess.table;
    if (guess.set != &NameSets().front() || !guess.prefix.empty()) told = guess.set->name;
  }
  settings.names = &table;
  return true;
}

bool Import::ReadJoints() {
  std::string text;
  if (!ReadNamedFile(path_, text, cause_)) return false;
  BvhSettings settings;
  settings.ticksPerFrame = 0;
  settings.carry = !options_.strict;
  NameTable table;
  if (!ChooseNames(text, settings, table)) return false;
  CaptureReport report;
  if (ReadBvhText(scene_, text, path_, settings, report) != 1) {
    cause_ = report.message;
    return false;
  }
  TakeFacts& take = result_.take;
  take.unknownJoints = report.unknownNames;
  for (int j = 0; j < kNumCaptureJoints; ++j) {
    if (scene_.joints[static_cast<std::size_t>(j)].present) ++take.jointsFound;
  }
  for (const int j : {kLeftToeJoint, kRightToeJoint}) {
    if (!scene_.joints[static_cast<std::size_t>(j)].present) {
      take.missingJoints.push_back(FirstNameOf(j));
    }
  }
  take.frames = static_cast<int>(report.framesInFile);
  TakeNotes(report);
  TurnUpright();
  return true;
}

/// Heels are spelt in two ways. In a file that has both, the vocabulary's is the heel.
void AddOtherSpellings(const std::string& text, NameTable& table) {
  constexpr struct {
    CaptureMarker marker;
    const char* other;
  } kOthers[] = {{kLHEL, "LHEE"}, {kRHEL, "RHEE"}};
  for (const auto& [marker, other] : kOthers) {
    std::string& name = table.rows[static_cast<std::size_t>(marker)];
    const bool open = name.empty() && table.Find(other) < 0;
    if (open && text.find(MarkerNameOf(marker)) == std::string::npos) name = other;
  }
}

bool Import::ReadMarkerFile() {
  std::string text;
  if (!ReadNamedFile(path_, text, cause_)) return false;
  const MocapParameters& p = result_.parameters;
  MarkerSettings settings;
  settings.ticksPerFrame = 0;
  settings.upVector = p.upVector;
  NameTable table;
  const std::string& names = options_.names.empty() ? p.markerNameFile : options_.names;
  if (!options_.names.empty() || p.useMarkerNameFile != 0) {
    if (FindNameSet(names) != nullptr) {
      return Refuse("sets of names such as " + names +
                    " are of joints; other names of markers come from a name file");
    }
    if (!ReadNameFile(NameKind::kMarkers, names, table, cause_)) return false;
    result_.take.nameSet = names;
  }
  AddOtherSpellings(text, table);
  settings.names = &table;
  CaptureReport report;
  const auto read = [&] { return ReadMarkersText(scene_, text, path_, settings, report) == 1; };
  if (!read()) {
    cause_ = report.message;
    return false;
  }
  TakeFacts& take = result_.take;
  take.ofMarkers = true;
  const UpGuess guess = GuessUpAxis(scene_, settings.upVector);
  take.up = ChooseUp(guess);
  if (p.upVector != settings.upVector) {
    settings.upVector = p.upVector;
    report = {};
    if (!read()) {
      cause_ = report.message;
      return false;
    }
  }
  if (guess.downwards && guess.axis == settings.upVector) {
    TurnMarkersOver(scene_);
    result_.notes.emplace_back(kTurnedOver);
  }
  take.unknownJoints = report.unknownNames;
  std::erase(take.unknownJoints, kC7Name);  // none of the vocabulary, but the neck begins there
  for (const MarkerRecord& marker : scene_.markers) take.jointsFound += marker.present ? 1 : 0;
  take.frames = static_cast<int>(report.framesInFile);
  TakeNotes(report);
  BridgeShortGaps(scene_, result_.notes);
  return true;
}

// --- Choices -----------------------------------------------------------------------------------

void Import::ChooseUnit() {
  const UnitGuess guess = GuessUnit(scene_);
  TakeFacts& take = result_.take;
  take.metresPerUnit = guess.metresPerUnit;
  take.unitName = guess.name;
  if (!guess.plausible) {
    result_.notes.push_back("no usual unit makes a person of this figure; taken for " +
                            take.unitName + ", see --scale");
  }
  MocapParameters& p = result_.parameters;
  double factor = guess.metresPerUnit / kCentimetre;
  if (options_.scale) {
    factor = *options_.scale;
  } else if (!options_.parameterFile.empty() || Sets("scaleFactor")) {
    factor = static_cast<double>(p.scaleFactor);
  }
  constexpr double kOther = 1.05;
  const double asGuessed = factor * kCentimetre / guess.metresPerUnit;
  const bool fromFile = !options_.scale && !Sets("scaleFactor") && !options_.parameterFile.empty();
  if (fromFile && guess.plausible && (asGuessed > kOther || asGuessed * kOther < 1)) {
    std::string note = options_.parameterFile + " scales by ";
    AppendNumber(note, p.scaleFactor);
    Doubt(note + ", but this take seems to be in " + take.unitName + ": see --scale");
  }
  p.scaleFactor = static_cast<float>(factor);
  if (p.scaleFactor != 1) ScaleScene(scene_, p.scaleFactor);
  result_.metresPerUnit = guess.metresPerUnit / factor;
  settings_.dense.gravity = static_cast<float>(kGravity / result_.metresPerUnit / kLawFrames);
}

/// The axis that options or settings give, else the guessed one, which the settings then have.
UpAxis Import::ChooseUp(const UpGuess& guess) {
  int& up = result_.parameters.upVector;
  const bool fromFile = !options_.up && !Sets("upVector") && !options_.parameterFile.empty();
  const bool given = options_.up || Sets("upVector") || fromFile;
  if (!given) up = guess.axis;
  if (fromFile && up != guess.axis) {
    constexpr char kAxes[] = "xyz";
    Doubt(options_.parameterFile + " has " + kAxes[up] +
          " up, and so it was taken; the person stands along " + kAxes[guess.axis] + ", see --up");
  }
  return static_cast<UpAxis>(up);
}

void Import::TurnUpright() {
  const UpGuess guess = GuessUpAxis(scene_);
  const UpAxis up = result_.take.up = ChooseUp(guess);
  const bool downwards = guess.downwards && guess.axis == static_cast<int>(up);
  settings_.dense.toYUp = TurnToYUp(up, downwards);
  if (downwards) result_.notes.emplace_back(kTurnedOver);
}

/// True for a motion that was written by us, whose first frame is one of it however it stands.
bool IsOurs(const std::vector<std::string>& unknownJoints) {
  const std::string footprints = std::string("_") + FindBodyPart(kFootprints)->label;
  return std::any_of(unknownJoints.begin(), unknownJoints.end(), [&](const std::string& name) {
    return name.size() > footprints.size() &&
           name.compare(name.size() - footprints.size(), footprints.size(), footprints) == 0;
  });
}

bool Import::ChooseFrames() {
  const MocapParameters& p = result_.parameters;
  TakeFacts& take = result_.take;
  take.rate = scene_.frameTime > 0 ? 1 / scene_.frameTime : 0;
  const SceneRate rate = options_.fps ? SceneRateAt(scene_.frameTime, *options_.fps)
                                      : GuessSceneRate(scene_.frameTime);
  result_.sceneRate = rate.rate;
  result_.speedChange = rate.speedChange;
  settings_.dense.ticksPerFrame = rate.ticksPerFrame;

  take.leftOutFirst = !options_.keepFirst && !IsOurs(take.unknownJoints) &&
                      scene_.kind == CaptureKind::kJoints && scene_.numFrames > 1 &&
                      FirstFrameStandsAlone(scene_);
  const std::int64_t zero = take.leftOutFirst ? 1 : 0, step = rate.thinning;
  const std::int64_t numFrames = (scene_.numFrames - zero + step - 1) / step;
  if (numFrames <= 0) {
    // The reader has said last where and why it stopped before the first.
    if (result_.doubts.empty()) return Refuse("no frames");
    cause_ = result_.doubts.back();
    return false;
  }
  ConvertedFrames frames;
  if (!ChooseConvertedFrames(p, numFrames, frames, cause_)) return Refuse(cause_);
  settings_.dense.frames = {static_cast<int>(zero + frames.first * step),
                            static_cast<int>(zero + frames.last * step), static_cast<int>(step)};
  return true;
}

/// As a file of settings keeps a number, so that the file brings the same motion.
float AsKept(float value) {
  std::string text;
  AppendFixed(text, static_cast<double>(value));
  return ReadFloat(text).value_or(value);
}

/// Tolerances that follow the figure and the rate, where the user has not set them.
void Import::ChooseExtraction(const MotionCore& figure, float lowestAnkle) {
  ExtractionSettings& e = result_.parameters.extraction;
  const float ankleHeight = figure.leg[kRight].extremityHeight;
  const float unit = result_.thighLength = ExtractionLegLength(figure);
  if (options_.parameterFile.empty()) {
    const float leg = figure.leg[kRight].totalLength;
    const float frames = static_cast<float>(result_.sceneRate);
    if (!Sets("fsExtractionTol") && !options_.running) {
      e.fsExtractionTol = AsKept(kStandingSpeed * leg / (frames * unit));
    }
    if (!Sets("fsUseVerticalTol")) e.fsUseVerticalTol = 1;
    if (!Sets("fsVerticalTol")) e.fsVerticalTol = AsKept(kStandingHeight * leg / unit);
    if (!Sets("fsZLevel")) e.fsZLevel = AsKept(lowestAnkle - ankleHeight);
  }
  // Who sets a level means the floor, also where the settings come out of a file; what the height
  // test looks at are the ankles of feet that stand there.
  settings_.extraction = e;
  settings_.floor = e.fsZLevel;
  settings_.extraction.fsZLevel += ankleHeight;
}

void Import::TellHeld(const CapturedMotion& captured) {
  std::vector<std::string> joints;
  for (const auto& held : captured.held) {
    joints.push_back(FirstNameOf(held.joint) + " " + std::to_string(held.first) + " to " +
                     std::to_string(held.last));
  }
  if (!joints.empty()) {
    result_.notes.push_back("no marker shows these joints in frames: " + ListWords(joints));
  }
}

void Import::TellDropped() {
  const std::vector<PlantedRun>& dropped = result_.conversion.extraction.dropped;
  if (dropped.empty()) return;
  std::vector<std::string> runs;
  const auto isCut = [this](const PlantedRun& run) {
    const auto& ranges = settings_.freeFormRanges;
    return std::any_of(ranges.begin(), ranges.end(), [&run](const FreeFormRange& range) {
      return run.first <= range.last + 1 && run.last >= range.first - 1;
    });
  };
  for (const PlantedRun& run : dropped) {
    if (isCut(run)) continue;
    runs.push_back(std::string(run.side == kRight ? "right" : "left") + " at frame " +
                   std::to_string(run.first));
  }
  if (runs.empty()) return;
  result_.notes.push_back("contacts of three frames and fewer were dropped (" + ListWords(runs) +
                          "); where they are a runner's, try --running --fps 60");
}

/// The tolerances that were used, where they are not those that were asked for.
void Import::TellTolerances() {
  KeyReductionTable& asked = result_.parameters.keyReduction;
  const KeyReductionTable& used = result_.conversion.rows;
  if (!settings_.reduce || asked == used) return;
  float most = 0;
  for (const KeyReductionRow& row : used) most = std::max(most, row.tolerance);
  asked = used;
  std::string note = "so that limbs keep a fifth of their keys at most, tolerances grew, up to ";
  AppendFixed(note, static_cast<double>(most), 1);
  result_.notes.push_back(note + " degrees");
}

/// A loop closes the way over the ground too, which few who walk off expect.
bool Import::TellLoop(const DenseMotion& dense) {
  const int loop = settings_.dense.loopFrames;
  const auto& poses = dense.captured.poses;
  if (loop <= 0) return true;
  if (loop >= static_cast<int>(poses.size())) {
    return Refuse("a loop of " + std::to_string(loop) + " frames in a motion of " +
                  std::to_string(poses.size()));
  }
  Point3 way = HipsMiddle(poses.back()) - HipsMiddle(poses.front());
  way.y = 0;
  constexpr float kStaysNear = 0.2f;  // of the leg
  if (Length(way) > kStaysNear * dense.legLength) {
    const auto centimetres =
        static_cast<long>(static_cast<double>(Length(way)) * result_.metresPerUnit / kCentimetre);
    result_.notes.push_back("the loop takes the body back to where it began, " +
                            std::to_string(centimetres) + " cm within its last " +
                            std::to_string(loop) + " frames");
  }
  return true;
}

bool Import::Convert() {
  ChooseUnit();
  if (!ChooseFrames()) return false;
  DenseMotion dense;
  ConversionReport& report = result_.conversion;
  if (MakeDenseMotion(scene_, settings_.dense, dense, report.message) == kRefused) {
    return Refuse(report.message);
  }
  TellHeld(dense.captured);
  if (!TellLoop(dense)) return false;
  ChooseExtraction(dense.talent.figure, StandingAnkleHeight(dense.captured));
  result_.pose = PoseInReference(dense, settings_.dense);
  if (FinishDenseMotion(settings_, dense, result_.motion, report, context_) == kRefused) {
    return Refuse(report.message);
  }
  TellDropped();
  TellTolerances();
  return true;
}

/// The figure as it stands on the motion's first frame, one key a part.
MotionCore FirstPose(const MotionCore& motion, const EvalContext& context) {
  MotionCore posed = motion;
  CorePose(posed, 0, context);
  MotionCore pose = FigureOf(motion);
  (void)PutPose(pose, posed, 0);  // which the motion holds already
  RefreshTracks(pose);
  return pose;
}

/// What a motion has no use for: options, and settings that --set gives.
bool Import::GoesWithAMotion() {
  const struct {
    const char* what;
    bool given;
  } rows[] = {{"names", !options_.names.empty()},
              {"a scale", options_.scale.has_value()},
              {"an up axis", options_.up.has_value()},
              {"a rate", options_.fps.has_value()}};
  for (const auto& row : rows) {
    if (row.given)
      return Refuse("is a motion already: " + std::string(row.what) + " goes with a take");
  }
  for (const char* name :
       {"upVector", "scaleFactor", "kneeOrient", "elbowOrient", "footOrient", "handOrient",
        "markerNameFile", "useMarkerNameFile", "jointNameFile", "useJointNameFile"}) {
    if (Sets(name))
      return Refuse("is a motion already: " + std::string(name) + " goes with a take");
  }
  return true;
}

bool Import::FromMotion() {
  if (!GoesWithAMotion()) return false;
  if (options_.parameterFile.empty()) {
    result_.parameters.upVector = static_cast<int>(result_.take.up);
  } else {
    result_.notes.push_back(options_.parameterFile +
                            ": names, scale, up axis and planes of limbs are for takes; this is a "
                            "motion already");
  }
  DenseMotion dense;
  if (!ReadMotionAsTake(path_, result_.parameters, 0, context_, dense, cause_)) return false;
  TakeFacts& take = result_.take;
  take.frames = static_cast<int>(dense.captured.poses.size());
  take.rate = result_.sceneRate = static_cast<double>(kTicksPerSecond) / dense.motion.ticksPerFrame;
  take.metresPerUnit = result_.metresPerUnit =
      kGravity / (static_cast<double>(dense.motion.body.gravAccel) * kLawFrames);
  if (!TellLoop(dense)) return false;
  ChooseExtraction(dense.talent.figure, StandingAnkleHeight(dense.captured));
  result_.pose = FirstPose(dense.motion, context_);
  if (FinishDenseMotion(settings_, dense, result_.motion, result_.conversion, context_) ==
      kRefused) {
    return Refuse(result_.conversion.message);
  }
  TellDropped();
  TellTolerances();
  return true;
}

}  // namespace

const std::vector<std::string>& TakeFormats() {
  static const std::vector<std::string> formats = {"bvh", "mkr", "sdr"};
  return formats;
}

bool ImportTake(const std::string& path, const ImportOptions& options, const EvalContext& context,
                ImportResult& result, std::string& cause) {
  try {
    ImportResult made;
    if (!Import(path, options, context, made, cause).Run()) return false;
    result = std::move(made);
  } catch (const std::bad_alloc&) {
    cause = path + ": memory ran out";
    return false;
  }
  return true;
}

}  // namespace strider
