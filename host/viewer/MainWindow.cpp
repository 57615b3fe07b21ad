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
#include "QDGui/RasterLayer.h"
#include "QDGui/XRVPBrowser.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMimeData>
#include <QtCore/QSettings>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtGui/QCloseEvent>
#include <QtGui/QPainter>
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
const char* const RecentKey = "QDViewer/RecentFiles";
const char* const HookedProperty = "qdviewerHooked";

enum class NavigationIcon { ZoomIn, ZoomOut, ZoomAll, ZoomLayer };

// Magnifying glasses and frames drawn here, as the style has no map navigation icons.
QIcon navigationIcon(NavigationIcon kind, const QPalette& palette)
{
    QPixmap pixmap(24, 24);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette.color(QPalette::WindowText), 2));
    switch (kind) {
        case NavigationIcon::ZoomIn:
        case NavigationIcon::ZoomOut:
            painter.drawEllipse(QRectF(3, 3, 13, 13));
            painter.drawLine(QPointF(14, 14), QPointF(21, 21));
            painter.drawLine(QPointF(6.5, 9.5), QPointF(12.5, 9.5));
            if (kind == NavigationIcon::ZoomIn) painter.drawLine(QPointF(9.5, 6.5), QPointF(9.5, 12.5));
            break;
        case NavigationIcon::ZoomAll:
            painter.drawRect(QRectF(3, 3, 18, 18));
            painter.drawLine(QPointF(7, 7), QPointF(17, 17));
            painter.drawLine(QPointF(17, 7), QPointF(7, 17));
            break;
        case NavigationIcon::ZoomLayer:
            painter.setBrush(QColor(90, 150, 220));
            painter.drawRect(QRectF(5, 7, 14, 10));
            break;
    }
    return QIcon(pixmap);
}

QStringList droppedFiles(const QMimeData* data)
{
    QStringList files;
    if (!data) return files;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile()) files << url.toLocalFile();
    return files;
}

bool isProjectFile(const QString& path)
{
    return path.endsWith(QLatin1String(".qdp"), Qt::CaseInsensitive);
}
}  // namespace

MainWindow::MainWindow(Korvane::PluginManager* plugins, QWidget* parent) : QMainWindow(parent), m_plugins(plugins)
{
    setObjectName(QStringLiteral("mainWindow"));
    // No title of our own: the platform adds the application's name, and a maximised map
    // window adds its title in front ("Map 1 — QD Viewer").
    Application::setMainWindow(this);
    setAcceptDrops(true);
    m_mdi = new QMdiArea(this);
    m_mdi->setObjectName(QStringLiteral("mapArea"));
    setCentralWidget(m_mdi);
    connect(m_mdi, &QMdiArea::subWindowActivated, this, &MainWindow::onSubWindowActivated);
    // Plug-ins may add map windows of their own; they are noticed as they arrive.
    m_mdi->viewport()->installEventFilter(this);

    m_status = new MapStatusBar(statusBar());
    m_info = new LayerInfoDialog(m_plugins, this);
    m_preferences = new PreferencesDialog(this);
    createDocks();
    createActions();
    createMenus();
    collectPluginContributions();
    m_lastFolder = Application::settings()->value(QLatin1String(FolderKey)).toString();
    restoreWindowSettings();
    updateLayerActions();
    markSaved();
}

MainWindow::~MainWindow()
{
    saveWindowSettings();
    // Map views and their layers go now, before the plug-ins that made the layers; the
    // panels let go of the active layer first.
    tellPanelsLayer(nullptr);
    for (QMdiSubWindow* window : m_mdi->subWindowList()) deleteMapWindow(window);
    if (Application::getMainWindow() == this) Application::setMainWindow(nullptr);
}

void MainWindow::deleteMapWindow(QMdiSubWindow* window)
{
    // The view goes first, while its window is whole: it reports a null active layer on its
    // way out, and whoever hears that may still look at the window.
    delete window->widget();
    delete window;
}

void MainWindow::createDocks()
{
    m_layerList = new LayerListDock(this);
    addDockWidget(Qt::LeftDockWidgetArea, m_layerList);
    connect(m_layerList, &LayerListDock::zoomToLayerRequested, this, [this](Layer* layer) {
        if (MapView* view = activeMapView()) view->zoomToLayer(layer);
    });
    connect(m_layerList, &LayerListDock::layerMenuRequested, this, &MainWindow::showLayerMenu);
    m_log = new LogConsoleDock(this);
    addDockWidget(Qt::BottomDockWidgetArea, m_log);
}

