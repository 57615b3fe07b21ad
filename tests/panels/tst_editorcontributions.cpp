// What the plug-in hands the host's main window, loaded as the host loads it: the properties
// dock, the information pages, the stream browser and the preferences page, the opening of a
// chosen stream address in the active map view, and the hillshade dock module.
#include <QtTest>

#include <QAction>
#include <QCheckBox>
#include <QDockWidget>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPluginLoader>
#include <QTextEdit>
#include <QToolBar>

#include "CLog.h"
#include "ModalAnswer.h"
#include "QDGui/Application.h"
#include "QDGui/IDockWidgetProvider.h"
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/MapView.h"
#include "QDGui/XRVPBrowser.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// A layer that cannot be opened from the browser is left behind on purpose, so the leak
// checker is told to overlook what is allocated while such an address is handled.
struct AbandonedLayerAllowed {
#if defined(__SANITIZE_ADDRESS__)
    __lsan::ScopedDisabler disabler;
#endif
};

QString samplePath()
{
    const QString path = QStringLiteral(XRV_SAMPLE_DIR "/sample.jp2");
    return QFileInfo::exists(path) ? path : QString();
}

bool logged(const QString& text)
{
    for (const Korvane::LogEntry& entry : Korvane::Application::logEntries())
        if (entry.text == text) return true;
    return false;
}

void rejectDialog(QWidget* dialog)
{
    qobject_cast<QDialog*>(dialog)->reject();
}

}  // namespace

class TestEditorContributions : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void docksAndPages();
    void browserFromToolBarAndMenu();
    void browserNeedsMapArea();
    void preferencePageSwitchesSinks();
    void addAddress_data();
    void addAddress();
    void oneConnectionAfterSeveralOpenings();
    void hillshadeModule();

private:
    QObject* plugin() { return m_loader.instance(); }
    ILayerEditorPlugin* editor() { return qobject_cast<ILayerEditorPlugin*>(plugin()); }
    bool openBrowser(const std::function<void(QWidget*)>& answer);
    void addAddress(const QString& address);

    QPluginLoader m_loader;
    std::unique_ptr<QMainWindow> m_window;
    QMdiArea* m_area = nullptr;
};

