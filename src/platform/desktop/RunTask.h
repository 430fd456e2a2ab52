#pragma once

#include <string>

#include "platform/SerialQueue.h"

namespace tallyrig {

/// Runs a queue's task. One that throws ends the program, after a line on standard error that names the queue.
void runTask(const std::string& queueLabel, const Task& task) noexcept;

}  // namespace tallyrig
