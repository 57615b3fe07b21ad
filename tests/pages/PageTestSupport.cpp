#include "PageTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtWidgets/QLineEdit>

namespace PageTest {

namespace {

QString compress(const QString& folder, const QString& name, const QImage& image, const QStringList& options,
                 QString& error)
{
    const QString encoder = QStandardPaths::findExecutable(QStringLiteral("opj_compress"));
    if (encoder.isEmpty()) {
        error = QStringLiteral("opj_compress is not installed");
        return QString();
    }
    const QString png = QDir(folder).filePath(name + ".png");
    const QString jp2 = QDir(folder).filePath(name + ".jp2");
    if (!image.save(png)) {
        error = QStringLiteral("cannot write ") + png;
        return QString();
    }
    QProcess process;
    process.start(encoder, QStringList{"-i", png, "-o", jp2} + options);
    if (!process.waitForFinished(60000) || process.exitCode() != 0 || !QFileInfo::exists(jp2)) {
        error = QStringLiteral("opj_compress failed: ") + QString::fromLocal8Bit(process.readAllStandardError());
        return QString();
    }
    return jp2;
}

QImage greyImage()
{
    QImage image(96, 48, QImage::Format_Grayscale8);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) image.scanLine(y)[x] = uchar((x * 2 + y) % 256);
    return image;
}

QImage rgbaImage()
{
    QImage image(64, 32, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba((x * 4) % 256, (y * 8) % 256, (x + y) % 256, x < 48 ? 255 : 0));
    return image;
}

QString existing(const QString& path)
{
    return QFileInfo::exists(path) ? path : QString();
}

}  // namespace

MadeImages makeImages(const QString& folder)
{
    MadeImages made;
    made.grey = compress(folder, "grey", greyImage(),
                         {"-n", "3", "-c", "[64,32],[32,16]", "-b", "16,8", "-t", "32,24", "-p", "RLCP", "-SOP", "-EPH",
                          "-I", "-r", "20,10,1", "-C", "grey test"},
                         made.error);
    made.rgba = compress(folder, "rgba", rgbaImage(), {}, made.error);
    return made;
}

QString samplePath()
{
    return existing(QStringLiteral(XRV_SAMPLE_DIR "/sample.jp2"));
}

QString conformancePath(const QString& fileName)
{
    return existing(QStringLiteral(XRV_SHARED_TESTDATA "/jpeg2000-conformance/") + fileName);
}

std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& path)
{
    std::unique_ptr<Korvane::XRVJP2kLayer> layer(new Korvane::XRVJP2kLayer(nullptr));
    if (!path.isEmpty() && !layer->setDataSource(path))
        qWarning("cannot open %s: %s", qPrintable(path), qPrintable(layer->getLastError()));
    return layer;
}

void Layers::open(const QString& folder)
{
    m_images = makeImages(folder);
    m_sample = openLayer(samplePath());
    m_grey = openLayer(m_images.grey);
    m_rgba = openLayer(m_images.rgba);
    m_noSource = openLayer(QString());
}

Korvane::Map::Layer* Layers::get(Source source)
{
    switch (source) {
        case Sample:
            return m_sample->isValid() ? m_sample.get() : nullptr;
        case Grey:
            return m_grey->isValid() ? m_grey.get() : nullptr;
        case Rgba:
            return m_rgba->isValid() ? m_rgba.get() : nullptr;
        case NoSource:
            return m_noSource.get();
        case OtherClass:
            return &m_other;
    }
    return nullptr;
}

QString Layers::path(Source source) const
{
    switch (source) {
        case Sample:
            return samplePath();
        case Grey:
            return m_images.grey;
        case Rgba:
            return m_images.rgba;
        default:
            return QString();
    }
}

QLineEdit* field(QWidget* page, const QString& name)
{
    auto* edit = page->findChild<QLineEdit*>(name);
    if (!edit) qFatal("the page has no line edit %s", qPrintable(name));
    return edit;
}

QStringList fieldTexts(QWidget* page, const QStringList& names)
{
    QStringList texts;
    for (const QString& name : names) texts << name + "=" + field(page, name)->text();
    return texts;
}

QStringList emptyFieldTexts(const QStringList& names)
{
    QStringList texts;
    for (const QString& name : names) texts << name + "=";
    return texts;
}

QString joinedWithCarriageReturns(const QStringList& lines)
{
    QString text;
    for (const QString& line : lines) text += line + QChar(13);
    return text;
}

const QString& clipboardSentinel()
{
    static const QString text = QStringLiteral("left by the test");
    return text;
}

void putSentinelOnClipboard()
{
    QGuiApplication::clipboard()->setText(clipboardSentinel());
}

QString clipboardText()
{
    return QGuiApplication::clipboard()->text();
}

}  // namespace PageTest
