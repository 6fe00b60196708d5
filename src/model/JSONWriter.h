#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "model/CodecFailure.h"

/// The JSON rules of all messages that are written. Included by the codecs only: the JSON library stays
/// behind them.
namespace corvane::json {

using Value = nlohmann::json;

/// Compact bytes of the value, which must hold finite numbers only. Throws `EncodingFailure`.
std::string write(const Value& value);

template <class T>
void putIfPresent(Value& object, const char* name, const std::optional<T>& value) {
  if (value) object[name] = *value;
}

}  // namespace corvane::json
