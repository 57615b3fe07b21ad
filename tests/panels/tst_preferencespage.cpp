// The preferences page against a settings file of its own: what it shows for the stored values
// and the machine's memory, what the sliders and buttons do, and what a save writes.
#include <QtTest>

#include <QCheckBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include "PanelTestSupport.h"
#include "QDGui/StringUtil.h"
#include "XRVJP2kPreferences.h"

namespace {

QSettings& store()
{
    return *Korvane::Application::settings();
}

QString megabytes(quint64 mb, const char* format)
{
    return Korvane::Util::String::formatFileSize(mb * 1048576, format);
}

// Moves a slider's handle as a drag does: only then does the slider announce sliderMoved.
void drag(QSlider* slider, int position)
{
    slider->setSliderDown(true);
    slider->setSliderPosition(position);
    slider->setSliderDown(false);
}

void click(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(5, button->height() / 2));
}

void writeFile(const QString& path, int bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(bytes, 'x'));
}

const QString DefaultCacheDir = QDir::tempPath() + "/QDViewerXrvpCache";

}  // namespace

class TestPreferencesPage : public QObject {
    Q_OBJECT
private slots:
    void init();
    void memorySlider_data();
    void memorySlider();
    void draggingMemorySlider_data();
    void draggingMemorySlider();
    void diskSlider();
    void cacheInUse_data();
    void cacheInUse();
    void filledFromStore();
    void saveWritesEveryKey();
    void defaultsThenSave();
    void sinksFollowSavedChoice_data();
    void sinksFollowSavedChoice();
    void chosenFolderIsSavedButNotShown();
    void clearDiskCache_data();
    void clearDiskCache();

private:
    std::unique_ptr<XRVJP2kPreferences> page(qint64 totalMemoryMb = 16384);
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
    XRVJP2kPreferences::setLogSinkSwitch(nullptr);
}

std::unique_ptr<XRVJP2kPreferences> TestPreferencesPage::page(qint64 totalMemoryMb)
{
    auto created = std::make_unique<XRVJP2kPreferences>(totalMemoryMb, nullptr);
    created->show();
    return created;
}

void TestPreferencesPage::memorySlider_data()
{
    QTest::addColumn<qint64>("totalMb");
    QTest::addColumn<QVariant>("storedMb");
    QTest::addColumn<int>("position");
    QTest::addColumn<quint64>("recommendedMb");
    // A quarter of the memory is offered, at most 2048 MB; 512 MB are recommended where they fit.
    QTest::newRow("16 GB, nothing stored") << qint64(16384) << QVariant() << 25 << quint64(512);
    QTest::newRow("16 GB, 1024 MB stored") << qint64(16384) << QVariant(1024) << 50 << quint64(512);
    QTest::newRow("1000 MB, 512 MB stored") << qint64(1000) << QVariant(512) << 100 << quint64(250);
    QTest::newRow("4 GB, 100 MB stored") << qint64(4096) << QVariant(100) << 10 << quint64(512);
    QTest::newRow("memory unknown") << qint64(0) << QVariant(512) << 100 << quint64(0);
}

void TestPreferencesPage::memorySlider()
{
    QFETCH(qint64, totalMb);
    QFETCH(QVariant, storedMb);
    QFETCH(int, position);
    QFETCH(quint64, recommendedMb);
    if (storedMb.isValid()) store().setValue("XRVJP2kLayer/CacheMaxMemMb", storedMb);
    m_page = page(totalMb);
    auto* slider = child<QSlider>("xrvpMemCacheDirSizeSlider");
    QCOMPARE(slider->minimum(), 10);
    QCOMPARE(slider->maximum(), 100);
    QCOMPARE(slider->value(), position);
    const quint64 shownMb = storedMb.isValid() ? storedMb.toULongLong() : 512;
    QCOMPARE(child<QLabel>("xrvpCacheDirLabel")->text(), megabytes(shownMb, "%2.2f"));
    const QString sentence = child<QLabel>("memCacheLabel")->text();
    QVERIFY2(sentence.endsWith("<b>" + megabytes(recommendedMb, "%2.2f") + "</b>"), qPrintable(sentence));

    m_page->init();  // the placeholder went with the first fill
    QCOMPARE(child<QLabel>("memCacheLabel")->text(), sentence);
}

