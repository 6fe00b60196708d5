#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "async/Background.h"

namespace corvane {

/// Background work that comes in bursts, such as thousands of events. It runs in the order of its posts, a
/// few functions at a time, so that other background work waits for those few only.
///
/// `post` from any thread. The lock is held to add or take functions only.
class BackgroundQueue : public std::enable_shared_from_this<BackgroundQueue> {
 public:
  /// How many functions run before other background work gets its turn. With thousands of them it is a 128th,
  /// so that there are not thousands of turns: the end of the process waits for them.
  static constexpr std::size_t smallestPortion = 16;
  static constexpr std::size_t divisor = 128;

  explicit BackgroundQueue(std::shared_ptr<Background> background) : background_(std::move(background)) {}

  /// Runs `function` later on the background thread. After the end of the process's background work it is
  /// destroyed without a run.
  void post(std::function<void()> function);

  /// Runs everything that has been posted. On the background thread.
  void runAll();

 private:
  using Functions = std::deque<std::function<void()>>;

  void runPortion();
  Functions takePortion();
  Functions takeAll();
  Functions takeRefused();

  const std::shared_ptr<Background> background_;
  std::mutex mutex_;
  // Guarded by `mutex_`.
  Functions functions_;
  bool runIsPosted_ = false;
};

}  // namespace corvane
