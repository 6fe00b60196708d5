#include "model/ResultJSON.h"

#include <utility>

#include "model/JSONReader.h"
#include "model/JSONWriter.h"

namespace corvane {
namespace {

json::Value toJSON(const CorvaneDeepLink& link) {
  json::Value object = json::Value::object();
  json::putIfPresent(object, "slug", link.slug());
  json::putIfPresent(object, "url", link.url());
  json::putIfPresent(object, "deepLinkPath", link.deepLinkPath());
  json::putIfPresent(object, "iosURL", link.iosURL());
  json::putIfPresent(object, "androidURL", link.androidURL());
  json::putIfPresent(object, "fallbackURL", link.fallbackURL());
  json::putIfPresent(object, "campaign", link.campaign());
  json::putIfPresent(object, "channel", link.channel());
  json::putIfPresent(object, "utm", link.utm());
  json::putIfPresent(object, "customData", link.customData());
  return object;
}

CorvaneDeepLink::Map optionalTexts(const json::Node::Object& object, const char* name) {
  const json::Node::Object* value = json::optionalObject(object, name);
  if (value == nullptr) return std::nullopt;
  std::map<std::string, std::string> texts;
  for (const auto& [key, node] : *value) {
    const auto* text = node.get<std::string>();
    if (text == nullptr) json::failAt(std::string(name) + "." + key, "expected a string");
    texts.emplace(key, *text);
  }
  return texts;
}

CorvaneDeepLink readDeepLink(const json::Node::Object& object) {
  return {json::optionalString(object, "slug"),
          json::optionalString(object, "url"),
          json::optionalString(object, "deepLinkPath"),
          json::optionalString(object, "iosURL"),
          json::optionalString(object, "androidURL"),
          json::optionalString(object, "fallbackURL"),
          json::optionalString(object, "campaign"),
          json::optionalString(object, "channel"),
          optionalTexts(object, "utm"),
          optionalTexts(object, "customData")};
}

}  // namespace

std::string encode(const CorvaneAttribution& attribution) {
  json::Value object{{"attributed", attribution.attributed()}};
  json::putIfPresent(object, "id", attribution.id());
  if (attribution.deepLink()) object["deepLink"] = toJSON(*attribution.deepLink());
  return json::write(object);
}

CorvaneAttribution decodeStoredAttribution(std::string_view bytes) {
  const json::Node::Object object = json::parseObject(bytes);
  const auto id = json::optionalInteger(object, "id");
  const bool attributed = json::requiredBool(object, "attributed");
  std::optional<CorvaneDeepLink> link;
  if (const json::Node::Object* stored = json::optionalObject(object, "deepLink"))
    link = json::within("deepLink", [&] { return readDeepLink(*stored); });
  return {id, attributed, std::move(link)};
}

}  // namespace corvane
