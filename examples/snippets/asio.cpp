#include <corvane.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <utility>

//! [asio]
boost::asio::awaitable<CorvaneAttribution> install(std::shared_ptr<Corvane> client) {
  const CorvaneTask<CorvaneAttribution> task = client->trackInstallAsync(false);
  const auto executor = co_await boost::asio::this_coro::executor;
  auto initiate = [task, executor](auto handler) {
    auto shared = std::make_shared<decltype(handler)>(std::move(handler));
    task.whenDone([shared, executor](const CorvaneTask<CorvaneAttribution>&) {
      boost::asio::post(executor, [shared] {
        auto resume = std::move(*shared);
        resume();
      });
    });
  };
  co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void()>(
      std::move(initiate), boost::asio::use_awaitable);
  co_return task.get();
}
//! [asio]
