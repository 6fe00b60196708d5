#include "Database.h"

#include <sqlite3.h>

#include <stdexcept>

namespace corvane::sandbox {
namespace {

[[noreturn]] void fail(sqlite3* connection) {
  throw std::runtime_error(std::string("the data file: ") +
                           (connection ? sqlite3_errmsg(connection) : "no memory"));
}

}  // namespace

Statement::Statement(sqlite3* database, const char* sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr);
  statement_.reset(statement);
  if (result != SQLITE_OK) fail(database_);
}

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

bool Statement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) fail(database_);
  return result == SQLITE_ROW;
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::string Statement::text(int column) const {
  const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  return data ? std::string(data, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)))
              : "";
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}
double Statement::real(int column) const {
  return sqlite3_column_double(statement_.get(), column);
}

void Statement::bind(int index, const std::string& value) {
  if (sqlite3_bind_text64(statement_.get(), index, value.data(), value.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8) != SQLITE_OK) {
    fail(database_);
  }
}

void Statement::bind(int index, std::int64_t value) {
  if (sqlite3_bind_int64(statement_.get(), index, value) != SQLITE_OK) fail(database_);
}

void Statement::bind(int index, double value) {
  if (sqlite3_bind_double(statement_.get(), index, value) != SQLITE_OK) fail(database_);
}

Database::Database(const std::string& path) {
  sqlite3* connection = nullptr;
  const int result =
      sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) fail(connection);
  sqlite3_busy_timeout(connection, 2000);
}

void Database::Closer::operator()(sqlite3* connection) const {
  sqlite3_close_v2(connection);
}

void Database::script(const char* sql) {
  if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(connection_.get());
}

std::int64_t Database::lastRow() const {
  return sqlite3_last_insert_rowid(connection_.get());
}

Transaction::~Transaction() {
  if (done_) return;
  try {
    database_.script("ROLLBACK");
  } catch (const std::exception&) {
    // SQLite rolls back by itself after the failures that make ROLLBACK fail.
  }
}

void Transaction::commit() {
  database_.script("COMMIT");
  done_ = true;
}

}  // namespace corvane::sandbox
