#include "system/WatchedProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace tallyrig {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

milliseconds left(Clock::time_point deadline) {
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(deadline - Clock::now()));
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

Environment currentEnvironment() {
  Environment result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos) result[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return result;
}

WatchedProcess::WatchedProcess(const std::vector<std::string>& command, const Environment& environment) {
  std::array<int, 2> pipe{-1, -1};
  if (pipe2(pipe.data(), O_CLOEXEC) != 0) return;
  std::vector<std::string> arguments = command;
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);
  // Between fork and exec only calls that are safe in a process with threads: everything is made before.
  const std::vector<char*> argumentPointers = pointers(arguments);
  const std::vector<char*> variablePointers = pointers(variables);
  const pid_t parent = getpid();

  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(pipe[1], STDOUT_FILENO);
    dup2(pipe[1], STDERR_FILENO);
    execvpe(argumentPointers[0], argumentPointers.data(), variablePointers.data());
    _exit(127);
  }
  close(pipe[1]);
  fd_ = pipe[0];
  fcntl(fd_, F_SETFL, O_NONBLOCK);
  endFd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
}

WatchedProcess::~WatchedProcess() {
  if (isRunning()) {
    signal(SIGKILL);
    waitForExit(std::chrono::seconds(10));
  }
  for (const int fd : {fd_, endFd_}) {
    if (fd >= 0) close(fd);
  }
}

bool WatchedProcess::isRunning() {
  return !waitForExit(milliseconds(0)).has_value();
}

bool WatchedProcess::readMore(milliseconds limit) {
  pollfd waiting{fd_, POLLIN, 0};
  if (outputEnded_ || fd_ < 0 || poll(&waiting, 1, static_cast<int>(limit.count())) <= 0) return false;
  std::array<char, 4096> buffer{};
  const ssize_t count = read(fd_, buffer.data(), buffer.size());
  if (count <= 0) {
    outputEnded_ = count == 0;
    return false;
  }
  unfinished_.append(buffer.data(), static_cast<std::size_t>(count));
  std::size_t begin = 0;
  for (std::size_t end = unfinished_.find('\n'); end != std::string::npos; end = unfinished_.find('\n', begin)) {
    lines_.push_back(unfinished_.substr(begin, end - begin));
    begin = end + 1;
  }
  unfinished_.erase(0, begin);
  return true;
}

std::optional<std::string> WatchedProcess::waitForLine(const std::string& text, milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (true) {
    for (; next_ < lines_.size(); ++next_) {
      if (lines_[next_].find(text) != std::string::npos) return lines_[next_++];
    }
    if (!readMore(left(deadline))) return std::nullopt;
  }
}

std::size_t WatchedProcess::mark() {
  while (readMore(milliseconds(0))) {
  }
  return lines_.size();
}

int WatchedProcess::countLines(const std::string& text) {
  while (readMore(milliseconds(0))) {
  }
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(),
                                        [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

std::string WatchedProcess::output() const {
  std::string result;
  for (const std::string& line : lines_) result += line + '\n';
  return result + unfinished_;
}

void WatchedProcess::signal(int number) const {
  if (pid_ > 0 && !status_) kill(pid_, number);
}

std::optional<int> WatchedProcess::waitForExit(milliseconds limit) {
  if (pid_ <= 0) return 127;
  const Clock::time_point deadline = Clock::now() + limit;
  while (!status_) {
    int raw = 0;
    if (waitpid(pid_, &raw, WNOHANG) == pid_) {
      status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
      break;
    }
    const milliseconds remaining = left(deadline);
    if (remaining.count() == 0) return std::nullopt;
    // Its output is taken in meanwhile, so that a full pipe never holds it up.
    std::array<pollfd, 2> waiting{{{endFd_, POLLIN, 0}, {outputEnded_ ? -1 : fd_, POLLIN, 0}}};
    poll(waiting.data(), waiting.size(), static_cast<int>(remaining.count()));
    if (waiting[1].revents != 0) readMore(milliseconds(0));
  }
  while (readMore(milliseconds(0))) {
  }
  return status_;
}

std::optional<std::string> runCommand(const std::vector<std::string>& command, const Environment& environment,
                                      milliseconds limit) {
  WatchedProcess process(command, environment);
  const std::optional<int> status = process.waitForExit(limit);
  if (status != 0) return std::nullopt;
  return process.output();
}

}  // namespace tallyrig
