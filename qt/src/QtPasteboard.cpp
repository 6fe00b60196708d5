#include "CorvaneQt/QtPasteboard.h"

#include <QClipboard>
#include <atomic>
#include <future>
#include <utility>

#include "ClipboardText.h"

namespace CorvaneQt {
namespace {

/// One read of the clipboard on the main thread. When the executor drops the function, the promise is broken,
/// which `string` treats as "no text".
struct Reading {
  std::promise<std::optional<std::string>> text;
  std::atomic<bool> isWanted = true;
};

}  // namespace

QtPasteboard::QtPasteboard(std::shared_ptr<CorvaneExecutor> main, std::chrono::milliseconds patience)
    : main_(std::move(main)), patience_(patience) {}

std::optional<std::string> QtPasteboard::string() {
  if (main_->isCurrentThread()) return clipboardText();
  auto reading = std::make_shared<Reading>();
  const std::weak_ptr<Reading> ours = reading;
  auto text = reading->text.get_future();
  main_->post([reading = std::move(reading)] {
    if (reading->isWanted) reading->text.set_value(clipboardText());
  });
  if (text.wait_for(patience_) == std::future_status::timeout) {
    if (const auto late = ours.lock()) late->isWanted = false;
    return std::nullopt;
  }
  try {
    return text.get();
  } catch (const std::future_error&) {
    return std::nullopt;
  }
}

void QtPasteboard::clear() {
  main_->post([] {
    if (QClipboard* const clipboard = applicationClipboard()) clipboard->clear();
  });
}

}  // namespace CorvaneQt
