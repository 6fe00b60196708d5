#pragma once

#include <cstddef>
#include <string>

namespace corvane::bench {

/// The address of the server that is used: that of `useServer`, or a server in this process that gives every
/// request the same small response.
const std::string& serverURL();

/// Uses a server of another process. Call it before anything else uses a server.
void useServer(std::string url);

/// The address of a server that accepts connections and never responds. It lives as long as this process.
std::string silentServerURL();

/// How many requests have reached the server of this process.
std::size_t arrivedRequests();

/// While the server of this process is held, requests wait for their response.
void holdServer(bool held);

}  // namespace corvane::bench
