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
/// The library asks on its own thread; the clipboard is touched on the main thread only, by the executor that
/// is handed in. `string` waits for that, but not for ever: where the main thread has not come to it in time,
/// or is gone, there is no text. So a main thread that waits for the library holds up the library's other
/// work once, for that long, and nothing stands still. `clear` does not wait.
///
/// With `clickTokenSource` `automatic` the library reads it before it reports the install: where the event
/// loop does not run by then, that install goes without its click token for good. Call `configure` after
/// what takes long.
class QtPasteboard final : public CorvanePasteboard {
 public:
  /// `main` is normally the `QtMainExecutor` of the same application. `patience` is how long a read may wait.
  explicit QtPasteboard(std::shared_ptr<CorvaneExecutor> main,
                        std::chrono::milliseconds patience = std::chrono::seconds(5));

  std::optional<std::string> string() override;
  void clear() override;

 private:
  const std::shared_ptr<CorvaneExecutor> main_;
  const std::chrono::milliseconds patience_;
};

}  // namespace CorvaneQt
