#include "model/Requests.h"

#include <cmath>

#include "model/EventRequestJSON.h"

namespace corvane {

std::string encode(const InstallRequest& request) {
  json::Value object{
      {"identifier", request.identifier}, {"platform", request.platform}, {"consent", request.consent}};
  json::putIfPresent(object, "clickId", request.clickId);
  json::putIfPresent(object, "deviceId", request.deviceId);
  return json::write(object);
}

std::string encode(const OpenRequest& request) {
  json::Value object{{"identifier", request.identifier}};
  json::putIfPresent(object, "platform", request.platform);
  json::putIfPresent(object, "clickId", request.clickId);
  json::putIfPresent(object, "deviceId", request.deviceId);
  json::putIfPresent(object, "host", request.host);
  json::putIfPresent(object, "slug", request.slug);
  return json::write(object);
}

std::string encode(const EventRequest& request) {
  return json::write(toJSON(request));
}

json::Value toJSON(const EventRequest& request) {
  if (request.value && !std::isfinite(*request.value)) throw EncodingFailure("value: not a finite number");
  json::Value object{{"identifier", request.identifier}, {"name", request.name}};
  json::putIfPresent(object, "value", request.value);
  json::putIfPresent(object, "currency", request.currency);
  json::putIfPresent(object, "platform", request.platform);
  json::putIfPresent(object, "clickId", request.clickId);
  json::putIfPresent(object, "deviceId", request.deviceId);
  return object;
}

EventRequest readEventRequest(const json::Node::Object& object) {
  return {.identifier = json::requiredString(object, "identifier"),
          .name = json::requiredString(object, "name"),
          .value = json::optionalNumber(object, "value"),
          .currency = json::optionalString(object, "currency"),
          .platform = json::optionalString(object, "platform"),
          .clickId = json::optionalString(object, "clickId"),
          .deviceId = json::optionalString(object, "deviceId")};
}

}  // namespace corvane
