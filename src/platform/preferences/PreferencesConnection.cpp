#include "platform/preferences/PreferencesConnection.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "platform/preferences/PreferencesDatabase.h"
#include "platform/preferences/PreferencesFailure.h"

namespace corvane::platform {
namespace {

using Kind = PreferencesFailure::Kind;

constexpr int ourApplicationId = 0x4352564E;  // "CRVN"
constexpr int ourFormat = 1;
constexpr const char* ourTable =
    "CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID";

std::atomic<int> openConnections = 0;
/// The process that opened them.
std::atomic<pid_t> openedBy = 0;

Kind kindOf(int code) {
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return Kind::busy;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return Kind::unreadable;
    default:
      return Kind::unusable;
  }
}

void check(int code) {
  if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return;
  throw PreferencesFailure(kindOf(code), sqlite3_errstr(code));
}

/// Resets the statement in any case: one that is not reset keeps its lock and its snapshot.
class StatementUse {
 public:
  explicit StatementUse(sqlite3_stmt* statement) : statement_(statement) {}
  ~StatementUse() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  StatementUse(const StatementUse&) = delete;
  StatementUse& operator=(const StatementUse&) = delete;

 private:
  sqlite3_stmt* statement_;
};

std::string immutableURI(const std::filesystem::path& file) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char character : file.native()) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '/') {
      uri += character;
    } else {
      uri += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return uri + "?immutable=1";
}

void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  check(sqlite3_bind_text(statement, index, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC));
}

void bindValue(sqlite3_stmt* statement, int index, const PreferenceValue& value) {
  if (const bool* flag = std::get_if<bool>(&value)) {
    check(sqlite3_bind_int(statement, index, *flag ? 1 : 0));
  } else if (const std::string* text = std::get_if<std::string>(&value)) {
    bindText(statement, index, *text);
  } else {
    const std::string& bytes = std::get<PreferenceBytes>(value).bytes;
    check(sqlite3_bind_blob(statement, index, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC));
  }
}

std::optional<PreferenceValue> columnValue(sqlite3_stmt* statement) {
  const auto bytes = [statement] {
    const auto* first = static_cast<const char*>(sqlite3_column_blob(statement, 0));
    return std::string(first, first + sqlite3_column_bytes(statement, 0));
  };
  switch (sqlite3_column_type(statement, 0)) {
    case SQLITE_INTEGER:
      return sqlite3_column_int64(statement, 0) != 0;
    case SQLITE_TEXT:
      return bytes();
    case SQLITE_BLOB:
      return PreferenceBytes{bytes()};
    default:
      return std::nullopt;
  }
}

}  // namespace

PreferencesConnection::OpenCount::OpenCount() {
  openedBy = ::getpid();
  ++openConnections;
}

PreferencesConnection::OpenCount::~OpenCount() {
  --openConnections;
}

PreferencesConnection::PreferencesConnection(const std::filesystem::path& file, PreferencesAccess access,
                                             TimePoint waitUntil)
    : access_(access), waitUntil_(waitUntil) {
  openHandle(file);
  try {
    if (access_ != PreferencesAccess::immutable && isEmpty()) setUp();
    requireOurs();
    if (access_ != PreferencesAccess::immutable) useLog();
  } catch (const PreferencesFailure&) {
    // A file that is not ours, or that will be set aside, must not be written by closing it.
    keepLogOnClose();
    throw;
  }
}

std::optional<PreferenceValue> PreferencesConnection::read(std::string_view key) const {
  sqlite3_stmt* const select = preparedFrom(select_);
  const StatementUse use(select);
  bindText(select, 1, key);
  const int code = sqlite3_step(select);
  // This library writes no such value: it reads as absent, and may be replaced.
  if (code == SQLITE_TOOBIG) return std::nullopt;
  check(code);
  return code == SQLITE_ROW ? columnValue(select) : std::nullopt;
}

void PreferencesConnection::write(const PreferenceChanges& changes) const {
  run(begin_);
  for (const auto& change : changes) writeChange(change);
  run(commit_);
}

void PreferencesConnection::update(const PreferenceChanges& changes, std::string_view key,
                                   const PreferencesDatabase::Change& change) const {
  run(begin_);
  for (const auto& other : changes) writeChange(other);
  const std::optional<PreferenceValue> before = read(key);
  std::optional<PreferenceValue> after = change(before);
  if (after != before) writeChange({std::string(key), {.value = std::move(after)}});
  run(commit_);
}

