// The application object: settings in the chosen file, the log's levels (what reaches stderr,
// what the console keeps), logging from other threads, and the stream address dialog's
// history in the settings.
#include "HostTestSupport.h"

#include "QDGui/XRVPBrowser.h"

#include <QtCore/QSettings>

#include <cstdio>
#include <thread>
#include <unistd.h>

using Korvane::Application;
using Korvane::Gui::XRVPBrowser;

namespace {

// What f writes to stderr, caught in a file.
template <typename F>
QString stderrOf(F f)
{
    QTemporaryFile file;
    file.open();
    std::fflush(stderr);
    const int saved = dup(STDERR_FILENO);
    dup2(file.handle(), STDERR_FILENO);
    f();
    std::fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
    file.seek(0);
    return QString::fromLocal8Bit(file.readAll());
}

}  // namespace

class TestApplication : public QObject {
    Q_OBJECT

private slots:
    void init() { Application::setLogLevel(Application::Info); }

    void logLevels_data()
    {
        QTest::addColumn<int>("threshold");
        QTest::addColumn<int>("level");
        QTest::addColumn<bool>("printed");
        QTest::newRow("default level, trace") << 1 << 0 << false;
        QTest::newRow("warning level, notice") << 3 << 2 << false;
        QTest::newRow("warning level, warning") << 3 << 3 << true;
        QTest::newRow("level above the range is critical") << 3 << 9 << true;
        QTest::newRow("level below the range is trace") << 1 << -3 << false;
    }

    void logLevels()
    {
        QFETCH(int, threshold);
        QFETCH(int, level);
        QFETCH(bool, printed);
        Application::setLogLevel(threshold);
        const QString text = QStringLiteral("level check %1/%2").arg(threshold).arg(level);
        QCOMPARE(stderrOf([&] { Application::logMessage(text, level); }).contains(text), printed);
        // The console keeps every message, printed or not, with its level in range.
        const Korvane::LogEntry last = Application::logEntries().last();
        QCOMPARE(last.text, text);
        QCOMPARE(last.level, qBound(0, level, 5));
    }

    void messagesFromThreadsReachTheConsoleOnTheGuiThread()
    {
        Application::setLogLevel(Application::Critical);  // keep stderr quiet
        QStringList seen;
        QList<QThread*> threads;
        auto connection =
            connect(Application::instance(), &Application::messageLogged, this, [&](const Korvane::LogEntry& entry) {
                if (!entry.text.startsWith("worker ")) return;
                seen << entry.text;
                threads << QThread::currentThread();
            });
        auto work = [](QString name) {
            for (int i = 0; i < 100; ++i) Application::logMessage(QStringLiteral("worker %1 %2").arg(name).arg(i), 0);
        };
        std::thread a(work, "a"), b(work, "b");
        a.join();
        b.join();
        QTRY_COMPARE(seen.size(), 200);
        disconnect(connection);
        QVERIFY(std::all_of(threads.begin(), threads.end(), [](QThread* t) { return t == QThread::currentThread(); }));
        // Each thread's messages stay in the order it logged them.
        QCOMPARE(seen.filter("worker a").first(), QStringLiteral("worker a 0"));
        QCOMPARE(seen.filter("worker a").last(), QStringLiteral("worker a 99"));
    }

    void browserHistoryIsKeptInTheSettings()
    {
        Application::settings()->remove(XRVPBrowser::HistoryKey);
        XRVPBrowser browser(nullptr, XRVPBrowser::XRVP);
        QSignalSpy selected(&browser, &XRVPBrowser::urlSelected);

        for (int i = 0; i < 25; ++i) XRVPBrowser::remember(QStringLiteral("xrvp://server/%1.jp2").arg(i));
        browser.setAddress("xrvp://server/3.jp2");
        browser.accept();
        QCOMPARE(selected.size(), 1);
        QCOMPARE(selected.first().first().toString(), QStringLiteral("xrvp://server/3.jp2"));

        const QStringList history = XRVPBrowser::history();
        QCOMPARE(history.size(), XRVPBrowser::MaxHistory);
        QCOMPARE(history.first(), QStringLiteral("xrvp://server/3.jp2"));  // most recent first, once
        QCOMPARE(history.count("xrvp://server/3.jp2"), 1);
        QCOMPARE(history.at(1), QStringLiteral("xrvp://server/24.jp2"));
        Application::settings()->sync();
        QSettings file(Application::settingsFile(), QSettings::IniFormat);
        QCOMPARE(file.value(XRVPBrowser::HistoryKey).toStringList(), history);
    }
};

QDGUI_TEST_MAIN(TestApplication)
#include "tst_application.moc"
