#pragma once

#include <atomic>
#include <cstdint>

#include "http/Listener.h"

namespace corvane::test {

/// A path to a server on 127.0.0.1 that can die silently.
class Relay {
 public:
  explicit Relay(std::uint16_t server);

  std::uint16_t port() const { return listener_.port(); }

  /// From now on the connections that exist forward nothing, but stay open. New ones work.
  void loseWhatExists() { ++generation_; }

  /// Waits until one end has closed every connection, and the other end has been told.
  void awaitNoConnection() const;

 private:
  void serve(sandbox::Connection& client);

  const std::uint16_t server_;
  std::atomic<int> generation_ = 0;
  sandbox::Listener listener_;  // last: its threads use the others
};

}  // namespace corvane::test
