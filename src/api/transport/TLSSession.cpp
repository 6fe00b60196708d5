#include "api/transport/TLSSession.h"

/// OpenSSL's function, where libcurl brings OpenSSL along; null with another TLS library.
// NOLINTNEXTLINE(readability-identifier-naming): the name is OpenSSL's.
extern "C" __attribute__((weak, visibility("default"))) void SSL_set_shutdown(void* connection, int mode);

namespace corvane::platform {

TLSConnection tlsConnectionOf(CURL* request) {
  curl_tlssessioninfo* session = nullptr;
  if (curl_easy_getinfo(request, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session) return nullptr;
  return session->backend == CURLSSLBACKEND_OPENSSL ? session->internals : nullptr;
}

void keepSessionResumable(TLSConnection connection) {
  constexpr int sentShutdown = 1;  // SSL_SENT_SHUTDOWN
  if (connection && SSL_set_shutdown) SSL_set_shutdown(connection, sentShutdown);
}

}  // namespace corvane::platform
