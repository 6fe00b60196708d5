#include "api/Backoff.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>

using namespace corvane;
using namespace std::chrono_literals;

namespace {
constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");
}  // namespace

TEST(Backoff, DoublesFromTheBaseDelayAndIsCapped) {
  const CorvaneRetryPolicy policy(9, 0.5, 8);
  const double expected[] = {0.5, 1, 2, 4, 8, 8, 8};
  for (int attempt = 1; attempt <= 7; ++attempt)
    EXPECT_EQ(capped(exponentialDelay(policy, attempt), policy.maxDelay), expected[attempt - 1]);
  EXPECT_EQ(exponentialDelay(policy, 5000), infinity);
  EXPECT_TRUE(std::isnan(capped(notANumber, 8)));
  EXPECT_EQ(capped(3, notANumber), 3);
}

TEST(Backoff, RetriesRateLimitsAndServerErrorsOnly) {
  for (const int status : {429, 500, 503, 599}) EXPECT_TRUE(isRetryable(status)) << status;
  for (const int status : {-1, 200, 301, 400, 401, 404, 408, 428, 430, 499, 600})
    EXPECT_FALSE(isRetryable(status)) << status;
}

TEST(Backoff, ReadsRetryAfterAsOneWholeNumber) {
  const std::pair<const char*, double> numbers[] = {{"2", 2},          {"2.5", 2.5}, {"1e1", 10},
                                                    {"-5", -5},        {"+3", 3},    {"0x10", 16},
                                                    {"inf", infinity}, {".5", 0.5},  {"1e400", infinity}};
  for (const auto& [text, value] : numbers) EXPECT_EQ(parseRetryAfter(text), value) << text;
  EXPECT_TRUE(std::isnan(parseRetryAfter("nan").value()));
  for (const char* text :
       {"", " ", " 2", "2 ", "\t2", "2s", "2,5", "Wed, 21 Oct 2026 07:28:00 GMT", "1e", "--1"})
    EXPECT_EQ(parseRetryAfter(text), std::nullopt) << text;
  EXPECT_EQ(parseRetryAfter(std::string("2\0", 2)), std::nullopt);
}

TEST(Backoff, WaitsWholeNanosecondsWithinWhatTheClockCanHold) {
  EXPECT_EQ(waitDuration(0.5), 500ms);
  EXPECT_EQ(waitDuration(1e-10), 0ns);
  for (const double atOnce : {0.0, -1.0, -infinity, notANumber}) EXPECT_EQ(waitDuration(atOnce), 0ns);
  for (const double tooLong : {1e11, 1e300, infinity}) {
    EXPECT_GT(waitDuration(tooLong), 24h * 365 * 50);
    EXPECT_GT(std::chrono::steady_clock::now() + waitDuration(tooLong), std::chrono::steady_clock::now());
  }
}

TEST(Backoff, WritesDelaysWithTwoDecimals) {
  EXPECT_EQ(twoDecimals(0.125), "0.12");
  EXPECT_EQ(twoDecimals(notANumber), "nan");
  EXPECT_EQ(twoDecimals(std::numeric_limits<double>::max()).size(), 312U);
}

TEST(Backoff, DoesNotFollowTheHostsLocale) {
  setenv("LOCPATH", CORVANE_TEST_LOCALES, 1);
  const bool found = setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
  unsetenv("LOCPATH");
  if (!found) GTEST_SKIP() << "localedef could not make de_DE.UTF-8: the package locales is missing";
  EXPECT_EQ(parseRetryAfter("2.5"), 2.5);
  EXPECT_EQ(parseRetryAfter("2,5"), std::nullopt);
  EXPECT_EQ(twoDecimals(2.5), "2.50");
  setlocale(LC_ALL, "C");
}
