// The thread of a progressive view: it sleeps until the view changes, then runs the view's
// passes. A view change while passes run starts them again for the new view.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace PLK {
namespace Engine {

class ProgressiveWorker {
public:
    /// `runPasses` is called on the worker thread with the generation it was woken for.
    explicit ProgressiveWorker(std::function<void(uint64_t)> runPasses);
    /// Stops the thread, waiting for the passes in progress (they see their cancel flag).
    ~ProgressiveWorker();

    /// A new view of that generation is set.
    void wake(uint64_t generation);
    /// Stops the thread and waits for it; safe to call more than once. When called from the
    /// worker thread itself (a refresh callback closing its own view) it only asks it to stop.
    void stop();
    bool isWorkerThread() const { return std::this_thread::get_id() == m_thread.get_id(); }

private:
    void loop();

    std::function<void(uint64_t)> m_runPasses;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    uint64_t m_wanted = 0;
    uint64_t m_done = 0;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace Engine
}  // namespace PLK
