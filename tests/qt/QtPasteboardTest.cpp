#include "CorvaneQt/QtPasteboard.h"

#include <QClipboard>
#include <chrono>
#include <future>

#include "CorvaneQt/QtMainExecutor.h"
#include "qt/QtApplication.h"
#include "qt/WatchedText.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using CorvaneQt::QtPasteboard;
using Text = std::optional<std::string>;

struct Pasteboard : QtApplication {
  /// What the library reads on its thread.
  std::future<Text> read() {
    return std::async(std::launch::async, [this] { return pasteboard.string(); });
  }
  static bool isReady(const std::future<Text>& text) {
    return text.wait_for(0s) == std::future_status::ready;
  }

  QtPasteboard pasteboard{std::make_shared<CorvaneQt::QtMainExecutor>()};
};

TEST_F(Pasteboard, ReadsAndEmptiesTheClipboardOnTheMainThread) {
  QGuiApplication::clipboard()->setText("grüße");
  auto text = read();
  EXPECT_TRUE(comesTrue([&] { return isReady(text); }));
  EXPECT_EQ(text.get(), "grüße");
  EXPECT_EQ(pasteboard.string(), "grüße");
  pasteboard.clear();
  EXPECT_TRUE(comesTrue([] { return QGuiApplication::clipboard()->text().isEmpty(); }));
  EXPECT_EQ(pasteboard.string(), std::nullopt);
}

TEST_F(Pasteboard, HoldsNoTextForAThreadThatTheMainThreadWaitsForOrThatOutlivesIt) {
  int reads = 0;
  QGuiApplication::clipboard()->setMimeData(new WatchedText(reads));
  QtPasteboard impatient(std::make_shared<CorvaneQt::QtMainExecutor>(), 10ms);
  EXPECT_EQ(std::async(std::launch::async, [&] { return impatient.string(); }).get(), std::nullopt);
  QCoreApplication::processEvents();
  EXPECT_EQ(reads, 0) << "it was read though nobody waited for it any more";
  auto text = read();
  application.reset();
  EXPECT_EQ(text.get(), std::nullopt);
  EXPECT_EQ(read().get(), std::nullopt);
}

}  // namespace
}  // namespace corvane::test
