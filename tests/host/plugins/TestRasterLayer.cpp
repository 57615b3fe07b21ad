#include "TestRasterLayer.h"

#include "QDGui/GeoPainter.h"

#include <QtCore/QFile>
#include <QtCore/QTextStream>

#include <chrono>

void TestRasterLayer::stopWorker()
{
    m_cancel = true;
    if (m_worker.joinable()) m_worker.join();
    m_cancel = false;
}

bool TestRasterLayer::setDataSource(QString source)
{
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        m_lastError = QStringLiteral("cannot open %1").arg(source);
        return false;
    }
    QTextStream in(&file);
    int width = 0, height = 0;
    QString color, timing;
    in >> width >> height >> color >> timing;
    if (width <= 0 || height <= 0 || !QColor::isValidColor(color)) {
        m_lastError = QStringLiteral("%1 is not a test raster").arg(source);
        return false;
    }
    m_source = source;
    m_size = QSize(width, height);
    m_color = QColor(color);
    m_late = timing == QLatin1String("late");
    m_lastError.clear();
    setDescription(QStringLiteral("test raster"));
    return true;
}

void TestRasterLayer::setView(int, int, double x1, double y1, double x2, double y2)
{
    stopWorker();
    m_percent = m_late ? 100 : 0;
    m_worker = std::thread([this, x1, y1, x2, y2]() {
        if (m_late) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            m_percent = 0;
        }
        for (int step = 1; step <= 10 && !m_cancel; ++step) {
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
            m_percent = step * 10;
            refresh(x1, y1, x2, y2);
        }
    });
}

QRectF TestRasterLayer::getBounds()
{
    return isValid() ? QRectF(0, 0, m_size.width(), -m_size.height()) : QRectF();
}

void TestRasterLayer::paint(Korvane::GeoPainter& painter, const QRectF*, const QRect*)
{
    if (!isValid()) return;
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_percent.load() >= 100 ? m_color : QColor(Qt::gray));
    painter.drawWorldRect(getBounds());
}
