// The viewer's main window with the test plug-in and the real XRV / JPEG 2000 plug-in loaded:
// the layer list drives the map, panels let go of layers before they are
// deleted, information pages stay with their own layers, projects come back as they were
// saved, and the keyboard stays where the user works.
#include "HostTestSupport.h"

#include "LayerInfoDialog.h"
#include "LayerListDock.h"
#include "MainWindow.h"

#include "QDGui/ImageLayer.h"
#include "QDGui/MapView.h"
#include "QDGui/PluginManager.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMdiArea>
#include <QtWidgets/QMdiSubWindow>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QToolButton>

using Korvane::Application;
using Korvane::Map::Layer;
using Korvane::Map::MapView;
using Korvane::Map::RasterLayer;

namespace {

// Answers whatever modal dialog or message box comes up while it lives (a message box with
// the given button), and counts them.
class ModalCloser : public QObject {
public:
    explicit ModalCloser(QMessageBox::StandardButton button = QMessageBox::Ok, bool accept = true)
    {
        connect(&m_timer, &QTimer::timeout, this, [this, button, accept]() {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            ++closed;
            auto* box = qobject_cast<QMessageBox*>(dialog);
            if (box) texts << box->text();
            if (box && box->button(button))
                box->button(button)->click();
            else
                accept ? dialog->accept() : dialog->reject();
        });
        m_timer.start(20);
    }
    int closed = 0;
    QStringList texts;

private:
    QTimer m_timer;
};

bool logged(const QString& text, qsizetype since)
{
    const QVector<Korvane::LogEntry> log = Application::logEntries();
    for (qsizetype i = since; i < log.size(); ++i)
        if (log[i].text.contains(text)) return true;
    return false;
}

QString panelText(MainWindow& window)
{
    return window.findChild<QDockWidget*>("testPanelDock")->findChild<QLabel*>()->text();
}

}  // namespace

