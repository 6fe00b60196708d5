#pragma once

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/preferences/PreferencesDatabase.h"

namespace corvane::platform {

/// How a connection shares the file.
enum class PreferencesAccess {
  shared,     ///< with other processes, through the memory that SQLite maps from the file beside it
  exclusive,  ///< other processes are locked out: needs no such memory, so that a full disk can still be read
  immutable,  ///< as a file that no process can write: for a folder where not even an empty log can be made
};

/// An open connection to a file that was found to be ours (format: PreferencesDatabase.h), with its prepared
/// statements. Every operation throws PreferencesFailure, after which the connection must be closed.
///
/// Not thread-safe, and not usable in a forked child (`wereInherited`).
class PreferencesConnection {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Opens the file, which exists, and sets it up when it is empty.
  PreferencesConnection(const std::filesystem::path& file, PreferencesAccess access, TimePoint waitUntil);
  /// The last connection of a file writes its log back into it, unless `keepLogOnClose` was called.
  ~PreferencesConnection() = default;
  PreferencesConnection(const PreferencesConnection&) = delete;
  PreferencesConnection& operator=(const PreferencesConnection&) = delete;

  PreferencesAccess access() const { return access_; }

  /// Sets until when to wait for another process that holds the file.
  void setWaitUntil(TimePoint time) { waitUntil_ = time; }

  std::optional<PreferenceValue> read(std::string_view key) const;
  /// One transaction.
  void write(const PreferenceChanges& changes) const;
  /// One transaction: the changes, then reading the value of `key`, `change`, and writing what it returns.
  void update(const PreferenceChanges& changes, std::string_view key,
              const PreferencesDatabase::Change& change) const;

  /// True when the path no longer leads to the file that is open.
  bool fileWasReplaced() const;

  /// True in a process that was forked while a connection was open. SQLite's record of what the process has
  /// locked is inherited then, but the locks are not: no connection may be used, closed or opened there.
  static bool wereInherited();

  /// Closing takes microseconds then, and opens no file by its name.
  void keepLogOnClose() const;

 private:
  /// Counts the connections that are open, for `wereInherited`.
  class OpenCount {
   public:
    OpenCount();
    ~OpenCount();
    OpenCount(const OpenCount&) = delete;
    OpenCount& operator=(const OpenCount&) = delete;
  };
  struct HandleCloser {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  struct StatementCloser {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;
  /// Prepared at its first use: an ordinary launch only reads.
  struct LazyStatement {
    const char* sql;
    Statement prepared{};
  };

  static int waitForHolder(void* self, int attempts);

  void openHandle(const std::filesystem::path& file);
  bool isEmpty() const;
  void setUp() const;
  void requireOurs() const;
  bool hasSoundSchema() const;
  void useLog() const;

  void execute(const char* sql) const;
  int number(const char* sql) const;
  Statement prepare(const char* sql) const;
  sqlite3_stmt* preparedFrom(LazyStatement& statement) const;
  void run(LazyStatement& statement) const;
  void writeChange(const PreferenceChanges::value_type& change) const;

  PreferencesAccess access_;
  TimePoint waitUntil_;
  // In the order of opening: the statements are finalized first.
  OpenCount openCount_;
  std::unique_ptr<sqlite3, HandleCloser> handle_;
  mutable LazyStatement begin_{"BEGIN IMMEDIATE"};
  mutable LazyStatement commit_{"COMMIT"};
  mutable LazyStatement select_{"SELECT value FROM preferences WHERE key = ?1"};
  mutable LazyStatement upsert_{
      "INSERT INTO preferences (key, value) VALUES (?1, ?2)"
      " ON CONFLICT (key) DO UPDATE SET value = excluded.value"};
  mutable LazyStatement insert_{
      "INSERT INTO preferences (key, value) VALUES (?1, ?2)"
      " ON CONFLICT (key) DO UPDATE SET value = excluded.value WHERE typeof(value) <> 'text' OR value = ''"};
  mutable LazyStatement remove_{"DELETE FROM preferences WHERE key = ?1"};
};

}  // namespace corvane::platform
