#include "XRVJP2kLayerStatistics.h"
#include "ui_XRVJP2kLayerStatistics.h"

#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QLineEdit>

#include "XRVJP2kLayer.h"

namespace {

const QChar kLineEnd(13);  // the page's texts have always used bare carriage returns
// The engine's name of an opacity band; it has no statistics worth choosing.
const QString kOpacityBand = QStringLiteral("AllOpacity");

QString valueText(float value)
{
    return QStringLiteral("%1").arg(double(value), 0, 'f', 4);
}

QString histogramText(const PLKBandStatistics& stats)
{
    if (!stats.Histogram) return QString();
    QStringList counts;
    counts.reserve(int(stats.nHistBucketCount));
    for (uint32_t i = 0; i < stats.nHistBucketCount; ++i) counts << QString::number(stats.Histogram[i]);
    return counts.join(QLatin1Char(','));
}

// Long values read from their beginning when a field is narrower than its text.
void showFromStart(QWidget* page)
{
    for (QLineEdit* field : page->findChildren<QLineEdit*>()) field->setCursorPosition(0);
}

}  // namespace

XRVJP2kLayerStatistics::XRVJP2kLayerStatistics(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2kLayerStatistics)
{
    ui->setupUi(this);
    connect(ui->bandComboBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &XRVJP2kLayerStatistics::onBandChange);
    connect(ui->copyToClipboard, &QPushButton::clicked, this, &XRVJP2kLayerStatistics::copyToClipboard);
}

XRVJP2kLayerStatistics::~XRVJP2kLayerStatistics()
{
    PLKFreeStatistics(m_statistics);
}

void XRVJP2kLayerStatistics::setLayer(Korvane::Map::Layer* pLayer)
{
    auto* layer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    if (!layer) return;
    listBands(*layer);
    replaceStatistics(layer->getStatistics());
    showBand(0);
}

// The combo box lists every band but the opacity band, by the engine's band names.
void XRVJP2kLayerStatistics::listBands(Korvane::XRVJP2kLayer& layer)
{
    m_bandCount = layer.getNumberOfBands();
    const QList<QString> names = layer.getBandDescriptions();
    ui->bandComboBox->clear();
    for (int band = 0; band < m_bandCount; ++band) {
        const QString name = names.value(band);
        if (name != kOpacityBand) ui->bandComboBox->addItem(name);
    }
}

// The page holds one record at a time; the one it replaces goes back to the engine.
void XRVJP2kLayerStatistics::replaceStatistics(PLKFileStatistics* statistics)
{
    PLKFreeStatistics(m_statistics);
    m_statistics = statistics;
}

void XRVJP2kLayerStatistics::apply()
{
    // Nothing to write back: the page only shows the statistics.
}

// The combo index is taken as the band index on purpose: the two agree because the opacity
// band, the one band left out of the list, comes after the colour bands.
void XRVJP2kLayerStatistics::onBandChange(int index)
{
    if (ui->bandComboBox->itemText(index) == kOpacityBand) return;
    showBand(index);
}

const PLKBandStatistics* XRVJP2kLayerStatistics::bandStatistics(int band) const
{
    if (!m_statistics || !m_statistics->BandsStats) return nullptr;
    if (band < 0 || uint32_t(band) >= m_statistics->nNumberOfBands) return nullptr;
    return &m_statistics->BandsStats[band];
}

void XRVJP2kLayerStatistics::showBand(int band)
{
    const PLKBandStatistics* stats = bandStatistics(band);
    if (!stats) return;
    ui->mode->setText(valueText(stats->fMode));
    ui->median->setText(valueText(stats->fMedianVal));
    ui->mean->setText(valueText(stats->fMeanVal));
    ui->stddev->setText(valueText(stats->fStandardDev));
    ui->min->setText(valueText(stats->fMinVal));
    ui->max->setText(valueText(stats->fMaxVal));
    ui->histogramText->setPlainText(histogramText(*stats) + kLineEnd);
    showFromStart(this);
}

void XRVJP2kLayerStatistics::copyToClipboard()
{
    if (!m_statistics) return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard) clipboard->setText(clipboardText());
}

// Bands the record does not reach have nothing to copy and are left out.
QString XRVJP2kLayerStatistics::clipboardText()
{
    QString text;
    for (int band = 0; band < m_bandCount; ++band) {
        if (const PLKBandStatistics* stats = bandStatistics(band)) text += bandClipboardText(band, *stats);
    }
    return text;
}

// Each band's block repeats that band's own histogram once for every band of the record,
// numbered 0, 1, 2 and so on rather than by the band. This is how the text has always been
// written; the repetition is deliberate and kept.
QString XRVJP2kLayerStatistics::bandClipboardText(int band, const PLKBandStatistics& stats)
{
    QString text = tr("Band #%1").arg(band) + kLineEnd;
    text += tr("mode = %1").arg(valueText(stats.fMode)) + kLineEnd;
    text += tr("median = %1").arg(valueText(stats.fMedianVal)) + kLineEnd;
    text += tr("mean = %1").arg(valueText(stats.fMeanVal)) + kLineEnd;
    text += tr("stddev = %1").arg(valueText(stats.fStandardDev)) + kLineEnd;
    text += tr("min = %1").arg(valueText(stats.fMinVal)) + kLineEnd;
    text += tr("max = %1").arg(valueText(stats.fMaxVal)) + kLineEnd;
    const QString histogram = histogramText(stats);
    for (uint32_t h = 0; h < m_statistics->nNumberOfBands; ++h)
        text += tr("Histogram Band #%1 = ").arg(h) + histogram + kLineEnd;
    return text;
}
