#include <stdexcept>
#include <thread>

#include "client/Application.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

/// A pasted item whose text the test supplies, when it calls `completion`.
struct Item : CorvaneItemProvider {
  explicit Item(bool text) : isText(text) {}
  bool canLoadText() override {
    if (!isText) throw std::runtime_error("no such item");
    return true;
  }
  void loadText(Completion load) override {
    ++loads;
    completion = std::move(load);
    if (failsToLoad) throw std::runtime_error("gone meanwhile");
  }

  bool isText;
  bool failsToLoad = false;
  int loads = 0;
  Completion completion;
};

struct CorvanePasteCoordinator : Application {
  CorvanePasteCoordinator() { options.clickTokenSource = CorvaneClickTokenSource::pasteButton; }

  void paste() { control->paste({item}); }

  std::shared_ptr<Item> item = std::make_shared<Item>(true);
  std::unique_ptr<::CorvanePasteCoordinator> control =
      std::make_unique<::CorvanePasteCoordinator>([this](const std::string& text) { note("token " + text); });
};

TEST_F(CorvanePasteCoordinator, TracksTheInstallWithTheTextOfTheFirstItemThatHasOne) {
  const auto client = launch();
  const std::string text = " " + sandbox.click("summer").text + "\n";
  pasteboard->text = text;
  const auto image = std::make_shared<Item>(false), second = std::make_shared<Item>(true);
  control->paste({nullptr, image, item, second});
  EXPECT_EQ(image->loads + second->loads, 0);
  std::thread([&] { item->completion(text); }).join();
  item->completion("a second text");
  EXPECT_EQ(awaitCalls(3), (Lines{"token " + text, "attributed", "/offers/7"}));
  EXPECT_EQ(pasteboard->text, std::nullopt);
  paste();
  item->completion("");
  EXPECT_EQ(awaitCalls(1), Lines{"token "});
  await(client->trackInstallAsync(false));
  const auto records = sandbox.records();
  ASSERT_EQ(records["arrivals"].size(), 1U) << "a later paste does not send the install again";
  EXPECT_EQ(records["installs"][0]["match"], "deterministic");
}

TEST_F(CorvanePasteCoordinator, WithoutATextOrWithAnItemThatThrowsDoesNothing) {
  const auto client = launch();
  control->paste({});
  paste();
  item->completion(std::nullopt);
  item->failsToLoad = true;
  paste();
  item->completion = nullptr;
  queue->poll();
  EXPECT_EQ(calls, Lines());
  await(client->trackEventAsync("after all that"));
  EXPECT_EQ(sandbox.records()["installs"].size(), 0U);
}

TEST_F(CorvanePasteCoordinator, DestroyedBeforeTheTextArrivesTracksTheInstallWithoutItsCallback) {
  paste();
  item->completion("text");
  EXPECT_EQ(awaitCalls(1), Lines{"token text"}) << "there is no client yet";
  const auto client = launch();
  paste();
  control.reset();
  item->completion(sandbox.click("summer").text);
  EXPECT_EQ(awaitCalls(2), (Lines{"attributed", "/offers/7"}));

  ::CorvanePasteCoordinator withoutCallback;
  withoutCallback.paste({item});
  item->completion("text");
  queue->poll();
  EXPECT_EQ(calls, Lines());
}

}  // namespace
}  // namespace corvane::test
