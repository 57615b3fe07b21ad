#include "QDGui/Layer.h"

#include "LayerRefreshQueue.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QUuid>
#include <QtXml/QDomDocument>
#include <QtXml/QDomElement>

namespace Korvane {
namespace Map {

namespace {

const QString DataSourceTag = QStringLiteral("datasource");
const QString VisibleTag = QStringLiteral("visible");
const QString UidTag = QStringLiteral("uid");
const QString CommentsTag = QStringLiteral("comments");
const QString DescriptionTag = QStringLiteral("description");

void appendTextElement(QDomNode& parent, QDomDocument& document, const QString& tag, const QString& text)
{
    QDomElement element = document.createElement(tag);
    element.appendChild(document.createTextNode(text));
    parent.appendChild(element);
}

QString childText(const QDomNode& parent, const QString& tag, const QString& fallback = QString())
{
    const QDomElement element = parent.firstChildElement(tag);
    return element.isNull() ? fallback : element.text();
}

bool isAddress(const QString& source)
{
    return source.contains(QLatin1String("://"));
}

}  // namespace

Layer::Layer(QObject* parent)
    : QObject(parent), m_uid(QUuid::createUuid().toString(QUuid::WithoutBraces)), m_refreshQueue(new LayerRefreshQueue)
{}

Layer::~Layer() = default;

QString Layer::getDataSource()
{
    return m_dataSource;
}

bool Layer::setDataSource(QString source)
{
    m_dataSource = source;
    return true;
}

QIcon Layer::getIcon()
{
    return QIcon();
}

bool Layer::isVisible()
{
    return m_visible;
}

void Layer::setVisible(bool visible)
{
    if (m_visible == visible) return;
    m_visible = visible;
    refresh(0, 0, 0, 0);
}

QString Layer::getUid()
{
    return m_uid;
}

QString Layer::getComments()
{
    return m_comments;
}

void Layer::setComments(QString comments)
{
    m_comments = comments;
}

QString Layer::getDescription()
{
    return m_description;
}

void Layer::setDescription(QString description)
{
    m_description = description;
}

QString Layer::displayName()
{
    const QString description = getDescription();
    if (!description.isEmpty()) return description;
    const QString source = getDataSource();
    if (isAddress(source)) return source;
    const QString fileName = QFileInfo(source).fileName();
    return fileName.isEmpty() ? tr("Unnamed layer") : fileName;
}

bool Layer::writeXML(QDomNode& node, QDomDocument& document)
{
    appendTextElement(node, document, DataSourceTag, getDataSource());
    appendTextElement(node, document, VisibleTag, isVisible() ? QStringLiteral("1") : QStringLiteral("0"));
    appendTextElement(node, document, UidTag, getUid());
    appendTextElement(node, document, CommentsTag, getComments());
    appendTextElement(node, document, DescriptionTag, getDescription());
    return true;
}

bool Layer::readXML(QDomNode& node, QDir& projectDir, QString* error)
{
    QString source = childText(node, DataSourceTag);
    if (source.isEmpty()) {
        if (error) *error = tr("The project names no data source for this layer.");
        return false;
    }
    if (!isAddress(source) && QFileInfo(source).isRelative())
        source = QDir::cleanPath(projectDir.absoluteFilePath(source));
    if (!setDataSource(source)) {
        if (error) {
            auto* raster = qobject_cast<RasterLayer*>(this);
            const QString why = raster ? raster->getLastError() : QString();
            *error = why.isEmpty() ? tr("%1 could not be opened.").arg(source)
                                   : tr("%1 could not be opened: %2").arg(source, why);
        }
        return false;
    }
    const QString uid = childText(node, UidTag);
    if (!uid.isEmpty()) m_uid = uid;
    setComments(childText(node, CommentsTag));
    const QDomElement description = node.firstChildElement(DescriptionTag);
    if (!description.isNull() && !description.text().isEmpty()) setDescription(description.text());
    setVisible(childText(node, VisibleTag, QStringLiteral("1")) != QLatin1String("0"));
    return true;
}

void Layer::refresh(double x1, double y1, double x2, double y2)
{
    if (m_refreshQueue->push(LayerRefreshQueue::Area{x1, y1, x2, y2}))
        QMetaObject::invokeMethod(this, "deliverRefreshes", Qt::QueuedConnection);
}

void Layer::deliverRefreshes()
{
    for (const LayerRefreshQueue::Area& area : m_refreshQueue->take())
        emit refreshRequested(area.x1, area.y1, area.x2, area.y2);
}

}  // namespace Map
}  // namespace Korvane
