// drawicons: draws the plug-in's icons into a folder (the PNGs beside this file). They are
// our own drawings, kept as code so that they can be redrawn at another size or retouched:
//   drawicons OUTDIR
// Run it on the offscreen platform (QT_QPA_PLATFORM=offscreen); only the JPEG 2000 logo
// uses a font.
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QtMath>
#include <cstdio>
#include <functional>

namespace {

using Drawing = std::function<void(QPainter&, qreal side)>;

// The blue tile that the two product logos share: a rounded square with a soft gradient.
void drawTile(QPainter& p, qreal s, const QColor& top, const QColor& bottom)
{
    QLinearGradient fill(0, 0, 0, s);
    fill.setColorAt(0, top);
    fill.setColorAt(1, bottom);
    p.setPen(QPen(bottom.darker(140), s / 32));
    p.setBrush(fill);
    p.drawRoundedRect(QRectF(1.5, 1.5, s - 3, s - 3), s / 6, s / 6);
}

// The resolution pyramid: three stacked, shrinking slabs, the motif of a multi-resolution image.
void drawPyramid(QPainter& p, const QRectF& box)
{
    const QColor slab[3] = {QColor(255, 255, 255, 235), QColor(190, 230, 255, 235), QColor(120, 200, 255, 240)};
    const qreal h = box.height() / 3;
    for (int level = 0; level < 3; ++level) {
        const qreal inset = box.width() * 0.17 * level;
        const QRectF r(box.left() + inset, box.bottom() - h * (level + 1), box.width() - 2 * inset, h * 0.82);
        p.setPen(QPen(QColor(20, 60, 110), 1));
        p.setBrush(slab[level]);
        p.drawRoundedRect(r, 1.5, 1.5);
    }
}

void drawLogo(QPainter& p, qreal s)
{
    drawTile(p, s, QColor(60, 130, 210), QColor(18, 60, 130));
    drawPyramid(p, QRectF(s * 0.16, s * 0.22, s * 0.68, s * 0.6));
}

// The stream logo: the pyramid seen from afar, with the arcs of a transmission above it.
void drawStreamLogo(QPainter& p, qreal s)
{
    drawTile(p, s, QColor(40, 170, 150), QColor(10, 80, 80));
    drawPyramid(p, QRectF(s * 0.1, s * 0.5, s * 0.5, s * 0.38));
    p.setBrush(Qt::NoBrush);
    const QPointF source(s * 0.56, s * 0.46);
    for (int i = 1; i <= 3; ++i) {
        const qreal r = s * 0.1 * i;
        p.setPen(QPen(QColor(255, 255, 255, 255 - 40 * i), s / 14, Qt::SolidLine, Qt::RoundCap));
        p.drawArc(QRectF(source.x() - r, source.y() - r, 2 * r, 2 * r), 0 * 16, 90 * 16);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(source, s / 18, s / 18);
}

void drawFolder(QPainter& p, qreal s)
{
    const QColor edge(150, 105, 20);
    QPainterPath back;
    back.moveTo(s * 0.06, s * 0.22);
    back.lineTo(s * 0.38, s * 0.22);
    back.lineTo(s * 0.46, s * 0.3);
    back.lineTo(s * 0.94, s * 0.3);
    back.lineTo(s * 0.94, s * 0.84);
    back.lineTo(s * 0.06, s * 0.84);
    back.closeSubpath();
    p.setPen(QPen(edge, 1));
    p.setBrush(QColor(225, 170, 50));
    p.drawPath(back);
    QLinearGradient front(0, s * 0.38, 0, s * 0.84);
    front.setColorAt(0, QColor(255, 220, 110));
    front.setColorAt(1, QColor(240, 185, 60));
    QPainterPath flap;
    flap.moveTo(s * 0.14, s * 0.38);
    flap.lineTo(s * 0.98, s * 0.38);
    flap.lineTo(s * 0.9, s * 0.84);
    flap.lineTo(s * 0.06, s * 0.84);
    flap.closeSubpath();
    p.setBrush(front);
    p.drawPath(flap);
}

// A red disc with a white cross: removes files for good.
void drawDelete(QPainter& p, qreal s)
{
    QRadialGradient fill(QPointF(s * 0.4, s * 0.35), s * 0.6);
    fill.setColorAt(0, QColor(245, 90, 80));
    fill.setColorAt(1, QColor(170, 20, 20));
    p.setPen(QPen(QColor(120, 10, 10), 1));
    p.setBrush(fill);
    p.drawEllipse(QRectF(s * 0.06, s * 0.06, s * 0.88, s * 0.88));
    p.setPen(QPen(Qt::white, s * 0.12, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.33, s * 0.33), QPointF(s * 0.67, s * 0.67));
    p.drawLine(QPointF(s * 0.67, s * 0.33), QPointF(s * 0.33, s * 0.67));
}

// Three quarters of a circle ending in an arrow head: back to the default value.
void drawReload(QPainter& p, qreal s)
{
    const QColor green(30, 130, 50);
    const QRectF ring(s * 0.2, s * 0.2, s * 0.6, s * 0.6);
    p.setPen(QPen(green, s * 0.12, Qt::SolidLine, Qt::FlatCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(ring, 100 * 16, 280 * 16);
    // The head sits where the arc starts (100 degrees), pointing along the turn.
    const qreal a = qDegreesToRadians(100.0);
    const QPointF tip(ring.center().x() + ring.width() / 2 * qCos(a), ring.center().y() - ring.height() / 2 * qSin(a));
    QPainterPath head;
    head.moveTo(tip + QPointF(-s * 0.05, -s * 0.17));
    head.lineTo(tip + QPointF(s * 0.17, 0));
    head.lineTo(tip + QPointF(-s * 0.05, s * 0.17));
    head.closeSubpath();
    p.setPen(Qt::NoPen);
    p.setBrush(green);
    p.drawPath(head);
}

// The marker the hillshade picker drags around: a small sun with eight rays.
void drawSun(QPainter& p, qreal s)
{
    const QPointF c(s / 2, s / 2);
    p.setPen(QPen(QColor(230, 140, 0), qMax<qreal>(1.0, s / 16), Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i < 8; ++i) {
        const qreal a = qDegreesToRadians(45.0 * i);
        const QPointF dir(qCos(a), qSin(a));
        p.drawLine(c + dir * s * 0.3, c + dir * s * 0.47);
    }
    QRadialGradient fill(c - QPointF(s * 0.06, s * 0.06), s * 0.3);
    fill.setColorAt(0, QColor(255, 250, 170));
    fill.setColorAt(1, QColor(255, 190, 0));
    p.setPen(QPen(QColor(200, 120, 0), 1));
    p.setBrush(fill);
    p.drawEllipse(c, s * 0.24, s * 0.24);
}

// JPEG 2000: the dyadic split of a wavelet transform (each low band quartered again) with the
// letters "JP2" across it.
void drawJpeg2000Logo(QPainter& p, qreal s)
{
    const QRectF frame(2, 2, s - 4, s - 4);
    p.setPen(QPen(QColor(40, 40, 60), 1.5));
    p.setBrush(QColor(245, 245, 250));
    p.drawRect(frame);
    QRectF low = frame;
    const QColor tint[4] = {QColor(200, 215, 240), QColor(165, 190, 235), QColor(120, 155, 220), QColor(70, 110, 200)};
    for (int level = 0; level < 4; ++level) {
        low.setSize(low.size() / 2);
        p.setBrush(tint[level]);
        p.drawRect(low);
    }
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(int(s * 0.42));
    QPainterPath text;
    text.addText(0, 0, font, QStringLiteral("JP2"));
    const QRectF bounds = text.boundingRect();
    text.translate(frame.center() - bounds.center() + QPointF(0, s * 0.12));
    p.setPen(QPen(QColor(255, 255, 255, 200), s / 64));
    p.setBrush(QColor(190, 20, 30));
    p.drawPath(text);
}

bool save(const QString& folder, const QString& name, int side, const Drawing& draw)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    draw(painter, side);
    painter.end();
    const QString path = QDir(folder).filePath(name);
    if (image.convertToFormat(QImage::Format_ARGB32).save(path, "PNG")) return true;
    std::fprintf(stderr, "drawicons: could not write %s\n", qPrintable(path));
    return false;
}

}  // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: drawicons OUTDIR\n");
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(folder);
    bool ok = true;
    ok &= save(folder, QStringLiteral("logo.png"), 48, drawLogo);
    ok &= save(folder, QStringLiteral("pnxlogo.png"), 48, drawStreamLogo);
    ok &= save(folder, QStringLiteral("jp2logo.png"), 48, drawJpeg2000Logo);
    ok &= save(folder, QStringLiteral("folder.png"), 32, drawFolder);
    ok &= save(folder, QStringLiteral("delete.png"), 32, drawDelete);
    ok &= save(folder, QStringLiteral("reload.png"), 32, drawReload);
    // 16 pixels: the hillshade picker centres it on the drag point by drawing it 8 pixels up and left.
    ok &= save(folder, QStringLiteral("sun.png"), 16, drawSun);
    return ok ? 0 : 1;
}
