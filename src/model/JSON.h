#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "model/CodecFailure.h"

/// The JSON rules that all messages share. Included by the codecs only: the JSON library stays behind them.
///
/// Reading is strict: UTF-8 throughout, no value of another type taken for the one expected, no nesting
/// deeper than 64. A member that is `null` reads as absent. Names that no codec asks for are ignored; of a
/// repeated name one value is kept. Every function throws `DecodingFailure` or `EncodingFailure` and
/// nothing else.
namespace corvane::json {

using Value = nlohmann::json;

/// The JSON object that the bytes hold.
Value parseObject(std::string_view bytes);
/// The JSON array that the bytes hold.
Value parseArray(std::string_view bytes);
/// Compact bytes of the value, which must hold finite numbers only.
std::string write(const Value& value);

std::optional<std::string> optionalString(const Value& object, const char* name);
std::string requiredString(const Value& object, const char* name);
bool requiredBool(const Value& object, const char* name);
/// Any number with an integral value within 64 bits, 42.0 included.
std::optional<std::int64_t> optionalInteger(const Value& object, const char* name);
std::optional<double> optionalNumber(const Value& object, const char* name);
/// The member when it is there and not `null`.
const Value* member(const Value& object, const char* name);
/// The member, which must be an object when it is there and not `null`.
const Value* optionalObject(const Value& object, const char* name);

template <class T>
void putIfPresent(Value& object, const char* name, const std::optional<T>& value) {
  if (value) object[name] = *value;
}

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
