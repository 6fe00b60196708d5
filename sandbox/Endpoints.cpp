#include "Endpoints.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "InstallMatching.h"
#include "JSONText.h"
#include "Links.h"
#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::size_t maxKeyLength = 255;

std::string idempotencyKey(const Request& request) {
  const std::string* key = request.header("idempotency-key");
  if (!key) return "";
  if (key->size() > maxKeyLength) throw Refusal(400, "Idempotency-Key: at most 255 bytes");
  return *key;
}

json readInstall(const Request& request) {
  const json install = readMembers(readObject(request),
                                   {required("identifier"),
                                    required("platform"),
                                    required("consent", aBoolean),
                                    {"clickId"},
                                    {"deviceId"}},
                                   OtherMembers::ignored);
  if (install.contains("clickId") && !isToken(install["clickId"].get<std::string>()))
    throw Refusal(400, "clickId: expected 32 lower-case hexadecimal digits");
  return install;
}

json readOpen(const Request& request) {
  return readMembers(readObject(request),
                     {required("identifier"), {"platform"}, {"clickId"}, {"deviceId"}, {"host"}, {"slug"}},
                     OtherMembers::ignored);
}

json readEvent(const Request& request) {
  return readMembers(readObject(request),
                     {required("identifier"),
                      required("name"),
                      {"value", aNumber},
                      {"currency"},
                      {"platform"},
                      {"clickId"},
                      {"deviceId"}},
                     OtherMembers::ignored);
}

// An install without a device id is identified by its idempotency key.
std::string ownerOf(const json& install, const std::string& key) {
  if (install.contains("deviceId")) return install["deviceId"];
  if (!key.empty()) return key;
  return install["consent"] ? "unknown " + makeToken() : "";
}

void requireMethod(const Request& request, const std::string& method) {
  if (request.method != method)
    throw Refusal(405, request.path + " takes " + method + " only", {{"Allow", method}});
}

}  // namespace

/// A valid POST request.
struct Endpoints::Message {
  json document;
  std::string key;     // the idempotency key, or empty
  std::string origin;  // of the request
};

struct Endpoints::Recorded {
  json answer;
  std::string note;
  bool isKept = true;  // whether a repeated request with the same key gets the same answer
};

void Endpoints::requireKey(const Request& request) const {
  const std::string* key = request.header("x-api-key");
  if (!key) throw Refusal(401, "X-Api-Key: missing");
  const bool taken = keys_.empty() || std::find(keys_.begin(), keys_.end(), *key) != keys_.end();
  if (!taken || !key->starts_with("cv_")) throw Refusal(401, "X-Api-Key: unknown key");
}

Endpoints::Answer Endpoints::answer(const Request& request, double now) {
  try {
    if (request.path == "/v1/links/resolve") {
      requireMethod(request, "GET");
      return resolve(request, now);
    }
    if (request.path == "/v1/events/install") return post(request, readInstall, &Endpoints::install, now);
    if (request.path == "/v1/events/open") return post(request, readOpen, &Endpoints::open, now);
    if (request.path == "/v1/events") return post(request, readEvent, &Endpoints::event, now);
    throw Refusal(404, "not found: " + request.path);
  } catch (const Refusal& refusal) {
    return {errorResponse(refusal.status(), refusal.what(), refusal.headers()),
            std::string("refused: ") + refusal.what()};
  }
}

Endpoints::Answer Endpoints::post(const Request& request, json (*read)(const Request&), Recorder record,
                                  double now) {
  requireMethod(request, "POST");
  requireKey(request);
  const Message message{.document = read(request), .key = idempotencyKey(request), .origin = request.origin};
  if (!message.key.empty()) {
    if (const auto kept = store_.keptAnswer(request.path, message.key))
      return {jsonResponse(json::parse(*kept)), "replayed"};
  }
  const Recorded recorded = (this->*record)(message, now);
  if (recorded.isKept && !message.key.empty())
    store_.keepAnswer(request.path, message.key, asText(recorded.answer));
  return {jsonResponse(recorded.answer), recorded.note};
}

Endpoints::Recorded Endpoints::install(const Message& message, double now) {
  const json& install = message.document;
  const auto token =
      install.contains("clickId") ? std::optional(install["clickId"].get<std::string>()) : std::nullopt;
  const InstallMatch match = matchInstall(store_, ownerOf(install, message.key), token, now);
  json answer = {{"attributed", match.click.has_value()}};
  json record = {{"request", install}, {"match", match.how}};
  std::string how = match.how;
  if (match.click) {
    how += ", " + match.click->slug;
    record["clickToken"] = match.click->token;
    record["slug"] = match.click->slug;
    if (const auto link = store_.link(match.click->slug))
      answer["deepLink"] = linkAnswer(*link, message.origin);
  }
  record["answer"] = answer;

  const bool counted = install["consent"];
  const std::int64_t number = store_.addRecord(counted ? "installs" : "uncountedInstalls", message.key,
                                               install.value("deviceId", ""), record, now);
  // Without consent, nothing is kept for the key and the response has no id.
  if (!counted) return {answer, "not counted (no consent): " + how, false};
  answer["id"] = number;
  return {answer, "counted: " + how};
}

Endpoints::Recorded Endpoints::open(const Message& message, double now) {
  const json& open = message.document;
  const auto link = store_.link(open.value("slug", ""));
  json answer = {{"attributed", link.has_value()}};
  if (link) answer["deepLink"] = linkAnswer(*link, message.origin);
  answer["id"] = store_.addRecord("opens", message.key, open.value("deviceId", ""),
                                  {{"request", open}, {"answer", answer}}, now);
  return {answer, link ? "recorded" : "recorded; the slug is unknown"};
}

Endpoints::Recorded Endpoints::event(const Message& message, double now) {
  const json& event = message.document;
  const std::string device = event.value("deviceId", "");
  json answer = {{"attributed", !device.empty() && store_.isAttributedDevice(device)}};
  answer["id"] =
      store_.addRecord("events", message.key, device, {{"request", event}, {"answer", answer}}, now);
  return {answer, "recorded"};
}

Endpoints::Answer Endpoints::resolve(const Request& request, double now) {
  const auto host = queryItem(request.query, "host");
  const auto url = queryItem(request.query, "url");
  auto slug = queryItem(request.query, "slug");
  if (!slug && url) slug = firstPathSegment(*url);
  if (!slug) throw Refusal(400, "slug: missing");
  const auto link = store_.link(*slug);
  json asked = {{"slug", *slug}};
  if (host) asked["host"] = *host;
  if (url) asked["url"] = *url;
  store_.addRecord("resolves", "", "", {{"request", asked}, {"found", link.has_value()}}, now);
  if (!link) return {errorResponse(404, "no link has the slug \"" + *slug + "\""), "the slug is unknown"};
  return {jsonResponse(linkAnswer(*link, request.origin)), "resolved"};
}

}  // namespace corvane::sandbox
