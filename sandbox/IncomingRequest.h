#pragma once

#include <optional>
#include <string>

#include "HTTPMessage.h"
#include "http/Connection.h"

namespace corvane::sandbox {

/// A request as it came through a connection.
struct IncomingRequest {
  Request request;                       ///< without its origin
  std::optional<Response> refusal = {};  ///< present: it was not HTTP or too large
  bool keepAlive = false;                ///< whether the client expects to send another
};

/// Reads the next request. `unread` holds what came after the one before. Nothing when the connection has
/// ended.
std::optional<IncomingRequest> readRequest(Connection& connection, std::string& unread);

}  // namespace corvane::sandbox
