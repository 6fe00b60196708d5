#include "platform/PreferencesDatabase.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <thread>
#include <utility>

#include "platform/PreferencesFailure.h"
#include "platform/PreferencesFile.h"

namespace corvane::platform {
namespace {

using Kind = PreferencesFailure::Kind;

constexpr int ourApplicationId = 0x4352564E;  // "CRVN"
constexpr int ourFormat = 1;
constexpr const char* ourTable =
    "CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID";

struct HandleCloser {
  void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
};
struct StatementCloser {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

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

/// How a connection shares the file.
enum class Access {
  shared,  ///< with other processes, through the memory that SQLite maps from the file beside it
  alone,   ///< locked against them: needs no such memory, so that a full disk can still be read
  frozen,  ///< as if nobody could ever write it: for a place where not even an empty log can be made
};

/// An idle statement holds no lock and no snapshot, whichever way its use ended.
class StatementUse {
 public:
  explicit StatementUse(const Statement& statement) : statement_(statement.get()) {}
  ~StatementUse() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  StatementUse(const StatementUse&) = delete;
  StatementUse& operator=(const StatementUse&) = delete;

 private:
  sqlite3_stmt* statement_;
};

std::string uriOf(const std::filesystem::path& file) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char character : file.native()) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '/' || (byte < 0x80 && std::isalnum(byte) != 0)) {
      uri += character;
    } else {
      uri += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return uri;
}

}  // namespace

/// The handle with its prepared statements. Statements come after the handle, so that they are closed before
/// it.
struct PreferencesDatabase::Connection {
  std::unique_ptr<sqlite3, HandleCloser> handle;
  Statement begin, commit, select, upsert, remove;
  TimePoint waitUntil{};
  pid_t process = ::getpid();
  Access access = Access::shared;

