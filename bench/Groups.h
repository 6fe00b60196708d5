#pragma once

#include "Comparison.h"

namespace corvane::bench {

/// The cost of a call on the calling thread.
void addCallingThread(Comparisons& comparisons);
/// The preferences and the queue.
void addStorage(Comparisons& comparisons);
/// Requests of events.
void addNetwork(Comparisons& comparisons);

/// Memory and wake-ups, each measured in a separate process (`program` with one of the options below).
void sayFootprint(Comparisons& comparisons, const char* program);
/// Such a process has one of these options; it prints its figures and exits.
bool isFootprintOption(const char* option);
int runFootprint(const char* option);

}  // namespace corvane::bench
