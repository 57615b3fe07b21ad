// The plug-in library loaded as the viewer loads it: identity, interfaces, the layer
// factory, the engine's start-up report and its log messages in the host's log.
#include <QtTest>

#include <QMessageBox>
#include <QPluginLoader>
#include <QSettings>
#include <QTemporaryDir>
#include <thread>

#include "CLog.h"
#include "PLKTypes.h"
#include "QDGui/Application.h"
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPlugin.h"
#include "QDGui/ILayerPluginInfo.h"
#include "QDGui/Layer.h"
#include "QDGui/XRVPBrowser.h"

namespace {

QStringList logSince(quint64 sequence)
{
    QStringList lines;
    for (const Korvane::LogEntry& e : Korvane::Application::logEntries())
        if (e.sequence > sequence) lines << e.text;
    return lines;
}

quint64 lastSequence()
{
    const auto entries = Korvane::Application::logEntries();
    return entries.isEmpty() ? 0 : entries.last().sequence;
}

// Answers the next modal dialog: a browser gets `address` (cancelled when empty); a message
// box is remembered and closed.
struct DialogAnswerer {
    QString address;
    QString boxTitle, boxText;
    void arm()
    {
        QTimer::singleShot(50, [this] { answer(); });
    }
    void answer()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* browser = qobject_cast<Korvane::Gui::XRVPBrowser*>(modal)) {
            if (address.isEmpty()) {
                browser->reject();
            } else {
                browser->setAddress(address);
                arm();  // the failure message comes next
                browser->accept();
            }
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            boxTitle = box->windowTitle();
            boxText = box->text();
            box->accept();
        } else {
            arm();  // not shown yet
        }
    }
};

}  // namespace

class TestPlugin : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void identity();
    void createLayer_data();
    void createLayer();
    void startupReport_data();
    void startupReport();
    void engineMessagesReachHostLog_data();
    void engineMessagesReachHostLog();
    void messagesFromAnotherThread();
    void geodeticPath();

private:
    QObject* freshInstance();
    QTemporaryDir m_dir;
    QPluginLoader m_loader;
};

void TestPlugin::initTestCase()
{
    QVERIFY(m_dir.isValid());
    Korvane::Application::setSettingsFile(m_dir.filePath("settings.ini"));
    m_loader.setFileName(QStringLiteral(XRV_PLUGIN_FILE));
    QVERIFY2(m_loader.load(), qPrintable(m_loader.errorString()));
}

void TestPlugin::cleanupTestCase()
{
    delete m_loader.instance();
}

QObject* TestPlugin::freshInstance()
{
    delete m_loader.instance();  // the next call makes a new one, as after a host restart
    return m_loader.instance();
}

void TestPlugin::identity()
{
    QCoreApplication::setOrganizationName("Test Organisation");
    auto* info = qobject_cast<ILayerPluginInfo*>(m_loader.instance());
    QVERIFY(info);
    QCOMPARE(info->getVersion(), QString("6.0.0.1513"));
    QCOMPARE(info->getVendor(), QString("Test Organisation"));
    QCOMPARE(info->getDescription(), QString("XRV JPEG 2000"));
    QCOMPARE(info->getClassName(), QString("Korvane::XRVJP2kLayer"));
    QCOMPARE(info->getId(), QString("18B1BFEA-0F8D-4a6f-9B57-DB14C81B5C93"));
    QCOMPARE(
        info->getFileFilter(),
        QString("XRV Image (*.xrv);;XRVP / JPIP Url(*.url);;JPEG 2000 Image(*.jp2 *.j2k *.j2c *.jpc *.jpx *.jpf)"));
    QVERIFY(info->isEnabled());
    info->setEnabled(false);
    QVERIFY(!qobject_cast<ILayerPluginInfo*>(freshInstance())->isEnabled());  // process-wide, not per object
    qobject_cast<ILayerPluginInfo*>(m_loader.instance())->setEnabled(true);
}

void TestPlugin::createLayer_data()
{
    QTest::addColumn<bool>("browse");
    QTest::addColumn<QString>("address");  // given in the browser; empty cancels it
    QTest::addColumn<QString>("boxTitle");
    QTest::newRow("without an address") << false << QString() << QString();
    QTest::newRow("browser cancelled, no message") << true << QString() << QString();
    QTest::newRow("address fails") << true << "xrvp://127.0.0.1:9/images/none.xrv"
                                   << "XRV JP2 Error:";
}

void TestPlugin::createLayer()
{
    QFETCH(bool, browse);
    QFETCH(QString, address);
    QFETCH(QString, boxTitle);
    auto* factory = qobject_cast<ILayerPlugin*>(m_loader.instance());
    DialogAnswerer answerer;
    answerer.address = address;
    if (browse) answerer.arm();
    std::unique_ptr<Korvane::Map::Layer> layer(factory->createLayer(browse));
    QCOMPARE(bool(layer), !browse);
    if (layer) QCOMPARE(QString(layer->metaObject()->className()), QString("Korvane::XRVJP2kLayer"));
    QCOMPARE(answerer.boxTitle, boxTitle);
    QCOMPARE(answerer.boxText.isEmpty(), boxTitle.isEmpty());
}

