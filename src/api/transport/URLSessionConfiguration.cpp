#include "api/transport/URLSessionConfiguration.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvane::platform {

std::chrono::milliseconds URLSessionConfiguration::exchangeTimeout() const {
  constexpr double longestInterval = std::numeric_limits<int>::max();
  const double shorter = std::min(timeoutIntervalForRequest, timeoutIntervalForResource);
  const bool isNumber = !std::isnan(timeoutIntervalForRequest) && !std::isnan(timeoutIntervalForResource);
  const double milliseconds = isNumber ? std::clamp(std::ceil(shorter * 1000), 1.0, longestInterval) : 1.0;
  return std::chrono::milliseconds(static_cast<int>(milliseconds));
}

}  // namespace corvane::platform
