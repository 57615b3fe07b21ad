// What the plug-in hands the host's main window, loaded as the host loads it: the properties
// dock, the information pages, the tool bar, the menu action and the preferences page, and the
// opening of a chosen stream address in the active map view.
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

QStringList classNames(const QList<QWidget*>& widgets)
{
    QStringList names;
    for (QWidget* w : widgets) names << (w ? w->metaObject()->className() : "null");
    return names;
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
    void propertiesDock();
    void infoPagesInOrder();
    void toolBarOpensBrowser();
    void menuActionOpensBrowser();
    void browserNeedsMapArea();
    void preferencePageSwitchesSinks();
    void addAddress_data();
    void addAddress();
    void oneConnectionAfterSeveralOpenings();
    void hillshadeDockActsOnPluginLayers();

private:
    QObject* plugin() { return m_loader.instance(); }
    ILayerEditorPlugin* editor() { return qobject_cast<ILayerEditorPlugin*>(plugin()); }
    void openBrowser(const std::function<void(QWidget*)>& answer, bool* shown = nullptr);
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

void TestEditorContributions::propertiesDock()
{
    const QList<QDockWidget*> docks = editor()->getDockWidgets();
    QCOMPARE(docks.size(), 1);
    std::unique_ptr<QDockWidget> dock(docks.first());
    QCOMPARE(dock->windowTitle(), QString("XRV JPEG 2000 Properties"));
    QCOMPARE(dock->objectName(), QString("XRV JPEG 2000 Properties"));
    QCOMPARE(int(dock->features()), 7);
    QCOMPARE(int(dock->allowedAreas()), 15);
    QVERIFY(!dock->parent());
    QWidget* panel = dock->widget();
    QCOMPARE(QString(panel->metaObject()->className()), QString("XRVJP2kProperties"));
    // The host finds the activation slots by name.
    QVERIFY(panel->metaObject()->indexOfSlot("onLayerActivated(Korvane::Map::Layer*)") >= 0);
    QVERIFY(panel->metaObject()->indexOfSlot("onSubWindowActivated(QMdiSubWindow*)") >= 0);

    std::unique_ptr<QDockWidget> second(editor()->getDockWidgets().value(0));
    QVERIFY(second && second.get() != dock.get() && second->widget() != panel);
}

void TestEditorContributions::infoPagesInOrder()
{
    const QList<QWidget*> first = editor()->getInfoPages();
    const QList<QWidget*> second = editor()->getInfoPages();
    const QStringList order{"XRVJP2kLayerFileInfo", "XRVJP2kLayerJP2FileInfo", "XRVJP2kLayerStatistics",
                            "XRVJP2kLayerRPCInfo", "XRVJP2kLayerMetaDataBox"};
    QCOMPARE(classNames(first), order);
    QCOMPARE(classNames(second), order);
    for (int i = 0; i < first.size(); ++i) {
        QVERIFY(first[i] != second[i]);
        QVERIFY(!first[i]->parent());
    }
    qDeleteAll(first);
    qDeleteAll(second);
}

void TestEditorContributions::openBrowser(const std::function<void(QWidget*)>& answer, bool* shown)
{
    PanelTest::ModalAnswer browser([answer](QWidget* dialog) {
        QVERIFY(qobject_cast<Korvane::Gui::XRVPBrowser*>(dialog));
        answer(dialog);
    });
    QVERIFY(QMetaObject::invokeMethod(plugin(), "onOpenXRVP"));
    if (shown) *shown = browser.seen;
}

void TestEditorContributions::toolBarOpensBrowser()
{
    const QList<QToolBar*> bars = editor()->getToolBars();
    QCOMPARE(bars.size(), 1);
    std::unique_ptr<QToolBar> bar(bars.first());
    QCOMPARE(bar->windowTitle(), QString("XRV & JPEG 2000"));
    QCOMPARE(bar->objectName(), QString("XRV or JPEG 2000"));
    QCOMPARE(bar->actions().size(), 1);
    QAction* add = bar->actions().first();
    QCOMPARE(add->text(), QString("Add XRVP"));
    QCOMPARE(add->toolTip(), QString("Open an XRVP stream from an MILTO TANNIS Server"));
    QVERIFY(!add->icon().isNull());

    PanelTest::ModalAnswer browser(rejectDialog);
    add->trigger();
    QVERIFY(browser.seen);
}

void TestEditorContributions::menuActionOpensBrowser()
{
    const QList<QAction*> actions = editor()->getActions();
    QCOMPARE(actions.size(), 1);
    std::unique_ptr<QAction> open(actions.first());
    QCOMPARE(open->text(), QString("TANNIS XRVP Image Stream"));
    QCOMPARE(open->toolTip(), QString("Open an XRVP stream from an MILTO TANNIS Server"));
    QVERIFY(!open->icon().isNull());
    QVERIFY(!open->parent());

    PanelTest::ModalAnswer browser(rejectDialog);
    open->trigger();
    QVERIFY(browser.seen);
}

void TestEditorContributions::browserNeedsMapArea()
{
    QMainWindow plain;
    plain.setCentralWidget(new QTextEdit);
    Korvane::Application::setMainWindow(&plain);
    bool shown = true;
    openBrowser(rejectDialog, &shown);
    QVERIFY(!shown);

    Korvane::Application::setMainWindow(nullptr);
    openBrowser(rejectDialog, &shown);
    QVERIFY(!shown);
}

void TestEditorContributions::preferencePageSwitchesSinks()
{
    const QList<QWidget*> pages = editor()->getPreferencePages();
    QCOMPARE(classNames(pages), QStringList{"XRVJP2kPreferences"});
    std::unique_ptr<QWidget> page(pages.first());
    QCOMPARE(page->objectName(), QString("XRV JP2"));
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
    QTest::addColumn<int>("subWindows");   // after the call
    QTest::addColumn<int>("layers");       // in the map view, if there is one
    QTest::addColumn<QString>("boxTitle");
    QTest::addColumn<QString>("boxText");  // "*" for any text
    QTest::newRow("no sub-window: a new map view") << "none"
                                                   << "sample" << 1 << 1 << ""
                                                   << "";
    QTest::newRow("map view active") << "map"
                                     << "sample" << 1 << 1 << ""
                                     << "";
    QTest::newRow("other sub-window active") << "text"
                                             << "sample" << 1 << -1 << "Map View"
                                             << "Could not get map view from subwindow.";
    QTest::newRow("failing address") << "map"
                                     << "xrvp://127.0.0.1:9/images/none.jp2" << 1 << 0 << "Map View"
                                     << "*";
}

void TestEditorContributions::addAddress()
{
    QFETCH(QString, open);
    QFETCH(QString, address);
    QFETCH(int, subWindows);
    QFETCH(int, layers);
    QFETCH(QString, boxTitle);
    QFETCH(QString, boxText);
    if (address == "sample") address = samplePath();
    if (address.isEmpty()) QSKIP("the bundled sample has not been made");
    if (open != "none") {
        QWidget* inside = open == "map" ? static_cast<QWidget*>(new Korvane::Map::MapView) : new QTextEdit;
        QMdiSubWindow* sub = m_area->addSubWindow(inside);
        sub->show();
        m_area->setActiveSubWindow(sub);
        QVERIFY(m_area->activeSubWindow() == sub);
    }
    QSignalSpy activations(m_area, &QMdiArea::subWindowActivated);
    PanelTest::ModalAnswer box(PanelTest::pressButton());

    addAddress(address);

    QCOMPARE(box.seen, !boxTitle.isEmpty());
    QCOMPARE(box.title, boxTitle);
    if (boxText != "*") QCOMPARE(box.text, boxText);
    QVERIFY(!box.text.isNull() || boxTitle.isEmpty());
    QCOMPARE(m_area->subWindowList().size(), subWindows);
    auto* view = qobject_cast<Korvane::Map::MapView*>(m_area->subWindowList().value(0)->widget());
    QCOMPARE(view ? view->layers().size() : -1, layers);
    if (layers == 1) {
        QCOMPARE(QString(view->layers().first()->metaObject()->className()), QString("Korvane::XRVJP2kLayer"));
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

void TestEditorContributions::hillshadeDockActsOnPluginLayers()
{
    if (samplePath().isEmpty()) QSKIP("the bundled sample has not been made");
    QPluginLoader module(QStringLiteral(XRV_HILLSHADE_FILE));
    auto* provider = qobject_cast<IDockWidgetProvider*>(module.instance());
    QVERIFY2(provider, qPrintable(module.errorString()));
    const QList<QDockWidget*> docks = provider->createDockWidgets();
    QCOMPARE(docks.size(), 1);
    std::unique_ptr<QDockWidget> dock(docks.first());
    QCOMPARE(dock->objectName(), QString("XRV JPEG 2000 Hillshade"));
    QWidget* panel = dock->widget();
    QCOMPARE(QString(panel->metaObject()->className()), QString("XRVJP2kSunshade"));

    addAddress(samplePath());
    QMdiSubWindow* sub = m_area->subWindowList().value(0);
    QVERIFY(sub);
    Korvane::Map::Layer* layer = qobject_cast<Korvane::Map::MapView*>(sub->widget())->layers().value(0);
    QVERIFY(layer);
    // The layer was made by the other module: the panel must still know it for one of its own.
    QVERIFY(QMetaObject::invokeMethod(panel, "onSubWindowActivated", Q_ARG(QMdiSubWindow*, sub)));
    QVERIFY(QMetaObject::invokeMethod(panel, "onLayerActivated", Q_ARG(Korvane::Map::Layer*, layer)));
    QVERIFY(panel->isEnabled());
    QSignalSpy redraws(layer, &Korvane::Map::Layer::refreshRequested);
    panel->findChild<QCheckBox*>("hillShadeCheckBox")->click();
    QTRY_VERIFY(!redraws.isEmpty());
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
