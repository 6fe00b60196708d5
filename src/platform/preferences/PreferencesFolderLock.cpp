#include "platform/preferences/PreferencesFolderLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <string>
#include <system_error>

#include "platform/preferences/PreferencesFailure.h"

namespace corvane::platform {
namespace {

/// The suffixes of the files that SQLite makes beside a database.
constexpr std::array companions = {"-wal", "-shm", "-journal"};

[[noreturn]] void fail(const std::string& what, int error) {
  throw PreferencesFailure(PreferencesFailure::Kind::unusable,
                           what + ": " + std::generic_category().message(error));
}

bool isThere(const std::filesystem::path& path) {
  return identityOf(path).has_value();
}

void syncFolderAt(const std::filesystem::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  ::fsync(descriptor);
  ::close(descriptor);
}

void makeFolder(const std::filesystem::path& folder) {
  struct stat status{};
  if (::stat(folder.c_str(), &status) == 0) return;
  if (folder.has_relative_path()) makeFolder(folder.parent_path());
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) fail("the folder cannot be made", errno);
  syncFolderAt(folder.parent_path());
}

int openFolderOf(const std::filesystem::path& file) {
  if (file.native().size() >= PATH_MAX) fail("the path is too long", ENAMETOOLONG);
  makeFolder(file.parent_path());
  const int descriptor = ::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) fail("the folder cannot be opened", errno);
  return descriptor;
}

std::string timeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &utc));
}

}  // namespace

std::optional<FileIdentity> identityOf(const std::filesystem::path& path) {
  struct stat status{};
  if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{.device = status.st_dev, .number = status.st_ino};
}

PreferencesFolderLock::PreferencesFolderLock(const std::filesystem::path& file, TimePoint waitUntil)
    : file_(file), folder_(openFolderOf(file), waitUntil) {}

void PreferencesFolderLock::createFileIfMissing() const {
  if (isThere(file_)) return;
  // SQLite would create it readable for every user. No connection of this process can have it open yet, so
  // closing the descriptor drops no lock.
  const int descriptor = ::open(file_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0 && errno != EEXIST) fail("the file cannot be made", errno);
  if (descriptor >= 0) ::close(descriptor);
  syncFolder();
}

void PreferencesFolderLock::requireRegularFiles() const {
  const auto require = [](const std::filesystem::path& path, bool mustExist) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
      if (errno == ENOENT && !mustExist) return;
      fail("the file cannot be reached", errno);
    }
    if (!S_ISREG(status.st_mode)) {
      throw PreferencesFailure(PreferencesFailure::Kind::unusable,
                               path.filename().string() + " is not a regular file");
    }
  };
  require(file_, true);
  for (const char* suffix : companions) require(companion(suffix), false);
}

std::filesystem::path PreferencesFolderLock::setFileAside() const {
  const std::string target = nameForSettingAside();
  renameCompanions(target);
  if (::rename(file_.c_str(), target.c_str()) != 0) fail("the unreadable file cannot be set aside", errno);
  syncFolder();
  return target;
}

std::string PreferencesFolderLock::nameForSettingAside() const {
  const std::string base = file_.native() + ".corrupt-" + timeStamp();
  const auto taken = [](const std::string& name) {
    return isThere(name) || std::any_of(companions.begin(), companions.end(),
                                        [&](const char* suffix) { return isThere(name + suffix); });
  };
  std::string target = base;
  for (int number = 2; taken(target); ++number) target = base + "-" + std::to_string(number);
  return target;
}

void PreferencesFolderLock::renameCompanions(const std::string& target) const {
  for (const char* suffix : companions) {
    if (::rename(companion(suffix).c_str(), (target + suffix).c_str()) != 0 && errno != ENOENT) {
      fail("the unreadable file cannot be set aside", errno);
    }
  }
}

bool PreferencesFolderLock::fileIsWhole() const {
  const auto hasContent = [](const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && status.st_size > 0;
  };
  return hasContent(file_) && !hasContent(companion("-wal")) && !hasContent(companion("-journal"));
}

std::filesystem::path PreferencesFolderLock::companion(const char* suffix) const {
  return file_.native() + suffix;
}

void PreferencesFolderLock::syncFolder() const {
  ::fsync(folder_.descriptor());
}

}  // namespace corvane::platform
