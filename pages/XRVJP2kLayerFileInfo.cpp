#include "XRVJP2kLayerFileInfo.h"
#include "ui_XRVJP2kLayerFileInfo.h"

#include <QtCore/QFileInfo>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QLineEdit>

#include "QDGui/StringUtil.h"
#include "XRVJP2kLayer.h"

namespace {

const QChar kLineEnd(13);  // the clipboard text has always used bare carriage returns

int bytesPerCell(PLKCellType type)
{
    switch (type) {
        case PLK_CELL_UINT16:
        case PLK_CELL_INT16:
            return 2;
        case PLK_CELL_UINT32:
        case PLK_CELL_INT32:
        case PLK_CELL_IEEE4:
            return 4;
        case PLK_CELL_UINT64:
        case PLK_CELL_INT64:
        case PLK_CELL_IEEE8:
            return 8;
        default:
            return 1;
    }
}

// Technical unit names, not translated.
QString unitsText(PLKCellSizeUnits units)
{
    switch (units) {
        case PLK_UNITS_INVALID:
            return QStringLiteral("Invalid");
        case PLK_UNITS_METERS:
            return QStringLiteral("Meters");
        case PLK_UNITS_DEGREES:
            return QStringLiteral("Degrees");
        case PLK_UNITS_FEET:
            return QStringLiteral("Feet");
        default:
            return QStringLiteral("Unknown");
    }
}

quint64 uncompressedBytes(const PLKFileInfo& info)
{
    return quint64(bytesPerCell(info.eCellType)) * info.nBands * info.nSizeY * info.nSizeX;
}

QString uncompressedSizeText(const PLKFileInfo& info)
{
    return Korvane::Util::String::formatFileSize(uncompressedBytes(info), "%2.2f");
}

QString wide(const wchar_t* text)
{
    return text ? QString::fromWCharArray(text) : QString();
}

// Fills a field only when the engine has the text; otherwise the field keeps what it shows.
void showIfPresent(QLineEdit* field, const wchar_t* text)
{
    if (text) field->setText(wide(text));
}

// Long values read from their beginning when a field is narrower than its text.
void showFromStart(QWidget* page)
{
    for (QLineEdit* field : page->findChildren<QLineEdit*>()) field->setCursorPosition(0);
}

}  // namespace

XRVJP2kLayerFileInfo::XRVJP2kLayerFileInfo(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2kLayerFileInfo)
{
    ui->setupUi(this);
    connect(ui->copyToClipboard, &QPushButton::clicked, this, &XRVJP2kLayerFileInfo::copyToClipboard);
}

XRVJP2kLayerFileInfo::~XRVJP2kLayerFileInfo() = default;

void XRVJP2kLayerFileInfo::setLayer(Korvane::Map::Layer* pLayer)
{
    if (!pLayer) return;
    m_layer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    if (!m_layer) return;
    const PLKFileInfo* info = m_layer->getFileInfo();
    if (!info) return;

    showVersions(*info);
    showGeoreference(*info);
    showSizes(*info);
    showCompression(*info);
    showBlockSize();
    if (info->pFileMetaData) showAuthoring(*info->pFileMetaData);
    showFromStart(this);
}

void XRVJP2kLayerFileInfo::showVersions(const PLKFileInfo& info)
{
    const int streamVersion = m_layer->getXRVPVersion();
    ui->xrvpVersion->setText(streamVersion != 0 ? QString::number(streamVersion) : QStringLiteral("Local file"));
    ui->fileFormatVersion->setText(QStringLiteral("%1").arg(int(info.nFormatVersion)));
}

void XRVJP2kLayerFileInfo::showGeoreference(const PLKFileInfo& info)
{
    ui->gdtDatum->setText(QString::fromUtf8(info.szDatum));
    ui->gdtProjection->setText(QString::fromUtf8(info.szProjection));
    ui->gdtUnits->setText(unitsText(info.eCellSizeUnits));
}

void XRVJP2kLayerFileInfo::showSizes(const PLKFileInfo& info)
{
    ui->compressedSize->setText(m_layer->getSizeOnDisk());
    ui->uncompressedSize->setText(uncompressedSizeText(info));
}

void XRVJP2kLayerFileInfo::showCompression(const PLKFileInfo& info)
{
    ui->targetCompress->setText(QStringLiteral("%1 : 1").arg(info.nCompressionRate));
    ui->actualCompress->setText(actualCompressionText(uncompressedBytes(info)));
    ui->compressDate->setText(QString::fromUtf8(info.szCompressionDate));
}

