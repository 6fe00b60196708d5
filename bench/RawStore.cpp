#include "RawStore.h"

namespace corvane::bench {

RawStore::RawStore(const std::filesystem::path& file) {
  sqlite3* opened = nullptr;
  sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                  nullptr);
  handle_.reset(opened);
  sqlite3_exec(opened,
               "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
               "CREATE TABLE IF NOT EXISTS preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID",
               nullptr, nullptr, nullptr);
  begin_ = prepare("BEGIN IMMEDIATE");
  commit_ = prepare("COMMIT");
  upsert_ = prepare(
      "INSERT INTO preferences (key, value) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET value = "
      "excluded.value");
  select_ = prepare("SELECT value FROM preferences WHERE key = ?1");
}

void RawStore::commit(const std::string& key, const std::string& bytes) {
  step(begin_);
  sqlite3_bind_text(upsert_.get(), 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  sqlite3_bind_blob(upsert_.get(), 2, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
  step(upsert_);
  step(commit_);
}

std::string RawStore::read(const std::string& key) {
  sqlite3_bind_text(select_.get(), 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  std::string value;
  if (sqlite3_step(select_.get()) == SQLITE_ROW) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(select_.get(), 0));
    value.assign(bytes, bytes + sqlite3_column_bytes(select_.get(), 0));
  }
  sqlite3_reset(select_.get());
  return value;
}

RawStore::Statement RawStore::prepare(const char* sql) const {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(handle_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  return Statement(statement);
}

void RawStore::step(const Statement& statement) {
  sqlite3_step(statement.get());
  sqlite3_reset(statement.get());
}

}  // namespace corvane::bench
