#include "model/CustomDataJSON.h"

#include <limits>

#include "model/JSONScalar.h"

namespace corvane {
namespace {

JSONScalar readScalar(const json::Value& value) {
  if (value.is_null()) return nullptr;
  if (value.is_boolean()) return value.get<bool>();
  const bool tooLarge = value.is_number_unsigned() &&
                        value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  if (value.is_number_integer() && !tooLarge) return value.get<std::int64_t>();
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) return value.get<std::string>();
  throw DecodingFailure("Unsupported customData scalar value");
}

}  // namespace

CustomData readCustomData(const json::Value& value) {
  CustomData result;
  if (value.is_null()) return result;
  if (!value.is_object()) throw DecodingFailure("expected an object");
  for (const auto& [name, scalar] : value.items()) {
    try {
      result.values.emplace(name, textOf(readScalar(scalar)));
    } catch (const DecodingFailure& failure) {
      json::failAt(name, failure.what());
    }
  }
  return result;
}

}  // namespace corvane
