#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// The error type of the library: one of eight cases, with the data of that case.
///
/// A value type: it can be copied and compared, and it owns its texts. `CorvaneTask::get` and
/// `Corvane::configure` throw it, and the callback of `Corvane::onError` receives it. The only other failure
/// of an operation is `CorvaneCancellationError`.
class CORVANE_API CorvaneError : public std::exception {
 public:
  enum class Case {
    invalidURL,      ///< A request URL could not be built; `url()` is the text that is not a URL.
    transport,       ///< The exchange failed before a response arrived; `message()` is the reason.
    server,          ///< The final HTTP status was not a success; see `statusCode()` and `body()`.
    decoding,        ///< A message could not be decoded from or encoded to JSON, or is larger than 8 MiB; see
                     ///< `message()`.
    emptyResponse,   ///< A success status arrived without a body.
    notACorvaneURL,  ///< A URL passed to deep-link handling is not a tracking link.
    missingAPIKey,   ///< `configure` was called without an API key.
    invalidAPIKey,   ///< The server rejected the API key (HTTP 401).
  };

  static CorvaneError invalidURL(std::string url);
  static CorvaneError transport(std::string message);
  static CorvaneError server(std::int64_t statusCode, std::optional<std::string> body);
  static CorvaneError decoding(std::string message);
  static CorvaneError emptyResponse();
  static CorvaneError notACorvaneURL();
  static CorvaneError missingAPIKey();
  static CorvaneError invalidAPIKey();

  CorvaneError(const CorvaneError&);
  CorvaneError(CorvaneError&&) noexcept;
  CorvaneError& operator=(const CorvaneError&);
  CorvaneError& operator=(CorvaneError&&) noexcept;
  ~CorvaneError() override;

  /// Returns which of the eight cases this is. The underscore is there because `case` is a C++ keyword.
  Case case_() const noexcept { return kind_; }

  /// The text that is not a URL. Empty in every case but `invalidURL`.
  const std::string& url() const noexcept;

  /// The reason. Empty in every case but `transport` and `decoding`.
  const std::string& message() const noexcept;

  /// The HTTP status; -1 when the response was not HTTP. 0 in every case but `server`.
  std::int64_t statusCode() const noexcept { return statusCode_; }

  /// The body of the response as text; of one with more than 8 MiB the complete characters of the first 8
  /// MiB. Absent when it is not valid UTF-8, and in every case but `server`.
  const std::optional<std::string>& body() const noexcept { return body_; }

  /// The description of the error in UTF-8: one fixed text per case with the data inserted unchanged. That
  /// data may contain any text from a server, including line breaks.
  const std::string& errorDescription() const noexcept { return description_; }

  /// The same text as `errorDescription()`.
  const char* what() const noexcept override { return description_.c_str(); }

  /// Equal when the case and all its data are equal. An absent body differs from an empty one.
  friend bool operator==(const CorvaneError& a, const CorvaneError& b) noexcept {
    return a.kind_ == b.kind_ && a.text_ == b.text_ && a.statusCode_ == b.statusCode_ && a.body_ == b.body_;
  }

 private:
  CorvaneError(Case which, std::string text, std::int64_t statusCode, std::optional<std::string> body);

  Case kind_;
  std::string text_;
  std::int64_t statusCode_;
  std::optional<std::string> body_;
  std::string description_;
};
