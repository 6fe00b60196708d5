#include "Server.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <utility>

#include "support/Gate.h"
#include "support/LoopbackServer.h"

namespace corvane::bench {
namespace {

/// Never destroyed: the library may still send while the process exits.
struct Server {
  test::Gate gate;
  test::LoopbackServer loopback{[this](const test::LoopbackRequest&) {
                                  gate.pass();
                                  return test::LoopbackResponse::of(200, R"({"id":1,"attributed":true})",
                                                                    {{"Content-Type", "application/json"}});
                                },
                                nullptr, test::LoopbackServer::Record::numberOnly};
  const std::string url = loopback.url("");
};

Server& server() {
  static auto* const made = new Server();
  return *made;
}

std::string& otherServer() {
  static auto* const url = new std::string();
  return *url;
}

}  // namespace

const std::string& serverURL() {
  return otherServer().empty() ? server().url : otherServer();
}

void useServer(std::string url) {
  otherServer() = std::move(url);
}

std::string silentServerURL() {
  // The kernel accepts connections and takes what they send; nobody reads it.
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const general = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener, general, size) != 0 || ::listen(listener, 4096) != 0 ||
      ::getsockname(listener, general, &size) != 0)
    return "";
  return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

std::size_t arrivedRequests() {
  return server().loopback.requestCount();
}

void holdServer(bool held) {
  held ? server().gate.close() : server().gate.open();
}

}  // namespace corvane::bench
