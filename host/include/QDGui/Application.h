#pragma once
#include "QDGui/Export.h"
#include "QDGui/LogEntry.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QSharedPointer>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtWidgets/QApplication>

class QMainWindow;
class QSettings;
class QTranslator;

namespace Korvane {

// The viewer's application object: settings store, log and main window. The static calls
// work before a main window exists, and logMessage and getLogLevel from any thread.
class QDGUI_EXPORT Application : public QApplication {
    Q_OBJECT
public:
    // 0 is the most detailed, 5 the most severe.
    enum LogLevel { Trace = 0, Info = 1, Notice = 2, Warning = 3, Error = 4, Critical = 5 };
    Q_ENUM(LogLevel)

    Application(int& argc, char** argv);
    ~Application() override;

    // The running application, or null when the process runs a plain QApplication.
    static Application* instance();

    // The settings store. Until setSettingsFile is called it is the INI file
    // <AppConfigLocation>/qdviewer.ini.
    static QSettings* settings();
    // Switches the store to this INI file (written back before the switch).
    static void setSettingsFile(const QString& path);
    static QString settingsFile();

    // Adds a message to the log. Every message is kept for the log console; those at or
    // above the current log level are also written to stderr. Any thread.
    static void logMessage(const QString& text, LogLevel level, const QDateTime& time = QDateTime::currentDateTime());
    // The same with a plain level number; values outside 0..5 are clamped.
    static void logMessage(const QString& text, int level, const QDateTime& time = QDateTime::currentDateTime());
    // Messages of this level and above reach stderr. Default: Info.
    static LogLevel getLogLevel();
    static void setLogLevel(int level);
    static QString logLevelName(int level);
    // Everything logged so far (the oldest lines go once the log is very long).
    static QVector<LogEntry> logEntries();

    // Loads "<name>_<locale>.qm" for each name from the "translations" folder beside the
    // executable, the one above it, and ":/translations"; installs those found and returns
    // them. The translators are removed again when the last pointer to them goes.
    static QList<QSharedPointer<QTranslator>> initializeTranslations(const QStringList& names, const QString& locale);

    static QMainWindow* getMainWindow();
    static void setMainWindow(QMainWindow* window);

signals:
    // Each logged message once, on the GUI thread, in order.
    void messageLogged(const Korvane::LogEntry& entry);

private slots:
    void deliverLogEntries();

private:
    quint64 m_lastAnnounced = 0;
};

}  // namespace Korvane