// The ratio of the whole image's cells to the bytes of the local file, in whole numbers. A
// stream has no local file to measure, and a file that reads as empty (removed since it was
// opened) has no meaningful ratio.
QString XRVJP2kLayerFileInfo::actualCompressionText(quint64 uncompressed)
{
    if (m_layer->getXRVPVersion() != 0) return tr("Unknown");
    const quint64 onDisk = quint64(qMax<qint64>(0, QFileInfo(m_layer->getDataSource()).size()));
    if (onDisk == 0) return tr("Unknown");
    return QStringLiteral("%1 : 1").arg(uncompressed / onDisk);
}

// Only XRV files are coded in blocks; JPEG 2000 tiling is shown on the header page.
void XRVJP2kLayerFileInfo::showBlockSize()
{
    const PLK::CView* view = m_layer->getFile();
    if (m_layer->getFileType() == PLK_FILE_XRV && view) {
        const PLK::ViewMetadata::Size size = view->XRVMetadata().Blocksize();
        ui->blockSize->setText(QStringLiteral("%1 , %2").arg(size.width).arg(size.height));
        return;
    }
    ui->blockSize->clear();
    ui->blockSize->setPlaceholderText(tr("Not valid for .jp2 files"));
}

void XRVJP2kLayerFileInfo::showAuthoring(const PLKFileMetaData& meta)
{
    showIfPresent(ui->classification, meta.sClassification);
    showIfPresent(ui->acquisitionDate, meta.sAcquisitionDate);
    showIfPresent(ui->acquisitionSensorName, meta.sAcquisitionSensorName);
    showIfPresent(ui->compressionSoftware, meta.sCompressionSoftware);
    showIfPresent(ui->author, meta.sAuthor);
    showIfPresent(ui->copyright, meta.sCopyright);
    showIfPresent(ui->company, meta.sCompany);
    showIfPresent(ui->email, meta.sEmail);
    showIfPresent(ui->address, meta.sAddress);
    showIfPresent(ui->telephone, meta.sTelephone);
}

void XRVJP2kLayerFileInfo::copyToClipboard()
{
    if (!m_layer) return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard) return;
    const PLKFileInfo* info = m_layer->getFileInfo();
    clipboard->setText(info ? clipboardText(*info) : QString());
}

// The stream version goes out as the character with that code rather than as digits; this
// is how the text has always been written and readers of it expect it, so it is kept.
QString XRVJP2kLayerFileInfo::clipboardVersionText()
{
    const int streamVersion = m_layer->getXRVPVersion();
    return streamVersion != 0 ? QString(QChar(streamVersion)) : tr("Local file");
}

QString XRVJP2kLayerFileInfo::clipboardText(const PLKFileInfo& info)
{
    const QString actualRatio = info.fActualCompressionRate > 0.0f
                                    ? QStringLiteral("%1:1").arg(double(info.fActualCompressionRate), 0, 'f', 2)
                                    : tr("Unknown");
    QStringList lines;
    lines << tr("XRVP Version = %1").arg(clipboardVersionText())
          << tr("Format Version = %1").arg(int(info.nFormatVersion))
          << tr("GDT Datum = %1").arg(QString::fromUtf8(info.szDatum))
          << tr("GDT Projection = %1").arg(QString::fromUtf8(info.szProjection))
          << tr("GDT Units = %1").arg(unitsText(info.eCellSizeUnits))
          << tr("Compressed Size = %1").arg(m_layer->getSizeOnDisk())
          << tr("Uncompressed Size = %1").arg(uncompressedSizeText(info))
          << tr("Target Compression Rate = %1:1").arg(info.nCompressionRate)
          << tr("Actual Compression Ratio = %1").arg(actualRatio)
          << tr("Compression Date = %1").arg(QString::fromUtf8(info.szCompressionDate));
    if (const PLKFileMetaData* meta = info.pFileMetaData) {
        lines << tr("Classification = %1").arg(wide(meta->sClassification))
              << tr("Acquisition Date = %1").arg(wide(meta->sAcquisitionDate))
              << tr("Acquisition Sensor Name = %1").arg(wide(meta->sAcquisitionSensorName))
              << tr("Compression Software = %1").arg(wide(meta->sCompressionSoftware))
              << tr("Author = %1").arg(wide(meta->sAuthor)) << tr("Copyright = %1").arg(wide(meta->sCopyright))
              << tr("Company = %1").arg(wide(meta->sCompany)) << tr("Email = %1").arg(wide(meta->sEmail))
              << tr("Address = %1").arg(wide(meta->sAddress)) << tr("Telephone = %1").arg(wide(meta->sTelephone));
    }
    QString text;
    for (const QString& line : lines) text += line + kLineEnd;
    return text;
}

void XRVJP2kLayerFileInfo::apply()
{
    // Nothing to write back: the page only shows the file's facts.
}
