#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include "Exchange.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using platform::URLSession;

/// A thread of this program as the kernel sees it.
struct Thread {
  std::string state;
  long contextSwitches = 0;
};

/// The threads of that name, by id.
std::map<std::string, Thread> threadsNamed(const std::string& name) {
  std::map<std::string, Thread> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(thread.path() / "status");
    bool named = false;
    for (std::string key, value; status >> key >> value; std::getline(status, value)) {
      if (key == "Name:") named = value == name;
      if (!named) continue;
      Thread& entry = found[thread.path().filename()];
      if (key == "State:") entry.state = value;
      if (key.ends_with("ctxt_switches:")) entry.contextSwitches += std::stol(value);
    }
  }
  return found;
}

/// The transport's thread, once it has come from its last completion into its sleep.
std::pair<const std::string, Thread> awaitSleepingTransport() {
  for (long latest = -1;; std::this_thread::yield()) {
    const auto threads = threadsNamed("corvane-http");
    if (threads.size() != 1) continue;
    const auto& [id, thread] = *threads.begin();
    if (thread.state == "S" && thread.contextSwitches == latest) return {id, thread};
    latest = thread.contextSwitches;
  }
}

/// A thread that has nothing to do is only told from a slow one by letting time pass: the one test that
/// waits.
TEST(TransportIdle, ATransportWithKeptConnectionsAndNothingToDoNeverWakes) {
  const TLSIdentity identity;
  LoopbackServer plain([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  LoopbackServer secure([](const LoopbackRequest&) { return LoopbackAnswer::of(200); }, &identity);
  auto configuration = within(30);
  configuration.certificateAuthorityFile = identity.certificateFile();
  configuration.waitsForConnectivity = true;
  platform::Transport transport;
  const URLSession session(configuration, transport);
  EXPECT_EQ(response(run(session, {.url = plain.url()})).statusCode, 200);
  EXPECT_EQ(response(run(session, {.url = secure.url()})).statusCode, 200);
  EXPECT_NE(failure(run(session, {.url = "http://nowhere.test/"})), "");

  const auto [id, before] = awaitSleepingTransport();
  std::this_thread::sleep_for(std::chrono::seconds(5));
  EXPECT_EQ(threadsNamed("corvane-http").at(id).contextSwitches, before.contextSwitches);
}

}  // namespace
}  // namespace corvane::test
