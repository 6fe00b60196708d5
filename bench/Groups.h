#pragma once

#include "Comparison.h"

namespace corvane::bench {

/// What a call costs the thread that makes it.
void addCallingThread(Comparisons& comparisons);
/// The preferences and the queue.
void addStorage(Comparisons& comparisons);
/// Events on the wire.
void addNetwork(Comparisons& comparisons);

/// Memory and wake-ups, each measured in a process of its own (`program` with one of the options below).
void sayFootprint(Comparisons& comparisons, const char* program);
/// What that process does: prints its figures. Empty options are none of these.
bool isFootprintOption(const char* option);
int runFootprint(const char* option);

}  // namespace corvane::bench
