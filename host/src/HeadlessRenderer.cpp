#include "QDGui/HeadlessRenderer.h"

#include "QDGui/Application.h"
#include "QDGui/GeoPainter.h"
#include "QDGui/Layer.h"
#include "QDGui/PluginManager.h"
#include "QDGui/RasterLayer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtGui/QImageWriter>

#include <memory>

namespace Korvane {

namespace {
// Largest picture the renderer makes: 16384 x 16384 ARGB is already a gigabyte.
constexpr qint64 MaxPixels = qint64(16384) * 16384;
constexpr int PollMs = 20;
}  // namespace

HeadlessRenderer::HeadlessRenderer(PluginManager* plugins) : m_plugins(plugins) {}

bool HeadlessRenderer::parseSize(const QString& text, QSize* size)
{
    static const QRegularExpression re(QStringLiteral("^\\s*(\\d{1,6})\\s*[xX]\\s*(\\d{1,6})\\s*$"));
    const QRegularExpressionMatch m = re.match(text);
    if (!m.hasMatch()) return false;
    const QSize parsed(m.captured(1).toInt(), m.captured(2).toInt());
    if (parsed.isEmpty() || qint64(parsed.width()) * parsed.height() > MaxPixels) return false;
    *size = parsed;
    return true;
}

bool HeadlessRenderer::parseExtent(const QString& text, QRectF* extent)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4) return false;
    double v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = parts[i].trimmed().toDouble(&ok);
        if (!ok || !qIsFinite(v[i])) return false;
    }
    if (v[0] == v[2] || v[1] == v[3]) return false;
    *extent = QRectF(QPointF(v[0], v[1]), QPointF(v[2], v[3]));
    return true;
}

bool HeadlessRenderer::render(const QString& source, const QSize& size, const QRectF* extent, QImage* out,
                              QString* error)
{
    QString why;
    std::unique_ptr<Map::Layer> layer(m_plugins->openLayer(source, &why));
    if (!layer) {
        *error = why;
        return false;
    }
    auto* raster = qobject_cast<Map::RasterLayer*>(layer.get());
    if (!raster) {
        *error = tr("%1 opened as a layer that cannot be drawn as a picture.").arg(source);
        return false;
    }
    const QRectF area = extent ? *extent : raster->getBounds();
    if (area.width() == 0.0 || area.height() == 0.0) {
        *error = tr("%1 has no extent to draw; give one with --extent.").arg(source);
        return false;
    }
    return render(raster, size, area, out, error);
}

bool HeadlessRenderer::render(Map::RasterLayer* layer, const QSize& size, const QRectF& extent, QImage* out,
                              QString* error)
{
    if (size.isEmpty()) {
        *error = tr("The picture size %1 x %2 is empty.").arg(size.width()).arg(size.height());
        return false;
    }
    QImage picture(size, QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull()) {
        *error = tr("There is not enough memory for a picture of %1 x %2.").arg(size.width()).arg(size.height());
        return false;
    }
    const double x1 = extent.left(), y1 = extent.top();
    const double x2 = extent.left() + extent.width(), y2 = extent.top() + extent.height();
    layer->setView(size.width(), size.height(), x1, y1, x2, y2);
    waitForPicture(layer);

    picture.fill(m_background);
    // World (x1, y1) lands on the picture's top-left corner, (x2, y2) on its bottom-right.
    const double sx = size.width() / (x2 - x1), sy = size.height() / (y2 - y1);
    GeoPainter painter(&picture, QTransform(sx, 0, 0, sy, -x1 * sx, -y1 * sy));
    const QRect device(QPoint(0, 0), size);
    const QRectF world(QPointF(x1, y1), QPointF(x2, y2));
    layer->paint(painter, &world, &device);
    painter.end();
    *out = picture;
    return true;
}

void HeadlessRenderer::waitForPicture(Map::RasterLayer* layer)
{
    m_stalled = false;
    // Progress alone cannot be trusted to mean "the picture has arrived": a decoder may
    // still report the previous view's 100 % right after setView, and reaches 100 % just
    // before it hands over the last picture. So the layer must also have been quiet (no
    // refresh) for a while; longer while it has not delivered anything yet.
    bool refreshed = false;
    QElapsedTimer sinceRefresh;
    sinceRefresh.start();
    const QMetaObject::Connection connection =
        QObject::connect(layer, &Map::Layer::refreshRequested, [&refreshed, &sinceRefresh]() {
            refreshed = true;
            sinceRefresh.restart();
        });
    QElapsedTimer sinceChange;
    sinceChange.start();
    int last = layer->getPercentComplete();
    Application::logMessage(tr("Waiting for the picture: %1 %").arg(last), Application::Trace);
    for (;;) {
        // Progressive layers report from their decoding threads through queued refreshes,
        // so the event loop must run while waiting.
        QCoreApplication::processEvents(QEventLoop::AllEvents, PollMs);
        QThread::msleep(PollMs / 2);
        const int now = layer->getPercentComplete();
        if (now != last) {
            Application::logMessage(tr("Waiting for the picture: %1 %").arg(now), Application::Trace);
            last = now;
            sinceChange.restart();
        }
        const bool complete = now < 0 || now >= 100;
        if (complete && sinceRefresh.elapsed() >= (refreshed ? m_quietMs : m_firstPictureMs)) break;
        if (sinceChange.elapsed() >= m_stallTimeoutMs) {
            m_stalled = !complete;
            if (m_stalled)
                Application::logMessage(tr("The picture stopped at %1 % for %2 s; drawing what there is.")
                                            .arg(now)
                                            .arg(m_stallTimeoutMs / 1000.0),
                                        Application::Warning);
            break;
        }
    }
    QObject::disconnect(connection);
    QCoreApplication::processEvents();
}

bool HeadlessRenderer::renderToFile(const QString& source, const QSize& size, const QRectF* extent,
                                    const QString& outputPath, QString* error)
{
    QImage picture;
    if (!render(source, size, extent, &picture, error)) return false;
    const QByteArray suffix = QFileInfo(outputPath).suffix().toLower().toLatin1();
    QImageWriter writer(outputPath,
                        QImageWriter::supportedImageFormats().contains(suffix) ? suffix : QByteArray("png"));
    if (!writer.write(picture)) {
        *error = tr("%1 could not be written: %2").arg(outputPath, writer.errorString());
        return false;
    }
    return true;
}

}  // namespace Korvane
