#include "model/Responses.h"

#include <utility>

#include "model/CustomDataJSON.h"
#include "model/JSONReader.h"

namespace corvane {
namespace {

std::optional<CustomData> optionalCustomData(const json::Node::Object& object, const char* name) {
  const json::Node::Object* value = json::optionalObject(object, name);
  if (value == nullptr) return std::nullopt;
  return json::within(name, [&] { return readCustomData(*value); });
}

DeepLinkDTO readDeepLink(const json::Node::Object& object) {
  return {.slug = json::optionalString(object, "slug"),
          .url = json::optionalString(object, "url"),
          .deepLinkPath = json::optionalString(object, "deepLinkPath"),
          .iosUrl = json::optionalString(object, "iosUrl"),
          .androidUrl = json::optionalString(object, "androidUrl"),
          .fallbackUrl = json::optionalString(object, "fallbackUrl"),
          .campaign = json::optionalString(object, "campaign"),
          .channel = json::optionalString(object, "channel"),
          .utm = optionalCustomData(object, "utm"),
          .customData = optionalCustomData(object, "customData")};
}

CorvaneDeepLink::Map mapOf(std::optional<CustomData> data) {
  if (!data) return std::nullopt;
  return std::move(data->values);
}

}  // namespace

DeepLinkDTO decodeDeepLink(std::string_view bytes) {
  return readDeepLink(json::parseObject(bytes));
}

EventResultDTO decodeEventResult(std::string_view bytes) {
  const json::Node::Object object = json::parseObject(bytes);
  EventResultDTO result;
  result.id = json::optionalInteger(object, "id");
  result.attributed = json::requiredBool(object, "attributed");
  if (const json::Node::Object* link = json::optionalObject(object, "deepLink"))
    result.deepLink = json::within("deepLink", [&] { return readDeepLink(*link); });
  return result;
}

EventAckDTO decodeEventAck(std::string_view bytes) {
  const json::Node::Object object = json::parseObject(bytes);
  return {.id = json::optionalInteger(object, "id"), .attributed = json::requiredBool(object, "attributed")};
}

CorvaneDeepLink toDeepLink(DeepLinkDTO link) {
  return {std::move(link.slug),         std::move(link.url),
          std::move(link.deepLinkPath), std::move(link.iosUrl),
          std::move(link.androidUrl),   std::move(link.fallbackUrl),
          std::move(link.campaign),     std::move(link.channel),
          mapOf(std::move(link.utm)),   mapOf(std::move(link.customData))};
}

}  // namespace corvane
