#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"
#include "api/transport/ConnectionPool.h"
#include "api/transport/ResponseReader.h"
#include "api/transport/URLSessionConfiguration.h"

namespace corvane::platform {

/// Why this request cannot be sent, or nothing: its method is not GET or POST, a header name is not a token,
/// or the URL or a header value contains a line break or NUL, which would inject lines into the message.
std::optional<std::string> validationError(const URLRequest& request);

/// One request of an exchange as libcurl performs it: an easy handle and all that it points at. Reused for
/// redirects and for other exchanges. Transport thread only. Must not move: libcurl holds its address.
class TransportTransfer {
 public:
  /// How far the current request has come.
  enum class Stage {
    held,  ///< It has not begun: libcurl has no connection for it, or has not looked for one.
    resolving,
    connecting,
    sending,  ///< On a connection: it is sent, or its response is awaited or received.
  };

  /// `shared`: what the transfers share. It must outlive this object.
  explicit TransportTransfer(CURLSH* shared) : shared_(shared) {}
  TransportTransfer(const TransportTransfer&) = delete;
  TransportTransfer& operator=(const TransportTransfer&) = delete;

  /// Null before `prepare` and after `reset`.
  CURL* handle() const { return easy_.get(); }

  /// Makes the handle for one request. libcurl returns redirects as responses. `request` must not move or
  /// change until the end, because its body is not copied. `pool`: where its connections belong.
  /// libcurl limits the time to connect only, and divides it among the addresses of a host; every other
  /// time-out is the loop's. Of the configuration the proxy and the authorities are used.
  CURLcode prepare(const URLRequest& request, ConnectionPool& pool, std::chrono::milliseconds connectTimeout,
                   const URLSessionConfiguration& configuration);

  /// Frees the data of the request, which may be secret, and of the response. Connections belong to the multi
  /// handle and stay open.
  void reset();

  /// The response of a request that ended with `code`, or nothing (`ResponseReader::take`).
  std::optional<HTTPResponse> takeResponse(CURLcode code) { return response_.take(code); }

  Stage stage() const { return stage_; }
  curl_off_t bytesSent() const;
  curl_off_t bytesReceived() const;
  curl_off_t bodyBytesReceived() const;
  /// The port of its connection at this end, which identifies the connection; 0 when there is none yet.
  long localPort() const;
  /// Whether the response came over a connection that serves several requests at once.
  bool isMultiplexed() const;

  /// Why there is no response: the limit of `ResponseReader` that was exceeded, or libcurl's description.
  std::string failureText(CURLcode code) const;

  /// Whether the request failed because no address of the server is reachable. libcurl reports the error of
  /// the last address only. With several addresses, the kernel must have had a route to none of them: a
  /// server that refuses on IPv4 and has no route on IPv6 was reachable.
  bool wasUnreachable(CURLcode code) const;

 private:
  class Options;

  struct FreeEasy {
    void operator()(CURL* easy) const {
      // Without this option, which `prepare` may not have set, the clean-up changes the process's SIGPIPE
      // handler.
      curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
      curl_easy_cleanup(easy);
    }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  static int beginResolving(void*, void*, void* self) noexcept;
  static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept;
  static int beginSending(void* self, char*, char*, int, int) noexcept;

  void setRequest(Options& options, const URLRequest& request) const;
  void setConnection(Options& options, std::chrono::milliseconds connectTimeout);
  bool setProxy(Options& options, const std::string& proxy);
  static void setTLS(Options& options, const URLSessionConfiguration& configuration);

  bool appendHeader(const std::string& line);
  bool setHeaders(const URLRequest& request);

  std::unique_ptr<CURL, FreeEasy> easy_;
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::array<char, CURL_ERROR_SIZE> detail_{};
  ResponseReader response_;
  CURLSH* const shared_;
  ConnectionPool* pool_ = nullptr;
  Stage stage_ = Stage::held;
  int addressesTried_ = 0;
  bool hadRoute_ = false;
};

}  // namespace corvane::platform
