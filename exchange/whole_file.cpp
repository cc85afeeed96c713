#include "exchange/whole_file.h"

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

/// Opens a new file in `folder`. Its name is short, since the target's may fill what a name may
/// hold. Opened with the usual rights, which the user's mask then narrows. -1 on failure.
int OpenBeside(const std::string& folder, std::string& name) {
  constexpr int kTries = 100;
  for (int i = 0; i < kTries; ++i) {
    name = folder + "/.strider-" + std::to_string(getpid()) + "-" + std::to_string(i) + ".tmp";
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
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

}  // namespace

bool WriteWholeFile(const std::string& path, std::string_view bytes, std::string& cause) {
  const std::string target = FollowLinks(path);
  struct stat there = {};
  if (stat(target.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
    cause = S_ISDIR(there.st_mode) ? "is a folder" : "is not a plain file";
    return false;
  }
  const std::string folder = FolderOf(target);
  std::string temporary;
  const int file = OpenBeside(folder, temporary);
  if (file < 0) {
    cause = std::strerror(errno);
    return false;
  }
  bool done = WriteAll(file, bytes) && KeepRights(file, target) && fsync(file) == 0;
  int error = done ? 0 : errno;
  if (close(file) != 0 && done) {
    done = false;
    error = errno;
  }
  if (done && std::rename(temporary.c_str(), target.c_str()) != 0) {
    done = false;
    error = errno;
  }
  if (!done) {
    unlink(temporary.c_str());
    cause = std::strerror(error);
    return false;
  }
  SyncFolder(folder);
  return true;
}

}  // namespace strider
