// A stream of tagged records over three carriers: a binary file, a text file, a chunk of the
// host's. One walk over a record's fields serves both directions, so that writer and reader
// cannot part. docs/formats/stream.md describes the bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "strider/base/large_block.h"
#include "strider/base/point3.h"
#include "strider/base/quat.h"

namespace strider {

/// The version that is written, and the newest that is read.
inline constexpr int kStreamVersion = 54;

enum class StreamForm { kBinary, kText, kChunk };
/// Once not good a stream stays so: what is read of it afterwards is left as it was.
enum class StreamStatus { kGood, kEnd, kBroken };

/// No length or place of a figure comes near it, and its square is still a float.
inline constexpr float kLargestFloat = 1e18f;

class Stream {
 public:
  /// Reads `bytes`, which must outlive the stream.
  static Stream Reader(std::string_view bytes, StreamForm form);
  /// Writes into a buffer. `version` is what the gates of the fields go by: tests write old files.
  static Stream Writer(StreamForm form, int version = kStreamVersion);
  /// The form of a file: binary if it begins with the version tag's two bytes, else text.
  static StreamForm FormOf(std::string_view bytes);

  bool Reading() const { return reading_; }
  StreamForm Form() const { return form_; }
  bool IsText() const { return form_ == StreamForm::kText; }
  int Version() const { return version_; }
  void SetVersion(int version) { version_ = version; }

  StreamStatus Status() const { return status_; }
  bool Good() const { return status_ == StreamStatus::kGood; }
  /// Why the stream is not good, with the place and the tag: "byte 1234, tag 304: ...".
  const std::string& Cause() const { return cause_; }
  /// Breaks the stream. The first cause stays.
  void Fail(const std::string& cause);
  /// The same for input that ends too early: inside a record, or between two of a block.
  void FailAtEnd();
  void EndedInBlock();

  /// The next tag; kNoTag at the end of the input, which is no fault, and where the stream is not
  /// good.
  static constexpr int kNoTag = -1;
  int ReadTag();
  void WriteTag(int tag);

  // Fields, in either direction. A value read that is not finite or past kLargestFloat breaks the
  // stream. In text each stands on a line of its own, but for four floats.
  void Int(int& value);
  void Float(float& value);
  /// `count` floats one after another.
  void Floats(float* values, int count);
  /// Four floats as one field: one line in text.
  void Four(float* values);
  void Four(float a, float b, float c, float d);  // written; read and dropped
  void Vector(Point3& p);
  /// A rotation as four floats, x, y, z, w. One read that is no unit is brought to it.
  void Rotation(Quat& q);
  /// A number of items of at least `fields` fields each: checked against what is left to read
  /// before it sizes anything.
  bool Count(int& count, int fields);
  /// UTF-8 in memory, at most `limit` characters. Wide: two bytes a character in binary. A chunk
  /// below version 19 holds none.
  void Text(std::string& text, int limit, bool wide = true);
  /// Bytes of another format, with their number.
  void Blob(std::string& bytes);
  /// A line that only the text form has, to guide a reader's eye; any line will do when read.
  void Caption(std::string_view line);
  /// An int that is written as a constant; read and dropped.
  void Skip(int written = 0);
  /// A float of no meaning to us; read whatever it is and dropped.
  void SkipFloat(float written = 0);
  void SkipFour() { Four(0, 0, 0, 0); }

  /// The bytes of the next `fields` fields at once; null where they have to be read one by one: in
  /// text, where the input ends before them, and where one holds what may be no number.
  const char* TakeBlock(int fields);
  /// Fields that were laid out elsewhere, in a form that is not text.
  void PutBlock(const char* bytes, int fields) {
    out_.append(bytes, sizeof(float) * static_cast<std::size_t>(fields));
  }
  /// Room for as many bytes, so that a writer's buffer need not move while it grows.
  void Reserve(std::size_t size) { ReserveForUse(out_, size); }
  /// What a writer has written.
  const std::string& Bytes() const { return out_; }
  std::string TakeBytes() { return std::move(out_); }
  std::size_t Left() const { return in_.size() - at_; }

 private:
  bool Take(void* to, std::size_t size);
  void Put(const void* from, std::size_t size);
  /// The next line that is not blank, without its end; empty where the stream is not good.
  std::string_view Line();
  void Check(const float* values, int count);
  bool ParseFloat(std::string_view text, float& value);

  StreamForm form_ = StreamForm::kBinary;
  bool reading_ = false;
  int version_ = kStreamVersion;
  StreamStatus status_ = StreamStatus::kGood;
  std::string cause_;
  std::string_view in_;
  std::size_t at_ = 0;
  int line_ = 0;  // of the text line last read, from 1
  int tag_ = kNoTag;
  std::string out_;
};

}  // namespace strider
