#include "platform/preferences/PreferencesDatabase.h"

#include <utility>

#include "platform/preferences/PreferencesConnection.h"
#include "platform/preferences/PreferencesFailure.h"
#include "platform/preferences/PreferencesFolderLock.h"

namespace corvane::platform {

using Kind = PreferencesFailure::Kind;

PreferencesDatabase::PreferencesDatabase(std::filesystem::path file) : file_(std::move(file)) {}

PreferencesDatabase::~PreferencesDatabase() {
  close();
}

PreferencesDatabase::Result PreferencesDatabase::read(std::string_view key, TimePoint waitUntil,
                                                      std::optional<PreferenceValue>& value) {
  return attempt(waitUntil, [&] { value = connection_->read(key); });
}

PreferencesDatabase::Result PreferencesDatabase::write(const PreferenceChanges& changes,
                                                       TimePoint waitUntil) {
  return attempt(waitUntil, [&] { connection_->write(changes); });
}

PreferencesDatabase::Result PreferencesDatabase::update(std::string_view key, TimePoint waitUntil,
                                                        const Change& change) {
  return attempt(waitUntil, [&] { connection_->update(key, change); });
}

void PreferencesDatabase::close() {
  // Closing an inherited connection would act on the parent's behalf: it is left as it is.
  if (connection_ && connection_->isInherited()) static_cast<void>(connection_.release());
  connection_.reset();
}

void PreferencesDatabase::disconnect() {
  if (!connection_ || connection_->isInherited()) return;
  connection_->keepLogOnClose();
  connection_.reset();
}

std::string PreferencesDatabase::takeProblem() {
  return std::exchange(problem_, {});
}

PreferencesDatabase::Result PreferencesDatabase::attempt(TimePoint waitUntil,
                                                         const std::function<void()>& step) {
  const auto report = [&](const std::string& reason) {
    problem_ = "Preferences " + (file_.empty() ? "" : "file " + file_.string() + " ") + "cannot be used (" +
               reason + "); values are kept in memory until it can";
  };
  try {
    if (connectionStillGood()) {
      connection_->waitForOthersUntil(waitUntil);
      try {
        step();
        return Result::done;
      } catch (const PreferencesFailure& failure) {
        // Damage is believed when a fresh connection sees it too; an I/O error may have been the only one.
        if (failure.kind == Kind::busy) throw;
      }
    }
    attemptOnFreshConnection(waitUntil, step);
    return Result::done;
  } catch (const PreferencesFailure& failure) {
    // Also ends a transaction that was begun.
    disconnect();
    report(failure.what());
    return failure.kind == Kind::busy ? Result::busy : Result::failed;
  }
}

void PreferencesDatabase::attemptOnFreshConnection(TimePoint waitUntil, const std::function<void()>& step) {
  disconnect();
  if (file_.empty()) throw PreferencesFailure(Kind::unusable, "there is no home folder to keep them in");
  const PreferencesFolderLock folder(file_, waitUntil);
  try {
    connect(folder, waitUntil);
    step();
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unreadable) throw;
    disconnect();
    const std::filesystem::path aside = folder.setFileAside();
    problem_ = "Preferences file " + file_.string() + " was unreadable (" + failure.what() +
               "); it is kept as " + aside.filename().string() + " and a fresh one was begun";
    connect(folder, waitUntil);
    step();
  }
  // The others keep everybody out, or see no change.
  if (connection_->access() != PreferencesAccess::shared) disconnect();
}

bool PreferencesDatabase::connectionStillGood() {
  if (!connection_) return false;
  if (connection_->isInherited()) {
    throw PreferencesFailure(Kind::unusable, "the process was forked while it was open");
  }
  return !connection_->fileWasReplaced();
}

void PreferencesDatabase::connect(const PreferencesFolderLock& folder, TimePoint waitUntil) {
  folder.createFileIfMissing();
  folder.requireRegularFiles();
  const auto open = [&](PreferencesAccess access) {
    connection_ = std::make_unique<PreferencesConnection>(file_, access, waitUntil);
  };
  try {
    return open(PreferencesAccess::shared);
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unusable) throw;
  }
  try {
    return open(PreferencesAccess::alone);
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unusable || !folder.fileIsWhole()) throw;
  }
  open(PreferencesAccess::frozen);
}

}  // namespace corvane::platform