  void open(const std::filesystem::path& file, Access wanted) {
    access = wanted;
    const bool immutable = access == Access::frozen;
    const std::string name = immutable ? uriOf(file) + "?immutable=1" : file.native();
    const int flags =
        SQLITE_OPEN_NOMUTEX | (immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE);
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
    handle.reset(opened);
    check(code);
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, static_cast<int>(maximumSize + 4096));
    sqlite3_busy_handler(opened, &Connection::waitForHolder, this);
    execute("PRAGMA trusted_schema = OFF");
    if (access == Access::alone) execute("PRAGMA locking_mode = EXCLUSIVE");
  }

  void check(int code) const {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return;
    throw PreferencesFailure(kindOf(code), sqlite3_errstr(code));
  }

  void execute(const char* sql) const { check(sqlite3_exec(handle.get(), sql, nullptr, nullptr, nullptr)); }

  Statement prepare(const char* sql) const {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v3(handle.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return Statement(statement);
  }

  void run(const Statement& statement) const {
    const StatementUse use(statement);
    check(sqlite3_step(statement.get()));
  }

  int number(const char* sql) const {
    const Statement statement = prepare(sql);
    check(sqlite3_step(statement.get()));
    return sqlite3_column_int(statement.get(), 0);
  }

  void setLogStaysOnClose() const {
    sqlite3_db_config(handle.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }

  bool isEmpty() const {
    return number("PRAGMA application_id") == 0 && number("PRAGMA user_version") == 0 &&
           number("SELECT count(*) FROM sqlite_schema") == 0;
  }

  /// Two programs may find the same empty file; the second sees inside its transaction that nothing is left
  /// to do.
  void setUp() const {
    // Outside the transaction, as SQLite wants it. It fails while somebody else has the empty file open,
    // which is no harm: the next connection makes up for it.
    sqlite3_exec(handle.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
    execute("BEGIN IMMEDIATE");
    if (isEmpty()) {
      execute(ourTable);
      execute(("PRAGMA application_id = " + std::to_string(ourApplicationId)).c_str());
      execute(("PRAGMA user_version = " + std::to_string(ourFormat)).c_str());
    }
    execute("COMMIT");
  }

  void requireOurs() const {
    if (number("PRAGMA application_id") != ourApplicationId) {
      throw PreferencesFailure(Kind::foreign, "it is a database of another program");
    }
    if (const int format = number("PRAGMA user_version"); format != ourFormat) {
      throw PreferencesFailure(Kind::foreign,
                               "its format " + std::to_string(format) + " is that of a later version");
    }
    // Foreign tables and indexes do no harm; a trigger or a view would run whatever it says.
    const std::string ours =
        std::string("SELECT count(*) FILTER (WHERE type = 'table' AND sql = '") + ourTable +
        "') = 1 AND count(*) FILTER (WHERE type IN ('trigger', 'view')) = 0 FROM sqlite_schema";
    if (number(ours.c_str()) == 0) throw PreferencesFailure(Kind::unreadable, "its table is missing");
  }

  void prepareStatements() {
    if (access != Access::frozen) {
      sqlite3_exec(handle.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
      execute("PRAGMA synchronous = FULL");
    }
    begin = prepare("BEGIN IMMEDIATE");
    commit = prepare("COMMIT");
    select = prepare("SELECT value FROM preferences WHERE key = ?1");
    upsert = prepare(
        "INSERT INTO preferences (key, value) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET value = "
        "excluded.value");
    remove = prepare("DELETE FROM preferences WHERE key = ?1");
  }

  /// SQLite's own waiting knows only a time-out per lock; one access takes several, all before one deadline.
  static int waitForHolder(void* self, int) {
    const auto left = static_cast<Connection*>(self)->waitUntil - std::chrono::steady_clock::now();
    if (left <= left.zero()) return 0;
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, std::chrono::milliseconds(2)));
    return 1;
  }

  void bindText(const Statement& statement, int index, std::string_view text) const {
    check(sqlite3_bind_text(statement.get(), index, text.empty() ? "" : text.data(),
                            static_cast<int>(text.size()), SQLITE_STATIC));
  }

  void bindValue(const Statement& statement, int index, const PreferenceValue& value) const {
    if (const bool* flag = std::get_if<bool>(&value)) {
      check(sqlite3_bind_int(statement.get(), index, *flag ? 1 : 0));
    } else if (const std::string* text = std::get_if<std::string>(&value)) {
      bindText(statement, index, *text);
    } else {
      const std::string& bytes = std::get<PreferenceBytes>(value).bytes;
      check(sqlite3_bind_blob(statement.get(), index, bytes.data(), static_cast<int>(bytes.size()),
                              SQLITE_STATIC));
    }
  }

  std::optional<PreferenceValue> readValue(std::string_view key) const {
    const StatementUse use(select);
    bindText(select, 1, key);
    const int code = sqlite3_step(select.get());
    check(code);
    if (code != SQLITE_ROW) return std::nullopt;
    const auto bytes = [&] {
      const auto* first = static_cast<const char*>(sqlite3_column_blob(select.get(), 0));
      return std::string(first, first + sqlite3_column_bytes(select.get(), 0));
    };
    switch (sqlite3_column_type(select.get(), 0)) {
      case SQLITE_INTEGER:
        return sqlite3_column_int64(select.get(), 0) != 0;
      case SQLITE_TEXT:
        return bytes();
      case SQLITE_BLOB:
        return PreferenceBytes{bytes()};
      default:
        return std::nullopt;
    }
  }

  void writeChange(const std::string& key, const std::optional<PreferenceValue>& value) const {
    const Statement& statement = value ? upsert : remove;
    const StatementUse use(statement);
    bindText(statement, 1, key);
    if (value) bindValue(statement, 2, *value);
    check(sqlite3_step(statement.get()));
  }
};

PreferencesDatabase::PreferencesDatabase(std::filesystem::path file) : file_(std::move(file)) {}

PreferencesDatabase::~PreferencesDatabase() {
  close();
}

PreferencesDatabase::Result PreferencesDatabase::read(std::string_view key, TimePoint waitUntil,
                                                      std::optional<PreferenceValue>& value) {
  return attempt(waitUntil, [&] { value = connection_->readValue(key); });
}

PreferencesDatabase::Result PreferencesDatabase::write(const PreferenceChanges& changes,
                                                       TimePoint waitUntil) {
  return attempt(waitUntil, [&] {
    connection_->run(connection_->begin);
    for (const auto& [key, value] : changes) connection_->writeChange(key, value);
    connection_->run(connection_->commit);
  });
}

void PreferencesDatabase::close() {
  // Closing an inherited connection would act on the parent's behalf: it is left as it is.
  if (connection_ && connection_->process != ::getpid()) static_cast<void>(connection_.release());
  connection_.reset();
}

void PreferencesDatabase::disconnect() {
  if (!connection_ || connection_->process != ::getpid()) return;
  connection_->setLogStaysOnClose();
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
      connection_->waitUntil = waitUntil;
      try {
        step();
        return Result::done;
      } catch (const PreferencesFailure& failure) {
        // Damage is believed only when a fresh connection sees it too; an I/O error may have been a single
        // one.
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
  if (connection_->access != Access::shared) disconnect();
}

bool PreferencesDatabase::connectionStillGood() {
  if (!connection_) return false;
  if (connection_->process != ::getpid()) {
    throw PreferencesFailure(Kind::unusable, "the process was forked while it was open");
  }
  int moved = 0;
  sqlite3_file_control(connection_->handle.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved == 0;
}

void PreferencesDatabase::connect(const PreferencesFolderLock& folder, TimePoint waitUntil) {
  folder.createFileIfMissing();
  folder.requireRegularFiles();
  const auto open = [&](Access access) {
    disconnect();
    connection_ = std::make_unique<Connection>();
    connection_->waitUntil = waitUntil;
    connection_->open(file_, access);
    if (access != Access::frozen && connection_->isEmpty()) connection_->setUp();
    connection_->requireOurs();
    connection_->prepareStatements();
  };
  try {
    return open(Access::shared);
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unusable) throw;
  }
  try {
    return open(Access::alone);
  } catch (const PreferencesFailure& failure) {
    if (failure.kind != Kind::unusable || !folder.fileIsWhole()) throw;
  }
  open(Access::frozen);
}

}  // namespace corvane::platform
