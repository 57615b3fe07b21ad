#include "MainWindow.h"

#include "LayerInfoDialog.h"
#include "LayerListDock.h"
#include "LogConsoleDock.h"
#include "MapStatusBar.h"
#include "PluginSlots.h"
#include "PreferencesDialog.h"
#include "ProjectFile.h"

#include "QDGui/Application.h"
#include "QDGui/IDockWidgetProvider.h"
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPluginInfo.h"
#include "QDGui/Layer.h"
#include "QDGui/MapView.h"
#include "QDGui/PluginManager.h"
#include "QDGui/XRVPBrowser.h"

#include <QtCore/QFileInfo>
#include <QtCore/QSettings>
#include <QtCore/QTimer>
#include <QtWidgets/QAction>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMdiArea>
#include <QtWidgets/QMdiSubWindow>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QToolBar>

using Korvane::Application;
using Korvane::Map::Layer;
using Korvane::Map::MapView;

namespace {
const char* const GeometryKey = "QDViewer/WindowGeometry";
const char* const StateKey = "QDViewer/WindowState";
const char* const FolderKey = "QDViewer/LastFolder";
const char* const HookedProperty = "qdviewerHooked";
}  // namespace

MainWindow::MainWindow(Korvane::PluginManager* plugins, QWidget* parent) : QMainWindow(parent), m_plugins(plugins)
{
    setObjectName(QStringLiteral("mainWindow"));
    setWindowTitle(QGuiApplication::applicationDisplayName());
    Application::setMainWindow(this);
    m_mdi = new QMdiArea(this);
    m_mdi->setObjectName(QStringLiteral("mapArea"));
    setCentralWidget(m_mdi);
    connect(m_mdi, &QMdiArea::subWindowActivated, this, &MainWindow::onSubWindowActivated);
    // Plug-ins may add map windows of their own; they are noticed as they arrive.
    m_mdi->viewport()->installEventFilter(this);

    m_status = new MapStatusBar(statusBar());
    m_info = new LayerInfoDialog(this);
    m_preferences = new PreferencesDialog(this);
    createDocks();
    createMenus();
    collectPluginContributions();
    m_lastFolder = Application::settings()->value(QLatin1String(FolderKey)).toString();
    restoreWindowSettings();
}

MainWindow::~MainWindow()
{
    saveWindowSettings();
    // Map views and their layers go now, before the plug-ins that made the layers.
    m_mdi->closeAllSubWindows();
    for (QMdiSubWindow* window : m_mdi->subWindowList()) delete window;
    if (Application::getMainWindow() == this) Application::setMainWindow(nullptr);
}

void MainWindow::createDocks()
{
    m_layerList = new LayerListDock(this);
    addDockWidget(Qt::LeftDockWidgetArea, m_layerList);
    connect(m_layerList, &LayerListDock::zoomToLayerRequested, this, [this](Layer* layer) {
        if (MapView* view = activeMapView()) view->zoomToLayer(layer);
    });
    m_log = new LogConsoleDock(this);
    addDockWidget(Qt::BottomDockWidgetArea, m_log);
}

void MainWindow::createMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open..."), this, &MainWindow::onOpenFile, QKeySequence::Open);
    file->addAction(tr("Open Stream &Address..."), this, &MainWindow::onOpenAddress);
    file->addAction(
        tr("&New Map Window"), this, [this]() { newMapView(); }, QKeySequence::New);
    file->addSeparator();
    file->addAction(tr("Open &Project..."), this, &MainWindow::onOpenProject);
    file->addAction(tr("&Save Project..."), this, &MainWindow::onSaveProject, QKeySequence::Save);
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);

    m_viewMenu = menuBar()->addMenu(tr("&View"));
    m_viewMenu->addAction(tr("Zoom to &Layer"), this, &MainWindow::onZoomToLayer);
    m_viewMenu->addAction(tr("Zoom to &All"), this, &MainWindow::onZoomToAll);
    m_viewMenu->addSeparator();
    m_viewMenu->addAction(tr("&Tile Windows"), m_mdi, &QMdiArea::tileSubWindows);
    m_viewMenu->addAction(tr("&Cascade Windows"), m_mdi, &QMdiArea::cascadeSubWindows);
    m_viewMenu->addSeparator();
    m_viewMenu->addAction(m_layerList->toggleViewAction());
    m_viewMenu->addAction(m_log->toggleViewAction());

    QMenu* layer = menuBar()->addMenu(tr("&Layer"));
    layer->addAction(tr("&Information..."), this, &MainWindow::onLayerInformation, QKeySequence(tr("Ctrl+I")));
    layer->addAction(tr("&Remove"), this, &MainWindow::onRemoveLayer);

    m_pluginMenu = menuBar()->addMenu(tr("&Plug-ins"));
    QMenu* tools = menuBar()->addMenu(tr("&Tools"));
    tools->addAction(tr("&Preferences..."), this, &MainWindow::onPreferences, QKeySequence::Preferences);
    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("About &Plug-ins..."), this, &MainWindow::onAboutPlugins);
}

