#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/preferences/UserDefaults.h"
#include "process/ChildProcess.h"
#include "support/TemporaryFolder.h"

struct sqlite3;

namespace corvane::test {

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

/// A preferences file in a folder of its own, and the problems that its object reported.
class PreferencesTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::UserDefaults> open();
  void expectHealthyFile() const;
  /// The contents of the files that were kept because they were unreadable.
  std::vector<std::string> keptFiles() const;

  TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "preferences.sqlite";
  std::vector<std::string> problems_;
};

/// Gives up root in a child, for good. False where there was none.
bool becomeNobody();

}  // namespace corvane::test
