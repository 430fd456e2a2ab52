#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace tallyrig {

/// Bytes that this process has asked the system to read so far.
inline std::uint64_t bytesRead() {
  std::ifstream file("/proc/self/io");
  std::string word;
  std::uint64_t count = 0;
  file >> word >> count;
  return count;
}

}  // namespace tallyrig
