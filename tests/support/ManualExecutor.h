#pragma once

#include <deque>
#include <functional>
#include <utility>

#include "corvane/CorvaneExecutor.h"

namespace corvane::test {

/// The main executor of a foreign toolkit, on one thread: runs posted functions when the test calls `run`, or
/// drops them.
class ManualExecutor : public CorvaneExecutor {
 public:
  void post(std::function<void()> function) override {
    if (!dropping) waiting.push_back(std::move(function));
  }
  bool isCurrentThread() const override { return isMain; }

  void run() {
    while (!waiting.empty()) {
      const auto function = std::move(waiting.front());
      waiting.pop_front();
      function();
    }
  }

  std::deque<std::function<void()>> waiting;
  bool dropping = false;
  bool isMain = true;
};

}  // namespace corvane::test
