#pragma once
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtWidgets/QMainWindow>

class QAction;
class QMdiArea;
class QMdiSubWindow;
class QMenu;

class LayerInfoDialog;
class LayerListDock;
class LogConsoleDock;
class MapStatusBar;
class PreferencesDialog;

namespace Korvane {
class PluginManager;
namespace Map {
class Layer;
class MapView;
}  // namespace Map
}  // namespace Korvane

// The viewer's main window: map views in a multi-document area, the layer list and log
// docks, the status bar, the navigation tool bar, and whatever the loaded plug-ins contribute
// (docks, tool bars, actions, information and preference pages), collected once at start-up.
// Plug-in panels are told of the active layer, and of its going (a null layer) before it is
// deleted.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int MaxRecentFiles = 10;

    explicit MainWindow(Korvane::PluginManager* plugins, QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a file or stream address into the active map view (a new one when there is
    // none); failures are shown in a message box. True on success.
    bool openSource(const QString& source);
    void openSources(const QStringList& sources);
    // Replaces the open maps with the project's (after offering to save unsaved changes).
    bool openProject(const QString& path);
    bool saveProject(const QString& path);
    // Closes every map window; false when the user keeps unsaved changes by cancelling.
    bool closeProject();
    // True when the maps differ from the project last opened or saved in more than their
    // extents.
    bool hasUnsavedChanges() const;

    Korvane::Map::MapView* activeMapView() const;
    QList<Korvane::Map::MapView*> mapViews() const;
    Korvane::Map::MapView* newMapView();
    QStringList recentFiles() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private slots:
    void adoptNewWindows();
    void onOpenFile();
    void onOpenAddress();
    void onOpenProject();
    bool onSaveProject();
    bool onSaveProjectAs();
    void onLayerInformation();
    void onPreferences();
    void onZoomToLayer();
    void onZoomToAll();
    void onRemoveLayer();
    void onAboutPlugins();
    void onSubWindowActivated(QMdiSubWindow* window);
    void onActiveLayerChanged(Korvane::Map::Layer* layer);
    void updateLayerActions();

private:
    void createActions();
    void createMenus();
    void createDocks();
    void collectPluginContributions();
    void addPluginDock(QDockWidget* dock);
    void hookMapView(Korvane::Map::MapView* view);
    QMdiSubWindow* addMapWindow(Korvane::Map::MapView* view, const QString& title);
    void deleteMapWindow(QMdiSubWindow* window);
    QString uniqueTitle(const QString& wanted) const;
    bool openSourceInto(const QString& source, Korvane::Map::MapView* view);
    void tellPanelsLayer(Korvane::Map::Layer* layer);
    void tellPanelsSubWindow(QMdiSubWindow* window);
    Korvane::Map::Layer* activeLayer() const;
    void moveActiveLayer(int step);
    void showLayerMenu(const QPoint& globalPos);
    void showMapMenu(Korvane::Map::MapView* view, const QPoint& pos);
    void fillWindowMenu();
    void fillRecentMenu();
    void addRecentFile(const QString& path);
    bool maybeSave();
    QByteArray snapshot() const;
    void markSaved();
    void restoreWindowSettings();
    void saveWindowSettings();

    Korvane::PluginManager* m_plugins;
    QMdiArea* m_mdi = nullptr;
    LayerListDock* m_layerList = nullptr;
    LogConsoleDock* m_log = nullptr;
    MapStatusBar* m_status = nullptr;
    LayerInfoDialog* m_info = nullptr;
    PreferencesDialog* m_preferences = nullptr;
    QMenu* m_viewMenu = nullptr;
    QMenu* m_pluginMenu = nullptr;
    QMenu* m_windowMenu = nullptr;
    QMenu* m_recentMenu = nullptr;
    QAction* m_zoomIn = nullptr;
    QAction* m_zoomOut = nullptr;
    QAction* m_zoomAll = nullptr;
    QAction* m_zoomLayer = nullptr;
    QAction* m_information = nullptr;
    QAction* m_visible = nullptr;
    QAction* m_moveUp = nullptr;
    QAction* m_moveDown = nullptr;
    QAction* m_remove = nullptr;
    QList<QPointer<QObject>> m_layerPanels;      // have onLayerActivated(Layer*)
    QList<QPointer<QObject>> m_subWindowPanels;  // have onSubWindowActivated(QMdiSubWindow*)
    QPointer<Korvane::Map::MapView> m_currentView;
    QString m_lastFolder;
    QString m_projectPath;
    QByteArray m_savedSnapshot;
    bool m_settingsSaved = false;
};
