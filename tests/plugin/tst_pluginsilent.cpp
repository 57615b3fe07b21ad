// With SDK logging switched off in the settings, the plug-in's sinks pass nothing to the
// host log, whatever the host's level. A process of its own: the flag is read when the
// library is loaded.
#include <QtTest>

#include <QPluginLoader>
#include <QSettings>
#include <QTemporaryDir>

#include "CLog.h"
#include "QDGui/Application.h"

class TestPluginSilent : public QObject {
    Q_OBJECT
private slots:
    void disabledSinksPassNothing_data();
    void disabledSinksPassNothing();
    void cleanupTestCase() { delete m_loader.instance(); }

private:
    QTemporaryDir m_dir;
    QPluginLoader m_loader;
};

void TestPluginSilent::disabledSinksPassNothing_data()
{
    QTest::addColumn<int>("hostLevel");
    QTest::addColumn<int>("engineLevel");
    for (int host = 0; host <= 5; ++host)
        for (int engine : {-1, 0, 10000, 20000, 40000, 60000})
            QTest::addRow("host %d, engine %d", host, engine) << host << engine;
}

void TestPluginSilent::disabledSinksPassNothing()
{
    QFETCH(int, hostLevel);
    QFETCH(int, engineLevel);
    if (!m_loader.isLoaded()) {
        Korvane::Application::setSettingsFile(m_dir.filePath("settings.ini"));
        Korvane::Application::settings()->setValue("XRVJP2kLayer/LogXrvEvents", false);
        m_loader.setFileName(QStringLiteral(XRV_PLUGIN_FILE));
        QVERIFY2(m_loader.instance(), qPrintable(m_loader.errorString()));
    }
    const int before = Korvane::Application::getLogLevel();
    Korvane::Application::setLogLevel(hostLevel);
    PLK::CLog::Log("test", engineLevel, "must not reach the host log");
    Korvane::Application::setLogLevel(before);
    for (const Korvane::LogEntry& e : Korvane::Application::logEntries())
        QVERIFY(e.text != QLatin1String("must not reach the host log"));
}

QTEST_MAIN(TestPluginSilent)
#include "tst_pluginsilent.moc"
