#include "exchange/motion_table.h"

#include <vector>

#include "exchange/json_values.h"
#include "exchange/motion_sampler.h"
#include "strider/base/number_text.h"
#include "strider/base/whole_file.h"
#include "strider/core/evaluate.h"
#include "strider/core/node_tree.h"

namespace strider {
namespace {

/// A field of a table: in quotes where a separator or a line's end would break it.
std::string Field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + "\"";
}

/// A link with the part of its rows that is the same at every frame.
struct Row {
  int id, link;
  std::string head;
};

std::vector<Row> RowsOf(const MotionCore& core) {
  std::vector<Row> rows;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    std::string head = ",";
    AppendInteger(head, node.id);
    head += ',';
    AppendInteger(head, node.link);
    rows.push_back({node.id, node.link, head + "," + Field(node.name)});
  }
  return rows;
}

void AppendRow(std::string& text, const MotionCore& core, const Row& row) {
  text += row.head;
  const Matrix3 world = UnmirroredLinkTransform(core, row.id, row.link);
  const Point3& p = world.Origin();
  const Quat q = OneOfTwo(RotationOf(world));
  for (const float value : {p.x, p.y, p.z, q.x, q.y, q.z, q.w}) {
    text += ',';
    AppendNumber(text, Plain(value));
  }
  text += '\n';
}

/// Frame and seconds, as the tables of poses begin their rows.
std::string WhenOf(const MotionCore& core, TimeValue t) {
  std::string when;
  if (t % core.ticksPerFrame == 0) {
    AppendInteger(when, t / core.ticksPerFrame);
  } else {
    AppendNumber(when, static_cast<double>(t) / core.ticksPerFrame);
  }
  when += ',';
  AppendNumber(when, static_cast<double>(t) / kTicksPerSecond);
  return when;
}

void AppendContacts(std::string& text, const BodyRecord& body) {
  for (const bool contact : {true, false}) {
    for (const int state : body.legStates) {
      text += ',';
      AppendInteger(text, contact ? state < kMove : state);
    }
  }
  text += '\n';
}

/// The footsteps as a plan that makes them again.
std::string FootstepTable(const FootstepTrack& track) {
  std::string text = "side,x,y,z,heading,start,duration\n";
  for (std::size_t i = 0; i < static_cast<std::size_t>(track.numFootsteps); ++i) {
    const int side = track.side[i];
    const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[i])];
    text += side == kLeft ? "left" : "right";
    const Point3 place = HostFromCore(track.position[i]);
    for (const float value : {place.x, place.y, place.z, RadiansToDegrees(track.angle[i])}) {
      text += ',';
      AppendNumber(text, Plain(value));
    }
    for (const TimeValue t : {span.start, span.duration}) {
      text += ',';
      AppendNumber(text, static_cast<double>(t) / kTicksPerSecond);
    }
    text += '\n';
  }
  return text;
}

/// The tables beside that of the links, open as long as they are asked for.
struct SideTables {
  WholeFile footsteps, contacts;
  bool asked = false;

  bool Open(const std::string& path, std::string& cause) {
    asked = true;
    return footsteps.Open(TableBeside(path, kTablesBeside[0]), cause) &&
           contacts.Open(TableBeside(path, kTablesBeside[1]), cause);
  }
  bool Finish(std::string& cause) {
    return !asked || (footsteps.Finish(cause) && contacts.Finish(cause));
  }
  bool Good() const { return !asked || (footsteps.Good() && contacts.Good()); }
  bool Commit(std::string& cause) {
    return !asked || (footsteps.Commit(cause) && contacts.Commit(cause));
  }
};

}  // namespace

std::string TableBeside(const std::string& path, const std::string& what) {
  const std::size_t dot = path.rfind('.');
  const bool hasExtension = dot != std::string::npos && path.find('/', dot) == std::string::npos;
  return hasExtension ? path.substr(0, dot) + "." + what + path.substr(dot)
                      : path + "." + what + ".csv";
}

bool WriteMotionTable(const MotionCore& core, const EvalContext& context,
                      const MotionTableOptions& options, const std::string& path,
                      std::string& cause, const ProgressSink& progress) {
  WholeFile file;
  SideTables beside;
  if (!file.Open(path, cause)) return false;
  if (options.withFootsteps && !beside.Open(path, cause)) return false;
  file.Write("frame,seconds,id,link,name,px,py,pz,qx,qy,qz,qw\n");
  if (beside.asked) {
    beside.footsteps.Write(FootstepTable(core.footsteps));
    beside.contacts.Write("frame,seconds,right,left,right_state,left_state\n");
  }
  const std::vector<TimeValue> times =
      options.times.empty() ? TimesAtFrames(core, FrameRangeOf(core)) : options.times;
  const std::vector<Row> rows = RowsOf(core);
  MotionCore posed = core;
  std::string text;
  for (std::size_t i = 0; i < times.size() && file.Good() && beside.Good(); ++i) {
    CorePose(posed, times[i], context);
    const std::string when = WhenOf(core, times[i]);
    text.clear();
    for (const Row& row : rows) {
      text += when;
      AppendRow(text, posed, row);
    }
    file.Write(text);
    if (beside.asked) {
      text = when;
      AppendContacts(text, posed.body);
      beside.contacts.Write(text);
    }
    if (progress) {
      progress(static_cast<std::int64_t>(i + 1), static_cast<std::int64_t>(times.size()));
    }
  }
  // What does not fit on the disk shows before anything takes a name that stood for something.
  if (!beside.Finish(cause) || !file.Finish(cause)) return false;
  return beside.Commit(cause) && file.Commit(cause);
}

}  // namespace strider
