#include "async/BackgroundTask.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <exception>

namespace corvane {

namespace asio = boost::asio;

namespace {

asio::awaitable<void> run(Body<void> body) {
  // The body checks for a cancellation itself; a suspension must not throw because of one.
  co_await asio::this_coro::throw_if_cancelled(false);
  co_await body();
}

}  // namespace

std::function<void()> spawn(const std::shared_ptr<Background>& background, Body<void> body) {
  // Used on the background thread only, and kept until the body ends.
  const auto signal = std::make_shared<asio::cancellation_signal>();
  // Through a post, because on the executor's own thread co_spawn runs the body inline up to its first
  // suspension.
  background->post([executor = background->executor(), signal, body = std::move(body)]() mutable {
    auto keepSignal = [signal](const std::exception_ptr&) {};
    asio::co_spawn(executor, run(std::move(body)), asio::bind_cancellation_slot(signal->slot(), keepSignal));
  });
  return [weak = std::weak_ptr(background), signal] {
    const auto alive = weak.lock();
    if (alive) alive->post([signal] { signal->emit(asio::cancellation_type::terminal); });
  };
}

}  // namespace corvane
