#include "LayerSummaryPage.h"

#include "HistogramChart.h"

#include "QDGui/GeographicTransform.h"
#include "QDGui/IRasterLayerHistogram.h"
#include "QDGui/Layer.h"
#include "QDGui/PluginManager.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QMetaEnum>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QVBoxLayout>

using Korvane::Map::Layer;
using Korvane::Map::RasterLayer;

namespace {

QString corner(double x, double y)
{
    return QStringLiteral("%1, %2").arg(x, 0, 'g', 12).arg(y, 0, 'g', 12);
}

QString bandText(const QVector<int>& bands)
{
    QStringList parts;
    for (int band : bands) parts << QString::number(band);
    return parts.join(QStringLiteral(", "));
}

}  // namespace

LayerSummaryPage::LayerSummaryPage(const Korvane::PluginManager* plugins, QWidget* parent)
    : QWidget(parent), m_plugins(plugins)
{
    setWindowTitle(tr("Summary"));
    setObjectName(QStringLiteral("layerSummaryPage"));
    auto* layout = new QVBoxLayout(this);
    m_form = new QFormLayout;
    layout->addLayout(m_form);
    m_chart = new HistogramChart(this);
    layout->addWidget(m_chart, 1);
    addRow(QStringLiteral("name"), tr("Name:"));
    addRow(QStringLiteral("source"), tr("Data source:"));
    addRow(QStringLiteral("kind"), tr("Layer type:"));
    addRow(QStringLiteral("format"), tr("Format:"));
    addRow(QStringLiteral("size"), tr("Size (cells):"));
    addRow(QStringLiteral("bands"), tr("Bands:"));
    addRow(QStringLiteral("bandList"), tr("Bands shown:"));
    addRow(QStringLiteral("cellType"), tr("Cell type:"));
    addRow(QStringLiteral("colorSpace"), tr("Colour space:"));
    addRow(QStringLiteral("cellSize"), tr("Cell size:"));
    addRow(QStringLiteral("topLeft"), tr("Top-left corner:"));
    addRow(QStringLiteral("bottomRight"), tr("Bottom-right corner:"));
    addRow(QStringLiteral("crs"), tr("Coordinate system:"));
    addRow(QStringLiteral("rotation"), tr("Rotation:"));
}

void LayerSummaryPage::addRow(const QString& key, const QString& label)
{
    auto* value = new QLabel(this);
    value->setObjectName(key);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setWordWrap(true);
    m_form->addRow(label, value);
}

void LayerSummaryPage::setValue(const QString& key, const QString& value)
{
    if (auto* label = findChild<QLabel*>(key)) label->setText(value);
}

void LayerSummaryPage::clearValues()
{
    for (QLabel* label : findChildren<QLabel*>())
        if (!label->objectName().isEmpty()) label->clear();
}

void LayerSummaryPage::setLayer(Layer* layer)
{
    clearValues();
    m_chart->setHistograms({});
    if (!layer) return;
    setValue(QStringLiteral("name"), layer->displayName());
    setValue(QStringLiteral("source"), layer->getDataSource());
    auto* raster = qobject_cast<RasterLayer*>(layer);
    setValue(QStringLiteral("kind"), m_plugins ? m_plugins->layerKind(layer)
                                     : raster  ? raster->getFormat()
                                               : QString());
    if (!raster) return;
    if (auto* histograms = dynamic_cast<Korvane::Map::IRasterLayerHistogram*>(layer)) {
        const QRectF bounds = raster->getBounds();
        m_chart->setHistograms(histograms->getHistograms(false, true, raster->getSize(), bounds.left(), bounds.top(),
                                                         bounds.right(), bounds.bottom()));
    }
    const QSize size = raster->getSize();
    const QRectF bounds = raster->getBounds();
    setValue(QStringLiteral("format"), raster->getFormat());
    setValue(QStringLiteral("size"), tr("%1 x %2").arg(size.width()).arg(size.height()));
    setValue(QStringLiteral("bands"), QString::number(raster->getNumberOfBands()));
    setValue(QStringLiteral("bandList"), bandText(raster->getBandList()));
    setValue(QStringLiteral("cellType"), raster->getCellType());
    setValue(QStringLiteral("colorSpace"),
             QString::fromLatin1(QMetaEnum::fromType<RasterLayer::ColorSpace>().valueToKey(raster->getColorSpace())));
    setValue(QStringLiteral("cellSize"), corner(raster->getCellSizeX(), raster->getCellSizeY()));
    setValue(QStringLiteral("topLeft"), corner(bounds.left(), bounds.top()));
    setValue(QStringLiteral("bottomRight"), corner(bounds.left() + bounds.width(), bounds.top() + bounds.height()));
    const Korvane::Map::GeographicTransform geo(raster->crs().epsg());
    setValue(QStringLiteral("crs"),
             geo.isValid() ? tr("%1 (%2)").arg(raster->getCoordSysName(), geo.name()) : raster->getCoordSysName());
    setValue(QStringLiteral("rotation"), tr("%1°").arg(raster->getRotation()));
}

void LayerSummaryPage::apply()
{
    // Read-only: nothing to write back.
}
