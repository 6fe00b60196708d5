#include "IncomingRequest.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "LowerCased.h"

namespace corvane::sandbox {
namespace {

namespace http = boost::beast::http;
using Parser = http::request_parser<http::string_body>;
using boost::system::error_code;

constexpr std::uint32_t maxHeaderBytes = 16 * 1024;
constexpr std::uint64_t maxBodyBytes = 64 * 1024;

Response refusalFor(const error_code& error) {
  const unsigned status = error == http::error::body_limit     ? 413
                          : error == http::error::header_limit ? 431
                                                               : 400;
  return {.status = status,
          .headers = {{"Content-Type", "application/json"}},
          .body = R"({"error":"the request cannot be read: )" + error.message() + "\"}"};
}

Request readable(const Parser::value_type& message) {
  Request request;
  request.method = message.method_string();
  const std::string_view target(message.target().data(), message.target().size());
  const auto question = target.find('?');
  request.path = target.substr(0, question);
  if (question != std::string_view::npos) request.query = target.substr(question + 1);
  for (const auto& field : message)
    request.headers.emplace_back(lowerCased(field.name_string()), field.value());
  if (const std::string* host = request.header("host")) request.host = *host;
  request.body = message.body();
  return request;
}

}  // namespace

std::optional<IncomingRequest> readRequest(Connection& connection, std::string& unread) {
  Parser parser;
  parser.header_limit(maxHeaderBytes);
  parser.body_limit(maxBodyBytes);
  parser.eager(true);
  const auto deadline = std::chrono::steady_clock::now() + Connection::timeLimit;
  while (!parser.is_done()) {
    error_code error;
    unread.erase(0, unread.empty() ? 0 : parser.put(boost::asio::buffer(unread), error));
    if (error && error != http::error::need_more)
      return IncomingRequest{.request = {}, .refusal = refusalFor(error)};
    if (parser.is_done()) break;
    if (std::chrono::steady_clock::now() >= deadline || !connection.read(unread)) return std::nullopt;
  }
  const bool isHead = parser.get().method() == http::verb::head;
  return IncomingRequest{.request = readable(parser.get()),
                         .keepAlive = parser.get().keep_alive() && parser.get().version() == 11 && !isHead};
}

}  // namespace corvane::sandbox
