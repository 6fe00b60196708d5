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

struct Control::Route {
  const char* path;
  const char* method;
  Response (*answer)(Control&, const Request&, double now);
};

Response Control::answer(const Request& request, double now) {
  static constexpr Route routes[] = {
      {"/sandbox/links", "GET",
       [](Control& c, const Request& r, double) {
         return jsonResponse(linksOf(c.store_.links(everyRow), r.origin));
       }},
      {"/sandbox/links", "POST", [](Control& c, const Request& r, double at) { return c.putLink(r, at); }},
      {"/sandbox/clicks", "POST", [](Control& c, const Request& r, double at) { return c.click(r, at); }},
      {"/sandbox/faults", "GET",
       [](Control& c, const Request&, double) { return jsonResponse(c.faults_.left()); }},
      {"/sandbox/faults", "POST", [](Control& c, const Request& r, double) { return c.addFaults(r); }},
      {"/sandbox/faults", "DELETE", [](Control& c, const Request&, double) { return c.clearFaults(); }},
      {"/sandbox/records", "GET", [](Control& c, const Request& r, double) { return c.records(r); }},
      {"/sandbox/records", "DELETE", [](Control& c, const Request&, double) { return c.clearRecords(); }},
      {"/sandbox/stream", "GET", [](Control& c, const Request& r, double) { return c.stream(r); }}};
  std::string allowed;
  for (const Route& route : routes) {
    if (request.path != route.path) continue;
    if (request.method == route.method) return route.answer(*this, request, now);
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
  }
  if (!allowed.empty())
    throw Refusal(405, request.path + " takes " + allowed + " only", {{"Allow", allowed}});
  return pageAsset(request);
}

Response Control::putLink(const Request& request, double now) {
  const json link = readLink(readObject(request));
  Transaction transaction(store_.database());
  if (!store_.putLink(link.at("slug"), link, now)) throw Refusal(409, "too many links");
  transaction.commit();
  const json answer = linkAnswer(link, request.origin);
  feed_.announce("link", answer);
  return jsonResponse(answer, 201);
}

Response Control::click(const Request& request, double now) {
  const json object =
      readMembers(readObject(request), {required("slug"), {"ageSeconds", aNumber}}, OtherMembers::refused);
  const auto link = store_.link(object["slug"]);
  if (!link) throw Refusal(404, "slug: no such link");
  const double age = object.value("ageSeconds", 0.0);
  if (!(age >= 0 && age <= 1e9)) throw Refusal(400, "ageSeconds: expected a number from 0 to 1e9");
  const Click click = makeClick(store_, feed_, link->at("slug"), now - age);
  return jsonResponse({{"token", click.token}, {"text", clickText(*link, request.origin, click.token)}}, 201);
}

Response Control::addFaults(const Request& request) {
  faults_.add(readJSON(request));
  feed_.announce("faults", nullptr);
  return jsonResponse({{"requestsToCome", faults_.remaining()}}, 201);
}

Response Control::clearFaults() {
  faults_.clear();
  feed_.announce("faults", nullptr);
  return {.status = 204};
}

Response Control::records(const Request& request) {
  json all = store_.records(everyRow);
  all["links"] = linksOf(std::move(all["links"]), request.origin);
  all["faults"] = faults_.left();
  return jsonResponse(all);
}

Response Control::clearRecords() {
  Transaction transaction(store_.database());
  store_.clearRecords();
  transaction.commit();
  feed_.announce("cleared", nullptr);
  return {.status = 204};
}

Response Control::stream(const Request& request) {
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
