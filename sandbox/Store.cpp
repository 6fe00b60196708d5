#include "Store.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "JSONText.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::int64_t maxLinks = 1000;
constexpr std::int64_t maxClicks = 10'000;
constexpr std::int64_t maxRecordsOfAKind = 1000;
constexpr std::int64_t maxArrivals = 1000;
constexpr std::int64_t maxKeys = 10'000;

constexpr const char* recordKinds[] = {"installs", "uncountedInstalls", "opens", "events", "resolves"};

// Marks a file as this program's ("cvsb"), so that no other database is written to.
constexpr std::int64_t applicationID = 0x63767362;

constexpr auto schema = R"sql(
  PRAGMA journal_mode = WAL;
  PRAGMA synchronous = NORMAL;
  CREATE TABLE IF NOT EXISTS links (slug TEXT PRIMARY KEY, created REAL, document TEXT);
  CREATE TABLE IF NOT EXISTS clicks (id INTEGER PRIMARY KEY AUTOINCREMENT, token TEXT UNIQUE, slug TEXT, at REAL,
                                     owner TEXT, match TEXT);
  CREATE TABLE IF NOT EXISTS records (id INTEGER PRIMARY KEY AUTOINCREMENT, kind TEXT, at REAL, key TEXT,
                                      device TEXT, document TEXT);
  CREATE INDEX IF NOT EXISTS records_of_a_kind ON records (kind, id);
  CREATE TABLE IF NOT EXISTS keys (number INTEGER PRIMARY KEY AUTOINCREMENT, path TEXT, key TEXT,
                                   arrivals INTEGER, answer TEXT, UNIQUE (path, key));
  CREATE TABLE IF NOT EXISTS arrivals (id INTEGER PRIMARY KEY AUTOINCREMENT, at REAL, method TEXT, path TEXT,
                                       query TEXT, headers TEXT, body TEXT, key TEXT, status INTEGER, note TEXT);
)sql";

std::int64_t firstNumber(Statement statement) {
  return statement.step() ? statement.integer(0) : 0;
}

void requireOwnFile(Database& database) {
  const std::int64_t found = firstNumber(database.query("PRAGMA application_id"));
  if (found == applicationID) return;
  if (found != 0 || firstNumber(database.query("SELECT count(*) FROM sqlite_master")) != 0)
    throw std::runtime_error("the data file is a database of another program");
  database.script(("PRAGMA application_id = " + std::to_string(applicationID)).c_str());
}

std::optional<Click> readClick(Statement statement) {
  if (!statement.step()) return std::nullopt;
  return Click{.id = statement.integer(0),
               .token = statement.text(1),
               .slug = statement.text(2),
               .at = statement.real(3),
               .owner = statement.text(4),
               .match = statement.text(5)};
}

json textOrNull(const Statement& statement, int column) {
  return statement.isNull(column) ? json(nullptr) : json(statement.text(column));
}

json clickRows(Database& database, std::int64_t limit) {
  json rows = json::array();
  Statement clicks = database.query(
      "SELECT token, slug, at, owner, match FROM (SELECT * FROM clicks ORDER BY id DESC LIMIT ?) ORDER BY id",
      limit);
  while (clicks.step()) {
    rows.push_back({{"token", clicks.text(0)},
                    {"slug", clicks.text(1)},
                    {"at", clicks.real(2)},
                    {"matchedBy", textOrNull(clicks, 3)},
                    {"match", textOrNull(clicks, 4)}});
  }
  return rows;
}

json recordRows(Database& database, const std::string& kind, std::int64_t limit) {
  json rows = json::array();
  Statement records = database.query(
      "SELECT id, at, key, document FROM (SELECT * FROM records WHERE kind = ? ORDER BY id DESC LIMIT ?) "
      "ORDER BY id",
      kind, limit);
  while (records.step()) {
    rows.push_back(json::parse(records.text(3)));
    rows.back()["id"] = records.integer(0);
    rows.back()["at"] = records.real(1);
    rows.back()["key"] = textOrNull(records, 2);
  }
  return rows;
}

