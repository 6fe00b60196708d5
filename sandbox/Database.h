#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

struct sqlite3;
struct sqlite3_stmt;

namespace corvane::sandbox {

/// One statement of a `Database`, with values bound in order from 1 and columns read from 0.
class Statement {
 public:
  Statement(sqlite3* database, const char* sql);

  /// True when there is a row to read; false when the statement is done. Throws on failure.
  bool step();

  bool isNull(int column) const;
  std::string text(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;

  void bind(int index, const std::string& value);
  void bind(int index, std::int64_t value);
  void bind(int index, double value);
  template <class Value>
  void bind(int index, const std::optional<Value>& value) {
    if (value) bind(index, *value);  // an unbound parameter is NULL
  }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };
  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// A connection to an SQLite database. Failures are thrown as `std::runtime_error` with SQLite's own text.
class Database {
 public:
  /// `path` may be ":memory:".
  explicit Database(const std::string& path);

  void script(const char* sql);

  template <class... Values>
  Statement query(const char* sql, const Values&... values) {
    Statement statement(connection_.get(), sql);
    int index = 0;
    (statement.bind(++index, values), ...);
    return statement;
  }

  template <class... Values>
  void run(const char* sql, const Values&... values) {
    Statement statement = query(sql, values...);
    while (statement.step()) {
    }
  }

  std::int64_t lastRow() const;

 private:
  struct Closer {
    void operator()(sqlite3* connection) const;
  };
  std::unique_ptr<sqlite3, Closer> connection_;
};

/// What is written while it lives becomes lasting by `commit`, all of it, or else none of it.
class Transaction {
 public:
  explicit Transaction(Database& database) : database_(database) { database_.script("BEGIN IMMEDIATE"); }
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
  bool done_ = false;
};

}  // namespace corvane::sandbox
