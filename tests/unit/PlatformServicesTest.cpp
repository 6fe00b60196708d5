#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/services/ATTManager.h"
#include "platform/services/SKANManager.h"
#include "support/CapturedOutput.h"
#include "support/ManualExecutor.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;
using Status = CorvaneTrackingAuthorizationStatus;

constexpr CorvaneLogger debugLogger{true, CorvaneLogLevel::debug};

/// The system's prompt. The test answers it.
struct Prompt : CorvaneTrackingAuthorizationProvider {
  Status trackingAuthorizationStatus() override {
    if (throwsOnStatus) throw std::runtime_error("no service");
    return status;
  }
  void requestTrackingAuthorization(Completion completion) override {
    ++shown;
    if (answersInline) completion(*answersInline);
    if (throwsOnRequest) throw std::runtime_error("no window");
    answer = std::move(completion);
  }

  Status status = Status::notDetermined;
  std::optional<Status> answersInline;
  bool throwsOnStatus = false, throwsOnRequest = false;
  int shown = 0;
  Completion answer;
};

struct ATTManager : ::testing::Test {
  /// Asks and returns what the completion is called with, unless the prompt waits for its answer.
  std::vector<bool> ask() {
    manager->requestAuthorization([this](bool granted) { answers.push_back(granted); });
    EXPECT_EQ(answers, std::vector<bool>()) << "the completion ran inside the call";
    return answersSoFar();
  }
  std::vector<bool> answersSoFar() {
    main->run();
    return std::exchange(answers, {});
  }

  std::shared_ptr<Prompt> prompt = std::make_shared<Prompt>();
  std::shared_ptr<ManualExecutor> main = std::make_shared<ManualExecutor>();
  std::optional<platform::ATTManager> manager{std::in_place, debugLogger, prompt, MainThread(main)};
  std::vector<bool> answers;
};

TEST_F(ATTManager, AKnownStatusIsReturnedWithoutAPrompt) {
  const std::pair<Status, bool> known[] = {
      {Status::authorized, true}, {Status::denied, false}, {Status::restricted, false}, {Status{7}, false}};
  for (const auto& [status, granted] : known) {
    prompt->status = status;
    CapturedOutput output;
    EXPECT_EQ(ask(), std::vector<bool>{granted});
    EXPECT_EQ(output.lines(), granted ? Lines() : Lines{"[Corvane] [INFO] ATT: not authorized"});
  }
  EXPECT_EQ(prompt->shown, 0);
}

TEST_F(ATTManager, AnUndeterminedStatusShowsThePromptAndItsFirstResponseCounts) {
  CapturedOutput output;
  for (const Status answer : {Status::authorized, Status::denied, Status{-1}}) {
    EXPECT_EQ(ask(), std::vector<bool>());
    std::thread([&] { prompt->answer(answer); }).join();
    prompt->answer(Status::authorized);
    EXPECT_EQ(answersSoFar(), std::vector<bool>{answer == Status::authorized});
  }
  prompt->answersInline = Status::authorized;
  prompt->throwsOnRequest = true;
  EXPECT_EQ(ask(), std::vector<bool>{true});
  EXPECT_EQ(prompt->shown, 4);
  EXPECT_EQ(output.lines(), Lines());
}

TEST_F(ATTManager, AProviderThatThrowsDropsItsCompletionOrIsMissingMeansNotAuthorized) {
  CapturedOutput output;
  prompt->throwsOnRequest = true;
  EXPECT_EQ(ask(), std::vector<bool>{false});
  prompt->throwsOnRequest = false;
  ask();
  prompt->answer = nullptr;
  EXPECT_EQ(answersSoFar(), std::vector<bool>{false});
  EXPECT_EQ(output.lines(), Lines());
  prompt->throwsOnStatus = true;
  EXPECT_EQ(ask(), std::vector<bool>{false});
  manager.emplace(debugLogger, nullptr, MainThread(main));
  EXPECT_EQ(ask(), std::vector<bool>{false});
}

TEST_F(ATTManager, TheTaskCompletesAfterTheMainThreadHasRunOrRefused) {
  const auto allowed = manager->requestAuthorizationAsync();
  prompt->answer(Status::authorized);
  EXPECT_FALSE(allowed.isDone());
  main->run();
  EXPECT_TRUE(allowed.get());

  const auto cancelled = manager->requestAuthorizationAsync();
  cancelled.cancel();
  main->dropping = true;
  prompt->answer(Status::authorized);
  EXPECT_TRUE(cancelled.get());
}

