#pragma once

#include <memory>
#include <string>

#include "corvane/CorvaneOptions.h"
#include "corvane/CorvanePlatform.h"
#include "facade/Client.h"

namespace corvane {

/// Builds a client: the composition root, the one place where the flows meet the platform. Reads and writes
/// the preferences, sends nothing, does not fail.
std::unique_ptr<Corvane::Client> buildClient(std::string apiKey, CorvaneOptions options,
                                             const CorvanePlatform& platform);

}  // namespace corvane
