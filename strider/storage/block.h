// A block of a stream: the table of its tags, which the writer goes through from the first to the
// last and the reader looks its tags up in.
#pragma once

#include <span>
#include <string>

#include "strider/storage/header_info.h"

namespace strider {

template <class Block>
struct BlockTag {
  int tag;       // as it is written
  int otherTag;  // its first or narrow form, read too; 0 for none
  void (*walk)(Stream&, Block&, int tag);
  /// Whether the writer has it; null for always.
  bool (*present)(const Block&, const Stream&) = nullptr;
};

template <class Block>
void WriteBlock(Stream& s, Block& block, std::span<const BlockTag<Block>> tags) {
  for (const BlockTag<Block>& row : tags) {
    if (row.present != nullptr && !row.present(block, s)) continue;
    s.WriteTag(row.tag);
    row.walk(s, block, row.tag);
  }
}

/// Reads tags up to the table's last one, which completes the block. `tag` is the first of them,
/// already read. A tag of another block breaks the stream.
template <class Block>
void ReadBlock(Stream& s, Block& block, std::span<const BlockTag<Block>> tags, StreamHeader& header,
               int tag) {
  while (s.Good()) {
    if (!ReadHeaderTag(s, header, tag)) {
      const BlockTag<Block>* found = nullptr;
      for (const BlockTag<Block>& row : tags) {
        if (row.tag == tag || (row.otherTag != 0 && row.otherTag == tag)) found = &row;
      }
      if (found == nullptr) return s.Fail("a tag that has no place here");
      found->walk(s, block, tag);
      if (found == &tags.back()) return;
    }
    tag = s.ReadTag();
    if (tag == Stream::kNoTag && s.Status() == StreamStatus::kEnd) return s.EndedInBlock();
  }
}

}  // namespace strider
