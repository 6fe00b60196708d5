#include "HTTPServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <csignal>
#include <list>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "LowerCased.h"

namespace corvane::sandbox {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using namespace std::chrono_literals;

constexpr std::size_t maxConnections = 256;
constexpr std::size_t maxStreams = 16;
constexpr std::size_t maxStreamBacklog = 1024 * 1024;
constexpr std::size_t maxDrained = 4 * 1024 * 1024;
constexpr std::uint32_t maxHeaderBytes = 16 * 1024;
constexpr std::uint64_t maxBodyBytes = 64 * 1024;
constexpr auto handshakeTime = 10s;
constexpr auto requestTime = 60s;  // for a whole request, waiting for its first byte included
constexpr auto writeTime = 30s;
constexpr auto silenceTime = 10min;
constexpr auto drainTime = 2s;

constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);

using PlainStream = beast::tcp_stream;
using SecureStream = beast::ssl_stream<beast::tcp_stream>;

Request readable(const http::request<http::string_body>& message, const std::string& scheme,
                 const std::string& ownOrigin) {
  Request request;
  request.method = message.method_string();
  const std::string_view target(message.target().data(), message.target().size());
  const auto question = target.find('?');
  request.path = target.substr(0, question);
  if (question != std::string_view::npos) request.query = target.substr(question + 1);
  for (const auto& field : message)
    request.headers.emplace_back(lowerCased(field.name_string()), field.value());
  if (const std::string* host = request.header("host")) request.host = *host;
  request.origin = request.host.empty() ? ownOrigin : scheme + request.host;
  request.body = message.body();
  return request;
}

http::response<http::string_body> writable(const Response& answer,
                                           const http::request<http::string_body>& request) {
  http::response<http::string_body> message(http::int_to_status(answer.status), request.version());
  message.result(answer.status);
  const bool bodiless = answer.status == 204 || answer.status == 304 || request.method() == http::verb::head;
  if (!bodiless) message.body() = answer.body;
  message.keep_alive(request.keep_alive() && request.method() != http::verb::head);
  message.prepare_payload();
  for (const auto& [name, value] : answer.headers) {
    message.set(name, value);
    // A scripted framing that may not fit the body leaves nothing that a next request could rely on.
    const std::string lower = lowerCased(name);
    if (lower == "content-length" || lower == "transfer-encoding") message.keep_alive(false);
  }
  return message;
}

/// The status for a request that could not be read, or 0 when the connection itself has ended.
unsigned statusOf(const error_code& error) {
  if (error == http::error::end_of_stream || error == http::error::partial_message) return 0;
  if (error == http::error::body_limit) return 413;
  if (error == http::error::header_limit) return 431;
  return error.category() == make_error_code(http::error::bad_method).category() ? 400 : 0;
}

/// One open event stream: what has been published and not yet sent.
struct Subscriber {
  explicit Subscriber(const asio::any_io_executor& executor)
      : wake(executor, asio::steady_timer::time_point::max()) {}

  std::string pending;
  asio::steady_timer wake;  // never expires; cancelling it wakes the stream's coroutine
  bool ended = false;

  void end() {
    ended = true;
    wake.cancel();
  }
};

tcp::socket& socketOf(PlainStream& stream) {
  return stream.socket();
}
tcp::socket& socketOf(SecureStream& stream) {
  return stream.next_layer().socket();
}

void tearDown(tcp::socket& socket) {
  error_code ignored;
  socket.set_option(asio::socket_base::linger(true, 0), ignored);
  socket.close(ignored);
}

