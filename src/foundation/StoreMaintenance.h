#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace corvane {

/// The operations of a store for the code that opens it and ends its use, besides reading and writing. Usable
/// from any thread; no operation throws.
class StoreMaintenance {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Called with the first problem of the store, and once more when the file vanished or was replaced, as
  /// text for a person.
  using ProblemReporter = std::function<void(const std::string&)>;

  virtual ~StoreMaintenance() = default;

  /// Sets the reporter, in place of an earlier one. Each of the two is reported once in the life of the
  /// store. If it occurred before there was a reporter, this call reports it. Called on the thread that met
  /// the problem, under no lock; an exception that it throws is dropped.
  virtual void reportProblemsTo(ProblemReporter reporter) = 0;

  /// Until that time, accesses wait for another process that holds the store, where they would otherwise wait
  /// for a shorter time or not at all. For the end of the process.
  virtual void waitForHoldersUntil(TimePoint time) = 0;

  /// Tries to write the values that are kept in memory; true when there are none: every earlier write is
  /// synced then. Waits for another process even if an earlier access waited in vain.
  virtual bool synchronize() = 0;

  /// Closes the file: the last process that has it open leaves nothing that the next one must recover. A
  /// later access opens it again.
  virtual void close() = 0;
};

}  // namespace corvane
