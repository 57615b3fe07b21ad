#include "QDGui/Layer.h"

#include "LayerRefreshQueue.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QMetaProperty>
#include <QtCore/QUuid>
#include <QtGui/QColor>
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

const QString DisplayTag = QStringLiteral("display");
const QString PropertyTag = QStringLiteral("property");

QString bandsText(const QVector<int>& bands)
{
    QStringList parts;
    for (int band : bands) parts << QString::number(band);
    return parts.join(QLatin1Char(','));
}

QVector<int> parseBands(const QString& text, bool* ok)
{
    QVector<int> bands;
    *ok = true;
    for (const QString& part : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool partOk = false;
        bands << part.trimmed().toInt(&partOk);
        *ok = *ok && partOk;
    }
    return bands;
}

// A layer's own settings as text, or a null string for values a project cannot hold.
QString propertyText(const QMetaProperty& property, const QVariant& value)
{
    if (property.isEnumType()) return QString::number(value.toInt());
    if (value.userType() == QMetaType::QColor) return value.value<QColor>().name(QColor::HexArgb);
    if (value.userType() == qMetaTypeId<QVector<int>>()) return bandsText(value.value<QVector<int>>());
    if (value.canConvert<QString>()) return value.toString();
    return QString();
}

bool writePropertyText(QObject* object, const QMetaProperty& property, const QString& text)
{
    if (property.isEnumType()) return property.write(object, text.toInt());
    if (property.userType() == qMetaTypeId<QVector<int>>()) {
        bool ok = false;
        const QVector<int> bands = parseBands(text, &ok);
        return ok && property.write(object, QVariant::fromValue(bands));
    }
    return property.write(object, text);
}

// The settings a raster layer's class adds as stored, writable Qt properties (outline,
// resampling, quality layers...), then what every raster layer has: transparency, contrast,
// brightness and the bands shown.
void writeDisplay(Layer* layer, QDomNode& node, QDomDocument& document)
{
    const QMetaObject* meta = layer->metaObject();
    for (int i = Layer::staticMetaObject.propertyCount(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (!property.isReadable() || !property.isWritable() || !property.isStored()) continue;
        const QString text = propertyText(property, property.read(layer));
        if (text.isNull()) continue;
        QDomElement element = document.createElement(PropertyTag);
        element.setAttribute(QStringLiteral("name"), QString::fromLatin1(property.name()));
        element.setAttribute(QStringLiteral("value"), text);
        node.appendChild(element);
    }
    auto* raster = qobject_cast<RasterLayer*>(layer);
    if (!raster) return;
    QDomElement display = document.createElement(DisplayTag);
    display.setAttribute(QStringLiteral("transparency"), QString::number(raster->getTransparency(), 'g', 17));
    display.setAttribute(QStringLiteral("contrast"), QString::number(raster->getContrast(), 'g', 17));
    display.setAttribute(QStringLiteral("brightness"), QString::number(raster->getBrightness(), 'g', 17));
    display.setAttribute(QStringLiteral("bands"), bandsText(raster->getBandList()));
    node.appendChild(display);
}

// In the order written; the common settings come last, so that whatever a class-specific
// setting reopens or resets is overwritten with what the user had.
void readDisplay(Layer* layer, const QDomNode& node)
{
    const QMetaObject* meta = layer->metaObject();
    for (QDomElement element = node.firstChildElement(PropertyTag); !element.isNull();
         element = element.nextSiblingElement(PropertyTag)) {
        const int index = meta->indexOfProperty(element.attribute(QStringLiteral("name")).toLatin1().constData());
        if (index < Layer::staticMetaObject.propertyCount()) continue;
        const QMetaProperty property = meta->property(index);
        if (property.isWritable()) writePropertyText(layer, property, element.attribute(QStringLiteral("value")));
    }
    auto* raster = qobject_cast<RasterLayer*>(layer);
    const QDomElement display = node.firstChildElement(DisplayTag);
    if (!raster || display.isNull()) return;
    bool ok = false;
    const QVector<int> bands = parseBands(display.attribute(QStringLiteral("bands")), &ok);
    if (ok && !bands.isEmpty()) raster->setBandList(bands);
    const double transparency = display.attribute(QStringLiteral("transparency")).toDouble(&ok);
    if (ok) raster->setTransparency(transparency);
    const double contrast = display.attribute(QStringLiteral("contrast")).toDouble(&ok);
    if (ok) raster->setContrast(contrast);
    const double brightness = display.attribute(QStringLiteral("brightness")).toDouble(&ok);
    if (ok) raster->setBrightness(brightness);
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
    writeDisplay(this, node, document);
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
    readDisplay(this, node);
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
