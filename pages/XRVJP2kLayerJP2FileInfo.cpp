#include "XRVJP2kLayerJP2FileInfo.h"
#include "ui_XRVJP2kLayerJP2FileInfo.h"

#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QLineEdit>

namespace {

const QChar kLineEnd(13);  // the clipboard text has always used bare carriage returns

// Marker flags are shown as the plain words, never translated.
QString flagText(bool flag)
{
    return flag ? QStringLiteral("true") : QStringLiteral("false");
}

QString sizeText(const QSize& size)
{
    return QStringLiteral("%1 x %2").arg(size.width()).arg(size.height());
}

// Long values read from their beginning when a field is narrower than its text.
void showFromStart(QWidget* page)
{
    for (QLineEdit* field : page->findChildren<QLineEdit*>()) field->setCursorPosition(0);
}

}  // namespace

XRVJP2kLayerJP2FileInfo::XRVJP2kLayerJP2FileInfo(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2kLayerJP2FileInfo)
{
    ui->setupUi(this);
    connect(ui->copyToClipboard, &QPushButton::clicked, this, &XRVJP2kLayerJP2FileInfo::copyToClipboard);
    m_layer = nullptr;
}

XRVJP2kLayerJP2FileInfo::~XRVJP2kLayerJP2FileInfo() = default;

void XRVJP2kLayerJP2FileInfo::setLayer(Korvane::Map::Layer* pLayer)
{
    if (!pLayer) return;
    m_layer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    Korvane::XRVJP2kLayer::Jp2FileInfo info{};
    if (!readHeader(info)) return;
    showHeader(info);
    showFromStart(this);
}

bool XRVJP2kLayerJP2FileInfo::readHeader(Korvane::XRVJP2kLayer::Jp2FileInfo& info)
{
    return m_layer && m_layer->getFileType() == PLK_FILE_JPEG2000 && m_layer->getJp2FileInfo(info);
}

// The code-block label reads "(Y,X)" while the value is written width first like every other
// size on the page; both are kept as users know them.
void XRVJP2kLayerJP2FileInfo::showHeader(const Korvane::XRVJP2kLayer::Jp2FileInfo& info)
{
    ui->Comments->setText(info.comments);
    ui->Profile->setText(QStringLiteral("%1").arg(info.profile));
    ui->tileDimensions->setText(sizeText(info.numberOfTiles));
    ui->tileSizes->setText(sizeText(info.tileSize));
    ui->precinctSizesX->setText(info.precinctSizesX);
    ui->precinctSizesY->setText(info.precinctSizesY);
    ui->codeBlockSize->setText(sizeText(info.codeBlockSize));
    ui->bitDepth->setText(info.bitDepths);
    ui->resolutionLevels->setText(QStringLiteral("%1").arg(info.resolutionLevels));
    ui->qualityLayers->setText(QStringLiteral("%1").arg(info.qualityLayers));
    ui->progressionOrder->setText(info.progressionOrder);
    ui->DWTfilter->setText(info.filter);
    ui->useSOP->setText(flagText(info.useSOP));
    ui->useEPH->setText(flagText(info.useEPH));
    ui->useGML->setText(flagText(info.hasGML));
}

// An image that is not JPEG 2000 puts an empty text on the clipboard.
void XRVJP2kLayerJP2FileInfo::copyToClipboard()
{
    if (!m_layer) return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard) return;
    Korvane::XRVJP2kLayer::Jp2FileInfo info{};
    clipboard->setText(readHeader(info) ? clipboardText(info) : QString());
}

QString XRVJP2kLayerJP2FileInfo::clipboardText(const Korvane::XRVJP2kLayer::Jp2FileInfo& info)
{
    const QStringList lines{
        tr("Comments = %1").arg(info.comments),
        tr("Profile = %1").arg(info.profile),
        tr("Tiles Dimensions (X,Y) = %1 x %2").arg(info.numberOfTiles.width()).arg(info.numberOfTiles.height()),
        tr("Tile Width = %1").arg(info.tileSize.width()),
        tr("Tile Height = %1").arg(info.tileSize.height()),
        tr("Precinct Sizes on X axis = %1").arg(info.precinctSizesX),
        tr("Precinct Sizes on Y axis = %1").arg(info.precinctSizesY),
        tr("Code Block Dimensions (X,Y) = %1 x %2").arg(info.codeBlockSize.width()).arg(info.codeBlockSize.height()),
        tr("Band Bit Depths = %1").arg(info.bitDepths),
        tr("Resolution Levels = %1").arg(info.resolutionLevels),
        tr("Quality Layers = %1").arg(info.qualityLayers),
        tr("Progression Order = %1").arg(info.progressionOrder),
        tr("Filter = %1").arg(info.filter),
        tr("SOP Markers = %1").arg(flagText(info.useSOP)),
        tr("EPH Markers = %1").arg(flagText(info.useEPH)),
        tr("GML in JP2 = %1").arg(flagText(info.hasGML)),
    };
    QString text;
    for (const QString& line : lines) text += line + kLineEnd;
    return text;
}

void XRVJP2kLayerJP2FileInfo::apply()
{
    // Nothing to write back: the page only shows the code-stream's parameters.
}
