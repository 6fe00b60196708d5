#include "process/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace corvane::test {
namespace {

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error("child process: " + what);
}

/// The two ends of a stream. Programs that other threads start meanwhile inherit neither.
struct Stream {
  Descriptor here, there;
};

Stream makeOutput() {
  int ends[2];
  require(::pipe2(ends, O_CLOEXEC) == 0, "no pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// A socket: writing to a pipe without a reader raises SIGPIPE.
Stream makeInput() {
  int ends[2];
  require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket pair");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Descriptor watch(pid_t process) {
  Descriptor running(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  require(running.isOpen(), "no process descriptor");
  return running;
}

/// Starts the program with those descriptors, by the child's numbers, and with the default handling of
/// signals.
pid_t spawn(std::vector<std::string> words, const std::map<int, int>& descriptors) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const auto& [there, here] : descriptors) posix_spawn_file_actions_adddup2(&actions, here, there);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t process = -1;
  const int error = ::posix_spawn(&process, pointers[0], &actions, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  require(error == 0, "cannot start " + words[0]);
  return process;
}

[[noreturn]] void runInChild(const std::function<int()>& body) {
  int status = 99;
  try {
    status = body();
  } catch (const std::exception& error) {
    std::cerr << "child process: " << error.what() << std::endl;
  }
  std::cout.flush();
  ::_exit(status);
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

ChildProcess::ChildProcess(const std::string& program, std::vector<std::string> arguments,
                           const ChildOptions& options)
    : name_(program) {
  using StandardError = ChildOptions::StandardError;
  Stream input = makeInput(), output = makeOutput(), errors;
  if (options.standardError == StandardError::captured) errors = makeOutput();
  if (options.standardError == StandardError::discarded)
    errors.there = Descriptor(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  std::map<int, int> descriptors = options.descriptors;
  descriptors.insert({{STDIN_FILENO, input.there.number()}, {STDOUT_FILENO, output.there.number()}});
  if (errors.there.isOpen()) descriptors.insert({STDERR_FILENO, errors.there.number()});
  arguments.insert(arguments.begin(), program);
  if (!options.environment.empty()) {
    arguments.insert(arguments.begin(), options.environment.begin(), options.environment.end());
    arguments.insert(arguments.begin(), "/usr/bin/env");
  }
  id_ = spawn(std::move(arguments), descriptors);
  running_ = watch(id_);
  input_ = std::move(input.here);
  output_ = std::move(output.here);
  errors_ = std::move(errors.here);
}

ChildProcess::ChildProcess(const std::function<int()>& body) : name_("a forked child") {
  Stream input = makeInput(), output = makeOutput();
  std::cout.flush();  // or the child prints it once more
  id_ = ::fork();
  require(id_ >= 0, "cannot fork");
  if (id_ == 0) {
    ::dup2(input.there.number(), STDIN_FILENO);
    ::dup2(output.there.number(), STDOUT_FILENO);
    input.here.close();
    runInChild(body);
  }
  running_ = watch(id_);
  input_ = std::move(input.here);
  output_ = std::move(output.here);
}

ChildProcess::~ChildProcess() {
  if (id_ < 0 || isReaped_) return;
  kill(SIGKILL);
  output_.close();
  errors_.close();
  awaitEnd();
}

void ChildProcess::writeLine(const std::string& line) {
  const std::string whole = line + "\n";
  for (std::size_t sent = 0; sent < whole.size();) {
    const ssize_t size = ::send(input_.number(), whole.data() + sent, whole.size() - sent, MSG_NOSIGNAL);
    require(size > 0, name_ + " does not read its input");
    sent += static_cast<std::size_t>(size);
  }
}

std::optional<std::string> ChildProcess::readLine(Duration timeout) {
  const auto deadline = Clock::now() + timeout;
  std::size_t size = 0;
  while ((size = end_.output.find('\n')) == std::string::npos && output_.isOpen())
    require(readMore(deadline), name_ + " printed no line in " + std::to_string(timeout.count()) + " ms");
  if (end_.output.empty()) return std::nullopt;
  std::string line = end_.output.substr(0, size);
  end_.output.erase(0, size == std::string::npos ? size : size + 1);
  return line;
}

void ChildProcess::kill(int signal) const {
  if (!isReaped_) ::kill(id_, signal);
}

ChildEnd ChildProcess::awaitEnd(Duration timeout) {
  if (isReaped_) return end_;
  const auto deadline = Clock::now() + timeout;
  while (running_.isOpen() || output_.isOpen() || errors_.isOpen()) {
    if (readMore(deadline)) continue;
    end_.timedOut = true;
    kill(SIGKILL);
    break;
  }
  int status = 0;
  while (::waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  isReaped_ = true;
  end_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return end_;
}

/// Waits for the next event of the child and takes in what it wrote; false at the deadline.
bool ChildProcess::readMore(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<Duration>(deadline - Clock::now());
  if (left <= Duration::zero()) return false;
  // `poll` ignores those that are closed, whose number is negative.
  std::array<pollfd, 3> events{
      {{running_.number(), POLLIN, 0}, {output_.number(), POLLIN, 0}, {errors_.number(), POLLIN, 0}}};
  constexpr Duration longest = std::chrono::hours(1);
  if (::poll(events.data(), events.size(), static_cast<int>(std::min(left, longest).count())) <= 0)
    return true;
  if (events[0].revents != 0) {
    end_.moment = Clock::now();
    running_.close();
  }
  if (events[1].revents != 0 && !readSome(output_.number(), end_.output)) output_.close();
  if (events[2].revents != 0 && !readSome(errors_.number(), end_.errors)) errors_.close();
  return true;
}

ChildEnd runProgram(const std::string& program, std::vector<std::string> arguments,
                    ChildProcess::Duration timeout) {
  ChildOptions options;
  options.standardError = ChildOptions::StandardError::captured;
  return ChildProcess(program, std::move(arguments), options).awaitEnd(timeout);
}

}  // namespace corvane::test
