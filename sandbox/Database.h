#pragma once

#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

struct sqlite3;

namespace corvane::sandbox {

/// A connection to an SQLite database. Failures throw `std::runtime_error` with SQLite's own text.
class Database {
 public:
  /// `path` may be ":memory:".
  explicit Database(const std::string& path);

  /// Runs one statement with a value for each "?": null, a number or a string. Returns its rows as an array
  /// of objects, whose members are named after the columns.
  nlohmann::json run(const char* sql, std::initializer_list<nlohmann::json> values = {});

  /// Runs several statements.
  void runAll(const std::string& sql);

  /// The number of the row that was inserted last.
  std::int64_t lastRow() const;

 private:
  [[noreturn]] void fail() const;

  struct Closer {
    void operator()(sqlite3* connection) const;
  };
  std::unique_ptr<sqlite3, Closer> connection_;
};

/// The writes made during its lifetime take effect together in `commit`, or not at all.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
  bool isDone_ = false;
};

}  // namespace corvane::sandbox
