#include "corvane/CorvaneError.h"

#include <utility>

#include "corvane/CorvaneCancellationError.h"

namespace {

using Case = CorvaneError::Case;

/// Never destroyed: errors may be read while the process ends.
const std::string& noText() {
  static const auto* const none = new std::string();
  return *none;
}

std::string describe(Case which, const std::string& text, std::int64_t statusCode,
                     const std::optional<std::string>& body) {
  switch (which) {
    case Case::invalidURL:
      return "Invalid URL: " + text;
    case Case::transport:
      return "Network error: " + text;
    case Case::server:
      return "Server returned status " + std::to_string(statusCode) + (body ? ": " + *body : "");
    case Case::decoding:
      return "Failed to decode response: " + text;
    case Case::emptyResponse:
      return "The server returned an empty response.";
    case Case::notACorvaneURL:
      return "The provided URL is not a Corvane tracking link.";
    case Case::missingAPIKey:
      return "Corvane.configure requires a non-empty API key (cv_live_…). Pass your workspace SDK key.";
    case Case::invalidAPIKey:
      return "The API key was rejected by the server (invalid, revoked, or not authorized for this app).";
  }
  return {};
}

}  // namespace

CorvaneError::CorvaneError(Case which, std::string text, std::int64_t statusCode,
                           std::optional<std::string> body)
    : kind_(which),
      text_(std::move(text)),
      statusCode_(statusCode),
      body_(std::move(body)),
      description_(describe(kind_, text_, statusCode_, body_)) {}

CorvaneError CorvaneError::invalidURL(std::string url) {
  return {Case::invalidURL, std::move(url), 0, {}};
}
CorvaneError CorvaneError::transport(std::string message) {
  return {Case::transport, std::move(message), 0, {}};
}
CorvaneError CorvaneError::server(std::int64_t statusCode, std::optional<std::string> body) {
  return {Case::server, {}, statusCode, std::move(body)};
}
CorvaneError CorvaneError::decoding(std::string message) {
  return {Case::decoding, std::move(message), 0, {}};
}
CorvaneError CorvaneError::emptyResponse() {
  return {Case::emptyResponse, {}, 0, {}};
}
CorvaneError CorvaneError::notACorvaneURL() {
  return {Case::notACorvaneURL, {}, 0, {}};
}
CorvaneError CorvaneError::missingAPIKey() {
  return {Case::missingAPIKey, {}, 0, {}};
}
CorvaneError CorvaneError::invalidAPIKey() {
  return {Case::invalidAPIKey, {}, 0, {}};
}

CorvaneError::CorvaneError(const CorvaneError&) = default;
CorvaneError::CorvaneError(CorvaneError&&) noexcept = default;
CorvaneError& CorvaneError::operator=(const CorvaneError&) = default;
CorvaneError& CorvaneError::operator=(CorvaneError&&) noexcept = default;
CorvaneError::~CorvaneError() = default;

const std::string& CorvaneError::url() const noexcept {
  return kind_ == Case::invalidURL ? text_ : noText();
}

const std::string& CorvaneError::message() const noexcept {
  return kind_ == Case::transport || kind_ == Case::decoding ? text_ : noText();
}

CorvaneCancellationError::CorvaneCancellationError() noexcept = default;
CorvaneCancellationError::CorvaneCancellationError(const CorvaneCancellationError&) noexcept = default;
CorvaneCancellationError& CorvaneCancellationError::operator=(const CorvaneCancellationError&) noexcept =
    default;
CorvaneCancellationError::~CorvaneCancellationError() = default;

const char* CorvaneCancellationError::what() const noexcept {
  return "The operation was cancelled.";
}
