#include "api/transport/URLSessionHTTPClient.h"

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <string>
#include <utility>
#include <variant>

#include "corvane/CorvaneError.h"

namespace corvane::platform {

namespace asio = boost::asio;

namespace {

/// Begins the exchange and passes its result to `handler` on the background executor. The slot is assigned
/// after the exchange has begun. That is early enough, because only a later function of that executor can run
/// the handler or emit a cancellation.
template <typename Handler>
void begin(const URLSession& session, const asio::any_io_executor& background, URLRequest request,
           Handler handler) {
  const auto shared = std::make_shared<Handler>(std::move(handler));
  const auto resume = [background, shared](URLSessionResult result) {
    asio::post(background, [shared, result = std::move(result)]() mutable {
      asio::get_associated_cancellation_slot(*shared).clear();
      std::move (*shared)(std::move(result));
    });
  };
  Transport& transport = session.transport;
  const Transport::ExchangeID exchange = transport.begin(std::move(request), session.configuration, resume);
  auto slot = asio::get_associated_cancellation_slot(*shared);
  if (slot.is_connected()) {
    slot.assign([&transport, exchange](asio::cancellation_type) { transport.cancel(exchange); });
  }
}

}  // namespace

URLSessionHTTPClient::URLSessionHTTPClient(URLSession session, asio::any_io_executor background)
    : session_(std::move(session)), background_(std::move(background)) {}

asio::awaitable<HTTPResponse> URLSessionHTTPClient::send(URLRequest request) {
  const auto cancellation = co_await asio::this_coro::cancellation_state;
  if (cancellation.cancelled() != asio::cancellation_type::none) throw CorvaneError::transport("cancelled");

  const auto initiate = [session = session_, background = background_](auto handler, URLRequest sent) {
    begin(session, background, std::move(sent), std::move(handler));
  };
  URLSessionResult result =
      co_await asio::async_initiate<const asio::use_awaitable_t<>&, void(URLSessionResult)>(
          initiate, asio::use_awaitable, std::move(request));
  if (const auto* failure = std::get_if<std::string>(&result)) throw CorvaneError::transport(*failure);
  co_return std::get<HTTPResponse>(std::move(result));
}

}  // namespace corvane::platform
