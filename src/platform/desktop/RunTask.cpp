#include "platform/desktop/RunTask.h"

#include <cstdio>
#include <exception>

namespace tallyrig {

void runTask(const std::string& queueLabel, const Task& task) noexcept {
  try {
    task();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "SerialQueue: a task on %s threw: %s\n", queueLabel.c_str(), error.what());
    std::terminate();
  } catch (...) {
    std::fprintf(stderr, "SerialQueue: a task on %s threw\n", queueLabel.c_str());
    std::terminate();
  }
}

}  // namespace tallyrig
