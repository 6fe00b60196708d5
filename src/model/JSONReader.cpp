#include "model/JSONReader.h"

#include <utility>

#include "model/JSONParser.h"
#include "model/JSONScalar.h"

namespace corvane::json {
namespace {

/// The member when it is there and not `null`.
const Node* member(const Node::Object& object, std::string_view name) {
  const auto found = object.find(name);
  return found == object.end() || found->second.get<std::nullptr_t>() ? nullptr : &found->second;
}

/// The member when it is there and not `null`. It must be of the type, whose description is `expected`.
template <class T>
const T* optionalMember(const Node::Object& object, std::string_view name, std::string_view expected) {
  const Node* node = member(object, name);
  if (node == nullptr) return nullptr;
  const T* value = node->get<T>();
  if (value == nullptr) failAt(name, expected);
  return value;
}

}  // namespace

void failAt(std::string_view name, std::string_view reason) {
  throw DecodingFailure(std::string(name) + ": " + std::string(reason));
}

Node::Object parseObject(std::string_view bytes) {
  Node node = parse(bytes, Root::object);
  if (!node.get<Node::Object>()) throw DecodingFailure("expected an object");
  return std::get<Node::Object>(std::move(node.value));
}

Node::Array parseArray(std::string_view bytes) {
  Node node = parse(bytes, Root::array);
  if (!node.get<Node::Array>()) throw DecodingFailure("expected an array");
  return std::get<Node::Array>(std::move(node.value));
}

std::optional<std::string> optionalString(const Node::Object& object, std::string_view name) {
  const auto* text = optionalMember<std::string>(object, name, "expected a string");
  return text ? std::optional(*text) : std::nullopt;
}

std::string requiredString(const Node::Object& object, std::string_view name) {
  auto value = optionalString(object, name);
  if (!value) failAt(name, "expected a string");
  return *std::move(value);
}

bool requiredBool(const Node::Object& object, std::string_view name) {
  const bool* value = optionalMember<bool>(object, name, "expected a boolean");
  if (value == nullptr) failAt(name, "expected a boolean");
  return *value;
}

std::optional<std::int64_t> optionalInteger(const Node::Object& object, std::string_view name) {
  constexpr std::string_view expected = "expected a 64-bit integer";
  const auto* number = optionalMember<Node::Number>(object, name, expected);
  if (number == nullptr) return std::nullopt;
  const auto integer = exactInteger(number->text);
  if (!integer) failAt(name, expected);
  return integer;
}

std::optional<double> optionalNumber(const Node::Object& object, std::string_view name) {
  const auto* number = optionalMember<Node::Number>(object, name, "expected a number");
  return number ? std::optional(number->value) : std::nullopt;
}

const Node::Object* optionalObject(const Node::Object& object, std::string_view name) {
  return optionalMember<Node::Object>(object, name, "expected an object");
}

}  // namespace corvane::json
