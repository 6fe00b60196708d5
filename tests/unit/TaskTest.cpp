#include "corvane/CorvaneTask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "async/BackgroundExecutor.h"
#include "async/BackgroundTask.h"
#include "async/BackgroundThread.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneMainQueue.h"
#include "support/Await.h"
#include "support/DetachedCoroutine.h"
#include "support/FakeBackground.h"
#include "support/Gate.h"
#include "support/ManualExecutor.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using State = TaskState<CorvaneAttribution>;
using Task = CorvaneTask<CorvaneAttribution>;

const CorvaneAttribution attributed(1, true, std::nullopt);

DetachedCoroutine await(Task task, std::string* outcome) {
  try {
    const CorvaneAttribution result = co_await task;
    *outcome = result == attributed ? "attributed" : "another";
  } catch (const std::exception& error) {
    *outcome = error.what();
  }
}

struct CorvaneTaskOnAForeignExecutor : ::testing::Test {
  std::shared_ptr<ManualExecutor> main = std::make_shared<ManualExecutor>();
  std::shared_ptr<State> state = std::make_shared<State>(MainThread(main));
  Task task{state};
};

TEST_F(CorvaneTaskOnAForeignExecutor, DeliversItsOutcomeToEveryWaiterOnTheMainThreadAndNotInline) {
  int called = 0;
  std::string awaited;
  const auto note = [&](const Task& done) { called += done.isDone() && done.get() == attributed ? 1 : 100; };
  task.whenDone(note);
  await(task, &awaited);
  state->complete(attributed);
  task.whenDone(note);
  EXPECT_EQ(called, 0);
  EXPECT_EQ(awaited, "");
  main->run();
  EXPECT_EQ(called, 2);
  EXPECT_EQ(awaited, "attributed");
  state->complete(CorvaneError::emptyResponse());
  EXPECT_EQ(task.get(), attributed) << "completed once";

  auto failing = std::make_shared<State>(MainThread(main));
  await(Task(failing), &awaited);
  std::exchange(failing, nullptr)->complete(CorvaneError::transport("down"));
  main->run();
  EXPECT_EQ(awaited, "Network error: down") << "the coroutine held the last handle";
}

TEST_F(CorvaneTaskOnAForeignExecutor, AnotherThreadThanMainAndBackgroundWaitsAndIsWoken) {
  EXPECT_THROW(task.get(), std::logic_error);
  EXPECT_THROW(task.waitFor(1h), std::logic_error);
  main->isMain = false;
  EXPECT_FALSE(task.waitFor(-1h));
  std::thread([&] {
    markBackgroundThread();
    EXPECT_THROW(task.waitFor(1ms), std::logic_error);
  }).join();
  std::thread waiter([&] { EXPECT_TRUE(task.waitFor(30s)) << "not woken"; });
  std::thread patient([&] { EXPECT_TRUE(task.waitFor(std::chrono::nanoseconds::max())); });
  state->complete(attributed);
  waiter.join();
  patient.join();
  main->isMain = true;
  EXPECT_TRUE(task.waitFor(0s)) << "complete, it need not be waited for";
  EXPECT_EQ(task.get(), attributed);
}

TEST_F(CorvaneTaskOnAForeignExecutor, AnExecutorThatDropsFunctionsOrIsGoneEndsEveryWait) {
  int called = 0;
  std::string awaited;
  std::string awaitedLater;
  task.whenDone([&](const Task&) { ++called; });
  await(task, &awaited);
  main->dropping = true;
  state->complete(attributed);
  EXPECT_EQ(awaited, "The operation was cancelled.");
  main.reset();
  await(task, &awaitedLater);
  EXPECT_EQ(awaitedLater, "The operation was cancelled.");
  EXPECT_EQ(called, 0);
  EXPECT_EQ(task.get(), attributed);
}

TEST_F(CorvaneTaskOnAForeignExecutor, CancelsWhileItRunsOnly) {
  int cancelled = 0;
  task.cancel();
  state->setCanceller([&] { ++cancelled; });
  task.cancel();
  task.cancel();
  EXPECT_EQ(cancelled, 2);
  state->complete(CorvaneCancellationError());
  state->setCanceller([&] { ++cancelled; });
  task.cancel();
  EXPECT_EQ(cancelled, 2);
  EXPECT_THROW(task.get(), CorvaneCancellationError);
}

TEST_F(CorvaneTaskOnAForeignExecutor, ABodyThatTheBackgroundDropsCompletesItAsCancelled) {
  const auto background = std::make_shared<FakeBackground>();
  background->refusing = true;
  bool before = false;
  start<CorvaneAttribution>(background, state, Body<CorvaneAttribution>(), [&] { before = true; });
  EXPECT_TRUE(before);
  EXPECT_THROW(task.get(), CorvaneCancellationError);
}

