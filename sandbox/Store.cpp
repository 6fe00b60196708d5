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

// Marks a file as this program's ("cvsb"), so that it never writes to another program's database.
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

/// The first value of the first row, or null.
json valueIn(const json& rows) {
  return rows.empty() ? json() : *rows[0].begin();
}

void requireOwnFile(Database& database) {
  const json found = valueIn(database.run("PRAGMA application_id"));
  if (found == applicationID) return;
  if (found != 0 || valueIn(database.run("SELECT count(*) FROM sqlite_master")) != 0)
    throw std::runtime_error("the data file belongs to another program");
  database.runAll("PRAGMA application_id = " + std::to_string(applicationID));
}

std::optional<Click> firstClick(const json& rows) {
  if (rows.empty()) return std::nullopt;
  const json& row = rows[0];
  const auto text = [&row](const char* name) {
    return row[name].is_null() ? "" : row[name].get<std::string>();
  };
  return Click{.id = row["id"],
               .token = text("token"),
               .slug = text("slug"),
               .at = row["at"],
               .owner = text("owner"),
               .match = text("match")};
}

json nullIfEmpty(const std::string& text) {
  return text.empty() ? json() : json(text);
}

/// Parses that member of each row, which is JSON text or null.
void parseMember(json& rows, const char* name) {
  for (json& row : rows) row[name] = row[name].is_null() ? json() : json::parse(row[name].get<std::string>());
}

/// Replaces each row by its document with the row's other columns added.
void mergeDocuments(json& rows) {
  for (json& row : rows) {
    json document = json::parse(row["document"].get<std::string>());
    row.erase("document");
    document.update(row);
    row = std::move(document);
  }
}

}  // namespace

Store::Store(const std::string& path) : database_(path) {
  requireOwnFile(database_);
  database_.runAll(schema);
}

bool Store::putLink(const std::string& slug, const json& link, double now) {
  if (!this->link(slug) && valueIn(database_.run("SELECT count(*) FROM links")) >= maxLinks) return false;
  database_.run("INSERT OR REPLACE INTO links (slug, created, document) VALUES (?, ?, ?)",
                {slug, now, asText(link)});
  return true;
}

std::optional<json> Store::link(const std::string& slug) {
  const json document = valueIn(database_.run("SELECT document FROM links WHERE slug = ?", {slug}));
  if (document.is_null()) return std::nullopt;
  return json::parse(document.get<std::string>());
}

json Store::links(std::int64_t limit) {
  json rows = database_.run(
      "SELECT document, created AS at FROM (SELECT * FROM links ORDER BY created DESC LIMIT ?) ORDER BY "
      "created",
      {limit});
  mergeDocuments(rows);
  return rows;
}

Click Store::addClick(const std::string& slug, const std::string& token, double at) {
  database_.run("INSERT INTO clicks (token, slug, at) VALUES (?, ?, ?)", {token, slug, at});
  Click click{.id = database_.lastRow(), .token = token, .slug = slug, .at = at};
  database_.run("DELETE FROM clicks WHERE id <= (SELECT id FROM clicks ORDER BY id DESC LIMIT 1 OFFSET ?)",
                {maxClicks});
  return click;
}

std::optional<Click> Store::clickByToken(const std::string& token, const std::string& owner) {
  return firstClick(
      database_.run("SELECT * FROM clicks WHERE token = ? AND (owner IS NULL OR owner = ?)", {token, owner}));
}

std::optional<Click> Store::clickOfOwner(const std::string& owner) {
  return firstClick(
      database_.run("SELECT * FROM clicks WHERE owner = ? ORDER BY at DESC, id DESC LIMIT 1", {owner}));
}

std::optional<Click> Store::latestFreeClick(double since) {
  return firstClick(database_.run(
      "SELECT * FROM clicks WHERE owner IS NULL AND at >= ? ORDER BY at DESC, id DESC LIMIT 1", {since}));
}

void Store::giveClick(std::int64_t click, const std::string& owner, const std::string& match) {
  database_.run("UPDATE clicks SET owner = ?, match = ? WHERE id = ?", {owner, match, click});
}

