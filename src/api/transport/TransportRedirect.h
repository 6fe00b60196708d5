#pragma once

#include <optional>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"

namespace corvane::platform {

/// The request that follows a redirect response to `request`. Nothing when the response is the result: it is
/// no redirect, has no usable location, or its location leads from https to http or has another scheme.
///
/// Methods follow RFC 9110: 303 continues as GET; 301 and 302 turn POST into GET; 307 and 308 change nothing.
/// Without the body, the headers that describe it are removed too. For another origin (scheme, host, port)
/// all headers are removed but `Accept` and `Content-Type`, because the others may be secrets. The caller
/// makes each request from the one before, so a redirect back to the first origin does not restore them.
std::optional<URLRequest> redirectedRequest(const URLRequest& request, const HTTPResponse& response);

}  // namespace corvane::platform
