#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/motion_outputs.h"
#include "cli/output.h"
#include "cli/verbs.h"
#include "strider/storage/motion_file.h"

namespace strider {
namespace {

constexpr const char* kName = "view";

struct Arguments {
  std::string input, output;
  bool noOpen = false;
};

/// A page named as the motion, in a temporary folder of its own. The page outlives the program: a
/// browser reads it later.
bool TemporaryPage(const std::string& input, std::string& page, std::string& refusal) {
  std::error_code failed;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(failed);
  std::string name = (folder / "strider-XXXXXX").string();
  if (failed || mkdtemp(name.data()) == nullptr) {
    refusal = "no temporary folder: " + (failed ? failed.message() : std::strerror(errno));
    return false;
  }
  page = (std::filesystem::path(name) / std::filesystem::path(input).stem()).string() + ".html";
  return true;
}

bool HasDisplay() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

/// Hands the page to the desktop. Whether a browser comes up is for the desktop to tell: the page
/// is written either way, and its name is printed.
void Open(const std::string& page) {
  const std::string path = std::filesystem::absolute(page).string();
  const pid_t child = fork();
  if (child != 0) {
    if (child > 0) (void)waitpid(child, nullptr, 0);
    return;
  }
  // A child of the child in a session of its own: the browser outlives the terminal.
  if (setsid() < 0 || fork() != 0) _exit(0);
  const int nowhere = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)dup2(nowhere, stream);
  (void)execlp("xdg-open", "xdg-open", path.c_str(), static_cast<char*>(nullptr));
  _exit(127);
}

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code neither;  // where one of the two is not there
  return std::filesystem::equivalent(a, b, neither);
}

ExitStatus Run(const Arguments& arguments) {
  std::string page = arguments.output, refusal;
  if (!page.empty()) {
    if (ExtensionOf(page) != "html") return RefuseFormat(kName, page, {"html"});
    if (IsSameFile(page, arguments.input)) {
      return Refuse(kName, Named(page) + "is the motion itself");
    }
  }
  MotionCore core;
  if (!LoadMotionFile(arguments.input, core, refusal)) return Refuse(kName, refusal);
  if (page.empty() && !TemporaryPage(arguments.input, page, refusal)) return Refuse(kName, refusal);
  if (!WriteMotionAs("html", core, {}, page, refusal)) {
    return Refuse(kName, Named(page) + refusal);
  }
  if (!arguments.noOpen && HasDisplay()) Open(page);
  return PrintOutput(kName, page + "\n");
}

}  // namespace

Verb AddViewVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Makes a page that plays the motion of a file, opens it in a browser, and prints\nits name.");
  parser->group("Verbs");
  const auto arguments = std::make_shared<Arguments>();
  parser->add_option("file", arguments->input, "motion, footsteps or figure: .sdr, .stp or .fig")
      ->type_name("FILE")
      ->required();
  parser
      ->add_option("-o,--output", arguments->output,
                   "page to write, .html; default one in a temporary folder")
      ->type_name("FILE");
  parser->add_flag("--no-open", arguments->noOpen, "write the page and leave it at that");
  return {parser, [arguments] { return Run(*arguments); }};
}

}  // namespace strider
