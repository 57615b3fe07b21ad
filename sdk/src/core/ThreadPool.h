// The engine's decode workers. Tile decodes of every view run here, so that two cores decode
// two tiles at once whatever the number of open views.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace PLK {
namespace Engine {

class ThreadPool {
public:
    /// A group of tasks that one caller waits for together.
    class Batch {
    public:
        void wait();

    private:
        friend class ThreadPool;
        std::mutex m_mutex;
        std::condition_variable m_done;
        size_t m_pending = 0;
    };

    explicit ThreadPool(unsigned threads);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Queues `task` as part of `batch`. Tasks must not wait for other tasks of the pool.
    void submit(const std::shared_ptr<Batch>& batch, std::function<void()> task);

    /// The engine's pool, made on first use with one thread per core (at least two).
    static ThreadPool& shared();

private:
    struct Job {
        std::shared_ptr<Batch> batch;
        std::function<void()> task;
    };
    void run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job> m_queue;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};

}  // namespace Engine
}  // namespace PLK
