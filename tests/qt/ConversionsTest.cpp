#include "CorvaneQt/Conversions.h"

#include <gtest/gtest.h>

#include <QClipboard>

#include "CorvaneQt/CorvaneQt.h"
#include "platform/preferences/UserDefaults.h"
#include "qt/QtApplication.h"
#include "support/BaseURL.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using namespace CorvaneQt;

TEST(Conversions, KeepTextsAndEncodeURLs) {
  const QString text = QString::fromUtf8("grüße 𝄞");
  EXPECT_EQ(toStdString(text), "grüße 𝄞");
  EXPECT_EQ(toQString(toStdString(text)), text);
  EXPECT_EQ(toQString("grüße 𝄞"), text);
  EXPECT_TRUE(toQString(std::optional<std::string>()).isNull());
  EXPECT_EQ(toStdString(QUrl("https://go.example/s?path=/a b&c={d}")),
            "https://go.example/s?path=/a%20b&c=%7Bd%7D");
  EXPECT_EQ(toStdString(QUrl("shop:///abc")), "shop:///abc");
  EXPECT_EQ(toStdString(QUrl()), "");
  const CorvaneDeepLink link({}, "https://go.example/s", {}, {}, {}, {}, {}, {}, {}, {});
  EXPECT_EQ(toQUrl(link), QUrl("https://go.example/s"));
}

/// A Qt application with a client whose backend does not answer.
struct QtClient : QtApplication {
  QtClient() {
    CorvanePlatform platform = CorvaneQt::platform();
    platform.preferencesFile = folder.path() / "preferences.sqlite";
    Corvane::setPlatform(platform);
    setBaseURL("http://127.0.0.1:9");
    client =
        Corvane::configure("cv_qt", {.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  }
  ~QtClient() override {
    Corvane::setShared(nullptr);
    Corvane::setPlatform({});
  }

  TemporaryFolder folder;
  std::shared_ptr<Corvane> client;
};

TEST_F(QtClient, TasksCompleteFromTheEventLoopAndAfterIt) {
  const auto task = client->requestTrackingAuthorizationAsync();
  EXPECT_THROW(task.get(), std::logic_error);
  bool done = false;
  task.whenDone([&](const CorvaneTask<bool>&) { done = true; });
  EXPECT_TRUE(comesTrue([&] { return done; }));
  EXPECT_FALSE(task.get());
  application.reset();
  EXPECT_FALSE(client->requestTrackingAuthorizationAsync().get());
}

TEST_F(QtClient, ConvertedArgumentsReachTheClient) {
  int errors = 0;
  client->onError([&](const std::exception&) { ++errors; });
  trackEvent(*client, "signup", 1.5);
  trackEvent(*client, "grüße", {}, "");
  EXPECT_TRUE(handleDeepLink(*client, QUrl("https://go.example/s")));
  EXPECT_FALSE(handleDeepLink(*client, QUrl()));
  EXPECT_TRUE(comesTrue([&] { return errors == 3; }));
  const auto queued = platform::UserDefaults::open(folder.path() / "preferences.sqlite")
                          ->dataForKey("io.corvane.event_queue")
                          .value();
  EXPECT_NE(queued.find(R"("name":"signup","platform":"iOS","value":1.5)"), queued.npos) << queued;
  EXPECT_NE(queued.find(R"("name":"grüße")"), queued.npos) << queued;
  EXPECT_EQ(queued.find(R"("currency":"")"), queued.rfind("\"currency\"")) << "a null currency is left out";
}

TEST_F(QtApplication, ItsPlatformIsMadeOfTheExecutorThePasteboardAndTheDesktopFilesName) {
  QCoreApplication::setApplicationName("Shop");
  EXPECT_EQ(CorvaneQt::platform().applicationIdentifier, "Shop");
  QGuiApplication::setDesktopFileName("com.example.shop");
  const CorvanePlatform platform = CorvaneQt::platform();
  EXPECT_EQ(platform.applicationIdentifier, "com.example.shop");
  EXPECT_TRUE(platform.mainExecutor->isCurrentThread());
  QGuiApplication::clipboard()->setText("copied");
  EXPECT_EQ(platform.pasteboard->string(), "copied");
  QGuiApplication::setDesktopFileName({});
}

}  // namespace
}  // namespace corvane::test
