#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace corvane::platform {

class PreferencesFolderLock;

struct PreferenceBytes {
  std::string bytes;
  bool operator==(const PreferenceBytes&) const = default;
};

/// A Bool, a text or bytes, each kept as given (text may hold NULs and need not be valid UTF-8).
using PreferenceValue = std::variant<bool, std::string, PreferenceBytes>;

/// What to store under each key; none removes it.
using PreferenceChanges = std::map<std::string, std::optional<PreferenceValue>, std::less<>>;

/// One SQLite connection to a preferences file.
///
/// The file, format version 1:
///
///     PRAGMA application_id = 1129469518          -- "CRVN": the file is ours
///     PRAGMA user_version   = 1                   -- raised only by a change that this version could not
///     read CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID
///
/// in UTF-8 and write-ahead-log mode; a text is TEXT, bytes are BLOB, a Bool is INTEGER 0 or 1, anything else
/// reads as absent. An unreadable file, or one with our mark but without our table, is set aside and a fresh
/// one begun. A database of somebody else, and one of a later format, is left alone: it cannot be used.
///
/// Connects at the first access and again whenever the file was replaced; any failure closes the connection,
/// so that every access tries the file anew. Every commit is synced
/// (docs/adr/0002-preferences-durability.md).
///
/// Not thread-safe, and not to be carried over a fork: `disconnect` before one. In a process that was forked
/// without it every access fails, as SQLite keeps books of the locks of a process, which are wrong in its
/// child.
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

  /// Closes the connection; the last one of the file empties its log into it. The destructor does so too.
  void close();

  /// Closes the connection without emptying the log, which takes microseconds. The next access connects
  /// again.
  void disconnect();

  /// What went wrong since the last call, for a person to read; empty when nothing did.
  std::string takeProblem();

 private:
  struct Connection;

  Result attempt(TimePoint waitUntil, const std::function<void()>& step);
  void attemptOnFreshConnection(TimePoint waitUntil, const std::function<void()>& step);
  bool connectionStillGood();
  void connect(const PreferencesFolderLock& folder, TimePoint waitUntil);

  std::filesystem::path file_;
  std::unique_ptr<Connection> connection_;
  std::string problem_;
};

}  // namespace corvane::platform
