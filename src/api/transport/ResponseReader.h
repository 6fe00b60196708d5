#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "api/HTTPResponse.h"

namespace corvane::platform {

/// Reads one response as libcurl receives it: the header fields of the final response, and the body.
///
/// Interim responses (1xx) and a response that libcurl repeats leave nothing behind. Trailers are counted and
/// dropped: the library needs none, and a trailer must not replace a header. Transport thread only. Must not
/// move while a transfer runs: libcurl holds its address.
class ResponseReader {
 public:
  static constexpr std::size_t maxBodySize = 8 * 1024 * 1024;
  /// Of the header section, interim responses and trailers included.
  static constexpr std::size_t maxHeaderSize = 256 * 1024;
  static constexpr std::size_t maxHeaderLines = 1000;

  /// Forgets everything that was read, and makes `easy` pass the next response to this object.
  CURLcode attach(CURL* easy);

  /// Frees what was read.
  void reset();

  /// The response of a transfer that ended with `code`. Nothing when there is none: the transfer failed, or
  /// the connection closed before the empty line that ends the header section. A body that is longer than
  /// `maxBodySize` is a response whose body is truncated; the rest of it is not received.
  std::optional<HTTPResponse> take(CURLcode code);

  /// Why there is no response, where libcurl has no text of its own for it. Otherwise null.
  const char* failureText(CURLcode code) const;

 private:
  using Headers = std::map<std::string, std::string>;
  enum class Part { statusLine, fields, afterFields };

  static std::size_t receiveBody(char* data, std::size_t, std::size_t size, void* self) noexcept;
  static std::size_t receiveHeader(char* data, std::size_t, std::size_t size, void* self) noexcept;

  bool count(std::size_t size);
  void read(std::string_view line);
  void readField(std::string_view line);
  void endFields();
  int status() const;

  CURL* easy_ = nullptr;
  Part part_ = Part::statusLine;
  Headers headers_;
  Headers::iterator latest_ = headers_.end();  // the field that a folded line continues
  std::size_t headerSize_ = 0;
  std::size_t headerLines_ = 0;
  const char* exceededLimit_ = nullptr;
  std::string body_;
  bool bodyIsTruncated_ = false;
};

}  // namespace corvane::platform
