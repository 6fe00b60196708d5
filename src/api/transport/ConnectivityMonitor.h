#pragma once

#include <memory>

namespace corvane::platform {

/// A subscription to the operating system's notifications that links, addresses or routes have changed. No
/// change after `subscribe` is missed: notifications stay in the descriptor until they are taken. The
/// destructor ends the subscription. Used by one thread at a time.
class ConnectivityMonitor {
 public:
  enum class Changes {
    none,  ///< Nothing has changed since the last call.
    some,  ///< Something may have changed.
    lost,  ///< The subscription failed; there are no further notifications.
  };

  /// Returns nullptr when the platform has no such notifications or denies them to this process.
  static std::unique_ptr<ConnectivityMonitor> subscribe();

  /// Whether there is a route to more than this machine and link-local addresses. True when that cannot be
  /// determined. Does not block.
  static bool hasRouteBeyondLoopback();

  ~ConnectivityMonitor();
  ConnectivityMonitor(const ConnectivityMonitor&) = delete;
  ConnectivityMonitor& operator=(const ConnectivityMonitor&) = delete;

  /// Readable when there are notifications to take. Owned by this object.
  int descriptor() const { return descriptor_; }

  /// Takes all pending notifications. Does not block.
  Changes takeChanges();

 private:
  explicit ConnectivityMonitor(int descriptor) : descriptor_(descriptor) {}

  int descriptor_;
};

}  // namespace corvane::platform