void MainWindow::createActions()
{
    auto make = [this](const QString& text, const QKeySequence& key, auto slot) {
        auto* action = new QAction(text, this);
        action->setShortcut(key);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    m_zoomIn = make(tr("Zoom &In"), QKeySequence::ZoomIn, [this]() {
        if (MapView* view = activeMapView()) view->zoomIn();
    });
    m_zoomOut = make(tr("Zoom &Out"), QKeySequence::ZoomOut, [this]() {
        if (MapView* view = activeMapView()) view->zoomOut();
    });
    m_zoomAll = make(tr("Zoom to &All"), QKeySequence(tr("Ctrl+Shift+F")), &MainWindow::onZoomToAll);
    m_zoomLayer = make(tr("Zoom to &Layer"), QKeySequence(tr("Ctrl+Shift+L")), &MainWindow::onZoomToLayer);
    m_zoomIn->setIcon(navigationIcon(NavigationIcon::ZoomIn, palette()));
    m_zoomOut->setIcon(navigationIcon(NavigationIcon::ZoomOut, palette()));
    m_zoomAll->setIcon(navigationIcon(NavigationIcon::ZoomAll, palette()));
    m_zoomLayer->setIcon(navigationIcon(NavigationIcon::ZoomLayer, palette()));
    m_information = make(tr("&Properties..."), QKeySequence(tr("Ctrl+I")), &MainWindow::onLayerInformation);
    m_visible = make(tr("&Visible"), QKeySequence(), [this](bool on) {
        if (MapView* view = activeMapView())
            if (Layer* layer = view->activeLayer()) view->setLayerVisible(layer, on);
    });
    m_visible->setCheckable(true);
    m_moveUp = make(tr("Move &Up"), QKeySequence(), [this]() { moveActiveLayer(+1); });
    m_moveDown = make(tr("Move &Down"), QKeySequence(), [this]() { moveActiveLayer(-1); });
    m_remove = make(tr("&Remove"), QKeySequence(), &MainWindow::onRemoveLayer);

    auto* navigation = addToolBar(tr("Navigation"));
    navigation->setObjectName(QStringLiteral("navigationToolBar"));
    navigation->addActions({m_zoomIn, m_zoomOut, m_zoomAll, m_zoomLayer});
}

void MainWindow::createMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open..."), this, &MainWindow::onOpenFile, QKeySequence::Open);
    file->addAction(tr("Open Stream &Address..."), this, &MainWindow::onOpenAddress);
    m_recentMenu = file->addMenu(tr("Open &Recent"));
    connect(m_recentMenu, &QMenu::aboutToShow, this, &MainWindow::fillRecentMenu);
    file->addAction(
        tr("&New Map Window"), this, [this]() { newMapView(); }, QKeySequence::New);
    file->addSeparator();
    file->addAction(tr("Open &Project..."), this, &MainWindow::onOpenProject);
    file->addAction(tr("&Save Project"), this, &MainWindow::onSaveProject, QKeySequence::Save);
    file->addAction(tr("Save Project &As..."), this, &MainWindow::onSaveProjectAs, QKeySequence::SaveAs);
    file->addAction(tr("&Close Project"), this, &MainWindow::closeProject);
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);

    m_viewMenu = menuBar()->addMenu(tr("&View"));
    m_viewMenu->addActions({m_zoomIn, m_zoomOut, m_zoomAll, m_zoomLayer});
    m_viewMenu->addSeparator();
    m_viewMenu->addAction(m_layerList->toggleViewAction());
    m_viewMenu->addAction(m_log->toggleViewAction());

    QMenu* layer = menuBar()->addMenu(tr("&Layer"));
    layer->addActions({m_information, m_zoomLayer, m_visible});
    layer->addSeparator();
    layer->addActions({m_moveUp, m_moveDown, m_remove});

    m_windowMenu = menuBar()->addMenu(tr("&Window"));
    connect(m_windowMenu, &QMenu::aboutToShow, this, &MainWindow::fillWindowMenu);
    fillWindowMenu();
    m_pluginMenu = menuBar()->addMenu(tr("&Plug-ins"));
    QMenu* tools = menuBar()->addMenu(tr("&Tools"));
    tools->addAction(tr("&Preferences..."), this, &MainWindow::onPreferences, QKeySequence::Preferences);
    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("About &Plug-ins..."), this, &MainWindow::onAboutPlugins);
}

