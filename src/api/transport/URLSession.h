#pragma once

#include "api/transport/Transport.h"
#include "api/transport/URLSessionConfiguration.h"

namespace corvane::platform {

/// How exchanges are performed, and by which transport. A plain value: it owns no connection, thread or
/// exchange. Those belong to the transport, which must outlive the session and is by default the process's.
struct URLSession {
  URLSessionConfiguration configuration;
  Transport& transport = Transport::shared();
};

}  // namespace corvane::platform
