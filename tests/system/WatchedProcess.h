#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tallyrig {

using Environment = std::map<std::string, std::string>;

/// The variables of this process.
Environment currentEnvironment();

/// A program that runs beside the test and is ended with it, by its own process id. Its output is kept by lines.
/// One thread.
class WatchedProcess {
 public:
  using Milliseconds = std::chrono::milliseconds;

  /// `command` is searched in PATH. A program that cannot be run shows as one that exits with 127 at once.
  WatchedProcess(const std::vector<std::string>& command, const Environment& environment);
  /// Kills it if it still runs.
  ~WatchedProcess();
  WatchedProcess(const WatchedProcess&) = delete;
  WatchedProcess& operator=(const WatchedProcess&) = delete;

  pid_t pid() const { return pid_; }
  bool isRunning();

  /// The first line after those already waited for that contains `text`; later waits begin behind it.
  /// Absent if none has come when `limit` is over or the output has ended.
  std::optional<std::string> waitForLine(const std::string& text, Milliseconds limit);
  /// The place behind everything written by now.
  std::size_t mark();
  /// Later waits begin at that place again.
  void returnTo(std::size_t mark) { next_ = mark; }
  /// How many lines from the start contain `text`, counting what has been written by now.
  int countLines(const std::string& text);

  /// Everything that it wrote, standard error included, for the message of a failed test.
  std::string output() const;

  void signal(int number) const;
  /// Its exit status: what it returned, or 128 and the number of the signal that ended it. Absent if it still runs.
  std::optional<int> waitForExit(Milliseconds limit);

 private:
  bool readMore(Milliseconds limit);

  pid_t pid_ = -1;
  int fd_ = -1;
  /// Readable once the process has ended.
  int endFd_ = -1;
  bool outputEnded_ = false;
  std::string unfinished_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
  std::optional<int> status_;
};

/// Runs `command` to its end. Its output on success; absent if it failed or took more than `limit`.
std::optional<std::string> runCommand(const std::vector<std::string>& command, const Environment& environment,
                                      std::chrono::milliseconds limit = std::chrono::seconds(30));

}  // namespace tallyrig
