#pragma once

#include <corvane/CorvaneExecutor.h>
#include <corvane/CorvanePasteboard.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace CorvaneQt {

/// The application's clipboard (`QGuiApplication::clipboard`) as the library's pasteboard.
///
/// Threads: the library calls both operations on its background thread; the clipboard is accessed on the main
/// thread only, through the executor `main`. `string` waits for the main thread, for at most `patience`. When
/// the main thread does not respond in time or the executor refuses, the result is "no text". A main thread
/// that itself waits for the library therefore delays the library's other work once, by at most that time.
/// `clear` does not wait.
///
/// With `clickTokenSource` `automatic`, the library reads the clipboard before it reports the install. When
/// the event loop does not start within that time, the install is reported without its click token. Call
/// `configure` after long initialisation.
class QtPasteboard final : public CorvanePasteboard {
 public:
  /// `main` is normally the `QtMainExecutor` of the same application. `patience` is the longest wait for a
  /// read; default: 5 seconds.
  explicit QtPasteboard(std::shared_ptr<CorvaneExecutor> main,
                        std::chrono::milliseconds patience = std::chrono::seconds(5));

  std::optional<std::string> string() override;
  void clear() override;

 private:
  const std::shared_ptr<CorvaneExecutor> main_;
  const std::chrono::milliseconds patience_;
};

}  // namespace CorvaneQt