void MainWindow::collectPluginContributions()
{
    bool actions = false;
    for (const Korvane::PluginManager::Plugin& plugin : m_plugins->plugins()) {
        if (plugin.docks)
            for (QDockWidget* dock : plugin.docks->createDockWidgets()) addPluginDock(dock);
        ILayerEditorPlugin* editor = plugin.editor;
        if (!editor) continue;
        for (QDockWidget* dock : editor->getDockWidgets()) addPluginDock(dock);
        for (QToolBar* bar : editor->getToolBars()) {
            if (!bar) continue;
            if (bar->objectName().isEmpty())
                bar->setObjectName(QStringLiteral("pluginToolBar%1").arg(findChildren<QToolBar*>().size()));
            addToolBar(bar);
        }
        for (QAction* action : editor->getActions()) {
            if (!action) continue;
            action->setParent(this);
            m_pluginMenu->addAction(action);
            actions = true;
        }
        for (QWidget* page : editor->getInfoPages()) m_info->addPage(page);
        for (QWidget* page : editor->getPreferencePages()) m_preferences->addPage(page);
    }
    if (!actions) m_pluginMenu->addAction(tr("(no plug-in actions)"))->setEnabled(false);
}

void MainWindow::addPluginDock(QDockWidget* dock)
{
    if (!dock) return;
    if (dock->objectName().isEmpty())
        dock->setObjectName(QStringLiteral("pluginDock%1").arg(findChildren<QDockWidget*>().size()));
    addDockWidget(Qt::RightDockWidgetArea, dock);
    m_viewMenu->addAction(dock->toggleViewAction());
    for (QObject* panel : PluginSlots::findAll(dock, "onLayerActivated", 1)) m_layerPanels << panel;
    for (QObject* panel : PluginSlots::findAll(dock, "onSubWindowActivated", 1)) m_subWindowPanels << panel;
}

MapView* MainWindow::activeMapView() const
{
    if (QMdiSubWindow* window = m_mdi->currentSubWindow())
        if (auto* view = qobject_cast<MapView*>(window->widget())) return view;
    return m_currentView;
}

QList<MapView*> MainWindow::mapViews() const
{
    QList<MapView*> views;
    for (QMdiSubWindow* window : m_mdi->subWindowList())
        if (auto* view = qobject_cast<MapView*>(window->widget())) views << view;
    return views;
}

MapView* MainWindow::newMapView()
{
    auto* view = new MapView;
    addMapWindow(view, tr("Map %1").arg(++m_mapCounter));
    return view;
}

QMdiSubWindow* MainWindow::addMapWindow(MapView* view, const QString& title)
{
    QMdiSubWindow* window = m_mdi->addSubWindow(view);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(title.isEmpty() ? tr("Map %1").arg(++m_mapCounter) : title);
    hookMapView(view);
    if (m_mdi->subWindowList().size() == 1)
        window->showMaximized();
    else
        window->show();
    m_mdi->setActiveSubWindow(window);
    // The area only reports activation while the application is active; the docks and the
    // status bar follow the new view in any case.
    if (m_currentView != view) onSubWindowActivated(window);
    return window;
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_mdi->viewport() && event->type() == QEvent::ChildAdded)
        QTimer::singleShot(0, this, &MainWindow::adoptNewWindows);
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::adoptNewWindows()
{
    for (QMdiSubWindow* window : m_mdi->subWindowList()) {
        auto* view = qobject_cast<MapView*>(window->widget());
        if (!view || view->property(HookedProperty).toBool()) continue;
        hookMapView(view);
        if (window == m_mdi->currentSubWindow() || !m_currentView) onSubWindowActivated(window);
    }
}