void TestPlugin::startupReport_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<QStringList>("expected");  // between the heading lines and the end
    const QString tmp = QDir::tempPath();
    QTest::newRow("empty settings") << QVariantMap{}
                                    << QStringList{"      XRVP local disk cache enabled : true",
                                                   "      XRVP local disk cache dir: " + tmp,
                                                   "      XRVP local disk cache max size (Mb): 256",
                                                   "      XRV apply texture dither: false",
                                                   "      Cache max mem (Mb): 512",
                                                   "      Use resilient decoding: true",
                                                   "      Optimize for nearest neighbour resampling: 1",
                                                   "      XRVP HTTP User-Agent: ",
                                                   "      Using WinHttp (instead of WinInet) for XRVP streaming: 0"};
    QTest::newRow("filled settings") << QVariantMap{{"XRVJP2kLayer/LocalXrvpCache", false},
                                                    {"XRVJP2kLayer/XrvpCacheDir", "/data/cache"},
                                                    {"XRVJP2kLayer/DiskCacheMaxSizeMb", 400},
                                                    {"XRVJP2kLayer/TextureDither", true},
                                                    {"XRVJP2kLayer/CacheMaxMemMb", 50},
                                                    {"XRVJP2kLayer/ResilientDecoding", false},
                                                    {"XRVJP2kLayer/OptimizeNearestNeighbour", false},
                                                    {"XRVJP2kLayer/XRVPUserAgent", "Field Survey 2"},
                                                    {"XRVJP2kLayer/UseWinHTTPInXrvp", true}}
                                     << QStringList{"      XRVP local disk cache enabled : false",
                                                    "      XRVP local disk cache dir: /data/cache",
                                                    "      XRVP local disk cache max size (Mb): 400",
                                                    "      XRV apply texture dither: true",
                                                    "      Cache max mem (Mb): 100",
                                                    "      Use resilient decoding: false",
                                                    "      Optimize for nearest neighbour resampling: 0",
                                                    "      XRVP HTTP User-Agent: Field Survey 2",
                                                    "      Using WinHttp (instead of WinInet) for XRVP streaming: 1"};
}

void TestPlugin::startupReport()
{
    QFETCH(QVariantMap, stored);
    QFETCH(QStringList, expected);
    expected.prepend("      XRV Library Version : 6.0.0.1513");
    expected.prepend("Begin XRV JPEG 2000 Plugin initialization log");
    expected.append("End XRV JPEG 2000 Plugin initialization log");
    QSettings* settings = Korvane::Application::settings();
    settings->clear();
    for (auto it = stored.begin(); it != stored.end(); ++it) settings->setValue(it.key(), it.value());
    delete m_loader.instance();
    const quint64 before = lastSequence();
    QVERIFY(m_loader.instance());
    QStringList report = logSince(before);
    while (!report.isEmpty() && !report.first().startsWith("Begin XRV")) report.removeFirst();
    QCOMPARE(report.mid(0, expected.size()), expected);
    settings->clear();
}

void TestPlugin::engineMessagesReachHostLog_data()
{
    QTest::addColumn<int>("hostLevel");
    QTest::addColumn<int>("engineLevel");
    QTest::addColumn<int>("loggedAt");  // -1: dropped
    QTest::newRow("critical lies below every threshold") << 0 << -1 << -1;
    QTest::newRow("debug") << 0 << 10000 << 0;
    QTest::newRow("info") << 0 << 20000 << 1;
    QTest::newRow("between levels") << 0 << 25000 << 1;
    QTest::newRow("warning at host 3") << 3 << 40000 << 3;
    QTest::newRow("notice dropped at host 3") << 3 << 30000 << -1;
    QTest::newRow("error at host 4") << 4 << 50000 << 4;
    QTest::newRow("info dropped at host 2") << 2 << 20000 << -1;
}

void TestPlugin::engineMessagesReachHostLog()
{
    QFETCH(int, hostLevel);
    QFETCH(int, engineLevel);
    QFETCH(int, loggedAt);
    QVERIFY(m_loader.instance());
    const int before = Korvane::Application::getLogLevel();
    Korvane::Application::setLogLevel(hostLevel);
    const quint64 sequence = lastSequence();
    const QString text = QStringLiteral("engine says %1").arg(engineLevel);
    PLK::CLog::Log("test", engineLevel, "%s", text.toUtf8().constData());
    Korvane::Application::setLogLevel(before);
    int found = -1;
    for (const Korvane::LogEntry& e : Korvane::Application::logEntries())
        if (e.sequence > sequence && e.text == text) found = e.level;
    QCOMPARE(found, loggedAt);
}

void TestPlugin::messagesFromAnotherThread()
{
    QVERIFY(m_loader.instance());
    const quint64 sequence = lastSequence();
    std::thread worker([] { PLK::CLog::Log("test", PLK::LOG_WARNING, "from a worker thread"); });
    worker.join();
    QTRY_VERIFY(logSince(sequence).contains("from a worker thread"));
}

void TestPlugin::geodeticPath()
{
    // Checked through the start-up: the engine received the folder two levels above ours.
    QVERIFY(m_loader.instance());
    const QString expected = QDir::toNativeSeparators(QCoreApplication::applicationDirPath()) + "/../..";
    QCOMPARE(QString::fromLocal8Bit(PLKGetGDTPath()), expected);
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
