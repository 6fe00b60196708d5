#include "lifetime/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>
#include <stdexcept>

namespace corvane::test {
namespace {

using Clock = std::chrono::steady_clock;

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error("child process: " + what);
}

/// Both ends close by themselves in programs that other threads start.
struct Pipe {
  std::array<int, 2> ends{};

  Pipe() { require(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe"); }
  ~Pipe() {
    ::close(ends[0]);
    closeWriting();
  }
  void closeWriting() {
    if (ends[1] >= 0) ::close(ends[1]);
    ends[1] = -1;
  }
};

pid_t spawn(std::string program, std::vector<std::string> arguments, const Pipe& output, const Pipe& errors) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors.ends[1], STDERR_FILENO);
  std::vector<char*> words{program.data()};
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  pid_t process = -1;
  const int error = ::posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  require(error == 0, program);
  return process;
}

/// Takes what is there; false at the end.
bool readSome(int descriptor, std::string& into) {
  std::array<char, 65536> buffer;
  const ssize_t size = ::read(descriptor, buffer.data(), buffer.size());
  if (size > 0) into.append(buffer.data(), static_cast<std::size_t>(size));
  return size > 0 || (size < 0 && errno == EINTR);
}

}  // namespace

std::vector<std::string> ChildEnd::lines() const {
  std::vector<std::string> found;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) found.push_back(line);
  return found;
}

ChildEnd runToItsEnd(const std::string& program, std::vector<std::string> arguments,
                     std::chrono::seconds watchdog) {
  Pipe output, errors;
  const pid_t process = spawn(program, std::move(arguments), output, errors);
  const int end = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  require(end >= 0, "pidfd");
  output.closeWriting();
  errors.closeWriting();

  ChildEnd result;
  const auto deadline = Clock::now() + watchdog;
  std::array<pollfd, 3> events{{{end, POLLIN, 0}, {output.ends[0], POLLIN, 0}, {errors.ends[0], POLLIN, 0}}};
  // A descriptor below zero is one that has ended.
  while (events[0].fd >= 0 || events[1].fd >= 0 || events[2].fd >= 0) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      result.killedByWatchdog = true;
      ::kill(process, SIGKILL);
      break;
    }
    if (::poll(events.data(), events.size(), static_cast<int>(left)) <= 0) continue;
    if (events[0].revents != 0) {
      result.moment = Clock::now();
      events[0].fd = -1;
    }
    if (events[1].revents != 0 && !readSome(output.ends[0], result.output)) events[1].fd = -1;
    if (events[2].revents != 0 && !readSome(errors.ends[0], result.errors)) events[2].fd = -1;
  }
  ::close(end);
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return result;
}

}  // namespace corvane::test
