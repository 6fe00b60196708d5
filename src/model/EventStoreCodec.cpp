#include "model/EventStoreCodec.h"

#include "model/EventRequestJSON.h"

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
  for (const json::Node& element : json::parseArray(bytes)) {
    const auto* entry = element.get<json::Node::Object>();
    if (entry == nullptr) throw DecodingFailure("expected an object");
    const json::Node::Object* request = json::optionalObject(*entry, "request");
    if (request == nullptr) json::failAt("request", "expected an object");
    entries.push_back({.id = json::requiredString(*entry, "id"), .request = readEventRequest(*request)});
  }
  return entries;
}

}  // namespace corvane
