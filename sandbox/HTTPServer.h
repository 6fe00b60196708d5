#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Certificate.h"
#include "HTTPMessage.h"

namespace corvane::sandbox {

/// A small HTTP/1.1 server over the loopback or whatever address it is given.
///
/// One thread does everything: the one that calls `run`. The handler runs there, one request at a time, so
/// that what it touches needs no lock. Connections, request sizes, waiting times and what an event stream may
/// fall behind are all bounded; a connection beyond the bound waits in the kernel's line until another ends.
class HTTPServer {
 public:
  using Handler = std::function<Response(const Request&)>;

  struct Options {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;                       // 0: a free one
    std::optional<Certificate> certificate = {};  // given: HTTPS
    bool exitOnEOF = false;                       // end when standard input does
  };

  /// Listens from here on. Throws `std::runtime_error` when the address cannot be had.
  HTTPServer(const Options& options, Handler handler);
  ~HTTPServer();

  /// "http://127.0.0.1:8717", or "https://…".
  std::string origin() const;

  /// Serves until SIGINT, SIGTERM or, if so asked, the end of standard input.
  void run();

  /// Sends a piece of text to every open event stream. Only to be called by the handler. A stream that has
  /// fallen too far behind is closed: its reader comes again and begins afresh.
  void publish(const std::string& text);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::sandbox