void TestPreferencesPage::draggingMemorySlider_data()
{
    QTest::addColumn<qint64>("totalMb");
    QTest::addColumn<int>("position");
    QTest::addColumn<quint64>("savedMb");
    QTest::newRow("all of 2048 MB") << qint64(16384) << 100 << quint64(2048);
    QTest::newRow("a third of 250 MB") << qint64(1000) << 33 << quint64(82);
    QTest::newRow("least of 2048 MB") << qint64(16384) << 10 << quint64(204);
}

void TestPreferencesPage::draggingMemorySlider()
{
    QFETCH(qint64, totalMb);
    QFETCH(int, position);
    QFETCH(quint64, savedMb);
    m_page = page(totalMb);
    drag(child<QSlider>("xrvpMemCacheDirSizeSlider"), position);
    QCOMPARE(child<QLabel>("xrvpCacheDirLabel")->text(), megabytes(savedMb, "  %2.2f"));
    m_page->onSavePrefs();
    QCOMPARE(store().value("XRVJP2kLayer/CacheMaxMemMb").toULongLong(), savedMb);
}

void TestPreferencesPage::diskSlider()
{
    store().setValue("XRVJP2kLayer/DiskCacheMaxSizeMb", 256);
    m_page = page();
    auto* slider = child<QSlider>("xrvpDiskCacheSizeSlider");
    QCOMPARE(slider->minimum(), 20);
    QCOMPARE(slider->value(), 51);
    QCOMPARE(child<QLabel>("xrvpDiskCacheLabel")->text(), megabytes(256, "  %2.2f"));

    // Keys and clicks on the groove do not count: only a drag changes the size.
    slider->setValue(80);
    m_page->onSavePrefs();
    QCOMPARE(store().value("XRVJP2kLayer/DiskCacheMaxSizeMb").toULongLong(), quint64(256));

    drag(slider, 20);
    QCOMPARE(child<QLabel>("xrvpDiskCacheLabel")->text(), megabytes(100, "  %2.2f"));
    m_page->onSavePrefs();
    QCOMPARE(store().value("XRVJP2kLayer/DiskCacheMaxSizeMb").toULongLong(), quint64(100));
}

void TestPreferencesPage::cacheInUse_data()
{
    QTest::addColumn<QStringList>("files");  // name:bytes
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
        if (file == "-") {
            folder = dir.filePath("absent");
            continue;
        }
        writeFile(dir.filePath(file.section(':', 0, 0)), file.section(':', 1).toInt());
    }
    QDir(dir.path()).mkdir("e.cache");  // a folder, not a cache file
    store().setValue("XRVJP2kLayer/XrvpCacheDir", folder);
    m_page = page();
    QCOMPARE(child<QLabel>("xrvpDiskCacheSizeLabel")->text(), shown);
}

void TestPreferencesPage::filledFromStore()
{
    store().setValue("XRVJP2kLayer/OptimizeNearestNeighbour", false);
    store().setValue("XRVJP2kLayer/XrvpCacheDir", "/srv/cache");
    m_page = page();
    QCOMPARE(m_page->objectName(), QString("XRV JP2"));
    QVERIFY(child<QCheckBox>("useBilinearSampling")->isChecked());  // the stored flag is the opposite
    QCOMPARE(child<QLineEdit>("xrvpDiskCacheLocationEdit")->text(), QString("/srv/cache"));
    // Nothing stored: the User-Agent proposed is the application's name.
    QCOMPARE(child<QLineEdit>("userAgentLineEdit")->text(), QGuiApplication::applicationDisplayName());
}

