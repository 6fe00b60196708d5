#include "model/CustomDataJSON.h"

#include "model/JSONScalar.h"

namespace corvane {
namespace {

/// An integer where it is written as one and has 64 bits.
JSONScalar scalarOf(const json::Node::Number& number) {
  const bool isInteger = number.text.find_first_of(".eE") == std::string::npos;
  const auto integer = isInteger ? exactInteger(number.text) : std::nullopt;
  return integer ? JSONScalar(*integer) : JSONScalar(number.value);
}

struct ReadScalar {
  JSONScalar operator()(std::nullptr_t) const { return nullptr; }
  JSONScalar operator()(bool value) const { return value; }
  JSONScalar operator()(const json::Node::Number& number) const { return scalarOf(number); }
  JSONScalar operator()(const std::string& text) const { return text; }
  JSONScalar operator()(const json::Node::Array&) const { return refuse(); }
  JSONScalar operator()(const json::Node::Object&) const { return refuse(); }

  [[noreturn]] static JSONScalar refuse() { throw DecodingFailure("Unsupported customData scalar value"); }
};

}  // namespace

CustomData readCustomData(const json::Node::Object& object) {
  CustomData result;
  for (const auto& [name, node] : object) {
    try {
      result.values.emplace(name, textOf(std::visit(ReadScalar{}, node.value)));
    } catch (const DecodingFailure& failure) {
      json::failAt(name, failure.what());
    }
  }
  return result;
}

}  // namespace corvane
