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

}  // namespace

const MemberType aString{"a string", &json::is_string};
const MemberType aNumber{"a number", &json::is_number};
const MemberType aBoolean{"a boolean", &json::is_boolean};
const MemberType anObject{"an object", &json::is_object};
const MemberType anyValue{"a value", nullptr};

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

json readMembers(const json& value, std::initializer_list<Member> members, OtherMembers others) {
  json kept = json::object();
  for (const Member& member : members) {
    const auto found = value.find(member.name);
    if (found == value.end()) {
      if (member.isRequired) throw Refusal(400, std::string(member.name) + ": missing");
      continue;
    }
    if (member.type.matches && !((*found).*member.type.matches)())
      throw Refusal(400, std::string(member.name) + ": expected " + member.type.description);
    kept[member.name] = *found;
  }
  if (others == OtherMembers::ignored) return kept;
  for (const auto& [name, ignored] : value.items()) {
    if (!kept.contains(name)) throw Refusal(400, name + ": unknown member");
  }
  return kept;
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

Response jsonResponse(const json& value, unsigned status) {
  return {.status = status,
          .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
          .body = asText(value)};
}

Response errorResponse(unsigned status, const std::string& reason, HeaderList headers) {
  Response answer = jsonResponse({{"error", reason}}, status);
  answer.headers.insert(answer.headers.end(), headers.begin(), headers.end());
  return answer;
}

}  // namespace corvane::sandbox
