#include "api/transport/LibcurlSetup.h"

#include <cstdint>

/// OpenSSL's function, where libcurl brings OpenSSL along; null with another TLS library.
// NOLINTNEXTLINE(readability-identifier-naming): the name is OpenSSL's.
extern "C" __attribute__((weak, visibility("default"))) int OPENSSL_init_crypto(std::uint64_t options,
                                                                                const void* settings);

namespace corvane::platform {

bool prepareLibcurl() {
  // Elsewhere the host's own initialisation of libcurl must not run at the same time.
  const bool isThreadSafe = (curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_THREADSAFE) != 0;
  // OPENSSL_INIT_ASYNC. Any option registers the hook; none does not. This one takes 20 us and changes
  // nothing for programs that do not use asynchronous jobs.
  constexpr std::uint64_t cheapestOption = 0x100;
  return isThreadSafe && OPENSSL_init_crypto && OPENSSL_init_crypto(cheapestOption, nullptr) == 1;
}

CURLcode initialiseLibcurl() {
  static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
  return code;
}

}  // namespace corvane::platform
