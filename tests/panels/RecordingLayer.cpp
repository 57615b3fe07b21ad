#include "RecordingLayer.h"

namespace PanelTest {

void RecordingLayer::setBandList(QVector<int> v)
{
    QStringList bands;
    for (int b : v) bands << QString::number(b);
    calls << QStringLiteral("setBandList(%1)").arg(bands.join(','));
    XRVJP2kLayer::setBandList(v);
}

void RecordingLayer::record(const char* setter, const QVariant& value)
{
    calls << QStringLiteral("%1(%2)").arg(QLatin1String(setter), value.toString());
}

}  // namespace PanelTest
