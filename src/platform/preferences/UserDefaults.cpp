#include "platform/preferences/UserDefaults.h"

#include <pthread.h>

#include <algorithm>
#include <climits>
#include <system_error>
#include <utility>
#include <vector>

namespace corvane::platform {
namespace {

using Clock = std::chrono::steady_clock;

/// The part of the 250 ms that a call may take which is spent waiting; the rest is for the work itself.
constexpr auto patience = std::chrono::milliseconds(200);

/// How long a holder who outlasted one wait is not waited for again.
constexpr auto impatience = std::chrono::seconds(1);

/// One name for one file, however it is spelled and whether it exists yet.
std::filesystem::path oneNameOf(const std::filesystem::path& file) {
  if (file.empty() || file.native().size() >= PATH_MAX) return file;
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(file, error);
  if (error) return file;
  std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
  return error ? absolute : resolved;
}

std::size_t sizeOf(const PreferenceValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return text->size();
  if (const auto* data = std::get_if<PreferenceBytes>(&value)) return data->bytes.size();
  return 0;
}

bool fits(const PreferenceChanges::value_type& change) {
  return !change.second || sizeOf(*change.second) <= PreferencesDatabase::maximumSize;
}

}  // namespace

/// Every object that is alive. Never destroyed, so that it serves a process that exits with threads at work.
///
/// Locks: the registry's before an object's, and of those `updateMutex_` before `mutex_`. A fork takes all of
/// them, so that no access, opening or destruction is under way in it, and no connection of ours is open
/// across it: SQLite's own record of what this process has locked would be inherited without the locks.
struct UserDefaults::Registry {
  struct Entry {
    std::filesystem::path file;
    UserDefaults* object;
    std::weak_ptr<UserDefaults> handle;
  };

  std::mutex mutex;
  std::vector<Entry> entries;

  static Registry& shared() {
    static Registry* const registry = [] {
      auto* const created = new Registry;
      ::pthread_atfork([] { shared().beforeFork(); }, [] { shared().afterFork(); },
                       [] { shared().afterFork(); });
      return created;
    }();
    return *registry;
  }

  void beforeFork() {
    mutex.lock();
    for (const Entry& entry : entries) {
      entry.object->updateMutex_.lock();
      entry.object->mutex_.lock();
      entry.object->database_.disconnect();
      entry.object->updates_.disconnect();
    }
  }

