#include "store/StoreSupport.h"

#include <grp.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace corvane::test {

std::vector<std::string> namesWith(std::string_view text, const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::string name = entry.path().filename().string();
    if (name.find(text) != std::string::npos) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

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

Signal::Signal() {
  if (::pipe(ends_) != 0) throw std::runtime_error("no pipe");
}

Signal::~Signal() {
  ::close(ends_[0]);
  ::close(ends_[1]);
}

void Signal::raise() const {
  if (::write(ends_[1], "!", 1) != 1) throw std::runtime_error("the pipe is closed");
}

void Signal::wait() const {
  char byte;
  if (::read(ends_[0], &byte, 1) != 1) throw std::runtime_error("the pipe is closed");
}

Child::Child(const std::function<int()>& body) : id_(::fork()) {
  if (id_ != 0) return;
  int code = 99;
  try {
    code = body();
  } catch (const std::exception& error) {
    std::cerr << "child: " << error.what() << std::endl;
  }
  std::cout.flush();
  ::_exit(code);
}

Child::~Child() {
  if (id_ <= 0) return;
  kill();
  result();
}

int Child::result() {
  int status = 0;
  while (::waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  id_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Child::kill() const {
  ::kill(id_, SIGKILL);
}

bool becomeNobody() {
  constexpr unsigned nobody = 65534;
  return ::geteuid() == 0 && ::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0;
}

}  // namespace corvane::test
