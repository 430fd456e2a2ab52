#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string>
#include <system_error>

namespace tallyrig {

/// A process of its own for something that this one must not do: to die, or to give up its rights.
struct ForkedRun {
  /// As waitpid(2) has it.
  int status = 0;
  std::string output;
};

/// What `work` returns is the run's output, unless the process dies before.
inline ForkedRun runForked(const std::function<std::string()>& work) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category());
  const pid_t child = ::fork();
  if (child < 0) throw std::system_error(errno, std::generic_category());
  if (child == 0) {
    const std::string output = work();
    const bool written = ::write(ends[1], output.data(), output.size()) == static_cast<ssize_t>(output.size());
    ::_exit(written ? 0 : 1);
  }
  ::close(ends[1]);
  ForkedRun run;
  std::array<char, 1024> part;
  for (ssize_t count = 0; (count = ::read(ends[0], part.data(), part.size())) > 0;) {
    run.output.append(part.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  ::waitpid(child, &run.status, 0);
  return run;
}

/// Nobody, if this process is root's.
constexpr uid_t kOrdinaryUser = 65534;

/// `work` with no more rights than an ordinary user has.
inline std::string runAsOrdinaryUser(const std::function<std::string()>& work) {
  return runForked([&] {
           if (::geteuid() == 0 && (::setgid(kOrdinaryUser) != 0 || ::setuid(kOrdinaryUser) != 0)) {
             return std::string("cannot give up root's rights");
           }
           return work();
         })
      .output;
}

}  // namespace tallyrig
