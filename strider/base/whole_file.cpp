#include "strider/base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace strider {
namespace {

/// The folder of a path, as open and rename take it.
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// What a link names in the end; the path itself where nothing stands there yet.
std::string FollowLinks(const std::string& path) {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return path;
  std::string target = resolved;
  std::free(resolved);
  return target;
}

/// Calls `attempt` with names in `folder` until one is free. They are short, since the target's own
/// may fill what a name may hold. What it answered, -1 with errno set on failure.
template <class Attempt>
int WithFreeName(const std::string& folder, std::string& name, const Attempt& attempt) {
  constexpr int kTries = 100;
  for (int i = 0; i < kTries; ++i) {
    name = folder + "/.strider-" + std::to_string(getpid()) + "-" + std::to_string(i) + ".tmp";
    const int result = attempt(name.c_str());
    if (result >= 0 || errno != EEXIST) return result;
  }
  return -1;
}

/// Opens a new file in `folder`, with the usual rights, which the user's mask then narrows. Where
/// the system can, it has no name yet, so that nothing stays of a program that is stopped half way;
/// `name` is empty then. -1 on failure.
int OpenBeside(const std::string& folder, std::string& name) {
  name.clear();
#ifdef O_TMPFILE
  if (access("/proc/self/fd", X_OK) == 0) {  // the way to a name later on
    const int file = open(folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
    if (file >= 0) return file;
  }
#endif
  return WithFreeName(folder, name, [](const char* free) {
    return open(free, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  });
}

/// Gives a file without one a name in `folder`.
bool NameBeside(int file, const std::string& folder, std::string& name) {
  const std::string handle = "/proc/self/fd/" + std::to_string(file);
  const int result = WithFreeName(folder, name, [&handle](const char* free) {
    return linkat(AT_FDCWD, handle.c_str(), AT_FDCWD, free, AT_SYMLINK_FOLLOW);
  });
  if (result != 0) name.clear();
  return result == 0;
}

void Remove(const std::string& name) {
  if (!name.empty()) unlink(name.c_str());
}

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// A file that is replaced hands its rights on to the one that takes its name.
bool KeepRights(int file, const std::string& target) {
  struct stat old = {};
  return stat(target.c_str(), &old) != 0 || fchmod(file, old.st_mode & 07777) == 0;
}

/// Makes the new name itself last. Not every file system can do that for a folder; the file is
/// whole either way.
void SyncFolder(const std::string& folder) {
  const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return;
  (void)fsync(handle);
  close(handle);
}

// Pieces are gathered up to this many bytes before they are handed to the system.
constexpr std::size_t kBufferSize = std::size_t{1} << 18;

}  // namespace

bool WholeFile::Open(const std::string& path, std::string& cause) {
  Discard();
  target_ = FollowLinks(path);
  struct stat there = {};
  if (stat(target_.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
    cause = S_ISDIR(there.st_mode) ? "is a folder" : "is not a plain file";
    return false;
  }
  file_ = OpenBeside(FolderOf(target_), temporary_);
  if (file_ < 0) cause = std::strerror(errno);
  return file_ >= 0;
}

void WholeFile::Write(std::string_view bytes) {
  if (!Good()) return;
  if (buffer_.size() + bytes.size() > kBufferSize) Flush();
  if (bytes.size() < kBufferSize) {
    buffer_.append(bytes);
  } else if (Good() && !WriteAll(file_, bytes)) {
    error_ = errno;
  }
}

void WholeFile::Flush() {
  if (Good() && !WriteAll(file_, buffer_)) error_ = errno;
  buffer_.clear();
}

bool WholeFile::Finish(std::string& cause) {
  Flush();
  if (Good() && (!KeepRights(file_, target_) || fsync(file_) != 0)) error_ = errno;
  if (!Good()) cause = std::strerror(error_);
  return Good();
}

bool WholeFile::Commit(std::string& cause) {
  (void)Finish(cause);
  if (Good() && temporary_.empty() && !NameBeside(file_, FolderOf(target_), temporary_)) {
    error_ = errno;
  }
  if (close(file_) != 0 && Good()) error_ = errno;
  file_ = -1;
  if (Good() && std::rename(temporary_.c_str(), target_.c_str()) != 0) error_ = errno;
  if (!Good()) {
    Remove(temporary_);
    cause = std::strerror(error_);
    return false;
  }
  SyncFolder(FolderOf(target_));
  return true;
}

void WholeFile::Discard() {
  if (file_ >= 0) {
    close(file_);
    Remove(temporary_);
  }
  file_ = -1;
  error_ = 0;
  buffer_.clear();
}

bool WriteWholeFile(const std::string& path, std::string_view bytes, std::string& cause) {
  WholeFile file;
  if (!file.Open(path, cause)) return false;
  file.Write(bytes);
  return file.Commit(cause);
}

}  // namespace strider
