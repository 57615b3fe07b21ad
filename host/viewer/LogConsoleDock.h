#pragma once
#include "QDGui/LogEntry.h"

#include <QtWidgets/QDockWidget>

class QComboBox;
class QPlainTextEdit;

// The application log: every message since start-up with its time and level, the newest at
// the bottom. A level filter hides the detail without losing it.
class LogConsoleDock : public QDockWidget {
    Q_OBJECT
public:
    explicit LogConsoleDock(QWidget* parent = nullptr);

private slots:
    void onMessageLogged(const Korvane::LogEntry& entry);
    void reload();

private:
    void append(const Korvane::LogEntry& entry);

    QPlainTextEdit* m_text = nullptr;
    QComboBox* m_filter = nullptr;
    quint64 m_lastShown = 0;
};
