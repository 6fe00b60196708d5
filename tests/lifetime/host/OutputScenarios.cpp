#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <latch>
#include <thread>

#include "foundation/CorvaneLogger.h"
#include "lifetime/host/Host.h"

namespace corvane::test {
namespace {

constexpr CorvaneLogger logger{true, CorvaneLogLevel::debug};

/// Redirects the output as the first argument says: not at all, to a file, to a pipe without a reader, or
/// nowhere, with the descriptor closed.
void placeOutput(const Host& host) {
  const std::string& place = host.arguments.at(0);
  if (place == "file") ::dup2(::creat((host.folder / "output").c_str(), 0600), STDOUT_FILENO);
  if (place == "nowhere") ::close(STDOUT_FILENO);
  int ends[2];
  if (place != "broken pipe" || ::pipe(ends) != 0) return;
  ::dup2(ends[1], STDOUT_FILENO);
  ::close(ends[0]);
  ::close(ends[1]);
}

/// Lines of many lengths, some longer than a pipe accepts at once.
std::string lineOf(const std::string& who, int thread, int number) {
  const auto length = static_cast<std::size_t>(number * 37 % 9000);
  return who + " " + std::to_string(thread) + " " + std::to_string(number) + " " + std::string(length, 'x') +
         ".";
}

}  // namespace

/// Further arguments: the number of threads, and of the lines of each, which the library and the host write
/// in turn.
int writeFromSeveralThreads(const Host& host) {
  placeOutput(host);
  // The host's own output stays in this buffer until it is flushed.
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  const int threads = std::stoi(host.arguments.at(1)), count = std::stoi(host.arguments.at(2));
  std::latch start(threads);
  std::vector<std::jthread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int i = 0; i < count; i += 2) {
        logger.info([&] { return lineOf("library", thread, i); });
        std::printf("%s\n", lineOf("host", thread, i + 1).c_str());
      }
    });
  }
  return 0;
}

/// Writes lines on the main thread, another thread of the host, and the library's. The exit flushes the
/// host's.
int writeToClosedOutput(const Host& host) {
  placeOutput(host);
  errno = 0;
  logger.info([] { return std::string("on the main thread"); });
  if (errno != 0) return 2;
  std::thread([] { logger.info([] { return std::string("on another"); }); }).join();
  prepare(host);
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  return client->trackInstallAsync(true).get().attributed() ? 7 : 1;
}

}  // namespace corvane::test
