#include "strider/capture/moc_file.h"

#include <utility>

#include "strider/base/whole_file.h"
#include "strider/storage/motion_file.h"
#include "strider/storage/stream.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

/// Completes a file; one that is cut short lacks it.
constexpr int kEndTag = 799;

using Kind = MocapParameter::Kind;

void WriteValue(Stream& s, MocapParameters& parameters, const MocapParameter& parameter) {
  s.WriteTag(parameter.tag);
  s.Caption(parameter.name);
  if (parameter.kind == Kind::kPath) {
    s.Text(parameters.*parameter.path, static_cast<int>(kLongestCapturePath));
    return;
  }
  if (parameter.kind == Kind::kRanges) {
    std::string ranges = RangesText(parameters.freeFormRanges);
    return s.Text(ranges, static_cast<int>(kLongestRangesText));
  }
  const double value = parameter.get(parameters, parameter.index);
  if (parameter.kind == Kind::kFloat) {
    float number = static_cast<float>(value);
    s.Float(number);
  } else {
    int number = static_cast<int>(value);
    s.Int(number);
  }
}

void ReadValue(Stream& s, MocapParameters& parameters, const MocapParameter& parameter) {
  s.Caption(parameter.name);
  if (parameter.kind == Kind::kPath) {
    std::string path;
    s.Text(path, static_cast<int>(kLongestCapturePath));
    if (!IsPathText(path)) return s.Fail("\"" + parameter.name + "\" cannot be that");
    parameters.*parameter.path = path;
    return;
  }
  if (parameter.kind == Kind::kRanges) {
    std::string text;
    s.Text(text, static_cast<int>(kLongestRangesText));
    auto ranges = ReadRanges(text);
    if (!ranges) return s.Fail("\"" + parameter.name + "\" cannot be that");
    parameters.freeFormRanges = std::move(*ranges);
    return;
  }
  double value = 0;
  if (parameter.kind == Kind::kFloat) {
    float number = 0;
    s.Float(number);
    value = static_cast<double>(number);
  } else {
    int number = 0;
    s.Int(number);
    value = number;
  }
  if (!s.Good()) return;
  if (!IsWithin(parameter, value)) return s.Fail("\"" + parameter.name + "\" cannot be that");
  parameter.set(parameters, parameter.index, value);
}

const MocapParameter* FindTag(int tag) {
  for (const MocapParameter& parameter : AllMocapParameters()) {
    if (parameter.tag == tag) return &parameter;
  }
  return nullptr;
}

void ReadAll(Stream& s, MocapParameters& parameters) {
  int version = 0;
  if (s.ReadTag() != kVersionTag) return s.Fail("this is no file of capture settings");
  s.Int(version);
  if (!s.Good()) return;
  if (version < 1) return s.Fail("there is no version " + std::to_string(version));
  s.SetVersion(version);
  while (true) {
    const int tag = s.ReadTag();
    if (tag == kEndTag) return;
    if (s.Status() == StreamStatus::kEnd) return s.EndedInBlock();
    if (!s.Good()) return;
    if (const MocapParameter* parameter = FindTag(tag)) {
      ReadValue(s, parameters, *parameter);
    } else if (version > kStreamVersion) {
      return s.Fail("the file is of a newer version and holds a tag that is not known");
    } else {
      return s.Fail("a tag that has no place here");
    }
  }
}

}  // namespace

std::string MocText(const MocapParameters& parameters) {
  MocapParameters copy = parameters;
  Stream s = Stream::Writer(StreamForm::kText);
  int version = kStreamVersion;
  s.WriteTag(kVersionTag);
  s.Int(version);
  for (const MocapParameter& parameter : AllMocapParameters()) WriteValue(s, copy, parameter);
  s.WriteTag(kEndTag);
  return s.TakeBytes();
}

bool ReadMocText(std::string_view text, const std::string& name, MocapParameters& parameters,
                 std::string& cause) {
  MocapParameters read;
  Stream s = Stream::Reader(text, StreamForm::kText);
  ReadAll(s, read);
  if (!s.Good()) {
    // The stream says "line 12, tag 304: why".
    std::string_view why = s.Cause();
    constexpr std::string_view kLine = "line ";
    cause = name + ":";
    if (why.starts_with(kLine)) why.remove_prefix(kLine.size());
    cause += why;
    return false;
  }
  parameters = read;
  return true;
}

bool ReadMocFile(const std::string& path, MocapParameters& parameters, std::string& cause) {
  std::string text;
  if (!ReadNamedFile(path, text, cause)) return false;
  return ReadMocText(text, path, parameters, cause);
}

bool WriteMocFile(const std::string& path, const MocapParameters& parameters, std::string& cause) {
  if (WriteWholeFile(path, MocText(parameters), cause)) return true;
  cause = path + ": " + cause;
  return false;
}

}  // namespace strider
