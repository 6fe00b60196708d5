#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/preferences/PreferenceValue.h"

namespace corvane::platform {

class PreferencesConnection;
class PreferencesFolderLock;

/// Access to a preferences file through one SQLite connection, whatever state the file is in.
///
/// The file, format version 1:
///
///     PRAGMA application_id = 1129469518      -- "CRVN": the file is ours
///     PRAGMA user_version = 1                 -- raised by a change that older versions cannot read
///     CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID
///
/// in UTF-8 and write-ahead-log mode; a text is TEXT, bytes are BLOB, a Bool is INTEGER 0 or 1, anything else
/// reads as absent. An unreadable file, or one with our mark but without our table, is set aside and a fresh
/// one begun. A database of somebody else, and one of a later format, is left alone: it cannot be used.
///
/// Connects at the first access and again whenever the file was replaced; any failure closes the connection,
/// so that every access tries the file anew. Every commit is synced: docs/adr/0002-preferences-durability.md.
///
/// Not thread-safe, and not to be carried over a fork: `disconnect` before one. In a process that was forked
/// without it every access fails, as SQLite's record of what the process has locked is wrong in the child.
class PreferencesDatabase {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  enum class Result { done, busy, failed };

  /// No value is larger: reading one never takes more memory, and `write` refuses it.
  static constexpr std::size_t maximumSize = std::size_t{16} << 20;

  /// An empty path cannot be used: every access fails.
  explicit PreferencesDatabase(std::filesystem::path file);
  ~PreferencesDatabase();
  PreferencesDatabase(const PreferencesDatabase&) = delete;
  PreferencesDatabase& operator=(const PreferencesDatabase&) = delete;

  /// Reads the newest value that any process committed. Waits for another holder until the given time.
  Result read(std::string_view key, TimePoint waitUntil, std::optional<PreferenceValue>& value);

  /// Commits all changes as one transaction, or none of them.
  Result write(const PreferenceChanges& changes, TimePoint waitUntil);

  /// Replaces the value of `key` by what `change` makes of the newest one, as one transaction, or changes
  /// nothing. `change` may be called again on a fresh connection, and must not throw.
  using Change = std::function<std::optional<PreferenceValue>(const std::optional<PreferenceValue>&)>;
  Result update(std::string_view key, TimePoint waitUntil, const Change& change);

  /// Closes the connection; the last one of the file empties its log into it. The destructor does so too.
  void close();

  /// Closes the connection and leaves the log as it is, which takes microseconds. The next access reconnects.
  void disconnect();

  /// What went wrong since the last call, for a person to read; empty when nothing did.
  std::string takeProblem();

 private:
  Result attempt(TimePoint waitUntil, const std::function<void()>& step);
  void attemptOnFreshConnection(TimePoint waitUntil, const std::function<void()>& step);
  bool connectionStillGood();
  void connect(const PreferencesFolderLock& folder, TimePoint waitUntil);

  std::filesystem::path file_;
  std::unique_ptr<PreferencesConnection> connection_;
  std::string problem_;
};

}  // namespace corvane::platform
