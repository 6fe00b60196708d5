#pragma once

#include <corvane/Corvane.h>
#include <corvane/CorvaneCancellationError.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace corvane::test {

/// The arguments of the program: `lifetime_host <scenario> <base URL> <folder> <argument>…`.
struct Host {
  std::string baseURL;
  std::filesystem::path folder;
  std::vector<std::string> arguments;
};

/// Sets the platform and the base URL for the next clients.
void prepare(const Host& host);

/// A client that logs everything to standard output.
std::shared_ptr<Corvane> configure(CorvaneOptions options = {});

/// Writes the time to standard output. The test measures the exit from then.
void sayLeaving();

/// Exits with `status` by calling `exit` here or on another thread; with "return", returns the status for
/// `main` to return.
int leave(const std::string& ending, int status);

/// Waits until the library's threads have finished all work that began before this call.
void settle();

// The scenarios. Each returns what `main` returns.

int endWithInstallsInFlight(const Host& host);
int useTheLibraryFromStaticDestructors(const Host& host);

int endWithEventsInFlight(const Host& host);
int trackEvents(const Host& host);
int trackEventsUntilKilled(const Host& host);
int storeUnsentEventsAndDie(const Host& host);

int configureAThousandTimes(const Host& host);
int idle(const Host& host);
int leaveSignalsAlone(const Host& host);

}  // namespace corvane::test
