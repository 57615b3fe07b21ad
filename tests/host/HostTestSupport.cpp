#include "HostTestSupport.h"

#include "QDGui/GeoPainter.h"

#include <QtCore/QFile>

RecordingLayer::RecordingLayer(const QRectF& bounds, const QColor& color)
    : RasterLayer(nullptr), m_bounds(bounds), m_color(color)
{}

void RecordingLayer::setView(int width, int height, double x1, double y1, double x2, double y2)
{
    views.append(ViewCall{QSize(width, height), x1, y1, x2, y2});
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

bool samePixels(const QImage& a, const QImage& b)
{
    return a.convertToFormat(QImage::Format_ARGB32) == b.convertToFormat(QImage::Format_ARGB32);
}

}  // namespace HostTest
