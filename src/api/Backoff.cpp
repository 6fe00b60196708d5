#include "api/Backoff.h"

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace corvane {
namespace {

/// A century: far beyond any wait that is meant, and far enough from the clock's end to be added to now.
constexpr std::chrono::nanoseconds longestWait = std::chrono::hours(24 * 365 * 100);

locale_t posixLocale() {
  static const locale_t posix = newlocale(LC_ALL_MASK, "C", nullptr);
  return posix;
}

bool isBlank(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace

bool isRetryable(int statusCode) {
  return statusCode == 429 || (statusCode >= 500 && statusCode <= 599);
}

double exponentialDelay(const CorvaneRetryPolicy& policy, std::int64_t attempt) {
  return policy.baseDelay * std::exp2(static_cast<double>(attempt - 1));
}

double capped(double delay, double maxDelay) {
  return std::min(delay, maxDelay);
}

std::optional<double> parseRetryAfter(const std::string& text) {
  if (text.empty() || isBlank(text.front())) return std::nullopt;
  char* end = nullptr;
  const double seconds = strtod_l(text.c_str(), &end, posixLocale());
  if (end != text.data() + text.size()) return std::nullopt;
  return seconds;
}

std::chrono::nanoseconds waitDuration(double delay) {
  if (!(delay > 0)) return std::chrono::nanoseconds::zero();
  const double nanoseconds = delay * 1e9;
  if (nanoseconds >= static_cast<double>(longestWait.count())) return longestWait;
  return std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds));
}

std::string twoDecimals(double delay) {
  // The largest double has 309 digits before the point.
  char digits[352];
  const auto end =
      std::to_chars(std::begin(digits), std::end(digits), delay, std::chars_format::fixed, 2).ptr;
  return {digits, end};
}

}  // namespace corvane
