#include "QDGui/Application.h"

#include "LogBook.h"

#include <QtCore/QDir>
#include <QtCore/QPointer>
#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QTranslator>
#include <QtWidgets/QMainWindow>

namespace Korvane {

namespace {

struct SettingsStore {
    QString path;
    QSettings* settings = nullptr;
};

SettingsStore& settingsStore()
{
    static SettingsStore store;
    return store;
}

QPointer<QMainWindow>& mainWindowPointer()
{
    static QPointer<QMainWindow> window;
    return window;
}

QString defaultSettingsPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QStringLiteral("/qdviewer.ini");
}

void closeSettings()
{
    SettingsStore& store = settingsStore();
    if (!store.settings) return;
    store.settings->sync();
    delete store.settings;
    store.settings = nullptr;
}

}  // namespace

Application::Application(int& argc, char** argv) : QApplication(argc, argv)
{
    qRegisterMetaType<Korvane::LogEntry>("Korvane::LogEntry");
    if (organizationName().isEmpty()) {
        setOrganizationName(QStringLiteral("Korvane"));
        setApplicationName(QStringLiteral("qdviewer"));
    }
    if (applicationDisplayName() == applicationName()) setApplicationDisplayName(tr("QD Viewer"));
    // Messages logged before the application existed reach the console too.
    QMetaObject::invokeMethod(this, "deliverLogEntries", Qt::QueuedConnection);
}

Application::~Application()
{
    closeSettings();
}

Application* Application::instance()
{
    return qobject_cast<Application*>(QCoreApplication::instance());
}

QSettings* Application::settings()
{
    SettingsStore& store = settingsStore();
    if (!store.settings) {
        if (store.path.isEmpty()) store.path = defaultSettingsPath();
        store.settings = new QSettings(store.path, QSettings::IniFormat);
    }
    return store.settings;
}

void Application::setSettingsFile(const QString& path)
{
    closeSettings();
    settingsStore().path = path;
}

QString Application::settingsFile()
{
    const QString& path = settingsStore().path;
    return path.isEmpty() ? defaultSettingsPath() : path;
}

void Application::logMessage(const QString& text, LogLevel level, const QDateTime& time)
{
    logMessage(text, int(level), time);
}

void Application::logMessage(const QString& text, int level, const QDateTime& time)
{
    LogEntry entry;
    entry.level = qBound(int(Trace), level, int(Critical));
    entry.time = time.isValid() ? time : QDateTime::currentDateTime();
    entry.text = text;
    Application* app = instance();
    if (LogBook::instance().append(std::move(entry), app != nullptr))
        QMetaObject::invokeMethod(app, "deliverLogEntries", Qt::QueuedConnection);
}

Application::LogLevel Application::getLogLevel()
{
    return LogLevel(LogBook::instance().level());
}

void Application::setLogLevel(int level)
{
    LogBook::instance().setLevel(qBound(int(Trace), level, int(Critical)));
}

QString Application::logLevelName(int level)
{
    return LogBook::levelName(level);
}

QVector<LogEntry> Application::logEntries()
{
    return LogBook::instance().entries();
}

void Application::deliverLogEntries()
{
    for (const LogEntry& entry : LogBook::instance().takeSince(m_lastAnnounced)) {
        m_lastAnnounced = entry.sequence;
        emit messageLogged(entry);
    }
}

QList<QSharedPointer<QTranslator>> Application::initializeTranslations(const QStringList& names, const QString& locale)
{
    const QString appDir = QCoreApplication::applicationDirPath();
    const QStringList folders{appDir + QStringLiteral("/translations"), appDir + QStringLiteral("/../translations"),
                              QStringLiteral(":/translations")};
    QList<QSharedPointer<QTranslator>> installed;
    for (const QString& name : names) {
        const QString fileName = name + QLatin1Char('_') + locale;
        for (const QString& folder : folders) {
            auto translator = QSharedPointer<QTranslator>::create();
            if (!translator->load(fileName, folder)) continue;
            QCoreApplication::installTranslator(translator.data());
            installed.append(translator);
            break;
        }
    }
    return installed;
}

QMainWindow* Application::getMainWindow()
{
    return mainWindowPointer().data();
}

void Application::setMainWindow(QMainWindow* window)
{
    mainWindowPointer() = window;
}

}  // namespace Korvane
