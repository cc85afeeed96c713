// Captures as the host asks for them.

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "strider/capture/load_capture.h"
#include "strider/host/load_step.h"

namespace strider {
namespace {

/// The cause without the file that messages name themselves; empty where another file is to blame.
std::string CauseWithin(const std::string& path, const std::string& cause) {
  if (!cause.starts_with(path + ":")) return "";
  const std::string rest = cause.substr(path.size() + 1);
  return rest.starts_with(" ") ? rest.substr(1) : "line " + rest;
}

/// What the reader had to say, and why there is no motion if there is none.
void TellOfCapture(const MessageSink& sink, const std::string& path, const LoadedCapture& loaded,
                   int status) {
  const CaptureReport& file = loaded.file;
  if (!file.unknownNames.empty()) {
    Tell(sink, MessageId::kUnknownNames,
         {path, ListWords(file.unknownNames, file.unknownNames.size())});
  }
  if (status == 1) {
    for (const auto* notes : {&file.notes, &loaded.notes}) {
      for (const std::string& note : *notes) {
        const std::string within = CauseWithin(path, note);
        Tell(sink, MessageId::kFilePartlyTaken, {path, within.empty() ? note : within});
      }
    }
  } else if (!file.missingNames.empty()) {
    Tell(sink, MessageId::kNamesMissing,
         {path, ListWords(file.missingNames, file.missingNames.size())});
  } else {
    const std::string within = CauseWithin(path, loaded.cause);
    // The reader was content: what it read, or a file that the settings name, is at fault.
    const bool wasRead = file.status == 1 || within.empty();
    Tell(sink, wasRead ? MessageId::kFileNotTaken : MessageId::kFileNotRead,
         {path, within.empty() ? loaded.cause : within});
  }
}

}  // namespace

/// The status of the load; the motion is the figure's where it is 1.
int StriderMaster::TakeCapture(const std::string& path, const MessageSink& sink,
                               ExtractionReport& extraction) {
  // Layers and modes that change how this figure shows are none of the take's.
  EvalContext context;
  context.tiltFourLinkSwivel = context_.tiltFourLinkSwivel;
  LoadedCapture loaded;
  const int status = strider::LoadCapture(path, session_.mocap, StriderGetTicksPerFrame(session_),
                                          context, loaded);
  TellOfCapture(sink, path, loaded, status);
  if (status != 1) return status;
  StreamContents contents;
  contents.motions.push_back(std::make_unique<MotionCore>(std::move(loaded.motion)));
  CommitMotions(contents, false);
  extraction = std::move(loaded.conversion.extraction);
  return 1;
}

int StriderMaster::LoadCapture(const std::string& path, bool quiet) {
  int status = 0;
  bool done = false, saysWhy = false;
  try {
    std::vector<std::string> messages;
    const MessageSink sink = [&](MessageId id, const std::string& text) {
      messages.push_back(text);
      saysWhy = id == MessageId::kNamesMissing || id == MessageId::kFileNotTaken ||
                id == MessageId::kFileNotRead;
      if (!quiet && session_.messages) session_.messages(id, text);
    };
    ExtractionReport extraction;
    const auto take = [&] {
      status = TakeCapture(path, sink, extraction);
      return status == 1;
    };
    done = LoadStep("Load Capture", take, quiet);
    if (!done && !saysWhy) messages.push_back(FormatMessage(MessageId::kOutOfMemory));
    if (done) lastConversion_.extraction = std::move(extraction);
    lastConversion_.done = done;
    lastConversion_.messages = std::move(messages);
  } catch (const std::bad_alloc&) {
    lastConversion_.done = done;
  }
  return done || status < 0 ? status : 0;
}

}  // namespace strider
