#pragma once

#include <memory>
#include <string>

struct ssl_ctx_st;

namespace corvane::sandbox {

/// The server's side of TLS, shared by all its connections.
using TLSContext = std::shared_ptr<ssl_ctx_st>;

/// A certificate that is its own authority, with a new key.
struct Certificate {
  std::string pem;
  TLSContext context;  ///< presents it
};

/// Makes a certificate for `localhost`, the loopback addresses and the given IP address. "0.0.0.0" and "::"
/// stand for all addresses of this machine. It is valid for a year. Throws `std::runtime_error` when OpenSSL
/// fails.
Certificate makeCertificate(const std::string& address);

}  // namespace corvane::sandbox
