#include "FaultScript.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string_view>

#include "JSONText.h"
#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

constexpr std::size_t maxFaults = 1000;
constexpr std::size_t maxBytes = 1024 * 1024;  // of all waiting faults, as JSON
constexpr long maxTimes = 1'000'000;
constexpr long maxDelay = 10 * 60 * 1000;
constexpr long maxByteDelay = 60 * 1000;

std::optional<long> optionalInteger(const json& object, const char* name, long low, long high) {
  const auto member = object.find(name);
  if (member == object.end()) return std::nullopt;
  const bool fits = member->is_number_integer() && member->get<double>() >= static_cast<double>(low) &&
                    member->get<double>() <= static_cast<double>(high);
  if (fits) return member->get<long>();
  throw Refusal(400, std::string(name) + ": expected an integer from " + std::to_string(low) + " to " +
                         std::to_string(high));
}

bool isHeaderName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) ||
           std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos;
  });
}

bool isHeaderValue(const std::string& value) {
  return std::none_of(value.begin(), value.end(),
                      [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7f; });
}

HeaderList readHeaders(const json& object) {
  HeaderList headers;
  if (!object.contains("headers")) return headers;
  for (const auto& [name, value] : object["headers"].items()) {
    if (!isHeaderName(name) || !value.is_string() || !isHeaderValue(value.get<std::string>()))
      throw Refusal(400, "headers: expected valid HTTP names and values");
    headers.emplace_back(name, value.get<std::string>());
  }
  return headers;
}

// A string is sent unchanged, so that a response which is not JSON can be scripted.
std::optional<std::string> readBody(const json& object) {
  const auto member = object.find("body");
  if (member == object.end()) return std::nullopt;
  return member->is_string() ? member->get<std::string>() : asText(*member);
}

void requirePath(const std::string& path) {
  if (path == "*") return;
  if (!path.starts_with('/') || path == "/" || path.starts_with("/sandbox"))
    throw Refusal(400, "path: expected \"*\" or a path other than / and /sandbox");
  if (path.find_first_of("?#") != std::string::npos)
    throw Refusal(400, "path: expected a path without a query");
}

json readFaultMembers(const json& value) {
  if (!value.is_object()) throw Refusal(400, "a fault: expected an object");
  return readMembers(value,
                     {required("path"),
                      {"times", aNumber},
                      {"status", aNumber},
                      {"headers", anObject},
                      {"body", anyValue},
                      {"delayMs", aNumber},
                      {"byteDelayMs", aNumber},
                      {"reset"},
                      {"silence", aBoolean}},
                     OtherMembers::refused);
}

std::chrono::milliseconds readDelay(const json& object, const char* name, long longest) {
  return std::chrono::milliseconds(optionalInteger(object, name, 0, longest).value_or(0));
}

Fault readFault(const json& value) {
  const json object = readFaultMembers(value);
  Fault fault;
  fault.path = object["path"];
  requirePath(fault.path);
  fault.times = optionalInteger(object, "times", 1, maxTimes).value_or(1);
  if (const auto status = optionalInteger(object, "status", 200, 599))
    fault.status = static_cast<unsigned>(*status);
  fault.headers = readHeaders(object);
  fault.body = readBody(object);
  fault.delivery.delay = readDelay(object, "delayMs", maxDelay);
  fault.delivery.byteDelay = readDelay(object, "byteDelayMs", maxByteDelay);
  fault.processed = !fault.status && !fault.body;
  const std::string reset = object.value("reset", "");
  if (object.contains("reset")) {
    if (reset != "before" && reset != "after") throw Refusal(400, "reset: expected \"before\" or \"after\"");
    fault.delivery.ending = Delivery::Ending::reset;
    fault.processed = reset == "after";
  }
  if (object.value("silence", false)) {
    if (object.contains("reset")) throw Refusal(400, "silence: cannot be combined with reset");
    fault.delivery.ending = Delivery::Ending::silence;
    fault.processed = false;
  }
  return fault;
}

bool applies(const Fault& fault, const std::string& path) {
  return fault.path == path || (fault.path == "*" && path.starts_with("/v1/"));
}

}  // namespace

void FaultScript::add(const json& script) {
  std::list<Scripted> added;
  if (script.is_array()) {
    for (const json& object : script) added.push_back({readFault(object), asText(object)});
  } else {
    added.push_back({readFault(script), asText(script)});
  }
  std::size_t bytes = 0;
  for (const auto* list : {&faults_, &added}) {
    for (const Scripted& next : *list) bytes += next.source.size();
  }
  if (faults_.size() + added.size() > maxFaults || bytes > maxBytes)
    throw Refusal(409, "too many faults; use \"times\" to repeat one");
  faults_.splice(faults_.end(), added);
}

std::optional<Fault> FaultScript::take(const std::string& path) {
  const auto found = std::find_if(faults_.begin(), faults_.end(),
                                  [&path](const Scripted& next) { return applies(next.fault, path); });
  if (found == faults_.end()) return std::nullopt;
  const Fault fault = found->fault;
  if (--found->fault.times == 0) faults_.erase(found);
  return fault;
}

long FaultScript::remaining() const {
  return std::accumulate(faults_.begin(), faults_.end(), 0L,
                         [](long sum, const Scripted& next) { return sum + next.fault.times; });
}

json FaultScript::left() const {
  json list = json::array();
  for (const Scripted& next : faults_) {
    json object = json::parse(next.source);
    object["times"] = next.fault.times;
    list.push_back(std::move(object));
  }
  return list;
}

}  // namespace corvane::sandbox
