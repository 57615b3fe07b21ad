#include "core/ThreadPool.h"

#include <algorithm>

namespace PLK {
namespace Engine {

void ThreadPool::Batch::wait()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_done.wait(lock, [this] { return m_pending == 0; });
}

ThreadPool::ThreadPool(unsigned threads)
{
    threads = std::max(1u, threads);
    for (unsigned i = 0; i < threads; ++i) m_threads.emplace_back([this] { run(); });
}

ThreadPool::~ThreadPool()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    for (auto& t : m_threads) t.join();
}

void ThreadPool::submit(const std::shared_ptr<Batch>& batch, std::function<void()> task)
{
    {
        std::lock_guard<std::mutex> lock(batch->m_mutex);
        ++batch->m_pending;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(Job{batch, std::move(task)});
    }
    m_wake.notify_one();
}

void ThreadPool::run()
{
    for (;;) {
        Job job;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty()) return;  // stopping, and nothing left to finish
            job = std::move(m_queue.front());
            m_queue.pop_front();
        }
        try {
            job.task();
        } catch (...) {
            // A task reports its own failures; one that throws must not take a worker with it.
        }
        std::lock_guard<std::mutex> lock(job.batch->m_mutex);
        if (--job.batch->m_pending == 0) job.batch->m_done.notify_all();
    }
}

ThreadPool& ThreadPool::shared()
{
    static ThreadPool pool(std::max(2u, std::thread::hardware_concurrency()));
    return pool;
}

}  // namespace Engine
}  // namespace PLK
