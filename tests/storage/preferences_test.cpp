#include "strider/storage/preferences.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <clocale>
#include <fstream>
#include <set>

#include "strider/host/session.h"
#include "tests/core/figure_fixture.h"
#include "tests/exchange/scratch_folder.h"

namespace strider {
namespace {

using test::ReadFile;
using test::ScratchFolder;

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Preferences, TheFirstFileHoldsTheDefaultsInTheirOrder) {
  std::string orders;
  for (int i = 0; i < 22; ++i) orders += "EulerOrder" + std::to_string(i) + "=0\n";
  EXPECT_EQ(PreferencesText({}),
            "IniVersionNumber=40\nBoneBase=0\nBeforeTraj=50\nAfterTraj=50\nSlidingAngle=360\n"
            "SlidingDist=100\nShowWholeTraj=1\nShowTimeInPlayback=1\nLayerKeyHilite=0\n"
            "MessageBoxesStatus=nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\nFigureFile=\nKneeKinematics=1\n"
            "MocapVariableDynamics=1\nMocapUseLegIK=1\nMocapUseArmIK=1\nMocapHeightSmoothing=0\n"
            "MocapBodyHorzSmoothing=0\nMocapBodyRotSmoothing=0\nMocapSpineSmoothing=0\n"
            "MocapHeadSmoothing=0\nShowObsoleteFileMsg=1\nFlipClassicThighs=0\nZeroFootHeight=1\n"
            "SaveSegment=0\nBetaNeckLegacy=0\nSaveLinkedObjectsInSnapshot=0\n"
            "ShowDialogMissingMapsSave=0\nShowAllTracksInTV=1\nTakeSnapshot=1\n"
            "SaveOutStridersParent=1\nSaveOutStridersParentChildren=1\nUseTcbIkDefaults=1\n"
            "PlantedTension=25.000000\nPlantedContinuity=25.000000\nPlantedBias=25.000000\n"
            "SlidingTension=25.000000\nSlidingContinuity=25.000000\nSlidingBias=25.000000\n"
            "FreeTension=25.000000\nFreeContinuity=25.000000\nFreeBias=25.000000\nManipQuatIO=0\n"
            "AllowBirdLimbs=1\nEuler=0\n" +
                orders + "ExtraEuler=0\nXRefMergeTransformSwitch=0\n");
}

TEST(Preferences, ReadsWhatItCanAndLeavesTheRestAtItsDefault) {
  const struct {
    const char* what;
    std::string bytes;
    void (*change)(Preferences&);
  } rows[] = {
      {"nothing", "", [](Preferences&) {}},
      {"any case, blanks about key and number", " beforetraj = 12 \n",
       [](Preferences& p) { p.beforeTraj = 12; }},
      {"mark, carriage returns, no last line end",
       "\xEF\xBB\xBF"
       "BoneBase=1\r\nFreeBias=1.5\r",
       [](Preferences& p) { p.boneBase = 1, p.freeBias = 1.5f; }},
      {"the old spelling alone", "FlipClasicThighs=1\n",
       [](Preferences& p) { p.flipClassicThighs = 1; }},
      {"another case for one key", "TakeSnapShot=0\n", [](Preferences& p) { p.takeSnapshot = 0; }},
      {"the last of two", "SlidingDist=5\nSlidingDist=6\n",
       [](Preferences& p) { p.slidingDist = 6; }},
      {"text with blanks and an equals sign", "FigureFile=C:\\my figs\\a=b.fig \n",
       [](Preferences& p) { p.figureFile = "C:\\my figs\\a=b.fig "; }},
      {"numbers that are none",
       "BeforeTraj=\nAfterTraj=12x\nSlidingAngle=99999999999\nSlidingDist=1.5\nFreeBias=nan\n"
       "FreeTension=1,5\nFreeContinuity=1e99\nEulerOrder3=6\nEulerOrder4=-1\nEuler=x\n",
       [](Preferences&) {}},
      {"too few letters, and other signs", "MessageBoxesStatus=y y\xC3\xA4z\n",
       [](Preferences& p) { p.messageBoxesStatus = "ynynnz" + std::string(25, 'n'); }},
      {"too many letters", "MessageBoxesStatus=" + std::string(1000, 'y') + "\n",
       [](Preferences& p) { p.messageBoxesStatus = std::string(31, 'y'); }},
      {"flags and orders of tracks", "Euler=4194305\nEulerOrder0=5\neulerorder21=2\n",
       [](Preferences& p) {
         p.euler[0] = {true, 5}, p.euler[21] = {false, 2};
       }},
      {"flags of chains, past the first 32", "ExtraEuler=-2147483648\nExtraEuler1=1\n",
       [](Preferences& p) {
         p.extraEuler.resize(33);
         p.extraEuler[31].active = p.extraEuler[32].active = true;
       }},
      {"lines of others",
       "; mine\nAWB_ShowTangents=1\nEulerOrder22=1\nExtraEulerOrder200=1\nEulerOrder=1\n=\n",
       [](Preferences& p) {
         p.otherLines =
             "; mine\nAWB_ShowTangents=1\nEulerOrder22=1\nExtraEulerOrder200=1\nEulerOrder=1\n=\n";
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Preferences expected;
    row.change(expected);
    EXPECT_TRUE(ReadPreferences(row.bytes) == expected)
        << PreferencesText(ReadPreferences(row.bytes));
  }
}

TEST(Preferences, EveryKeySurvivesBeingWrittenAndRead) {
  test::Random random(5);
  Preferences changed;
  std::string cause;
  for (const PreferenceKey& key : PreferenceKeys()) {
    if (key.otherOwner || key.low == key.high) continue;
    if (const auto* whole = std::get_if<int Preferences::*>(&key.field)) {
      changed.** whole = random.Int(-1000000, 1000000);
    } else if (const auto* number = std::get_if<float Preferences::*>(&key.field)) {
      changed.** number =
          static_cast<float>(random.Int(-4000, 4000)) / 64;  // exact in six decimals
    }
  }
  changed.messageBoxesStatus[7] = 'y';
  changed.figureFile = "/home/\xC3\xA4/walk.fig";
  for (int i = 0; i < 22; ++i) changed.euler[i] = {random.Int(0, 1) == 1, random.Int(0, 5)};
  for (int i = 0; i < 200; ++i) {
    changed.extraEuler.push_back({random.Int(0, 1) == 1, random.Int(0, 5)});
  }
  changed.otherLines = "MXR_MaxKneeAngle=2.5\n";
  const std::string text = PreferencesText(changed);
  EXPECT_TRUE(ReadPreferences(text) == changed) << text;
  EXPECT_EQ(PreferencesText(ReadPreferences(text)), text);

  changed.figureFile = "two\nBoneBase=7";  // what would be another line is cut off
  changed.messageBoxesStatus = "y";
  EXPECT_EQ(ReadPreferences(PreferencesText(changed)).figureFile, "two");
  EXPECT_EQ(ReadPreferences(PreferencesText(changed)).boneBase, changed.boneBase);
  EXPECT_EQ(ReadPreferences(PreferencesText(changed)).messageBoxesStatus,
            "y" + std::string(30, 'n'));
}

TEST(Preferences, AnyBytesReadToWhatIsWrittenTheSameAgain) {
  test::Random random(11);
  const std::string seed = PreferencesText({}) + "MXR_X=1\n";
  for (int round = 0; round < 300; ++round) {
    std::string bytes = seed;
    for (int i = random.Int(0, 40); i > 0; --i) {
      const auto at = static_cast<std::size_t>(random.Int(0, static_cast<int>(bytes.size()) - 1));
      bytes[at] = static_cast<char>(random.Int(0, 255));
    }
    const std::string once = PreferencesText(ReadPreferences(bytes));
    EXPECT_EQ(PreferencesText(ReadPreferences(once)), once);
  }
}

TEST(Preferences, TracksOfOneRoleFollowEachOther) {
  const struct {
    int id;
    std::set<int> set;
  } rows[] = {{0, {0}},   {4, {4}},       {5, {5}},           {6, {6, 7}},    {7, {6, 7}},
              {10, {10}}, {12, {12, 13}}, {13, {12, 13, 14}}, {14, {13, 14}}, {16, {16}}};
  for (const auto& row : rows) {
    Preferences p;
    ASSERT_TRUE(SetEulerForTrack(p, row.id, {true, 3}));
    for (int i = 0; i < 22; ++i) {
      EXPECT_EQ(p.euler[i], (row.set.count(i) ? EulerPreference{true, 3} : EulerPreference{}))
          << row.id << " " << i;
    }
  }
  Preferences p;
  ASSERT_TRUE(SetEulerForTrack(p, kXtraLast, {true, 1}));
  EXPECT_EQ(p.extraEuler.size(), 200u);
  for (const int id : {-1, 22, 100, 199, 400}) EXPECT_FALSE(SetEulerForTrack(p, id, {}));
  EXPECT_FALSE(SetEulerForTrack(p, 0, {true, 6}));
}

TEST(Preferences, ALoadWithoutAFileWritesTheDefaults) {
  const ScratchFolder scratch;
  Session session;
  EXPECT_EQ(session.LoadPreferences(), 0) << "no folder";
  EXPECT_EQ(session.SavePreferences(), 0);
  session.preferencesFolder = scratch.File("config/strider");
  session.preferences.boneBase = 1;
  EXPECT_EQ(session.LoadPreferences(), 0) << "no file";
  EXPECT_EQ(session.preferences.boneBase, 0);
  EXPECT_EQ(ReadFile(scratch.File("config/strider/STRIDER.INI")), PreferencesText({}));
  session.preferences.afterTraj = 7;
  EXPECT_EQ(session.SavePreferences(), 1);
  session.preferences.afterTraj = 8;
  EXPECT_EQ(session.LoadPreferences(), 1);
  EXPECT_EQ(session.preferences.afterTraj, 7);
}

TEST(Preferences, LinesOfOthersSurviveASave) {
  const ScratchFolder scratch;
  const std::string path = scratch.File("STRIDER.INI");
  WriteFile(path, "MXR_ShowBalance=1\nBoneBase=1\n# note\nMoFlowDir=/flows\nDetourAngle=30\n");
  Preferences p;
  ASSERT_EQ(LoadPreferences(p, path), 1);
  EXPECT_EQ(OtherPreference(p, "moflowdir"), "/flows");
  EXPECT_EQ(OtherPreference(p, "MixerDir"), "");
  SetOtherPreference(p, "MoFlowDir", "/other\nBoneBase=5");
  SetOtherPreference(p, "MixerDir", "/mixes");
  EXPECT_EQ(OtherPreference(p, "moflowdir"), "/other");
  // Meanwhile another program changes a line of its own and adds one.
  WriteFile(path, "MXR_ShowBalance=0\n# note\nMoFlowDir=/flows\nDetourAngle=30\nNewKey=2\n");
  std::string cause;
  ASSERT_TRUE(SavePreferences(p, path, cause)) << cause;
  p.otherLines.clear(), p.otherChanges.clear();
  EXPECT_EQ(ReadFile(path), PreferencesText(p) +
                                "MXR_ShowBalance=0\n# note\nMoFlowDir=/other\nDetourAngle=30\n"
                                "NewKey=2\nMixerDir=/mixes\n");
}

TEST(Preferences, AFileThatCannotBeReadIsLeftAlone) {
  const ScratchFolder scratch;
  const std::string path = scratch.File("STRIDER.INI");
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  Preferences p;
  std::string cause;
  p.boneBase = 1;
  EXPECT_EQ(LoadPreferences(p, path), 0);
  EXPECT_EQ(p.boneBase, 1);
  EXPECT_FALSE(SavePreferences(p, path, cause));
  EXPECT_EQ(cause, "is a folder");
  EXPECT_EQ(scratch.CountFiles(), 1);
}

TEST(Preferences, KeepThePointUnderACommaLocale) {
  const std::string before = setlocale(LC_ALL, nullptr);
  (void)setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed it has a comma
  const std::string text = PreferencesText({});
  const float read = ReadPreferences("FreeBias=2.5\n").freeBias;
  setlocale(LC_ALL, before.c_str());
  EXPECT_TRUE(Contains(text, "FreeBias=25.000000\n"));
  EXPECT_EQ(read, 2.5f);
}

TEST(Preferences, AUserMaySetWhatAKeyTakes) {
  Preferences p;
  std::string cause;
  EXPECT_TRUE(SetPreference(p, "bonebase", "1", cause));
  EXPECT_TRUE(SetPreference(p, "FlipClasicThighs", "1", cause));
  EXPECT_TRUE(SetPreference(p, "PlantedBias", "49.5", cause));
  EXPECT_TRUE(SetPreference(p, "EulerOrder7", "5", cause));
  EXPECT_TRUE(SetPreference(p, "mxr_maxkneeangle", "2.5", cause));
  EXPECT_EQ(p.boneBase, 1);
  EXPECT_EQ(p.flipClassicThighs, 1);
  EXPECT_EQ(p.plantedBias, 49.5f);
  EXPECT_EQ(p.euler[7].order, 5);
  EXPECT_EQ(OtherPreference(p, "MXR_MaxKneeAngle"), "2.5");
  const Preferences before = p;
  const struct {
    const char *key, *value, *says;
  } rows[] = {
      {"BoneBases", "1", "no preference is called \"BoneBases\""},
      {"BoneBase", "2", "BoneBase must be 0 or 1, given \"2\""},
      {"BoneBase", "", "must be 0 or 1"},
      {"FreeBias", "51", "must be a number from 0 to 50"},
      {"FreeBias", "inf", "must be a number from 0 to 50"},
      {"IniVersionNumber", "39", "a whole number from 40 to 40"},
      {"MessageBoxesStatus", "nn", "must be 31 letters"},
      {"EulerOrder22", "0", "no preference is called"},
      {"EulerOrder1", "6", "from 0 to 5"},
      {"FigureFile", "a\nb", "on one line"},
      {"AWB_ShowTangents", "yes", "must be 0 or 1"},
  };
  for (const auto& row : rows) {
    EXPECT_FALSE(SetPreference(p, row.key, row.value, cause)) << row.key;
    EXPECT_TRUE(Contains(cause, row.says)) << cause;
  }
  EXPECT_TRUE(p == before);
}

TEST(Preferences, StandInTheUsersConfigurationFolder) {
  const struct {
    const char *config, *home, *folder;
  } rows[] = {{"/xdg", "/home/a", "/xdg/strider"},
              {"", "/home/a", "/home/a/.config/strider"},
              {"relative", "/home/a", "/home/a/.config/strider"},
              {"", "", ""}};
  const char* oldConfig = getenv("XDG_CONFIG_HOME");
  const char* oldHome = getenv("HOME");
  const std::string config = oldConfig ? oldConfig : "", home = oldHome ? oldHome : "";
  for (const auto& row : rows) {
    setenv("XDG_CONFIG_HOME", row.config, 1);
    setenv("HOME", row.home, 1);
    EXPECT_EQ(UserPreferencesFolder(), row.folder);
  }
  oldConfig ? setenv("XDG_CONFIG_HOME", config.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
  oldHome ? setenv("HOME", home.c_str(), 1) : unsetenv("HOME");
}

}  // namespace
}  // namespace strider