void MainWindow::hookMapView(MapView* view)
{
    if (view->property(HookedProperty).toBool()) return;
    view->setProperty(HookedProperty, true);
    connect(view, &MapView::activeLayerChanged, this, &MainWindow::onActiveLayerChanged);
}

void MainWindow::onSubWindowActivated(QMdiSubWindow* window)
{
    if (!window) {
        // The area also reports "none" when the application loses focus; only an empty area
        // really has no map.
        if (!m_mdi->subWindowList().isEmpty()) return;
        m_currentView = nullptr;
        m_layerList->setMapView(nullptr);
        m_status->setMapView(nullptr);
        tellPanelsSubWindow(nullptr);
        tellPanelsLayer(nullptr);
        return;
    }
    auto* view = qobject_cast<MapView*>(window->widget());
    tellPanelsSubWindow(window);
    if (!view) return;
    // Views made by plug-ins arrive here first.
    hookMapView(view);
    if (m_currentView == view && m_layerList->mapView() == view) {
        tellPanelsLayer(view->activeLayer());
        return;
    }
    m_currentView = view;
    m_layerList->setMapView(view);
    m_status->setMapView(view);
    tellPanelsLayer(view->activeLayer());
}

void MainWindow::onActiveLayerChanged(Layer* layer)
{
    if (sender() == m_currentView) tellPanelsLayer(layer);
}

void MainWindow::tellPanelsLayer(Layer* layer)
{
    for (const QPointer<QObject>& panel : qAsConst(m_layerPanels))
        PluginSlots::callWithLayer(panel, "onLayerActivated", layer);
}

void MainWindow::tellPanelsSubWindow(QMdiSubWindow* window)
{
    for (const QPointer<QObject>& panel : qAsConst(m_subWindowPanels))
        PluginSlots::callWithSubWindow(panel, "onSubWindowActivated", window);
}

bool MainWindow::openSource(const QString& source)
{
    QString error;
    Layer* layer = m_plugins->openLayer(source, &error);
    if (!layer) {
        Application::logMessage(tr("%1 could not be opened: %2").arg(source, error), Application::Error);
        QMessageBox::warning(this, tr("Open"), tr("%1 could not be opened.\n\n%2").arg(source, error));
        return false;
    }
    MapView* view = activeMapView();
    if (!view) view = newMapView();
    if (view->addLayer(layer, -1) < 0) {
        delete layer;
        QMessageBox::warning(this, tr("Open"), tr("The layer could not be added to the map."));
        return false;
    }
    Application::logMessage(tr("Opened %1 as %2").arg(source, QString::fromLatin1(layer->metaObject()->className())),
                            Application::Info);
    return true;
}

void MainWindow::openSources(const QStringList& sources)
{
    for (const QString& source : sources) openSource(source);
}

void MainWindow::onOpenFile()
{
    const QStringList files =
        QFileDialog::getOpenFileNames(this, tr("Open Layer"), m_lastFolder, m_plugins->fileFilter());
    if (files.isEmpty()) return;
    m_lastFolder = QFileInfo(files.first()).absolutePath();
    Application::settings()->setValue(QLatin1String(FolderKey), m_lastFolder);
    openSources(files);
}

void MainWindow::onOpenAddress()
{
    const QString address = Korvane::Gui::XRVPBrowser::getXrvpUrl(this, Korvane::Gui::XRVPBrowser::XRVP);
    if (!address.isEmpty()) openSource(address);
}

void MainWindow::onOpenProject()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Open Project"), m_lastFolder, tr("Projects (*.qdp);;All files (*)"));
    if (!path.isEmpty()) openProject(path);
}

void MainWindow::onSaveProject()
{
    QString path = QFileDialog::getSaveFileName(this, tr("Save Project"), m_lastFolder, tr("Projects (*.qdp)"));
    if (path.isEmpty()) return;
    if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".qdp");
    saveProject(path);
}

