#include "exchange/glb_file.h"

#include <limits>

#include "strider/base/whole_file.h"

namespace strider {
namespace {

/// Whole words of four bytes.
void Pad(std::string& bytes, char with) {
  while (bytes.size() % 4 != 0) bytes += with;
}

void AppendWord(std::string& bytes, std::uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(word >> shift & 0xff);
}

constexpr std::uint32_t kMagic = 0x46546C67, kVersion = 2;
constexpr std::uint32_t kJsonChunk = 0x4E4F534A, kBinaryChunk = 0x004E4942;

}  // namespace

int GlbFile::Add(const char* list, Json entry) {
  Json& entries = document_[list];
  entries.push_back(std::move(entry));
  return static_cast<int>(entries.size()) - 1;
}

int GlbFile::AddView(std::span<const std::byte> bytes, GlbTarget target) {
  Pad(buffer_, '\0');
  Json view;
  view["buffer"] = 0;
  view["byteOffset"] = static_cast<std::uint64_t>(buffer_.size());
  view["byteLength"] = static_cast<std::uint64_t>(bytes.size());
  if (target != GlbTarget::kData) view["target"] = static_cast<int>(target);
  buffer_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return Add("bufferViews", std::move(view));
}

int GlbFile::AddAccessor(std::span<const std::byte> floats, std::size_t count, const char* type) {
  Json accessor;
  accessor["bufferView"] = AddView(floats, GlbTarget::kData);
  accessor["componentType"] = static_cast<int>(GlbComponent::kFloat);
  accessor["count"] = static_cast<std::int64_t>(count);
  accessor["type"] = type;
  return Add("accessors", std::move(accessor));
}

bool GlbFile::Write(const std::string& path, std::string& cause) {
  Pad(buffer_, '\0');
  document_["buffers"] =
      Json::array({{{"byteLength", static_cast<std::uint64_t>(buffer_.size())}}});
  // A name may hold bytes that are no text; they are replaced.
  std::string json = document_.dump(-1, ' ', false, Json::error_handler_t::replace);
  Pad(json, ' ');
  const std::uint64_t size = 12 + 8 + json.size() + 8 + std::uint64_t{buffer_.size()};
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    cause = "the motion is too long: the format holds 4 GB";
    return false;
  }
  std::string head;
  for (const std::uint32_t word : {kMagic, kVersion, static_cast<std::uint32_t>(size),
                                   static_cast<std::uint32_t>(json.size()), kJsonChunk}) {
    AppendWord(head, word);
  }
  std::string between;
  AppendWord(between, static_cast<std::uint32_t>(buffer_.size()));
  AppendWord(between, kBinaryChunk);
  WholeFile file;
  if (!file.Open(path, cause)) return false;
  for (const std::string* piece : {&head, &json, &between, &buffer_}) file.Write(*piece);
  return file.Commit(cause);
}

}  // namespace strider