std::int64_t Store::addRecord(const std::string& kind, const std::string& key, const std::string& device,
                              const json& document, double now) {
  database_.run("INSERT INTO records (kind, at, key, device, document) VALUES (?, ?, ?, ?, ?)",
                {kind, now, nullIfEmpty(key), device, asText(document)});
  const std::int64_t number = database_.lastRow();
  database_.run(
      "DELETE FROM records WHERE kind = ?1 AND id <="
      " (SELECT id FROM records WHERE kind = ?1 ORDER BY id DESC LIMIT 1 OFFSET ?2)",
      {kind, maxRecordsOfAKind});
  return number;
}

bool Store::isAttributedDevice(const std::string& device) {
  return !database_
              .run(
                  "SELECT 1 FROM records WHERE kind = 'installs' AND device = ?"
                  " AND json_extract(document, '$.answer.attributed')",
                  {device})
              .empty();
}

std::int64_t Store::addArrival(const json& arrival) {
  database_.run(
      "INSERT INTO arrivals (at, method, path, query, headers, body, key, status, note)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
      {arrival.at("at"), arrival.at("method"), arrival.at("path"), arrival.at("query"),
       asText(arrival.at("headers")), arrival.at("body"), arrival.at("key"), arrival.at("status"),
       arrival.at("note")});
  const std::int64_t number = database_.lastRow();
  database_.run(
      "DELETE FROM arrivals WHERE id <= (SELECT id FROM arrivals ORDER BY id DESC LIMIT 1 OFFSET ?)",
      {maxArrivals});
  if (arrival.at("key") == "") return number;
  database_.run(
      "INSERT INTO keys (path, key, arrivals) VALUES (?, ?, 1)"
      " ON CONFLICT (path, key) DO UPDATE SET arrivals = arrivals + 1",
      {arrival.at("path"), arrival.at("key")});
  database_.run(
      "DELETE FROM keys WHERE number <= (SELECT number FROM keys ORDER BY number DESC LIMIT 1 OFFSET ?)",
      {maxKeys});
  return number;
}

std::optional<std::string> Store::keptAnswer(const std::string& path, const std::string& key) {
  const json answer =
      valueIn(database_.run("SELECT answer FROM keys WHERE path = ? AND key = ?", {path, key}));
  return answer.is_null() ? std::nullopt : std::optional(answer.get<std::string>());
}

void Store::keepAnswer(const std::string& path, const std::string& key, const std::string& body) {
  database_.run(
      "INSERT INTO keys (path, key, arrivals, answer) VALUES (?, ?, 0, ?)"
      " ON CONFLICT (path, key) DO UPDATE SET answer = excluded.answer",
      {path, key, body});
}

json Store::counts() {
  json counts = database_.run(
      "SELECT (SELECT count(*) FROM links) AS links, (SELECT count(*) FROM clicks) AS clicks")[0];
  for (const char* kind : recordKinds)
    counts[kind] = valueIn(database_.run("SELECT count(*) FROM records WHERE kind = ?", {kind}));
  return counts;
}

json Store::records(std::int64_t limit) {
  json all = {{"links", links(limit)}};
  all["clicks"] = database_.run(
      "SELECT token, slug, at, owner AS matchedBy, match"
      " FROM (SELECT * FROM clicks ORDER BY id DESC LIMIT ?) ORDER BY id",
      {limit});
  all["keys"] = database_.run(
      "SELECT path, key, arrivals, answer"
      " FROM (SELECT * FROM keys ORDER BY number DESC LIMIT ?) ORDER BY number",
      {limit});
  parseMember(all["keys"], "answer");
  all["arrivals"] = database_.run(
      "SELECT id AS number, at, method, path, query, headers, body, status, note"
      " FROM (SELECT * FROM arrivals ORDER BY id DESC LIMIT ?) ORDER BY id",
      {limit});
  parseMember(all["arrivals"], "headers");
  for (const char* kind : recordKinds) {
    all[kind] = database_.run(
        "SELECT id, at, key, document"
        " FROM (SELECT * FROM records WHERE kind = ? ORDER BY id DESC LIMIT ?) ORDER BY id",
        {kind, limit});
    mergeDocuments(all[kind]);
  }
  return all;
}

void Store::clearRecords() {
  database_.runAll("DELETE FROM clicks; DELETE FROM records; DELETE FROM keys; DELETE FROM arrivals;");
}

}  // namespace corvane::sandbox
