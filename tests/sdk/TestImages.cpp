#include "TestImages.h"

#include <QDir>
#include <QFile>
#include <QtMath>

#include "TestSupport.h"

namespace TestImages {

QImage pattern(int width, int height, QImage::Format format)
{
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const double r = qSqrt(double(x - width / 3) * (x - width / 3) + double(y - height / 2) * (y - height / 2));
            const int ring = int(127 + 120 * qSin(r / 9.0));
            const int check = ((x / 16 + y / 16) & 1) ? 40 : 0;
            const int alpha = (x + y) % 300 < 250 ? 255 : 0;
            line[x] = qRgba((x * 255 / qMax(1, width - 1) + check) & 255, ring,
                            (y * 255 / qMax(1, height - 1)) ^ (x & 31), alpha);
        }
    }
    return image.convertToFormat(format);
}

bool write16BitPgm(const QString& path, int width, int height, int base, int stepX, int stepY)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return false;
    f.write(QStringLiteral("P5\n%1 %2\n65535\n").arg(width).arg(height).toLatin1());
    QByteArray row(width * 2, 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int v = qBound(0, base + x * stepX + y * stepY, 65535);
            row[2 * x] = char(v >> 8);
            row[2 * x + 1] = char(v & 255);
        }
        f.write(row);
    }
    return true;
}

bool compress(const QString& input, const QString& output, const QStringList& arguments, QString* message)
{
    const QString tool = TestSupport::findProgram(QStringLiteral("opj_compress"));
    if (tool.isEmpty()) {
        if (message) *message = QStringLiteral("opj_compress is not installed");
        return false;
    }
    QString out;
    const bool ok = TestSupport::run(tool, QStringList{"-i", input, "-o", output} + arguments, &out);
    if (!ok && message) *message = out;
    return ok;
}

QImage decodeReference(const QString& input, const QStringList& arguments, const QString& workFolder)
{
    const QString tool = TestSupport::findProgram(QStringLiteral("opj_decompress"));
    if (tool.isEmpty()) return QImage();
    const QString output = QDir(workFolder).filePath(QStringLiteral("reference.png"));
    QFile::remove(output);
    if (!TestSupport::run(tool, QStringList{"-i", input, "-o", output} + arguments)) return QImage();
    return QImage(output);
}

int maxDifference(const QImage& ours, const QImage& reference, QPoint* where)
{
    if (ours.size() != reference.size()) return -1;
    const QImage a = ours.convertToFormat(QImage::Format_ARGB32);
    const QImage b = reference.convertToFormat(QImage::Format_ARGB32);
    int most = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            const int d = qMax(qAbs(qRed(p) - qRed(q)), qMax(qAbs(qGreen(p) - qGreen(q)), qAbs(qBlue(p) - qBlue(q))));
            if (d > most && where) *where = QPoint(x, y);
            most = qMax(most, d);
        }
    return most;
}

}  // namespace TestImages
