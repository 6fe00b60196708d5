#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/preferences/AdvisoryLock.h"

/// The preferences file as the file system sees it: its folder, its companions, its creation and its setting
/// aside. What is inside is the subject of `PreferencesDatabase`.
///
/// Nothing here ever opens an existing preferences file: closing any descriptor of it would drop every lock
/// that SQLite holds on it in this process (POSIX record locks belong to the process, not to the descriptor).
namespace corvane::platform {

/// Which file a path leads to.
struct FileIdentity {
  dev_t device;
  ino_t number;
  bool operator==(const FileIdentity&) const = default;
};

/// None when there is no file, or when that cannot be seen. A symbolic link is a file of its own.
std::optional<FileIdentity> identityOf(const std::filesystem::path& path);

/// Held while a preferences file is created, opened, written or set aside, so that no two processes, and no
/// two connections of one process, do these to the same file at once:
///
/// - Writers take turns in the order in which they came, which SQLite's own locks do not provide.
/// - A file that is set aside takes its own log along, never the log of a new file, and no process sets aside
///   the file that another has just made.
///
/// It is an advisory lock on the folder itself: it leaves no file behind and ends with its holder. Readers
/// with an open connection do not take it.
class PreferencesFolderLock {
 public:
  using TimePoint = AdvisoryLock::TimePoint;

  /// Makes the folder (mode 0700, and missing ones above it) and locks it; waits for another holder until the
  /// given time. Throws PreferencesFailure.
  PreferencesFolderLock(const std::filesystem::path& file, TimePoint waitUntil);

  /// Creates the file, empty and with mode 0600, unless it exists. Throws PreferencesFailure.
  void createFileIfMissing() const;

  /// Throws PreferencesFailure unless the file and those that SQLite keeps beside it are regular files or
  /// absent: opening a FIFO would wait without end. With a symbolic link, SQLite would keep its files beside
  /// the target, which has a lock and a name of its own.
  void requireRegularFiles() const;

  /// Renames the file and its companions to `<name>.corrupt-<UTC time>…`, never over anything that exists,
  /// and returns the new name. Throws PreferencesFailure. The file itself goes last, so that a process which
  /// dies in between leaves no log or journal that SQLite would apply to a new file.
  std::filesystem::path setFileAside() const;

  /// Which file is the write-ahead log.
  std::optional<FileIdentity> logIdentity() const { return identityOf(companion("-wal")); }

  /// Renames the companions of the file, as `setFileAside` does with them. Throws PreferencesFailure.
  void setLogAside() const { renameCompanions(nameForSettingAside()); }

  /// True when the file has content and neither a log nor a journal adds to it.
  bool fileIsWhole() const;

 private:
  std::filesystem::path companion(const char* suffix) const;
  std::string nameForSettingAside() const;
  void renameCompanions(const std::string& target) const;
  void syncFolder() const;

  std::filesystem::path file_;
  AdvisoryLock folder_;
};

}  // namespace corvane::platform
