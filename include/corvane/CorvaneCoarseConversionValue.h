#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

/// The coarse conversion value of ad-network attribution: how valuable a user is, without identifying the
/// user. A value type: `CorvaneCoarseConversionValue::medium`. Values with equal raw values are equal and
/// have equal hashes.
class CorvaneCoarseConversionValue {
 public:
  enum Value { low, medium, high };

  /// Implicit, so that the enumerators are usable as values.
  constexpr CorvaneCoarseConversionValue(Value value) noexcept : value_(value) {}
  /// Implicit, so that a value is usable in `switch`.
  constexpr operator Value() const noexcept { return value_; }

  /// "low", "medium" or "high".
  constexpr std::string_view rawValue() const noexcept {
    return value_ == low ? "low" : value_ == medium ? "medium" : "high";
  }

  /// Returns the value with exactly that raw value; nullopt for any other text, including one in a different
  /// letter case.
  static constexpr std::optional<CorvaneCoarseConversionValue> fromRawValue(std::string_view text) noexcept {
    for (const Value value : {low, medium, high}) {
      const CorvaneCoarseConversionValue candidate(value);
      if (candidate.rawValue() == text) return candidate;
    }
    return std::nullopt;
  }

 private:
  Value value_;
};

template <>
struct std::hash<CorvaneCoarseConversionValue> {
  std::size_t operator()(CorvaneCoarseConversionValue value) const noexcept {
    return std::hash<std::string_view>()(value.rawValue());
  }
};
