#include "Control.h"

#include <nlohmann/json.hpp>

#include "Links.h"
#include "Pages.h"
#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::int64_t everyRow = 1'000'000;  // more than any list holds

json linksOf(json documents, const std::string& origin) {
  json links = json::array();
  for (json& document : documents) links.push_back(linkAnswer(std::move(document), origin));
  return links;
}

}  // namespace

Control::Control(Store& store, FaultScript& faults, Feed& feed)
    : store_(store),
      faults_(faults),
      feed_(feed),
      actions_{{{"/sandbox/links", "GET"}, &Control::listLinks},
               {{"/sandbox/links", "POST"}, &Control::putLink},
               {{"/sandbox/clicks", "POST"}, &Control::click},
               {{"/sandbox/faults", "GET"}, &Control::listFaults},
               {{"/sandbox/faults", "POST"}, &Control::addFaults},
               {{"/sandbox/faults", "DELETE"}, &Control::clearFaults},
               {{"/sandbox/records", "GET"}, &Control::records},
               {{"/sandbox/records", "DELETE"}, &Control::clearRecords},
               {{"/sandbox/stream", "GET"}, &Control::stream}} {}

Response Control::answer(const Request& request, double now) {
  const auto action = actions_.find({request.path, request.method});
  if (action != actions_.end()) return (this->*action->second)(request, now);
  std::string allowed;
  for (const auto& [place, other] : actions_) {
    if (place.first == request.path) allowed += (allowed.empty() ? "" : ", ") + place.second;
  }
  if (!allowed.empty())
    throw Refusal(405, request.path + " takes " + allowed + " only", {{"Allow", allowed}});
  return pageAsset(request);
}

Response Control::listLinks(const Request& request, double) {
  return jsonAnswer(linksOf(store_.links(everyRow), request.origin));
}

Response Control::putLink(const Request& request, double now) {
  const json link = readLink(readObject(request));
  Transaction transaction(store_.database());
  if (!store_.putLink(link.at("slug"), link, now)) throw Refusal(409, "there are too many links");
  transaction.commit();
  const json answer = linkAnswer(link, request.origin);
  feed_.announce("link", answer);
  return jsonAnswer(answer, 201);
}

Response Control::click(const Request& request, double now) {
  const json object = readObject(request);
  allowOnly(object, {"slug", "ageSeconds"});
  const auto link = store_.link(requiredText(object, "slug"));
  if (!link) throw Refusal(404, "slug: no such link");
  const double age = optionalNumber(object, "ageSeconds").value_or(0);
  if (!(age >= 0 && age <= 1e9)) throw Refusal(400, "ageSeconds: expected a number from 0 to 1e9");
  const Click click = makeClick(store_, feed_, link->at("slug"), now - age);
  return jsonAnswer({{"token", click.token}, {"text", clickText(*link, request.origin, click.token)}}, 201);
}

Response Control::listFaults(const Request&, double) {
  return jsonAnswer(faults_.left());
}

Response Control::addFaults(const Request& request, double) {
  faults_.add(readJSON(request));
  feed_.announce("faults", nullptr);
  return jsonAnswer({{"requestsToCome", faults_.remaining()}}, 201);
}

Response Control::clearFaults(const Request&, double) {
  faults_.clear();
  feed_.announce("faults", nullptr);
  return {.status = 204};
}

Response Control::records(const Request& request, double) {
  json all = store_.records(everyRow);
  all["links"] = linksOf(std::move(all["links"]), request.origin);
  all["faults"] = faults_.left();
  return jsonAnswer(all);
}

Response Control::clearRecords(const Request&, double) {
  Transaction transaction(store_.database());
  store_.clearRecords();
  transaction.commit();
  feed_.announce("cleared", nullptr);
  return {.status = 204};
}

Response Control::stream(const Request& request, double) {
  return {.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}},
          .body = feed_.beginning(request.origin),
          .eventStream = true};
}

Click makeClick(Store& store, Feed& feed, const std::string& slug, double at) {
  Transaction transaction(store.database());
  Click click = store.addClick(slug, makeToken(), at);
  transaction.commit();
  feed.announce("click", {{"token", click.token}, {"slug", click.slug}, {"at", click.at}});
  return click;
}

}  // namespace corvane::sandbox
