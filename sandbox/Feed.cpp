#include "Feed.h"

#include <nlohmann/json.hpp>

#include "JSONText.h"
#include "Links.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::int64_t shownRows = 100;

// The output of `asText` contains no line break, which would end the event.
std::string asEvent(const json& message) {
  return "data: " + asText(message) + "\n\n";
}

}  // namespace

std::string Feed::beginning(const std::string& origin) {
  json records = store_.records(shownRows);
  json message = {{"kind", "beginning"}, {"counts", counts()}};
  message["clicks"] = std::move(records["clicks"]);
  message["arrivals"] = std::move(records["arrivals"]);
  for (json& arrival : message["arrivals"]) arrival.erase("headers");
  message["links"] = json::array();
  for (json& link : records["links"]) message["links"].push_back(linkAnswer(std::move(link), origin));
  return "retry: 1000\n" + asEvent(message);
}

void Feed::announce(const std::string& kind, const json& row) {
  publish_(asEvent({{"kind", kind}, {"row", row}, {"counts", counts()}}));
}

json Feed::counts() {
  json counts = store_.counts();
  counts["faults"] = faults_.remaining();
  return counts;
}

}  // namespace corvane::sandbox
