#include "exchange/motion_table.h"

#include <vector>

#include "exchange/json_values.h"
#include "exchange/motion_range.h"
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

}  // namespace

bool WriteMotionTable(const MotionCore& core, const EvalContext& context, const std::string& path,
                      std::string& cause, const ProgressSink& progress) {
  WholeFile file;
  if (!file.Open(path, cause)) return false;
  file.Write("frame,seconds,id,link,name,px,py,pz,qx,qy,qz,qw\n");
  const FrameRange range = FrameRangeOf(core);
  const std::vector<Row> rows = RowsOf(core);
  MotionCore posed = core;
  std::string text;
  for (std::int64_t frame = range.first; frame <= range.last && file.Good(); ++frame) {
    const TimeValue t = TimeOfFrame(core, frame);
    CorePose(posed, t, context);
    std::string when;
    AppendInteger(when, frame);
    when += ',';
    AppendNumber(when, static_cast<double>(t) / kTicksPerSecond);
    text.clear();
    for (const Row& row : rows) {
      text += when;
      AppendRow(text, posed, row);
    }
    file.Write(text);
    if (progress) progress(frame - range.first + 1, range.Count());
  }
  return file.Commit(cause);
}

}  // namespace strider
