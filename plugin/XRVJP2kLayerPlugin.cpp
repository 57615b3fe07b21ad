#include "XRVJP2kLayerPlugin.h"

#include <QAction>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDockWidget>
#include <QLocale>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QPointer>
#include <QSettings>
#include <QToolBar>
#include <QTranslator>
#include <dlfcn.h>

#include "CLog.h"
#include "PLKTypes.h"
#include "QDGui/Application.h"
#include "QDGui/MapView.h"
#include "QDGui/XRVPBrowser.h"
#include "XRVJP2kEngineSettings.h"
#include "XRVJP2kLayer.h"
#include "XRVJP2kLayerFileInfo.h"
#include "XRVJP2kLayerJP2FileInfo.h"
#include "XRVJP2kLayerMetaDataBox.h"
#include "XRVJP2kLayerRPCInfo.h"
#include "XRVJP2kLayerStatistics.h"
#include "XRVJP2kLogSinks.h"
#include "XRVJP2kPreferences.h"
#include "XRVJP2kProperties.h"

namespace {

// Process-wide, not stored: only the host reads and writes it.
bool s_pluginEnabled = true;

// Whether a library of that name is already loaded in the process (never loads it).
bool moduleLoaded(const char* name)
{
    void* handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

void logReport(const QStringList& lines)
{
    for (const QString& line : lines) Korvane::Application::logMessage(line, 1, QDateTime::currentDateTime());
}

}  // namespace

XRVJP2kLayerPlugin::XRVJP2kLayerPlugin(QObject* parent) : QObject(parent)
{
    m_translators =
        Korvane::Application::initializeTranslations(QStringList{QStringLiteral("xrvjp2klayer")}, QLocale().name());
    startEngine();
    m_browser.reset(new Korvane::Gui::XRVPBrowser(nullptr, Korvane::Gui::XRVPBrowser::XRVP));
    m_browser->setWindowIcon(QIcon(QStringLiteral(":/Resources/pnxlogo.png")));
}

void XRVJP2kLayerPlugin::startEngine()
{
    QSettings& settings = *Korvane::Application::settings();
    XRVJP2kEngineSettings engine;
    engine.readFlags(settings);
    PLK::CLog::RegisterLogger(&XRVJP2kLogSinks::narrow());
    PLK::CLog::RegisterLogger(&XRVJP2kLogSinks::wide());
    engine.readRest(settings);
    logReport(engine.reportLines(moduleLoaded("winhttppal.dll")));
    PLKInit();
    engine.applyToEngine();
    if (engine.useWinHttp) PLKWinHttpSetUseWinHttp(1);
    const QString gdt =
        geodeticDataPath(QDir::toNativeSeparators(QCoreApplication::applicationFilePath()), QDir::separator());
    PLKSetGDTPath(gdt.toLocal8Bit().constData());
}

XRVJP2kLayerPlugin::~XRVJP2kLayerPlugin()
{
    PLK::CLog::RegisterLogger(static_cast<PLK::ILogger<char>*>(nullptr));
    PLK::CLog::RegisterLogger(static_cast<PLK::ILogger<wchar_t>*>(nullptr));
    PLKShutdown();
    m_translators.clear();
    m_browser.reset();
}

QString XRVJP2kLayerPlugin::geodeticDataPath(const QString& executable, QChar separator)
{
    QString folder = executable;
    const int cut = folder.lastIndexOf(separator);
    if (cut >= 0) folder.truncate(cut);
    if (folder.isEmpty()) return folder;
    if (folder.endsWith(separator)) folder.chop(1);
    return folder + separator + QStringLiteral("..") + separator + QStringLiteral("..");
}

QString XRVJP2kLayerPlugin::getVersion()
{
    return QStringLiteral("6.0.0.1513");
}

QString XRVJP2kLayerPlugin::getVendor()
{
    return QCoreApplication::organizationName();
}

QString XRVJP2kLayerPlugin::getDescription()
{
    return QStringLiteral("XRV JPEG 2000");
}

QString XRVJP2kLayerPlugin::getClassName()
{
    return QStringLiteral("Korvane::XRVJP2kLayer");
}

QString XRVJP2kLayerPlugin::getId()
{
    return QStringLiteral("18B1BFEA-0F8D-4a6f-9B57-DB14C81B5C93");
}

QIcon XRVJP2kLayerPlugin::getIcon()
{
    return QIcon(QStringLiteral(":/Resources/logo.png"));
}

QString XRVJP2kLayerPlugin::getFileFilter()
{
    QStringList xrv{QStringLiteral(".xrv")};
    QStringList jpeg2000{QStringLiteral(".jp2"), QStringLiteral(".j2k"), QStringLiteral(".j2c"),
                         QStringLiteral(".jpc"), QStringLiteral(".jpx"), QStringLiteral(".jpf")};
    for (QString& e : xrv) e.prepend('*');
    for (QString& e : jpeg2000) e.prepend('*');
    // The blank before the first parenthesis only is how the filter has always read.
    return QStringLiteral("XRV Image (") + xrv.join(' ') +
           QStringLiteral(");;XRVP / JPIP Url(*.url);;JPEG 2000 Image(") + jpeg2000.join(' ') + QStringLiteral(")");
}

void XRVJP2kLayerPlugin::setEnabled(bool enabled)
{
    s_pluginEnabled = enabled;
}

bool XRVJP2kLayerPlugin::isEnabled()
{
    return s_pluginEnabled;
}

Korvane::Map::Layer* XRVJP2kLayerPlugin::createLayer(bool askForUrl)
{
    auto* layer = new Korvane::XRVJP2kLayer(nullptr);
    if (!askForUrl) return layer;
    const QString address = Korvane::Gui::XRVPBrowser::getXrvpUrl(nullptr, Korvane::Gui::XRVPBrowser::XRVP);
    if (address.isEmpty()) {
        delete layer;
        return nullptr;
    }
    if (!layer->setDataSource(address)) {
        QMessageBox::warning(nullptr, tr("XRV JP2 Error:"), layer->getLastError(), QMessageBox::Ok,
                             QMessageBox::NoButton);
        delete layer;
        return nullptr;
    }
    return layer;
}

QList<QDockWidget*> XRVJP2kLayerPlugin::getDockWidgets()
{
    auto* dock = new QDockWidget(tr("XRV JPEG 2000 Properties"));
    // The host keeps the dock's place between sessions by this name; it is not translated.
    dock->setObjectName(QStringLiteral("XRV JPEG 2000 Properties"));
    dock->setWidget(new XRVJP2kProperties);
    dock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable |
                      QDockWidget::DockWidgetFloatable);
    dock->setAllowedAreas(Qt::AllDockWidgetAreas);
    return {dock};
}

