#include "Sandbox.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "HostCheck.h"
#include "Links.h"
#include "Pages.h"
#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::size_t maxRecordedBody = 4096;
constexpr std::size_t maxRecordedKey = 256;  // longer than any that an endpoint accepts

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// The slug of "/l/<slug>" or "/<slug>". The client library reads a link's slug from the second form.
std::string slugOf(const std::string& path) {
  return path.substr(path.starts_with("/l/") ? 3 : 1);
}

json arrivalOf(const Request& request, double now) {
  json headers = json::object();
  for (const auto& [name, value] : request.headers) {
    const bool isRepeated = headers.contains(name);
    headers[name] = isRepeated ? headers[name].get<std::string>() + ", " + value : value;
  }
  const std::string* key = request.header("idempotency-key");
  return {{"at", now},
          {"method", request.method},
          {"path", request.path},
          {"query", request.query},
          {"headers", headers},
          {"body", request.body.substr(0, maxRecordedBody)},
          {"key", key ? key->substr(0, maxRecordedKey) : ""}};
}

Endpoints::Answer scripted(const Fault& fault) {
  Response response{.status = fault.status.value_or(200), .body = fault.body.value_or("")};
  if (!response.body.empty()) response.headers = {{"Content-Type", "application/json"}};
  return {response, "scripted"};
}

/// Changes the answer as the fault says, and adds that to its note.
void apply(const Fault& fault, Endpoints::Answer& answer) {
  answer.response.headers.insert(answer.response.headers.end(), fault.headers.begin(), fault.headers.end());
  answer.response.delivery = fault.delivery;
  if (fault.delivery.ending == Delivery::Ending::silence) answer.note += "; no response";
  if (fault.delivery.ending == Delivery::Ending::reset) answer.note += "; connection reset";
  if (fault.delivery.delay.count() > 0)
    answer.note += "; delayed by " + std::to_string(fault.delivery.delay.count()) + " ms";
  if (fault.delivery.byteDelay.count() > 0)
    answer.note += "; " + std::to_string(fault.delivery.byteDelay.count()) + " ms for each byte";
}

}  // namespace

Sandbox::Sandbox(const Options& options, Feed::Publish publish)
    : allowedHosts_(options.allowedHosts),
      store_(options.dataFile),
      feed_(store_, faults_, std::move(publish)),
      endpoints_(store_, options.keys),
      control_(store_, faults_, feed_) {}

Response Sandbox::handle(const Request& request) {
  try {
    return route(request);
  } catch (const Refusal& refusal) {
    return errorResponse(refusal.status(), refusal.what(), refusal.headers());
  } catch (const std::exception& error) {
    return errorResponse(500, error.what());
  }
}

Response Sandbox::route(const Request& request) {
  const double now = secondsSince1970();
  if (!isTrustedHost(request.host, allowedHosts_))
    throw Refusal(421, "Host: not a name of this machine; --allow-host allows it");
  if (request.path.starts_with("/sandbox/")) return control_.answer(request, now);
  if (request.path == "/") {
    if (request.method != "GET") throw Refusal(405, "/ takes GET only", {{"Allow", "GET"}});
    return livePage();
  }
  const auto fault = faults_.take(request.path);
  if (!fault && request.method == "GET") {
    if (const auto link = store_.link(slugOf(request.path))) return landing(request, *link, now);
  }
  if (!fault && !request.path.starts_with("/v1/")) throw Refusal(404, "not found: " + request.path);
  return backend(request, fault, now);
}

// A visit is recorded as a click when the page is served: a visitor who never presses the button, or whose
// browser has no clipboard, can still be matched as the most recent click.
Response Sandbox::landing(const Request& request, const json& link, double now) {
  const Click click = makeClick(store_, feed_, link.at("slug"), now);
  return landingPage(link, clickText(link, request.origin, click.token));
}

Response Sandbox::backend(const Request& request, const std::optional<Fault>& fault, double now) {
  Transaction transaction(store_.database());
  Endpoints::Answer answer = fault && !fault->processed ? scripted(*fault) : endpoints_.answer(request, now);
  if (fault) apply(*fault, answer);
  const bool isAnswered = answer.response.delivery.ending == Delivery::Ending::answer;
  json arrival = arrivalOf(request, now);
  arrival["status"] = isAnswered ? answer.response.status : 0;
  arrival["note"] = answer.note;
  arrival["number"] = store_.addArrival(arrival);
  transaction.commit();
  arrival.erase("headers");
  feed_.announce("arrival", arrival);
  return answer.response;
}

}  // namespace corvane::sandbox
