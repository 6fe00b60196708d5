#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/StoreMaintenance.h"
#include "platform/preferences/PreferencesDatabase.h"

namespace corvane::platform {

/// The application's preferences: text keys to typed values, in one SQLite file that processes may share.
///
/// A read sees every earlier write of any process; a write is synced when it returns. Where the file cannot
/// be written, the value lives in memory, where this process reads it, and each later write tries the file
/// again and takes along, in the same transaction, whatever waits. No operation fails or throws.
///
/// Threads: any. One mutex serialises the accesses to the one connection, and another the updates, which have
/// a connection of their own so that reads go on while one waits for its turn. A call waits 200 ms at most
/// for another process that holds the file, counted from its own beginning, so that callers who queue up do
/// not add their waits; once a holder outlasted a wait, the calls of the next second only try, so that a host
/// which stores much is not held up again and again.
///
/// Forks: a fork waits for the access that is under way and closes the connection first; parent and child
/// each connect anew. Both keep what waits in memory.
class UserDefaults final : public StoreMaintenance {
 public:
  /// The object of that file: the same one while somebody holds it. Touches no database yet and never fails.
  /// An empty path keeps everything in memory.
  static std::shared_ptr<UserDefaults> open(const std::filesystem::path& file);

  /// Tries once more to write what waits in memory, as `synchronize` does.
  ~UserDefaults() override;
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// None, or false, when the key is absent or holds a value of another type.
  std::optional<std::string> stringForKey(std::string_view key) const;
  std::optional<std::string> dataForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;

  void setString(std::string_view value, std::string_view key);
  /// Bytes; none removes the key.
  void setData(const std::optional<std::string>& value, std::string_view key);
  void setBool(bool value, std::string_view key);
  void removeObjectForKey(std::string_view key);

  /// Replaces the bytes of `key` by what `change` makes of them, none meaning that there are none, in one
  /// transaction against every other writer of any process. False when the file could not be written:
  /// then nothing has changed. `change` may be called more than once and must not touch this object.
  using DataChange = std::function<std::optional<std::string>(const std::optional<std::string>&)>;
  bool updateData(std::string_view key, const DataChange& change);

  /// Waits the full 200 ms for another holder, whatever happened before.
  bool synchronize() override;
  void waitForHolderAgain() override;
  void reportProblemsTo(ProblemReporter reporter) override;

 private:
  struct Registry;

  using TimePoint = PreferencesDatabase::TimePoint;

  explicit UserDefaults(const std::filesystem::path& file);

  std::optional<PreferenceValue> valueForKey(std::string_view key) const;
  void store(std::string_view key, std::optional<PreferenceValue> value);
  bool writePending(TimePoint waitUntil);
  TimePoint waitUntil(TimePoint entered) const;
  void noteResult(PreferencesDatabase::Result result, PreferencesDatabase& database) const;
  void unlockAndTell(std::unique_lock<std::mutex> lock) const;

  // Reading connects, and may find the file unreadable: to the caller that is still reading.
  mutable std::mutex mutex_;
  mutable PreferencesDatabase database_;
  PreferenceChanges pending_;        // newer than the file; empty on a healthy disk
  mutable PreferenceChanges known_;  // as last read or written; asked only when the file cannot be read
  mutable TimePoint onlyTryUntil_{};
  mutable std::string problem_;
  mutable bool told_ = false;
  std::shared_ptr<const ProblemReporter> reporter_;

  /// Taken before `mutex_`, never inside it.
  std::mutex updateMutex_;
  PreferencesDatabase updates_;
};

}  // namespace corvane::platform
