#include "lifetime/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace corvane::test {
namespace {

using Clock = std::chrono::steady_clock;

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("child process: ") + what);
}

void closeAndForget(int& descriptor) {
  if (descriptor >= 0) ::close(descriptor);
  descriptor = -1;
}

/// Both ends close by themselves in programs that other threads start.
struct Pipe {
  int reading = -1;
  int writing = -1;

  Pipe() {
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
    reading = ends[0];
    writing = ends[1];
  }
};

int namelessFile() {
  std::string name = "/tmp/corvane-output-XXXXXX";
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  require(descriptor >= 0, "output file");
  ::unlink(name.c_str());
  return descriptor;
}

pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int input, int output,
            int errors) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  if (output >= 0) {
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  } else {
    posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
  }
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t process = -1;
  const int error = ::posix_spawn(&process, program.c_str(), &actions, &attributes, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  require(error == 0, program.c_str());
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

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           Output output) {
  Pipe input, errors;
  int childOutput = -1;
  if (output == Output::file) {
    outputIsFile_ = true;
    childOutput = namelessFile();
    output_ = ::fcntl(childOutput, F_DUPFD_CLOEXEC, 0);
  } else if (output != Output::closed) {
    Pipe pipe;
    childOutput = pipe.writing;
    output_ = pipe.reading;
    if (output == Output::brokenPipe) closeAndForget(output_);
  }
  process_ = spawn(program, arguments, input.reading, childOutput, errors.writing);
  processDescriptor_ = static_cast<int>(::syscall(SYS_pidfd_open, process_, 0));
  require(processDescriptor_ >= 0, "pidfd");
  input_ = input.writing;
  errors_ = errors.reading;
  ::close(input.reading);
  ::close(errors.writing);
  closeAndForget(childOutput);
}

ChildProcess::~ChildProcess() {
  ChildEnd ignored;
  if (process_ >= 0) {
    ::kill(process_, SIGKILL);
    reap(ignored);
  }
  for (int* descriptor : {&processDescriptor_, &input_, &output_, &errors_}) closeAndForget(*descriptor);
}

void ChildProcess::closeInput() {
  closeAndForget(input_);
}

ChildEnd ChildProcess::wait(std::chrono::seconds watchdog) {
  ChildEnd end;
  const auto deadline = Clock::now() + watchdog;
  bool running = true, readingOutput = output_ >= 0 && !outputIsFile_, readingErrors = true;
  while (running || readingOutput || readingErrors) {
    std::array<pollfd, 3> events{{{running ? processDescriptor_ : -1, POLLIN, 0},
                                  {readingOutput ? output_ : -1, POLLIN, 0},
                                  {readingErrors ? errors_ : -1, POLLIN, 0}}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      end.killedByWatchdog = true;
      ::kill(process_, SIGKILL);
      break;
    }
    if (::poll(events.data(), events.size(), static_cast<int>(left)) <= 0) continue;
    if (events[0].revents != 0) {
      end.moment = Clock::now();
      running = false;
    }
    if (events[1].revents != 0) readingOutput = readSome(output_, end.output);
    if (events[2].revents != 0) readingErrors = readSome(errors_, end.errors);
  }
  if (outputIsFile_) {
    ::lseek(output_, 0, SEEK_SET);
    while (readSome(output_, end.output)) {
    }
  }
  reap(end);
  return end;
}

void ChildProcess::reap(ChildEnd& end) {
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  end.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  process_ = -1;
}

}  // namespace corvane::test
