#include "RequestReading.h"

#include <algorithm>
#include <boost/url/parse.hpp>
#include <boost/url/parse_query.hpp>
#include <boost/url/url_view.hpp>
#include <nlohmann/json.hpp>

#include "JSONText.h"
#include "LowerCased.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr int maxDepth = 8;

bool isJSONType(std::string value) {
  value.erase(std::min(value.find(';'), value.size()));
  while (!value.empty() && value.back() == ' ') value.pop_back();
  return lowerCased(value) == "application/json";
}

const json* find(const json& object, const char* name) {
  const auto member = object.find(name);
  return member == object.end() ? nullptr : &*member;
}

const json& require(const json& object, const char* name) {
  if (const json* member = find(object, name)) return *member;
  throw Refusal(400, std::string(name) + ": missing");
}

std::string textOf(const json& member, const char* name) {
  if (!member.is_string()) throw Refusal(400, std::string(name) + ": expected a string");
  return member.get<std::string>();
}

}  // namespace

json readJSON(const Request& request) {
  const std::string* type = request.header("content-type");
  if (!type || !isJSONType(*type)) throw Refusal(415, "Content-Type: expected application/json");
  try {
    return json::parse(request.body, [](int depth, json::parse_event_t, json&) {
      if (depth > maxDepth) throw Refusal(400, "the body is nested too deeply");
      return true;
    });
  } catch (const json::exception& error) {
    throw Refusal(400, std::string("the body is not JSON: ") + error.what());
  }
}

json readObject(const Request& request) {
  json value = readJSON(request);
  if (!value.is_object()) throw Refusal(400, "the body: expected an object");
  return value;
}

std::string requiredText(const json& object, const char* name) {
  return textOf(require(object, name), name);
}

std::optional<std::string> optionalText(const json& object, const char* name) {
  const json* member = find(object, name);
  return member ? std::optional(textOf(*member, name)) : std::nullopt;
}

bool requiredBoolean(const json& object, const char* name) {
  const json& member = require(object, name);
  if (!member.is_boolean()) throw Refusal(400, std::string(name) + ": expected a boolean");
  return member.get<bool>();
}

std::optional<double> optionalNumber(const json& object, const char* name) {
  const json* member = find(object, name);
  if (!member) return std::nullopt;
  if (!member->is_number()) throw Refusal(400, std::string(name) + ": expected a number");
  return member->get<double>();
}

void allowOnly(const json& object, std::initializer_list<const char*> names) {
  for (auto member = object.begin(); member != object.end(); ++member) {
    const std::string& found = member.key();
    if (std::none_of(names.begin(), names.end(), [&found](const char* name) { return found == name; }))
      throw Refusal(400, found + ": no such member");
  }
}

std::optional<std::string> queryItem(const std::string& query, const std::string& name) {
  const auto items = boost::urls::parse_query(query);
  if (!items) throw Refusal(400, "the query cannot be read");
  for (const auto& item : *items) {
    if (item.key.decode() == name) return item.value.decode();
  }
  return std::nullopt;
}

std::string firstPathSegment(const std::string& url) {
  const auto parsed = boost::urls::parse_uri(url);
  if (!parsed) throw Refusal(400, "url: not a URL");
  const auto segments = parsed->segments();
  return segments.empty() ? "" : *segments.begin();
}

Response jsonAnswer(const json& value, unsigned status) {
  return {.status = status,
          .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
          .body = asText(value)};
}

Response errorAnswer(unsigned status, const std::string& reason, HeaderList headers) {
  Response answer = jsonAnswer({{"error", reason}}, status);
  answer.headers.insert(answer.headers.end(), headers.begin(), headers.end());
  return answer;
}

}  // namespace corvane::sandbox
