#include "QDGui/PluginManager.h"

#include "QDGui/Application.h"
#include "QDGui/IDockWidgetProvider.h"
#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPlugin.h"
#include "QDGui/ILayerPluginInfo.h"
#include "QDGui/ImageLayer.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QLibrary>
#include <QtCore/QPluginLoader>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

namespace Korvane {

const char* const PluginManager::PathVariable = "QDVIEWER_PLUGIN_PATH";

namespace {

bool matchesFilter(const QString& fileName, const QString& filter)
{
    for (const QString& pattern : PluginManager::filterPatterns(filter)) {
        const QRegularExpression re(QRegularExpression::wildcardToRegularExpression(pattern),
                                    QRegularExpression::CaseInsensitiveOption);
        if (re.match(fileName).hasMatch()) return true;
    }
    return false;
}

}  // namespace

PluginManager::PluginManager(QObject* parent) : QObject(parent) {}

PluginManager::~PluginManager()
{
    // In reverse load order, while the application (and its widgets) still exist.
    for (int i = m_plugins.size() - 1; i >= 0; --i) delete m_plugins[i].instance;
}

QStringList PluginManager::defaultFolders()
{
    const QString appDir = QCoreApplication::applicationDirPath();
    QStringList folders{appDir + QStringLiteral("/plugins"), appDir + QStringLiteral("/../plugins")};
    const QString extra = qEnvironmentVariable(PathVariable);
    for (const QString& folder : extra.split(QLatin1Char(':'), Qt::SkipEmptyParts)) folders << folder;
    return folders;
}

int PluginManager::loadFolders(const QStringList& folders)
{
    int loaded = 0;
    for (const QString& folder : folders) {
        const QDir dir(folder);
        if (!dir.exists()) continue;
        Application::logMessage(tr("Looking for layer plug-ins in %1").arg(dir.absolutePath()), Application::Trace);
        const QFileInfoList files = dir.entryInfoList(QDir::Files, QDir::Name);
        for (const QFileInfo& file : files) {
            if (QLibrary::isLibrary(file.fileName()) && loadFile(file.absoluteFilePath())) ++loaded;
        }
    }
    return loaded;
}

bool PluginManager::alreadyLoaded(const QString& canonicalPath) const
{
    for (const Plugin& plugin : m_plugins)
        if (plugin.path == canonicalPath) return true;
    return false;
}

void PluginManager::fail(const QString& message)
{
    m_errors << message;
    Application::logMessage(message, Application::Warning);
}

bool PluginManager::loadFile(const QString& path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty()) {
        fail(tr("The plug-in %1 does not exist.").arg(path));
        return false;
    }
    if (alreadyLoaded(canonical)) return false;  // the same library reached through another folder or a link
    QPluginLoader loader(canonical);
    QObject* instance = loader.instance();
    if (!instance) {
        fail(tr("The plug-in %1 could not be loaded: %2").arg(path, loader.errorString()));
        return false;
    }
    Plugin plugin;
    plugin.path = canonical;
    plugin.instance = instance;
    plugin.info = qobject_cast<ILayerPluginInfo*>(instance);
    plugin.factory = qobject_cast<ILayerPlugin*>(instance);
    plugin.editor = qobject_cast<ILayerEditorPlugin*>(instance);
    plugin.docks = qobject_cast<IDockWidgetProvider*>(instance);
    if (!plugin.info && !plugin.factory && !plugin.editor && !plugin.docks) {
        fail(tr("%1 is a Qt plug-in but not a viewer plug-in: it offers none of the interfaces %2, %3, %4, %5.")
                 .arg(path, QStringLiteral(ILayerPluginInfo_iid), QStringLiteral(ILayerPlugin_iid),
                      QStringLiteral(ILayerEditorPlugin_iid), QStringLiteral(IDockWidgetProvider_iid)));
        return false;
    }
    m_plugins.append(plugin);
    const QString name = plugin.info ? plugin.info->getDescription() : QFileInfo(path).fileName();
    const QString version = plugin.info ? plugin.info->getVersion() : QString();
    Application::logMessage(tr("Loaded plug-in %1 %2 from %3").arg(name, version, path), Application::Info);
    return true;
}

