#include "async/Suspend.h"

#include <boost/asio/async_result.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <utility>

namespace corvane {

namespace asio = boost::asio;

asio::awaitable<void> suspendUntil(std::function<void(std::function<void()>)> start) {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  auto initiate = [executor, begin = std::move(start)](auto handler) {
    // Handlers are move-only, and `std::function` needs a copyable object.
    auto shared = std::make_shared<decltype(handler)>(std::move(handler));
    begin([executor, shared] { asio::post(executor, [shared] { std::move (*shared)(); }); });
  };
  co_await asio::async_initiate<const asio::use_awaitable_t<>, void()>(std::move(initiate),
                                                                       asio::use_awaitable);
}

asio::awaitable<bool> isCancelled() {
  const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
  co_return state.cancelled() != asio::cancellation_type::none;
}

}  // namespace corvane
