#include <gtest/gtest.h>

#include "async/Failure.h"
#include "corvane/CorvaneError.h"

TEST(CorvaneError, DescribesEachCaseByItsFixedTextWithThePayloadUnchanged) {
  const std::pair<CorvaneError, const char*> table[] = {
      {CorvaneError::invalidURL("ht tp"), "Invalid URL: ht tp"},
      {CorvaneError::transport("gone\n"), "Network error: gone\n"},
      {CorvaneError::server(500, std::nullopt), "Server returned status 500"},
      {CorvaneError::server(404, ""), "Server returned status 404: "},
      {CorvaneError::decoding("Failed to encode request: x"),
       "Failed to decode response: Failed to encode request: x"},
      {CorvaneError::emptyResponse(), "The server returned an empty response."},
      {CorvaneError::notACorvaneURL(), "The provided URL is not a Corvane tracking link."},
      {CorvaneError::missingAPIKey(),
       "Corvane.configure requires a non-empty API key (cv_live_\xE2\x80\xA6). Pass your workspace SDK key."},
      {CorvaneError::invalidAPIKey(),
       "The API key was rejected by the server (invalid, revoked, or not authorized for this app)."}};
  for (const auto& [error, text] : table) {
    EXPECT_EQ(error.errorDescription(), text);
    EXPECT_STREQ(error.what(), text);
  }
}

TEST(CorvaneError, IsEqualByCaseAndPayload) {
  const CorvaneError values[] = {CorvaneError::transport("a"),   CorvaneError::transport("b"),
                                 CorvaneError::decoding("a"),    CorvaneError::invalidURL("a"),
                                 CorvaneError::emptyResponse(),  CorvaneError::invalidAPIKey(),
                                 CorvaneError::server(500, "a"), CorvaneError::server(502, "a"),
                                 CorvaneError::server(500, ""),  CorvaneError::server(500, std::nullopt)};
  for (const auto& a : values)
    for (const auto& b : values) EXPECT_EQ(a == b, &a == &b) << a.what() << " / " << b.what();
  EXPECT_EQ(values[6].statusCode(), 500);
  EXPECT_EQ(values[6].body(), "a");
}

TEST(Failure, OfAnotherTypeIsACancellation) {
  try {
    throw std::bad_alloc();
  } catch (...) {
    EXPECT_EQ(corvane::currentFailure(), corvane::Failure(CorvaneCancellationError()));
  }
}
