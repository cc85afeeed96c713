#include "strider/base/bit_array.h"

namespace strider {

int BitArray::Count() const {
  int count = 0;
  for (std::uint64_t word : words_) {
    for (; word != 0; word &= word - 1) ++count;
  }
  return count;
}

void BitArray::Resize(int size) {
  if (size < 0) size = 0;
  for (int i = size; i < size_ && i % 64 != 0; ++i) Set(i, false);
  size_ = size;
  words_.resize(WordsFor(size), 0);
}

void BitArray::Insert(int index) {
  if (index < 0 || index > size_) return;
  Resize(size_ + 1);
  const std::size_t first = Word(index);
  for (std::size_t w = words_.size(); w-- > first + 1;) {
    words_[w] = words_[w] << 1 | words_[w - 1] >> 63;
  }
  const std::uint64_t below = (std::uint64_t{1} << Bit(index)) - 1;
  words_[first] = (words_[first] & below) | (words_[first] & ~below) << 1;
}

void BitArray::Erase(int index) {
  if (!InRange(index)) return;
  const std::size_t first = Word(index);
  const std::uint64_t below = (std::uint64_t{1} << Bit(index)) - 1;
  words_[first] = (words_[first] & below) | (words_[first] >> 1 & ~below);
  for (std::size_t w = first + 1; w < words_.size(); ++w) {
    words_[w - 1] |= words_[w] << 63;
    words_[w] >>= 1;
  }
  Resize(size_ - 1);
}

}  // namespace strider
