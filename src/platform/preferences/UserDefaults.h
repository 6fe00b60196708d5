#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/DataUpdates.h"
#include "foundation/StoreMaintenance.h"
#include "platform/preferences/PreferencesDatabase.h"

namespace corvane::platform {

/// The application's preferences: text keys to typed values, in one SQLite file that processes may share.
///
/// A read sees every earlier write of any process; a write is synced when it returns. A value that cannot be
/// written to the file is kept in memory, where this process reads it. Each later write tries the file again
/// and writes all such values in the same transaction. No operation fails or throws.
///
/// Threads: any. One mutex serialises the accesses to the one connection, and another the updates, which have
/// a connection of their own so that reads go on while an update waits for its turn. A call waits at most
/// 200 ms for another process that holds the file, counted from the start of the call, so that the waits of
/// callers on several threads do not add up. After a wait that timed out, a call waits at most a quarter of
/// the time that has passed since then, so that many calls do not block their callers one after the other.
///
/// When the file vanishes or is replaced by another one, the next access opens, or makes, the file at the
/// path, a warning says so, and the texts of `stringForKeyOrStore` are stored again, unless the new file has
/// one. What waits in memory is kept. What was removed from the same file, by any process, stays removed.
///
/// Forks: not to be used in a forked child. If the file was open at the fork, the child reads from memory
/// what was read or written before, writes to memory only, and leaves the parent's connection as it is.
class UserDefaults final : public StoreMaintenance {
 public:
  /// The object of that file: the same one as long as a caller owns it. Opens no file yet and never fails.
  /// With an empty path, all values are kept in memory.
  static std::shared_ptr<UserDefaults> open(const std::filesystem::path& file);

  /// Tries once more to write the values that are kept in memory.
  ~UserDefaults() override;
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// None, or false, when the key is absent or holds a value of another type.
  std::optional<std::string> stringForKey(std::string_view key) const;
  std::optional<std::string> dataForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;

  /// The text of `key`; where there is none, or an empty one, the text that `make` returns, which is stored
  /// unless another process is first: then it is that process's text.
  ///
  /// To store it, this call waits at most 1 s for another process that holds the file, as two texts for one
  /// key cannot be mended later. After that the text is kept in memory, and the next write stores it, unless
  /// there is one by then. `make` is called at most once and must not use this object.
  std::string stringForKeyOrStore(std::string_view key, const std::function<std::string()>& make);

  void setString(std::string_view value, std::string_view key);
  /// Bytes; none removes the key.
  void setData(const std::optional<std::string>& value, std::string_view key);
  void setBool(bool value, std::string_view key);
  void removeObjectForKey(std::string_view key);

  /// Replaces the bytes of `key` by what `change` returns for them; none stands for an absent value. Reading
  /// and writing are one transaction, which also writes the values that are kept in memory. Unless it is
  /// done, nothing has changed. `change` may be called more than once and must not use this object.
  DataUpdates::Result updateData(std::string_view key, const DataUpdates::Change& change,
                                 DataUpdates::Wait wait = DataUpdates::Wait::usual);

  bool synchronize() override;
  void close() override;
  void waitForHoldersUntil(TimePoint time) override;
  void reportProblemsTo(ProblemReporter reporter) override;

 private:
  UserDefaults(const std::filesystem::path& file, PreferencesDatabase::Unreadable unreadable);

  std::optional<PreferenceValue> valueForKey(std::string_view key) const;
  std::optional<PreferenceValue> read(std::string_view key, TimePoint waitUntil) const;
  void store(std::string_view key, std::optional<PreferenceValue> value);
  std::string storeIfAbsent(std::string_view key, std::string text, TimePoint waitUntil);
  void writePending(TimePoint waitUntil) const;
  void writePendingOnce(TimePoint waitUntil) const;
  void notePendingWritten() const;
  void storeSharedTextsAgain(PreferencesDatabase& database, TimePoint waitUntil) const;
  TimePoint waitUntil(TimePoint entered) const;
  void noteResult(PreferencesDatabase::Result result, PreferencesDatabase& database,
                  DataUpdates::Wait wait = DataUpdates::Wait::usual) const;
  void unlockAndReport(std::unique_lock<std::mutex> lock) const;

  // Mutable because a read may connect, and may find the file unreadable or replaced.
  mutable std::mutex mutex_;
  mutable PreferencesDatabase database_;
  mutable PreferenceChanges pending_;  // newer than the file; empty on a healthy disk
  PreferenceValues tooLarge_;          // newer than the file, and never written
  mutable PreferenceValues known_;     // as last read or written; used only when the file cannot be read
  mutable TimePoint lastTimeOut_{};    // of a wait of the usual length
  TimePoint holdersUntil_{};
  std::map<std::string, std::string, std::less<>> sharedTexts_;  // as `stringForKeyOrStore` returned them
  /// What is reported once.
  struct Report {
    std::string text;
    bool isGiven = false;
  };
  mutable Report problem_;
  mutable Report replacement_;
  std::shared_ptr<const ProblemReporter> reporter_;

  /// Taken before `mutex_`, never inside it.
  std::mutex updateMutex_;
  PreferencesDatabase updates_;
};

}  // namespace corvane::platform