/// Takes in and drops what the peer still sends, so that closing does not cost it the answer just sent.
asio::awaitable<void> drain(tcp::socket& socket, std::chrono::steady_clock::duration time) {
  auto deadline = std::make_shared<asio::steady_timer>(socket.get_executor(), time);
  auto expired = std::make_shared<bool>(false);
  deadline->async_wait([&socket, expired, deadline](const error_code& error) {
    if (error || *expired) return;
    *expired = true;
    error_code ignored;
    socket.cancel(ignored);
  });
  std::array<char, 4096> buffer;
  for (std::size_t drained = 0; drained < maxDrained && !*expired;) {
    const auto [error, size] = co_await socket.async_read_some(asio::buffer(buffer), asTuple);
    if (error) break;
    drained += size;
  }
  *expired = true;
  deadline->cancel();
}

/// Waits; false when the peer has hung up meanwhile.
asio::awaitable<bool> pauseFor(tcp::socket& socket, std::chrono::milliseconds time) {
  if (time <= 0ms) co_return true;
  auto timer = std::make_shared<asio::steady_timer>(socket.get_executor(), time);
  auto gone = std::make_shared<bool>(false);
  socket.async_wait(tcp::socket::wait_read,
                    [timer, gone, handle = socket.native_handle()](const error_code& error) {
                      char byte = 0;
                      if (error || ::recv(handle, &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0) return;
                      *gone = true;
                      timer->cancel();
                    });
  co_await timer->async_wait(asTuple);
  error_code ignored;
  socket.cancel(ignored);
  co_return !*gone;
}

template <class Stream>
asio::awaitable<bool> writeWhole(Stream& stream, std::string_view text) {
  beast::get_lowest_layer(stream).expires_after(writeTime);
  const auto [error, size] = co_await asio::async_write(stream, asio::buffer(text), asTuple);
  co_return !error;
}

template <class Stream>
asio::awaitable<bool> writeSlowly(Stream& stream, const std::string& text,
                                  std::chrono::milliseconds byteDelay) {
  for (std::size_t index = 0; index < text.size(); ++index) {
    const bool written = co_await writeWhole(stream, std::string_view(text).substr(index, 1));
    if (!written) co_return false;
    const bool present = co_await pauseFor(socketOf(stream), byteDelay);
    if (!present) co_return false;
  }
  co_return true;
}

std::string serialized(const http::response<http::string_body>& message) {
  std::ostringstream text;
  text << message;
  return std::move(text).str();
}

}  // namespace

class HTTPServer::Implementation {
 public:
  Implementation(const Options& options, Handler handler);

  std::string origin() const { return origin_; }
  void run();
  void publish(const std::string& text);

 private:
  void listen(const Options& options);
  void secure(const Certificate& certificate);
  void watchStandardInput();
  void readStandardInput();

  asio::awaitable<void> acceptAll();
  asio::awaitable<void> serve(tcp::socket socket);
  template <class Stream>
  asio::awaitable<void> serveRequests(std::shared_ptr<Stream> stream);
  template <class Stream>
  asio::awaitable<bool> deliver(Stream& stream, const Response& answer,
                                const http::request<http::string_body>& request);
  template <class Stream>
  asio::awaitable<void> serveEvents(std::shared_ptr<Stream> stream, const Response& answer,
                                    const http::request<http::string_body>& request);

  Handler handler_;
  std::string scheme_ = "http://";
  std::string origin_;
  std::size_t connections_ = 0;
  std::optional<asio::ssl::context> tls_;
  std::array<char, 64> inputBuffer_;
  // What stands above outlives the context, because the coroutines that the context holds use it; what stands
  // below goes before it, because it uses the context.
  asio::io_context context_{1};
  tcp::acceptor acceptor_{context_};
  asio::steady_timer connectionEnded_{context_};
  asio::signal_set signals_{context_, SIGINT, SIGTERM};
  asio::posix::stream_descriptor input_{context_};
  std::list<std::shared_ptr<Subscriber>> subscribers_;
};

HTTPServer::Implementation::Implementation(const Options& options, Handler handler)
    : handler_(std::move(handler)) {
  std::signal(SIGPIPE, SIG_IGN);
  if (options.certificate) secure(*options.certificate);
  listen(options);
  signals_.async_wait([this](const error_code&, int) { context_.stop(); });
  if (options.exitOnEOF) watchStandardInput();
  asio::co_spawn(context_, acceptAll(), asio::detached);
}

