#include "flows/EventQueueCodec.h"

#include "model/EventRequestJSON.h"
#include "model/JSON.h"

namespace corvane {

std::string encodeQueue(const std::vector<EventQueue::Entry>& entries) {
  json::Value array = json::Value::array();
  for (const auto& entry : entries) {
    json::Value object = json::Value::object();
    object["id"] = entry.id;
    object["request"] = toJSON(entry.request);
    array.push_back(std::move(object));
  }
  return json::write(array);
}

std::vector<EventQueue::Entry> decodeQueue(std::string_view bytes) {
  std::vector<EventQueue::Entry> entries;
  for (const json::Value& element : json::parseArray(bytes)) {
    if (!element.is_object()) throw DecodingFailure("expected an object");
    const json::Value* request = json::optionalObject(element, "request");
    if (request == nullptr) json::failAt("request", "expected an object");
    entries.push_back({.id = json::requiredString(element, "id"), .request = readEventRequest(*request)});
  }
  return entries;
}

}  // namespace corvane
