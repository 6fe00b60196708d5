#include <corvane/CorvaneMainQueue.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <latch>
#include <thread>

#include "foundation/CorvaneLogger.h"
#include "lifetime/host/Host.h"

namespace corvane::test {
namespace {

constexpr CorvaneLogger logger{true, CorvaneLogLevel::debug};

/// What the host itself prints stays in this buffer until somebody flushes.
void bufferStandardOutput() {
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}

/// Of many lengths, some beyond what a pipe takes in one piece.
std::string lineOf(const std::string& who, int thread, int number) {
  const auto length = static_cast<std::size_t>(number * 37 % 9000);
  return who + " " + std::to_string(thread) + " " + std::to_string(number) + " " + std::string(length, 'x') +
         ".";
}

bool sigpipeIsPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

int failed(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  return 1;
}

}  // namespace

/// Arguments: how many threads of the library's kind and as many of the host's, and how many lines each.
int writeFromSeveralThreads(const Host& host) {
  bufferStandardOutput();
  const int threads = std::stoi(host.arguments.at(0));
  const int count = std::stoi(host.arguments.at(1));
  std::latch start(2 * threads);
  std::vector<std::jthread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int i = 0; i < count; ++i) logger.info([&] { return lineOf("library", thread, i); });
    });
    running.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int i = 0; i < count; ++i) std::printf("%s\n", lineOf("host", thread, i).c_str());
    });
  }
  return 0;
}

int alternateWithTheHost(const Host& host) {
  bufferStandardOutput();
  for (int i = 0; i < std::stoi(host.arguments.at(0)); ++i) {
    std::printf("host %d\n", i);
    logger.info([&] { return "library " + std::to_string(i); });
  }
  return 0;
}

/// Lines of the main thread, of another one of the host, and of the library's own; then the host's exit
/// flushes.
int writeToClosedOutput(const Host& host) {
  errno = 0;
  logger.info([] { return std::string("on the main thread"); });
  if (errno != 0) return failed("errno was touched");
  std::thread([] { logger.info([] { return std::string("on another"); }); }).join();
  prepare(host);
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  bool answered = false;
  try {
    answered = client->trackInstallAsync(true).get().attributed();
  } catch (const CorvaneError& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return answered ? 7 : 1;
}

int keepPendingSignals(const Host&) {
  sigset_t sigpipe;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  const timespec atOnce{};
  const auto line = [] { return std::string("into a pipe without a reader"); };

  pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);
  logger.info(line);
  if (sigpipeIsPending()) return failed("a line left a signal behind");

  raise(SIGPIPE);
  logger.info(line);
  if (!sigpipeIsPending()) return failed("a line took away the signal of the host");
  sigtimedwait(&sigpipe, nullptr, &atOnce);

  sigset_t mask;
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
  logger.info(line);
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, SIGPIPE) == 0 ? 7 : failed("a line changed the mask");
}

int failAnInstall(const Host& host) {
  prepare(host);
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  client->onError([](const std::exception&) { CorvaneMainQueue::main()->stop(); });
  client->trackInstall(false);
  CorvaneMainQueue::main()->run();
  return 0;
}

}  // namespace corvane::test
