#pragma once

#include <corvane/Corvane.h>

#include <filesystem>
#include <memory>

namespace corvane::bench {

/// A folder of this run's own, which goes at its end.
const std::filesystem::path& folder();

/// A client of the benchmark's server, on a preferences file of that name.
std::shared_ptr<Corvane> configure(CorvaneOptions options, const char* file = "preferences.sqlite");

/// A client that counts its install as done and drops events for want of consent, so that the background
/// thread has next to nothing to do for a call.
std::shared_ptr<Corvane> quietClient();

/// Until the background thread has done what was begun, and sleeps.
void letItSleep();

}  // namespace corvane::bench
