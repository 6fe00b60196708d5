#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace corvane {

/// A completion to hand to host code: the first call, on any thread, goes to `take`; later calls have no
/// effect. When the last copy is destroyed without a call, `take` gets `ifDropped`, if there is one.
template <class T>
std::function<void(T)> answeredOnce(std::function<void(T)> take, std::optional<T> ifDropped = {}) {
  struct Answer {
    std::function<void(T)> take;
    std::optional<T> ifDropped;
    std::atomic<bool> given = false;

    Answer(std::function<void(T)> t, std::optional<T> i) : take(std::move(t)), ifDropped(std::move(i)) {}
    ~Answer() {
      if (ifDropped) give(*std::move(ifDropped));
    }
    void give(T value) {
      if (given.exchange(true)) return;
      const auto first = std::move(take);
      first(std::move(value));
    }
  };
  const auto answer = std::make_shared<Answer>(std::move(take), std::move(ifDropped));
  return [answer](T value) { answer->give(std::move(value)); };
}

}  // namespace corvane
