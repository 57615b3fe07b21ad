// The one object the host obtains from the plug-in library: identity, file filter and the
// factory of XRV / JPEG 2000 layers, plus the user-interface pieces of the layer type.
// Constructing it starts and configures the format engine; destroying it stops the engine.
#pragma once

#include <QList>
#include <QObject>
#include <QSharedPointer>

#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPlugin.h"
#include "QDGui/ILayerPluginInfo.h"

class QTranslator;
namespace Korvane {
namespace Gui {
class XRVPBrowser;
}
}  // namespace Korvane

class XRVJP2kLayerPlugin : public QObject, public ILayerPluginInfo, public ILayerPlugin, public ILayerEditorPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.korvane.viewer.plugin.XRVJP2kLayerPlugin")
    Q_INTERFACES(ILayerPluginInfo ILayerPlugin ILayerEditorPlugin)

public:
    explicit XRVJP2kLayerPlugin(QObject* parent = nullptr);
    ~XRVJP2kLayerPlugin() override;

    // ILayerPluginInfo
    QString getVersion() override;
    QString getVendor() override;
    QString getDescription() override;
    QString getClassName() override;
    QString getId() override;
    QIcon getIcon() override;
    QString getFileFilter() override;
    void setEnabled(bool enabled) override;
    bool isEnabled() override;

    // ILayerPlugin
    Korvane::Map::Layer* createLayer(bool askForUrl) override;

    // ILayerEditorPlugin
    QList<QDockWidget*> getDockWidgets() override;
    QList<QWidget*> getInfoPages() override;
    QList<QToolBar*> getToolBars() override;
    QList<QAction*> getActions() override;
    QList<QWidget*> getPreferencePages() override;

public slots:
    // Shows the stream browser; every address chosen in it opens through onAddXrvpUrl.
    void onOpenXRVP();
    // Opens the address as a new layer in the active map view (a new view when none is open).
    void onAddXrvpUrl(const QString& address);

public:
    /// The geodetic data folder two levels above the executable's folder, with the
    /// platform's separator: "C:\a\b\viewer.exe" gives "C:\a\b\..\..".
    static QString geodeticDataPath(const QString& executable, QChar separator);

private:
    void startEngine();

    QSharedPointer<Korvane::Gui::XRVPBrowser> m_browser;
    QList<QSharedPointer<QTranslator>> m_translators;
};
