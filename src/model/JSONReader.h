#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "model/CodecFailure.h"

/// The JSON rules of all messages that are read. Included by the codecs only.
///
/// Reading is strict: UTF-8 throughout, and no value of another type taken for the one expected. A member
/// that is `null` reads as absent. Names that no codec asks for are ignored, whatever their values hold; of a
/// repeated name the last value is kept. A number outside the range of a double makes the whole text
/// unreadable. Every function throws `DecodingFailure` and nothing else.
namespace corvane::json {

/// A value that was read.
struct Node {
  struct Number {
    double value = 0;
    /// As it was written, because a double cannot hold every integer of 64 bits. An integer has no leading
    /// zero and no sign of zero.
    std::string text;
  };
  using Array = std::vector<Node>;
  using Object = std::map<std::string, Node, std::less<>>;

  std::variant<std::nullptr_t, bool, Number, std::string, Array, Object> value;

  template <class T>
  const T* get() const {
    return std::get_if<T>(&value);
  }
};

/// The JSON object that the bytes hold. Reading takes constant stack, and memory in proportion to the bytes.
///
/// Only what a message can ask for is kept: an array inside another value, and a value inside more than 8
/// objects, is empty.
Node::Object parseObject(std::string_view bytes);
/// The JSON array that the bytes hold; like `parseObject`.
Node::Array parseArray(std::string_view bytes);

std::optional<std::string> optionalString(const Node::Object& object, std::string_view name);
std::string requiredString(const Node::Object& object, std::string_view name);
bool requiredBool(const Node::Object& object, std::string_view name);
/// Any number with an integral value within 64 bits, 42.0 and 1e3 included.
std::optional<std::int64_t> optionalInteger(const Node::Object& object, std::string_view name);
std::optional<double> optionalNumber(const Node::Object& object, std::string_view name);
/// The member, which must be an object when it is there and not `null`.
const Node::Object* optionalObject(const Node::Object& object, std::string_view name);

/// Runs `read`, and puts `name` before the text of its failure, so that the text names the whole path.
template <class Read>
auto within(const std::string& name, Read read) {
  try {
    return read();
  } catch (const DecodingFailure& failure) {
    throw DecodingFailure(name + "." + failure.what());
  }
}

[[noreturn]] void failAt(std::string_view name, std::string_view reason);

}  // namespace corvane::json
