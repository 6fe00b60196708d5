#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "EventStreams.h"
#include "HTTPMessage.h"
#include "http/Descriptor.h"
#include "http/Listener.h"

namespace corvane::sandbox {

struct IncomingRequest;

/// An HTTP/1.1 server. Each connection has a thread, but the handler answers one request at a time, so that
/// what it uses needs no lock. Connections, request sizes, waiting times and the backlog of an event stream
/// are bounded.
class HTTPServer {
 public:
  using Handler = std::function<Response(const Request&)>;

  struct Options {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  ///< 0: a free port
    TLSContext tls = {};     ///< present: HTTPS
    bool exitOnEOF = false;  ///< end when standard input ends
  };

  /// `streams` takes the event streams that the handler opens. Listens from here on, and blocks SIGINT and
  /// SIGTERM in this thread. Throws `std::runtime_error` when the address cannot be used.
  HTTPServer(const Options& options, EventStreams& streams, Handler handler);

  /// "http://127.0.0.1:8717" or "https://…".
  std::string origin() const { return listener_.origin(); }

  /// Serves until SIGINT, SIGTERM or, if so chosen, the end of standard input.
  void run();

 private:
  void serve(Connection& connection);
  bool answer(Connection& connection, const IncomingRequest& incoming);

  const bool exitOnEOF_;
  const Handler handler_;
  const Descriptor signals_;
  std::mutex handling_;  // held while the handler runs
  EventStreams& streams_;
  Listener listener_;  // last: its threads use the others
};

}  // namespace corvane::sandbox