void TestPreferencesPage::saveWritesEveryKey()
{
    store().setValue("XRVJP2kLayer/LogLevel", 3);
    m_page = page();
    click(child<QCheckBox>("useXrvTexture"));
    QTest::keyClick(child<QGroupBox>("diskCacheGroupBox"), Qt::Key_Space);  // its check box
    click(child<QCheckBox>("useResilientDecoding"));
    click(child<QCheckBox>("useBilinearSampling"));
    click(child<QCheckBox>("useAdaptiveRendering"));
    click(child<QCheckBox>("useOpenProgressive"));
    click(child<QCheckBox>("useWinHTTPInXRVP"));
    click(child<QCheckBox>("logXrvMessages"));
    auto* clip = child<QSpinBox>("clipPercent");
    clip->setFocus();
    clip->selectAll();
    QTest::keyClicks(clip, "85");
    auto* agent = child<QLineEdit>("userAgentLineEdit");
    agent->clear();
    QTest::keyClicks(agent, "Viewer/2.0");
    // Typed locations are not taken; the folder chooser is the way to change it.
    QTest::keyClicks(child<QLineEdit>("xrvpDiskCacheLocationEdit"), "/typed");

    m_page->onSavePrefs();

    const QVariantMap expected{{"TextureDither", true},           {"LocalXrvpCache", false},
                               {"XrvpCacheDir", DefaultCacheDir}, {"CacheMaxMemMb", 512},
                               {"DiskCacheMaxSizeMb", 500},       {"ResilientDecoding", false},
                               {"OptimizeNonProgressive", false}, {"OptimizeNearestNeighbour", false},
                               {"AdaptiveRendering", true},       {"DefaultClipTransform", 85},
                               {"OpenProgressive", false},        {"UseWinHTTPInXrvp", true},
                               {"XRVPUserAgent", "Viewer/2.0"},   {"LogXrvEvents", false}};
    store().beginGroup("XRVJP2kLayer");
    QStringList keys = store().childKeys();
    store().endGroup();
    QStringList expectedKeys = expected.keys();
    keys.sort();
    expectedKeys.sort();
    QCOMPARE(keys, expectedKeys);  // the obsolete log level is gone
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QVERIFY2(store().value("XRVJP2kLayer/" + it.key()).toString() == it.value().toString(), qPrintable(it.key()));
}

void TestPreferencesPage::defaultsThenSave()
{
    store().setValue("XRVJP2kLayer/TextureDither", false);
    store().setValue("XRVJP2kLayer/CacheMaxMemMb", 2000);
    store().setValue("XRVJP2kLayer/XrvpCacheDir", "/srv/cache");
    store().setValue("XRVJP2kLayer/DiskCacheMaxSizeMb", 200);
    store().setValue("XRVJP2kLayer/OptimizeNearestNeighbour", false);
    store().setValue("XRVJP2kLayer/DefaultClipTransform", 50);
    store().setValue("XRVJP2kLayer/UseWinHTTPInXrvp", true);
    store().setValue("XRVJP2kLayer/XRVPUserAgent", "Old/1.0");
    store().setValue("XRVJP2kLayer/LogXrvEvents", false);
    store().setValue("XRVJP2kLayer/AdaptiveRendering", true);
    store().setValue("XRVJP2kLayer/OpenProgressive", false);
    store().setValue("XRVJP2kLayer/LogLevel", 2);
    m_page = page(4096);

    click(child<QPushButton>("defaultsButton"));
    QCOMPARE(child<QLineEdit>("xrvpDiskCacheLocationEdit")->text(), DefaultCacheDir);
    QCOMPARE(child<QLineEdit>("userAgentLineEdit")->text(), QString());
    QCOMPARE(child<QSlider>("xrvpMemCacheDirSizeSlider")->value(), 50);  // 512 of 1024 MB
    // Nothing reaches the store before a save.
    QCOMPARE(store().value("XRVJP2kLayer/XRVPUserAgent").toString(), QString("Old/1.0"));

    m_page->onSavePrefs();
    // Dithering on and an empty User-Agent, although a store without them reads otherwise.
    QCOMPARE(store().value("XRVJP2kLayer/TextureDither").toBool(), true);
    QCOMPARE(store().value("XRVJP2kLayer/XRVPUserAgent").toString(), QString());
    QVERIFY(store().contains("XRVJP2kLayer/XRVPUserAgent"));
    QCOMPARE(store().value("XRVJP2kLayer/CacheMaxMemMb").toULongLong(), quint64(512));
    QCOMPARE(store().value("XRVJP2kLayer/XrvpCacheDir").toString(), DefaultCacheDir);
    QCOMPARE(store().value("XRVJP2kLayer/DiskCacheMaxSizeMb").toULongLong(), quint64(500));
    QCOMPARE(store().value("XRVJP2kLayer/OptimizeNearestNeighbour").toBool(), true);
    QCOMPARE(store().value("XRVJP2kLayer/DefaultClipTransform").toInt(), 99);
    QCOMPARE(store().value("XRVJP2kLayer/UseWinHTTPInXrvp").toBool(), false);
    QCOMPARE(store().value("XRVJP2kLayer/LogXrvEvents").toBool(), true);
    // Defaults leave the two options of new layers alone.
    QCOMPARE(store().value("XRVJP2kLayer/AdaptiveRendering").toBool(), true);
    QCOMPARE(store().value("XRVJP2kLayer/OpenProgressive").toBool(), false);
    QVERIFY(!store().contains("XRVJP2kLayer/LogLevel"));
}

