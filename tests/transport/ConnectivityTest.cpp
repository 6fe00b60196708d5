#include "api/transport/ConnectivityMonitor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "Exchange.h"
#include "LookUps.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using platform::ConnectivityMonitor;
using platform::URLSession;
using platform::URLSessionConfiguration;

/// Moves this program into a new network namespace, which only has a loopback device, and that is down. Must
/// be called before a thread is made. Returns why it failed.
std::string enterOwnNetwork() {
  if (unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) return {};
  return std::string("this machine forbids network namespaces: ") + std::strerror(errno);
}
const std::string networkForbidden = enterOwnNetwork();

void control(unsigned long operation, auto& request) {
  const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int code = ::ioctl(socket, operation, &request);
  ::close(socket);
  if (code != 0) throw std::runtime_error(std::strerror(errno));
}

ifreq requestFor(const char* device) {
  ifreq request{};
  std::strncpy(request.ifr_name, device, IFNAMSIZ - 1);
  return request;
}

void bring(const char* device, bool up) {
  ifreq request = requestFor(device);
  control(SIOCGIFFLAGS, request);
  request.ifr_flags = static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
  control(SIOCSIFFLAGS, request);
}

void setAddress(const char* device, unsigned long operation, const char* text) {
  ifreq request = requestFor(device);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, text, &address.sin_addr);
  std::memcpy(&request.ifr_addr, &address, sizeof address);
  control(operation, request);
}

void addHostRoute(const char* device, const char* text) {
  std::string name(device);
  rtentry route{};
  sockaddr_in address{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, text, &address.sin_addr);
  std::memcpy(&route.rt_dst, &address, sizeof address);
  route.rt_flags = RTF_UP | RTF_HOST;
  route.rt_dev = name.data();
  control(SIOCADDRT, route);
}

/// The state of a new namespace. A loopback device that only went down keeps its address, and packets to it
/// are lost instead of refused; it gets an address when it comes up.
void loseLoopback() {
  bring("lo", false);
  setAddress("lo", SIOCSIFADDR, "0.0.0.0");
}

/// A device with a route to 10.77.0.0/24 during the lifetime of this object. Nothing is reachable over it.
class OtherNetwork {
 public:
  OtherNetwork() : tunnel_(::open("/dev/net/tun", O_RDWR | O_CLOEXEC)) {
    if (tunnel_ < 0) return;
    ifreq request = requestFor("corvane0");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    isThere_ = ::ioctl(tunnel_, TUNSETIFF, &request) == 0;
    if (!isThere_) return;
    setAddress("corvane0", SIOCSIFADDR, "10.77.0.1");
    setAddress("corvane0", SIOCSIFNETMASK, "255.255.255.0");
    bring("corvane0", true);
  }
  ~OtherNetwork() { ::close(tunnel_); }
  OtherNetwork(const OtherNetwork&) = delete;
  OtherNetwork& operator=(const OtherNetwork&) = delete;

  bool isThere() const { return isThere_; }
  void loseCarrier() const {
    int off = 0;
    ::ioctl(tunnel_, TUNSETCARRIER, &off);
  }
  /// Leaves only the device's link-local IPv6 address.
  void loseAddress() const { setAddress("corvane0", SIOCSIFADDR, "0.0.0.0"); }

 private:
  int tunnel_;
  bool isThere_ = false;
};

/// The number of sockets of this namespace that receive route notifications.
int subscriptions() {
  std::ifstream table("/proc/self/net/netlink");
  std::string line;
  std::getline(table, line);
  int count = 0;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string address, protocol, process, groups;
    fields >> address >> protocol >> process >> groups;
    if (protocol == "0" && groups != "00000000") ++count;
  }
  return count;
}

void awaitSubscriptions(int count) {
  awaitByPolling(std::to_string(count) + " subscriptions", [&] { return subscriptions() == count; });
}

class Connectivity : public testing::Test {
 protected:
  void SetUp() override {
    if (!networkForbidden.empty()) GTEST_SKIP() << networkForbidden;
    loseLoopback();
    LookUps::makeLateKnown(false);
    server_.emplace(LoopbackResponse::of(200));
  }

  URLSession waiting(double seconds) {
    URLSessionConfiguration configuration = within(seconds);
    configuration.waitsForConnectivity = true;
    return URLSession(configuration, transport_);
  }

  std::optional<LoopbackServer> server_;
  platform::Transport transport_;  // one for each test, because it caches name look-ups
};