json keyRows(Database& database, std::int64_t limit) {
  json rows = json::array();
  Statement keys = database.query(
      "SELECT path, key, arrivals, answer FROM (SELECT * FROM keys ORDER BY number DESC LIMIT ?) ORDER BY "
      "number",
      limit);
  while (keys.step()) {
    rows.push_back({{"path", keys.text(0)},
                    {"key", keys.text(1)},
                    {"arrivals", keys.integer(2)},
                    {"answer", keys.isNull(3) ? json(nullptr) : json::parse(keys.text(3))}});
  }
  return rows;
}

json arrivalRows(Database& database, std::int64_t limit) {
  json rows = json::array();
  Statement arrivals = database.query(
      "SELECT id, at, method, path, query, headers, body, status, note"
      " FROM (SELECT * FROM arrivals ORDER BY id DESC LIMIT ?) ORDER BY id",
      limit);
  while (arrivals.step()) {
    rows.push_back({{"number", arrivals.integer(0)},
                    {"at", arrivals.real(1)},
                    {"method", arrivals.text(2)},
                    {"path", arrivals.text(3)},
                    {"query", arrivals.text(4)},
                    {"headers", json::parse(arrivals.text(5))},
                    {"body", arrivals.text(6)},
                    {"status", arrivals.integer(7)},
                    {"note", arrivals.text(8)}});
  }
  return rows;
}

}  // namespace

Store::Store(const std::string& path) : database_(path) {
  requireOwnFile(database_);
  database_.script(schema);
}

bool Store::putLink(const std::string& slug, const json& link, double now) {
  if (!this->link(slug) && firstNumber(database_.query("SELECT count(*) FROM links")) >= maxLinks)
    return false;
  database_.run("INSERT OR REPLACE INTO links (slug, created, document) VALUES (?, ?, ?)", slug, now,
                asText(link));
  return true;
}

std::optional<json> Store::link(const std::string& slug) {
  Statement statement = database_.query("SELECT document FROM links WHERE slug = ?", slug);
  if (!statement.step()) return std::nullopt;
  return json::parse(statement.text(0));
}

json Store::links(std::int64_t limit) {
  json rows = json::array();
  Statement statement = database_.query(
      "SELECT document, created FROM (SELECT * FROM links ORDER BY created DESC LIMIT ?) ORDER BY created",
      limit);
  while (statement.step()) {
    rows.push_back(json::parse(statement.text(0)));
    rows.back()["at"] = statement.real(1);
  }
  return rows;
}

Click Store::addClick(const std::string& slug, const std::string& token, double at) {
  database_.run("INSERT INTO clicks (token, slug, at) VALUES (?, ?, ?)", token, slug, at);
  Click click{.id = database_.lastRow(), .token = token, .slug = slug, .at = at};
  database_.run("DELETE FROM clicks WHERE id <= (SELECT id FROM clicks ORDER BY id DESC LIMIT 1 OFFSET ?)",
                maxClicks);
  return click;
}

std::optional<Click> Store::clickByToken(const std::string& token, const std::string& owner) {
  return readClick(database_.query(
      "SELECT id, token, slug, at, owner, match FROM clicks WHERE token = ? AND (owner IS NULL OR owner = ?)",
      token, owner));
}

std::optional<Click> Store::clickOfOwner(const std::string& owner) {
  return readClick(
      database_.query("SELECT id, token, slug, at, owner, match FROM clicks WHERE owner = ? ORDER BY at "
                      "DESC, id DESC LIMIT 1",
                      owner));
}

std::optional<Click> Store::latestFreeClick(double since) {
  return readClick(
      database_.query("SELECT id, token, slug, at, owner, match FROM clicks WHERE owner IS NULL AND at >= ? "
                      "ORDER BY at DESC, id DESC LIMIT 1",
                      since));
}