QStringList PluginManager::filterPatterns(const QString& filter)
{
    QStringList patterns;
    static const QRegularExpression group(QStringLiteral("\\(([^)]*)\\)"));
    auto it = group.globalMatch(filter);
    while (it.hasNext()) patterns << it.next().captured(1).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return patterns;
}

bool PluginManager::isAddress(const QString& source)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    return scheme.match(source).hasMatch() && !source.startsWith(QLatin1String("file://"), Qt::CaseInsensitive);
}

QString PluginManager::fileFilter() const
{
    QStringList filters;
    for (const Plugin& plugin : m_plugins)
        if (plugin.info && plugin.factory && plugin.info->isEnabled()) filters << plugin.info->getFileFilter();
    filters << QString::fromLatin1(ImageLayer::FileFilter);
    QStringList all;
    for (const QString& filter : filters) all << filterPatterns(filter);
    all.removeDuplicates();
    filters.prepend(tr("All layers (%1)").arg(all.join(QLatin1Char(' '))));
    filters << tr("All files (*)");
    return filters.join(QStringLiteral(";;"));
}

Map::Layer* PluginManager::tryPlugin(const Plugin& plugin, const QString& source, QString* error)
{
    Map::Layer* layer = plugin.factory->createLayer(false);
    if (!layer) return nullptr;
    if (layer->setDataSource(source)) return layer;
    auto* raster = qobject_cast<Map::RasterLayer*>(layer);
    const QString why = raster ? raster->getLastError() : QString();
    if (!why.isEmpty()) *error = why;
    delete layer;
    return nullptr;
}

Map::Layer* PluginManager::openLayer(const QString& source, QString* error)
{
    QString local = source;
    if (source.startsWith(QLatin1String("file://"), Qt::CaseInsensitive)) local = QUrl(source).toLocalFile();
    const bool address = isAddress(local);
    const QString fileName = QFileInfo(local).fileName();
    QString why;
    bool tried = false;
    for (const Plugin& plugin : m_plugins) {
        if (!plugin.factory || (plugin.info && !plugin.info->isEnabled())) continue;
        if (!address && !(plugin.info && matchesFilter(fileName, plugin.info->getFileFilter()))) continue;
        tried = true;
        if (Map::Layer* layer = tryPlugin(plugin, local, &why)) return layer;
    }
    if (!address && ImageLayer::canRead(local)) {
        auto* layer = new ImageLayer;
        if (layer->setDataSource(local)) return layer;
        why = layer->getLastError();
        tried = true;
        delete layer;
    }
    if (error) {
        if (!tried)
            *error = address ? tr("No layer plug-in can open the address %1.").arg(source)
                             : tr("No layer plug-in reads files like %1.").arg(fileName);
        else
            *error = why.isEmpty() ? tr("%1 could not be opened.").arg(source) : why;
    }
    return nullptr;
}

Map::Layer* PluginManager::createLayer(const QString& className)
{
    if (className == QLatin1String(ImageLayer::staticMetaObject.className())) return new ImageLayer;
    for (const Plugin& plugin : m_plugins)
        if (plugin.info && plugin.factory && plugin.info->getClassName() == className)
            return plugin.factory->createLayer(false);
    return nullptr;
}

const PluginManager::Plugin* PluginManager::pluginOf(Map::Layer* layer) const
{
    if (!layer) return nullptr;
    for (const Plugin& plugin : m_plugins) {
        if (!plugin.info) continue;
        const QByteArray className = plugin.info->getClassName().toLatin1();
        if (!className.isEmpty() && layer->inherits(className.constData())) return &plugin;
    }
    return nullptr;
}

QString PluginManager::layerKind(Map::Layer* layer) const
{
    if (!layer) return QString();
    if (const Plugin* plugin = pluginOf(layer)) return plugin->info->getDescription();
    if (qobject_cast<ImageLayer*>(layer)) return tr("Image");
    auto* raster = qobject_cast<Map::RasterLayer*>(layer);
    return raster ? raster->getFormat() : QString();
}

}  // namespace Korvane
