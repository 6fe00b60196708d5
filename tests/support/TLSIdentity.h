#pragma once

#include <fstream>
#include <string>

#include "http/Certificate.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {

/// A certificate for TLS on loopback, which is its own authority: clients that trust `certificateFile()`
/// trust a server that uses it. The file lives as long as this object.
class TLSIdentity {
 public:
  TLSIdentity() { std::ofstream(certificateFile()) << certificate_.pem; }

  const sandbox::TLSContext& context() const { return certificate_.context; }
  std::string certificateFile() const { return folder_.path() / "certificate.pem"; }

 private:
  TemporaryFolder folder_;
  sandbox::Certificate certificate_ = sandbox::makeCertificate("127.0.0.1");
};

}  // namespace corvane::test
