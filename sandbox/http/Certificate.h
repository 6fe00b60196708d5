#pragma once

#include <string>

namespace corvane::sandbox {

/// A certificate that is its own authority, and its private key, both as PEM.
struct Certificate {
  std::string certificate;
  std::string privateKey;
};

/// Makes one for `localhost`, the loopback addresses and the given IP address, which may be that of every
/// interface, valid for a year.
/// Throws `std::runtime_error` when OpenSSL cannot.
Certificate makeCertificate(const std::string& address);

}  // namespace corvane::sandbox
