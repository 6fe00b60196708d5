#pragma once

#include <corvane/Corvane.h>

#include <filesystem>
#include <memory>

namespace corvane::bench {

/// A temporary folder of this run, which is removed at exit.
const std::filesystem::path& folder();

/// Returns a client of the benchmark's server, with a preferences file of that name in `folder()`, or at that
/// absolute path.
std::shared_ptr<Corvane> configure(CorvaneOptions options, const char* file = "preferences.sqlite");

/// Returns a client whose install is counted and which drops events without consent, so that a call causes
/// almost no work on the background thread.
std::shared_ptr<Corvane> quietClient();

/// Waits until the background thread has finished its work and sleeps.
void letItSleep();

}  // namespace corvane::bench
