#include "HostTestSupport.h"

#include "QDGui/GeoPainter.h"

#include <QtCore/QFile>

RecordingLayer::RecordingLayer(const QRectF& bounds, const QColor& color)
    : RasterLayer(nullptr), m_bounds(bounds), m_color(color)
{}

void RecordingLayer::setView(int width, int height, double x1, double y1, double x2, double y2)
{
    views.append(ViewCall{QSize(width, height), x1, y1, x2, y2, updating});
}

void RecordingLayer::beginUpdate(bool)
{
    ++begins;
    updating = true;
}

void RecordingLayer::endUpdate()
{
    ++ends;
    updating = false;
}

void RecordingLayer::paint(Korvane::GeoPainter& painter, const QRectF* world, const QRect* device)
{
    paints.append(PaintCall{QThread::currentThread(), *device, *world});
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_color);
    painter.drawWorldRect(m_bounds);
}

namespace HostTest {

QImage patternImage(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb((x * 37) & 0xff, (y * 53) & 0xff, ((x + y) * 11 + 7) & 0xff));
    return image;
}

bool writeText(const QString& path, const QString& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) return false;
    return file.write(text.toUtf8()) == text.toUtf8().size();
}

int maxChannelDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size()) return 255;
    const QImage ca = a.convertToFormat(QImage::Format_ARGB32);
    const QImage cb = b.convertToFormat(QImage::Format_ARGB32);
    int worst = 0;
    for (int y = 0; y < ca.height(); ++y) {
        const QRgb* ra = reinterpret_cast<const QRgb*>(ca.constScanLine(y));
        const QRgb* rb = reinterpret_cast<const QRgb*>(cb.constScanLine(y));
        for (int x = 0; x < ca.width(); ++x) {
            worst = qMax(worst, qAbs(qRed(ra[x]) - qRed(rb[x])));
            worst = qMax(worst, qAbs(qGreen(ra[x]) - qGreen(rb[x])));
            worst = qMax(worst, qAbs(qBlue(ra[x]) - qBlue(rb[x])));
            worst = qMax(worst, qAbs(qAlpha(ra[x]) - qAlpha(rb[x])));
        }
    }
    return worst;
}

}  // namespace HostTest
