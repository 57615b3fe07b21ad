#include "XRVJP2kImageLock.h"

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

XRVJP2kImageLock::XRVJP2kImageLock(QMutex* mutex) : m_mutex(mutex)
{
    if (m_mutex) lock(*m_mutex);
}

XRVJP2kImageLock::~XRVJP2kImageLock()
{
    if (m_mutex) unlock(*m_mutex);
}

void XRVJP2kImageLock::lock(QMutex& mutex)
{
    mutex.lock();
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(&mutex);
#endif
}

void XRVJP2kImageLock::unlock(QMutex& mutex)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_release(&mutex);
#endif
    mutex.unlock();
}
