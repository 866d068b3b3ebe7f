#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/ThreadPool.h"

#ifndef _WIN32
#include <sys/resource.h>
#endif

namespace vorun {
namespace {

// Far above what any of these needs, so that only a hang meets it.
constexpr std::chrono::seconds patience{30};

template <class Result>
testing::AssertionResult arrives(std::future<Result>& future) {
    if (future.wait_for(patience) == std::future_status::ready) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "no result in time";
}

// A gate that tasks wait at until the test opens it.
class Gate {
  public:
    std::shared_future<void> future() const { return opened; }
    void open() { promise.set_value(); }

  private:
    std::promise<void> promise;
    std::shared_future<void> opened{promise.get_future()};
};

TEST(ThreadPool, WithoutWorkersComesAndGoesWithoutBlocking) {
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        auto lifetime = std::async(std::launch::async, [count] { ThreadPool pool(count); });
        ASSERT_TRUE(arrives(lifetime)) << count;
    }
}

TEST(ThreadPool, WithoutWorkersRunsNothingAndBreaksThePromise) {
    std::future<int> future;
    {
        ThreadPool pool(0);
        future = pool.Enqueue([] { return 1; });
        EXPECT_EQ(future.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    }
    EXPECT_THROW(future.get(), std::future_error);
}

TEST(ThreadPool, FutureDeliversTheResult) {
    ThreadPool pool(2);
    auto number = pool.Enqueue([] { return 42; });
    auto text = pool.Enqueue([] { return std::string("text"); });
    auto nothing = pool.Enqueue([] {});
    ASSERT_TRUE(arrives(number) && arrives(text) && arrives(nothing));
    EXPECT_EQ(number.get(), 42);
    EXPECT_EQ(text.get(), "text");
    nothing.get();
}

TEST(ThreadPool, TakesCallablesThatCanOnlyBeMoved) {
    ThreadPool pool(1);
    auto future = pool.Enqueue([value = std::make_unique<int>(7)] { return *value; });
    ASSERT_TRUE(arrives(future));
    EXPECT_EQ(future.get(), 7);
}

TEST(ThreadPool, OneWorkerRunsTasksInTheOrderOfEnqueue) {
    std::vector<int> order;
    std::vector<std::future<void>> futures;
    ThreadPool pool(1);
    for (int i = 0; i < 100; ++i) {
        futures.push_back(pool.Enqueue([&order, i] { order.push_back(i); }));
    }
    for (auto& future : futures) {
        ASSERT_TRUE(arrives(future));
    }
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

TEST(ThreadPool, SeveralWorkersStartTasksInTheOrderOfEnqueue) {
    // Of two workers one is held, so that the other starts the rest alone, in order.
    ThreadPool pool(2);
    Gate gate;
    std::promise<void> held;
    auto holder = pool.Enqueue([&held, opened = gate.future()] {
        held.set_value();
        opened.wait();
    });
    auto isHeld = held.get_future();
    ASSERT_TRUE(arrives(isHeld));
    std::vector<int> started;
    std::vector<std::future<void>> futures;
    for (int i = 0; i < 20; ++i) {
        futures.push_back(pool.Enqueue([&started, i] { started.push_back(i); }));
    }
    for (auto& future : futures) {
        ASSERT_TRUE(arrives(future));
    }
    EXPECT_TRUE(std::is_sorted(started.begin(), started.end()));
    EXPECT_EQ(started.size(), 20U);
    gate.open();
    ASSERT_TRUE(arrives(holder));
}

TEST(ThreadPool, WorkersRunSideBySide) {
    constexpr int count = 3;
    ThreadPool pool(count);
    Gate gate;
    std::atomic<int> running{0};
    std::promise<void> allRunning;
    std::vector<std::future<void>> futures;
    for (int i = 0; i < count; ++i) {
        futures.push_back(pool.Enqueue([&, opened = gate.future()] {
            if (++running == count) {
                allRunning.set_value();
            }
            opened.wait();
        }));
    }
    auto together = allRunning.get_future();
    EXPECT_TRUE(arrives(together));
    gate.open();
}

TEST(ThreadPool, FailureOfATaskArrivesAtGetAndTheWorkerGoesOn) {
    ThreadPool pool(1);
    auto failing = pool.Enqueue([]() -> int { throw std::runtime_error("task failed"); });
    auto next = pool.Enqueue([] { return 5; });
    ASSERT_TRUE(arrives(failing) && arrives(next));
    try {
        failing.get();
        FAIL() << "nothing raised";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "task failed");
    }
    EXPECT_EQ(next.get(), 5);
}

TEST(ThreadPool, DestructionEndsAfterTheRunningTaskAndBreaksQueuedPromises) {
    auto pool = std::make_unique<ThreadPool>(1);
    Gate gate;
    std::promise<void> started;
    std::atomic<bool> ended{false};
    std::atomic<bool> queuedRan{false};
    auto running = pool->Enqueue([&, opened = gate.future()] {
        started.set_value();
        opened.wait();
        ended = true;
    });
    auto queued = pool->Enqueue([&] { queuedRan = true; });
    auto isStarted = started.get_future();
    ASSERT_TRUE(arrives(isStarted));

    auto destruction = std::async(std::launch::async, [&] { pool.reset(); });
    EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout)
        << "the running task is waited for";
    EXPECT_EQ(queued.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    gate.open();
    ASSERT_TRUE(arrives(destruction));
    EXPECT_TRUE(ended);
    EXPECT_FALSE(queuedRan);
    running.get();
    try {
        queued.get();
        FAIL() << "nothing raised";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
        EXPECT_NE(std::string(error.what()).find("roken promise"), std::string::npos);
    }
}

TEST(ThreadPool, WaitingWorkerWakesForATaskEnqueuedRightAfter) {
    ThreadPool pool(1);
    for (int i = 0; i < 2000; ++i) {
        // The worker goes back to its wait while this thread goes on to enqueue.
        auto future = pool.Enqueue([i] { return i; });
        ASSERT_TRUE(arrives(future));
        ASSERT_EQ(future.get(), i);
    }
}

TEST(ThreadPool, WorkersThatJustStartedOrWaitMissNoShutdown) {
    for (int i = 0; i < 300; ++i) {
        auto lifetime = std::async(std::launch::async, [] { ThreadPool pool(3); });
        ASSERT_TRUE(arrives(lifetime));
    }
}

TEST(ThreadPool, CallableDiesBeforeItsWorkerTakesTheNextTask) {
    ThreadPool pool(1);
    auto token = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = token;
    {
        // The future shares the callable with the worker, and so must go first.
        auto first = pool.Enqueue([token = std::move(token)] {});
        ASSERT_TRUE(arrives(first));
    }
    auto second = pool.Enqueue([watch] { return watch.expired(); });
    ASSERT_TRUE(arrives(second));
    EXPECT_TRUE(second.get());
}

TEST(ThreadPool, TasksMayEnqueueFurtherTasks) {
    ThreadPool pool(1);
    auto outer = pool.Enqueue([&pool] { return pool.Enqueue([] { return 3; }); });
    ASSERT_TRUE(arrives(outer));
    auto inner = outer.get();
    ASSERT_TRUE(arrives(inner));
    EXPECT_EQ(inner.get(), 3);
}

TEST(ThreadPool, ManyThreadsEnqueueAtOnce) {
    ThreadPool pool(2);
    std::atomic<int> sum{0};
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                auto future = pool.Enqueue([&sum] { ++sum; });
                ASSERT_TRUE(arrives(future));
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(sum, 400);
}

#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Runs in a process of its own, which it ends: with 0 if the failure comes as it should.
void startMoreWorkersThanThereIsRoomFor() {
    constexpr rlim_t bytes = 256U << 20U;
    rlimit limit{};
    limit.rlim_cur = bytes;
    limit.rlim_max = bytes;
    if (setrlimit(RLIMIT_AS, &limit) != 0) {
        std::_Exit(2);
    }
    try {
        const ThreadPool pool(10000);
    } catch (const std::system_error& error) {
        std::_Exit(error.code() == std::errc::resource_unavailable_try_again ? 0 : 3);
    }
    std::_Exit(4);
}

// Sanitizers reserve too much address space for such a limit.
TEST(ThreadPoolDeathTest, WorkerThatCannotStartRaisesAfterTheOthersHaveEnded) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(startMoreWorkersThanThereIsRoomFor(), testing::ExitedWithCode(0), "");
}
#endif

#if !defined(__SANITIZE_THREAD__)
TEST(ThreadPoolDeathTest, WorkerThatDestroysItsOwnPoolEndsTheProgram) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(
        {
            auto* const pool = new ThreadPool(1);
            auto future = pool->Enqueue([pool] { delete pool; });
            future.wait();
        },
        "");
}
#endif

}  // namespace
}  // namespace vorun
