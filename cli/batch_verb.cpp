#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "cli/import_options.h"
#include "cli/motion_outputs.h"
#include "cli/output.h"
#include "cli/text_option.h"
#include "cli/verbs.h"
#include "strider/base/number_text.h"

namespace strider {
namespace {

namespace fs = std::filesystem;

constexpr const char* kName = "batch";
constexpr int kMostThreads = 256;

struct Arguments {
  std::vector<std::string> inputs;
  std::string output;
  std::vector<std::string> formats = {"sdr"};
  std::optional<std::string> threads, shard;
  bool force = false;
  ImportWords import;
};

/// A take and where its motion goes, without the extension.
struct Task {
  std::string input;
  fs::path output;
};

/// A part of the takes, for machines that share the work: the takes number `part`, `part` + `parts`
/// and so on of the sorted list.
struct Shard {
  int part = 1, parts = 1;
  /// What its error log's name begins with; nothing where there is only one part.
  std::string Prefix() const {
    return parts == 1 ? "" : "Shard" + std::to_string(part) + "of" + std::to_string(parts) + "-";
  }
};

bool ReadShard(const std::optional<std::string>& text, Shard& shard, std::string& refusal) {
  if (!text) return true;
  const std::size_t slash = text->find('/');
  const auto number = [&](std::size_t from, std::size_t count) {
    return ReadInteger(text->substr(from, count)).value_or(0);
  };
  const std::int64_t part = slash == std::string::npos ? 0 : number(0, slash);
  const std::int64_t parts = slash == std::string::npos ? 0 : number(slash + 1, std::string::npos);
  if (part >= 1 && part <= parts && parts <= 1'000'000) {
    shard = {static_cast<int>(part), static_cast<int>(parts)};
    return true;
  }
  refusal = "--shard takes K/N with K from 1 to N, given \"" + *text + "\"";
  return false;
}

bool ReadThreads(const std::optional<std::string>& text, int& threads, std::string& refusal) {
  threads = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 8u));
  if (!text) return true;
  const std::int64_t number = ReadInteger(*text).value_or(0);
  if (number >= 1 && number <= kMostThreads) {
    threads = static_cast<int>(number);
    return true;
  }
  refusal = "-j takes a number of threads from 1 to " + std::to_string(kMostThreads) +
            ", given \"" + *text + "\"";
  return false;
}

bool IsTakeInFolder(const fs::path& path) {
  // Motions are what a batch makes: in a folder they are taken for that, and converted only by
  // name.
  const std::string format = ExtensionOf(path.string());
  return format == "bvh" || format == "mkr";
}