void TestPreferencesPage::sinksFollowSavedChoice_data()
{
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("clickBox");
    QTest::addColumn<bool>("switchedTo");
    QTest::newRow("on, switched off") << true << true << false;
    QTest::newRow("off, switched on") << false << true << true;
    QTest::newRow("off, kept") << false << false << false;
}

void TestPreferencesPage::sinksFollowSavedChoice()
{
    QFETCH(bool, stored);
    QFETCH(bool, clickBox);
    QFETCH(bool, switchedTo);
    QList<bool> switches;
    XRVJP2kPreferences::setLogSinkSwitch([&switches](bool on) { switches << on; });
    store().setValue("XRVJP2kLayer/LogXrvEvents", stored);
    m_page = page();
    if (clickBox) click(child<QCheckBox>("logXrvMessages"));
    QVERIFY(switches.isEmpty());  // not before the save

    m_page->onSavePrefs();

    QCOMPARE(switches, QList<bool>{switchedTo});
}

void TestPreferencesPage::chosenFolderIsSavedButNotShown()
{
    QTemporaryDir chosen;
    m_page = page();
    bool foldersOnly = false;
    PanelTest::ModalAnswer answer([&](QWidget* dialog) {
        auto* chooser = qobject_cast<QFileDialog*>(dialog);
        if (!chooser) {
            qobject_cast<QDialog*>(dialog)->reject();
            return;
        }
        foldersOnly = chooser->testOption(QFileDialog::ShowDirsOnly);
        // The folder typed into the name field (which starts with the old folder's name), then "Choose".
        auto* name = chooser->findChild<QLineEdit*>("fileNameEdit");
        if (name) name->setText(chosen.path());
        static_cast<QDialog*>(chooser)->accept();
        if (chooser->isVisible()) chooser->reject();
    });
    QTest::mouseClick(child<QToolButton>("diskCacheButton"), Qt::LeftButton);
    QVERIFY(answer.seen);
    QCOMPARE(answer.title, QString("Choose XRVP Cache Directory"));
    QVERIFY(foldersOnly);
    QCOMPARE(child<QLineEdit>("xrvpDiskCacheLocationEdit")->text(), DefaultCacheDir);

    m_page->onSavePrefs();
    QCOMPARE(QDir(store().value("XRVJP2kLayer/XrvpCacheDir").toString()), QDir(chosen.path()));
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
    m_page = page();

    PanelTest::ModalAnswer answer(PanelTest::pressButton(QMessageBox::StandardButton(button)));
    click(child<QPushButton>("clearDiskCacheButton"));

    QVERIFY(answer.seen);
    QCOMPARE(answer.title, QString("Disk Cache"));
    QVERIFY(answer.text.startsWith("Clearing the XRVP disk cache cannot be undone."));
    QStringList remaining = QDir(dir.path()).entryList(QDir::Files, QDir::Name);
    QCOMPARE(remaining, left);
    // The figure in use is brought up to date only when the page is filled again.
    QCOMPARE(child<QLabel>("xrvpDiskCacheSizeLabel")->text(), QString("1.00 KB"));
}

XRV_PANELS_TEST_MAIN(TestPreferencesPage)
#include "tst_preferencespage.moc"
