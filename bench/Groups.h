#pragma once

#include "Comparison.h"

namespace corvane::bench {

/// The cost of a call on the calling thread.
void addCallingThread(Comparisons& comparisons);
/// The preferences and the queue.
void addStorage(Comparisons& comparisons);
/// Requests of events.
void addNetwork(Comparisons& comparisons);

/// Each of these is measured in separate processes, while this one is idle: memory and wake-ups,
void sayFootprint(Comparisons& comparisons);
/// the first `configure` of a process,
void sayFirstConfigure(Comparisons& comparisons);
/// and links behind events to a backend that never responds.
void sayLinkLatency(Comparisons& comparisons);

/// Prints the table of `bench/run --network`: its part without losses, or with `isLossy` the rest. The
/// programs of bench/network must run. `log` is the web server's.
void printRoundTrips(bool isLossy, const std::string& log);

}  // namespace corvane::bench
