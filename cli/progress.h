// Tells a person at a terminal how far a long task is; a pipe hears nothing.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <iostream>

namespace strider {

class Progress {
 public:
  explicit Progress(const char* what) : what_(what) {}
  ~Progress() {
    if (told_) std::cerr << "\r\x1b[K";  // leaves the line as it found it
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Tell(std::int64_t done, std::int64_t all) {
    using namespace std::chrono;
    if (!atTerminal_ || done % 64 != 0) return;
    const auto now = steady_clock::now();
    if (now - last_ < (told_ ? milliseconds(200) : milliseconds(1000))) return;
    last_ = now;
    told_ = true;
    std::cerr << "\r" << what_ << " " << done * 100 / all << " %" << std::flush;
  }

 private:
  const char* what_;
  bool atTerminal_ = isatty(STDERR_FILENO) != 0, told_ = false;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace strider
