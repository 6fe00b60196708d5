#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>

namespace corvane::bench {

/// A preferences file written with SQLite alone: the same table, log and durability as the library's.
class RawStore {
 public:
  explicit RawStore(const std::filesystem::path& file);

  /// Replaces the value in one transaction.
  void commit(const std::string& key, const std::string& bytes);
  std::string read(const std::string& key);

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  Statement prepare(const char* sql) const;
  static void step(const Statement& statement);

  std::unique_ptr<sqlite3, Close> handle_;
  Statement begin_, commit_, upsert_, select_;
};

}  // namespace corvane::bench
