#include "PanelTestSupport.h"

#include <QtCore/QFileInfo>

namespace PanelTest {

namespace {

QString existing(const QString& path)
{
    return QFileInfo::exists(path) ? path : QString();
}

}  // namespace

QString samplePath()
{
    return existing(QStringLiteral(XRV_SAMPLE_DIR "/sample.jp2"));
}

QString rgbaPath()
{
    return existing(QStringLiteral(XRV_PANELS_TESTDATA "/rgba.jp2"));
}

QString sixteenBitPath()
{
    return existing(QStringLiteral(XRV_PANELS_TESTDATA "/grey16.jp2"));
}

std::unique_ptr<RecordingLayer> openLayer(const QString& path)
{
    auto layer = std::make_unique<RecordingLayer>();
    if (!path.isEmpty() && !layer->setDataSource(path))
        qWarning("could not open %s: %s", qPrintable(path), qPrintable(layer->getLastError()));
    return layer;
}

}  // namespace PanelTest
