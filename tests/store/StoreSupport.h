#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/Draw.h"
#include "support/TemporaryFolder.h"

struct sqlite3;

namespace corvane::test {

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
  sqlite3* database_ = nullptr;
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

/// Gives up root in a child, for good. False where there was none.
bool becomeNobody();

}  // namespace corvane::test
