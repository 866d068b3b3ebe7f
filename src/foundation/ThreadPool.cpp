#include "foundation/ThreadPool.h"

namespace vorun {

ThreadPool::ThreadPool(std::int32_t workerCount) {
    try {
        for (std::int32_t i = 0; i < workerCount; ++i) {
            workers.emplace_back([this] { runWorker(); });
        }
    } catch (...) {
        // Destroying a joinable thread would end the program.
        stop();
        throw;
    }
}

ThreadPool::~ThreadPool() {
    stop();
}

void ThreadPool::runWorker() {
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock lock(mutex);
            condition.wait(lock, [this] { return stopping || !tasks.empty(); });
            if (stopping) {
                return;
            }
            task = std::move(tasks.front());
            tasks.pop_front();
        }
        task();
    }
}

void ThreadPool::stop() {
    stopping = true;
    {
        // With the lock held no worker is between its look at `stopping` and its wait, so none
        // misses the wake-up.
        const std::lock_guard lock(mutex);
        condition.notify_all();
    }
    for (;;) {
        std::thread* last = nullptr;
        {
            const std::lock_guard lock(mutex);
            if (workers.empty()) {
                return;
            }
            last = &workers.back();
        }
        last->join();
        const std::lock_guard lock(mutex);
        workers.pop_back();
    }
}

}  // namespace vorun
