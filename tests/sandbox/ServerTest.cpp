#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <nlohmann/json.hpp>

#include "process/SandboxProcess.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using nlohmann::json;

/// A TCP connection to the sandbox, to send what no HTTP client sends.
class RawConnection {
 public:
  explicit RawConnection(const SandboxProcess& sandbox) {
    const std::string& url = sandbox.baseURL();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_.number(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no connection");
  }

  void send(const std::string& text) {
    ASSERT_EQ(::send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL), ssize_t(text.size()));
  }
  /// What the sandbox sends until it ends the connection.
  std::string everything() {
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = recv(socket_.number(), buffer, sizeof buffer, 0)) > 0;)
      text.append(buffer, static_cast<std::size_t>(count));
    return text;
  }

 private:
  const Descriptor socket_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST(SandboxServer, ExitsCleanlyWithConnectionsOpen) {
  for (const int signal : {SIGINT, SIGTERM}) {
    SandboxProcess sandbox;
    RawConnection idle(sandbox);
    idle.send("GET /sandbox/stream HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(sandbox.terminate(signal), 0);
  }
  SandboxProcess sandbox;
  EXPECT_EQ(sandbox.closeInput(), 0);
}

TEST(SandboxServer, KeepsItsRecordsInADataFile) {
  const TemporaryFolder folder;
  const std::vector<std::string> options = {"--data", folder.path() / "sandbox.sqlite"};
  const json event = {{"identifier", "app"}, {"name", "purchase"}};
  const std::vector<std::string> headers = {"X-Api-Key: cv_test", "Idempotency-Key: E1"};
  json answer;
  {
    SandboxProcess sandbox(options);
    sandbox.link({{"slug", "summer"}});
    answer = sandbox.post("/v1/events", event, headers).json();
  }
  SandboxProcess sandbox(options);
  EXPECT_EQ(sandbox.post("/v1/events", event, headers).json(), answer);
  EXPECT_EQ(sandbox.records()["links"][0]["slug"], "summer");
  EXPECT_EQ(sandbox.records()["events"].size(), 1u);
  sandbox.reset();
  EXPECT_EQ(sandbox.records()["events"].size(), 0u);
  EXPECT_EQ(sandbox.records()["links"].size(), 1u) << "a reset keeps the campaign links";
}

TEST(SandboxServer, IsTrustedByItsCertificateWithTLS) {
  SandboxProcess sandbox({"--tls"});
  EXPECT_TRUE(sandbox.baseURL().starts_with("https://127.0.0.1:"));
  sandbox.link({{"slug", "summer"}});
  EXPECT_TRUE(sandbox.click("summer").text.starts_with(sandbox.baseURL() + "/summer?cv_click="));
  sandbox.faults({{"path", "/v1/events"}, {"reset", "before"}});
  EXPECT_EQ(sandbox.post("/v1/events", {}).status, 0);
  EXPECT_EQ(sandbox.records()["arrivals"].size(), 1u);
  EXPECT_EQ(sandbox.terminate(SIGINT), 0);
  EXPECT_NE(sandbox.remainingOutput().find(sandbox.certificateFile()), std::string::npos);
}

TEST(SandboxServer, RefusesHostNamesOfForeignWebSites) {
  SandboxProcess sandbox({"--allow-host", "sandbox.example.com"});
  const auto status = [&sandbox](const std::string& host) {
    return sandbox.request("GET", "/sandbox/records", "", {"Host: " + host}).status;
  };
  EXPECT_EQ(status("evil.example.com"), 421);
  EXPECT_EQ(status("127.0.0.1.example.com:8717"), 421);
  for (const char* host : {"localhost:1", "127.0.0.1", "[::1]:80", "192.168.1.7:8717", "laptop",
                           "laptop.local", "sandbox.example.com"}) {
    EXPECT_EQ(status(host), 200) << host;
  }
}

TEST(SandboxServer, RefusesWhatIsNotHTTPOrTooLarge) {
  SandboxProcess sandbox;
  const auto responses = [&](const std::string& text) {
    RawConnection connection(sandbox);
    connection.send(text);
    return connection.everything();
  };
  EXPECT_TRUE(responses("\x16\x03\x01 what?\r\n\r\n").starts_with("HTTP/1.1 400"));
  EXPECT_TRUE(responses("GET / HTTP/1.1\r\nX: " + std::string(20'000, 'x')).starts_with("HTTP/1.1 431"));
  const std::string both =
      responses("GET /a HTTP/1.1\r\nHost: localhost\r\n\r\nGET /b HTTP/1.0\r\nHost: localhost\r\n\r\n");
  EXPECT_NE(both.find("not found: /a"), std::string::npos) << both;
  EXPECT_NE(both.find("not found: /b"), std::string::npos) << both;
}

TEST(SandboxServer, ServesConnectionsBeyondTheLimitWhenOthersEnd) {
  SandboxProcess sandbox;
  std::vector<std::unique_ptr<RawConnection>> idle;
  for (int count = 0; count < 300; ++count) idle.push_back(std::make_unique<RawConnection>(sandbox));
  RawConnection late(sandbox);
  late.send("GET /late HTTP/1.0\r\nHost: localhost\r\n\r\n");
  idle.clear();
  EXPECT_NE(late.everything().find("404"), std::string::npos);
}

TEST(SandboxServer, DeletesTheOldestRecordsOfALongList) {
  SandboxProcess sandbox;
  for (int number = 0; number < 1005; ++number)
    sandbox.request("GET", "/v1/links/resolve?slug=" + std::to_string(number));
  const json records = sandbox.records();
  EXPECT_EQ(records["arrivals"].size(), 1000u);
  EXPECT_EQ(records["resolves"].size(), 1000u);
  EXPECT_EQ(records["resolves"][0]["request"]["slug"], "5");
}

}  // namespace
}  // namespace corvane::test
