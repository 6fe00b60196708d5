#pragma once

#include <algorithm>
#include <cstddef>

namespace corvane::platform {

/// How many exchanges of events are admitted at once, from what is observed of their connections. A value.
///
/// Over HTTP/1.1, and until the protocol is known, each exchange takes a connection, so the bound is low.
/// Over HTTP/2 all share one connection, and the server says how many streams it allows. What libcurl does
/// not begin shows that number; one exchange more is admitted, so that a stream is used again at once.
///
/// libcurl learns the number only after the connection is made, and requests above it would be refused. So a
/// new connection gets few streams until its first response.
class EventAdmission {
 public:
  static constexpr std::size_t overHTTP1 = 8;
  static constexpr std::size_t overHTTP2 = 100;

  std::size_t capacity() const { return multiplexes_ ? std::clamp(limit_, overHTTP1, overHTTP2) : overHTTP1; }
  /// The bounds for the pool.
  std::size_t connectionsPerHost() const { return multiplexes_ ? 1 : overHTTP1; }
  std::size_t streams() const { return isConfirmed_ ? overHTTP2 : overHTTP1; }

  /// A connection is being made.
  void opened() { isConfirmed_ = false; }

  /// A response has arrived.
  void responded(bool overMultiplexedConnection) {
    multiplexes_ = isConfirmed_ = overMultiplexedConnection;
    if (!multiplexes_) limit_ = overHTTP2;
  }

  /// Of the exchanges in progress libcurl has begun some and holds the others.
  void observe(std::size_t begun, std::size_t held) {
    if (!isConfirmed_ || begun == 0) return;
    if (held > 0) {
      limit_ = begun + 1;
    } else if (begun >= limit_) {
      limit_ = std::min(2 * limit_, overHTTP2);  // the server allows more than before
    }
  }

 private:
  bool multiplexes_ = false;
  bool isConfirmed_ = false;
  std::size_t limit_ = overHTTP2;
};

}  // namespace corvane::platform
