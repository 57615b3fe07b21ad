// The viewer's main window with the test plug-in loaded: its contributions land where users
// look for them, the layer list drives the map, the dialogs reach the plug-in's pages, and
// projects come back as they were saved.
#include "HostTestSupport.h"

#include "LayerListDock.h"
#include "MainWindow.h"

#include "QDGui/ImageLayer.h"
#include "QDGui/MapView.h"
#include "QDGui/PluginManager.h"

#include <QtWidgets/QDockWidget>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QToolBar>

using Korvane::Map::Layer;
using Korvane::Map::MapView;

namespace {

// Accepts whatever modal dialog or message box comes up while it lives, and counts them.
class ModalCloser : public QObject {
public:
    explicit ModalCloser(bool accept = true)
    {
        connect(&m_timer, &QTimer::timeout, this, [this, accept]() {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            ++closed;
            if (auto* box = qobject_cast<QMessageBox*>(dialog)) texts << box->text();
            accept ? dialog->accept() : dialog->reject();
        });
        m_timer.start(20);
    }
    int closed = 0;
    QStringList texts;

private:
    QTimer m_timer;
};

QString lastLog()
{
    return Korvane::Application::logEntries().last().text;
}

bool logged(const QString& text, qsizetype since)
{
    const QVector<Korvane::LogEntry> log = Korvane::Application::logEntries();
    for (qsizetype i = since; i < log.size(); ++i)
        if (log[i].text == text) return true;
    return false;
}

}  // namespace

class TestMainWindow : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    Korvane::PluginManager* m_plugins = nullptr;

    QString file(const QString& name) const { return m_dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(QFile::copy(HOST_TEST_PLUGIN, file("libtestlayer.so")));
        m_plugins = new Korvane::PluginManager(this);
        QCOMPARE(m_plugins->loadFolders({m_dir.path()}), 1);
        QVERIFY(HostTest::writeText(file("a.tstr"), "40 30 #ff8000\n"));
        QVERIFY(HostTest::patternImage(QSize(40, 30)).save(file("b.png")));
    }

    void pluginContributionsAreShown()
    {
        MainWindow window(m_plugins);
        window.show();
        auto* dock = window.findChild<QDockWidget*>("testPanelDock");
        QVERIFY(dock && dock->parent() == &window && !dock->isHidden());
        QVERIFY(window.findChild<QToolBar*>("testToolBar"));
        QStringList actions;
        for (QAction* menu : window.menuBar()->actions())
            if (menu->menu())
                for (QAction* action : menu->menu()->actions()) actions << action->text();
        QVERIFY(actions.contains("Test action"));
    }

    void layerListDrivesTheMap()
    {
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(file("b.png")));
        QVERIFY(window.openSource(file("a.tstr")));
        QCOMPARE(window.mapViews().size(), 1);  // both into the one map window
        MapView* view = window.activeMapView();
        QCOMPARE(view->layers().size(), 2);
        auto* panelLabel = window.findChild<QDockWidget*>("testPanelDock")->findChild<QLabel*>();
        QCOMPARE(panelLabel->text(), QStringLiteral("test raster"));  // the panel heard of it

        auto* list = window.findChild<QListWidget*>("layerList");
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(0)->text(), QStringLiteral("test raster"));  // top layer first
        QCOMPARE(list->item(1)->text(), QStringLiteral("b.png"));

        list->setCurrentRow(1);
        QCOMPARE(view->activeLayer()->displayName(), QStringLiteral("b.png"));
        QCOMPARE(panelLabel->text(), QStringLiteral("b.png"));

        list->item(1)->setCheckState(Qt::Unchecked);
        QVERIFY(!view->layers().first()->isVisible());

        view->setActiveLayer(view->layers().last());
        QCOMPARE(list->currentRow(), 0);

        // "Move down" on the top layer puts it at the bottom of the stack.
        auto* layerDock = window.findChild<LayerListDock*>();
        QMetaObject::invokeMethod(layerDock, "moveDown");
        QCOMPARE(view->layers().first()->displayName(), QStringLiteral("test raster"));
        QCOMPARE(list->item(0)->text(), QStringLiteral("b.png"));

        QMetaObject::invokeMethod(layerDock, "removeSelected");
        QCOMPARE(view->layers().size(), 1);
        QCOMPARE(list->count(), 1);
    }

    void failedOpenShowsTheReason()
    {
        MainWindow window(m_plugins);
        window.show();
        ModalCloser closer;
        QVERIFY(!window.openSource(file("missing.png")));
        QCOMPARE(closer.closed, 1);
        QVERIFY(closer.texts.first().contains("does not exist"));
        QVERIFY(window.mapViews().isEmpty() || window.activeMapView()->layers().isEmpty());
    }

    void informationPagesGetTheActiveLayer()
    {
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openSource(file("a.tstr")));
        const qsizetype before = Korvane::Application::logEntries().size();
        ModalCloser closer;
        QMetaObject::invokeMethod(&window, "onLayerInformation");
        QCOMPARE(closer.closed, 1);
        QVERIFY(logged("test page: layer test raster", before));
        QCOMPARE(lastLog(), QStringLiteral("test page: layer none"));  // let go after closing
    }

    void preferencesOkSavesThePages()
    {
        MainWindow window(m_plugins);
        Korvane::Application::settings()->remove("HostTest/PrefsSaved");
        {
            ModalCloser cancel(false);
            QMetaObject::invokeMethod(&window, "onPreferences");
        }
        QVERIFY(!Korvane::Application::settings()->contains("HostTest/PrefsSaved"));
        ModalCloser ok;
        QMetaObject::invokeMethod(&window, "onPreferences");
        QCOMPARE(ok.closed, 1);
        QVERIFY(Korvane::Application::settings()->value("HostTest/PrefsSaved").toBool());
    }

    void projectsComeBackAsSaved()
    {
        const QString project = file("p.qdp");
        QPointF center;
        double scale = 0;
        {
            MainWindow window(m_plugins);
            window.show();
            QVERIFY(window.openSource(file("b.png")));
            QVERIFY(window.openSource(file("a.tstr")));
            MapView* view = window.activeMapView();
            view->setLayerVisible(view->layers().first(), false);
            view->setCenterAndScale(QPointF(12.5, -7.25), 0.125);
            center = view->viewport().center();
            scale = view->unitsPerPixel();
            QVERIFY(window.saveProject(project));
        }
        MainWindow window(m_plugins);
        window.show();
        QVERIFY(window.openProject(project));
        QCOMPARE(window.mapViews().size(), 1);
        MapView* view = window.mapViews().first();
        QCOMPARE(view->layers().size(), 2);
        QVERIFY(qobject_cast<Korvane::ImageLayer*>(view->layers().at(0)));
        QCOMPARE(view->layers().at(1)->metaObject()->className(), "TestRasterLayer");
        QVERIFY(!view->layers().at(0)->isVisible());
        QVERIFY(view->layers().at(1)->isVisible());
        QCOMPARE(view->layers().at(1)->getDataSource(), file("a.tstr"));
        QCOMPARE(view->activeLayer(), view->layers().at(1));
        QCOMPARE(view->viewport().center(), center);
        QCOMPARE(view->unitsPerPixel(), scale);
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
};

QDGUI_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