/// Takes of a folder and its folders, which the output mirrors.
bool ListFolder(const fs::path& folder, const fs::path& output, std::vector<Task>& tasks,
                std::string& refusal) {
  std::error_code failed;
  for (fs::recursive_directory_iterator entry(folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    std::error_code unknown;
    // What an earlier sitting made is no take of this one.
    if (fs::equivalent(entry->path(), output, unknown)) {
      entry.disable_recursion_pending();
      continue;
    }
    if (!entry->is_regular_file(unknown) || !IsTakeInFolder(entry->path())) continue;
    fs::path relative = entry->path().lexically_relative(folder);
    tasks.push_back({entry->path().string(), output / relative.replace_extension()});
  }
  if (!failed) return true;
  refusal = folder.string() + ": " + failed.message();
  return false;
}

std::string WithExtension(const fs::path& path, const std::string& format) {
  return path.string() + "." + format;
}

bool IsThere(const std::string& path, std::string& cause) {
  std::error_code failed;
  if (fs::exists(path, failed)) return true;
  cause = path + ": " + (failed ? failed.message() : std::generic_category().message(ENOENT));
  return false;
}

/// Takes cannot be made again: a motion never takes the place of one.
bool WritesOverNone(const Arguments& arguments, const std::vector<Task>& tasks,
                    std::string& refusal) {
  for (const Task& task : tasks) {
    for (const std::string& format : arguments.formats) {
      const std::string path = WithExtension(task.output, format);
      const char* what = InputAt(path, task.input, arguments.import);
      if (what == nullptr) continue;
      refusal = path + ": is " + what + " itself";
      return false;
    }
  }
  return true;
}

bool ListTasks(const Arguments& arguments, std::vector<Task>& tasks, std::string& refusal) {
  const fs::path output = arguments.output;
  for (const std::string& input : arguments.inputs) {
    std::error_code failed;
    if (fs::is_directory(input, failed)) {
      if (!ListFolder(input, output, tasks, refusal)) return false;
    } else {
      tasks.push_back({input, output / fs::path(input).stem()});
    }
  }
  std::sort(tasks.begin(), tasks.end(), [](const Task& a, const Task& b) {
    return a.output < b.output || (a.output == b.output && a.input < b.input);
  });
  for (std::size_t i = 1; i < tasks.size(); ++i) {
    if (tasks[i].output != tasks[i - 1].output) continue;
    if (tasks[i].input == tasks[i - 1].input) continue;
    refusal = tasks[i - 1].input + " and " + tasks[i].input + " would both become " +
              tasks[i].output.string() + "." + arguments.formats.front();
    return false;
  }
  tasks.erase(std::unique(tasks.begin(), tasks.end(),
                          [](const Task& a, const Task& b) { return a.output == b.output; }),
              tasks.end());
  if (tasks.empty()) {
    refusal = "no takes (.bvh, .mkr) in what was given";
    return false;
  }
  return WritesOverNone(arguments, tasks, refusal);
}

/// One sitting of converting many takes.
class Batch {
 public:
  Batch(const Arguments& arguments, const ImportOptions& options, const Shard& shard,
        std::vector<Task> tasks)
      : arguments_(arguments), options_(options), tasks_(std::move(tasks)) {
    log_ = (fs::path(arguments.output) / (shard.Prefix() + "ErrLog.txt")).string();
  }

  /// The log of an earlier sitting says nothing of this one.
  bool Prepare(std::string& refusal) {
    std::error_code failed;
    fs::create_directories(arguments_.output, failed);
    if (failed) {
      refusal = arguments_.output + ": " + failed.message();
      return false;
    }
    fs::remove(log_, failed);
    if (access(arguments_.output.c_str(), W_OK) == 0) return true;
    refusal = arguments_.output + ": " + std::generic_category().message(errno);
    return false;
  }

  ExitStatus Run(int threads) {
    threads = std::min(threads, static_cast<int>(tasks_.size()));
    std::vector<std::thread> others;
    for (int i = 1; i < threads; ++i) others.emplace_back([this] { Work(); });
    Work();
    for (std::thread& other : others) other.join();
    std::string text = std::to_string(done_) + " converted, ";
    if (doubtful_ > 0) text += std::to_string(doubtful_) + " of them with doubts, ";
    text += std::to_string(skipped_) + " up to date, " + std::to_string(failed_) + " failed";
    if (failed_ > 0 || doubtful_ > 0) text += ", see " + log_;
    const ExitStatus printed = PrintOutput(kName, text + "\n");
    return failed_ > 0 ? kExitRefused : printed;
  }

 private:
  void Work() {
    for (;;) {
      const std::size_t i = next_.fetch_add(1);
      if (i >= tasks_.size()) return;
      std::string cause, doubts;
      bool done = true;
      const bool upToDate = !arguments_.force && IsUpToDate(tasks_[i]);
      if (!upToDate) {
        try {
          done = Convert(tasks_[i], cause, doubts);
        } catch (const std::exception& error) {
          done = false;
          cause = tasks_[i].input + ": " + error.what();
        }
      }
      Tell(tasks_[i], upToDate, done, cause, doubts);
    }
  }

  bool IsUpToDate(const Task& task) const {
    for (const std::string& format : arguments_.formats) {
      std::error_code failed;
      const auto made = fs::last_write_time(WithExtension(task.output, format), failed);
      if (failed) return false;
      const auto input = fs::last_write_time(task.input, failed);
      if (failed || input > made) return false;
    }
    return true;
  }

  /// `doubts` are lines for the log: what is wrong with a take that was converted all the same.
  bool Convert(const Task& task, std::string& cause, std::string& doubts) const {
    ImportResult result;
    if (!IsThere(task.input, cause)) return false;
    std::error_code failed;
    if (!ImportTake(task.input, options_, {}, result, cause)) return false;
    for (std::string doubt : result.doubts) {
      if (!doubt.starts_with(task.input)) doubt = task.input + ": " + doubt;
      doubts += OnOneLine(doubt) + "\n";
    }
    fs::create_directories(task.output.parent_path(), failed);
    for (const std::string& format : arguments_.formats) {
      const std::string path = WithExtension(task.output, format);
      MotionOutputOptions output;
      TellUnit(format, result.metresPerUnit, output);
      if (!WriteMotionAs(format, result.motion, output, path, cause)) {
        cause = path + ": " + cause;
        return false;
      }
    }
    return true;
  }

  void Tell(const Task& task, bool upToDate, bool done, const std::string& cause,
            const std::string& doubts) {
    const std::scoped_lock lock(telling_);
    ++told_;
    if (upToDate) {
      ++skipped_;
    } else if (done) {
      ++done_;
      if (!doubts.empty()) {
        ++doubtful_;
        std::ofstream(log_, std::ios::app) << doubts;
      }
    } else {
      ++failed_;
      std::ofstream log(log_, std::ios::app);
      log << OnOneLine(cause) << "\n";
      std::cerr << "strider batch: " << OnOneLine(cause) << "\n";
    }
    if (!atTerminal_) return;
    std::cerr << "take " << told_ << " of  " << tasks_.size() << " " << OnOneLine(task.input)
              << "\n";
  }

  const Arguments& arguments_;
  const ImportOptions& options_;
  std::vector<Task> tasks_;
  std::string log_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex telling_;
  int told_ = 0, done_ = 0, skipped_ = 0, failed_ = 0, doubtful_ = 0;
  bool atTerminal_ = isatty(STDERR_FILENO) != 0;
};

ExitStatus Run(const Arguments& arguments) {
  std::string refusal;
  const std::vector<std::string> known = MotionFormats();
  for (const std::string& format : arguments.formats) {
    if (std::find(known.begin(), known.end(), format) == known.end()) {
      return Refuse(kName, "--to knows " + ListFormats(known) + ", given \"" + format + "\"");
    }
  }
  ImportOptions options;
  Shard shard;
  int threads = 1;
  std::vector<Task> tasks;
  if (!ReadImportOptions(arguments.import, options, refusal) ||
      !ReadShard(arguments.shard, shard, refusal) ||
      !ReadThreads(arguments.threads, threads, refusal) || !ListTasks(arguments, tasks, refusal)) {
    return Refuse(kName, refusal);
  }
  for (const std::string& file : {options.figure, options.pose, options.parameterFile}) {
    if (!file.empty() && !IsThere(file, refusal)) return Refuse(kName, refusal);
  }
  std::vector<Task> own;
  for (std::size_t i = static_cast<std::size_t>(shard.part) - 1; i < tasks.size();
       i += static_cast<std::size_t>(shard.parts)) {
    own.push_back(std::move(tasks[i]));
  }
  Batch batch(arguments, options, shard, std::move(own));
  if (!batch.Prepare(refusal)) return Refuse(kName, refusal);
  return batch.Run(threads);
}

}  // namespace

Verb AddBatchVerb(CLI::App& program) {
  CLI::App* parser = program.add_subcommand(
      kName,
      "Imports many takes with the same settings. A take that cannot be read is told in a log and\n"
      "does not stop the others; what is already made and not older than its take stays.");
  parser->group("Verbs");
  const auto a = std::make_shared<Arguments>();
  parser->add_option("inputs", a->inputs, "takes, and folders of .bvh and .mkr takes")
      ->type_name("DIR|FILE...")
      ->required();
  parser->add_option("-o,--output", a->output, "folder for the motions and the log of errors")
      ->type_name("DIR")
      ->required();
  parser->add_option("--to", a->formats, "formats to write, with commas between; default sdr")
      ->type_name("EXT,EXT")
      ->delimiter(',');
  AddTextOption(*parser, "-j,--jobs", a->threads, "N",
                "takes at the same time; default the machine's cores, to 8");
  AddTextOption(*parser, "--shard", a->shard, "K/N",
                "part K of N of the takes, for several machines");
  parser->add_flag("--force", a->force, "convert what is up to date too");
  AddImportOptions(*parser, a->import, false);
  return {parser, [a] { return Run(*a); }};
}

}  // namespace strider