void MainWindow::fillWindowMenu()
{
    m_windowMenu->clear();
    m_windowMenu->addAction(tr("&Tile"), m_mdi, &QMdiArea::tileSubWindows);
    m_windowMenu->addAction(tr("&Cascade"), m_mdi, &QMdiArea::cascadeSubWindows);
    m_windowMenu->addAction(tr("&Next"), m_mdi, &QMdiArea::activateNextSubWindow, QKeySequence::NextChild);
    m_windowMenu->addAction(tr("&Previous"), m_mdi, &QMdiArea::activatePreviousSubWindow, QKeySequence::PreviousChild);
    m_windowMenu->addSeparator();
    const QList<QMdiSubWindow*> windows = m_mdi->subWindowList();
    for (int i = 0; i < windows.size(); ++i) {
        QMdiSubWindow* window = windows.at(i);
        QAction* action =
            m_windowMenu->addAction(i < 9 ? tr("&%1 %2").arg(i + 1).arg(window->windowTitle()) : window->windowTitle(),
                                    this, [this, window = QPointer<QMdiSubWindow>(window)]() {
                                        if (window) m_mdi->setActiveSubWindow(window);
                                    });
        action->setCheckable(true);
        action->setChecked(window == m_mdi->currentSubWindow());
    }
    if (windows.isEmpty()) m_windowMenu->addAction(tr("(no maps)"))->setEnabled(false);
}

QStringList MainWindow::recentFiles() const
{
    return Application::settings()->value(QLatin1String(RecentKey)).toStringList();
}

void MainWindow::addRecentFile(const QString& path)
{
    if (Korvane::PluginManager::isAddress(path)) return;
    QStringList files = recentFiles();
    const QString absolute = QFileInfo(path).absoluteFilePath();
    files.removeAll(absolute);
    files.prepend(absolute);
    while (files.size() > MaxRecentFiles) files.removeLast();
    Application::settings()->setValue(QLatin1String(RecentKey), files);
}

void MainWindow::fillRecentMenu()
{
    m_recentMenu->clear();
    const QStringList files = recentFiles();
    for (const QString& path : files)
        m_recentMenu
            ->addAction(QFileInfo(path).fileName(), this,
                        [this, path]() { isProjectFile(path) ? openProject(path) : openSource(path); })
            ->setToolTip(path);
    if (files.isEmpty()) {
        m_recentMenu->addAction(tr("(none)"))->setEnabled(false);
        return;
    }
    m_recentMenu->addSeparator();
    m_recentMenu->addAction(tr("&Clear List"), this,
                            []() { Application::settings()->remove(QLatin1String(RecentKey)); });
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
        // A plug-in's information pages describe its own layers only.
        const QString layerClass = plugin.info ? plugin.info->getClassName() : QString();
        for (QWidget* page : editor->getInfoPages()) m_info->addPage(page, layerClass);
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

Layer* MainWindow::activeLayer() const
{
    MapView* view = activeMapView();
    return view ? view->activeLayer() : nullptr;
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
    addMapWindow(view, QString());
    return view;
}

QString MainWindow::uniqueTitle(const QString& wanted) const
{
    QStringList taken;
    for (QMdiSubWindow* window : m_mdi->subWindowList()) taken << window->windowTitle();
    if (wanted.isEmpty()) {
        int number = 1;
        while (taken.contains(tr("Map %1").arg(number))) ++number;
        return tr("Map %1").arg(number);
    }
    QString title = wanted;
    for (int copy = 2; taken.contains(title); ++copy) title = tr("%1 (%2)").arg(wanted).arg(copy);
    return title;
}

QMdiSubWindow* MainWindow::addMapWindow(MapView* view, const QString& title)
{
    const QString unique = uniqueTitle(title);
    QMdiSubWindow* window = m_mdi->addSubWindow(view);
    window->setAttribute(Qt::WA_DeleteOnClose);
    // Tab moves between the fields of panels, never into a map window (which would make it,
    // and its layers, the ones the panels edit).
    window->setFocusPolicy(Qt::ClickFocus);
    window->setWindowTitle(unique);
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
        window->setFocusPolicy(Qt::ClickFocus);
        hookMapView(view);
        if (window == m_mdi->currentSubWindow() || !m_currentView) onSubWindowActivated(window);
    }
}

void MainWindow::hookMapView(MapView* view)
{
    if (view->property(HookedProperty).toBool()) return;
    view->setProperty(HookedProperty, true);
    view->setFocusPolicy(Qt::ClickFocus);
    connect(view, &MapView::activeLayerChanged, this, &MainWindow::onActiveLayerChanged);
    connect(view, &MapView::layersChanged, this, &MainWindow::updateLayerActions);
    connect(view, &MapView::filesDropped, this, [this, view](const QStringList& files) {
        for (const QString& file : files) openSourceInto(file, view);
    });
    view->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(view, &QWidget::customContextMenuRequested, this,
            [this, view](const QPoint& pos) { showMapMenu(view, pos); });
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
    // Also while the current view is being destroyed: it names a null layer first.
    if (sender() == m_currentView) tellPanelsLayer(layer);
}