QList<QWidget*> XRVJP2kLayerPlugin::getInfoPages()
{
    return {new XRVJP2kLayerFileInfo, new XRVJP2kLayerJP2FileInfo, new XRVJP2kLayerStatistics, new XRVJP2kLayerRPCInfo,
            new XRVJP2kLayerMetaDataBox};
}

QList<QToolBar*> XRVJP2kLayerPlugin::getToolBars()
{
    auto* toolBar = new QToolBar(QStringLiteral("XRV & JPEG 2000"));
    toolBar->setObjectName(QStringLiteral("XRV or JPEG 2000"));
    QAction* open = toolBar->addAction(QIcon(QStringLiteral(":/Resources/pnxlogo.png")), tr("Add XRVP"));
    open->setToolTip(tr("Open an XRVP stream from an MILTO TANNIS Server"));
    connect(open, &QAction::triggered, this, &XRVJP2kLayerPlugin::onOpenXRVP);
    return {toolBar};
}

QList<QAction*> XRVJP2kLayerPlugin::getActions()
{
    auto* open = new QAction(getIcon(), tr("TANNIS XRVP Image Stream"), nullptr);
    open->setToolTip(tr("Open an XRVP stream from an MILTO TANNIS Server"));
    connect(open, &QAction::triggered, this, &XRVJP2kLayerPlugin::onOpenXRVP);
    return {open};
}

QList<QWidget*> XRVJP2kLayerPlugin::getPreferencePages()
{
    // The page lives in the panels library, which cannot see this module's log sinks.
    auto* page = new XRVJP2kPreferences;
    connect(page, &XRVJP2kPreferences::sdkLoggingChosen, page, &XRVJP2kLogSinks::setEnabled);
    return {page};
}

void XRVJP2kLayerPlugin::onOpenXRVP()
{
    QMainWindow* window = Korvane::Application::getMainWindow();
    if (!window || !qobject_cast<QMdiArea*>(window->centralWidget())) return;
    connect(m_browser.data(), &Korvane::Gui::XRVPBrowser::urlSelected, this, &XRVJP2kLayerPlugin::onAddXrvpUrl,
            Qt::UniqueConnection);
    m_browser->exec();
}

void XRVJP2kLayerPlugin::onAddXrvpUrl(const QString& address)
{
    QMainWindow* window = Korvane::Application::getMainWindow();
    auto* area = window ? qobject_cast<QMdiArea*>(window->centralWidget()) : nullptr;
    if (!area) return;
    Korvane::Map::MapView* view = nullptr;
    if (QMdiSubWindow* active = area->activeSubWindow()) {
        view = qobject_cast<Korvane::Map::MapView*>(active->widget());
    } else {
        view = new Korvane::Map::MapView(nullptr, Qt::WindowFlags());
        area->addSubWindow(view)->show();
    }
    if (!view) {
        QMessageBox::critical(window, tr("Map View"), tr("Could not get map view from subwindow."), QMessageBox::Ok);
        return;
    }
    // Unlike createLayer, a layer that fails here is not deleted but left behind; this is how
    // the stream path has always behaved.
    auto* layer = new Korvane::XRVJP2kLayer(nullptr);
    if (!layer->setDataSource(address)) {
        QMessageBox::warning(window, tr("Map View"), layer->getLastError(), QMessageBox::Ok);
        return;
    }
    if (view->addLayer(layer, -1) == -1) {
        QMessageBox::warning(window, tr("Map View"), tr("Error adding layer to view."), QMessageBox::Ok);
        return;
    }
    // Everything that follows the active view (panels, layer list) picks up the new layer.
    emit area->subWindowActivated(area->activeSubWindow());
}