TEST(MainThread, AFunctionThatTheExecutorThrowsAtIsRefused) {
  struct Throwing : CorvaneExecutor {
    void post(std::function<void()>) override { throw std::runtime_error("full"); }
    bool isCurrentThread() const override { return false; }
  };
  const auto executor = std::make_shared<Throwing>();
  bool refused = false;
  MainThread(executor).post([] {}, [&] { refused = true; });
  EXPECT_TRUE(refused);
}

TEST(CorvaneTaskOnALoopThatEndsEarly, HasNoResultToRead) {
  struct EndingLoop : ManualExecutor {
    bool runUntil(const std::function<bool()>&, std::chrono::steady_clock::time_point) override {
      return true;
    }
  };
  const auto executor = std::make_shared<EndingLoop>();
  const Task unfinished(std::make_shared<State>(MainThread(executor)));
  EXPECT_FALSE(unfinished.waitFor(1h));
  EXPECT_THROW(unfinished.get(), std::logic_error);
}

struct CorvaneTaskOnTheMainQueue : ::testing::Test {
  void SetUp() override { queue->poll(); }

  std::shared_ptr<CorvaneMainQueue> queue = std::make_shared<CorvaneMainQueue>();
  std::shared_ptr<State> state = std::make_shared<State>(MainThread(queue));
  Task task{state};
};

TEST_F(CorvaneTaskOnTheMainQueue, WaitingRunsTheQueueAndIsWokenByAnotherThread) {
  EXPECT_FALSE(task.waitFor(1ms));
  bool ran = false;
  queue->post([&] { ran = true; });
  std::thread other([&] { queue->post([&] { state->complete(attributed); }); });
  const bool woken = task.waitFor(30s);
  other.join();
  ASSERT_TRUE(woken) << "the queue was not woken within 30 s";
  EXPECT_EQ(task.get(), attributed);
  EXPECT_TRUE(ran);
}

TEST_F(CorvaneTaskOnTheMainQueue, AnExceptionOfACallbackIsThrownByTheWaitAndTheTaskStaysUsable) {
  queue->post([] { throw std::runtime_error("host"); });
  queue->post([] {});
  queue->post([&] { state->complete(attributed); });
  EXPECT_THROW(task.get(), std::runtime_error);
  EXPECT_TRUE(task.waitFor(std::chrono::nanoseconds::max()));
  EXPECT_EQ(task.get(), attributed);
}

TEST_F(CorvaneTaskOnTheMainQueue, ACallbackMayAssignToTheHandleThatIsWaitedOn) {
  Task handle = task;
  queue->post([&] {
    handle = Task(std::make_shared<State>(MainThread(queue)));
    state->complete(attributed);
  });
  EXPECT_EQ(handle.get(), attributed);
}

TEST_F(CorvaneTaskOnTheMainQueue, ACallbackMayWaitForTheOperationsThatCalledItAndTheCallbackAroundIt) {
  const auto background = std::make_shared<FakeBackground>();
  const auto innerState = std::make_shared<State>(MainThread(queue));
  const Task inner(innerState);
  const std::function<void()> runTheQueue = [&] { EXPECT_EQ(queue->poll(), 1U); };
  const std::function<void()> waitForBoth = [&] {
    EXPECT_TRUE(task.waitFor(30s)) << "it waits for the callback around it";
    EXPECT_TRUE(inner.waitFor(30s)) << "it waits for itself";
  };
  const auto calling = [&](const std::function<void()>& callback) -> Body<CorvaneAttribution> {
    return [&]() -> boost::asio::awaitable<CorvaneAttribution> {
      co_await MainThread(queue).call(*background, callback);
      EXPECT_FALSE(queue->isCurrentThread());
      co_return attributed;
    };
  };
  start(background, state, calling(runTheQueue));
  start(background, innerState, calling(waitForBoth));
  background->run();
  const auto begin = std::chrono::steady_clock::now();
  // The fake background has no thread of its own: what the callback waits for runs in the queue.
  std::thread backgroundThread([&] {
    while (!task.isDone() || !inner.isDone()) background->run();
  });
  queue->poll();
  backgroundThread.join();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s) << "the completion does not wake the wait";
}

