#pragma once

#include <cstddef>
#include <string>

namespace corvane::bench {

/// The address of a server in this process that gives every request the same small response.
const std::string& serverURL();

/// How many requests have reached the server.
std::size_t arrivedRequests();

/// While the server is held, requests wait for their response.
void holdServer(bool held);

}  // namespace corvane::bench