void Store::giveClick(std::int64_t click, const std::string& owner, const std::string& match) {
  database_.run("UPDATE clicks SET owner = ?, match = ? WHERE id = ?", owner, match, click);
}

std::int64_t Store::addRecord(const std::string& kind, const std::string& key, const std::string& device,
                              const json& document, double now) {
  const std::optional<std::string> presentKey = key.empty() ? std::nullopt : std::optional(key);
  database_.run("INSERT INTO records (kind, at, key, device, document) VALUES (?, ?, ?, ?, ?)", kind, now,
                presentKey, device, asText(document));
  const std::int64_t number = database_.lastRow();
  database_.run(
      "DELETE FROM records WHERE kind = ?1 AND id <="
      " (SELECT id FROM records WHERE kind = ?1 ORDER BY id DESC LIMIT 1 OFFSET ?2)",
      kind, maxRecordsOfAKind);
  return number;
}

bool Store::isAttributedDevice(const std::string& device) {
  return firstNumber(database_.query("SELECT 1 FROM records WHERE kind = 'installs' AND device = ?"
                                     " AND json_extract(document, '$.answer.attributed')",
                                     device)) != 0;
}

std::int64_t Store::addArrival(const Arrival& arrival, double now) {
  database_.run(
      "INSERT INTO arrivals (at, method, path, query, headers, body, key, status, note)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
      now, arrival.method, arrival.path, arrival.query, arrival.headers, arrival.body, arrival.key,
      std::int64_t{arrival.status}, arrival.note);
  const std::int64_t number = database_.lastRow();
  database_.run(
      "DELETE FROM arrivals WHERE id <= (SELECT id FROM arrivals ORDER BY id DESC LIMIT 1 OFFSET ?)",
      maxArrivals);
  if (arrival.key.empty()) return number;
  database_.run(
      "INSERT INTO keys (path, key, arrivals) VALUES (?, ?, 1)"
      " ON CONFLICT (path, key) DO UPDATE SET arrivals = arrivals + 1",
      arrival.path, arrival.key);
  database_.run(
      "DELETE FROM keys WHERE number <= (SELECT number FROM keys ORDER BY number DESC LIMIT 1 OFFSET ?)",
      maxKeys);
  return number;
}

std::optional<std::string> Store::keptAnswer(const std::string& path, const std::string& key) {
  Statement statement =
      database_.query("SELECT answer FROM keys WHERE path = ? AND key = ? AND answer IS NOT NULL", path, key);
  if (!statement.step()) return std::nullopt;
  return statement.text(0);
}

void Store::keepAnswer(const std::string& path, const std::string& key, const std::string& body) {
  database_.run(
      "INSERT INTO keys (path, key, arrivals, answer) VALUES (?, ?, 0, ?)"
      " ON CONFLICT (path, key) DO UPDATE SET answer = excluded.answer",
      path, key, body);
}

json Store::counts() {
  json counts = {{"links", firstNumber(database_.query("SELECT count(*) FROM links"))},
                 {"clicks", firstNumber(database_.query("SELECT count(*) FROM clicks"))}};
  for (const char* kind : recordKinds)
    counts[kind] =
        firstNumber(database_.query("SELECT count(*) FROM records WHERE kind = ?", std::string(kind)));
  return counts;
}

json Store::records(std::int64_t limit) {
  json all = {{"links", links(limit)},
              {"clicks", clickRows(database_, limit)},
              {"keys", keyRows(database_, limit)},
              {"arrivals", arrivalRows(database_, limit)}};
  for (const char* kind : recordKinds) all[kind] = recordRows(database_, kind, limit);
  return all;
}

void Store::clearRecords() {
  database_.script("DELETE FROM clicks; DELETE FROM records; DELETE FROM keys; DELETE FROM arrivals;");
}

}  // namespace corvane::sandbox
