#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/preferences/PreferenceValue.h"
#include "platform/preferences/PreferencesFolderLock.h"

namespace corvane::platform {

class PreferencesConnection;

/// Access to a preferences file, in any state, through one SQLite connection.
///
/// The file, format version 1:
///
///     PRAGMA application_id = 1129469518      -- "CRVN": the file is ours
///     PRAGMA user_version = 1                 -- incremented by a change that older versions cannot read
///     CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID
///
/// in UTF-8 and write-ahead-log mode; a text is TEXT, bytes are BLOB, a Bool is INTEGER 0 or 1, any other
/// kind reads as absent. An unreadable file, or one with our application_id but without our table, is set
/// aside and a new one is made. A database of another program, and one of a later format, cannot be used and
/// is not changed.
///
/// Connects at the first access and again when the file was replaced. A failure closes the connection, so
/// that the next access opens the file again. Every commit is synced, and all writers of the folder take
/// turns (PreferencesFolderLock): docs/adr/0002-preferences-durability.md.
///
/// Not thread-safe. In a process that was forked while any connection was open, every access fails and closes
/// nothing (PreferencesConnection::wereInherited).
class PreferencesDatabase {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  enum class Result { done, busy, failed };

  /// The most bytes of a value that is read. The caller of `write` passes no larger one.
  static constexpr std::size_t maximumSize = std::size_t{16} << 20;

  /// Whether an unreadable file may be renamed. One that the host reaches by a symbolic link may not: it is
  /// another one's, and the link would lead nowhere.
  enum class Unreadable { setAside, leaveAlone };

  /// The path has no symbolic link; an empty one cannot be used: every access fails.
  PreferencesDatabase(std::filesystem::path file, Unreadable unreadable);
  ~PreferencesDatabase();
  PreferencesDatabase(const PreferencesDatabase&) = delete;
  PreferencesDatabase& operator=(const PreferencesDatabase&) = delete;

  const std::filesystem::path& file() const { return file_; }

  /// Closes the connection, if there is one. The last connection of a file writes its log back into it,
  /// unless the connection was inherited: then it is not even closed.
  void close();

  /// Reads the newest value that any process committed. Like every operation, it waits until the given time
  /// for another process that holds the file.
  Result read(std::string_view key, TimePoint waitUntil, std::optional<PreferenceValue>& value);

  /// Commits all changes as one transaction, or none of them.
  Result write(const PreferenceChanges& changes, TimePoint waitUntil);

  /// Commits all changes, and then what `change` makes of the newest value of `key`, as one transaction, or
  /// nothing. `change` may be called again on a new connection, and must not throw.
  using Change = std::function<std::optional<PreferenceValue>(const std::optional<PreferenceValue>&)>;
  Result update(const PreferenceChanges& changes, std::string_view key, TimePoint waitUntil,
                const Change& change);

  /// True when the file is open, but no longer at its path, in a folder that is still there. The next access
  /// opens, or makes, the file at the path.
  bool fileIsGone() const;

  /// Whether an access since the last call found that the file which was used before had vanished or was
  /// replaced, and opened another one.
  bool takeReplaced() { return std::exchange(replaced_, false); }

  /// What failed since the last call, as text for a person; empty when nothing did.
  std::string takeProblem();

 private:
  enum class Purpose { reading, writing };

  Result attempt(Purpose purpose, TimePoint waitUntil, const std::function<void()>& step);
  bool attemptOnOpenConnection(TimePoint waitUntil, const std::function<void()>& step);
  void attemptOnNewConnection(const PreferencesFolderLock& folder, TimePoint waitUntil,
                              const std::function<void()>& step);
  void connect(const PreferencesFolderLock& folder, TimePoint waitUntil);
  void disconnect();

  std::filesystem::path file_;
  Unreadable unreadable_;
  std::unique_ptr<PreferencesConnection> connection_;
  /// Of the file that was opened last, and of its log.
  std::optional<FileIdentity> identity_, logIdentity_;
  bool replaced_ = false;
  std::string problem_;
};

}  // namespace corvane::platform
