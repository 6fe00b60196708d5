#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::test {

/// A folder of its own for one test, which every user may enter; gone with the object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// The names in a folder that hold the text, sorted.
std::vector<std::string> namesWith(std::string_view text, const std::filesystem::path& folder);

std::string contentOf(const std::filesystem::path& file);
void writeContent(const std::filesystem::path& file, std::string_view content);

/// A second, plain connection to a preferences file, as another program would have it.
class Shell {
 public:
  explicit Shell(const std::filesystem::path& file);
  ~Shell();
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  /// Runs statements; returns the last one's first row with `|` between the columns, or the error's text.
  std::string run(const std::string& sql);

 private:
  struct Handle;
  Handle* handle_;
};

/// Both ends of a pipe between a test and its child: one byte is one signal.
class Signal {
 public:
  Signal();
  ~Signal();
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  void raise() const;
  void wait() const;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }

 private:
  int ends_[2];
};

/// A forked child that runs the function and ends with its result, 99 when it throws.
class Child {
 public:
  explicit Child(const std::function<int()>& body);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Waits for its end: the exit code, or minus the signal that ended it.
  int result();
  void kill() const;

 private:
  int id_;
};

/// Gives up root in a child, for good or (`effectiveOnly`) until `becomeRoot`. False where there was none.
bool becomeNobody(bool effectiveOnly = false);
void becomeRoot();

/// Drawn numbers that can be repeated: the seed is printed, and CORVANE_TEST_SEED sets it.
class Draw {
 public:
  explicit Draw(std::string_view test);
  std::uint64_t below(std::uint64_t bound) {
    return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(engine_);
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace corvane::test