TEST_F(Connectivity, AnExchangeWithoutANetworkWaitsForOne) {
  const URLSession session = waiting(600);
  Exchange first = begin(session, {.url = server_->url()});
  Exchange second = begin(session, {.url = server_->url()});
  awaitSubscriptions(1);
  bring("lo", true);
  EXPECT_EQ(response(first.result()).statusCode, 200);
  EXPECT_EQ(response(second.result()).statusCode, 200);
  awaitSubscriptions(0);
}

TEST_F(Connectivity, TheTimeoutLimitsTheWaitAndTheFailureGivesTheReason) {
  EXPECT_NE(failure(run(URLSession(within(600), transport_), {.url = server_->url()})), "")
      << "it must not wait by default";
  for (const char* host : {"127.0.0.1", "unreachable.test"}) {
    const auto begun = std::chrono::steady_clock::now();
    const std::string text = failure(run(waiting(0.3), {.url = server_->url("/", host)}));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(300)) << host;
    EXPECT_NE(text.find("Failed to connect"), std::string::npos) << text;
  }
  awaitSubscriptions(0);
}

TEST_F(Connectivity, CancelAndShutDownEndTheWait) {
  const URLSession session = waiting(600);
  Exchange cancelled = begin(session, {.url = server_->url()});
  Exchange ended = begin(session, {.url = server_->url()});
  awaitSubscriptions(1);
  cancelled.cancel();
  EXPECT_EQ(failure(cancelled.result()), "cancelled");
  EXPECT_TRUE(transport_.shutDown(waitLimit));
  EXPECT_EQ(failure(ended.result()), "the process is exiting");
  awaitSubscriptions(0);
}

TEST_F(Connectivity, ARefusedConnectionFailsAtOnceWhicheverAddressIsTriedLast) {
  bring("lo", true);
  for (const char* host : {"127.0.0.1", "refused-first.test", "refused-last.test"}) {
    const std::string url = server_->url("/", host);
    server_.reset();
    EXPECT_NE(failure(run(waiting(600), {.url = url})), "") << host;
    server_.emplace(LoopbackResponse::of(200));
  }
}

TEST_F(Connectivity, AFailedLookUpWithoutARouteIsRepeatedAtEachNetworkChange) {
  bring("lo", true);
  addHostRoute("lo", "10.78.0.1");
  EXPECT_FALSE(ConnectivityMonitor::hasRouteBeyondLoopback());
  Exchange exchange = begin(waiting(600), {.url = server_->url("/", "late.test")});
  // The first attempt, and the one after the subscription.
  LookUps::awaitLate(2);
  setAddress("lo", SIOCSIFADDR, "127.0.0.2");
  LookUps::awaitLate(3);
  LookUps::makeLateKnown(true);
  setAddress("lo", SIOCSIFADDR, "127.0.0.1");
  EXPECT_EQ(response(exchange.result()).statusCode, 200);
}

TEST_F(Connectivity, ReportsChangesWhenTheKernelDropsNotifications) {
  const auto monitor = ConnectivityMonitor::subscribe();
  for (int i = 0; i < 1000; ++i) bring("lo", i % 2 == 0);
  EXPECT_EQ(monitor->takeChanges(), ConnectivityMonitor::Changes::some);
  EXPECT_EQ(monitor->takeChanges(), ConnectivityMonitor::Changes::none);
}

TEST_F(Connectivity, TheRequestsOwnIntervalLimitsConnecting) {
  // A loopback device that went down keeps its address, and packets to it are lost.
  bring("lo", true);
  bring("lo", false);
  const URLSession session(within(600), transport_);
  EXPECT_NE(failure(run(session, {.url = server_->url(), .timeoutInterval = std::chrono::seconds(1)})), "");
}

TEST_F(Connectivity, AFailedLookUpFailsAtOnceWhenThereIsARoute) {
  const OtherNetwork other;
  if (!other.isThere()) GTEST_SKIP() << "this machine has no tunnel devices";
  EXPECT_TRUE(ConnectivityMonitor::hasRouteBeyondLoopback());
  const std::string text = failure(run(waiting(600), {.url = "http://nowhere.test/"}));
  EXPECT_NE(text.find("Could not resolve host"), std::string::npos) << text;

  other.loseAddress();
  EXPECT_FALSE(ConnectivityMonitor::hasRouteBeyondLoopback()) << "a link-local route counted";
}

TEST_F(Connectivity, ARouteOverADeviceWithoutCarrierDoesNotCount) {
  const OtherNetwork other;
  if (!other.isThere()) GTEST_SKIP() << "this machine has no tunnel devices";
  other.loseCarrier();
  awaitByPolling("a dead route", [] { return !ConnectivityMonitor::hasRouteBeyondLoopback(); });
}

}  // namespace
}  // namespace corvane::test
