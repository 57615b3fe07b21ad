// Holds a renderer's picture lock for one scope.
//
// The picture lock is a Qt mutex, and Qt is not built with ThreadSanitizer: the sanitizer
// cannot see the lock and would report the picture handed from the engine's thread to the
// GUI thread as a race. In sanitizer builds this guard tells it about every lock and unlock.
#pragma once

#include <QtCore/QMutex>

class XRVJP2kImageLock {
public:
    // A null mutex makes a guard that holds nothing (a layer without a renderer).
    explicit XRVJP2kImageLock(QMutex* mutex);
    ~XRVJP2kImageLock();
    XRVJP2kImageLock(const XRVJP2kImageLock&) = delete;
    XRVJP2kImageLock& operator=(const XRVJP2kImageLock&) = delete;

    // Lock and unlock without a guard object, announced to the sanitizer the same way.
    static void lock(QMutex& mutex);
    static void unlock(QMutex& mutex);

private:
    QMutex* m_mutex;
};
