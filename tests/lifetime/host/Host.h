#pragma once

#include <corvane/Corvane.h>
#include <corvane/CorvaneCancellationError.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace corvane::test {

/// What the program was started with: `lifetime_host <scenario> <base URL> <folder> <argument>…`.
struct Host {
  std::string baseURL;
  std::filesystem::path folder;
  std::vector<std::string> arguments;
};

/// Names the platform and the base URL for the clients to come.
void prepare(const Host& host);

/// A client whose log goes to standard output, down to the last line.
std::shared_ptr<Corvane> configure(CorvaneOptions options = {});

/// Writes the moment to standard output, from which the test measures.
void sayLeaving();

/// Leaves the program with `status` by calling `exit` here, or on a thread of its own; or, with "return",
/// gives the status to be returned from `main`.
int leave(const std::string& ending, int status);

/// Until the library's threads have done what was begun before this call.
void settle();

// The scenarios. Each returns what `main` returns.

int endWithInstallsInFlight(const Host& host);
int useTheLibraryFromStaticDestructors(const Host& host);

int endWithEventsInFlight(const Host& host);
int trackEvents(const Host& host);
int trackEventsUntilKilled(const Host& host);

int writeFromSeveralThreads(const Host& host);
int writeToClosedOutput(const Host& host);

int configureAThousandTimes(const Host& host);
int idle(const Host& host);
int leaveSignalsAlone(const Host& host);

}  // namespace corvane::test
