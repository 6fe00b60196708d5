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

namespace corvane::platform {
namespace {

using Lines = std::vector<std::string>;
using Status = CorvaneTrackingAuthorizationStatus;
using Generation = AdNetworkGeneration;

constexpr CorvaneLogger debugLogger{true, CorvaneLogLevel::debug};

/// The system's prompt: the test is the user.
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

struct TrackingAuthorization : ::testing::Test {
  void ask() {
    manager.requestAuthorization([this](bool granted) { answers.push_back(granted); });
    EXPECT_EQ(answers, std::vector<bool>()) << "the completion ran inside the call";
  }
  /// What the completion was called with, each time.
  std::vector<bool> answersSoFar() {
    main->run();
    return std::exchange(answers, {});
  }

  std::shared_ptr<Prompt> prompt = std::make_shared<Prompt>();
  std::shared_ptr<test::ManualExecutor> main = std::make_shared<test::ManualExecutor>();
  ATTManager manager{debugLogger, prompt, MainThread(main)};
  std::vector<bool> answers;
};

TEST_F(TrackingAuthorization, AKnownStatusIsTheAnswerAndNobodyIsAsked) {
  const std::pair<Status, bool> known[] = {
      {Status::authorized, true}, {Status::denied, false}, {Status::restricted, false}, {Status{7}, false}};
  for (const auto& [status, granted] : known) {
    prompt->status = status;
    test::CapturedOutput output;
    ask();
    EXPECT_EQ(answersSoFar(), std::vector<bool>{granted});
    EXPECT_EQ(output.lines(), granted ? Lines() : Lines{"[Corvane] [INFO] ATT: not authorized"});
  }
  EXPECT_EQ(prompt->shown, 0);
}

TEST_F(TrackingAuthorization, TheUserIsAskedWhileNothingIsDeterminedAndTheFirstAnswerCounts) {
  test::CapturedOutput output;
  for (const Status answer : {Status::authorized, Status::denied, Status{-1}}) {
    ask();
    EXPECT_EQ(answersSoFar(), std::vector<bool>());
    std::thread([&] { prompt->answer(answer); }).join();
    prompt->answer(Status::authorized);
    EXPECT_EQ(answersSoFar(), std::vector<bool>{answer == Status::authorized});
  }
  prompt->answersInline = Status::authorized;
  prompt->throwsOnRequest = true;
  ask();
  EXPECT_EQ(answersSoFar(), std::vector<bool>{true});
  EXPECT_EQ(prompt->shown, 4);
  EXPECT_EQ(output.lines(), Lines());
}

TEST_F(TrackingAuthorization, AProviderThatFailsDropsTheQuestionOrIsMissingMeansNo) {
  test::CapturedOutput output;
  prompt->throwsOnRequest = true;
  ask();
  EXPECT_EQ(answersSoFar(), std::vector<bool>{false});
  prompt->throwsOnRequest = false;
  ask();
  prompt->answer = nullptr;
  EXPECT_EQ(answersSoFar(), std::vector<bool>{false});
  EXPECT_EQ(output.lines(), Lines());
  prompt->throwsOnStatus = true;
  ask();
  EXPECT_EQ(answersSoFar(), std::vector<bool>{false});
  ATTManager(debugLogger, nullptr, MainThread(main)).requestAuthorization([this](bool granted) {
    answers.push_back(granted);
  });
  EXPECT_EQ(answersSoFar(), std::vector<bool>{false});
}

TEST_F(TrackingAuthorization, TheTaskCompletesAfterTheMainThreadsTurnOrWhereThatIsRefused) {
  const auto allowed = manager.requestAuthorizationAsync();
  prompt->answer(Status::authorized);
  EXPECT_FALSE(allowed.isDone());
  main->run();
  EXPECT_TRUE(allowed.get());

  const auto cancelled = manager.requestAuthorizationAsync();
  cancelled.cancel();
  main->dropping = true;
  prompt->answer(Status::authorized);
  EXPECT_TRUE(cancelled.get());
}

TEST_F(TrackingAuthorization, WhatTheHostHandedInDiesOnceItIsAnsweredAndNotBefore) {
  const auto owned = std::make_shared<int>();
  manager.requestAuthorization([owned](bool) {});
  EXPECT_EQ(owned.use_count(), 2);
  prompt->answer(Status::denied);
  EXPECT_EQ(owned.use_count(), 2) << "it died on the provider's thread";
  main->run();
  EXPECT_EQ(owned.use_count(), 1) << "the provider still holds its completion, but nothing of the host's";
}

/// The system's ad network, which notes what it is told and answers when the test says so.
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

struct AdNetworkAttribution : ::testing::Test {
  SKANManager on(int major, int minor) const {
    return {debugLogger, network, CorvaneOSVersion{major, minor}};
  }
  Lines callsSoFar() { return std::exchange(network->calls, {}); }

