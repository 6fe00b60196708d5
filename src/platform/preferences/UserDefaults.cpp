#include "platform/preferences/UserDefaults.h"

#include <algorithm>
#include <climits>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

namespace corvane::platform {
namespace {

using Clock = std::chrono::steady_clock;

/// A call may take 250 ms. This part of it may be spent waiting for another process.
constexpr auto longestWait = std::chrono::milliseconds(200);

/// The part of the time since a wait that timed out which a call may wait: one in so many.
constexpr int waitingShare = 4;

/// For callers that try again, on a thread with other work to do.
constexpr auto briefWait = std::chrono::milliseconds(25);

/// How long a text that the whole installation is to share waits for another process.
constexpr auto longestWaitForSharedText = std::chrono::seconds(1);

/// The same name for every spelling of a path, whether the file exists or not.
std::filesystem::path canonicalNameOf(const std::filesystem::path& file) {
  if (file.empty() || file.native().size() >= PATH_MAX) return file;
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(file, error);
  if (error) return file;
  std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
  return error ? absolute : resolved;
}

std::optional<std::string> textOf(std::optional<PreferenceValue> value) {
  if (!value || !std::holds_alternative<std::string>(*value)) return std::nullopt;
  return std::get<std::string>(*std::move(value));
}

std::size_t sizeOf(const PreferenceValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return text->size();
  if (const auto* data = std::get_if<PreferenceBytes>(&value)) return data->bytes.size();
  return 0;
}

DataUpdates::Result resultOf(PreferencesDatabase::Result result) {
  switch (result) {
    case PreferencesDatabase::Result::done:
      return DataUpdates::Result::done;
    case PreferencesDatabase::Result::busy:
      return DataUpdates::Result::busy;
    case PreferencesDatabase::Result::failed:
      break;
  }
  return DataUpdates::Result::failed;
}

/// Every object that is alive, by its file.
struct Registry {
  std::mutex mutex;
  std::map<std::filesystem::path, std::weak_ptr<UserDefaults>> objects;
};

/// Never destroyed, because threads may still use it when the process exits.
Registry& registry() {
  static Registry* const made = new Registry;
  return *made;
}

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::open(const std::filesystem::path& file) {
  const std::filesystem::path path = canonicalNameOf(file);
  std::error_code error;
  const auto unreadable = std::filesystem::is_symlink(file, error)
                              ? PreferencesDatabase::Unreadable::leaveAlone
                              : PreferencesDatabase::Unreadable::setAside;
  const std::lock_guard lock(registry().mutex);
  auto& objects = registry().objects;
  std::erase_if(objects, [](const auto& entry) { return entry.second.expired(); });
  if (auto alive = objects[path].lock()) return alive;
  std::shared_ptr<UserDefaults> created(new UserDefaults(path, unreadable));
  objects[path] = created;
  return created;
}

UserDefaults::UserDefaults(const std::filesystem::path& file, PreferencesDatabase::Unreadable unreadable)
    : database_(file, unreadable), updates_(file, unreadable) {}

/// Locks nothing: the object has no other user, and in a forked child a lock may be held by a thread that is
/// not there.
UserDefaults::~UserDefaults() {
  writePending(std::max(Clock::now() + longestWait, holdersUntil_));
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  return textOf(valueForKey(key));
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

std::string UserDefaults::stringForKeyOrStore(std::string_view key,
                                              const std::function<std::string()>& make) {
  const auto entered = Clock::now();
  std::unique_lock lock(mutex_);
  std::optional<std::string> text = textOf(read(key, waitUntil(entered)));
  if (!text || text->empty()) text = storeIfAbsent(key, make(), entered + longestWaitForSharedText);
  sharedTexts_.insert_or_assign(std::string(key), *text);
  unlockAndReport(std::move(lock));
  return *std::move(text);
}

/// The caller holds `mutex_`, and has read none, or an empty one. The text that the key has then.
std::string UserDefaults::storeIfAbsent(std::string_view key, std::string text, TimePoint waitUntil) {
  // What waits in memory, a removal perhaps, is newer than the file.
  const bool onlyIfAbsent = !pending_.contains(key);
  pending_.insert_or_assign(std::string(key), PreferenceChange{text, onlyIfAbsent});
  writePending(waitUntil);
  std::optional<std::string> stored = textOf(read(key, waitUntil));
  return stored && !stored->empty() ? *std::move(stored) : text;
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

DataUpdates::Result UserDefaults::updateData(std::string_view key, const DataUpdates::Change& change,
                                             DataUpdates::Wait wait) {
  const auto entered = Clock::now();
  std::unique_lock updating(updateMutex_);
  std::unique_lock lock(mutex_);
  // The connection that knew the file which was replaced is the first to open the new one.
  if (database_.fileIsGone()) read(key, waitUntil(entered));
  // Values that wait in memory may change as soon as the mutex is free, so they are written under it.
  const bool underMutex = !pending_.empty();
  PreferencesDatabase& database = underMutex ? database_ : updates_;
  const PreferenceChanges none;
  const TimePoint until = wait == DataUpdates::Wait::brief ? entered + briefWait : waitUntil(entered);
  if (!underMutex) lock.unlock();

  std::optional<std::string> bytes;
  const auto result = database.update(underMutex ? pending_ : none, key, until, [&](const auto& value) {
    const auto* stored = value ? std::get_if<PreferenceBytes>(&*value) : nullptr;
    bytes = change(stored ? std::optional(stored->bytes) : std::nullopt);
    return bytes ? std::optional<PreferenceValue>(PreferenceBytes{*bytes}) : std::nullopt;
  });

  if (!underMutex) lock.lock();
  noteResult(result, database, wait);
  const bool done = result == PreferencesDatabase::Result::done;
  if (done && underMutex) notePendingWritten();
  if (done)
    known_[std::string(key)] = bytes ? std::optional(PreferenceBytes{*std::move(bytes)}) : std::nullopt;
  storeSharedTextsAgain(database, until);
  updating.unlock();
  unlockAndReport(std::move(lock));
  return resultOf(result);
}

void UserDefaults::waitForHoldersUntil(TimePoint time) {
  const std::lock_guard lock(mutex_);
  holdersUntil_ = time;
}

bool UserDefaults::synchronize() {
  const auto entered = Clock::now();
  std::unique_lock lock(mutex_);
  lastTimeOut_ = {};
  writePending(waitUntil(entered));
  // An access, which finds the file that is at the path now. A folder that is gone went with its application.
  if (database_.fileIsGone() && !sharedTexts_.empty()) read(sharedTexts_.begin()->first, waitUntil(entered));
  const bool done = pending_.empty() && tooLarge_.empty();
  unlockAndReport(std::move(lock));
  return done;
}

void UserDefaults::close() {
  const std::lock_guard updating(updateMutex_);
  const std::lock_guard lock(mutex_);
  database_.close();
  updates_.close();
}

void UserDefaults::reportProblemsTo(ProblemReporter reporter) {
  auto shared = reporter ? std::make_shared<const ProblemReporter>(std::move(reporter)) : nullptr;
  std::unique_lock lock(mutex_);
  // The previous reporter is code of the caller: it is destroyed with `shared`, after the lock.
  reporter_.swap(shared);
  unlockAndReport(std::move(lock));
}

std::optional<PreferenceValue> UserDefaults::valueForKey(std::string_view key) const {
  const auto entered = Clock::now();
  std::unique_lock lock(mutex_);
  std::optional<PreferenceValue> value = read(key, waitUntil(entered));
  unlockAndReport(std::move(lock));
  return value;
}

/// The caller holds `mutex_`.
std::optional<PreferenceValue> UserDefaults::read(std::string_view key, TimePoint waitUntil) const {
  if (const auto newer = pending_.find(key); newer != pending_.end()) return newer->second.value;
  if (const auto newer = tooLarge_.find(key); newer != tooLarge_.end()) return newer->second;
  std::optional<PreferenceValue> value;
  const PreferencesDatabase::Result result = database_.read(key, waitUntil, value);
  noteResult(result, database_);
  if (result == PreferencesDatabase::Result::done) {
    known_.insert_or_assign(std::string(key), value);
  } else if (const auto last = known_.find(key); last != known_.end()) {
    value = last->second;
  }
  storeSharedTextsAgain(database_, waitUntil);
  return value;
}

void UserDefaults::store(std::string_view key, std::optional<PreferenceValue> value) {
  const auto entered = Clock::now();
  const bool fits = !value || sizeOf(*value) <= PreferencesDatabase::maximumSize;
  std::unique_lock lock(mutex_);
  sharedTexts_.erase(std::string(key));
  tooLarge_.erase(std::string(key));
  pending_.erase(std::string(key));
  if (fits) {
    pending_[std::string(key)] = {.value = std::move(value)};
  } else {
    tooLarge_[std::string(key)] = std::move(value);
  }
  if (!fits && problem_.text.empty()) {
    problem_.text = "Preferences value of " + std::string(key) + " is too large; it is kept in memory only";
  }
  writePending(waitUntil(entered));
  unlockAndReport(std::move(lock));
}

void UserDefaults::writePending(TimePoint waitUntil) const {
  writePendingOnce(waitUntil);
  storeSharedTextsAgain(database_, waitUntil);
}

void UserDefaults::writePendingOnce(TimePoint waitUntil) const {
  if (pending_.empty()) return;
  const PreferencesDatabase::Result result = database_.write(pending_, waitUntil);
  noteResult(result, database_);
  if (result == PreferencesDatabase::Result::done) notePendingWritten();
}

/// The caller holds `mutex_`. After an access that may have found another file at the path.
void UserDefaults::storeSharedTextsAgain(PreferencesDatabase& database, TimePoint waitUntil) const {
  if (!database.takeReplaced()) return;
  replacement_.text =
      "Preferences file " + database.file().string() +
      " vanished or was replaced while it was in use; the identifier of this installation and "
      "what waits in memory are written to the file that is there now";
  for (const auto& [key, text] : sharedTexts_) pending_.try_emplace(key, PreferenceChange{text, true});
  writePendingOnce(waitUntil);
}

void UserDefaults::notePendingWritten() const {
  for (auto& [key, change] : pending_) {
    if (change.onlyIfAbsent) {
      known_.erase(key);
    } else {
      known_.insert_or_assign(key, std::move(change.value));
    }
  }
  pending_.clear();
}

UserDefaults::TimePoint UserDefaults::waitUntil(TimePoint entered) const {
  const auto share = std::max((entered - lastTimeOut_) / waitingShare, Clock::duration::zero());
  return std::max(entered + std::min<Clock::duration>(share, longestWait), holdersUntil_);
}

void UserDefaults::noteResult(PreferencesDatabase::Result result, PreferencesDatabase& database,
                              DataUpdates::Wait wait) const {
  std::string problem = database.takeProblem();
  if (result == PreferencesDatabase::Result::busy) {
    if (wait == DataUpdates::Wait::brief) return;
    lastTimeOut_ = Clock::now();
  }
  if (problem_.text.empty()) problem_.text = std::move(problem);
}

void UserDefaults::unlockAndReport(std::unique_lock<std::mutex> lock) const {
  std::vector<std::string> texts;
  for (Report* const report : {&replacement_, &problem_}) {
    if (!reporter_ || report->isGiven || report->text.empty()) continue;
    report->isGiven = true;
    texts.push_back(report->text);
  }
  const std::shared_ptr<const ProblemReporter> reporter = reporter_;
  lock.unlock();
  for (const std::string& text : texts) {
    try {
      (*reporter)(text);
    } catch (...) {
      // The reporter is code of the caller; the store goes on.
    }
  }
}

}  // namespace corvane::platform
