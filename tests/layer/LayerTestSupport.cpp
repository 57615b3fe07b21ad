#include "LayerTestSupport.h"

#include "QDGui/Application.h"
#include "QDGui/GeoPainter.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

namespace LayerTest {

void useSettingsFile(const QString& folder)
{
    const QString path = folder + QStringLiteral("/settings.ini");
    Korvane::Application::setSettingsFile(path);
    Korvane::Application::settings()->clear();
    Korvane::Application::settings()->sync();
}

QString bundledSample()
{
    const QString path = QStringLiteral(XRV_SAMPLE_DIR "/sample.jp2");
    return QFile::exists(path) ? path : QString();
}

bool run(const QString& program, const QStringList& arguments, QString* output)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool finished = process.waitForFinished(180000);
    if (output) *output = QString::fromLocal8Bit(process.readAll());
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString makeImage(const QString& folder, const QString& name, const QStringList& arguments)
{
    const QString path = folder + QLatin1Char('/') + name;
    QStringList all{path, QStringLiteral("--size"), QStringLiteral("512x512"), QStringLiteral("--tile"),
                    QStringLiteral("256")};
    all << arguments;  // later options win
    QString output;
    if (!run(QStringLiteral(XRV_MKSAMPLE), all, &output)) {
        qWarning("mksample failed: %s", qPrintable(output));
        return QString();
    }
    return path;
}

namespace {

// Gradients with fine detail, so that a wrong cell or level shows; written as a PNG.
QString writePattern(const QString& folder, const QString& name, const QSize& size)
{
    QImage picture(size, QImage::Format_RGB888);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            picture.setPixel(x, y, qRgb(x * 255 / size.width(), y * 255 / size.height(), ((x / 8 + y / 8) % 2) * 200));
    const QString png = folder + QLatin1Char('/') + name + QStringLiteral(".png");
    return picture.save(png) ? png : QString();
}

QString compressWith(const QString& tool, const QString& png, const QString& jp2, QStringList arguments)
{
    const QString program = QStandardPaths::findExecutable(tool);
    if (program.isEmpty() || png.isEmpty()) return QString();
    QString output;
    if (!run(program, arguments, &output)) {
        qWarning("%s failed: %s", qPrintable(tool), qPrintable(output));
        return QString();
    }
    return jp2;
}

}  // namespace

QString makeGdalImage(const QString& folder, const QString& name, const QSize& size, double ulx, double uly, double lrx,
                      double lry)
{
    const QString png = writePattern(folder, name, size);
    const QString jp2 = folder + QLatin1Char('/') + name + QStringLiteral(".jp2");
    return compressWith(
        QStringLiteral("gdal_translate"), png, jp2,
        {"-q", "-of", "JP2OpenJPEG", "-a_srs", "EPSG:32633", "-a_ullr", QString::number(ulx, 'f', 3),
         QString::number(uly, 'f', 3), QString::number(lrx, 'f', 3), QString::number(lry, 'f', 3), png, jp2});
}

QString makeOpjImage(const QString& folder, const QString& name, const QSize& size)
{
    const QString png = writePattern(folder, name, size);
    const QString jp2 = folder + QLatin1Char('/') + name + QStringLiteral(".jp2");
    return compressWith(QStringLiteral("opj_compress"), png, jp2,
                        {"-i", png, "-o", jp2, "-t", "128,128", "-n", "4", "-r", "20,5"});
}

QImage renderWithXrvtool(const QString& file, double x1, double y1, double x2, double y2, const QSize& size,
                         const QStringList& extra)
{
    static int counter = 0;
    const QString out =
        QDir::tempPath() +
        QStringLiteral("/xrvlayer-reference-%1-%2.png").arg(QCoreApplication::applicationPid()).arg(++counter);
    QStringList arguments{
        QStringLiteral("render"),
        file,
        out,
        QStringLiteral("--size"),
        QStringLiteral("%1x%2").arg(size.width()).arg(size.height()),
        QStringLiteral("--extent"),
        QStringLiteral("%1,%2,%3,%4").arg(x1, 0, 'f', 6).arg(y1, 0, 'f', 6).arg(x2, 0, 'f', 6).arg(y2, 0, 'f', 6)};
    arguments << extra;
    QString output;
    if (!run(QStringLiteral(XRV_XRVTOOL), arguments, &output)) {
        qWarning("xrvtool failed: %s", qPrintable(output));
        return QImage();
    }
    const QImage picture = QImage(out).convertToFormat(QImage::Format_ARGB32);
    QFile::remove(out);
    return picture;
}

std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& file)
{
    auto layer = std::make_unique<Korvane::XRVJP2kLayer>(nullptr);
    if (!layer->setDataSource(file)) qWarning("%s", qPrintable(layer->getLastError()));
    return layer;
}

XRVJP2kRenderer* rendererOf(Korvane::XRVJP2kLayer& layer)
{
    return dynamic_cast<XRVJP2kRenderer*>(layer.getFile());
}

PLKSetViewInfo viewOf(Korvane::XRVJP2kLayer& layer)
{
    XRVJP2kRenderer* renderer = rendererOf(layer);
    return renderer ? renderer->GetSetViewInfo() : PLKSetViewInfo{};
}

namespace {

bool refreshOfView(const QList<QVariant>& arguments, const PLKSetViewInfo& view)
{
    return arguments.value(0).toDouble() == view.fTopX && arguments.value(1).toDouble() == view.fLeftY &&
           arguments.value(2).toDouble() == view.fBottomX && arguments.value(3).toDouble() == view.fRightY;
}

}  // namespace

bool waitForFinalPicture(Korvane::XRVJP2kLayer& layer, QSignalSpy& spy, int timeoutMs)
{
    // A refresh for the current view proves that one of its passes was read; the renderer's
    // own counter, written before that refresh, reaches 100 only with the final pass.
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        XRVJP2kRenderer* renderer = rendererOf(layer);
        if (!renderer) return false;
        const PLKSetViewInfo view = renderer->GetSetViewInfo();
        bool seen = false;
        for (const QList<QVariant>& arguments : qAsConst(spy)) seen = seen || refreshOfView(arguments, view);
        if (seen && renderer->getPercentComplete() == 100) return true;
        QTest::qWait(5);
    }
    return false;
}

QImage paintLayer(Korvane::XRVJP2kLayer& layer, const QSize& size, double x1, double y1, double x2, double y2)
{
    // Premultiplied, the painter's own format: partly transparent pixels are stored exactly as
    // they were composed, with no rounding on the way back.
    QImage picture(size, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    const QRectF world(QPointF(x1, y1), QPointF(x2, y2));
    const QRect device(QPoint(0, 0), size);
    // World to device: the world corners land on the device corners.
    const double sx = size.width() / (x2 - x1);
    const double sy = size.height() / (y2 - y1);
    Korvane::GeoPainter painter(&picture, QTransform(sx, 0, 0, sy, -x1 * sx, -y1 * sy));
    layer.paint(painter, &world, &device);
    painter.end();
    return picture;
}

int differingPixels(const QImage& a, const QImage& b)
{
    if (a.size() != b.size()) return -1;
    const QImage left = a.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage right = b.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    int count = 0;
    for (int y = 0; y < left.height(); ++y)
        for (int x = 0; x < left.width(); ++x)
            if (left.pixel(x, y) != right.pixel(x, y)) ++count;
    return count;
}

}  // namespace LayerTest
