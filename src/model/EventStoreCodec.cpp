#include "model/EventStoreCodec.h"

#include "model/EventRequestJSON.h"
#include "model/JSON.h"

namespace corvane {

std::string encodeEntry(const EventQueueEntry& entry) {
  json::Value object = json::Value::object();
  object["id"] = entry.id;
  object["request"] = toJSON(entry.request);
  return json::write(object);
}

std::string encodeEntry(const std::string& id, std::string_view request) {
  return R"({"id":)" + json::write(json::Value(id)) + R"(,"request":)" + std::string(request) + '}';
}

std::string joinEntries(const std::vector<std::string_view>& objects) {
  std::string array = "[";
  for (const std::string_view object : objects) {
    if (array.size() > 1) array += ',';
    array += object;
  }
  return array += ']';
}

EventQueueEntries decodeQueue(std::string_view bytes) {
  EventQueueEntries entries;
  for (const json::Value& element : json::parseArray(bytes)) {
    if (!element.is_object()) throw DecodingFailure("expected an object");
    const json::Value* request = json::optionalObject(element, "request");
    if (request == nullptr) json::failAt("request", "expected an object");
    entries.push_back({.id = json::requiredString(element, "id"), .request = readEventRequest(*request)});
  }
  return entries;
}

}  // namespace corvane