void HTTPServer::Implementation::secure(const Certificate& certificate) {
  scheme_ = "https://";
  tls_.emplace(asio::ssl::context::tls_server);
  tls_->set_options(asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1);
  tls_->use_certificate_chain(asio::buffer(certificate.certificate));
  tls_->use_private_key(asio::buffer(certificate.privateKey), asio::ssl::context::pem);
}

void HTTPServer::Implementation::listen(const Options& options) {
  const std::string place = options.address + " port " + std::to_string(options.port);
  try {
    const tcp::endpoint endpoint(asio::ip::make_address(options.address), options.port);
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen();
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("cannot listen on " + place + ": " + error.code().message());
  }
  std::ostringstream address;
  address << scheme_ << acceptor_.local_endpoint();
  origin_ = address.str();
}

void HTTPServer::Implementation::watchStandardInput() {
  error_code error;
  input_.assign(::dup(STDIN_FILENO), error);
  if (error) throw std::runtime_error("cannot watch standard input: " + error.message());
  readStandardInput();
}

void HTTPServer::Implementation::readStandardInput() {
  input_.async_read_some(asio::buffer(inputBuffer_), [this](const error_code& error, std::size_t) {
    if (error) {
      context_.stop();
    } else {
      readStandardInput();  // what it holds does not matter, only its end
    }
  });
}

void HTTPServer::Implementation::run() {
  context_.run();
}

void HTTPServer::Implementation::publish(const std::string& text) {
  for (const auto& subscriber : subscribers_) {
    if (subscriber->pending.size() + text.size() > maxStreamBacklog) {
      subscriber->end();
      continue;
    }
    subscriber->pending += text;
    subscriber->wake.cancel();
  }
}

asio::awaitable<void> HTTPServer::Implementation::acceptAll() {
  for (;;) {
    if (connections_ >= maxConnections) {
      connectionEnded_.expires_at(asio::steady_timer::time_point::max());
      co_await connectionEnded_.async_wait(asTuple);
      continue;
    }
    auto [error, socket] = co_await acceptor_.async_accept(asTuple);
    if (error == asio::error::operation_aborted) co_return;
    if (error) {  // out of descriptors, most likely: give connections the time to end
      connectionEnded_.expires_after(100ms);
      co_await connectionEnded_.async_wait(asTuple);
      continue;
    }
    ++connections_;
    asio::co_spawn(context_, serve(std::move(socket)), [this](const std::exception_ptr&) {
      --connections_;
      connectionEnded_.cancel();
    });
  }
}

asio::awaitable<void> HTTPServer::Implementation::serve(tcp::socket socket) {
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  socket.set_option(asio::socket_base::keep_alive(true), ignored);
  if (!tls_) {
    const auto stream = std::make_shared<PlainStream>(std::move(socket));
    co_await serveRequests(stream);
    co_return;
  }
  const auto stream = std::make_shared<SecureStream>(std::move(socket), *tls_);
  beast::get_lowest_layer(*stream).expires_after(handshakeTime);
  const auto [error] = co_await stream->async_handshake(asio::ssl::stream_base::server, asTuple);
  if (error) co_return;
  co_await serveRequests(stream);
}

