#include "strider/capture/mocap_manager.h"

#include "strider/capture/joint_names.h"
#include "strider/capture/moc_file.h"
#include "strider/capture/name_sets.h"
#include "strider/host/session.h"
#include "tests/capture/take_fixture.h"

namespace strider {
namespace {

TEST(MocapManager, AnswersWithTheDefaultsThatScriptsRelyOn) {
  const struct {
    const char *name, *value;
  } rows[] = {
      {"upVector", "2"},
      {"scaleFactor", "1"},
      {"loopFrameCount", "0"},
      {"fsExtractionTol", "0.07"},
      {"fsSlidingDist", "25"},
      {"fsSlidingAngle", "0"},
      {"fsVerticalTol", "0.5"},
      {"fsZLevel", "0"},
      {"fsConversionMode", "0"},
      {"kneeOrient", "1"},
      {"handOrient", "1"},
      {"allFilter", "0"},
      {"allTol", "0"},
      {"horzTol", "1"},
      {"vertSpacing", "4"},
      {"rotFilter", "1"},
      {"pelvisTol", "6"},
      {"rightLegSpacing", "3"},
      {"tailTol", "6"},
      {"jointNameFile", ""},
      {"useMarkerNameFile", "0"},
  };
  for (const auto& row : rows) {
    const MocapParameter* parameter = FindMocapParameter(row.name);
    ASSERT_NE(parameter, nullptr) << row.name;
    EXPECT_EQ(MocapParameterText({}, *parameter), row.value) << row.name;
  }
  EXPECT_EQ(&TheMocapManager(), &DefaultSession().mocap);
}

TEST(MocapManager, HasNoRowsOutsideItsTables) {
  MocapManager manager;
  for (const int outside : {-1, 12, 1000}) {
    manager.SetKeyReductionFilter(outside, 1);
    manager.SetKeyReductionTol(outside, 5);
    manager.SetKeyReductionSpacing(outside, 5);
    EXPECT_EQ(manager.GetKeyReductionFilter(outside), 0);
    EXPECT_EQ(manager.GetKeyReductionTol(outside), 0);
    EXPECT_EQ(manager.GetKeyReductionSpacing(outside), 0);
  }
  manager.SetLimbOrientation(4, 3);
  manager.SetLimbOrientation(-1, 3);
  EXPECT_EQ(manager.GetLimbOrientation(4), 0);
  EXPECT_TRUE(manager.Parameters() == MocapParameters{});
  manager.SetKeyReductionSpacing(2, 5.9f);
  EXPECT_EQ(manager.GetKeyReductionSpacing(2), 5);
}

TEST(MocapManager, ConvertsBeforeItKeepsRangesFree) {
  MocapManager manager;
  EXPECT_FALSE(manager.SetFSConversionMode(kFsFreeFormRanges));  // which ranges?
  EXPECT_TRUE(manager.SetFreeFormRanges({{30, 60}}));
  EXPECT_EQ(manager.GetFSConversionMode(), 2);
  EXPECT_TRUE(manager.SetFSConversionMode(kFsConvert));
  EXPECT_EQ(manager.GetFreeFormRanges().size(), 1u);
  EXPECT_EQ(manager.GetFSConversionMode(), 1);
  EXPECT_TRUE(manager.SetFSConversionMode(kFsFreeFormRanges));
  EXPECT_EQ(manager.GetFSConversionMode(), 2);
  EXPECT_TRUE(manager.SetFSConversionMode(kFsNone));
  EXPECT_TRUE(manager.GetFreeFormRanges().empty());
}

TEST(MocapManager, TakesOnlyWhatAFileBringsBack) {
  test::ScratchFolder folder;
  const std::string path = folder.File("settings.moc");
  const float nan = std::nanf(""), huge = 1e30f;
  MocapManager manager;
  const auto refused = [&](bool taken) {
    return !taken && manager.Parameters() == MocapParameters{};
  };
  EXPECT_TRUE(refused(manager.SetFSExtractionMode(2)));
  EXPECT_TRUE(refused(manager.SetFSConversionMode(3)));
  EXPECT_TRUE(refused(manager.SetUpVector(3)));
  EXPECT_TRUE(refused(manager.SetUpVector(-1)));
  EXPECT_TRUE(refused(manager.SetScaleFactor(0)));
  EXPECT_TRUE(refused(manager.SetScaleFactor(nan)));
  EXPECT_TRUE(refused(manager.SetStartFrame(-1)));
  EXPECT_TRUE(refused(manager.SetEndFrame(-2)));
  EXPECT_TRUE(refused(manager.SetLoopFrameCount(-5)));
  EXPECT_TRUE(refused(manager.SetFSSlidingAngle(361)));
  EXPECT_TRUE(refused(manager.SetFSZLevel(huge)));
  EXPECT_TRUE(refused(manager.SetLimbOrientation(kOrientKnee, 4)));
  EXPECT_TRUE(refused(manager.SetKeyReductionSpacing(1, -1)));
  EXPECT_TRUE(refused(manager.SetKeyReductionTol(1, -0.5f)));
  EXPECT_TRUE(refused(manager.SetDispKnownMarkersType(3)));
  EXPECT_TRUE(refused(manager.SetMarkerNameFile("two\nlines")));
  EXPECT_TRUE(refused(manager.SetFreeFormRanges({{5, 4}})));
  EXPECT_TRUE(refused(manager.SetFreeFormRanges({{-1, 4}})));
  EXPECT_TRUE(refused(manager.SetFreeFormRanges(std::vector<FreeFormRange>(101))));

  EXPECT_TRUE(manager.SetUseLoopFrame(7));
  EXPECT_EQ(manager.GetUseLoopFrame(), 1);
  EXPECT_TRUE(manager.SetKeyReductionFilter(2, -3));
  EXPECT_TRUE(manager.SetFSZLevel(-12.5f));
  EXPECT_TRUE(manager.SetFreeFormRanges({{99999998, 99999999}, {0, 0}}));
  MocapParameters wrong = manager.Parameters();
  wrong.upVector = 9;
  wrong.fsExtractionMode = kFsLeaveFree;
  wrong.jointNameFile = "a\rb";
  wrong.keyReduction[3].tolerance = nan;
  manager.SetParameters(wrong);
  EXPECT_EQ(manager.GetUpVector(), 2);
  EXPECT_EQ(manager.GetFSExtractionMode(), kFsLeaveFree);
  ASSERT_EQ(manager.SaveMocapParameters(path), 1);
  MocapManager other;
  ASSERT_EQ(other.LoadMocapParameters(path), 1) << other.LastCause();
  EXPECT_TRUE(other.Parameters() == manager.Parameters());
}

TEST(MocapManager, ReadsNameFilesOnlyWhenItLoadsThem) {
  test::ScratchFolder folder;
  const std::string good = folder.File("good.mnm"), bad = folder.File("bad.mnm");
  std::ofstream(good) << "LHEL LHEE\n";
  std::ofstream(bad) << "LHEL LHEE\nHEEL x\n";
  MocapManager manager;
  manager.SetMarkerNameFile(good);
  EXPECT_EQ(manager.MarkerNames(), nullptr);
  EXPECT_TRUE(manager.LoadMarkerNameFile(good));
  ASSERT_NE(manager.MarkerNames(), nullptr);
  EXPECT_FALSE(manager.LoadMarkerNameFile(bad));
  EXPECT_EQ(manager.LastCause(), bad + ":2: \"HEEL\" is no marker");
  EXPECT_EQ(manager.GetMarkerNameFile(), bad);
  EXPECT_EQ(manager.GetUseMarkerNameFile(), 0);
  EXPECT_EQ(manager.MarkerNames(), nullptr);

  manager.SetTalentFigStrucFile(std::string(300, 'a'));
  EXPECT_EQ(manager.GetTalentFigStrucFile(), std::string(255, 'a'));
}

TEST(SetMocapParameter, TakesWhatAParameterMayBe) {
  const struct {
    const char *name, *value, *cause;  // no cause: taken
  } rows[] = {
      {"fsExtractionTol", "0.05", nullptr},
      {"horzTol", "2.5", nullptr},
      {"kneeOrient", "3", nullptr},
      {"endFrame", "-1", nullptr},
      {"freeFormRanges", "30-60, 120-150", nullptr},
      {"jointNameFile", "a b.mnm", nullptr},
      {"kneeorient", "1", "no parameter is called \"kneeorient\""},
      {"kneeOrient", "4", "kneeOrient must be a whole number from 0 to 3, given \"4\""},
      {"fsUseFlatten", "yes", "fsUseFlatten must be 0 or 1, given \"yes\""},
      {"fsConversionMode", "2", "fsConversionMode 2 needs freeFormRanges, which must be set first"},
      {"freeFormRanges", "60-30",
       "freeFormRanges must be ranges of frames such as 30-60, 120-150, given \"60-30\""},
      {"freeFormRanges", "30-60,x",
       "freeFormRanges must be ranges of frames such as 30-60, 120-150, given \"30-60,x\""},
      {"horzTol", "nan", "horzTol must be a number from 0 to 99999999, given \"nan\""},
      {"scaleFactor", "0", "scaleFactor must be a number from 1e-06 to 1e+06, given \"0\""},
      {"vertSpacing", "2.5",
       "vertSpacing must be a whole number from 0 to 99999999, given \"2.5\""},
  };
  for (const auto& row : rows) {
    MocapParameters parameters;
    std::string cause;
    EXPECT_EQ(SetMocapParameter(parameters, row.name, row.value, cause), row.cause == nullptr);
    EXPECT_EQ(cause, row.cause == nullptr ? "" : row.cause);
    if (row.cause == nullptr) {
      EXPECT_EQ(MocapParameterText(parameters, *FindMocapParameter(row.name)), row.value);
    } else {
      EXPECT_TRUE(parameters == MocapParameters{});
    }
  }
}

/// Every parameter at something else than its default.
MocapParameters AllChanged() {
  MocapParameters parameters;
  int count = 0;
  for (const MocapParameter& parameter : AllMocapParameters()) {
    const std::string now = MocapParameterText(parameters, parameter);
    std::string cause, value = std::to_string(++count) + ".25";
    if (parameter.kind == MocapParameter::kPath) value = "folder/names of " + value;
    if (parameter.kind == MocapParameter::kRanges) value = "3-4, 17-17";
    if (parameter.kind == MocapParameter::kInt) {
      const std::string most = std::to_string(static_cast<int>(parameter.high));
      value = parameter.high >= 4 ? "17" : now == most ? "1" : most;
    }
    if (parameter.kind == MocapParameter::kSwitch) value = now == "0" ? "1" : "0";
    EXPECT_TRUE(SetMocapParameter(parameters, parameter.name, value, cause)) << cause;
  }
  return parameters;
}

TEST(MocFile, BringsBackEveryParameter) {
  test::ScratchFolder folder;
  const std::string path = folder.File("settings.moc");
  const MocapParameters changed = AllChanged();
  for (const MocapParameter& parameter : AllMocapParameters()) {
    EXPECT_NE(MocapParameterText(changed, parameter), MocapParameterText({}, parameter))
        << parameter.name;
  }
  std::string cause;
  ASSERT_TRUE(WriteMocFile(path, changed, cause)) << cause;
  EXPECT_EQ(folder.CountFiles(), 1);
  MocapParameters read;
  ASSERT_TRUE(ReadMocFile(path, read, cause)) << cause;
  EXPECT_TRUE(read == changed);
}

TEST(MocFile, ChangesNothingWhenItIsRefused) {
  const std::string good = MocText(AllChanged());
  const auto with = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    return text.replace(text.find(from), from.size(), to);
  };
  const struct {
    const char* what;
    std::string text;
    const char* cause;
  } rows[] = {
      {"nothing", "", "a.moc:1: this is no file"},
      {"another format", "HIERARCHY\nROOT Hips", "a.moc:1: \"HIERARCHY\" is no tag"},
      {"no version", "701\r\nupVector\r\n1\r\n", "a.moc:1, tag 701: this is no file"},
      {"cut", good.substr(0, good.size() - 5), "ends before"},
      {"a tag of no parameter", with("702", "795"), "tag 795: a tag that has no place here"},
      {"a value out of bounds", with("upVector\r\n1", "upVector\r\n7"),
       "tag 701: \"upVector\" cannot be that"},
      {"a value that is none", with("upVector\r\n1", "upVector\r\none"), "a.moc:5, tag 701"},
      {"a newer version's tag", "VERSION\r\n55\r\n701\r\nupVector\r\n1\r\n900\r\n",
       "newer version"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MocapParameters parameters;
    std::string cause;
    EXPECT_FALSE(ReadMocText(row.text, "a.moc", parameters, cause));
    EXPECT_NE(cause.find(row.cause), std::string::npos) << cause;
    EXPECT_TRUE(parameters == MocapParameters{});
  }
  MocapParameters parameters;
  std::string cause;
  EXPECT_TRUE(ReadMocText("VERSION\n60\n701\n-\n1\n799\n", "a.moc", parameters, cause)) << cause;
  EXPECT_EQ(parameters.upVector, 1);
  MocapManager manager;
  EXPECT_EQ(manager.LoadMocapParameters("/nowhere/a.moc"), 0);
  EXPECT_EQ(manager.LastCause(), "/nowhere/a.moc: No such file or directory");
}

TEST(NameFiles, LeaveNoPartOfATableThatIsRefused) {
  const struct {
    const char *text, *cause;
  } rows[] = {
      {"LeftHip a\nLeftLegs b\n", "n.mnm:2: \"LeftLegs\" is no joint"},
      {"LeftHip a\r\n\r\nleftknee b", "n.mnm:3: \"leftknee\" is no joint"},
      {"LeftHip a\nChest\n", "n.mnm:2: \"Chest\" stands alone"},
  };
  for (const auto& row : rows) {
    NameTable table;
    std::string cause;
    EXPECT_FALSE(ReadNames(NameKind::kJoints, row.text, "n.mnm", table, cause));
    EXPECT_EQ(cause.substr(0, std::string(row.cause).size()), row.cause);
    EXPECT_TRUE(table.Empty());
  }
  NameTable table;
  std::string cause;
  EXPECT_FALSE(ReadNames(NameKind::kJoints, "Chest " + std::string(300, 'x'), "n", table, cause));
  // Second names are names of the vocabulary too; a name that moved is found where it went.
  ASSERT_TRUE(ReadNames(NameKind::kJoints, "\nLeftUpLeg\tthigh \r\nLeftCollar LeftShoulder\n", "n",
                        table, cause));
  EXPECT_EQ(FindNamed(NameKind::kJoints, &table, "thigh"), kLeftHipJoint);
  EXPECT_EQ(FindNamed(NameKind::kJoints, &table, "LeftShoulder"), kLeftCollarJoint);
  EXPECT_EQ(FindNamed(NameKind::kJoints, &table, "Chest"), kChestJoint);
}

TEST(NameSets, AreFoundByTheirOwnNames) {
  for (const NameSet& set : NameSets()) {
    SCOPED_TRACE(set.name);
    EXPECT_EQ(FindNameSet(set.name), &set);
    for (const std::string prefix : {"", "actor1:", "Rig_"}) {
      // All that the set has, the first name of each joint.
      std::vector<std::string> file;
      std::vector<bool> seen(kNumCaptureJoints);
      for (const SetName& row : set.names) {
        if (seen[static_cast<std::size_t>(row.joint)]) continue;
        seen[static_cast<std::size_t>(row.joint)] = true;
        for (const std::string_view side : {set.left, set.right}) {
          std::string name = prefix + std::string(row.name);
          const std::size_t at = name.find('%');
          if (at != std::string::npos) name.replace(at, 1, side);
          if (file.empty() || file.back() != name) file.push_back(name);
        }
      }
      const NameGuess guess = GuessNameSet(file);
      EXPECT_EQ(guess.set->name, set.name);
      EXPECT_TRUE(guess.missing.empty());
      EXPECT_EQ(guess.matched, static_cast<int>(file.size()));
      EXPECT_EQ(guess.prefix, prefix);
    }
  }
}

TEST(NameSets, SayTheSameAsTheFilesThatCameWithTheTakes) {
  const std::string files[][2] = {
      {"cmu",
       "Chest LowerBack\nChest2 Spine\nChest3 Spine1\nChest4 Neck\nNeck Neck1\nHead Head\n"
       "LeftHip LeftUpLeg\nRightToe RightToeBase\nLeftCollar LeftShoulder\n"
       "LeftShoulder LeftArm\nRightElbow RightForeArm\nLeftWrist LeftHand\n"},
      {"figure",
       "Hips hip\nChest abdomen\nChest2 chest\nLeftShoulder lShldr\nLeftHip lThigh\n"
       "RightKnee rShin\nLeftFinger01 lThumb2\nRightFinger4 rPinky1\n"}};
  for (const auto& [set, text] : files) {
    NameTable table;
    std::string cause;
    ASSERT_TRUE(ReadNames(NameKind::kJoints, text, set, table, cause)) << cause;
    std::vector<std::string> names(table.rows.begin(), table.rows.end());
    const NameGuess guess = FitNameSet(*FindNameSet(set), names);
    for (int row = 0; row < kNumNameRows; ++row) {
      if (table.rows[row].empty()) continue;
      EXPECT_EQ(guess.table.rows[row], table.rows[row]);
    }
  }
}

}  // namespace
}  // namespace strider
