#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tallyrig {

/// A program started by a test. It dies with this object, and with the test program, however that ends.
class ChildProcess {
 public:
  /// Replaces variables of this process's environment; an empty value takes the variable away.
  using Environment = std::map<std::string, std::string>;

  /// What the program prints goes to `output`. Throws std::system_error if there is no such program.
  ChildProcess(const std::vector<std::string>& command, const Environment& environment,
               const std::filesystem::path& output);
  ~ChildProcess() { kill(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool isRunning();
  /// At once, and until it is gone.
  void kill();
  pid_t id() const { return id_; }

 private:
  /// 0 when it has been reaped.
  pid_t id_ = 0;
};

}  // namespace tallyrig
