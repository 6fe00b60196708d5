#pragma once

#include <string>

#include "support/TemporaryFolder.h"

namespace corvane::test {

/// A self-made certificate for TLS on loopback, and its key, as PEM files in a folder of their own, which
/// goes with this object. The certificate is its own authority: who is to trust it names `certificateFile()`.
class TLSIdentity {
 public:
  TLSIdentity();

  std::string certificateFile() const { return folder_.path() / "certificate.pem"; }
  std::string keyFile() const { return folder_.path() / "key.pem"; }

 private:
  TemporaryFolder folder_;
};

}  // namespace corvane::test
