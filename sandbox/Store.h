#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "Database.h"

namespace corvane::sandbox {

/// A visitor's press on a landing page, or the visit itself.
struct Click {
  std::int64_t id = 0;
  std::string token;  // 32 lower-case hexadecimal digits
  std::string slug;
  double at = 0;
  std::string owner = {};  // the device that it is matched with, empty while it is free
  std::string match = {};  // how: "deterministic" or "probabilistic"
};

/// One request that reached the backend, whatever came of it.
struct Arrival {
  std::string method;
  std::string path;
  std::string query;
  std::string headers;  // a JSON object as text
  std::string body;
  std::string key;        // its Idempotency-Key, empty without one
  unsigned status = 0;    // of the answer; 0 when none was given
  std::string note = {};  // what came of it, in words
};

/// What is recorded: campaign links, clicks, what the endpoints took in, and the answers kept for replays.
/// Each list is bounded: the oldest rows go when it is full. Times are seconds since 1970.
class Store {
 public:
  /// Opens or creates the file; ":memory:" keeps everything in memory. Throws when the file cannot be used.
  explicit Store(const std::string& path);

  Database& database() { return database_; }

  /// False when the list of links is full.
  bool putLink(const std::string& slug, const nlohmann::json& link, double now);
  std::optional<nlohmann::json> link(const std::string& slug);
  /// The newest `limit` links, oldest first.
  nlohmann::json links(std::int64_t limit);

  Click addClick(const std::string& slug, const std::string& token, double at);
  /// The click of that token, unless another owner has it.
  std::optional<Click> clickByToken(const std::string& token, const std::string& owner);
  /// The click that became the owner's match.
  std::optional<Click> clickOfOwner(const std::string& owner);
  std::optional<Click> latestFreeClick(double since);
  void giveClick(std::int64_t click, const std::string& owner, const std::string& match);

  /// Adds a row of the kind ("installs", "opens", …) and gives its number.
  std::int64_t addRecord(const std::string& kind, const std::string& key, const std::string& device,
                         const nlohmann::json& document, double now);
  /// Whether that device's recorded install was attributed.
  bool isAttributedDevice(const std::string& device);

  /// Gives the arrival's number.
  std::int64_t addArrival(const Arrival& arrival, double now);

  /// The answer that was given under that idempotency key, to be given again.
  std::optional<std::string> keptAnswer(const std::string& path, const std::string& key);
  void keepAnswer(const std::string& path, const std::string& key, const std::string& body);

  /// How many links, clicks, installs, … are recorded at this moment.
  nlohmann::json counts();
  /// Everything, the newest `limit` rows of each list, oldest first.
  nlohmann::json records(std::int64_t limit);
  /// Forgets everything but the links.
  void clearRecords();

 private:
  Database database_;
};

}  // namespace corvane::sandbox
