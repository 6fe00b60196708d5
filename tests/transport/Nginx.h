#pragma once

#include <cstdint>
#include <string>

#include "process/ChildProcess.h"
#include "support/TLSIdentity.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {

/// nginx on a free port of 127.0.0.1: HTTP over TLS in front of another server. It adds the header
/// `X-Connection` to each response, which tells its connections apart, and `X-Resumed`, which is "r" after a
/// resumed TLS handshake and "." after a full one. Ends with this object.
class Nginx {
 public:
  enum class Protocol { http1, http2 };

  /// `origin`: the server behind it. `directives`: of its `server` block.
  Nginx(Protocol protocol, const std::string& origin, const std::string& directives = "");
  ~Nginx();

  std::uint16_t port() const { return port_; }
  std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }
  std::string certificateFile() const { return identity_.certificateFile(); }

 private:
  void writeConfiguration(Protocol protocol, const std::string& origin, const std::string& directives) const;

  TemporaryFolder folder_;
  TLSIdentity identity_;
  sandbox::Descriptor listener_;  // made here, because nginx cannot choose a free port
  std::uint16_t port_;
  ChildProcess process_;
};

}  // namespace corvane::test