bool MainWindow::openProject(const QString& path)
{
    QList<ProjectFile::View> views;
    QString error;
    QStringList warnings;
    if (!ProjectFile::load(path, m_plugins, &views, &error, &warnings)) {
        QMessageBox::warning(this, tr("Open Project"), error);
        return false;
    }
    QMdiSubWindow* active = nullptr;
    for (const ProjectFile::View& entry : views) {
        QMdiSubWindow* window = addMapWindow(entry.view, entry.title);
        if (entry.active) active = window;
    }
    if (active) m_mdi->setActiveSubWindow(active);
    for (const QString& warning : warnings) Application::logMessage(warning, Application::Warning);
    if (!warnings.isEmpty())
        QMessageBox::warning(
            this, tr("Open Project"),
            tr("Some layers of the project could not be restored:\n\n%1").arg(warnings.join(QLatin1Char('\n'))));
    return true;
}

bool MainWindow::saveProject(const QString& path)
{
    QList<ProjectFile::View> views;
    for (QMdiSubWindow* window : m_mdi->subWindowList()) {
        if (auto* view = qobject_cast<MapView*>(window->widget()))
            views.append({view, window->windowTitle(), view == activeMapView()});
    }
    QString error;
    if (!ProjectFile::save(path, views, &error)) {
        QMessageBox::warning(this, tr("Save Project"), error);
        return false;
    }
    Application::logMessage(tr("Project saved to %1").arg(path), Application::Info);
    return true;
}

void MainWindow::onLayerInformation()
{
    MapView* view = activeMapView();
    Layer* layer = view ? view->activeLayer() : nullptr;
    if (!layer) {
        QMessageBox::information(this, tr("Layer Information"), tr("Select a layer in the layer list first."));
        return;
    }
    m_info->setWindowTitle(tr("Layer Information - %1").arg(layer->displayName()));
    m_info->setLayer(layer);
    m_info->exec();
    // The pages must not hold on to a layer that may be removed later.
    m_info->setLayer(nullptr);
}

void MainWindow::onPreferences()
{
    m_preferences->exec();
}

void MainWindow::onZoomToLayer()
{
    if (MapView* view = activeMapView()) view->zoomToLayer(view->activeLayer());
}

void MainWindow::onZoomToAll()
{
    if (MapView* view = activeMapView()) view->zoomToAll();
}

void MainWindow::onRemoveLayer()
{
    if (MapView* view = activeMapView())
        if (Layer* layer = view->activeLayer()) view->removeLayer(layer);
}

void MainWindow::onAboutPlugins()
{
    QStringList lines;
    for (const Korvane::PluginManager::Plugin& plugin : m_plugins->plugins()) {
        if (plugin.info)
            lines << tr("%1 %2 (%3)\n    %4")
                         .arg(plugin.info->getDescription(), plugin.info->getVersion(), plugin.info->getVendor(),
                              plugin.path);
        else
            lines << plugin.path;
    }
    if (lines.isEmpty())
        lines << tr("No layer plug-ins are loaded; the built-in image layer reads PNG, TIFF and JPEG.");
    for (const QString& error : m_plugins->errors()) lines << tr("Not loaded: %1").arg(error);
    QMessageBox::information(this, tr("Plug-ins"), lines.join(QStringLiteral("\n\n")));
}

void MainWindow::restoreWindowSettings()
{
    QSettings* settings = Application::settings();
    if (!restoreGeometry(settings->value(QLatin1String(GeometryKey)).toByteArray())) resize(1200, 800);
    if (restoreState(settings->value(QLatin1String(StateKey)).toByteArray())) return;
    // First start: most of the window for the map.
    resizeDocks({m_layerList}, {240}, Qt::Horizontal);
    resizeDocks({m_log}, {150}, Qt::Vertical);
}

void MainWindow::saveWindowSettings()
{
    QSettings* settings = Application::settings();
    settings->setValue(QLatin1String(GeometryKey), saveGeometry());
    settings->setValue(QLatin1String(StateKey), saveState());
    settings->sync();
}
