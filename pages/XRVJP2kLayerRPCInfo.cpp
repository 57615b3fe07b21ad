#include "XRVJP2kLayerRPCInfo.h"
#include "ui_XRVJP2kLayerRPCInfo.h"

#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QLineEdit>

#include "XRVJP2kLayer.h"

namespace {

const QChar kLineEnd(13);  // the clipboard's value lines end in bare carriage returns
const int kCoefficientCount = 20;

QString valueText(double value)
{
    return QStringLiteral("%1").arg(value, 0, 'f', 6);
}

// One block: its heading, then the twenty coefficients as "value, ". The comma after the
// last one becomes a line feed, which leaves the blank after it: every block ends in "\n ".
QString coefficientBlock(const QString& heading, const double* coefficients)
{
    QString block = heading;
    for (int i = 0; i < kCoefficientCount; ++i) block += QStringLiteral("%1, ").arg(coefficients[i], 0, 'f', 6);
    block[block.size() - 2] = QLatin1Char('\n');
    return block;
}

// Long values read from their beginning when a field is narrower than its text.
void showFromStart(QWidget* page)
{
    for (QLineEdit* field : page->findChildren<QLineEdit*>()) field->setCursorPosition(0);
}

}  // namespace

XRVJP2kLayerRPCInfo::XRVJP2kLayerRPCInfo(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2kLayerRPCInfo)
{
    ui->setupUi(this);
    connect(ui->copyToClipboard, &QPushButton::clicked, this, &XRVJP2kLayerRPCInfo::copyToClipboard);
    m_rpc = nullptr;
}

XRVJP2kLayerRPCInfo::~XRVJP2kLayerRPCInfo()
{
    PLKFreeRPCData(m_rpc);
}

void XRVJP2kLayerRPCInfo::setLayer(Korvane::Map::Layer* pLayer)
{
    auto* layer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    if (!layer) return;
    replaceRecord(layer->getRPCInfo());
    if (m_rpc) showRecord(*m_rpc);
}

// The page holds one record at a time; the one it replaces goes back to the engine.
void XRVJP2kLayerRPCInfo::replaceRecord(PLKRPCData* rpc)
{
    PLKFreeRPCData(m_rpc);
    m_rpc = rpc;
}

QString XRVJP2kLayerRPCInfo::coefficientText(const PLKRPCData& rpc)
{
    return coefficientBlock(tr("Line Numerator Coefficients:\n"), rpc.LINE_NUM_COEFF) +
           coefficientBlock(tr("Line Denominator Coefficients:\n"), rpc.LINE_DEN_COEFF) +
           coefficientBlock(tr("Sample Numerator Coefficients:\n"), rpc.SAMP_NUM_COEFF) +
           coefficientBlock(tr("Sample Denominator Coefficients:\n"), rpc.SAMP_DEN_COEFF);
}

void XRVJP2kLayerRPCInfo::showRecord(const PLKRPCData& rpc)
{
    ui->errorBias->setText(valueText(rpc.ERR_BIAS));
    ui->errorRandom->setText(valueText(rpc.ERR_RAND));
    ui->lineOffset->setText(valueText(rpc.LINE_OFF));
    ui->lineScale->setText(valueText(rpc.LINE_SCALE));
    ui->latitudeOffset->setText(valueText(rpc.LAT_OFF));
    ui->latitudeScale->setText(valueText(rpc.LAT_SCALE));
    ui->longitudeOffset->setText(valueText(rpc.LONG_OFF));
    ui->longitudeScale->setText(valueText(rpc.LONG_SCALE));
    ui->heightOffset->setText(valueText(rpc.HEIGHT_OFF));
    ui->heightScale->setText(valueText(rpc.HEIGHT_SCALE));
    ui->sampleOffset->setText(valueText(rpc.SAMP_OFF));
    ui->sampleScale->setText(valueText(rpc.SAMP_SCALE));
    ui->coefficients->setPlainText(coefficientText(rpc));
    showFromStart(this);
}

void XRVJP2kLayerRPCInfo::apply()
{
    // Nothing to write back: the page only shows the camera model.
}

void XRVJP2kLayerRPCInfo::copyToClipboard()
{
    if (!m_rpc) return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard) clipboard->setText(clipboardText(*m_rpc));
}

// The values in the order of the engine's record (offset before scale, pair by pair), which
// is not the order of the page's grid; the coefficient blocks follow with their line feeds.
QString XRVJP2kLayerRPCInfo::clipboardText(const PLKRPCData& rpc)
{
    const QStringList lines{
        tr("Error Bias = %1").arg(valueText(rpc.ERR_BIAS)),
        tr("Error Random = %1").arg(valueText(rpc.ERR_RAND)),
        tr("Line Offset = %1").arg(valueText(rpc.LINE_OFF)),
        tr("Line Scale = %1").arg(valueText(rpc.LINE_SCALE)),
        tr("Latitude Offset = %1").arg(valueText(rpc.LAT_OFF)),
        tr("Latitude Scale = %1").arg(valueText(rpc.LAT_SCALE)),
        tr("Longitude Offset = %1").arg(valueText(rpc.LONG_OFF)),
        tr("Longitude Scale = %1").arg(valueText(rpc.LONG_SCALE)),
        tr("Height Offset = %1").arg(valueText(rpc.HEIGHT_OFF)),
        tr("Height Scale = %1").arg(valueText(rpc.HEIGHT_SCALE)),
        tr("Sample Offset = %1").arg(valueText(rpc.SAMP_OFF)),
        tr("Sample Scale = %1").arg(valueText(rpc.SAMP_SCALE)),
    };
    QString text;
    for (const QString& line : lines) text += line + kLineEnd;
    return text + coefficientText(rpc);
}
