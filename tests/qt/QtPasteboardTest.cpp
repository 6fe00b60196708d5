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
using Text = std::optional<std::string>;

struct QtPasteboard : QtApplication {
  /// What the library reads on its thread.
  std::future<Text> read() {
    return std::async(std::launch::async, [this] { return pasteboard.string(); });
  }

  CorvaneQt::QtPasteboard pasteboard{std::make_shared<CorvaneQt::QtMainExecutor>()};
};

TEST_F(QtPasteboard, ReadsAndEmptiesTheClipboardOnTheMainThread) {
  int reads = 0;
  QGuiApplication::clipboard()->setMimeData(new WatchedText(reads));
  auto text = read();
  EXPECT_TRUE(comesTrue([&] { return text.wait_for(0s) == std::future_status::ready; }));
  EXPECT_EQ(text.get(), "grüße");
  EXPECT_EQ(reads, 1);
  EXPECT_EQ(pasteboard.string(), "grüße");
  pasteboard.clear();
  EXPECT_TRUE(comesTrue([] { return QGuiApplication::clipboard()->text().isEmpty(); }));
  EXPECT_EQ(pasteboard.string(), std::nullopt);
}

TEST_F(QtPasteboard, GivesNoTextWhenTheMainThreadDoesNotComeToItInTimeOrIsGone) {
  int reads = 0;
  QGuiApplication::clipboard()->setMimeData(new WatchedText(reads));
  CorvaneQt::QtPasteboard impatient(std::make_shared<CorvaneQt::QtMainExecutor>(), 10ms);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(std::async(std::launch::async, [&] { return impatient.string(); }).get(), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2500ms) << "it waited longer than its patience";
  QCoreApplication::processEvents();
  EXPECT_EQ(reads, 0) << "it was read after the wait had ended";
  auto text = read();
  application.reset();
  EXPECT_EQ(text.get(), std::nullopt);
  EXPECT_EQ(read().get(), std::nullopt);
}

TEST_F(QtPasteboard, WithoutWindowsThereIsNoText) {
  application.reset();
  const QCoreApplication console(count, arguments);
  CorvaneQt::QtPasteboard none(std::make_shared<CorvaneQt::QtMainExecutor>());
  EXPECT_EQ(none.string(), std::nullopt);
  none.clear();
  QCoreApplication::processEvents();
}

}  // namespace
}  // namespace corvane::test
