#pragma once

#include <filesystem>
#include <string>

namespace corvane::test {

/// A self-made certificate for TLS on loopback, and its key, as PEM files in a folder of their own, which
/// goes with this object. The certificate is its own authority: who is to trust it names `certificateFile()`.
class TLSIdentity {
 public:
  /// `names`: as in a certificate's extension, such as "DNS:localhost,IP:127.0.0.1".
  explicit TLSIdentity(const std::string& names = "DNS:localhost,IP:127.0.0.1");
  ~TLSIdentity();
  TLSIdentity(const TLSIdentity&) = delete;
  TLSIdentity& operator=(const TLSIdentity&) = delete;

  std::string certificateFile() const { return folder_ / "certificate.pem"; }
  std::string keyFile() const { return folder_ / "key.pem"; }

 private:
  std::filesystem::path folder_;
};

}  // namespace corvane::test
