#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "Database.h"

namespace corvane::sandbox {

/// A visit of a campaign's landing page.
struct Click {
  std::int64_t id = 0;
  std::string token;  // 32 lower-case hexadecimal digits
  std::string slug;
  double at = 0;
  std::string owner = {};  // the device that it is matched with, or empty while it is free
  std::string match = {};  // how: "deterministic" or "probabilistic"
};

/// The records: campaign links, clicks, requests, and the answers kept for repeated requests. Each list is
/// bounded; when it is full, the oldest rows are deleted. Times are seconds since 1970.
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
  /// The click with that token, unless it is matched with another owner.
  std::optional<Click> clickByToken(const std::string& token, const std::string& owner);
  /// The click that the owner is matched with.
  std::optional<Click> clickOfOwner(const std::string& owner);
  std::optional<Click> latestFreeClick(double since);
  void giveClick(std::int64_t click, const std::string& owner, const std::string& match);

  /// Adds a record of that kind ("installs", "opens", …) and returns its number.
  std::int64_t addRecord(const std::string& kind, const std::string& key, const std::string& device,
                         const nlohmann::json& document, double now);
  /// Whether that device's recorded install was attributed.
  bool isAttributedDevice(const std::string& device);

  /// Adds a request that reached the backend, and returns its number. The object has the members of the row
  /// and, as `key`, the idempotency key or an empty string.
  std::int64_t addArrival(const nlohmann::json& arrival);

  /// The answer to an earlier request with that idempotency key.
  std::optional<std::string> keptAnswer(const std::string& path, const std::string& key);
  void keepAnswer(const std::string& path, const std::string& key, const std::string& body);

  /// The number of links, clicks, installs, …
  nlohmann::json counts();
  /// Everything, the newest `limit` rows of each list, oldest first.
  nlohmann::json records(std::int64_t limit);
  /// Deletes everything but the links.
  void clearRecords();

 private:
  Database database_;
};

}  // namespace corvane::sandbox
