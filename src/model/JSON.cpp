#include "model/JSON.h"

#include <cmath>
#include <limits>

namespace corvane::json {
namespace {

constexpr int maxDepth = 64;

/// nlohmann's texts begin with "[json.exception.parse_error.101] ", which is of no use to a reader.
std::string reasonOf(const Value::exception& failure) {
  const std::string_view text = failure.what();
  const auto end = text.find("] ");
  return std::string(end == std::string_view::npos ? text : text.substr(end + 2));
}

Value parse(std::string_view bytes) {
  const auto refuseDeepNesting = [](int depth, Value::parse_event_t, Value&) {
    if (depth > maxDepth) throw DecodingFailure("the JSON is nested too deeply");
    return true;
  };
  // The JSON library takes NUL for the end of its input. JSON allows it nowhere.
  if (bytes.find('\0') != bytes.npos) throw DecodingFailure("a NUL byte stands in the JSON");
  try {
    return Value::parse(bytes, refuseDeepNesting);
  } catch (const Value::exception& failure) {
    throw DecodingFailure(reasonOf(failure));
  }
}

}  // namespace

void failAt(std::string_view name, std::string_view reason) {
  throw DecodingFailure(std::string(name) + ": " + std::string(reason));
}

Value parseObject(std::string_view bytes) {
  Value value = parse(bytes);
  if (!value.is_object()) throw DecodingFailure("expected an object");
  return value;
}

Value parseArray(std::string_view bytes) {
  Value value = parse(bytes);
  if (!value.is_array()) throw DecodingFailure("expected an array");
  return value;
}

std::string write(const Value& value) {
  try {
    return value.dump();
  } catch (const Value::exception&) {
    throw EncodingFailure("a text is not valid UTF-8");
  }
}

const Value* member(const Value& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() || found->is_null() ? nullptr : &*found;
}

std::optional<std::string> optionalString(const Value& object, const char* name) {
  const Value* value = member(object, name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string()) failAt(name, "expected a string");
  return value->get<std::string>();
}

std::string requiredString(const Value& object, const char* name) {
  auto value = optionalString(object, name);
  if (!value) failAt(name, "expected a string");
  return *std::move(value);
}

bool requiredBool(const Value& object, const char* name) {
  const Value* value = member(object, name);
  if (value == nullptr || !value->is_boolean()) failAt(name, "expected a boolean");
  return value->get<bool>();
}

std::optional<std::int64_t> optionalInteger(const Value& object, const char* name) {
  const Value* value = member(object, name);
  if (value == nullptr) return std::nullopt;
  if (value->is_number_unsigned()) {
    const auto number = value->get<std::uint64_t>();
    if (number <= std::uint64_t{std::numeric_limits<std::int64_t>::max()})
      return static_cast<std::int64_t>(number);
  } else if (value->is_number_integer()) {
    return value->get<std::int64_t>();
  } else if (value->is_number_float()) {
    const double number = value->get<double>();
    if (number == std::trunc(number) && number > -0x1p63 && number < 0x1p63)
      return static_cast<std::int64_t>(number);
  }
  failAt(name, "expected a 64-bit integer");
}

std::optional<double> optionalNumber(const Value& object, const char* name) {
  const Value* value = member(object, name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_number()) failAt(name, "expected a number");
  return value->get<double>();
}

const Value* optionalObject(const Value& object, const char* name) {
  const Value* value = member(object, name);
  if (value != nullptr && !value->is_object()) failAt(name, "expected an object");
  return value;
}

}  // namespace corvane::json
