#include "Database.h"

#include <sqlite3.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace corvane::sandbox {
namespace {

using nlohmann::json;

bool bind(sqlite3_stmt* statement, int index, const json& value) {
  if (value.is_null()) return sqlite3_bind_null(statement, index) == SQLITE_OK;
  if (value.is_number_float()) return sqlite3_bind_double(statement, index, value) == SQLITE_OK;
  if (value.is_number()) return sqlite3_bind_int64(statement, index, value) == SQLITE_OK;
  const auto& text = value.get_ref<const std::string&>();
  return sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8) ==
         SQLITE_OK;
}

json valueOf(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return nullptr;
    case SQLITE_INTEGER:
      return sqlite3_column_int64(statement, column);
    case SQLITE_FLOAT:
      return sqlite3_column_double(statement, column);
    default:
      return std::string(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                         static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  }
}

}  // namespace

Database::Database(const std::string& path) {
  sqlite3* connection = nullptr;
  const int result =
      sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) fail();
  sqlite3_busy_timeout(connection, 2000);
}

json Database::run(const char* sql, std::initializer_list<json> values) {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v2(connection_.get(), sql, -1, &prepared, nullptr) != SQLITE_OK) fail();
  const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(prepared, sqlite3_finalize);
  int index = 0;
  for (const json& value : values) {
    if (!bind(prepared, ++index, value)) fail();
  }
  json rows = json::array();
  int result = 0;
  while ((result = sqlite3_step(prepared)) == SQLITE_ROW) {
    json& row = rows.emplace_back(json::object());
    for (int column = 0; column < sqlite3_column_count(prepared); ++column)
      row[sqlite3_column_name(prepared, column)] = valueOf(prepared, column);
  }
  if (result != SQLITE_DONE) fail();
  return rows;
}

void Database::runAll(const std::string& sql) {
  if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

std::int64_t Database::lastRow() const {
  return sqlite3_last_insert_rowid(connection_.get());
}

void Database::fail() const {
  throw std::runtime_error(std::string("the data file: ") +
                           (connection_ ? sqlite3_errmsg(connection_.get()) : "no memory"));
}

void Database::Closer::operator()(sqlite3* connection) const {
  sqlite3_close_v2(connection);
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.runAll("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (isDone_) return;
  try {
    database_.runAll("ROLLBACK");
  } catch (const std::exception&) {
    // SQLite rolls back by itself after the failures that make ROLLBACK fail.
  }
}

void Transaction::commit() {
  database_.runAll("COMMIT");
  isDone_ = true;
}

}  // namespace corvane::sandbox
