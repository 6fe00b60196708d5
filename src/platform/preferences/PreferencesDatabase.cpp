#include "platform/preferences/PreferencesDatabase.h"

#include <utility>

#include "platform/preferences/PreferencesConnection.h"
#include "platform/preferences/PreferencesFailure.h"

namespace corvane::platform {

using Kind = PreferencesFailure::Kind;

PreferencesDatabase::PreferencesDatabase(std::filesystem::path file, Unreadable unreadable)
    : file_(std::move(file)), unreadable_(unreadable) {}

PreferencesDatabase::~PreferencesDatabase() {
  close();
}

void PreferencesDatabase::close() {
  if (PreferencesConnection::wereInherited()) static_cast<void>(connection_.release());
  connection_.reset();
}

PreferencesDatabase::Result PreferencesDatabase::read(std::string_view key, TimePoint waitUntil,
                                                      std::optional<PreferenceValue>& value) {
  return attempt(Purpose::reading, waitUntil, [&] { value = connection_->read(key); });
}

PreferencesDatabase::Result PreferencesDatabase::write(const PreferenceChanges& changes,
                                                       TimePoint waitUntil) {
  return attempt(Purpose::writing, waitUntil, [&] { connection_->write(changes); });
}

PreferencesDatabase::Result PreferencesDatabase::update(const PreferenceChanges& changes,
                                                        std::string_view key, TimePoint waitUntil,
                                                        const Change& change) {
  return attempt(Purpose::writing, waitUntil, [&] { connection_->update(changes, key, change); });
}

bool PreferencesDatabase::fileIsGone() const {
  return connection_ && connection_->fileWasReplaced() && identityOf(file_.parent_path());
}

std::string PreferencesDatabase::takeProblem() {
  return std::exchange(problem_, {});
}

PreferencesDatabase::Result PreferencesDatabase::attempt(Purpose purpose, TimePoint waitUntil,
                                                         const std::function<void()>& step) {
  // Unlocked after a failed transaction was rolled back.
  std::optional<PreferencesFolderLock> folder;
  try {
    if (file_.empty()) throw PreferencesFailure(Kind::unusable, "there is no home folder to keep them in");
    if (PreferencesConnection::wereInherited())
      throw PreferencesFailure(Kind::unusable, "the process was forked while it was open");
    if (purpose == Purpose::writing) folder.emplace(file_, waitUntil);
    if (attemptOnOpenConnection(waitUntil, step)) return Result::done;
    disconnect();
    if (!folder) folder.emplace(file_, waitUntil);
    attemptOnNewConnection(*folder, waitUntil, step);
    return Result::done;
  } catch (const PreferencesFailure& failure) {
    disconnect();
    problem_ = "Preferences " + (file_.empty() ? "" : "file " + file_.string() + " ") + "cannot be used (" +
               failure.what() + "); values are kept in memory until it can";
    return failure.kind == Kind::busy ? Result::busy : Result::failed;
  }
}

/// False when there is no connection, or when it failed: damage is believed when a new connection sees it
/// too, and an I/O error may not come again.
bool PreferencesDatabase::attemptOnOpenConnection(TimePoint waitUntil, const std::function<void()>& step) {
  if (!connection_) return false;
  if (connection_->fileWasReplaced()) {
    // Its number may be that of the next file.
    replaced_ = true;
    return false;
  }
  connection_->setWaitUntil(waitUntil);
  try {
    step();
    return true;
  } catch (const PreferencesFailure& failure) {
    if (failure.kind == Kind::busy) throw;
    return false;
  }
}

void PreferencesDatabase::attemptOnNewConnection(const PreferencesFolderLock& folder, TimePoint waitUntil,
                                                 const std::function<void()>& step) {
  try {
    connect(folder, waitUntil);
    step();
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unreadable || unreadable_ == Unreadable::leaveAlone) throw;
    disconnect();
    const std::filesystem::path aside = folder.setFileAside();
    problem_ = "Preferences file " + file_.string() + " was unreadable (" + failure.what() +
               "); it is kept as " + aside.filename().string() + " and a fresh one was begun";
    connect(folder, waitUntil);
    step();
  }
  // The other kinds lock other processes out, or do not see their changes.
  if (connection_->access() != PreferencesAccess::shared) disconnect();
}

void PreferencesDatabase::connect(const PreferencesFolderLock& folder, TimePoint waitUntil) {
  const auto found = identityOf(file_);
  folder.createFileIfMissing();
  folder.requireRegularFiles();
  // SQLite would apply the log of the file that was here to the one that is here now.
  const auto log = folder.logIdentity();
  if (identity_ && found && found != identity_ && log && log == logIdentity_) folder.setLogAside();
  const auto open = [&](PreferencesAccess access) {
    connection_ = std::make_unique<PreferencesConnection>(file_, access, waitUntil);
  };
  try {
    open(PreferencesAccess::shared);
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unusable) throw;
    try {
      open(PreferencesAccess::exclusive);
    } catch (const PreferencesFailure& second) {
      if (second.kind != Kind::unusable || !folder.fileIsWhole()) throw;
      open(PreferencesAccess::immutable);
    }
  }
  const auto identity = identityOf(file_);
  if (identity_ && identity != identity_) replaced_ = true;
  identity_ = identity;
  logIdentity_ = folder.logIdentity();
}

/// Rolls back a transaction, and leaves the log as it is: that takes microseconds.
void PreferencesDatabase::disconnect() {
  if (!connection_ || PreferencesConnection::wereInherited()) return;
  connection_->keepLogOnClose();
  connection_.reset();
}

}  // namespace corvane::platform