void MainWindow::tellPanelsLayer(Layer* layer)
{
    for (const QPointer<QObject>& panel : qAsConst(m_layerPanels))
        PluginSlots::callWithLayer(panel, "onLayerActivated", layer);
    updateLayerActions();
}

void MainWindow::tellPanelsSubWindow(QMdiSubWindow* window)
{
    for (const QPointer<QObject>& panel : qAsConst(m_subWindowPanels))
        PluginSlots::callWithSubWindow(panel, "onSubWindowActivated", window);
}

void MainWindow::updateLayerActions()
{
    // The view the docks show: also asked while a closed map window is being destroyed, when
    // the area's windows are not to be looked at.
    MapView* view = m_currentView;
    Layer* layer = view ? view->activeLayer() : nullptr;
    const int index = view && layer ? view->indexOf(layer) : -1;
    for (QAction* action : {m_information, m_zoomLayer, m_visible, m_remove}) action->setEnabled(layer);
    m_moveUp->setEnabled(layer && index < view->layers().size() - 1);
    m_moveDown->setEnabled(layer && index > 0);
    const QSignalBlocker blocker(m_visible);
    m_visible->setChecked(layer && layer->isVisible());
    for (QAction* action : {m_zoomIn, m_zoomOut, m_zoomAll}) action->setEnabled(view);
}

void MainWindow::moveActiveLayer(int step)
{
    MapView* view = activeMapView();
    Layer* layer = activeLayer();
    if (!layer) return;
    view->moveLayer(layer, view->indexOf(layer) + step);
    updateLayerActions();
}

void MainWindow::showLayerMenu(const QPoint& globalPos)
{
    if (!activeLayer()) return;
    updateLayerActions();
    QMenu menu(this);
    menu.addActions({m_zoomLayer, m_information, m_visible});
    menu.addSeparator();
    menu.addActions({m_moveUp, m_moveDown, m_remove});
    menu.exec(globalPos);
}

void MainWindow::showMapMenu(MapView* view, const QPoint& pos)
{
    if (QMdiSubWindow* window = qobject_cast<QMdiSubWindow*>(view->parentWidget())) m_mdi->setActiveSubWindow(window);
    // The layer under the cursor becomes the one the menu acts on.
    if (Layer* layer = view->layerAt(pos)) view->setActiveLayer(layer);
    updateLayerActions();
    QMenu menu(this);
    menu.addActions({m_zoomIn, m_zoomOut, m_zoomAll});
    if (Layer* layer = view->activeLayer()) {
        menu.addSection(layer->displayName());
        menu.addActions({m_zoomLayer, m_information, m_visible});
        menu.addSeparator();
        menu.addActions({m_moveUp, m_moveDown, m_remove});
    }
    menu.exec(view->mapToGlobal(pos));
}

bool MainWindow::openSource(const QString& source)
{
    return openSourceInto(source, nullptr);
}

bool MainWindow::openSourceInto(const QString& source, MapView* view)
{
    QString error;
    Layer* layer = m_plugins->openLayer(source, &error);
    if (!layer) {
        Application::logMessage(tr("%1 could not be opened: %2").arg(source, error), Application::Error);
        QMessageBox::warning(this, tr("Open"), tr("%1 could not be opened.\n\n%2").arg(source, error));
        return false;
    }
    if (!view) view = activeMapView();
    if (!view) view = newMapView();
    if (view->addLayer(layer, -1) < 0) {
        delete layer;
        QMessageBox::warning(this, tr("Open"), tr("The layer could not be added to the map."));
        return false;
    }
    auto* raster = qobject_cast<Korvane::Map::RasterLayer*>(layer);
    const QString kind = m_plugins->layerKind(layer);
    const QString format = raster ? raster->getFormat() : QString();
    Application::logMessage(format.isEmpty() || format == kind ? tr("Opened %1 (%2)").arg(source, kind)
                                                               : tr("Opened %1 (%2, %3)").arg(source, kind, format),
                            Application::Info);
    addRecentFile(source);
    return true;
}

