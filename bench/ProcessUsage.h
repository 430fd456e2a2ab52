#pragma once

#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tallyrig {

/// Seconds of a clock of the system.
inline double clockSeconds(clockid_t clock) {
  timespec reading{};
  clock_gettime(clock, &reading);
  return static_cast<double>(reading.tv_sec) + static_cast<double>(reading.tv_nsec) / 1e9;
}

/// Processor seconds that a process has used, in steps of the kernel's accounting; 0 if it has gone.
inline double processSeconds(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  const auto afterName = text.rfind(')');
  if (afterName == std::string::npos) return 0;
  std::istringstream fields(text.substr(afterName + 1));
  std::string skipped;
  for (int field = 3; field < 14; ++field) fields >> skipped;
  double user = 0;
  double kernel = 0;
  fields >> user >> kernel;
  return (user + kernel) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// How often this process's threads that live now have gone to sleep and been woken.
inline std::uint64_t voluntarySwitches() {
  std::uint64_t sum = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "status");
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("voluntary_ctxt_switches:")) sum += std::stoull(line.substr(24));
    }
  }
  return sum;
}

/// The value below which `share` of the values lie; 0 of none.
inline double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

}  // namespace tallyrig