bool PreferencesConnection::fileWasReplaced() const {
  int moved = 0;
  sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

bool PreferencesConnection::wereInherited() {
  return openConnections > 0 && openedBy != ::getpid();
}

void PreferencesConnection::keepLogOnClose() const {
  sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

/// SQLite's own time-out is per lock. One access takes several locks, and all of them share one deadline.
int PreferencesConnection::waitForHolder(void* self, int) {
  const auto left = static_cast<PreferencesConnection*>(self)->waitUntil_ - std::chrono::steady_clock::now();
  if (left <= left.zero()) return 0;
  std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, std::chrono::milliseconds(1)));
  return 1;
}

void PreferencesConnection::openHandle(const std::filesystem::path& file) {
  const bool immutable = access_ == PreferencesAccess::immutable;
  const std::string name = immutable ? immutableURI(file) : file.native();
  const int flags = immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(opened);
  check(code);
  // Against a forged file: no value above the limit is read, and its schema calls no function.
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, static_cast<int>(PreferencesDatabase::maximumSize + 4096));
  sqlite3_busy_handler(opened, &PreferencesConnection::waitForHolder, this);
  check(sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr));
  if (access_ == PreferencesAccess::exclusive) execute("PRAGMA locking_mode = EXCLUSIVE");
}

bool PreferencesConnection::isEmpty() const {
  return number("PRAGMA application_id") == 0 && number("PRAGMA user_version") == 0 &&
         number("SELECT count(*) FROM sqlite_schema") == 0;
}

/// Another program may set up the same file at the same time. So the transaction checks again.
void PreferencesConnection::setUp() const {
  // SQLite requires it outside a transaction. It may fail while another program has the empty file open: then
  // a later connection does it.
  sqlite3_exec(handle_.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
  execute("BEGIN IMMEDIATE");
  if (isEmpty()) {
    execute(ourTable);
    execute(("PRAGMA application_id = " + std::to_string(ourApplicationId)).c_str());
    execute(("PRAGMA user_version = " + std::to_string(ourFormat)).c_str());
  }
  execute("COMMIT");
}

void PreferencesConnection::requireOurs() const {
  if (number("PRAGMA application_id") != ourApplicationId) {
    throw PreferencesFailure(Kind::foreign, "it is a database of another program");
  }
  if (const int format = number("PRAGMA user_version"); format != ourFormat) {
    throw PreferencesFailure(Kind::foreign,
                             "its format " + std::to_string(format) + " is that of a later version");
  }
  if (!hasSoundSchema()) throw PreferencesFailure(Kind::unreadable, "its table is missing or changed");
}

/// Other tables are ignored. A trigger or a view would run code of the file, and an index on our table could
/// reject values. Compared here, because preparing a query that does it takes longer.
bool PreferencesConnection::hasSoundSchema() const {
  const Statement objects = prepare("SELECT type, tbl_name, sql FROM sqlite_schema");
  const auto column = [&](int number) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(objects.get(), number));
    return std::string_view(text == nullptr ? "" : text);
  };
  bool hasTable = false;
  int code = SQLITE_ROW;
  while ((code = sqlite3_step(objects.get())) == SQLITE_ROW) {
    const std::string_view type = column(0);
    if (type == "trigger" || type == "view") return false;
    if (type == "index" && column(1) == "preferences" && !column(2).empty()) return false;
    if (type == "table" && column(2) == ourTable) hasTable = true;
  }
  check(code);
  return hasTable;
}

void PreferencesConnection::useLog() const {
  // It may fail while another program has the file open in another mode.
  sqlite3_exec(handle_.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
  execute("PRAGMA synchronous = FULL");
}

void PreferencesConnection::execute(const char* sql) const {
  check(sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr));
}

int PreferencesConnection::number(const char* sql) const {
  const Statement statement = prepare(sql);
  check(sqlite3_step(statement.get()));
  return sqlite3_column_int(statement.get(), 0);
}

PreferencesConnection::Statement PreferencesConnection::prepare(const char* sql) const {
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v3(handle_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  return Statement(statement);
}

sqlite3_stmt* PreferencesConnection::preparedFrom(LazyStatement& statement) const {
  if (!statement.prepared) statement.prepared = prepare(statement.sql);
  return statement.prepared.get();
}

void PreferencesConnection::run(LazyStatement& statement) const {
  sqlite3_stmt* const prepared = preparedFrom(statement);
  const StatementUse use(prepared);
  check(sqlite3_step(prepared));
}

void PreferencesConnection::writeChange(const PreferenceChanges::value_type& change) const {
  const auto& [key, wanted] = change;
  const auto& [value, onlyIfAbsent] = wanted;
  sqlite3_stmt* const statement = preparedFrom(!value ? remove_ : onlyIfAbsent ? insert_ : upsert_);
  const StatementUse use(statement);
  bindText(statement, 1, key);
  if (value) bindValue(statement, 2, *value);
  check(sqlite3_step(statement));
}

}  // namespace corvane::platform
