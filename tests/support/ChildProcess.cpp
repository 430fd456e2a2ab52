#include "support/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>

namespace tallyrig {
namespace {

std::vector<std::string> environmentWith(const ChildProcess::Environment& changes) {
  std::vector<std::string> all;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    if (!changes.contains(std::string(text.substr(0, text.find('='))))) all.emplace_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) all.emplace_back(name).append("=").append(value);
  }
  return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Environment& environment,
                           const std::filesystem::path& output) {
  auto arguments = command;
  auto variables = environmentWith(environment);
  const auto argumentPointers = pointersTo(arguments);
  const auto variablePointers = pointersTo(variables);
  const std::string outputPath = output.string();
  int failure[2];
  if (pipe2(failure, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");

  const pid_t parent = getpid();
  id_ = fork();
  if (id_ == 0) {
    // Between fork and exec of a program with threads: system calls only.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    const int log = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execvpe(argumentPointers[0], argumentPointers.data(), variablePointers.data());
    const int error = errno;
    if (write(failure[1], &error, sizeof(error)) < 0) _exit(2);
    _exit(1);
  }
  close(failure[1]);
  int error = id_ < 0 ? errno : 0;
  if (id_ > 0 && read(failure[0], &error, sizeof(error)) != sizeof(error)) error = 0;
  close(failure[0]);
  if (error != 0) {
    kill();
    throw std::system_error(error, std::generic_category(), command.front());
  }
}

bool ChildProcess::isRunning() {
  if (id_ > 0 && waitpid(id_, nullptr, WNOHANG) == id_) id_ = 0;
  return id_ > 0;
}

void ChildProcess::kill() {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  id_ = 0;
}

}  // namespace tallyrig
