#pragma once

#include <cstdint>
#include <optional>

/// The severity of a log line, and the threshold in `CorvaneOptions::logLevel`. Ordered: `debug` < `info` <
/// `warning` < `error` < `none`; the built-in comparisons compare by that order.
enum class CorvaneLogLevel : std::int64_t {
  debug = 0,
  info = 1,
  warning = 2,
  error = 3,
  none = 4,  ///< As a threshold: nothing is written. No line has this level.
};

/// The level's number, for hosts that keep it in a configuration of their own.
constexpr std::int64_t corvaneRawValue(CorvaneLogLevel level) noexcept {
  return static_cast<std::int64_t>(level);
}

/// The level of a number from 0 to 4; no value for any other number.
constexpr std::optional<CorvaneLogLevel> corvaneLogLevel(std::int64_t rawValue) noexcept {
  if (rawValue < corvaneRawValue(CorvaneLogLevel::debug) || rawValue > corvaneRawValue(CorvaneLogLevel::none))
    return std::nullopt;
  return static_cast<CorvaneLogLevel>(rawValue);
}
