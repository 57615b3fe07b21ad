#pragma once
#include <QtCore/QDateTime>
#include <QtCore/QMetaType>
#include <QtCore/QString>

namespace Korvane {

// One line of the application log.
struct LogEntry {
    quint64 sequence = 0;  // 1, 2, 3 ... in the order the messages arrived
    int level = 1;         // Application::LogLevel
    QDateTime time;
    QString text;
};

}  // namespace Korvane

Q_DECLARE_METATYPE(Korvane::LogEntry)
