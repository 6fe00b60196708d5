#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

/// The coarse conversion value of ad-network attribution: how much a user is worth, without saying who it is.
/// A value: `CorvaneCoarseConversionValue::medium`. Equal, and of equal hash, where the raw values are.
class CorvaneCoarseConversionValue {
 public:
  enum Value { low, medium, high };

  /// The enumerators are the values.
  constexpr CorvaneCoarseConversionValue(Value value) noexcept : value_(value) {}
  /// For `switch`.
  constexpr operator Value() const noexcept { return value_; }

  /// "low", "medium" or "high".
  constexpr std::string_view rawValue() const noexcept {
    return value_ == low ? "low" : value_ == medium ? "medium" : "high";
  }

  /// The value of exactly that text; none for any other, also where only the letter case differs.
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
