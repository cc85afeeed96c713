// Writes a file whole or not at all: whoever reads the name finds either what was there before or
// everything that was written.
#pragma once

#include <string>
#include <string_view>

namespace strider {

/// A file that grows piece by piece beside its target and takes the target's name at the end. Until
/// then, and if it is never committed, what stood there stays untouched and nothing is left beside.
class WholeFile {
 public:
  WholeFile() = default;
  ~WholeFile() { Discard(); }
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// Opens the file beside `path`. A link is followed, so that what it names is replaced and not
  /// the link. False, with the cause in a few words, where no plain file can be.
  [[nodiscard]] bool Open(const std::string& path, std::string& cause);
  /// Adds bytes. A failure is kept for Commit, so that a writer may look only there.
  void Write(std::string_view bytes);
  /// False once a write has failed: the rest need not be made.
  bool Good() const { return error_ == 0; }
  /// Brings the content to the disk. Not needed before Commit; for whoever commits several files
  /// and wants to know first that each of them is whole.
  [[nodiscard]] bool Finish(std::string& cause);
  /// Gives the file its name once its content has reached the disk.
  [[nodiscard]] bool Commit(std::string& cause);

 private:
  void Flush();
  void Discard();

  int file_ = -1, error_ = 0;
  std::string target_, buffer_;
  std::string temporary_;  // empty while the file has no name
};

/// Puts `bytes` under `path` through a WholeFile. True if done; else `cause` says why not.
[[nodiscard]] bool WriteWholeFile(const std::string& path, std::string_view bytes,
                                  std::string& cause);

}  // namespace strider
