#include "EventStreams.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <utility>

namespace corvane::sandbox {
namespace {

constexpr std::size_t maxStreams = 16;
constexpr std::size_t maxBacklog = 1024 * 1024;

}  // namespace

struct EventStreams::Reader {
  explicit Reader(std::string beginning) : pending(std::move(beginning)) { wake(); }

  void wake() const { ::eventfd_write(changed.number(), 1); }

  void close() {
    isClosed = true;
    wake();
  }

  std::string pending;
  bool isClosed = false;
  const Descriptor changed{::eventfd(0, EFD_CLOEXEC)};
};

std::shared_ptr<EventStreams::Reader> EventStreams::join(std::string beginning) {
  const std::lock_guard lock(mutex_);
  if (readers_.size() >= maxStreams) readers_.front()->close();
  return readers_.emplace_back(std::make_shared<Reader>(std::move(beginning)));
}

void EventStreams::publish(const std::string& text) {
  const std::lock_guard lock(mutex_);
  for (const auto& reader : readers_) {
    if (reader->pending.size() + text.size() > maxBacklog) {
      reader->close();
    } else {
      reader->pending += text;
      reader->wake();
    }
  }
}

void EventStreams::serve(Connection& connection, Reader& reader) {
  // The peer sends nothing more, so that readable data means that it has closed the connection.
  std::array<pollfd, 2> events{{{connection.socket(), POLLIN, 0}, {reader.changed.number(), POLLIN, 0}}};
  while (::poll(events.data(), events.size(), -1) > 0 && events[0].revents == 0) {
    const std::string text = take(reader);
    if (text.empty() || !connection.write(text)) break;
  }
  connection.reset();
  const std::lock_guard lock(mutex_);
  std::erase_if(readers_, [&](const auto& each) { return each.get() == &reader; });
}

/// What is to be sent now; empty when the stream is closed.
std::string EventStreams::take(Reader& reader) {
  const std::lock_guard lock(mutex_);
  eventfd_t ignored = 0;
  ::eventfd_read(reader.changed.number(), &ignored);
  return reader.isClosed ? "" : std::exchange(reader.pending, {});
}

}  // namespace corvane::sandbox
