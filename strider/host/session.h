// What one user's sitting owns: the scene, undo, messages, the switches that all its figures
// share, and the figures themselves. Tests, programs and threads make sessions of their own;
// nothing is shared between two of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "strider/capture/mocap_manager.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/gait.h"
#include "strider/host/hold.h"
#include "strider/host/messages.h"
#include "strider/host/scene.h"
#include "strider/storage/preferences.h"

namespace strider {

class StriderMaster;

/// How editing a link of a chain takes its fellows along.
enum TwistMode : int {
  kNoTwistMode = 0,
  kBendLinks = 1,
  kTwistLinks = 2,
  kTwistIndividual = 3,
  kSmoothTwist = 4,
};

/// Switches that all figures of a session share. They are set between evaluations, never during.
struct SharedModes {
  bool bufferMode = false;
  bool bufferExists = false;  // a copy buffer stands ready to be shown
  TwistMode twistMode = kNoTwistMode;
  bool rubberBandMode = false;
  bool scaleStrideMode = true;
  bool moveAllMode = false;
  bool talentFigMode = false;
  bool tiltFourLinkSwivel = false;
  bool disableIk = false;
  bool refreshObjectSpace = true;  // object-space keys follow when an IK object is edited
};

class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Scene scene;
  Hold hold;
  MessageSink messages;
  SharedModes modes;
  GaitSettings gaits;
  AdaptLocks adaptLocks;
  MocapManager mocap;
  Preferences preferences;
  /// Where the preferences are kept, for the two calls below; empty until whoever runs the session
  /// says so, for the user's own UserPreferencesFolder().
  std::string preferencesFolder;

  /// 1 if the preferences were read. 0 if the folder is not known or the file cannot be read; where
  /// there is none yet, the defaults are in force and have been written.
  int LoadPreferences();
  /// 1 if they were written; else 0, and the file is as it was.
  int SavePreferences() const;

  /// Takes a figure over; its nodes stand in the scene from then on.
  StriderMaster* Adopt(std::unique_ptr<StriderMaster> master);
  /// Removes a figure with its nodes and all undo steps, which may hold it. False for a figure that
  /// is not of this session.
  bool Remove(const StriderMaster* master);
  const std::vector<std::unique_ptr<StriderMaster>>& Striders() const { return striders_; }

 private:
  std::vector<std::unique_ptr<StriderMaster>> striders_;
};

/// The session that the exported functions without one reach. It is made on first use and belongs
/// to the thread that evaluates with it.
Session& DefaultSession();
/// Its settings of captures.
MocapManager& TheMocapManager();

}  // namespace strider
