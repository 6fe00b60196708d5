#include "Server.h"

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

}  // namespace

const std::string& serverURL() {
  return server().url;
}

std::size_t arrivedRequests() {
  return server().loopback.requestCount();
}

void holdServer(bool held) {
  held ? server().gate.close() : server().gate.open();
}

}  // namespace corvane::bench
