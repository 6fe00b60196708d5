#pragma once

#include <functional>
#include <string>

namespace corvane {

/// What a store offers to those who open and close it, beside reading and writing. Usable from any thread;
/// no operation throws.
class StoreMaintenance {
 public:
  /// Called once with the first problem of the store, for a person to read.
  using ProblemReporter = std::function<void(const std::string&)>;

  virtual ~StoreMaintenance() = default;

  /// Sets who is told, in place of an earlier reporter. One problem is reported in the life of the store: a
  /// reporter that comes after it, but before it was reported, is called at once. Called on the thread that
  /// met the problem, under no lock; what it throws is dropped.
  virtual void reportProblemsTo(ProblemReporter reporter) = 0;

  /// The next access waits for a process that holds the store, even if an earlier one waited in vain.
  virtual void waitForHolderAgain() = 0;

  /// Tries to write what waits in memory; true when nothing waits any more: every earlier write is synced.
  virtual bool synchronize() = 0;
};

}  // namespace corvane