  void afterFork() {
    for (const Entry& entry : entries) {
      entry.object->mutex_.unlock();
      entry.object->updateMutex_.unlock();
    }
    mutex.unlock();
  }
};

std::shared_ptr<UserDefaults> UserDefaults::open(const std::filesystem::path& file) {
  const std::filesystem::path path = oneNameOf(file);
  Registry& registry = Registry::shared();
  const std::lock_guard lock(registry.mutex);
  for (const Registry::Entry& entry : registry.entries) {
    if (entry.file != path) continue;
    if (std::shared_ptr<UserDefaults> alive = entry.handle.lock()) return alive;
  }
  std::shared_ptr<UserDefaults> created(new UserDefaults(path));
  registry.entries.push_back({path, created.get(), created});
  return created;
}

UserDefaults::UserDefaults(const std::filesystem::path& file) : database_(file), updates_(file) {}

UserDefaults::~UserDefaults() {
  {
    const std::lock_guard lock(mutex_);
    writePending(Clock::now() + patience);
  }
  Registry& registry = Registry::shared();
  const std::lock_guard lock(registry.mutex);
  std::erase_if(registry.entries, [this](const Registry::Entry& entry) { return entry.object == this; });
  updates_.close();
  database_.close();
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  std::optional<PreferenceValue> value = valueForKey(key);
  if (!value || !std::holds_alternative<std::string>(*value)) return std::nullopt;
  return std::get<std::string>(std::move(*value));
}

std::optional<std::string> UserDefaults::dataForKey(std::string_view key) const {
  std::optional<PreferenceValue> value = valueForKey(key);
  if (!value || !std::holds_alternative<PreferenceBytes>(*value)) return std::nullopt;
  return std::get<PreferenceBytes>(std::move(*value)).bytes;
}

bool UserDefaults::boolForKey(std::string_view key) const {
  const std::optional<PreferenceValue> value = valueForKey(key);
  return value && std::holds_alternative<bool>(*value) && std::get<bool>(*value);
}

void UserDefaults::setString(std::string_view value, std::string_view key) {
  store(key, std::string(value));
}

void UserDefaults::setData(const std::optional<std::string>& value, std::string_view key) {
  if (!value) return removeObjectForKey(key);
  store(key, PreferenceBytes{*value});
}

void UserDefaults::setBool(bool value, std::string_view key) {
  store(key, value);
}

void UserDefaults::removeObjectForKey(std::string_view key) {
  store(key, std::nullopt);
}

bool UserDefaults::updateData(std::string_view key, const DataChange& change) {
  const auto entered = Clock::now();
  std::unique_lock updating(updateMutex_);
  std::unique_lock lock(mutex_);
  // An older value that waits for the file goes first.
  const bool upToDate = pending_.find(key) == pending_.end() || writePending(waitUntil(entered));
  if (!upToDate) {
    updating.unlock();
    unlockAndTell(std::move(lock));
    return false;
  }
  const TimePoint until = waitUntil(entered);
  lock.unlock();

  std::optional<std::string> bytes;
  const PreferencesDatabase::Result result = updates_.update(key, until, [&](const auto& value) {
    const auto* stored = value ? std::get_if<PreferenceBytes>(&*value) : nullptr;
    bytes = change(stored ? std::optional(stored->bytes) : std::nullopt);
    return bytes ? std::optional<PreferenceValue>(PreferenceBytes{*bytes}) : std::nullopt;
  });

  lock.lock();
  noteResult(result, updates_);
  const bool done = result == PreferencesDatabase::Result::done;
  if (done) {
    std::optional<PreferenceValue> value;
    if (bytes) value = PreferenceBytes{*std::move(bytes)};
    known_.insert_or_assign(std::string(key), std::move(value));
  }
  updating.unlock();
  unlockAndTell(std::move(lock));
  return done;
}

void UserDefaults::waitForHolderAgain() {
  const std::lock_guard lock(mutex_);
  onlyTryUntil_ = {};
}

bool UserDefaults::synchronize() {
  const auto entered = Clock::now();
  std::unique_lock lock(mutex_);
  const bool done = writePending(entered + patience);
  unlockAndTell(std::move(lock));
  return done;
}

void UserDefaults::reportProblemsTo(ProblemReporter reporter) {
  auto shared = reporter ? std::make_shared<const ProblemReporter>(std::move(reporter)) : nullptr;
  std::unique_lock lock(mutex_);
  // Destroying the former one is its owner's code: it happens when `shared` goes, after the lock.
  reporter_.swap(shared);
  unlockAndTell(std::move(lock));
}

std::optional<PreferenceValue> UserDefaults::valueForKey(std::string_view key) const {
  const auto entered = Clock::now();
  std::optional<PreferenceValue> value;
  std::unique_lock lock(mutex_);
  if (const auto waiting = pending_.find(key); waiting != pending_.end()) return waiting->second;
  const PreferencesDatabase::Result result = database_.read(key, waitUntil(entered), value);
  noteResult(result, database_);
  if (result == PreferencesDatabase::Result::done) {
    known_.insert_or_assign(std::string(key), value);
  } else if (const auto last = known_.find(key); last != known_.end()) {
    value = last->second;
  }
  unlockAndTell(std::move(lock));
  return value;
}

void UserDefaults::store(std::string_view key, std::optional<PreferenceValue> value) {
  const auto entered = Clock::now();
  std::unique_lock lock(mutex_);
  pending_.insert_or_assign(std::string(key), std::move(value));
  writePending(waitUntil(entered));
  unlockAndTell(std::move(lock));
}

bool UserDefaults::writePending(TimePoint waitUntil) {
  PreferenceChanges tooLarge;
  for (auto change = pending_.begin(); change != pending_.end();) {
    const auto next = std::next(change);
    if (!fits(*change)) tooLarge.insert(pending_.extract(change));
    change = next;
  }
  if (!tooLarge.empty() && problem_.empty()) {
    problem_ = "Preferences value of " + tooLarge.begin()->first + " is too large; it is kept in memory only";
  }
  if (!pending_.empty()) {
    const PreferencesDatabase::Result result = database_.write(pending_, waitUntil);
    noteResult(result, database_);
    if (result == PreferencesDatabase::Result::done) {
      for (auto& [key, value] : pending_) known_.insert_or_assign(key, std::move(value));
      pending_.clear();
    }
  }
  pending_.merge(tooLarge);
  return pending_.empty();
}

UserDefaults::TimePoint UserDefaults::waitUntil(TimePoint entered) const {
  return entered < onlyTryUntil_ ? entered : entered + patience;
}

void UserDefaults::noteResult(PreferencesDatabase::Result result, PreferencesDatabase& database) const {
  if (result == PreferencesDatabase::Result::busy) {
    // A call that only tried does not prolong it.
    if (const auto now = Clock::now(); now >= onlyTryUntil_) onlyTryUntil_ = now + impatience;
  }
  std::string problem = database.takeProblem();
  if (problem_.empty()) problem_ = std::move(problem);
}

void UserDefaults::unlockAndTell(std::unique_lock<std::mutex> lock) const {
  if (told_ || problem_.empty() || !reporter_) return;
  told_ = true;
  const std::shared_ptr<const ProblemReporter> reporter = reporter_;
  lock.unlock();
  try {
    (*reporter)(problem_);
  } catch (...) {
    // The reporter is somebody else's code; the store goes on.
  }
}

}  // namespace corvane::platform
