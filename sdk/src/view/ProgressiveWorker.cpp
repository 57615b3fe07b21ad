#include "view/ProgressiveWorker.h"

namespace PLK {
namespace Engine {

ProgressiveWorker::ProgressiveWorker(std::function<void(uint64_t)> runPasses)
    : m_runPasses(std::move(runPasses)), m_thread([this] { loop(); })
{}

ProgressiveWorker::~ProgressiveWorker()
{
    stop();
}

void ProgressiveWorker::wake(uint64_t generation)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = generation;
    }
    m_wake.notify_one();
}

void ProgressiveWorker::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    if (isWorkerThread()) {
        m_thread.detach();  // a callback closing its own view: the thread ends after it returns
        return;
    }
    if (m_thread.joinable()) m_thread.join();
}

void ProgressiveWorker::loop()
{
    for (;;) {
        uint64_t generation;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || m_wanted != m_done; });
            if (m_stopping) return;
            generation = m_wanted;
            m_done = generation;
        }
        m_runPasses(generation);
    }
}

}  // namespace Engine
}  // namespace PLK
