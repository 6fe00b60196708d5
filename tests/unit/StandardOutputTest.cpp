#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <latch>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/CorvaneLogger.h"

namespace corvane::test {
namespace {

const std::string prefix = "[Corvane] [INFO] ";
constexpr CorvaneLogger logger{true, CorvaneLogLevel::debug};

/// Standard output writes into a pipe until `restore` is called.
class PipedOutput {
 public:
  PipedOutput() {
    std::fflush(stdout);
    EXPECT_EQ(::pipe(ends_), 0);
    ::dup2(ends_[1], STDOUT_FILENO);
    ::close(ends_[1]);
  }
  ~PipedOutput() {
    restore();
    ::close(original_);
  }
  PipedOutput(const PipedOutput&) = delete;
  PipedOutput& operator=(const PipedOutput&) = delete;

  int reader() const { return ends_[0]; }
  void restore() const {
    std::fflush(stdout);
    ::dup2(original_, STDOUT_FILENO);
  }

 private:
  int original_ = ::dup(STDOUT_FILENO);
  int ends_[2];
};

/// Lines of many lengths, some longer than a pipe accepts at once.
std::string lineOf(int thread, int number) {
  const std::string filler(static_cast<std::size_t>(number * 37 % 9000), 'x');
  return std::to_string(thread) + " " + std::to_string(number) + " " + filler + ".";
}

TEST(StandardOutput, KeepsLinesWholeAndInOrderWithTheHostsOwn) {
  constexpr int threadCount = 4, lineCount = 400;
  const PipedOutput output;
  std::string text;
  std::jthread reader([&, from = output.reader()] {
    char bytes[4096];
    for (ssize_t size; (size = ::read(from, bytes, sizeof bytes)) > 0;) text.append(bytes, bytes + size);
    ::close(from);
  });
  std::latch start(threadCount);
  std::vector<std::jthread> writers;
  for (int thread = 0; thread < threadCount; ++thread) {
    writers.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int i = 0; i < lineCount; i += 2) {
        logger.info([&] { return lineOf(thread, i); });
        std::printf("%s\n", lineOf(thread, i + 1).c_str());
      }
    });
  }
  writers.clear();
  output.restore();
  reader.join();

  std::map<int, int> next;  // by thread
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const bool isLibrary = line.starts_with(prefix);
    const std::string rest = line.substr(isLibrary ? prefix.size() : 0);
    const int thread = rest.at(0) - '0';
    const int number = next[thread]++;
    ASSERT_EQ(isLibrary, number % 2 == 0);
    ASSERT_EQ(rest, lineOf(thread, number));
  }
  EXPECT_EQ(next, (std::map<int, int>{{0, lineCount}, {1, lineCount}, {2, lineCount}, {3, lineCount}}));
}

TEST(StandardOutput, MayBeClosedOrABrokenPipe) {
  for (const bool isClosed : {false, true}) {
    const PipedOutput output;
    ::close(output.reader());
    if (isClosed) ::close(STDOUT_FILENO);
    errno = 0;
    logger.info([] { return std::string("a line"); });
    const int error = errno;
    // As the exit does: bytes that were left in the buffer would raise SIGPIPE here.
    std::fflush(stdout);
    output.restore();
    EXPECT_EQ(error, 0);
  }
}

}  // namespace
}  // namespace corvane::test
