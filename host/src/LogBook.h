#pragma once
#include "QDGui/LogEntry.h"

#include <QtCore/QVector>

#include <atomic>
#include <deque>
#include <mutex>

namespace Korvane {

// The process-wide application log: every message since start-up (the oldest go beyond a
// limit), the level at which messages also reach stderr, and the bookkeeping that hands new
// messages to the GUI thread once per burst. Any thread.
class LogBook {
public:
    static LogBook& instance();

    // Keeps the entry (numbering it) and prints it when its level is high enough. Answers
    // true when the GUI thread has to be woken to announce it.
    bool append(LogEntry entry, bool canWake);
    // Entries after the given sequence number; lets the next append wake the GUI thread.
    QVector<LogEntry> takeSince(quint64 sequence);
    QVector<LogEntry> entries() const;

    int level() const { return m_level.load(std::memory_order_relaxed); }
    void setLevel(int level) { m_level.store(level, std::memory_order_relaxed); }

    static QString levelName(int level);
    static QString format(const LogEntry& entry);

private:
    static constexpr size_t MaxEntries = 20000;

    mutable std::mutex m_mutex;
    std::deque<LogEntry> m_entries;
    quint64 m_nextSequence = 1;
    bool m_wakePending = false;
    std::atomic<int> m_level{1};
};

}  // namespace Korvane
