// The preferences page against a settings file of its own: the memory offered for the
// machine, what a drag and a save write, the defaults, the log switch, and the stream cache
// folder's files counted and cleared.
#include <QtTest>

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>

#include "PanelTestSupport.h"
#include "XRVJP2kPreferences.h"

namespace {

QSettings& store()
{
    return *Korvane::Application::settings();
}

// Moves a slider's handle as a drag does: only then does the slider announce sliderMoved.
void drag(QSlider* slider, int position)
{
    slider->setSliderDown(true);
    slider->setSliderPosition(position);
    slider->setSliderDown(false);
}

void writeFile(const QString& path, int bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(bytes, 'x'));
}

QVariant stored(const char* key)
{
    return store().value(QStringLiteral("XRVJP2kLayer/") + QLatin1String(key));
}

const QString DefaultCacheDir = QDir::tempPath() + "/QDViewerXrvpCache";

}  // namespace

class TestPreferencesPage : public QObject {
    Q_OBJECT
private slots:
    void init();
    void memorySlider_data();
    void memorySlider();
    void cacheInUse_data();
    void cacheInUse();
    void defaultsThenSave();
    void loggingChoiceSentOnSave_data();
    void loggingChoiceSentOnSave();
    void clearDiskCache_data();
    void clearDiskCache();

private:
    void makePage(qint64 totalMemoryMb = 16384);
    template <typename T>
    T* child(const char* name) const
    {
        return m_page->findChild<T*>(QLatin1String(name));
    }
    std::unique_ptr<XRVJP2kPreferences> m_page;
};

void TestPreferencesPage::init()
{
    store().clear();
    m_page.reset();
}

void TestPreferencesPage::makePage(qint64 totalMemoryMb)
{
    m_page = std::make_unique<XRVJP2kPreferences>(totalMemoryMb, nullptr);
    m_page->show();
}

void TestPreferencesPage::memorySlider_data()
{
    QTest::addColumn<qint64>("totalMb");
    QTest::addColumn<QVariant>("storedMb");
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("dragTo");
    QTest::addColumn<quint64>("savedMb");
    // A quarter of the memory is offered, at most 2048 MB.
    QTest::newRow("16 GB, nothing stored") << qint64(16384) << QVariant() << 25 << 100 << quint64(2048);
    QTest::newRow("16 GB, 1024 MB stored") << qint64(16384) << QVariant(1024) << 50 << 10 << quint64(204);
    QTest::newRow("1000 MB, 512 MB stored") << qint64(1000) << QVariant(512) << 100 << 33 << quint64(82);
    QTest::newRow("memory unknown") << qint64(0) << QVariant(512) << 100 << 50 << quint64(0);
}

void TestPreferencesPage::memorySlider()
{
    QFETCH(qint64, totalMb);
    QFETCH(QVariant, storedMb);
    QFETCH(int, shown);
    QFETCH(int, dragTo);
    QFETCH(quint64, savedMb);
    if (storedMb.isValid()) store().setValue("XRVJP2kLayer/CacheMaxMemMb", storedMb);
    makePage(totalMb);
    auto* slider = child<QSlider>("xrvpMemCacheDirSizeSlider");
    QCOMPARE(slider->value(), shown);
    // Keys and clicks on the groove do not count: only a drag changes the size.
    slider->setValue(dragTo + (dragTo > 50 ? -5 : 5));
    m_page->onSavePrefs();
    QCOMPARE(stored("CacheMaxMemMb").toULongLong(), storedMb.isValid() ? storedMb.toULongLong() : 512u);
    drag(slider, dragTo);
    m_page->onSavePrefs();
    QCOMPARE(stored("CacheMaxMemMb").toULongLong(), savedMb);
}

void TestPreferencesPage::cacheInUse_data()
{
    QTest::addColumn<QStringList>("files");  // name:bytes; "-" for a folder that does not exist
    QTest::addColumn<QString>("shown");
    QTest::newRow("data, cache and other files")
        << QStringList{"a.data:1000", "b.cache:24", "c.txt:5000", "d.data.old:300"} << "1.00 KB";
    QTest::newRow("only other files") << QStringList{"notes.txt:10"} << "0.00 B";
    QTest::newRow("missing folder") << QStringList{"-"} << "0.00 B";
}

void TestPreferencesPage::cacheInUse()
{
    QFETCH(QStringList, files);
    QFETCH(QString, shown);
    QTemporaryDir dir;
    QString folder = dir.path();
    for (const QString& file : files) {
        if (file == "-")
            folder = dir.filePath("absent");
        else
            writeFile(dir.filePath(file.section(':', 0, 0)), file.section(':', 1).toInt());
    }
    QDir(dir.path()).mkdir("e.cache");  // a folder, not a cache file
    store().setValue("XRVJP2kLayer/XrvpCacheDir", folder);
    makePage();
    QCOMPARE(child<QLabel>("xrvpDiskCacheSizeLabel")->text(), shown);
}

