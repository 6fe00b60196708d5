#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "http/Certificate.h"
#include "http/Descriptor.h"

struct ssl_st;

namespace corvane::sandbox {

/// One accepted connection, plain or through TLS. Its operations block, and one thread uses it. That thread
/// must block SIGPIPE.
class Connection {
 public:
  /// Each read waits this long at most, each write half as long.
  static constexpr std::chrono::seconds timeLimit{60};

  /// With a TLS context, performs the handshake.
  Connection(Descriptor socket, const TLSContext& context);

  int socket() const { return socket_.number(); }
  /// False when the TLS handshake has failed or the connection was reset here.
  bool isOpen() const { return isOpen_; }

  /// Appends the next bytes; false when the peer has ended, at the time limit and on errors.
  bool read(std::string& into);
  /// Writes all of it; false when the peer has gone.
  bool write(std::string_view bytes);

  /// Lets that time pass; false when the peer hangs up meanwhile.
  bool pause(std::chrono::milliseconds duration);
  /// Reads and drops what the peer sends, until it hangs up or the time is over.
  void discard(std::chrono::milliseconds duration);
  /// Ends the connection in order. What the peer still sends is dropped: a close with unread data would reset
  /// the connection, and the peer could lose the last response.
  void finish();
  /// Ends the connection by a reset.
  void reset();

 private:
  Descriptor socket_;
  std::unique_ptr<ssl_st, void (*)(ssl_st*)> tls_;
  bool isOpen_ = true;
};

}  // namespace corvane::sandbox
