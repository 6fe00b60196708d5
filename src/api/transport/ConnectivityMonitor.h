#pragma once

#include <memory>

namespace corvane::platform {

/// A subscription to the operating system's notices that links, addresses or routes have changed. What
/// happens after `subscribe` is not missed: notices wait in the descriptor until they are taken. Destroying
/// it ends the subscription. One thread at a time.
class ConnectivityMonitor {
 public:
  enum class Notices {
    none,  ///< Nothing has changed since the last call.
    some,  ///< Something may have changed.
    lost,  ///< The subscription broke; no notice will come any more.
  };

  /// Null where the platform has no such notices, or does not let this process have them.
  static std::unique_ptr<ConnectivityMonitor> subscribe();

  /// Whether a route leads anywhere but to this machine and its links' neighbourhood addresses. True where
  /// that cannot be told. Does not block.
  static bool hasRouteBeyondLoopback();

  ~ConnectivityMonitor();
  ConnectivityMonitor(const ConnectivityMonitor&) = delete;
  ConnectivityMonitor& operator=(const ConnectivityMonitor&) = delete;

  /// Readable when there is something to take. Owned by this object.
  int descriptor() const { return descriptor_; }

  /// Takes all pending notices. Never blocks.
  Notices take();

 private:
  explicit ConnectivityMonitor(int descriptor) : descriptor_(descriptor) {}

  int descriptor_;
};

}  // namespace corvane::platform
