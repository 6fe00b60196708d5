#include <stdexcept>
#include <thread>

#include "client/Application.h"

namespace corvane {
namespace {

using Lines = std::vector<std::string>;

/// Something pasted, which answers when the test says so.
struct Item : CorvaneItemProvider {
  explicit Item(bool text) : isText(text) {}
  bool canLoadText() override {
    if (!isText) throw std::runtime_error("no such item");
    return true;
  }
  void loadText(Completion completion) override {
    ++loads;
    answer = std::move(completion);
    if (failsToLoad) throw std::runtime_error("gone meanwhile");
  }

  bool isText;
  bool failsToLoad = false;
  int loads = 0;
  Completion answer;
};

struct Paste : test::ApplicationWithBackend {
  void SetUp() override {
    ApplicationWithBackend::SetUp();
    options.clickTokenSource = CorvaneClickTokenSource::pasteButton;
  }

  /// Pastes one text item.
  void paste() { control->paste({item}); }

  std::shared_ptr<Item> item = std::make_shared<Item>(true);
  std::unique_ptr<CorvanePasteCoordinator> control =
      std::make_unique<CorvanePasteCoordinator>([this](const std::string& text) { note("token " + text); });
};

TEST_F(Paste, TracksTheInstallWithTheTextOfTheFirstItemThatHasOneAndHandsItToTheHost) {
  const auto client = launch();
  const std::string text = " " + sandbox.click("summer").text + "\n";
  pasteboard->text = text;
  const auto image = std::make_shared<Item>(false), second = std::make_shared<Item>(true);
  control->paste({nullptr, image, item, second});
  EXPECT_EQ(image->loads + second->loads, 0);
  item->answer(text);
  item->answer("a second text");
  EXPECT_EQ(awaitCalls(3), (Lines{"token " + text, "attributed", "/offers/7"}));
  EXPECT_EQ(pasteboard->text, std::nullopt);
  const auto installs = sandbox.records()["installs"];
  ASSERT_EQ(installs.size(), 1U);
  EXPECT_EQ(installs[0]["match"], "deterministic");
}

TEST_F(Paste, OfATextWithoutATokenTracksTheInstallOnce) {
  const auto client = launch();
  sandbox.click("summer");
  paste();
  std::thread([this] { item->answer("hello"); }).join();
  EXPECT_EQ(awaitCalls(3), (Lines{"token hello", "attributed", "/offers/7"}));
  paste();
  item->answer("");
  EXPECT_EQ(awaitCalls(1), Lines{"token "});
  EXPECT_TRUE(client->trackInstallAsync(false).get().attributed());
  const auto records = sandbox.records();
  ASSERT_EQ(records["arrivals"].size(), 1U);
  EXPECT_FALSE(records["installs"][0]["request"].contains("clickId"));
}

TEST_F(Paste, WithTheSourceNoneTracksTheInstallWithoutTheToken) {
  options.clickTokenSource = CorvaneClickTokenSource::none;
  const auto client = launch();
  const std::string text = sandbox.click("summer").text;
  paste();
  item->answer(text);
  EXPECT_EQ(awaitCalls(3), (Lines{"token " + text, "attributed", "/offers/7"}));
  EXPECT_FALSE(sandbox.records()["installs"][0]["request"].contains("clickId"));
}

TEST_F(Paste, OfNothingOrOfWhatCannotBeLoadedDoesNothing) {
  const auto client = launch();
  control->paste({});
  paste();
  item->answer(std::nullopt);
  item->failsToLoad = true;
  paste();
  item->answer = nullptr;
  queue->poll();
  EXPECT_EQ(calls, Lines());
  client->trackEventAsync("after all that").get();
  EXPECT_EQ(sandbox.records()["installs"].size(), 0U);
}

TEST_F(Paste, AnsweredWhenTheControlIsGoneTracksTheInstallAndLeavesTheCallbackAlone) {
  const auto client = launch();
  paste();
  control.reset();
  item->answer(sandbox.click("summer").text);
  EXPECT_EQ(awaitCalls(2), (Lines{"attributed", "/offers/7"}));

  CorvanePasteCoordinator silent;
  silent.paste({item});
  item->answer("nobody listens");
  queue->poll();
  EXPECT_EQ(calls, Lines());
}

TEST_F(Paste, WithoutAClientStillReachesTheHost) {
  paste();
  item->answer("text");
  EXPECT_EQ(awaitCalls(1), Lines{"token text"});
}

}  // namespace
}  // namespace corvane
