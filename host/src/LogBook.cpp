#include "LogBook.h"

#include <QtCore/QCoreApplication>

#include <cstdio>

namespace Korvane {

LogBook& LogBook::instance()
{
    static LogBook book;
    return book;
}

bool LogBook::append(LogEntry entry, bool canWake)
{
    const bool print = entry.level >= level();
    const QByteArray line = print ? format(entry).toLocal8Bit() + '\n' : QByteArray();
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        entry.sequence = m_nextSequence++;
        m_entries.push_back(std::move(entry));
        if (m_entries.size() > MaxEntries) m_entries.pop_front();
        if (canWake && !m_wakePending) {
            m_wakePending = true;
            wake = true;
        }
    }
    if (print) {
        // One call per line, so lines from several threads do not interleave.
        std::fputs(line.constData(), stderr);
        std::fflush(stderr);
    }
    return wake;
}

QVector<LogEntry> LogBook::takeSince(quint64 sequence)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_wakePending = false;
    QVector<LogEntry> result;
    if (m_entries.empty() || m_entries.back().sequence <= sequence) return result;
    // Sequence numbers have no gaps, so the first new entry's position is known.
    const quint64 first = m_entries.front().sequence;
    const size_t start = sequence < first ? 0 : size_t(sequence + 1 - first);
    result.reserve(int(m_entries.size() - start));
    for (size_t i = start; i < m_entries.size(); ++i) result.append(m_entries[i]);
    return result;
}

QVector<LogEntry> LogBook::entries() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return QVector<LogEntry>(m_entries.begin(), m_entries.end());
}

namespace {
const char* const LevelNames[] = {
    QT_TRANSLATE_NOOP("Korvane::Application", "Trace"),  QT_TRANSLATE_NOOP("Korvane::Application", "Info"),
    QT_TRANSLATE_NOOP("Korvane::Application", "Notice"), QT_TRANSLATE_NOOP("Korvane::Application", "Warning"),
    QT_TRANSLATE_NOOP("Korvane::Application", "Error"),  QT_TRANSLATE_NOOP("Korvane::Application", "Critical"),
};
}  // namespace

QString LogBook::levelName(int level)
{
    return QCoreApplication::translate("Korvane::Application", LevelNames[qBound(0, level, 5)]);
}

QString LogBook::format(const LogEntry& entry)
{
    // stderr lines stay in English whatever the language, so they can be searched.
    return QStringLiteral("%1 [%2] %3")
        .arg(entry.time.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")),
             QLatin1String(LevelNames[qBound(0, entry.level, 5)]), entry.text);
}

}  // namespace Korvane
