// A growable set of bits, as selections and footstep flags use it.
#pragma once

#include <cstdint>
#include <vector>

namespace strider {

class BitArray {
 public:
  BitArray() = default;
  explicit BitArray(int size) { Resize(size); }

  int Size() const { return size_; }
  /// False for an index outside the set.
  bool Get(int i) const { return InRange(i) && (words_[Word(i)] >> Bit(i) & 1) != 0; }
  /// Nothing happens for an index outside the set.
  void Set(int i, bool on = true) {
    if (!InRange(i)) return;
    const std::uint64_t bit = std::uint64_t{1} << Bit(i);
    words_[Word(i)] = on ? words_[Word(i)] | bit : words_[Word(i)] & ~bit;
  }
  void ClearAll() { words_.assign(words_.size(), 0); }
  int Count() const;
  bool Any() const { return Count() > 0; }

  /// Room for `size` bits, so that growing up to it allocates nothing.
  void Reserve(int size) { words_.reserve(WordsFor(size)); }
  /// Keeps what stands, new bits are clear.
  void Resize(int size);
  /// Makes room at `index` (0 to Size()); bits from there move up by one, the new one is clear.
  void Insert(int index);
  /// Takes the bit at `index` out; those above move down.
  void Erase(int index);

  friend bool operator==(const BitArray&, const BitArray&) = default;

 private:
  bool InRange(int i) const { return i >= 0 && i < size_; }
  static std::size_t Word(int i) { return static_cast<std::size_t>(i) / 64; }
  static int Bit(int i) { return i % 64; }
  static std::size_t WordsFor(int size) { return (static_cast<std::size_t>(size) + 63) / 64; }

  int size_ = 0;
  std::vector<std::uint64_t> words_;  // bits past size_ are always clear
};

}  // namespace strider
