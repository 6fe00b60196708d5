#include "Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace corvane::demo {
namespace {

int pipeEnds[2];
volatile std::sig_atomic_t received = 0;

void note(int signal) {
  received = signal;
  // One byte is enough; a pipe that is full is readable too.
  [[maybe_unused]] const auto written = write(pipeEnds[1], "", 1);
}

}  // namespace

Interrupt::Interrupt() {
  if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  struct sigaction action = {};
  action.sa_handler = note;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int Interrupt::descriptor() const {
  return pipeEnds[0];
}

int Interrupt::signal() const {
  return received;
}

void Interrupt::die() const {
  std::signal(received, SIG_DFL);
  std::raise(received);
  std::abort();
}

}  // namespace corvane::demo
