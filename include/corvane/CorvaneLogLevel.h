#pragma once

#include <cstdint>
#include <optional>

/// The severity of a log line, and the threshold in `CorvaneOptions::logLevel`. Ordered: `debug` < `info` <
/// `warning` < `error` < `none`; the built-in comparison operators use that order.
enum class CorvaneLogLevel : std::int64_t {
  debug = 0,
  info = 1,
  warning = 2,
  error = 3,
  none = 4,  ///< As a threshold: no line is written. No line has this level.
};

/// Returns the number of the level, for a host that stores it in its own configuration.
constexpr std::int64_t corvaneRawValue(CorvaneLogLevel level) noexcept {
  return static_cast<std::int64_t>(level);
}

/// Returns the level with a number from 0 to 4; nullopt for any other number.
constexpr std::optional<CorvaneLogLevel> corvaneLogLevel(std::int64_t rawValue) noexcept {
  if (rawValue < corvaneRawValue(CorvaneLogLevel::debug) || rawValue > corvaneRawValue(CorvaneLogLevel::none))
    return std::nullopt;
  return static_cast<CorvaneLogLevel>(rawValue);
}
