#include "HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace corvane::demo {
namespace {

constexpr int silenceBound = 20'000;  // milliseconds; far more than any launch is silent

/// Starts the program on the two ends, with SIGPIPE as it is by default.
pid_t spawn(std::vector<std::string>& command, int input, int output) {
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t pid = -1;
  const int error = posix_spawn(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

void closeOnce(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

int waitForEnd(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

HostProcess::HostProcess(const std::string& program, std::vector<std::string> arguments,
                         const Interrupt& interrupt, LineHandler onLine)
    : interrupt_(interrupt), onLine_(std::move(onLine)) {
  arguments.insert(arguments.begin(), program);
  int input[2];
  int output[2];
  if (pipe2(input, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  pid_ = spawn(arguments, input[0], output[1]);
  ::close(input[0]);
  ::close(output[1]);
  input_ = input[1];
  output_ = output[0];
  if (pid_ < 0) {
    closeOnce(input_);
    closeOnce(output_);
    throw std::runtime_error("cannot start " + program);
  }
}

HostProcess::~HostProcess() {
  if (pid_ >= 0) {
    kill(pid_, SIGKILL);
    waitForEnd(pid_);
  }
  closeOnce(input_);
  closeOnce(output_);
}

void HostProcess::waitFor(std::string_view text, long times) {
  const std::string awaited = "to print \"" + std::string(text) + "\"";
  while (count(text) < times) {
    if (!readMore(awaited, silenceBound))
      throw std::runtime_error("the application ended, and was " + awaited);
  }
}

void HostProcess::type(const std::string& line) {
  const std::string whole = line + "\n";
  if (write(input_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
    throw std::runtime_error("the application does not listen to its user");
}

void HostProcess::close() {
  closeOnce(input_);
  while (readMore("to end", silenceBound)) {
  }
  takeStatus();
}

void HostProcess::awaitEnd() {
  while (readMore("to end", -1)) {
  }
  takeStatus();
}

void HostProcess::takeStatus() {
  const int status = waitForEnd(std::exchange(pid_, -1));
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error("the application ended with a failure");
}

long HostProcess::count(std::string_view text) const {
  return std::count_if(lines_.begin(), lines_.end(),
                       [text](const std::string& line) { return line.find(text) != line.npos; });
}

bool HostProcess::printedInOrder(std::string_view first, std::string_view second) const {
  const auto holds = [](std::string_view text) {
    return [text](const std::string& line) { return line.find(text) != line.npos; };
  };
  const auto found = std::find_if(lines_.begin(), lines_.end(), holds(first));
  return std::find_if(found, lines_.end(), holds(second)) != lines_.end();
}

const std::string& HostProcess::lastLine(std::string_view text) const {
  const auto last = std::find_if(lines_.rbegin(), lines_.rend(),
                                 [text](const std::string& line) { return line.find(text) != line.npos; });
  if (last == lines_.rend()) throw std::runtime_error("the application did not print " + std::string(text));
  return *last;
}

/// Waits for output, so many milliseconds at most or for ever, and takes it; false at its end.
bool HostProcess::readMore(const std::string& awaited, int bound) {
  pollfd watched[] = {{interrupt_.descriptor(), POLLIN, 0}, {output_, POLLIN, 0}};
  int ready = 0;
  while ((ready = poll(watched, 2, bound)) < 0 && errno == EINTR) {
  }
  if (watched[0].revents != 0) throw Interrupted();
  if (ready <= 0) throw std::runtime_error("the application was " + awaited + ", and has been silent since");
  char buffer[4096];
  const ssize_t size = read(output_, buffer, sizeof buffer);
  if (size <= 0) return false;
  unread_.append(buffer, static_cast<std::size_t>(size));
  takeLines();
  return true;
}

void HostProcess::takeLines() {
  std::size_t begin = 0;
  for (std::size_t end; (end = unread_.find('\n', begin)) != unread_.npos; begin = end + 1) {
    lines_.push_back(unread_.substr(begin, end - begin));
    onLine_(lines_.back());
  }
  unread_.erase(0, begin);
}

}  // namespace corvane::demo
