#pragma once

#include <curl/curl.h>

namespace corvane::platform {

/// OpenSSL's object for a connection; null without TLS and with another TLS library.
using TLSConnection = void*;

/// The object of the connection that `request` uses.
TLSConnection tlsConnectionOf(CURL* request);

/// Lets the session of a connection be resumed although the connection will end without a `close_notify`.
///
/// libcurl 7.88 ends a connection of HTTP/2 that way, and OpenSSL then refuses to resume its session. Current
/// versions of TLS do not ask for that. Nothing can be sent over the connection any more.
void keepSessionResumable(TLSConnection connection);

}  // namespace corvane::platform
