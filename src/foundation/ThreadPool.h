#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace vorun {

/// A fixed set of threads that take tasks from one queue in order of arrival.
class ThreadPool {
  public:
    /// Starts `workerCount` threads. A count of 0 or below starts none: tasks are then never run.
    /// Raises std::system_error if a thread cannot be started; those that run are stopped first.
    explicit ThreadPool(std::int32_t workerCount);

    /// Ends after the tasks that run now. Tasks still queued are dropped and their futures report a
    /// broken promise. Not to be called from a task of this pool.
    virtual ~ThreadPool();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Queues `callable` and returns the future of its result, or of what it raises. Any thread may
    /// call this; a task enqueued once destruction has begun does not run.
    template <class Callable>
    auto Enqueue(Callable&& callable) {
        using Task = std::packaged_task<std::invoke_result_t<std::decay_t<Callable>&>()>;
        // Queued callables must be copyable and the task is not, hence the shared pointer.
        auto task = std::make_shared<Task>(std::forward<Callable>(callable));
        const std::lock_guard lock(mutex);
        if (tasks.size() == tasks.max_size()) {
            throw std::length_error("list too long");
        }
        tasks.emplace_back([task] { (*task)(); });
        condition.notify_one();
        return task->get_future();
    }

  private:
    void runWorker();
    void stop();

    std::vector<std::thread> workers;
    // Oldest first.
    std::list<std::function<void()>> tasks;
    // Guards `tasks`, and the removal of workers while stopping. No task runs with it held.
    std::mutex mutex;
    std::condition_variable condition;
    std::atomic<bool> stopping{false};
};

}  // namespace vorun
