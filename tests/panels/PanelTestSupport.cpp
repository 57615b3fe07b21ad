#include "PanelTestSupport.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QAbstractButton>

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

std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& path)
{
    auto layer = std::make_unique<Korvane::XRVJP2kLayer>(nullptr);
    if (!path.isEmpty() && !layer->setDataSource(path))
        qWarning("could not open %s: %s", qPrintable(path), qPrintable(layer->getLastError()));
    return layer;
}

void click(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(5, button->height() / 2));
}

}  // namespace PanelTest
