#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "http/Connection.h"

namespace corvane::sandbox {

/// The open event streams of a server. Any thread.
class EventStreams {
 public:
  struct Reader;

  /// Opens a stream that begins with the text. When there are too many, the oldest one is closed.
  std::shared_ptr<Reader> join(std::string beginning);

  /// Adds the text to every stream. A stream that falls too far behind is closed; its reader reconnects and
  /// starts from the beginning.
  void publish(const std::string& text);

  /// Sends the stream until its reader hangs up or the stream is closed.
  void serve(Connection& connection, Reader& reader);

 private:
  std::string take(Reader& reader);

  std::mutex mutex_;  // guards the list and its readers
  std::list<std::shared_ptr<Reader>> readers_;
};

}  // namespace corvane::sandbox
