#pragma once

#include "api/transport/Transport.h"
#include "api/transport/URLSessionConfiguration.h"

namespace corvane::platform {

/// How exchanges are performed, and by which transport. A plain value, usable from any thread.
///
/// Sessions are light: connections, the thread and the bound on exchanges at once belong to the transport,
/// which all sessions of the process share. Destroying a session leaves its exchanges running.
struct URLSession {
  URLSessionConfiguration configuration;
  Transport& transport = Transport::shared();
};

}  // namespace corvane::platform
