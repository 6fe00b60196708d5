#pragma once

#include <optional>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"

namespace corvane::platform {

/// The request that follows `request` after `answer`, or nothing where the answer stands for itself: it is no
/// redirect, it names no usable place, or it leads from https to http or to another scheme than these two.
///
/// Methods by RFC 9110: 303 continues as GET; 301 and 302 turn POST into GET; 307 and 308 change nothing. The
/// body's headers go with the body. Towards another origin (scheme, host, port) the request loses every
/// header but `Accept` and `Content-Type`, for the others may be secrets; as hops build on each other, a way
/// back does not return them.
std::optional<URLRequest> redirected(const URLRequest& request, const HTTPResponse& answer);

}  // namespace corvane::platform
