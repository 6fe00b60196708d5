#include <gtest/gtest.h>

#include "Exchange.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using platform::URLSession;
using platform::URLSessionConfiguration;

URLSessionConfiguration trusting(const TLSIdentity& identity) {
  URLSessionConfiguration configuration = within(30);
  configuration.certificateAuthorityFile = identity.certificateFile();
  return configuration;
}

TEST(URLSessionTLS, AnUnknownAuthorityIsAFailureEvenWhereAConnectionForAnotherSessionIsOpen) {
  const TLSIdentity identity;
  const TLSIdentity another;
  LoopbackServer server(LoopbackResponse::of(200, "private"), &identity);
  EXPECT_EQ(response(run(URLSession(trusting(identity)), {.url = server.url()})).body, "private");
  for (const auto& configuration : {within(30), trusting(another)}) {
    const std::string text = failure(run(URLSession(configuration), {.url = server.url()}));
    EXPECT_NE(text.find("certificate"), std::string::npos) << text;
  }
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(URLSessionTLS, ACertificateForAnotherNameIsAFailure) {
  const TLSIdentity identity;
  LoopbackServer server(LoopbackResponse::of(200, "private"), &identity);
  const std::string text =
      failure(run(URLSession(trusting(identity)), {.url = server.url("/", "wrong.loopback.test")}));
  EXPECT_NE(text.find("wrong.loopback.test"), std::string::npos) << text;
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
}  // namespace corvane::test
