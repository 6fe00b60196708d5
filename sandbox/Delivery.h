#pragma once

#include <string>

#include "IncomingRequest.h"

namespace corvane::sandbox {

/// Sends the answer as its `Delivery` says: in one piece, late, byte by byte, not at all, or a reset instead.
/// False when the connection ends with it.
bool deliver(Connection& connection, const Response& answer, const IncomingRequest& incoming);

/// The status line and the headers, of which a later one replaces an earlier one of the same name.
std::string responseHead(const Response& answer, bool keepAlive);

}  // namespace corvane::sandbox
