#include "LogConsoleDock.h"

#include "QDGui/Application.h"

#include <QtGui/QFontDatabase>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QVBoxLayout>

using Korvane::Application;
using Korvane::LogEntry;

namespace {
// Enough history for a long session without slowing the widget down.
constexpr int MaxLines = 5000;
// However small the dock is made (or was saved), this many lines stay readable.
constexpr int MinVisibleLines = 6;
}  // namespace

LogConsoleDock::LogConsoleDock(QWidget* parent) : QDockWidget(tr("Log"), parent)
{
    setObjectName(QStringLiteral("logConsoleDock"));
    auto* body = new QWidget(this);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(3, 3, 3, 3);

    auto* bar = new QHBoxLayout;
    bar->addWidget(new QLabel(tr("Show from:"), body));
    m_filter = new QComboBox(body);
    for (int level = Application::Trace; level <= Application::Critical; ++level)
        m_filter->addItem(Application::logLevelName(level), level);
    m_filter->setCurrentIndex(Application::Info);
    bar->addWidget(m_filter);
    bar->addStretch();
    auto* clear = new QPushButton(tr("Clear"), body);
    bar->addWidget(clear);
    layout->addLayout(bar);

    m_text = new QPlainTextEdit(body);
    m_text->setObjectName(QStringLiteral("logText"));
    m_text->setReadOnly(true);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_text->setMaximumBlockCount(MaxLines);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setMinimumHeight(QFontMetrics(m_text->font()).lineSpacing() * MinVisibleLines + 2 * m_text->frameWidth() +
                             8);
    layout->addWidget(m_text);
    setWidget(body);

    connect(m_filter, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &LogConsoleDock::reload);
    connect(clear, &QPushButton::clicked, m_text, &QPlainTextEdit::clear);
    if (Application* app = Application::instance())
        connect(app, &Application::messageLogged, this, &LogConsoleDock::onMessageLogged);
    reload();
}

void LogConsoleDock::reload()
{
    m_text->clear();
    m_lastShown = 0;
    for (const LogEntry& entry : Application::logEntries()) onMessageLogged(entry);
}

void LogConsoleDock::onMessageLogged(const LogEntry& entry)
{
    // The log may announce lines that reload() has already shown.
    if (entry.sequence <= m_lastShown) return;
    m_lastShown = entry.sequence;
    if (entry.level >= m_filter->currentData().toInt()) append(entry);
}

void LogConsoleDock::append(const LogEntry& entry)
{
    m_text->appendPlainText(QStringLiteral("%1  %2  %3")
                                .arg(entry.time.toString(QStringLiteral("hh:mm:ss.zzz")),
                                     Application::logLevelName(entry.level).leftJustified(8), entry.text));
    // The newest line stays in sight, also once the oldest lines start to go.
    m_text->verticalScrollBar()->setValue(m_text->verticalScrollBar()->maximum());
}
