#pragma once
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtWidgets/QMainWindow>

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
// docks, the status bar, and whatever the loaded plug-ins contribute (docks, tool bars,
// actions, information and preference pages), collected once at start-up.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(Korvane::PluginManager* plugins, QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a file or stream address into the active map view (a new one when there is
    // none); failures are shown in a message box. True on success.
    bool openSource(const QString& source);
    void openSources(const QStringList& sources);
    bool openProject(const QString& path);
    bool saveProject(const QString& path);

    Korvane::Map::MapView* activeMapView() const;
    QList<Korvane::Map::MapView*> mapViews() const;
    Korvane::Map::MapView* newMapView();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    void adoptNewWindows();
    void onOpenFile();
    void onOpenAddress();
    void onOpenProject();
    void onSaveProject();
    void onLayerInformation();
    void onPreferences();
    void onZoomToLayer();
    void onZoomToAll();
    void onRemoveLayer();
    void onAboutPlugins();
    void onSubWindowActivated(QMdiSubWindow* window);
    void onActiveLayerChanged(Korvane::Map::Layer* layer);

private:
    void createMenus();
    void createDocks();
    void collectPluginContributions();
    void addPluginDock(QDockWidget* dock);
    void hookMapView(Korvane::Map::MapView* view);
    QMdiSubWindow* addMapWindow(Korvane::Map::MapView* view, const QString& title);
    void tellPanelsLayer(Korvane::Map::Layer* layer);
    void tellPanelsSubWindow(QMdiSubWindow* window);
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
    QList<QPointer<QObject>> m_layerPanels;      // have onLayerActivated(Layer*)
    QList<QPointer<QObject>> m_subWindowPanels;  // have onSubWindowActivated(QMdiSubWindow*)
    QPointer<Korvane::Map::MapView> m_currentView;
    int m_mapCounter = 0;
    QString m_lastFolder;
};