void TestPreferencesPage::defaultsThenSave()
{
    const QVariantMap before{{"TextureDither", false},
                             {"CacheMaxMemMb", 2000},
                             {"XrvpCacheDir", "/srv/cache"},
                             {"DiskCacheMaxSizeMb", 200},
                             {"OptimizeNearestNeighbour", false},
                             {"DefaultClipTransform", 50},
                             {"UseWinHTTPInXrvp", true},
                             {"XRVPUserAgent", "Old/1.0"},
                             {"LogXrvEvents", false},
                             {"AdaptiveRendering", true},
                             {"OpenProgressive", false}};
    for (auto it = before.begin(); it != before.end(); ++it) store().setValue("XRVJP2kLayer/" + it.key(), it.value());
    store().setValue("XRVJP2kLayer/LogLevel", 3);
    makePage(4096);
    PanelTest::click(child<QPushButton>("defaultsButton"));
    // Typed locations are not taken; the folder chooser is the way to change it.
    QTest::keyClicks(child<QLineEdit>("xrvpDiskCacheLocationEdit"), "/typed");
    QCOMPARE(child<QSlider>("xrvpMemCacheDirSizeSlider")->value(), 50);  // 512 of 1024 MB
    QCOMPARE(stored("XRVPUserAgent").toString(), QString("Old/1.0"));    // nothing stored before a save

    m_page->onSavePrefs();
    // Dithering on and an empty User-Agent, although a store without them reads otherwise;
    // the two options of new layers keep their values.
    const QVariantMap after{{"TextureDither", true},
                            {"CacheMaxMemMb", 512},
                            {"XrvpCacheDir", DefaultCacheDir},
                            {"DiskCacheMaxSizeMb", 500},
                            {"OptimizeNearestNeighbour", true},
                            {"DefaultClipTransform", 99},
                            {"UseWinHTTPInXrvp", false},
                            {"XRVPUserAgent", ""},
                            {"LogXrvEvents", true},
                            {"AdaptiveRendering", true},
                            {"OpenProgressive", false}};
    for (auto it = after.begin(); it != after.end(); ++it)
        QVERIFY2(stored(qPrintable(it.key())).toString() == it.value().toString(), qPrintable(it.key()));
    QVERIFY(store().contains("XRVJP2kLayer/XRVPUserAgent"));
    QVERIFY(!store().contains("XRVJP2kLayer/LogLevel"));  // obsolete, dropped on save
}

void TestPreferencesPage::loggingChoiceSentOnSave_data()
{
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("clickBox");
    QTest::addColumn<bool>("sent");
    QTest::newRow("on, switched off") << true << true << false;
    QTest::newRow("off, switched on") << false << true << true;
    QTest::newRow("off, kept") << false << false << false;
}

void TestPreferencesPage::loggingChoiceSentOnSave()
{
    QFETCH(bool, stored);
    QFETCH(bool, clickBox);
    QFETCH(bool, sent);
    store().setValue("XRVJP2kLayer/LogXrvEvents", stored);
    makePage();
    QSignalSpy chosen(m_page.get(), &XRVJP2kPreferences::sdkLoggingChosen);
    if (clickBox) PanelTest::click(child<QCheckBox>("logXrvMessages"));
    QVERIFY(chosen.isEmpty());  // not before the save
    m_page->onSavePrefs();
    QCOMPARE(chosen.size(), 1);
    QCOMPARE(chosen.first().first().toBool(), sent);
}

void TestPreferencesPage::clearDiskCache_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<QStringList>("left");
    QTest::newRow("confirmed") << int(QMessageBox::Ok) << QStringList{"c.txt"};
    QTest::newRow("cancelled") << int(QMessageBox::Cancel) << QStringList{"a.data", "b.cache", "c.txt"};
}

void TestPreferencesPage::clearDiskCache()
{
    QFETCH(int, button);
    QFETCH(QStringList, left);
    QTemporaryDir dir;
    writeFile(dir.filePath("a.data"), 1000);
    writeFile(dir.filePath("b.cache"), 24);
    writeFile(dir.filePath("c.txt"), 5000);
    store().setValue("XRVJP2kLayer/XrvpCacheDir", dir.path());
    makePage();
    PanelTest::ModalAnswer answer(PanelTest::pressButton(QMessageBox::StandardButton(button)));
    PanelTest::click(child<QPushButton>("clearDiskCacheButton"));
    QVERIFY(answer.seen);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name), left);
}

XRV_PANELS_TEST_MAIN(TestPreferencesPage)
#include "tst_preferencespage.moc"