template <class Stream>
asio::awaitable<void> HTTPServer::Implementation::serveRequests(std::shared_ptr<Stream> stream) {
  beast::flat_buffer buffer(maxHeaderBytes + maxBodyBytes);
  for (bool open = true; open;) {
    http::request_parser<http::string_body> parser;
    parser.header_limit(maxHeaderBytes);
    parser.body_limit(maxBodyBytes);
    beast::get_lowest_layer(*stream).expires_after(requestTime);
    const auto [error, size] = co_await http::async_read(*stream, buffer, parser, asTuple);
    Response answer;
    if (error) {
      answer.status = statusOf(error);
      if (answer.status == 0) co_return;
      answer.headers = {{"Content-Type", "application/json"}, {"Connection", "close"}};
      answer.body = R"({"error":"the request cannot be read: )" + error.message() + "\"}";
    } else {
      answer = handler_(readable(parser.get(), scheme_, origin_));
    }
    if (answer.eventStream) {
      co_await serveEvents(stream, answer, parser.get());
      co_return;
    }
    open = co_await deliver(*stream, answer, parser.get());
  }
  beast::get_lowest_layer(*stream).expires_never();
  if (!socketOf(*stream).is_open()) co_return;
  error_code ignored;
  socketOf(*stream).shutdown(tcp::socket::shutdown_send, ignored);
  co_await drain(socketOf(*stream), drainTime);
}

/// Sends the answer as it asks to be sent; false when the connection ends with it.
template <class Stream>
asio::awaitable<bool> HTTPServer::Implementation::deliver(Stream& stream, const Response& answer,
                                                          const http::request<http::string_body>& request) {
  beast::get_lowest_layer(stream).expires_never();
  if (answer.delivery.ending == Delivery::Ending::silence) {
    co_await drain(socketOf(stream), silenceTime);
    tearDown(socketOf(stream));
    co_return false;
  }
  const bool present = co_await pauseFor(socketOf(stream), answer.delivery.delay);
  if (!present || answer.delivery.ending == Delivery::Ending::reset) {
    tearDown(socketOf(stream));
    co_return false;
  }
  const http::response<http::string_body> message = writable(answer, request);
  const std::string text = serialized(message);
  bool written = false;
  if (answer.delivery.byteDelay > 0ms) {
    written = co_await writeSlowly(stream, text, answer.delivery.byteDelay);
  } else {
    written = co_await writeWhole(stream, text);
  }
  co_return written&& message.keep_alive();
}

template <class Stream>
asio::awaitable<void> HTTPServer::Implementation::serveEvents(
    std::shared_ptr<Stream> stream, const Response& answer, const http::request<http::string_body>& request) {
  if (subscribers_.size() >= maxStreams)
    subscribers_.front()->end();  // the longest-standing reader comes again
  const auto subscriber = std::make_shared<Subscriber>(context_.get_executor());
  http::response<http::empty_body> head(http::status::ok, request.version());
  for (const auto& [name, value] : answer.headers) head.set(name, value);
  head.keep_alive(false);
  std::ostringstream text;
  text << head;
  subscriber->pending = std::move(text).str() + answer.body;
  subscribers_.push_back(subscriber);

  // Readers of a stream send nothing more: the end of this read is the end of the reader.
  const auto byte = std::make_shared<std::array<char, 1>>();
  beast::get_lowest_layer(*stream).expires_never();
  stream->async_read_some(asio::buffer(*byte),
                          [stream, byte, subscriber](const error_code&, std::size_t) { subscriber->end(); });
  while (!subscriber->ended) {
    if (subscriber->pending.empty()) {
      co_await subscriber->wake.async_wait(asTuple);
      continue;
    }
    const std::string piece = std::exchange(subscriber->pending, {});
    const bool written = co_await writeWhole(*stream, piece);
    if (!written) break;
  }
  subscribers_.remove(subscriber);
  tearDown(socketOf(*stream));
}

HTTPServer::HTTPServer(const Options& options, Handler handler)
    : implementation_(std::make_unique<Implementation>(options, std::move(handler))) {}
HTTPServer::~HTTPServer() = default;
std::string HTTPServer::origin() const {
  return implementation_->origin();
}
void HTTPServer::run() {
  implementation_->run();
}
void HTTPServer::publish(const std::string& text) {
  implementation_->publish(text);
}

}  // namespace corvane::sandbox