void TestEditorContributions::initTestCase()
{
    qRegisterMetaType<QMdiSubWindow*>();
    m_loader.setFileName(QStringLiteral(XRV_PLUGIN_FILE));
    QVERIFY2(m_loader.load(), qPrintable(m_loader.errorString()));
    QVERIFY(editor());
    m_window = std::make_unique<QMainWindow>();
    m_area = new QMdiArea;
    m_window->setCentralWidget(m_area);
    m_window->resize(800, 600);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void TestEditorContributions::cleanupTestCase()
{
    m_window.reset();  // the map views and their layers go before the plug-in
    delete m_loader.instance();
}

void TestEditorContributions::init()
{
    Korvane::Application::setMainWindow(m_window.get());
    m_area->closeAllSubWindows();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(m_area->subWindowList().isEmpty());
}

void TestEditorContributions::docksAndPages()
{
    std::unique_ptr<QDockWidget> dock(editor()->getDockWidgets().value(0));
    QVERIFY(dock && !dock->parent());
    QWidget* panel = dock->widget();
    QCOMPARE(QString(panel->metaObject()->className()), QString("XRVJP2kProperties"));
    // The host finds the activation slots by name.
    QVERIFY(panel->metaObject()->indexOfSlot("onLayerActivated(Korvane::Map::Layer*)") >= 0);
    QVERIFY(panel->metaObject()->indexOfSlot("onSubWindowActivated(QMdiSubWindow*)") >= 0);
    const QList<QWidget*> pages = editor()->getInfoPages();
    QCOMPARE(pages.size(), 5);
    QCOMPARE(QString(pages.first()->metaObject()->className()), QString("XRVJP2kLayerFileInfo"));
    qDeleteAll(pages);
}

bool TestEditorContributions::openBrowser(const std::function<void(QWidget*)>& answer)
{
    PanelTest::ModalAnswer browser([answer](QWidget* dialog) {
        QVERIFY(qobject_cast<Korvane::Gui::XRVPBrowser*>(dialog));
        answer(dialog);
    });
    QMetaObject::invokeMethod(plugin(), "onOpenXRVP");
    return browser.seen;
}

void TestEditorContributions::browserFromToolBarAndMenu()
{
    std::unique_ptr<QToolBar> bar(editor()->getToolBars().value(0));
    std::unique_ptr<QAction> menu(editor()->getActions().value(0));
    for (QAction* open : {bar->actions().value(0), menu.get()}) {
        PanelTest::ModalAnswer browser(rejectDialog);
        open->trigger();
        QVERIFY(browser.seen);
    }
}

void TestEditorContributions::browserNeedsMapArea()
{
    QMainWindow plain;
    plain.setCentralWidget(new QTextEdit);
    Korvane::Application::setMainWindow(&plain);
    QVERIFY(!openBrowser(rejectDialog));
    Korvane::Application::setMainWindow(nullptr);
    QVERIFY(!openBrowser(rejectDialog));
}

void TestEditorContributions::preferencePageSwitchesSinks()
{
    std::unique_ptr<QWidget> page(editor()->getPreferencePages().value(0));
    QVERIFY(page);
    page->show();
    auto* logBox = page->findChild<QCheckBox*>("logXrvMessages");
    QVERIFY(logBox->isChecked());
    QTest::mouseClick(logBox, Qt::LeftButton, {}, QPoint(5, logBox->height() / 2));
    QVERIFY(QMetaObject::invokeMethod(page.get(), "onSavePrefs"));
    PLK::CLog::Log("test", PLK::LOG_FATAL, "%s", "after switching off");
    QTest::qWait(50);
    QVERIFY(!logged("after switching off"));

    QTest::mouseClick(logBox, Qt::LeftButton, {}, QPoint(5, logBox->height() / 2));
    QVERIFY(QMetaObject::invokeMethod(page.get(), "onSavePrefs"));
    PLK::CLog::Log("test", PLK::LOG_FATAL, "%s", "after switching on");
    QTRY_VERIFY(logged("after switching on"));
}

void TestEditorContributions::addAddress(const QString& address)
{
    [[maybe_unused]] const AbandonedLayerAllowed abandoned;
    QVERIFY(QMetaObject::invokeMethod(plugin(), "onAddXrvpUrl", Q_ARG(QString, address)));
}

void TestEditorContributions::addAddress_data()
{
    QTest::addColumn<QString>("open");     // sub-window active before: none, map or text
    QTest::addColumn<QString>("address");  // "sample" for the bundled sample
    QTest::addColumn<int>("layers");       // in the map view afterwards; -1 without one
    QTest::addColumn<QString>("boxText");  // "" for no message box, "*" for any text
    QTest::newRow("no sub-window: a new map view") << "none"
                                                   << "sample" << 1 << "";
    QTest::newRow("map view active") << "map"
                                     << "sample" << 1 << "";
    QTest::newRow("other sub-window active") << "text"
                                             << "sample" << -1 << "Could not get map view from subwindow.";
    QTest::newRow("failing address") << "map"
                                     << "xrvp://127.0.0.1:9/images/none.jp2" << 0 << "*";
}

void TestEditorContributions::addAddress()
{
    QFETCH(QString, open);
    QFETCH(QString, address);
    QFETCH(int, layers);
    QFETCH(QString, boxText);
    if (address == "sample") address = samplePath();
    if (address.isEmpty()) QSKIP("the bundled sample has not been made");
    if (open != "none") {
        QWidget* inside = open == "map" ? static_cast<QWidget*>(new Korvane::Map::MapView) : new QTextEdit;
        QMdiSubWindow* sub = m_area->addSubWindow(inside);
        sub->show();
        m_area->setActiveSubWindow(sub);
    }
    QSignalSpy activations(m_area, &QMdiArea::subWindowActivated);
    PanelTest::ModalAnswer box(PanelTest::pressButton());
    addAddress(address);
    QCOMPARE(box.seen, !boxText.isEmpty());
    if (boxText != "*") QCOMPARE(box.text, boxText.isEmpty() ? QString() : boxText);
    QCOMPARE(m_area->subWindowList().size(), 1);
    auto* view = qobject_cast<Korvane::Map::MapView*>(m_area->subWindowList().value(0)->widget());
    QCOMPARE(view ? view->layers().size() : -1, layers);
    if (layers == 1) {
        QCOMPARE(view->layers().first()->getDataSource(), address);
        QVERIFY(!activations.isEmpty());  // the host follows the view that got the layer
    }
}

void TestEditorContributions::oneConnectionAfterSeveralOpenings()
{
    if (samplePath().isEmpty()) QSKIP("the bundled sample has not been made");
    for (int i = 0; i < 3; ++i) openBrowser(rejectDialog);
    openBrowser([](QWidget* dialog) {
        emit qobject_cast<Korvane::Gui::XRVPBrowser*>(dialog)->urlSelected(samplePath());
        rejectDialog(dialog);
    });
    // One new map view with one layer: a doubled connection would have opened the address twice.
    QCOMPARE(m_area->subWindowList().size(), 1);
    auto* view = qobject_cast<Korvane::Map::MapView*>(m_area->subWindowList().first()->widget());
    QCOMPARE(view->layers().size(), 1);
}

void TestEditorContributions::hillshadeModule()
{
    if (samplePath().isEmpty()) QSKIP("the bundled sample has not been made");
    QPluginLoader module(QStringLiteral(XRV_HILLSHADE_FILE));
    auto* provider = qobject_cast<IDockWidgetProvider*>(module.instance());
    QVERIFY2(provider, qPrintable(module.errorString()));

    std::unique_ptr<QDockWidget> dock(provider->createDockWidgets().value(0));
    QWidget* panel = dock->widget();
    addAddress(samplePath());
    QMdiSubWindow* sub = m_area->subWindowList().value(0);
    Korvane::Map::Layer* layer = qobject_cast<Korvane::Map::MapView*>(sub->widget())->layers().value(0);
    QVERIFY(layer);
    // The layer was made by the other module: the panel must still know it for one of its own.
    QVERIFY(QMetaObject::invokeMethod(panel, "onSubWindowActivated", Q_ARG(QMdiSubWindow*, sub)));
    QVERIFY(QMetaObject::invokeMethod(panel, "onLayerActivated", Q_ARG(Korvane::Map::Layer*, layer)));
    QVERIFY(panel->isEnabled());
    QSignalSpy redraws(layer, &Korvane::Map::Layer::refreshRequested);
    panel->findChild<QCheckBox*>("hillShadeCheckBox")->click();
    QTRY_VERIFY(!redraws.isEmpty());
    dock.reset();
    delete module.instance();
}

int main(int argc, char** argv)
{
    // The plug-in starts the engine itself, as in the viewer.
    Korvane::Application app(argc, argv);
    QTemporaryDir settingsDir;
    Korvane::Application::setSettingsFile(settingsDir.filePath("settings.ini"));
    TestEditorContributions test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_editorcontributions.moc"
