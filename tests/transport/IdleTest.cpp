#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "Exchange.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using platform::URLSession;

/// The context switches of this program's threads of that name so far, by thread.
std::map<std::string, long> switchesOf(const std::string& name) {
  std::map<std::string, long> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(thread.path() / "status");
    std::string key;
    bool named = false;
    for (std::string value; status >> key >> value;) {
      if (key == "Name:") named = value == name;
      if (named && key.ends_with("ctxt_switches:")) found[thread.path().filename()] += std::stol(value);
      std::getline(status, value);
    }
  }
  return found;
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

  // The thread may still be on its way from the last completion into its sleep.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const auto before = switchesOf("corvane-http");
  std::this_thread::sleep_for(std::chrono::seconds(5));
  EXPECT_EQ(before.size(), 1U);
  EXPECT_EQ(switchesOf("corvane-http"), before);
}

}  // namespace
}  // namespace corvane::test