class TestMainWindow : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    Korvane::PluginManager* m_plugins = nullptr;
    QString m_sample = XRV_SAMPLE_DIR "/sample.jp2";

    QString file(const QString& name) const { return m_dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(QFile::copy(HOST_TEST_PLUGIN, file("libtestlayer.so")));
        m_plugins = new Korvane::PluginManager(this);
        QCOMPARE(m_plugins->loadFolders({m_dir.path()}), 1);
        // The real plug-in (and its hillshade module), as users run them.
        QVERIFY(m_plugins->loadFolders({XRV_PLUGIN_DIR}) >= 1);
        QVERIFY2(QFile::exists(m_sample), qPrintable(m_sample));
        QVERIFY(HostTest::writeText(file("a.tstr"), "40 30 #ff8000\n"));
        QVERIFY(HostTest::patternImage(QSize(40, 30)).save(file("b.png")));
    }

    void layerListDrivesTheMap()
    {
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(file("b.png")));
        QVERIFY(window.openSource(file("a.tstr")));
        QCOMPARE(window.mapViews().size(), 1);  // both into the one map window
        MapView* view = window.activeMapView();
        QCOMPARE(panelText(window), QStringLiteral("test raster"));  // the panel heard of it

        auto* list = window.findChild<QListWidget*>("layerList");
        QCOMPARE(list->item(0)->text(), QStringLiteral("test raster"));  // top layer first
        list->setCurrentRow(1);
        QCOMPARE(view->activeLayer()->displayName(), QStringLiteral("b.png"));
        QCOMPARE(panelText(window), QStringLiteral("b.png"));
        list->item(1)->setCheckState(Qt::Unchecked);
        QVERIFY(!view->layers().first()->isVisible());
        // "Move down" on the top layer puts it at the bottom of the stack.
        view->setActiveLayer(view->layers().last());
        QMetaObject::invokeMethod(window.findChild<LayerListDock*>(), "moveDown");
        QCOMPARE(list->item(0)->text(), QStringLiteral("b.png"));
    }

    void panelsLetGoOfALayerBeforeItIsDeleted_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("remove button, last layer") << "remove";
        QTest::newRow("map window closed") << "close window";
        QTest::newRow("project closed") << "close project";
    }

    void panelsLetGoOfALayerBeforeItIsDeleted()
    {
        QFETCH(QString, how);
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(m_sample));
        Layer* layer = window.activeMapView()->activeLayer();
        QString panelWhenDeleted;
        connect(layer, &QObject::destroyed, this, [&]() { panelWhenDeleted = panelText(window); });
        auto* outline = window.findChild<QCheckBox*>("drawImageOutlineCheckBox");
        auto* hillshade = window.findChild<QCheckBox*>("hillShadeCheckBox");
        QVERIFY(outline && outline->isEnabled());

        ModalCloser discard(QMessageBox::Discard);
        if (how == "remove") {
            window.findChild<QToolButton*>("removeLayerButton")->click();
        } else if (how == "close window") {
            window.findChild<QMdiArea*>()->currentSubWindow()->close();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        } else {
            QVERIFY(window.closeProject());
        }
        QCOMPARE(panelWhenDeleted, QStringLiteral("none"));
        // The real panels were told too: the clicks that used to end the viewer do nothing.
        QVERIFY(!outline->isEnabled());
        outline->click();
        if (hillshade) hillshade->click();
    }

    void informationPagesBelongToTheirPlugin_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("testPageShown");
        QTest::newRow("the plug-in's layer") << "a.tstr" << true;
        QTest::newRow("the built-in layer") << "b.png" << false;
        QTest::newRow("another plug-in's layer") << "sample.jp2" << false;
    }

    void informationPagesBelongToTheirPlugin()
    {
        QFETCH(QString, name);
        QFETCH(bool, testPageShown);
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(m_sample));  // the real plug-in's pages have seen its data
        QVERIFY(name == "sample.jp2" || window.openSource(file(name)));
        const qsizetype before = Application::logEntries().size();
        ModalCloser closer;
        QMetaObject::invokeMethod(&window, "onLayerInformation");
        QCOMPARE(closer.closed, 1);
        // A page that is not the layer's is not handed the layer (it used to show stale data).
        QCOMPARE(logged("test page: layer " + (name == "a.tstr" ? "test raster" : name), before), testPageShown);

        auto* info = window.findChild<LayerInfoDialog*>();
        info->setLayer(window.activeMapView()->activeLayer());
        QStringList shown;
        for (QWidget* page : info->visiblePages()) shown << page->windowTitle();
        QCOMPARE(shown.contains("Test page"), testPageShown);
        // Only the real plug-in's own layer shows its pages.
        QCOMPARE(shown.size() > 2, name == "sample.jp2");
    }

    void preferencesOkSavesThePages()
    {
        MainWindow window(m_plugins);
        Application::settings()->remove("HostTest/PrefsSaved");
        {
            ModalCloser cancel(QMessageBox::Cancel, false);
            QMetaObject::invokeMethod(&window, "onPreferences");
        }
        QVERIFY(!Application::settings()->contains("HostTest/PrefsSaved"));
        ModalCloser ok;
        QMetaObject::invokeMethod(&window, "onPreferences");
        QVERIFY(Application::settings()->value("HostTest/PrefsSaved").toBool());
    }

    void projectsComeBackAsSaved()
    {
        const QString project = file("p.qdp");
        QPointF center;
        {
            MainWindow window(m_plugins);
            window.show();
            QVERIFY(window.openSource(file("b.png")));
            QVERIFY(window.openSource(file("a.tstr")));
            MapView* view = window.activeMapView();
            view->setLayerVisible(view->layers().first(), false);
            auto* test = qobject_cast<RasterLayer*>(view->layers().last());
            test->setTransparency(0.6);
            test->setContrast(1.5);
            test->setBandList({2, 1, 0});
            view->setCenterAndScale(QPointF(12.5, -7.25), 0.125);
            center = view->viewport().center();
            window.newMapView();
            QVERIFY(window.openSource(m_sample));
            auto* jp2 = qobject_cast<RasterLayer*>(window.activeMapView()->activeLayer());
            jp2->setTransparency(0.4);
            jp2->setProperty("DrawOutline", true);
            jp2->setBandList({2, 1, 0});
            QVERIFY(window.saveProject(project));
            QVERIFY(!window.hasUnsavedChanges());
        }
        MainWindow window(m_plugins);
        window.show();
        const qsizetype before = Application::logEntries().size();
        // Opened twice: the second replaces the first rather than adding windows.
        QVERIFY(window.openProject(project));
        QVERIFY(window.openProject(project));
        QVERIFY(logged("Opening the project", before));
        QStringList titles;
        for (QMdiSubWindow* sub : window.findChild<QMdiArea*>()->subWindowList()) titles << sub->windowTitle();
        QCOMPARE(titles, QStringList({"Map 1", "Map 2"}));
        MapView* view = window.mapViews().first();
        QCOMPARE(view->layers().size(), 2);
        QVERIFY(qobject_cast<Korvane::ImageLayer*>(view->layers().at(0)));
        QVERIFY(!view->layers().at(0)->isVisible());
        auto* test = qobject_cast<RasterLayer*>(view->layers().at(1));
        QCOMPARE(test->getDataSource(), file("a.tstr"));
        QCOMPARE(test->getTransparency(), 0.6);
        QCOMPARE(test->getContrast(), 1.5);
        QCOMPARE(test->getBandList(), QVector<int>({2, 1, 0}));
        QCOMPARE(view->activeLayer(), test);
        QCOMPARE(view->viewport().center(), center);
        auto* jp2 = qobject_cast<RasterLayer*>(window.mapViews().at(1)->layers().first());
        QCOMPARE(jp2->getTransparency(), 0.4);
        QCOMPARE(jp2->property("DrawOutline").toBool(), true);
        QCOMPARE(jp2->getBandList(), QVector<int>({2, 1, 0}));
        QCOMPARE(window.activeMapView(), window.mapViews().at(1));
        QVERIFY(!window.hasUnsavedChanges());
    }

    void quitOffersToSaveChanges_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("closes");
        QTest::addColumn<bool>("saved");
        QTest::newRow("cancel") << int(QMessageBox::Cancel) << false << false;
        QTest::newRow("discard") << int(QMessageBox::Discard) << true << false;
        QTest::newRow("save") << int(QMessageBox::Save) << true << true;
    }

    void quitOffersToSaveChanges()
    {
        QFETCH(int, answer);
        QFETCH(bool, closes);
        QFETCH(bool, saved);
        const QString project = file("quit.qdp");
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(file("a.tstr")));
        QVERIFY(window.saveProject(project));
        QVERIFY(window.close());  // nothing to ask
        window.show();
        qobject_cast<RasterLayer*>(window.activeMapView()->activeLayer())->setTransparency(0.25);
        ModalCloser closer{QMessageBox::StandardButton(answer)};
        QCOMPARE(window.close(), closes);
        QCOMPARE(closer.closed, 1);
        QFile written(project);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll().contains("transparency=\"0.25\""), saved);
    }

    void projectWithAMissingLayerOpensTheRest()
    {
        const QString project = file("q.qdp");
        QVERIFY(HostTest::patternImage(QSize(4, 4)).save(file("gone.png")));
        {
            MainWindow window(m_plugins);
            QVERIFY(window.openSource(file("gone.png")));
            QVERIFY(window.openSource(file("a.tstr")));
            QVERIFY(window.saveProject(project));
        }
        QFile::remove(file("gone.png"));
        MainWindow window(m_plugins);
        ModalCloser closer;
        QVERIFY(window.openProject(project));
        QCOMPARE(closer.closed, 1);
        QVERIFY(closer.texts.first().contains("gone.png"));
        QCOMPARE(window.mapViews().first()->layers().size(), 1);

        QVERIFY(HostTest::writeText(file("junk.qdp"), "<not a project"));
        QVERIFY(!window.openProject(file("junk.qdp")));
        QCOMPARE(closer.closed, 2);
    }

    void tabStaysInThePanels()
    {
        MainWindow window(m_plugins);
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QVERIFY(window.openSource(file("a.tstr")));
        window.newMapView();
        QVERIFY(window.openSource(file("b.png")));
        MapView* active = window.activeMapView();
        auto* spin = window.findChild<QDockWidget*>("testPanelDock")->findChild<QSpinBox*>();
        spin->setFocus();
        for (int i = 0; i < 30; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            QVERIFY(!qobject_cast<MapView*>(QApplication::focusWidget()));
            QCOMPARE(window.activeMapView(), active);
        }
        QCOMPARE(panelText(window), QStringLiteral("b.png"));
    }

    void logPaneShowsLinesAndFollows()
    {
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto* log = window.findChild<QPlainTextEdit*>("logText");
        QVERIFY(log->viewport()->height() >= 6 * log->fontMetrics().lineSpacing());
        for (int round = 0; round < 2; ++round) {
            log->verticalScrollBar()->setValue(0);  // the user looked back
            for (int i = 0; i < 3000; ++i) Application::logMessage(QString("line %1").arg(i), Application::Notice);
            QCoreApplication::processEvents();
            QVERIFY(log->verticalScrollBar()->maximum() > 0);
            QCOMPARE(log->verticalScrollBar()->value(), log->verticalScrollBar()->maximum());
        }
    }
};

QDGUI_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
