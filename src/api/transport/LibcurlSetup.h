#pragma once

#include <curl/curl.h>

namespace corvane::platform {

/// Registers the exit hook of OpenSSL, which libcurl uses, unless it is registered already. Returns whether
/// `initialiseLibcurl` may be called later and on another thread; if not, call it here and now.
///
/// Exit hooks run in the reverse order of their registration. The hook that ends the transport is registered
/// after this call, so it runs before OpenSSL is cleaned up, and waits for an initialisation that is not
/// over.
bool prepareLibcurl();

/// Initialises libcurl, which takes about a millisecond. Once per process and never undone: libcurl counts
/// initialisations, and the host may have its own.
CURLcode initialiseLibcurl();

}  // namespace corvane::platform