void MainWindow::openSources(const QStringList& sources)
{
    for (const QString& source : sources) isProjectFile(source) ? openProject(source) : openSource(source);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!droppedFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    const QStringList files = droppedFiles(event->mimeData());
    if (files.isEmpty()) return;
    event->acceptProposedAction();
    openSources(files);
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

bool MainWindow::onSaveProject()
{
    return m_projectPath.isEmpty() ? onSaveProjectAs() : saveProject(m_projectPath);
}

bool MainWindow::onSaveProjectAs()
{
    QString path = QFileDialog::getSaveFileName(
        this, tr("Save Project"), m_projectPath.isEmpty() ? m_lastFolder : m_projectPath, tr("Projects (*.qdp)"));
    if (path.isEmpty()) return false;
    if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".qdp");
    return saveProject(path);
}

QByteArray MainWindow::snapshot() const
{
    QList<ProjectFile::View> views;
    bool anyLayer = false;
    for (QMdiSubWindow* window : m_mdi->subWindowList()) {
        if (auto* view = qobject_cast<MapView*>(window->widget())) {
            views.append({view, window->windowTitle(), false});
            anyLayer = anyLayer || !view->layers().isEmpty();
        }
    }
    // Empty maps hold nothing worth saving.
    return anyLayer ? ProjectFile::toXml(views, false) : QByteArray();
}

void MainWindow::markSaved()
{
    m_savedSnapshot = snapshot();
}

bool MainWindow::hasUnsavedChanges() const
{
    return snapshot() != m_savedSnapshot;
}

bool MainWindow::maybeSave()
{
    if (!hasUnsavedChanges()) return true;
    const auto answer = QMessageBox::question(
        this, tr("Unsaved Changes"),
        m_projectPath.isEmpty()
            ? tr("The maps have not been saved as a project. Save them?")
            : tr("The project %1 has changed. Save the changes?").arg(QFileInfo(m_projectPath).fileName()),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Cancel) return false;
    return answer == QMessageBox::Discard || onSaveProject();
}

bool MainWindow::closeProject()
{
    if (!maybeSave()) return false;
    // The panels let go of the active layer before any layer is deleted.
    tellPanelsLayer(nullptr);
    const QList<QMdiSubWindow*> windows = m_mdi->subWindowList();
    for (QMdiSubWindow* window : windows) deleteMapWindow(window);
    onSubWindowActivated(nullptr);
    if (!m_projectPath.isEmpty())
        Application::logMessage(tr("Closed the project %1").arg(m_projectPath), Application::Info);
    m_projectPath.clear();
    markSaved();
    return true;
}

bool MainWindow::openProject(const QString& path)
{
    if (!maybeSave()) return false;
    QList<ProjectFile::View> views;
    QString error;
    QStringList warnings;
    Application::logMessage(tr("Opening the project %1").arg(path), Application::Info);
    if (!ProjectFile::load(path, m_plugins, &views, &error, &warnings)) {
        Application::logMessage(error, Application::Error);
        QMessageBox::warning(this, tr("Open Project"), error);
        return false;
    }
    // The project replaces the maps shown, so its titles stay as saved.
    m_savedSnapshot = snapshot();  // already offered to save; nothing more to ask
    closeProject();
    QMdiSubWindow* active = nullptr;
    for (const ProjectFile::View& entry : views) {
        QMdiSubWindow* window = addMapWindow(entry.view, entry.title);
        Application::logMessage(
            tr("Map window %1: %n layer(s)", nullptr, entry.view->layers().size()).arg(window->windowTitle()),
            Application::Info);
        if (entry.active) active = window;
    }
    if (active) m_mdi->setActiveSubWindow(active);
    for (const QString& warning : warnings) Application::logMessage(warning, Application::Warning);
    if (!warnings.isEmpty())
        QMessageBox::warning(
            this, tr("Open Project"),
            tr("Some layers of the project could not be restored:\n\n%1").arg(warnings.join(QLatin1Char('\n'))));
    m_projectPath = path;
    addRecentFile(path);
    markSaved();
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
        Application::logMessage(error, Application::Error);
        QMessageBox::warning(this, tr("Save Project"), error);
        return false;
    }
    Application::logMessage(tr("Project saved to %1").arg(path), Application::Info);
    m_projectPath = path;
    addRecentFile(path);
    markSaved();
    return true;
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!maybeSave()) {
        event->ignore();
        return;
    }
    saveWindowSettings();
    event->accept();
}

void MainWindow::onLayerInformation()
{
    Layer* layer = activeLayer();
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
    resizeDocks({m_log}, {180}, Qt::Vertical);
}

void MainWindow::saveWindowSettings()
{
    if (m_settingsSaved) return;
    m_settingsSaved = true;
    QSettings* settings = Application::settings();
    settings->setValue(QLatin1String(GeometryKey), saveGeometry());
    settings->setValue(QLatin1String(StateKey), saveState());
    settings->sync();
}
