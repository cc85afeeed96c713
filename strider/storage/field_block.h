// The fields of one record at once. The walks over a record's fields are templates: on a stream
// they check and report each field by itself, on the carriers here they move a whole record whose
// bytes the stream has looked at beforehand.
#pragma once

#include <cmath>
#include <cstring>

#include "strider/base/point3.h"
#include "strider/base/quat.h"

namespace strider {

/// A rotation as it was read: brought to a unit where it is none.
inline Quat ReadRotation(const Quat& q) {
  // Rounded to six decimals a unit is one within this; what is further off was never a rotation.
  constexpr float kUnit = 1e-4f;
  const float square = Dot(q, q);
  if (std::fabs(square - 1) <= kUnit) return q;
  return square > 1e-12f ? (1 / std::sqrt(square)) * q : Quat{};
}

/// What the three carriers share. `Carrier` has Words(void*, count): the next fields, of four bytes
/// each.
template <class Carrier, bool kReads>
class FieldWalk {
 public:
  explicit FieldWalk(int version) : version_(version) {}
  static constexpr bool Reading() { return kReads; }
  int Version() const { return version_; }

  void Int(int& value) { Own().Words(&value, 1); }
  void Float(float& value) { Own().Words(&value, 1); }
  void Floats(float* values, int count) { Own().Words(values, count); }
  void Four(float* values) { Own().Words(values, 4); }
  void Vector(Point3& p) {
    static_assert(sizeof p == 3 * sizeof(float));
    Own().Words(&p, 3);
  }
  void Rotation(Quat& q) {
    static_assert(sizeof q == 4 * sizeof(float));
    Own().Words(&q, 4);
    if (kReads) q = ReadRotation(q);
  }
  void Skip() {
    int none = 0;
    Own().Words(&none, 1);
  }
  void SkipFloat() { Skip(); }

 private:
  Carrier& Own() { return static_cast<Carrier&>(*this); }
  int version_;
};

/// Reads from bytes that are known to suffice and to hold no number past what a stream takes.
class FieldReader : public FieldWalk<FieldReader, true> {
 public:
  FieldReader(const char* bytes, int version) : FieldWalk(version), at_(bytes) {}
  void Words(void* to, int count) {
    const std::size_t size = 4 * static_cast<std::size_t>(count);
    std::memcpy(to, at_, size);
    at_ += size;
  }

 private:
  const char* at_;
};

/// Writes to bytes that are known to suffice.
class FieldWriter : public FieldWalk<FieldWriter, false> {
 public:
  FieldWriter(char* bytes, int version) : FieldWalk(version), at_(bytes) {}
  void Words(const void* from, int count) {
    const std::size_t size = 4 * static_cast<std::size_t>(count);
    std::memcpy(at_, from, size);
    at_ += size;
  }

 private:
  char* at_;
};

/// Counts the fields of a record in a version.
class FieldCounter : public FieldWalk<FieldCounter, false> {
 public:
  explicit FieldCounter(int version) : FieldWalk(version) {}
  void Words(const void*, int count) { count_ += count; }
  int Count() const { return count_; }

 private:
  int count_ = 0;
};

}  // namespace strider