TEST(BackgroundExecutor, AWaitEndsWhenItsTaskIsCancelledAndASuspensionOnce) {
  const auto executor = std::make_shared<BackgroundExecutor>();
  std::promise<void> ended;
  auto haveEnded = ended.get_future();
  std::vector<WaitEnd> ends;
  const auto cancel = spawn(executor, [&]() -> boost::asio::awaitable<void> {
    ends.push_back(co_await executor->wait(1h));
    co_await executor->suspend([](const auto& resume) {
      resume();
      resume();
    });
    ends.push_back(co_await executor->wait(1h));
    executor->post([&] { ended.set_value(); });
  });
  cancel();
  test::await(haveEnded, "the ends of the waits");
  EXPECT_EQ(ends, std::vector(2, WaitEnd::cancelled));
}

TEST(BackgroundExecutor, ShutDownEndsWaitsAndSuspensionsAndRunsAllThatIsAccepted) {
  const auto executor = std::make_shared<BackgroundExecutor>();
  std::promise<void> begun;
  auto hasBegun = begun.get_future();
  std::vector<WaitEnd> ends;
  std::function<void()> late;
  int resumed = 0;
  spawn(executor, [&]() -> boost::asio::awaitable<void> {
    for (int i = 0; i < 2; ++i) ends.push_back(co_await executor->wait(1h));
    co_await executor->suspend([](const auto&) { ADD_FAILURE() << "a suspension began"; });
    ++resumed;
  });
  spawn(executor, [&]() -> boost::asio::awaitable<void> {
    co_await executor->suspend([&](auto resume) { late = resume; });
    ++resumed;
  });
  executor->post([&] { begun.set_value(); });
  test::await(hasBegun, "the begin of both tasks");
  int accepted = 0;
  std::atomic<int> run = 0;
  std::thread poster([&] {
    // One at a time: a poster that outruns the background thread would keep it from ending.
    while (executor->post([&] { ++run; })) {
      ++accepted;
      awaitByPolling("an accepted function", [&] { return run == accepted; });
    }
  });
  executor->shutDown(30s, 60s);
  poster.join();
  EXPECT_EQ(run, accepted);
  EXPECT_EQ(ends, std::vector(2, WaitEnd::exiting));
  EXPECT_EQ(resumed, 2);
  late();
}

TEST(BackgroundExecutor, ShutDownLeavesAThreadBehindThatHostCodeBlocks) {
  // Never destroyed, because the thread outlives the shutdown. The gate fails when it does not open in time.
  static auto* const executor = new BackgroundExecutor;
  static auto* const gate = new Gate;
  gate->close();
  executor->post([] { gate->pass(); });
  executor->shutDown(1ms, 1ms);
  gate->open();
}

TEST(CorvaneMainQueue, RunsInOrderUntilItIsStoppedAndKeepsTheRest) {
  CorvaneMainQueue queue;
  std::string order;
  queue.post([&] { order += "a"; });
  queue.post([&] {
    order += "b";
    queue.post([&] { order += "d"; });
    queue.stop();
  });
  queue.post([&] {
    order += "c";
    queue.post([&] { order += "e"; });
  });
  queue.run();
  EXPECT_EQ(order, "ab");
  EXPECT_GE(queue.poll(), 2U);
  EXPECT_EQ(order, "abcd");
  queue.post([&] { order += "f"; });
  queue.post([&] { queue.stop(); });
  queue.run();
  EXPECT_EQ(order, "abcdef") << "the earlier stop does not end a later run";
  EXPECT_TRUE(queue.isCurrentThread());
  std::thread([&] {
    queue.adoptCurrentThread();
    EXPECT_FALSE(queue.isCurrentThread()) << "the queue has its thread already";
  }).join();
}

TEST(CorvaneMainQueue, RunUntilEndsAtItsDeadlineAlthoughFunctionsAreReady) {
  CorvaneMainQueue queue;
  int count = 0;
  std::function<void()> again = [&] {
    if (++count < 1000) queue.post(again);
  };
  queue.post(again);
  EXPECT_FALSE(queue.runUntil([] { return false; }, std::chrono::steady_clock::now()));
  EXPECT_EQ(count, 1);
}

TEST(CorvaneMainQueue, WakesAForeignLoopAndDestroysWhatIsLeftAtItsEnd) {
  int woken = 0;
  int dropped = 0;
  struct Note {
    int* count;
    ~Note() { ++*count; }
  };
  {
    CorvaneMainQueue queue;
    queue.post([] {});
    queue.onWakeUp([&] { ++woken; });
    EXPECT_EQ(woken, 1) << "functions were waiting already";
    // What is destroyed with the queue may post to it.
    const auto last = std::shared_ptr<void>(
        nullptr, [&](void*) { queue.post([note = std::make_shared<Note>(&dropped)] {}); });
    queue.post([last, note = std::make_shared<Note>(&dropped)] {});
    EXPECT_EQ(woken, 2);
    queue.onWakeUp({});
  }
  EXPECT_EQ(dropped, 2);
}

}  // namespace
}  // namespace corvane::test
