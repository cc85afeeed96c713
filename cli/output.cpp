#include "cli/output.h"

#include <cerrno>
#include <cstring>

#include "strider/base/whole_file.h"

namespace strider {

std::string Named(const std::string& path) { return (path.empty() ? "\"\"" : path) + ": "; }

std::string ExtensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t dot = path.rfind('.');
  // A name that begins with its only dot is hidden and has no extension.
  if (dot == std::string::npos || dot <= begin) return "";
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

std::string ListFormats(const std::vector<std::string>& formats) {
  std::string list;
  for (std::size_t i = 0; i < formats.size(); ++i) {
    if (i > 0) list += i + 1 < formats.size() ? ", " : " or ";
    list += "." + formats[i];
  }
  return list;
}

ExitStatus RefuseFormat(const std::string& verb, const std::string& path,
                        const std::vector<std::string>& formats) {
  return Refuse(verb, Named(path) + "the output's name must end in " + ListFormats(formats));
}

ExitStatus WriteOutput(const std::string& verb, const std::string& path, std::string_view bytes) {
  std::string cause;
  if (!WriteWholeFile(path, bytes, cause)) return Refuse(verb, Named(path) + cause);
  return PrintOutput(verb, path + "\n");
}

ExitStatus PrintOutput(const std::string& verb, std::string_view bytes) {
  errno = 0;
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::cout.flush();
  if (std::cout) return kExitDone;
  const std::string cause = errno != 0 ? std::strerror(errno) : "cannot be written to";
  return Refuse(verb, "standard output: " + cause);
}

}  // namespace strider
