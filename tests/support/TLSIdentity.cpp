#include "support/TLSIdentity.h"

#include <fstream>

#include "Certificate.h"

namespace corvane::test {

TLSIdentity::TLSIdentity() {
  const auto made = sandbox::makeCertificate("127.0.0.1");
  std::ofstream(certificateFile()) << made.certificate;
  std::ofstream(keyFile()) << made.privateKey;
}

}  // namespace corvane::test