  std::shared_ptr<AdNetwork> network = std::make_shared<AdNetwork>();
};

TEST(AdNetworkGenerations, BeginAt15_4AndAt16_1) {
  const std::pair<CorvaneOSVersion, Generation> versions[] = {
      {{15, 3}, Generation::legacy},        {{15, 4}, Generation::intermediate},
      {{15, 10}, Generation::intermediate}, {{16, 0}, Generation::intermediate},
      {{16, 1}, Generation::current},       {{16, 10}, Generation::current},
      {{17, 0}, Generation::current}};
  for (const auto& [version, generation] : versions)
    EXPECT_EQ(adNetworkGeneration(version), generation) << version.major << '.' << version.minor;
}

TEST_F(AdNetworkAttribution, ACurrentSystemIsToldBothValuesAndNeedsNoRegistration) {
  test::CapturedOutput output;
  on(16, 1).register_();
  EXPECT_EQ(callsSoFar(), Lines());
  on(16, 1).updateConversionValue(5, std::nullopt);
  network->answer(std::nullopt);
  network->answer("a second answer");
  on(17, 0).updateConversionValue(-1, CorvaneCoarseConversionValue::high);
  EXPECT_EQ(callsSoFar(), (Lines{"update 5 low", "update -1 high"}));
  network->answer("no campaign\n[Corvane] [INFO] forged");
  EXPECT_EQ(
      output.lines(),
      (Lines{
          "[Corvane] [DEBUG] SKAdNetwork: AdAttributionKit available (iOS 16.1+); no explicit registration "
          "required",
          "[Corvane] [INFO] SKAdNetwork: updated conversion value 5 (low)",
          "[Corvane] [ERROR] SKAdNetwork: no campaign\\n[Corvane] [INFO] forged"}));
}

TEST_F(AdNetworkAttribution, AnIntermediateSystemIsToldTheFineValueAndZeroForARegistration) {
  test::CapturedOutput output;
  on(15, 4).register_();
  network->answer(std::nullopt);
  on(16, 0).updateConversionValue(5, CorvaneCoarseConversionValue::high);
  network->answer(std::nullopt);
  EXPECT_EQ(callsSoFar(), (Lines{"update 0", "update 5"}));
  network->fails = true;
  on(16, 0).updateConversionValue(6, std::nullopt);
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] SKAdNetwork: registered with conversion value 0",
                                   "[Corvane] [INFO] SKAdNetwork: updated conversion value 5",
                                   "[Corvane] [ERROR] SKAdNetwork: no network"}));
}

TEST_F(AdNetworkAttribution, ALegacySystemIsRegisteredWhateverIsAsked) {
  test::CapturedOutput output;
  on(15, 3).register_();
  on(9, 0).updateConversionValue(5, CorvaneCoarseConversionValue::medium);
  network->fails = true;
  on(9, 0).register_();
  EXPECT_EQ(callsSoFar(), (Lines{"register", "register", "register"}));
  EXPECT_EQ(output.lines(),
            (Lines{"[Corvane] [INFO] SKAdNetwork: registered for ad network attribution",
                   "[Corvane] [INFO] SKAdNetwork: registered (legacy; conversion values unsupported)",
                   "[Corvane] [ERROR] SKAdNetwork: no network"}));
}

TEST_F(AdNetworkAttribution, WithoutAnAdNetworkEverythingSaysSo) {
  network = nullptr;
  test::CapturedOutput output;
  on(16, 1).updateConversionValue(5, std::nullopt);
  on(15, 3).register_();
  EXPECT_EQ(output.lines(), Lines(2, "[Corvane] [ERROR] SKAdNetwork: This system has no ad network."));
}

TEST(CoarseConversionValue, IsReadFromItsExactRawValueOnly) {
  for (const char* text : {"low", "medium", "high"})
    EXPECT_EQ(CorvaneCoarseConversionValue::fromRawValue(text)->rawValue(), text);
  for (const char* text : {"", "Low", "high "})
    EXPECT_EQ(CorvaneCoarseConversionValue::fromRawValue(text), std::nullopt);
}

}  // namespace
}  // namespace corvane::platform
