#include "store/StoreSupport.h"

#include <grp.h>
#include <sqlite3.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace corvane::test {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void writeContent(const std::filesystem::path& file, std::string_view content) {
  std::ofstream(file, std::ios::binary) << content;
}

Shell::Shell(const std::filesystem::path& file) {
  sqlite3_open(file.c_str(), &database_);
  sqlite3_busy_timeout(database_, 10'000);
}

Shell::~Shell() {
  sqlite3_close(database_);
}

std::string Shell::run(const std::string& sql) {
  std::string row;
  const auto collect = [](void* target, int columns, char** values, char**) {
    std::string& text = *static_cast<std::string*>(target);
    text.clear();
    for (int column = 0; column < columns; ++column) {
      if (column > 0) text += '|';
      text += values[column] == nullptr ? "NULL" : values[column];
    }
    return 0;
  };
  const int code = sqlite3_exec(database_, sql.c_str(), collect, &row, nullptr);
  return code == SQLITE_OK ? row : sqlite3_errstr(code);
}

std::shared_ptr<platform::UserDefaults> PreferencesTest::open() {
  auto defaults = platform::UserDefaults::open(file_);
  defaults->reportProblemsTo([this](const std::string& text) { problems_.push_back(text); });
  return defaults;
}

std::vector<std::string> PreferencesTest::keptFiles() const {
  std::vector<std::string> contents;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
    if (entry.path().string().find(".corrupt-") != std::string::npos)
      contents.push_back(contentOf(entry.path()));
  }
  return contents;
}

void PreferencesTest::expectHealthyFile() const {
  EXPECT_EQ(Shell(file_).run("PRAGMA integrity_check"), "ok");
  EXPECT_TRUE(keptFiles().empty());
}

bool becomeNobody() {
  constexpr unsigned nobody = 65534;
  return ::geteuid() == 0 && ::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0;
}

}  // namespace corvane::test
