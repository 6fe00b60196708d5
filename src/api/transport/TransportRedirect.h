#pragma once

#include <optional>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"

namespace corvane::platform {

/// The request that follows a redirect response to `request`. Nothing when the response is the result: it is
/// no redirect, has no usable location, or its location must not be followed.
///
/// A GET follows 301, 302, 303, 307 and 308, to any origin (scheme, host, port) with the same or a safer
/// scheme. For another origin all headers are removed but `Accept` and `Content-Type`, because the others may
/// be secrets. The caller makes each request from the one before, so a redirect back to the first origin does
/// not restore them. A POST follows 307 and 308 within its origin, unchanged (ADR 0014).
std::optional<URLRequest> redirectedRequest(const URLRequest& request, const HTTPResponse& response);

}  // namespace corvane::platform
