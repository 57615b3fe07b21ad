#include "ProjectFile.h"

#include "QDGui/Layer.h"
#include "QDGui/MapView.h"
#include "QDGui/PluginManager.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtXml/QDomDocument>

using Korvane::Map::Layer;
using Korvane::Map::MapView;

namespace {
const QString RootTag = QStringLiteral("qdviewer-project");
const QString ViewTag = QStringLiteral("mapview");
const QString LayerTag = QStringLiteral("layer");
}  // namespace

QByteArray ProjectFile::toXml(const QList<View>& views, bool withExtents)
{
    QDomDocument document;
    document.appendChild(document.createProcessingInstruction(QStringLiteral("xml"),
                                                              QStringLiteral("version=\"1.0\" encoding=\"UTF-8\"")));
    QDomElement root = document.createElement(RootTag);
    root.setAttribute(QStringLiteral("version"), 1);
    document.appendChild(root);
    for (const View& entry : views) {
        MapView* view = entry.view;
        QDomElement element = document.createElement(ViewTag);
        element.setAttribute(QStringLiteral("title"), entry.title);
        element.setAttribute(QStringLiteral("active"), entry.active ? 1 : 0);
        if (withExtents) {
            element.setAttribute(QStringLiteral("centerX"), QString::number(view->viewport().center().x(), 'g', 17));
            element.setAttribute(QStringLiteral("centerY"), QString::number(view->viewport().center().y(), 'g', 17));
            element.setAttribute(QStringLiteral("unitsPerPixel"), QString::number(view->unitsPerPixel(), 'g', 17));
        }
        for (Layer* layer : view->layers()) {
            QDomElement layerElement = document.createElement(LayerTag);
            layerElement.setAttribute(QStringLiteral("class"), QString::fromLatin1(layer->metaObject()->className()));
            layerElement.setAttribute(QStringLiteral("active"), layer == view->activeLayer() ? 1 : 0);
            layer->writeXML(layerElement, document);
            element.appendChild(layerElement);
        }
        root.appendChild(element);
    }
    return document.toByteArray(2);
}

bool ProjectFile::save(const QString& path, const QList<View>& views, QString* error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(toXml(views)) < 0 || !file.commit()) {
        *error = tr("The project %1 could not be written: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool ProjectFile::load(const QString& path, Korvane::PluginManager* plugins, QList<View>* views, QString* error,
                       QStringList* warnings)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = tr("The project %1 could not be opened: %2").arg(path, file.errorString());
        return false;
    }
    QDomDocument document;
    QString message;
    int line = 0;
    if (!document.setContent(&file, &message, &line)) {
        *error = tr("%1 is not a project file: %2 (line %3).").arg(path, message).arg(line);
        return false;
    }
    const QDomElement root = document.documentElement();
    if (root.tagName() != RootTag) {
        *error = tr("%1 is not a project file of this viewer.").arg(path);
        return false;
    }
    for (QDomElement element = root.firstChildElement(ViewTag); !element.isNull();
         element = element.nextSiblingElement(ViewTag))
        views->append(loadView(element, path, plugins, warnings));
    return true;
}

ProjectFile::View ProjectFile::loadView(const QDomElement& element, const QString& projectPath,
                                        Korvane::PluginManager* plugins, QStringList* warnings)
{
    View result;
    result.view = new MapView;
    result.title = element.attribute(QStringLiteral("title"));
    result.active = element.attribute(QStringLiteral("active")) == QLatin1String("1");
    QDir projectDir = QFileInfo(projectPath).absoluteDir();
    Layer* active = nullptr;
    for (QDomElement layerElement = element.firstChildElement(LayerTag); !layerElement.isNull();
         layerElement = layerElement.nextSiblingElement(LayerTag)) {
        const QString className = layerElement.attribute(QStringLiteral("class"));
        Layer* layer = plugins->createLayer(className);
        if (!layer) {
            *warnings << tr("No plug-in makes layers of the kind %1; the layer is left out.").arg(className);
            continue;
        }
        QString why;
        QDomNode node = layerElement;
        if (!layer->readXML(node, projectDir, &why)) {
            *warnings << why;
            delete layer;
            continue;
        }
        result.view->addLayer(layer, -1);
        if (layerElement.attribute(QStringLiteral("active")) == QLatin1String("1")) active = layer;
    }
    if (active) result.view->setActiveLayer(active);
    bool okX = false, okY = false, okScale = false;
    const double cx = element.attribute(QStringLiteral("centerX")).toDouble(&okX);
    const double cy = element.attribute(QStringLiteral("centerY")).toDouble(&okY);
    const double scale = element.attribute(QStringLiteral("unitsPerPixel")).toDouble(&okScale);
    if (okX && okY && okScale && scale > 0.0) result.view->setCenterAndScale(QPointF(cx, cy), scale);
    return result;
}
