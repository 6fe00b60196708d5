#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"

namespace corvane::platform {

/// Why this request cannot be sent as it is, or nothing: other methods than GET and POST, a header name that
/// is not a token, and a line break or NUL in URL or header values (which would forge the message).
std::optional<std::string> malformation(const URLRequest& request);

/// One hop of an exchange as libcurl performs it: an easy handle and all that it points at. Reused from hop
/// to hop and exchange to exchange. Transport thread only; stays in place while libcurl has it.
class TransportTransfer {
 public:
  static constexpr std::size_t maxBodySize = 1024 * 1024;
  static constexpr std::size_t maxHeaderSize = 256 * 1024;

  TransportTransfer();
  TransportTransfer(const TransportTransfer&) = delete;
  TransportTransfer& operator=(const TransportTransfer&) = delete;

  CURL* handle() const { return easy_.get(); }

  /// Readies the handle for a hop; redirects are answers to it. `request` must stay in place until the hop
  /// has ended, for its body is not copied. `authorityFile`: see `URLSessionConfiguration`.
  CURLcode prepare(const URLRequest& request, std::chrono::milliseconds timeout,
                   const std::string& authorityFile);

  /// Forgets the hop: nothing of its request (secrets) or its answer stays in memory while the handle waits
  /// for another exchange. Connections belong to the multi handle and stay.
  void reset();

  /// The answer of a hop that ended well: status, body, and the final header fields.
  HTTPResponse takeResponse();

  /// libcurl's description of the failure; the broken limit where it was one of ours.
  std::string failureText(CURLcode code) const;

  /// Whether the hop failed because there was no way to the peer. libcurl tells the reason of the last
  /// address that it tried only, which says nothing of the others: of several, the kernel must have known a
  /// way to none (a server that refuses IPv4 and cannot be reached by IPv6 has refused).
  bool foundNoWay(CURLcode code) const;

 private:
  struct FreeEasy {
    void operator()(CURL* easy) const {
      // A reset handle has forgotten it, and would ignore SIGPIPE for the whole process while it goes.
      curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
      curl_easy_cleanup(easy);
    }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  static std::size_t receiveBody(char* data, std::size_t, std::size_t size, void* self) noexcept;
  static std::size_t receiveHeader(char* data, std::size_t, std::size_t size, void* self) noexcept;

  static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept;

  bool appendHeader(const std::string& line);
  bool setHeaders(const URLRequest& request);

  std::unique_ptr<CURL, FreeEasy> easy_;
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::array<char, CURL_ERROR_SIZE> detail_{};
  std::string body_;
  std::size_t headerBytes_ = 0;
  const char* brokenLimit_ = nullptr;
  int addressesTried_ = 0;
  bool knewWay_ = false;
};

}  // namespace corvane::platform