TEST_F(ATTManager, TheHostsFunctionIsDestroyedOnTheMainThreadAfterItsCall) {
  const auto owned = std::make_shared<int>();
  manager->requestAuthorization([owned](bool) {});
  EXPECT_EQ(owned.use_count(), 2);
  prompt->answer(Status::denied);
  EXPECT_EQ(owned.use_count(), 2) << "it was destroyed on the provider's thread";
  main->run();
  EXPECT_EQ(owned.use_count(), 1) << "the provider's completion no longer holds it";
}

/// The system's ad network, which records its calls. The test calls `answer`.
struct AdNetwork : CorvaneAdNetworkProvider {
  void registerAppForAdNetworkAttribution() override {
    calls.push_back("register");
    if (fails) throw std::runtime_error("no network");
  }
  void updatePostbackConversionValue(std::int64_t value, Completion completion) override {
    calls.push_back("update " + std::to_string(value));
    if (fails) throw std::runtime_error("no network");
    answer = std::move(completion);
  }
  void updatePostbackConversionValue(std::int64_t value, CorvaneCoarseConversionValue coarse,
                                     Completion completion) override {
    calls.push_back("update " + std::to_string(value) + " " + std::string(coarse.rawValue()));
    answer = std::move(completion);
  }

  bool fails = false;
  Lines calls;
  Completion answer;
};

struct SKANManager : ::testing::Test {
  platform::SKANManager on(CorvaneOSVersion version) const { return {debugLogger, network, version}; }

  std::shared_ptr<AdNetwork> network = std::make_shared<AdNetwork>();
};

TEST_F(SKANManager, CallsWhatTheSystemsVersionSupports) {
  using Coarse = CorvaneCoarseConversionValue;
  const std::optional<Coarse> none;
  const struct {
    CorvaneOSVersion version;
    std::optional<std::int64_t> value;  // without one it registers
    std::optional<Coarse> coarse;
    const char* call;
    const char* line;
  } table[] = {
      {{9, 0}, 5, Coarse::medium, "register", "registered (legacy; conversion values unsupported)"},
      {{15, 3}, {}, none, "register", "registered for ad network attribution"},
      {{15, 4}, {}, none, "update 0", "registered with conversion value 0"},
      {{15, 10}, 5, Coarse::high, "update 5", "updated conversion value 5"},
      {{16, 0}, 6, none, "update 6", "updated conversion value 6"},
      {{16, 1}, 5, none, "update 5 low", "updated conversion value 5 (low)"},
      {{16, 10}, -1, Coarse::high, "update -1 high", "updated conversion value -1 (high)"},
      {{17, 0}, {}, none, "", "AdAttributionKit available (iOS 16.1+); no explicit registration required"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.line);
    CapturedOutput output;
    network->calls = {""};
    row.value ? on(row.version).updateConversionValue(*row.value, row.coarse) : on(row.version).register_();
    EXPECT_EQ(network->calls.back(), row.call);
    if (network->answer) std::exchange(network->answer, nullptr)(std::nullopt);
    const char* const level = *row.call ? "[INFO]" : "[DEBUG]";
    EXPECT_EQ(output.lines(), Lines{std::string("[Corvane] ") + level + " SKAdNetwork: " + row.line});
  }
}

TEST_F(SKANManager, LogsTheFirstErrorOfTheProviderOrThatThereIsNone) {
  CapturedOutput output;
  on({16, 1}).updateConversionValue(5, std::nullopt);
  network->answer("no campaign\n[Corvane] [INFO] forged");
  network->answer("a second response");
  network->fails = true;
  on({15, 4}).updateConversionValue(6, std::nullopt);
  on({9, 0}).register_();
  network = nullptr;
  on({16, 1}).updateConversionValue(5, std::nullopt);
  on({15, 3}).register_();
  Lines expected;
  for (const char* error : {"no campaign\\n[Corvane] [INFO] forged", "no network", "no network",
                            "This system has no ad network.", "This system has no ad network."})
    expected.push_back(std::string("[Corvane] [ERROR] SKAdNetwork: ") + error);
  EXPECT_EQ(output.lines(), expected);
}

TEST(CorvaneCoarseConversionValue, IsReadFromItsExactRawValueOnly) {
  for (const char* text : {"low", "medium", "high"})
    EXPECT_EQ(CorvaneCoarseConversionValue::fromRawValue(text)->rawValue(), text);
  for (const char* text : {"", "Low", "high "})
    EXPECT_EQ(CorvaneCoarseConversionValue::fromRawValue(text), std::nullopt);
}

}  // namespace
}  // namespace corvane::test
